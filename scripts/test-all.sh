#!/bin/sh
# Builds every configuration the tests need and runs the whole suite:
# formatting, the board builds' checks (link, install tree, footprint, C
# library imports), the host build, ASan+UBSan, TSan, big-endian MIPS under
# qemu and a short fuzzing run.
#
#   scripts/test-all.sh            everything
#   FTM_PRESETS="host" scripts/test-all.sh   only some test builds
set -eu
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
presets=${FTM_PRESETS:-"host asan tsan mips-sim"}
fuzz_seconds=${FTM_FUZZ_SECONDS:-24}
jobs=$(nproc 2>/dev/null || echo 2)

scripts/setup.sh

echo "== formatting"
files=$(git ls-files '*.cc' '*.h')
clang-format --dry-run -Werror $files

# Both choices of the C++ runtime; neither is ever run here.
echo "== board builds (linux backend, big-endian MIPS): link, install tree, footprint, C library imports"
for preset in board board-static; do
  cmake --preset "$preset" >/dev/null
  cmake --build "build/$preset"
  scripts/check-board-link.sh "build/$preset/bin/ftmd"
  scripts/check-board-install.sh "build/$preset"
done
scripts/check-board-footprint.sh build/board/bin/ftmd build/board-static/bin/ftmd
scripts/check-board-imports.sh build/board/bin/ftmd build/board-static/bin/ftmd

passed=0
failed=0
summary=""
for preset in $presets; do
  echo "== $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build "build/$preset" -j "$jobs"
  log="build/$preset/ctest.log"
  if ctest --preset "$preset" -j "$jobs" 2>&1 | tee "$log"; then :; fi
  line=$(grep -E "tests passed, [0-9]+ tests failed out of [0-9]+" "$log" | tail -n 1)
  total=$(echo "$line" | sed -E 's/.*out of ([0-9]+).*/\1/')
  bad=$(echo "$line" | sed -E 's/.* ([0-9]+) tests failed.*/\1/')
  [ -n "$total" ] || { total=0; bad=1; }
  passed=$((passed + total - bad))
  failed=$((failed + bad))
  summary="$summary  $preset: $((total - bad)) passed, $bad failed\n"
done

if [ -d fuzz ] && [ "$fuzz_seconds" -gt 0 ]; then
  echo "== fuzzing ($fuzz_seconds s per harness)"
  cmake --preset fuzz >/dev/null
  cmake --build build/fuzz -j "$jobs"
  if FTM_FUZZ_SECONDS=$fuzz_seconds fuzz/run.sh "$fuzz_seconds"; then
    passed=$((passed + 1)); summary="$summary  fuzz: 1 passed, 0 failed\n"
  else
    failed=$((failed + 1)); summary="$summary  fuzz: 0 passed, 1 failed\n"
  fi
fi

echo
printf "%b" "$summary"
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
