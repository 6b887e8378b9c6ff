#!/bin/bash
# Two stations join an archive, and it answers: in a booted copy of this machine, with the package of
# build folder $1. Loggers and archive are one machine here, with ssh between two of its users.
set -euxo pipefail
[[ -e $1/live-page/index.html ]] || { echo "skipped: no live page, which needs npm"; exit 77; }
type sshd rrsync clickhouse-server || { echo "skipped: no openssh-server, rsync or clickhouse"; exit 77; }
cd "$1"
cpack -B /package >/dev/null
cd
data=/home/qelta/device
keys=/srv/sonic/.ssh/authorized_keys
fails() { if "$@"; then return 1; fi; }
as_qelta() { setpriv --reuid qelta --regid qelta --clear-groups env HOME=/home/qelta "$@"; }
line() { sed -n '/^sonic-station add/p' "$1"; }

dpkg -i /package/*.deb
systemctl set-environment "ASAN_OPTIONS=${ASAN_OPTIONS-}"
ssh-keygen -A
systemctl start systemd-user-sessions ssh  # nobody logs in before the first
install -d $data-ttyS2
"$1/simulator/make-files" $data 1700001000 10 1
"$1/simulator/make-files" $data-ttyS2 1700001000 10 2
chown -R qelta:qelta $data $data-ttyS2

# Four commands: one on each logger, one at the archive for what they print, one question.
sonicd-setup-archive localhost --station mast-07 >one &
one=$!
sonicd-setup-archive localhost --station mast-08 --folder device-ttyS2 >two &
two=$!
until [[ $(line one) && $(line two) ]]; do sleep 0.1; done
fails sonic-station add <<<"$(line one; echo a line of something else; line two)"
wait $one $two
[[ $(cat one two) == *'The archive has the files of mast-08'* ]]
diff -r --exclude='*.json' $data /srv/sonic/mast-07
systemctl start sonic-load
sonic-ask completeness from=2023-11-14 to=2023-11-15 | tee answer
[[ $(cut -f 1 answer | xargs) == *'mast-07 mast-08'* ]]

# From now on new data are sent.
systemctl is-active sonicd-send@device.timer sonicd-send@device-ttyS2.timer
echo more >>"$(echo $data/1700001000.*)"
systemctl start sonicd-send@device
diff -r --exclude='*.json' $data /srv/sonic/mast-07
sonic-station list | grep "^mast-07.$(date -u +%F)"

# The key opens nothing else, another logger does not get a name that is taken, nor does a machine
# that only says that it is the archive.
fails as_qelta ssh -i /home/qelta/.ssh/id_device sonic@localhost touch mast-08/1
fails as_qelta ssh sonic@localhost true
[[ $(grep -c . $keys) == 2 ]]
fails sonic-station add mast-07 "$(line two | cut -d ' ' -f 4)" ssh-ed25519 AAAAother 2>&1 | grep 'another logger'
fails sonic-station add mast-09 SHA256:other ssh-ed25519 AAAAother 2>&1 | grep 'not this one'
for name in ../x 'mast 9'; do fails sonic-station add "$name" "$(line two | cut -d ' ' -f 4)" ssh-ed25519 AAAAother; done
fails sonic-station add mast-09 "$(line two | cut -d ' ' -f 4)" ssh-ed25519 $'AAAA\nssh-ed25519' x
[[ $(grep -c . $keys) == 2 ]]

# Joining twice changes nothing; it needs no line. A logger that was removed is not let in.
cp $keys before
sonicd-setup-archive localhost --station mast-07
diff before $keys
sonicd-setup-archive localhost --remove
fails systemctl is-enabled sonicd-send@device.timer
sonic-station remove mast-08
fails systemctl start sonicd-send@device-ttyS2
fails sonicd-setup-archive localhost --station mast-08 --folder device-ttyS2 --wait 0

# Whoever gives the loader settings of its own looks after its tables.
echo SONIC_STORE=--host=elsewhere >/etc/default/sonic-load
SONIC_STORE=--host=elsewhere sonic-station add </dev/null
