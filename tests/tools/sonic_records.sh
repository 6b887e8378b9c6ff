#!/bin/bash
# What becomes of half-hour files in a table.
. "$(dirname "$0")/setup.sh"

# at SECONDS.NANOSECONDS...: good records of these times.
at() { for time; do line "${time/./ }" 1.0,1.0,1.0,1.0,1.0,0; done; }

cp "$here/sonic_records.input" later
while IFS= read -r text; do
  echo "$text"
  if [[ $text == '$ '* ]]; then (eval "${text:2}") 2>&1 || echo "status $?"; fi
done < <(grep -E '^([#$]|$)' "$here/sonic_records.commands") | diff "$here/sonic_records.commands" -

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
