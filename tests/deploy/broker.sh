#!/bin/bash
# Who may do what at a broker with the shipped files and a listener for the network, whatever the
# name of its file. In a private device without a broker; $1 is sonicd, $2 sonic-simulator.
set -euo pipefail
cd "$(dirname "$0")/../../deploy/mosquitto"

mount -t tmpfs tmpfs /etc/mosquitto
mkdir /etc/mosquitto/{conf.d,certs}
printf '%s\n' "user root" "include_dir /etc/mosquitto/conf.d" >/etc/mosquitto/mosquitto.conf
cp 00-sonicd.conf sonicd.conf /etc/mosquitto/conf.d
mosquitto_passwd -b -c /etc/mosquitto/network.passwd reader secret
echo 'pattern read #' >/etc/mosquitto/network.acl
openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=broker -addext subjectAltName=IP:::1 \
  -out /etc/mosquitto/certs/network.crt -keyout /etc/mosquitto/certs/network.key 2>/dev/null

on_device() { "mosquitto_$1" -h ::1 -q 1 "${@:2}"; }
on_network() {
  "mosquitto_$1" -h ::1 -p 8883 --cafile /etc/mosquitto/certs/network.crt -q 1 "${@:2}"
}
refused() { if "$@"; then exit 1; fi; }
listening() { (: >"/dev/tcp/::1/$1") 2>/dev/null; }

"$2" --link /dev/ttyS1 --state silent &
for file in network zz; do
  cp network.conf.example "/etc/mosquitto/conf.d/$file.conf"
  mosquitto -c /etc/mosquitto/mosquitto.conf &
  broker=$!
  until listening 1883 && listening 8883; do sleep 0.1; done

  "$1" -p ttyS1 >/dev/null &
  daemon=$!
  refused bash -c ': >/dev/tcp/127.0.0.1/1883'
  from_daemon=(sub -t /home/qelta/device/port/1/status -C 1 -W 10)
  on_device "${from_daemon[@]}"
  on_network "${from_daemon[@]}" -u reader -P secret
  refused on_network "${from_daemon[@]}"
  refused on_network "${from_daemon[@]}" -u reader -P guess

  on_device pub -t note -r -m true
  on_network pub -t note -r -m lie -u reader -P secret
  refused on_network pub -t note -r -m lie
  [[ $(on_device sub -t note -C 1 -W 10) == true ]]

  kill "$daemon" "$broker"
  wait "$broker"
  rm "/etc/mosquitto/conf.d/$file.conf"
done
