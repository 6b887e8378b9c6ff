#!/bin/bash
# with_interpreter.sh aarch64|arm COMMAND...: runs a command for which the kernel starts programs of
# another architecture in qemu's emulation, without a trace on this machine: the kernel keeps the
# registration in a user namespace, with the same ids as outside, that ends with the command.
set -euo pipefail

if [[ ${INSIDE-} != 1 ]]; then
  pipe=$(mktemp -u)
  mkfifo "$pipe"
  # shellcheck disable=SC2016
  INSIDE=1 unshare --user bash -c 'read -r <"$1"; shift; exec unshare --mount --pid --fork --mount-proc "$@"' \
    - "$pipe" "$0" "$@" &
  child=$!
  own=$(readlink /proc/self/ns/user)
  until space=$(readlink "/proc/$child/ns/user") && [[ $space != "$own" ]]; do
    kill -0 "$child"  # else namespaces are refused
    sleep 0.1
  done
  for map in uid_map gid_map; do echo "0 0 65536" >"/proc/$child/$map"; done
  echo >"$pipe"
  rm "$pipe"
  wait "$child"
  exit
fi

name=$1
shift
mount -t binfmt_misc none /proc/sys/fs/binfmt_misc
# Debian's line, with the static program, which a changed root need not contain.
line=$(sed -n 's/:[^:]*:[A-Z]*$//p' "/usr/lib/binfmt.d/qemu-$name.conf")
echo "$line:/usr/bin/qemu-$name-static:F" >/proc/sys/fs/binfmt_misc/register
exec "$@"
