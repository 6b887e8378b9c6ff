#!/bin/bash
# What is compressed, what is left alone, and what is there whenever it is killed.
# shellcheck source=tests/tools/setup.sh
. "$(dirname "$0")/setup.sh"
first=1700001000.sonic.1
newest=1700002800.sonic.1

{
  top
  line 1700001000 0 1.00,-0.45,0.07,343.21,21.50,0
  line 1700001001 0 2.00,-0.45,0.07,343.21,21.50,0
  seq -f 'DATAERROR %g' 20000
} >half_hour
sonic-records half_hour >table

# Two files of one instrument, last written to two hours ago.
fresh() {
  rm -rf data
  mkdir data
  cp half_hour data/$first
  chmod 640 data/$first
  touch data/$newest
  touch -d '2 hours ago' data/*
}
# holds FILE...: no other files are there. Nothing that it starts may outlive it with file 3.
holds() { [[ $(ls -A data) == "$(printf '%s\n' "$@")" ]] || { ls -A data; exit 1; }; }
# The first is compressed, with all that was in it, and has its age and rights.
is_compressed() {
  holds $first.zst $newest
  zstd -dcq data/$first.zst | cmp half_hour -
  [[ $(find data -name '*.zst' -perm 640 -mmin +60) ]]
}

# Somebody opens a file for writing while it is compressed: it is left, the next one is not, and who
# opened it does not wait. A copy that root makes belongs to the file's owner.
fresh
cp -p data/$first data/1699999200.sonic.1
chown qelta:qelta data/*
mkdir slow
printf '#!/bin/sh\nif [ -e hold ]; then sleep 5; fi\nexec %s "$@"\n' "$(command -v zstd)" >slow/zstd
chmod +x slow/zstd
touch hold
PATH=$PWD/slow:$PATH sonicd-compress data >messages &
until [[ -e data/.1699999200.sonic.1.zst.part ]]; do sleep 0.1; done
rm hold
timeout 2 sh -c 'echo more >>data/1699999200.sonic.1'
wait $!
grep -q '^data/1699999200.sonic.1: left as it is, in use' messages
holds .1699999200.sonic.1.zst.part 1699999200.sonic.1 $first.zst $newest
[[ $(stat -c %U:%G data/$first.zst) == qelta:qelta ]]
tail -n 1 data/1699999200.sonic.1 | grep -q more

# Killed at any moment: each record is there, once, and the next run ends the work.
for round in {1..60}; do
  fresh
  sonicd-compress data >/dev/null 2>&1 &
  sleep 0.0$((RANDOM % 4))$((RANDOM % 10))
  kill -KILL $! 2>/dev/null || true
  wait $! 2>/dev/null || true
  sonic-records data/1700001000* 2>/dev/null | cmp table - ||
    { echo "round $round"; ls -lA data; exit 1; }
  # What was killed may take a moment to end, and has the file in use so long.
  while [[ -e data/$first ]]; do sonicd-compress data >/dev/null; done
  is_compressed
done
