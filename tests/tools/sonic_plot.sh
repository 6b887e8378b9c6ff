#!/bin/bash
# What the plot tool counts, draws and computes.
. "$(dirname "$0")/setup.sh"
/usr/bin/python3 -c 'import matplotlib' || { echo "skipped: no python3-matplotlib"; exit 77; }
export PYTHONDONTWRITEBYTECODE=1

# draws PICTURE ARGUMENT...
draws() {
  ends 0 sonic-plot -o "$@"
  [[ $(head -c 4 "$1") == $'\x89PNG' ]]
}

# Wind that turns and tilts over two half hours, with a fault that would change every figure.
{
  top
  for n in {0..79}; do
    wind=$((n % 7 - 3)).25,$((n % 5 - 4)).5,0.$((n % 4))$((n / 40))
    echo $((1700001000 + n * 40)) 0 "$wind,343.21,2$((n % 3)).5,0"
  done | lines
  line 1700004200 0 99.00,99.00,99.00,343.21,99.00,4
} >two_half_hours
# The same by another way: the matrix of second moments is rotated instead of the records.
sonic-records --epoch two_half_hours | awk -f "$here/statistics.awk" >expected
sonic-plot --table two_half_hours | diff expected -
zstd -q two_half_hours
sonic-plot --table two_half_hours.zst | diff expected -

# Counts, and a picture, of whatever stands in a file; also of one record, also of faults alone.
cp "$here/sonic_records.input" all
diff <(sonic-plot -o all.png all) - <<'TEXT'
all: good records 4, failed checks 2, error lines 1, diag faults 1, clock set back 1, left out for want of ten columns 2
TEXT
draws all.png all
for diag in 0 4; do
  { top; line 1700001000 0 1.00,1.00,1.00,343.21,20.00,$diag; } >one
  draws one.png one
done

# The power of a sine is where it should be, and as much.
PYTHONPATH=$here/../../tools /usr/bin/python3 "$here/spectrum.py"
for n in {0..127}; do
  wind=1.00,1.00,0.$((n % 9)),343.21,20.$((n % 7))
  echo $((1700001000 + n / 32)) $((n % 32 * 31250000)) "$wind,0"
done | lines | cat <(top) - >spectrum
draws spectrum.png --spectrum spectrum

# No picture of two instruments as if they were one, of none, or of too few records.
sed s/01234/05678/ spectrum >other
ends 1 sonic-plot -o none.png spectrum other
ends 1 sonic-plot -o none.png missing
ends 1 sonic-plot --spectrum -o none.png one
ends 2 sonic-plot --unknown all
[[ ! -e none.png ]]
