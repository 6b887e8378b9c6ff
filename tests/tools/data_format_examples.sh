#!/bin/bash
# The programs in doc/data-format.md, each on the half hour that it shows.
. "$(dirname "$0")/setup.sh"
if ! /usr/bin/python3 -c "import pandas" || ! command -v Rscript >/dev/null; then
  echo "skipped: no python3-pandas or r-base-core"
  exit 77
fi
document=$here/../../doc/data-format.md

# program LANGUAGE N: the N-th program in that language.
program() {
  awk -v begin="^\`\`\`$1\$" -v n="$2" \
    '/^```$/ {inside = 0} inside; $0 ~ begin {inside = ++count == n}' "$document"
}
sed -n '/^Model\t/,/^```/p' "$document" | sed '$d' >1700001000.young_81000_v.01234
# A start without a record in the next half hour.
sed '/^DATA_SONIC\t/d' 1700001000.young_81000_v.01234 >1700002800.young_81000_v.01234
/usr/bin/python3 <(program python 2) | grep -v '^time' | grep -q '22:59:00.*21.495'
/usr/bin/python3 <(program python 3) | grep -v '^time' | grep -q '22:59:00.*21.495'
program r 1 >one.R
program r 2 >two.R
Rscript --vanilla one.R | grep -q '22:59:00.*21.495'
Rscript --vanilla two.R | grep -q '22:59:00.*21.495'
# Where there is no record at all they do not halt.
rm 1700001000.young_81000_v.01234
Rscript --vanilla one.R
Rscript --vanilla two.R
