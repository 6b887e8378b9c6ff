#!/bin/bash
# Makes the package of build folder $1, installs, upgrades, removes and purges it: in a booted copy of
# this machine.
set -euxo pipefail
[[ -e $1/live-page/index.html ]] || { echo "skipped: no live page, which needs npm"; exit 77; }
checkout=$PWD
device=/home/qelta/device
broker=/etc/mosquitto/conf.d
units=/etc/systemd/system
if getent passwd qelta; then userdel qelta; fi
cd "$1"

cpack -B /package
dpkg -I /package/*.deb | grep 'Depends:.* libjsoncpp25 .* libmosquitto1 '
if command -v lintian; then lintian --allow-root --fail-on error,warning /package/*.deb; fi

dpkg -i /package/*.deb
[[ $(stat -c %U:%G $device) == qelta:qelta && -e $device/config.json ]]
# No link in the documents leads nowhere.
(cd /usr/share/doc/sonicd && sed -n 's/.*](\([^):#]*\.[^):#]*\)).*/\1/p' ./*.md | sort -u | xargs ls -d)
if man -w man; then
  systemd-analyze verify sonicd@ttyS1.service sonicd-watch@ttyS1.timer sonic-port@ttyS1.service \
    sonic-alarm.timer sonicd-compress.timer sonicd-flush.service sonicd-history.timer sonicd-room.timer
fi
for unit in {sonicd,sonicd-watch,sonic-port}@ttyS1 sonicd-{compress,flush,history,room,send@device-ttyS2}; do
  systemd-analyze security --threshold=25 "$unit.service"
done
sonic-simulator --help
systemctl enable sonicd@ttyS1 sonic-port@ttyS1
bound=$(sed -n 's/BindReadOnlyPaths=-//p' /lib/systemd/system/mosquitto.service.d/sonicd.conf)
[[ $(stat -c %U "${bound%:*}" "${bound#*:}" | xargs) == 'qelta root' ]]

# The port driver is bound to the device that its configuration names, except in a container.
echo 'DEVICE="/dev/serial/by-id/usb-1"' >/etc/default/sonic-port-ttyS1
unshare --mount sh -c 'mount -t tmpfs tmpfs /sys && /lib/systemd/system-generators/sonic-port-generator /generated'
grep 'BindsTo=dev-serial-by\\x2did-usb\\x2d1.device' /generated/sonic-port@ttyS1.service.d/device.conf
[[ -L /generated/$(systemd-escape -p /dev/serial/by-id/usb-1).device.wants/sonic-port@ttyS1.service ]]

echo mine | tee $device/config.json $device/1700001000.young_81000_v.01234 >$broker/local.conf
echo mine >>$broker/sonicd.conf
chown root:adm $device/config.json
chmod 600 $device/config.json
mkdir $units/sonicd@ttyS1.service.d
touch $units/sonicd@ttyS1.service.d/override.conf
dpkg -i /package/*.deb
tail -n 1 $broker/sonicd.conf | grep mine
[[ $(stat -c %U:%G:%a $device/config.json) == root:adm:600 ]]

dpkg -r sonicd
[[ ! -e /usr/sbin/sonicd ]]
[[ -e $broker/00-sonicd.conf ]]
[[ -d $(sed -n 's/http_dir //p' $broker/sonicd-live.conf | uniq) ]]
[[ -L $units/multi-user.target.wants/sonicd@ttyS1.service ]]

dpkg -P sonicd
[[ $(find $units $broker /etc/default /var/lib/systemd -name '*sonic*') == '' ]]
[[ ! -e /usr/share/sonicd && ! -e /var/lib/sonicd && ! -e /etc/sonicd ]]
[[ $(cat $device/config.json $device/17* $broker/local.conf | uniq) == mine ]]
[[ $(stat -c %U $device) == qelta ]]

# A data folder that is a link is left as it is, and reported.
mv $device /srv/data
ln -s /srv/data $device
dpkg -i /package/*.deb 2>&1 | grep 'Data on another disk'
[[ $(dpkg-query -W -f '${Status}' sonicd) == *' installed' && -L $device ]]

# Without the page's libraries there is no package, which says why; without the page there is one.
cd "$1"
rm -rf live-page "$checkout/live/node_modules"
printf '#!/bin/sh\necho no such registry >&2\nexit 1' >/npm
chmod +x /npm
cmake -DNPM=/npm . |& grep 'no such registry'
[[ $(cpack -B /none 2>&1 || true) == *'no such registry'* ]]
cmake -DSONIC_LIVE_PAGE=OFF .
cpack -B /without-page
dpkg -i /without-page/*.deb
[[ -d /usr/share/sonicd/live && $(dpkg-query --control-show sonicd conffiles) != *live* ]]
