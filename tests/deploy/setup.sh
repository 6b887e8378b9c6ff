#!/bin/bash
# What somebody with an instrument and the package of build folder $1 does: in a booted copy of this
# machine, with instruments on pseudo-terminals.
set -euxo pipefail
[[ -e $1/live-page/index.html ]] || { echo "skipped: no live page, which needs npm"; exit 77; }
cd "$1"
cpack -B /package >/dev/null
cd
data=/home/qelta

status_of() { local status=0; "$@" >said 2>&1 || status=$?; cat said; [[ $status == "$expected" ]]; }
expect() { local expected=$1; shift; status_of "$@"; }  # STATUS COMMAND...; what it says is in `said`
says() { grep -e "$1" said; }
retained() { mosquitto_sub -h ::1 --retained-only -W 2 -v -t '#' || true; }
adapter() {  # NAME [OPTION]...: plugs in an instrument
  local device=/dev/serial/by-id/$1
  mkdir -p /dev/serial/by-id
  sonic-simulator --link "$device" --raw "${@:2}" >/dev/null &
  plugged=$!
  until [[ -e $device ]]; do sleep 0.1; done
  chgrp dialout "$(readlink "$device")"
  chmod g+rw "$(readlink "$device")"
}

mount -t tmpfs tmpfs /sys/class
mkdir -p /sys/class/gpio/gpio{9,13} /sys/class/tty
echo 0 | tee /sys/class/gpio/gpio{9,13}/value
dpkg -i /package/*.deb
systemctl set-environment "ASAN_OPTIONS=${ASAN_OPTIONS-}"

expect 2 sonicd-setup ttyS3
expect 2 sonicd-setup --simulated --serial 1
expect 2 sonicd-setup ttyS1
says 'serial number is missing: --serial'
expect 1 sonicd-setup ttyS1 --serial 1 --device /dev/serial/by-id/none
says 'No such file'
expect 1 sonicd-setup --check
says 'No instrument is set up'
[[ -z $(find /etc/systemd/system /etc/default -name '*sonic*') ]]

# A simulated instrument: out of reach of real data and real power, and gone without a trace.
expect 0 sonicd-setup --simulated
says 'first record: u .* m/s'
[[ $(ls $data/device) == config.json && $(</sys/class/gpio/gpio9/value) == 0 ]]
says "$(ls $data/simulated/*.young_81000_v.simulated)"
python3 -c 'import urllib.request as r; assert b"<html" in r.urlopen("http://localhost:8080/").read()'
expect 0 sonicd-setup --check
says 'Nothing is wrong'
expect 1 sonicd-setup ttyS4 --serial 1
says 'sonicd-setup --remove'
expect 1 sonicd-setup --simulated
expect 0 sonicd-setup --remove
[[ $(ls $data) == device && ! -e /dev/ttyS4 && -z $(retained) && -z $(find /run/systemd/system /etc/systemd -name '*sonicd@*') ]]
expect 1 sonicd-setup --remove

# A real one on an adapter. The settings are asked for where there is a terminal.
adapter one
expect 0 script -qec 'sonicd-setup ttyS1' typescript <<<$'/dev/serial/by-id/one\n01234'
says 'first record: u'
says 'serial number is 00815, the settings say 01234'
[[ $(systemctl is-enabled sonicd@ttyS1 sonic-port@ttyS1 | uniq) == enabled ]]
ls $data/device/*.young_81000_v.01234

# The second gets a folder of its own; the simulated one gets neither's port.
adapter two
echo OPTIONS=--trace >/etc/default/sonic-port-ttyS4
expect 0 sonicd-setup ttyS4 --device /dev/serial/by-id/two --serial 00815
ls $data/device-ttyS4/*.young_81000_v.00815
[[ $(sort /etc/default/sonic-port-ttyS4 | xargs) == 'DEVICE=/dev/serial/by-id/two OPTIONS=--trace' ]]
expect 0 sonicd-setup --check
says '^ttyS1' && says '^ttyS4'
expect 1 sonicd-setup --simulated ttyS4

# A failure that repeats every five seconds is said once.
chmod g-rw "$(readlink /dev/serial/by-id/two)"
expect 1 sonicd-setup ttyS4 --wait 13
[[ $(says '^ .* s .*two cannot be opened' | wc -l) == 1 ]]

# Its adapter is pulled. A start meanwhile says what is missing, and what the check finds.
kill $plugged
expect 1 sonicd-setup ttyS4 --wait 1
says 'two: No such file'
expect 1 sonicd-setup --check ttyS4
says 'PROBLEM .*two is missing'

# The settings are spoiled, the broker does not run.
echo '{' >$data/device/config.json
systemctl stop mosquitto
expect 1 sonicd-setup --check ttyS1
says 'PROBLEM .*has no serial number'
says 'PROBLEM .*broker does not run'
systemctl restart sonicd@ttyS1
until journalctl --quiet -u sonicd@ttyS1 | grep 'EXCEPTION: \* Line'; do sleep 0.1; done
expect 1 sonicd-setup --check ttyS1
says 'config.json cannot be read'
expect 0 sonicd-setup ttyS1 --serial 00815
[[ $(<said) != *'settings say'* && $(systemctl is-active mosquitto) == active ]]

# Removed, with everything but its data.
expect 0 sonicd-setup --remove ttyS1
expect 0 sonicd-setup --remove ttyS4
expect 1 sonicd-setup --remove ttyS4
says 'no instrument is set up on ttyS4'
ls $data/device/*01234 $data/device/*00815 $data/device-ttyS4/*00815
[[ -z $(retained) ]]
[[ -z $(find /etc/systemd/system /etc/default -name '*sonic*') ]]
