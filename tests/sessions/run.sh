#!/bin/bash
# Runs the commands of a session and compares what they print with the lines after them:
# run.sh BUILD-FOLDER FILE.session. README.md explains how to write one.
# shellcheck source=tests/tools/setup.sh
. "$(dirname "$0")/../tools/setup.sh"
session=$2

while IFS= read -r program; do
  if ! eval "$program" >/dev/null 2>&1; then
    echo "skipped: needs $program"
    exit 77
  fi
done < <(sed -n 's/^# needs //p' "$session")

command=
run() {
  [[ ! $command ]] || (eval "$command") </dev/null 2>&1 || echo "status $?"
  command=
}
{
  while IFS= read -r line; do
    [[ $line == '> '* ]] || run
    echo "$line"
    [[ $line == '# '* ]] || command+=${line:2}$'\n'
  done < <(grep '^[#$>] ' "$session")
  run
} >seen
diff --text --ignore-blank-lines "$session" seen
