#!/bin/sh
# Runs every libFuzzer harness of the fuzz build for SECONDS each (default
# 60), over a scratch copy of its kept corpus so that a run's new inputs do
# not pile up in the repository. Builds nothing:
#   cmake --preset fuzz && cmake --build build/fuzz && fuzz/run.sh 60
#
# For harness NAME_fuzz the kept corpus is fuzz/corpus/NAME/. An optional
# fuzz/NAME_fuzz.options holds one setting a line: "corpus=DIR" (under
# fuzz/corpus), "dict=FILE" (under fuzz/), or a libFuzzer flag such as
# "-max_len=7648".
#
# Environment: FTM_FUZZ_BUILD (default build/fuzz), FTM_FUZZ_FLAGS (more
# libFuzzer flags for every harness, e.g. "-fork=2" for a long run).
# Exit status 0 when no harness found anything; crash inputs are kept in the
# scratch directory named in the output.
set -u
seconds=${1:-60}
here=$(cd "$(dirname "$0")" && pwd)
build=${FTM_FUZZ_BUILD:-$here/../build/fuzz}
extra=${FTM_FUZZ_FLAGS:-}
scratch=$(mktemp -d "${TMPDIR:-/tmp}/ftmfuzz.XXXXXX")
status=0
total=0
found=0

for harness in "$build"/*_fuzz; do
  [ -x "$harness" ] || continue
  found=1
  name=$(basename "$harness")
  corpus=${name%_fuzz}
  flags=""
  if [ -f "$here/$name.options" ]; then
    while IFS= read -r line; do
      case $line in
        corpus=*) corpus=${line#corpus=} ;;
        dict=*) flags="$flags -dict=$here/${line#dict=}" ;;
        -*) flags="$flags $line" ;;
      esac
    done <"$here/$name.options"
  fi
  work=$scratch/$name
  mkdir -p "$work/corpus" "$work/crashes"
  if [ -d "$here/corpus/$corpus" ]; then cp -R "$here/corpus/$corpus/." "$work/corpus/"; fi

  failed=0
  # shellcheck disable=SC2086
  "$harness" $flags $extra -max_total_time="$seconds" -print_final_stats=1 \
    -artifact_prefix="$work/crashes/" "$work/corpus" >"$work/log" 2>&1 || failed=1
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/log" | tail -n 1)
  runs=${runs:-0}
  total=$((total + runs))
  if [ "$failed" -ne 0 ] || [ -n "$(ls -A "$work/crashes")" ]; then
    echo "$name: FINDING after $runs executions; logs and inputs in $work"
    status=1
  else
    echo "$name: $runs executions in ${seconds}s, no finding"
  fi
done

if [ "$found" -eq 0 ]; then
  echo "no harness in $build (build it with: cmake --preset fuzz && cmake --build build/fuzz)" >&2
  exit 2
fi
echo "total: $total executions"
[ "$status" -ne 0 ] || [ -n "${FTM_FUZZ_KEEP:-}" ] || rm -rf "$scratch"
exit "$status"
