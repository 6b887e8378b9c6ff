#!/bin/bash
# Two devices forward by the example configuration; one loses its uplink and restarts its broker.
# shellcheck source=tests/tools/setup.sh
. "$(dirname "$0")/setup.sh"
cd "$here/../../deploy/mosquitto"
topic=/home/qelta/device/port/1

central_broker() {
  cp central.acl.example /run/central.acl
  cat 00-sonicd.conf sonicd.conf central.conf.example |
    sed "s|/etc/mosquitto|/run|; \$auser root" >/run/central.conf
  printf '%s:change-me\n' reader mast-07 mast-08 >/run/central.passwd
  mosquitto_passwd -U /run/central.passwd
  mosquitto -c /run/central.conf &
}

# A network namespace with a line to the centre.
device() {
  ip netns add "mast-0$1"
  ip link add "up$1" type veth peer wan netns "mast-0$1"
  ip addr add "10.0.$1.1/24" dev "up$1"
  ip link set "up$1" up
  ip -n "mast-0$1" addr add "10.0.$1.2/24" dev wan
  ip -n "mast-0$1" link set wan up
  ip -n "mast-0$1" link set lo up
  {
    cat 00-sonicd.conf sonicd.conf
    printf '%s\n' "user root" "persistence true" "persistence_file /run/$1.db"
    sed "s/mast-07/mast-0$1/; s/central.example.org/10.0.$1.1/" bridge.conf.example |
      sed 's/^\(restart_timeout\) .*/\1 1/'
  } >"/run/$1.conf"
}

# The numbers $2 to $3 on device $1, when its broker is there.
publish() {
  until seq "$2" "$3" | ip netns exec "mast-0$1" mosquitto_pub -h ::1 -q 1 -r -t $topic -l; do
    sleep 0.1
  done
}

await() { until (($(sort -u /run/heard | wc -l) >= $1)); do sleep 0.1; done; }

central_broker
until mosquitto_sub -h ::1 -p 1884 -u reader -P change-me -q 1 -v -t '#' -T '+/uplink'; do
  sleep 0.1
done >/run/heard &
# From now on it hears everything.
until mosquitto_pub -h ::1 -p 1884 -u mast-08 -P change-me -r -t mast-08$topic -m 1; do sleep 0.1; done
await 1
for n in 8 7; do
  device $n
  ip netns exec mast-0$n mosquitto -c /run/$n.conf &
  publish $n 1 100
done
await 200
ip link set up7 down
publish 7 101 300
publish 8 101 200
mosquitto_pub -h ::1 -p 1884 -u mast-08 -P change-me -q 1 -t mast-07$topic -m lie
ip netns exec mast-07 mosquitto_pub -h ::1 -q 1 -r -t $topic/status -m Connected
kill $!
wait $!
ip netns exec mast-07 mosquitto -c /run/7.conf &
publish 7 301 500
ip link set up7 up
await 701
diff <(sort -u /run/heard) \
  <((echo "mast-07$topic/status Connected"; seq -f "mast-07$topic %g" 500; seq -f "mast-08$topic %g" 200) | sort)
