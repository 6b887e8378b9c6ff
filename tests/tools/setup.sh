# shellcheck shell=bash
# Sourced by tests that are called with the build folder: they run in a folder of their own, which goes
# with them or with their private device, and find all programs. $here is the folder of this file.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
PATH=$1/src:$1/port:$1/simulator:$1/tools:$PATH
export PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=$here/..
if [[ ! ${DEVICE_RUN-} ]]; then
  DEVICE_RUN=$(mktemp -d)
  trap 'rm -rf "$DEVICE_RUN"' EXIT
fi
cd "$DEVICE_RUN"
# Programs for another processor: EMULATOR is the command that runs them. Scripts find them beside
# themselves.
if [[ ${EMULATOR-} ]]; then
  mkdir emulated
  for program in "$1"/{src,port,simulator,tools}/*; do
    [[ -f $program && -x $program ]] || continue
    if [[ $(head -c 4 "$program") == $'\x7fELF' ]]; then
      printf '#!/bin/sh\nexec %s %q "$@"\n' "$EMULATOR" "$program" >"emulated/${program##*/}"
      chmod +x "emulated/${program##*/}"
    else
      ln -s "$program" emulated
    fi
  done
  PATH=$PWD/emulated:$PATH
fi

# lines: records' lines with their checks, from lines "SECONDS NANOSECONDS u,v,w,sos,ts,diag".
lines() {
  awk 'BEGIN { for (i = 1; i < 128; i++) code[sprintf("%c", i)] = i }
    {
      gsub(",", "\t", $3)
      text = "DATA_SONIC\t" $1 "\t" $2 "\t" $3 "\t"
      sum = 0
      for (i = 1; i <= length(text); i++) sum += code[substr(text, i, 1)]
      printf "%s%3d\n", text, sum % 256
    }'
}
# line SECONDS NANOSECONDS u,v,w,sos,ts,diag
line() { lines <<<"$*"; }
# at SECONDS.NANOSECONDS...: good records of these times.
at() { for time; do line "${time/./ }" 1.0,1.0,1.0,1.0,1.0,0; done; }
# top: the lines at the top of a file.
top() { head -n 6 "$here/sonic_records.input"; }
