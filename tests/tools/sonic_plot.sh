#!/bin/bash
# What the plot tool counts in a file with good records, error lines of any bytes and damage.
set -euo pipefail
/usr/bin/python3 -c 'import matplotlib' || { echo "skipped: no python3-matplotlib"; exit 77; }
root=$(dirname "$0")/../..
file=0.young.01234  # beside the picture, in the folder that it is run in
LC_ALL=C sed '1d; /^== status/,$d' "$root/tests/replay/bad_records.expected" >$file
# A record that lost a digit, and one torn by a power failure before a restart.
printf 'DATA_SONIC\t105\t3\t1.2\t-0.45\t0.07\t343.21\t21.50\t0\t215\nDATA_SONIC\t105\t4\t1.2Model\n' >>$file
counts="good records 3, failed checks 2, error lines 13, left out for want of ten columns 1"
diff <(echo "$file: $counts") <("$root/tools/sonic-plot" -o plot.png $file)
[[ $(head -c 4 plot.png) == $'\x89PNG' ]]
