#!/bin/bash
# The units of build folder $1 at work: in a booted copy of this machine, with the package installed.
set -euxo pipefail
[[ -e $1/live-page/index.html ]] || { echo "skipped: no live page, which needs npm"; exit 77; }
checkout=$PWD
cd "$1"
cpack -B /package >/dev/null
cd
device=/home/qelta/device
drop_ins=/etc/systemd/system
power=/sys/class/gpio/gpio13/value

fails() { if "$@"; then return 1; fi; }
is_running() { systemctl is-active --quiet "$1"; }
await() { until "$@"; do sleep 0.2; done; }
says() {  # UNIT TEXT, in the run that began last
  journalctl --quiet "_SYSTEMD_INVOCATION_ID=$(systemctl show --property=InvocationID --value "$1")" |
    grep -e "$2"
}
as_qelta() { setpriv --reuid qelta --regid qelta --clear-groups "$@"; }
has() { [[ $(<"$1") == *"$2" ]]; }
instrument() {  # LINK [OPTION]...
  sonic-simulator --link "$@" >/dev/null &
  await test -e "$1"
}

mount -t tmpfs tmpfs /sys/class
mkdir -p /sys/class/{gpio/gpio13,tty/ttyS1}
echo 0 >$power
systemctl set-environment "ASAN_OPTIONS=${ASAN_OPTIONS-}"
: >/sys/class/tty/ttyS1/sonic_type

dpkg -i /package/*.deb
instrument /dev/ttyS1

# Interrupted while it looks for the baud rate, it switches the instrument off as qelta.
systemctl start sonicd@ttyS1
await has $power 1
systemctl stop sonicd@ttyS1
has $power 0

# The example in the unit is one that can be copied.
mkdir $drop_ins/sonicd@ttyS1.service.d
sed -n '/systemctl edit/,/^[^#]/s/^#   //p' /lib/systemd/system/sonicd@.service \
  >$drop_ins/sonicd@ttyS1.service.d/override.conf
systemctl daemon-reload
[[ $(systemctl show --property=Environment --value sonicd@ttyS1) == '"SONICD_OPTIONS=-r 10"' ]]

# It works with the rights that are left to it.
systemctl start mosquitto sonicd@ttyS1
await says sonicd@ttyS1 'next switch'
[[ $(ps -o ni=,user= -p "$(systemctl show --property=MainPID --value sonicd@ttyS1)" | xargs) == "-20 qelta" ]]
has $power 1
has /sys/class/tty/ttyS1/sonic_type YOUNG_81000
[[ $(stat -c %U:%G $device/*.young*) == qelta:qelta ]]
mosquitto_sub -h ::1 -C 2 -W 10 -t /home/qelta/device/port/1 | grep '"u"'

# The broker gives the page what the finished files say.
last=$(($(date +%s) / 1800 * 1800 - 1800))
PYTHONPATH=$checkout/tests python3 -Bc "import data_files, pathlib
data_files.write(pathlib.Path('$device'), $last)"
systemctl start sonicd-history
fails says sonicd-history 'sonicd-history:'
python3 -c "import urllib.request
print(urllib.request.urlopen('http://localhost:8080/data/stations.json').read())" |
  grep "\"port\":\"1\".*$(date -u -d "@$last" +%FT%TZ),1800,1800,100.00,.*"

# An alarm is reported as the document says, by a command with the rights of any other.
mkdir -m 777 /mailed
printf '%s\n' '#!/bin/sh' 'echo "$@" >/mailed/arguments' 'cat >/mailed/text' >/usr/local/bin/mail
chmod +x /usr/local/bin/mail
sed -n 's/^    \(SONIC_ALARM.*=.*\)/\1/p' "$checkout/doc/alarm.md" | sed 's|/srv/sonic|/srv|' >/etc/default/sonic-alarm
mosquitto_pub -h ::1 -r -t mast-9/home/qelta/device/port/1 -m '{ "SECONDS" : 1700000000 }'
systemctl start sonic-alarm
grep '^-s ALARM mast-9 port 1: no record for .* you@example.org$' /mailed/arguments
grep 'UTC  ALARM mast-9 port 1' /mailed/text
[[ $(stat -c %U /mailed/text) == sonic-alarm ]]
rm /mailed/*
systemctl start sonic-alarm
[[ ! -e /mailed/text ]]

# A second one keeps out of its folder, says so to the user who starts it, and needs no more than one of
# its own. No other user can hold the lock.
fails as_qelta ls /run/sonicd
instrument /dev/ttyS4
fails systemctl start sonicd@ttyS4
says sonicd@ttyS4 "another sonicd writes to $device"
is_running sonicd@ttyS1
systemctl stop sonicd@ttyS4
install -d -o qelta -g qelta $device-ttyS4
cp -p $device/config.json $device-ttyS4
mkdir $drop_ins/sonicd@ttyS4.service.d
printf '%s\n' '[Service]' BindPaths= "BindPaths=$device-ttyS4:$device" \
  >$drop_ins/sonicd@ttyS4.service.d/folder.conf
systemctl daemon-reload
systemctl start sonicd@ttyS4
await says sonicd@ttyS4 'Trying 38400'

# The watch starts and ends with the daemon, and says nothing about one that is stopped.
systemctl restart sonicd@ttyS4
is_running sonicd-watch@ttyS4.timer
/usr/libexec/sonicd-watch ttyS4 2 >said &
systemctl stop sonicd@ttyS4
await fails is_running sonicd-watch@ttyS4.timer
is_running sonicd-watch@ttyS1.timer
wait $!
[[ ! -s said ]]
systemctl start sonicd-watch@ttyS1  # ends with a record

# Nobody but sonic-port says what its port is, whatever an earlier version has left.
systemctl stop sonicd@ttyS1
mkdir -p /run/sonic-port/ttyS1
chown -R qelta /run/sonic-port/ttyS1
instrument /dev/victim
victim=$(readlink /dev/victim)
as_qelta ln -s "$victim" /run/sonic-port/ttyS1/port
instrument /dev/instrument --raw
chgrp dialout "$(readlink /dev/instrument)"
chmod g+rw "$(readlink /dev/instrument)"
echo DEVICE=/dev/instrument >/etc/default/sonic-port-ttyS1
cp /usr/share/sonicd/sonic-port.conf $drop_ins/sonicd@ttyS1.service.d
systemctl daemon-reload
systemctl start sonicd@ttyS1
port=$(readlink /run/sonic-port/ttyS1/port)
[[ $port != "$victim" && $(stat -c %U "$port" /run/sonic-port/ttyS1 | uniq) == sonic-port ]]
fails as_qelta ln -sfn "$victim" /run/sonic-port/ttyS1/port
fails as_qelta mv /run/sonic-port/ttyS1 /run/sonic-port/mine
fails as_qelta mkdir /run/sonic-port/ttyS4
await says sonicd@ttyS1 'next switch'
