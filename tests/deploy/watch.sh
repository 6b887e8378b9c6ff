#!/bin/bash
# The watch ends a daemon from which no records arrive, whatever it is doing, and no other. In a
# private device; $1 is sonicd, $2 sonic-simulator, $3 the watch. No systemd runs there: a stand-in for systemctl
# says of every daemon that it runs, and interrupts the one that is to be restarted.
set -euo pipefail
sonicd=$1
simulator=$2
watch=$3
cd "$DEVICE_RUN"
cat >systemctl <<'TEXT'
#!/bin/sh
case $1 in
  restart) kill -INT "$(cat "/run/device/$2")" ;;
  is-active) echo active ;;
esac
TEXT
chmod +x systemctl
PATH=$DEVICE_RUN:$PATH

start() {  # PORT [SIMULATOR OPTION]...
  "$simulator" --link "/dev/$1" "${@:2}" >/dev/null &
  until [[ -e /dev/$1 ]]; do sleep 0.1; done
  "$sonicd" -p "$1" >"$1.log" &
  echo $! >"sonicd@$1.service"
}
await() { until grep -q "$2" "$1.log"; do sleep 0.2; done; }
goes_on() { kill -0 "$(<"sonicd@$1.service")"; }
fails() { if "$@"; then return 1; fi; }

printf 'no record\r%.0s' {1..3000} >noise  # more than a minute of it
start ttyS1
start ttyS2 --replay noise
start ttyS4 --settle 1000  # never a byte after the set-up: the daemon never stops waiting for the first
await ttyS1 'next switch'
await ttyS2 "'no record' is a bad record"
await ttyS4 'get config'

"$watch" ttyS1 5
fails "$watch" ttyS2 5 &
fails "$watch" ttyS4 5
wait $!
sleep 3  # to end in
goes_on ttyS1
fails goes_on ttyS2
fails goes_on ttyS4

kill "$(<"$DEVICE_BROKER_PID")"
sleep 1
fails "$watch" ttyS1 5
goes_on ttyS1
