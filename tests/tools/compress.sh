#!/bin/bash
# What is compressed, what is left alone, and what is there whenever it is killed.
. "$(dirname "$0")/setup.sh"
room=$here/../../deploy/sonicd-room
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
  touch data/$newest
  touch -d '2 hours ago' data/*
}
# holds FILE...: no other files are there. Nothing that it starts may outlive it with file 3.
holds() { [[ $(ls -A data) == "$(printf '%s\n' "$@")" ]] || { ls -A data; exit 1; }; }
# The first is compressed, with all that was in it.
is_compressed() {
  holds $first.zst $newest
  zstd -dcq data/$first.zst | cmp half_hour -
}

# Left alone: the newest of each instrument, one written to of late, one that is open for writing,
# and what is no half hour.
fresh
others=(1700001000.sonic.2 1700001001.sonic.1 $newest 1700004600.sonic.1 config.json)
for file in "${others[@]}"; do cp half_hour "data/$file"; done
echo picture >data/1699999200.sonic.1
touch -d '2 hours ago' data/*
touch data/$newest  # not the newest of its instrument now
exec 3>>data/$first
sonicd-compress data | grep -q "being written to"
holds 1699999200.sonic.1 $first "${others[@]}"
exec 3>&-
sonicd-compress data >/dev/null
holds 1699999200.sonic.1 $first.zst "${others[@]}"

# Killed at any moment: each record is there, once, and the next run ends the work.
for round in {1..60}; do
  fresh
  sonicd-compress data >/dev/null 2>&1 &
  sleep 0.0$((RANDOM % 4))$((RANDOM % 10))
  kill -KILL $! 2>/dev/null || true
  wait $! 2>/dev/null || true
  sonic-records data/1700001000* 2>/dev/null | cmp table - ||
    { echo "round $round"; ls -lA data; exit 1; }
  # A program that was being started holds the folder until it runs.
  until sonicd-compress data >/dev/null 2>&1; do sleep 0.1; done
  is_compressed
done

# Copies that are there already: the beginning, one that cannot be read, and one of other records,
# from before the clock was set back.
fresh
head -n 9 half_hour | zstd -qc >data/$first.zst
sonicd-compress data >/dev/null
is_compressed
fresh
zstd -qc half_hour | head -c -1 >data/$first.zst
sonicd-compress data >/dev/null
holds 1700001000.sonic.1.2.zst $first.zst $newest
zstd -dcq data/1700001000.sonic.1.2.zst | cmp half_hour -
fresh
line 1700001000 5 1.00,1.00,1.00,343.21,20.00,0 | zstd -q >data/$first.zst
sonicd-compress data >/dev/null
holds 1700001000.sonic.1.2.zst $first.zst $newest
[[ $(sonic-records data/*.zst | wc -l) == 4 ]]

# What cannot be written leaves the plain file: a disk that is full.
mkdir full
mount -t tmpfs -o size=40k tmpfs full
cat <(head -c 30000 half_hour) <(head -c 8000 /dev/urandom) >full/$first
touch -d '2 hours ago' full/{$first,$newest}
ends 1 sonicd-compress full
[[ $(cd full && ls -A) == $first$'\n'$newest ]]
ends 2 sonicd-compress
ends 1 sonicd-compress missing

# A warning for a disk that has room for nine days and for a full one, where nothing comes, none when
# it has room for ninety.
rm full/*
mount -o remount,size=10M full
head -c 1M /dev/zero >full/$newest
"$room" full | grep -q "room for 9 days of data left"
truncate -s 100K full/$newest
[[ -z $("$room" full) ]]
rm full/$newest
head -c 20M /dev/zero >full/other 2>/dev/null || true
"$room" full | grep -q "room for 0 days of data left"
