#!/bin/bash
# In a private device, runs sonicd ($2) to records with the capabilities and files that unit $1 leaves it.
set -euo pipefail
"$3" --link /dev/ttyS1 &
trap 'kill %%' EXIT
until [[ -e /dev/ttyS1 ]]; do sleep 0.1; done
mount --bind "$DEVICE_HOME" "$DEVICE_HOME"
for path in / /home; do mount -o remount,bind,ro "$path"; done
read -ra capabilities <<<"$(sed -n 's/^CapabilityBoundingSet=//p' "$1" | tr '[:upper:]' '[:lower:]')"
coproc setpriv --bounding-set "-all$(printf ',+%s' "${capabilities[@]#cap_}")" --inh-caps -all \
  --no-new-privs --regid qelta --clear-groups "$2" -p ttyS1 -n 100
daemon=$COPROC_PID
while read -r line && [[ $line != next\ switch* ]]; do echo "$line"; done <&"${COPROC[0]}"
[[ $(ps -o ni=,user= -p "$daemon" | xargs) == "-20 qelta" ]]
[[ $(</sys/class/gpio/gpio13/value)$(</sys/class/tty/ttyS1/sonic_type) == 1*YOUNG_81000 ]]
wait "$daemon"
[[ $(</sys/class/gpio/gpio13/value) == 0 && $(grep -hc '^DATA_SONIC.[0-9]' "$DEVICE_HOME"/*.young*) == 100 &&
  $(stat -c %U:%G "$DEVICE_HOME"/*.young*) == qelta:qelta ]]
