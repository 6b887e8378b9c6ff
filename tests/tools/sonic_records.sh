#!/bin/bash
# What becomes of half-hour files in a table. sonic_records.input has, among good records: a line of
# errors, one with a zero byte, one of another kind, a record whose numbers touch, one with too many
# nanoseconds, one that is damaged, one that is torn by a power cut, and a clock that is set back.
. "$(dirname "$0")/setup.sh"

cp "$here/sonic_records.input" later
line 1700000000 0 1.23,-0.45,0.07,343.21,21.50,0 >1.earlier
sonic-records later 1.earlier | diff "$here/sonic_records.tsv" -
sonic-records --summary --format json later | diff "$here/sonic_records.summary" -
sonic-records --events later 1.earlier | diff "$here/sonic_records.events" -
sonic-records --format json --epoch --station m --from 1700001001 --to 2023-11-14T22:30:02 later |
  diff "$here/sonic_records.json" -

# Compressed, by name or through a pipe; a copy counts once, and so does one that is cut short.
sonic-records later >table
for program in gzip zstd xz; do
  $program -qc later >copy
  cmp table <(sonic-records copy)
  cmp table <(sonic-records <copy)
  cmp table <(sonic-records < <(cat copy))
  cmp table <(sonic-records copy later 2>messages)
  grep -qE "(copy|later): passed over" messages
done
head -c 100 later >copy
cmp table <(sonic-records copy later 2>/dev/null)
zstd -qc later | head -c 200 >copy

# A reader that has enough ends all of them.
sed -n 7p later >one
ends 0 timeout 20 bash -c "yes '$(<one)' | zstd -qc | sonic-records | head -n 1"

# A line that does not end is not kept: 100 MB of it pass, and few are in memory.
mkfifo endless
sonic-records <endless >/dev/null 2>&1 &
exec 3>endless
head -c 100M /dev/zero >&3
(($(awk '/VmHWM/ {print $2}' /proc/$!/status) < 50000))
exec 3>&-

ends 0 sonic-records --from 2030-01-01 later
ends 1 sonic-records missing later
ends 1 sonic-records copy
ends 1 sonic-records /etc/passwd
for wrong in --from=2023-02-29 --to=22:30 --format=xls --station=a,b --unknown; do
  ends 2 sonic-records "$wrong" later
done
