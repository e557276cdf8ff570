#!/bin/sh
# Lists the C library calls that board builds of ftmd import and compares
# them with packaging/libc-imports.txt, where each call the daemon makes on
# purpose is written with why uClibc-ng, the board's C library, has it. An
# import missing from the list fails the check; a listed call that none of
# the given builds imports any more is noted, to be taken off the list.
#
#   check-board-imports.sh FTMD...     (board builds: shared or static runtime)
#
# A build with the shared C++ runtime may import only what the daemon and
# the start files call; one with the runtime linked in also what the runtime
# calls.
set -eu
list=$(cd "$(dirname "$0")/.." && pwd)/packaging/libc-imports.txt
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

bad=$(awk '!/^#/ && NF && ($2 !~ /^(daemon|start|runtime)$/ || NF < 3) { print "packaging/libc-imports.txt:" FNR ": " $0 }' "$list")
if [ -n "$bad" ]; then
  echo "libc imports: lines without a symbol, a caller (daemon, start, runtime) and a reason:"
  echo "$bad"
  exit 1
fi
awk '!/^#/ && NF { print $1 }' "$list" | sort -u >"$work/listed"
awk '!/^#/ && NF && $2 != "runtime" { print $1 }' "$list" | sort -u >"$work/own"
: >"$work/all"
status=0
for binary in "$@"; do
  mips-linux-gnu-nm -D --undefined-only "$binary" | awk '{ print $NF }' |
    sed -n 's/@GLIBC_.*//p' | sort -u >"$work/imports"
  cat "$work/imports" >>"$work/all"
  if mips-linux-gnu-readelf -d "$binary" | grep -q 'NEEDED.*\[libstdc++'; then
    runtime="shared C++ runtime"
    allowed=$work/own
  else
    runtime="C++ runtime linked in"
    allowed=$work/listed
  fi
  unlisted=$(comm -23 "$work/imports" "$allowed")
  if [ -n "$unlisted" ]; then
    echo "libc imports of $binary ($runtime) missing from packaging/libc-imports.txt:"
    echo "$unlisted" | sed 's/^/  /'
    status=1
  else
    echo "libc imports: $binary ($runtime): $(wc -l <"$work/imports") calls, all listed"
  fi
done
sort -u "$work/all" -o "$work/all"
stale=$(comm -23 "$work/listed" "$work/all")
if [ -n "$stale" ]; then
  echo "libc imports: listed but imported by none of these builds (take them off the list):"
  echo "$stale" | sed 's/^/  /'
fi
exit "$status"
