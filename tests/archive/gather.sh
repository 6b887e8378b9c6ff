#!/bin/bash
# Sends a logger's files to the archive over a link that is cut, with the unit's own command. In a
# private device; the archive is in a network of its own.
set -euo pipefail
type sshd rsync rrsync >/dev/null || { echo "skipped: no openssh-server or no rsync"; exit 77; }
root=$(realpath "$(dirname "$0")/../..")
unit=$root/deploy/systemd/sonicd-send@.service
arrived=$DEVICE_RUN/archive/mast-07
large=1700001000.young_81000_v.01234 small=1700002800.young_81000_v.01234

as_qelta() { setpriv --reuid qelta --regid qelta --clear-groups env HOME=/home/qelta "$@"; }
send() {
  local command
  command=$(sed -n '/^ExecStart=/,/[^\\]$/p' "$unit")
  command=${command#ExecStart=}
  as_qelta SONIC_FILES='[0-9]*' SONIC_ARCHIVE=sonic@10.0.0.1:. SONIC_OPTIONS="--timeout=4 $*" \
    bash -fc "${command//%i/device}"
}

# The network, and the archive's account: its key may write into one folder and do nothing else.
ip netns add archive
ip link add uplink type veth peer wan netns archive
ip addr add 10.0.0.2/24 dev uplink
ip link set uplink up
ip -n archive addr add 10.0.0.1/24 dev wan
ip -n archive link set wan up
echo "sonic:x:52102:52102::$DEVICE_RUN/archive:/bin/sh" >>/etc/passwd
echo "sonic:x:52102:" >>/etc/group
mkdir -p /run/sshd "$arrived" "$DEVICE_RUN/archive/.ssh" /home/qelta/.ssh
ssh-keygen -q -t ed25519 -N "" -f "$DEVICE_RUN/host_key"
ssh-keygen -q -t ed25519 -N "" -f /home/qelta/.ssh/id_ed25519
echo "10.0.0.1 $(<"$DEVICE_RUN/host_key.pub")" >/home/qelta/.ssh/known_hosts
echo "command=\"rrsync -wo -no-del $arrived\",restrict $(</home/qelta/.ssh/id_ed25519.pub)" \
  >"$DEVICE_RUN/archive/.ssh/authorized_keys"
chown -R sonic:sonic "$DEVICE_RUN/archive"
{
  printf '%s\n' "ListenAddress 10.0.0.1" "HostKey $DEVICE_RUN/host_key" "PidFile none"
  sed 's/ClientAliveInterval .*/ClientAliveInterval 1/' "$root/archive/sshd.conf"
} >"$DEVICE_RUN/sshd_config"
ip netns exec archive /usr/sbin/sshd -D -e -f "$DEVICE_RUN/sshd_config" &

cd "$DEVICE_HOME"
head -c 4000000 /dev/urandom | base64 >$large
echo "a half hour" >$small
chown -R qelta:qelta /home/qelta

echo "The link is cut within a file"
send --bwlimit=1000 &
until [[ -s $arrived/$large ]]; do sleep 0.1; done
sleep 1
ip link set uplink down
if wait $!; then exit 1; fi
cmp -n "$(stat -c %s "$arrived/$large")" $large "$arrived/$large"
[[ ! -e $arrived/$small ]]

echo "The link returns: the rest is sent"
ip link set uplink up
until send --stats >"$DEVICE_RUN/stats"; do sleep 1; done  # the archive must have noticed the cut
cmp $large "$arrived/$large"
cmp $small "$arrived/$small"
(($(sed -n 's/^Literal data: \([0-9,]*\) .*/\1/p' "$DEVICE_RUN/stats" | tr -d ,) < 5000000))
