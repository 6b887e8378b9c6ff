#!/bin/bash
# The tests of one server with a current engine, and the document's line that makes a Parquet file.
set -euo pipefail
cd "$(dirname "$0")"
document=$(realpath ../../doc/archive-reference.md)

ARCHIVE_ENGINE=current /usr/bin/python3 -B one_server.py

folder=$(mktemp -d)
trap 'rm -r "$folder"' EXIT
engine=$(realpath ../../script/current-engine)
export PATH=$engine:$BUILD_TOOLS:$PATH
cd "$folder"
mkdir mast-07
"$BUILD_TOOLS/../simulator/make-files" mast-07 1700001000 3600 7
lines=$(sed -n '/^sonic-records --epoch --format csv/,/^```/p' "$document" | grep -v '```')
bash -euo pipefail -c "$lines" >half_hours
[[ $(cut -f 1 half_hours) == "$(printf '%s\n' 1700001000 1700002800)" ]]
duckdb -c "SELECT COLUMNS(c -> c IN ('seconds', 'nanoseconds')),
  printf('%.2f', COLUMNS(c -> c IN ('u', 'v', 'w', 'sos', 'ts')) + 0.0), diag
  FROM 'mast-07.parquet'" >records
cmp records <(sonic-records --epoch mast-07/* | tail -n +2 | sed 's/-0\.00/0.00/g')
