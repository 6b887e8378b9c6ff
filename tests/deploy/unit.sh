#!/bin/bash
# Runs sonicd ($2) with the capabilities and the writable files that unit $1 leaves it, after the
# unit's step before each start. In a private device; $3 is sonic-simulator.
set -euo pipefail
sonicd=$2
power=/sys/class/gpio/gpio13/value
capabilities=$(sed -n 's/^CapabilityBoundingSet=//p' "$1" |
  sed 's/CAP_/+/g; s/ /,/g; s/.*/\L&/')
start() {
  setpriv --bounding-set "-all,$capabilities" --inh-caps -all --no-new-privs --regid qelta \
    --clear-groups "$sonicd" -p ttyS1 -n 100 >"$DEVICE_RUN/log" &
  daemon=$!
}

"$3" --link /dev/ttyS1 &
until [[ -e /dev/ttyS1 ]]; do sleep 0.1; done
mount --bind "$DEVICE_HOME" "$DEVICE_HOME"
mount -o remount,bind,ro /
mount -o remount,bind,ro /home
chown root $power
step=$(sed -n 's/^ExecStartPre=-+//p' "$1")
$step

# Interrupted while it seeks the baud rate, it switches the instrument off as qelta.
start
until [[ $(<$power) == 1 ]]; do sleep 0.1; done
kill -INT $daemon
if wait $daemon; then exit 1; fi
[[ $(<$power) == 0 ]]

start
until grep -q '^next switch' "$DEVICE_RUN/log"; do sleep 0.1; done
[[ $(ps -o ni=,user= -p $daemon | xargs) == "-20 qelta" ]]
[[ $(<$power) == 1 ]]
[[ $(</sys/class/tty/ttyS1/sonic_type) == *YOUNG_81000 ]]

wait $daemon
[[ $(<$power) == 0 ]]
[[ $(grep -hc '^DATA_SONIC.[0-9]' "$DEVICE_HOME"/*.young*) == 100 ]]
[[ $(stat -c %U:%G "$DEVICE_HOME"/*.young*) == qelta:qelta ]]
