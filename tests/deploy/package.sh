#!/bin/bash
# Makes the package of build folder $1, installs, upgrades, removes and purges it, in this machine's
# root, overlaid.
set -euo pipefail
unshare --mount true 2>/dev/null || exit 77
[[ -e $1/live-page/index.html ]] || { echo "skipped: no live page, which needs npm"; exit 77; }
[[ ${INSIDE-} ]] || INSIDE=1 exec unshare --mount --pid --fork --mount-proc "$0" "$@"

checkout=$(realpath "$(dirname "$0")/../..")
mount -t tmpfs tmpfs /mnt
mkdir /mnt/{upper,work,root}
mount -t overlay -o lowerdir=/,upperdir=/mnt/upper,workdir=/mnt/work overlay /mnt/root
for folder in home run; do
  mount -t tmpfs -o mode=755 tmpfs "/mnt/root/$folder"
done
for folder in /dev /proc "$checkout" "$1"; do
  mkdir -p "/mnt/root$folder"
  mount --rbind "$folder" "/mnt/root$folder"
done

chroot /mnt/root /bin/bash -euxo pipefail -s "$checkout" "$1" <<'TEXT'
device=/home/qelta/device
broker=/etc/mosquitto/conf.d
units=/etc/systemd/system
if getent passwd qelta; then userdel qelta; fi
cd "$2"

cpack -B /package
dpkg -I /package/*.deb | grep 'Depends:.* libjsoncpp25 .* libmosquitto1 '
if command -v lintian; then lintian --allow-root --fail-on error /package/*.deb; fi

dpkg -i /package/*.deb
[[ $(stat -c %U:%G $device $device/config.json | uniq) == qelta:qelta ]]
if man -w man; then
  systemd-analyze verify sonicd@ttyS1.service sonicd-watch@ttyS1.timer sonic-port@ttyS1.service \
    sonicd-compress.timer sonicd-room.timer
fi
for unit in sonicd sonicd-watch sonic-port; do
  systemd-analyze security --offline=true --threshold=25 $unit@ttyS1.service
done
sonic-simulator --help
systemctl enable sonicd@ttyS1 sonic-port@ttyS1

# The port driver is bound to the device that its configuration names.
echo 'DEVICE="/dev/serial/by-id/usb-1"' >/etc/default/sonic-port-ttyS1
/lib/systemd/system-generators/sonic-port-generator /generated
grep 'BindsTo=dev-serial-by\\x2did-usb\\x2d1.device' /generated/sonic-port@ttyS1.service.d/device.conf
[[ -L /generated/$(systemd-escape -p /dev/serial/by-id/usb-1).device.wants/sonic-port@ttyS1.service ]]

echo mine | tee $device/config.json $device/1700001000.young_81000_v.01234 >$broker/local.conf
echo mine >>$broker/sonicd.conf
mkdir $units/sonicd@ttyS1.service.d
touch $units/sonicd@ttyS1.service.d/override.conf
dpkg -i /package/*.deb
tail -n 1 $broker/sonicd.conf | grep mine

dpkg -r sonicd
[[ ! -e /usr/sbin/sonicd ]]
[[ -e $broker/00-sonicd.conf ]]
[[ -d $(sed -n 's/http_dir //p' $broker/sonicd-live.conf | uniq) ]]
[[ -L $units/multi-user.target.wants/sonicd@ttyS1.service ]]

dpkg -P sonicd
[[ $(find $broker -name '*sonicd*') == '' ]]
[[ $(find $units /etc/default -name 'sonic*') == '' ]]
[[ ! -e /usr/share/sonicd ]]
[[ $(cat $device/config.json $device/17* $broker/local.conf | uniq) == mine ]]
[[ $(stat -c %U $device) == qelta ]]

# Without what finds the libraries there is no package, and who follows the documents has it.
dpkg --no-triggers --force-depends --remove dpkg-dev
if cpack -B /guessed; then exit 1; fi
dpkg --no-triggers --force-depends --remove file
missing=$(setpriv --reuid nobody --clear-groups bash <"$1/script/bootstrap" 2>&1 || true)
[[ $missing == *'install: file dpkg-dev' ]]
TEXT
