#!/bin/bash
# Installs, upgrades, removes and purges the package of build folder $1 in this machine's root, overlaid.
set -euo pipefail
unshare --mount true 2>/dev/null || exit 77
[[ ${INSIDE-} ]] || INSIDE=1 exec unshare --mount --pid --fork --mount-proc "$0" "$@"
mount -t tmpfs tmpfs /mnt
mkdir /mnt/{upper,work,root}
cd "$1"
cpack -B /mnt/upper/package
if command -v lintian >/dev/null; then lintian --allow-root --fail-on error /mnt/upper/package/*.deb; fi
mount -t overlay -o lowerdir=/,upperdir=/mnt/upper,workdir=/mnt/work overlay /mnt/root
for folder in home run; do mount -t tmpfs -o mode=755 tmpfs "/mnt/root/$folder"; done
for folder in dev proc; do mount --rbind "/$folder" "/mnt/root/$folder"; done
chroot /mnt/root /bin/bash -euxo pipefail <<'TEXT'
device=/home/qelta/device conffile=/etc/mosquitto/conf.d/sonicd.conf
enabled=/etc/systemd/system/multi-user.target.wants/sonicd@ttyS1.service
if getent passwd qelta; then userdel qelta; fi
dpkg -i /package/*.deb
[[ $(stat -c %U:%G $device $device/config.json | uniq) == qelta:qelta ]]
if man -w man >/dev/null; then systemd-analyze verify sonicd@ttyS1.service; fi
systemd-analyze security --offline=true --threshold=25 sonicd@ttyS1.service
sonic-simulator --help >/dev/null
systemctl enable sonicd@ttyS1
echo mine | tee $device/config.json $device/1700001000.young_81000_v.01234 >>$conffile
dpkg -i /package/*.deb
[[ $(tail -qn 1 $device/config.json $conffile | uniq) == mine ]]
dpkg -r sonicd
[[ -e $conffile && -L $enabled && ! -e /usr/sbin/sonicd ]]
dpkg -P sonicd
[[ ! -e $conffile && ! -L $enabled && $(cat $device/config.json $device/17* | uniq) == mine && $(stat -c %U $device) == qelta ]]
TEXT
