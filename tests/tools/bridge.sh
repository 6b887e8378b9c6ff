#!/bin/bash
# Two devices forward by the example configuration; one loses its uplink and restarts its broker.
set -euo pipefail
trap 'exit 1' INT TERM  # the first process of a namespace needs to be told
private=(unshare --mount --net --pid --fork --mount-proc --kill-child)
"${private[@]}" true || { echo "skipped: private namespaces need root"; exit 77; }
[[ ${INSIDE-} ]] || INSIDE=1 PATH=$PATH:/usr/sbin:/sbin exec "${private[@]}" "$0"
cd "$(dirname "$0")/../../deploy/mosquitto"
mount -t tmpfs tmpfs /run  # hides the names of network namespaces, too
topic=/home/qelta/device/port/1
start() { ip netns exec mast-0"$1" mosquitto -c "/run/$1.conf" & broker[$1]=$!; }
publish() { seq "$2" "$3" | ip netns exec mast-0"$1" mosquitto_pub -h ::1 -q 1 -t $topic -l; }
await() { until [[ $(sort -u /run/heard | wc -l) -ge $1 ]]; do sleep 0.1; done; }
ip link set lo up
cp central.acl.example /run/central.acl
sed "s|/etc/mosquitto|/run|; \$auser root" central.conf.example >/run/central.conf
printf '%s:change-me\n' reader mast-07 mast-08 >/run/central.passwd
mosquitto_passwd -U /run/central.passwd
mosquitto -c /run/central.conf &
until mosquitto_sub -h ::1 -u reader -P change-me -q 1 -v -t '#' -T '+/uplink'; do sleep 0.1; done >/run/heard &
for n in 7 8; do
  ip netns add mast-0$n
  ip link add up$n type veth peer wan netns mast-0$n
  ip addr add 10.0.$n.1/24 dev up$n; ip link set up$n up
  ip -n mast-0$n -batch - <<<"addr add 10.0.$n.2/24 dev wan"$'\nlink set wan up\nlink set lo up'
  { cat sonicd.conf; printf '%s\n' "user root" "persistence true" "persistence_file /run/$n.db"
    sed "s/mast-07/mast-0$n/; s/central.example.org/10.0.$n.1/; s/^\(restart_timeout\) .*/\1 1/" \
      bridge.conf.example; } >/run/$n.conf
  start $n
  until publish $n 1 100; do sleep 0.1; done
done
await 200
ip link set up7 down
publish 7 101 300; publish 8 101 200
kill "${broker[7]}"; wait "${broker[7]}"; start 7
until publish 7 301 500; do sleep 0.1; done
ip link set up7 up
await 700
sort <(seq -f "mast-07$topic %g" 500) <(seq -f "mast-08$topic %g" 200) | diff - <(sort -u /run/heard)
