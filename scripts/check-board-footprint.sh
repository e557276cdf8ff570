#!/bin/sh
# Prints the footprint of board builds of ftmd (text, data and bss as
# mips-linux-gnu-size counts them, and the size of the stripped file) and
# fails when a figure passes its budget in packaging/board-footprint.txt.
# A figure far below its budget is noted: lower the budget to keep it tight.
#
#   check-board-footprint.sh FTMD...   (board builds: shared or static runtime)
set -eu
budgets=$(cd "$(dirname "$0")/.." && pwd)/packaging/board-footprint.txt
stripped=$(mktemp)
trap 'rm -f "$stripped"' EXIT
status=0
printf '%-34s %8s %8s %8s %9s\n' "board footprint (bytes)" text data bss stripped
for binary in "$@"; do
  if mips-linux-gnu-readelf -d "$binary" | grep -q 'NEEDED.*\[libstdc++'; then
    runtime=shared
  else
    runtime=static
  fi
  mips-linux-gnu-strip -o "$stripped" "$binary"
  # shellcheck disable=SC2046
  set -- $(mips-linux-gnu-size "$binary" | awk 'NR == 2 { print $1, $2, $3 }') "$(stat -c %s "$stripped")"
  budget=$(awk -v r="$runtime" '!/^#/ && $1 == r { print $2, $3, $4, $5 }' "$budgets")
  [ -n "$budget" ] || { echo "no budget for the $runtime runtime in $budgets"; exit 1; }
  printf '%-34s %8s %8s %8s %9s\n' "  $runtime runtime" "$1" "$2" "$3" "$4"
  # shellcheck disable=SC2086
  printf '%-34s %8s %8s %8s %9s\n' "  budget" $budget
  verdict=$(echo "$1 $2 $3 $4 $budget" | awk '{
    split("text data bss stripped", name, " ")
    for (i = 1; i <= 4; i++) {
      if ($i > $(i + 4)) printf "over: %s %d > %d; ", name[i], $i, $(i + 4)
      else if ($i < 0.95 * $(i + 4)) printf "note: %s is %d%% under its budget; ", name[i], 100 - 100 * $i / $(i + 4)
    } }')
  case $verdict in
    *over:*) status=1 ;;
  esac
  [ -z "$verdict" ] || echo "  $runtime runtime: $verdict"
done
exit "$status"
