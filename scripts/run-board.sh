#!/bin/sh
# Builds ftmd and the host tools for the PC, makes a simulated board and
# starts the daemon on it, then shows a real TFTP client talking to it. The
# daemon stays in the foreground until Ctrl-C.
#
#   scripts/run-board.sh [--timescale FACTOR] [BOARD_DIR] [PORT]
#
# FACTOR scales every wait of the board (the 20 s start-up included): 0.05
# starts it in one second; 1, the default, is the board's real time.
set -eu
top=$(cd "$(dirname "$0")/.." && pwd)
scale=1
if [ "${1:-}" = "--timescale" ]; then
  scale=${2:?usage: run-board.sh [--timescale FACTOR] [BOARD_DIR] [PORT]}
  shift 2
fi
board=${1:-$top/build/board-demo}
port=${2:-6969}

"$top/scripts/setup.sh"
# A build of its own, without the tests: the daemon and every host tool.
echo "building (build/demo) ..."
mkdir -p "$top/build"
log=$top/build/demo-build.log
if ! { cmake --preset host -S "$top" -B "$top/build/demo" -DFTM_TESTS=OFF -DFTM_BENCH=OFF &&
       cmake --build "$top/build/demo" -j2; } >"$log" 2>&1; then
  tail -n 30 "$log"
  echo "run-board: the build failed (whole output: $log)"
  exit 1
fi
bin=$top/build/demo/bin

rm -rf "$board"
"$bin/ftmsim" init "$board"
echo "$port" > "$board/port"
echo "$scale" > "$board/timescale"
echo "board: $board (UDP port $port, time scale $scale)"
echo "start-up: the daemon power-cycles the LTE modem first (20 s of board time)"

"$bin/ftmsim" run "$board" > "$board/ftmd.out" 2>&1 &
daemon=$!
trap 'kill $daemon 2>/dev/null; wait $daemon 2>/dev/null; exit 0' INT TERM

# Show the board's events as start-up makes them, until the daemon serves,
# and how long it has been waiting while the board is quiet.
shown=0
ticks=0
while ! grep -q "RegisterSet 0xc50" "$board/events.log" 2>/dev/null; do
  kill -0 $daemon 2>/dev/null || { echo "ftmd stopped:"; cat "$board/ftmd.out"; exit 1; }
  count=$(wc -l < "$board/events.log" 2>/dev/null || echo 0)
  if [ "$count" -gt "$shown" ]; then
    sed -n "$((shown + 1)),${count}p" "$board/events.log" | sed 's/^/  event: /'
    shown=$count
  fi
  ticks=$((ticks + 1))
  [ $((ticks % 10)) -eq 0 ] && echo "  ... starting up, $((ticks / 5)) s"
  sleep 0.2
done
sed -n "$((shown + 1)),\$p" "$board/events.log" | sed 's/^/  event: /'
sleep 0.3
echo
echo "\$ curl -sS -m 20 tftp://127.0.0.1:$port/FTM_Progress.xml"
curl -sS -m 20 "tftp://127.0.0.1:$port/FTM_Progress.xml" || echo "(curl exit status $?)"
echo
echo "The board is up. Try, from another terminal:"
echo "  curl -sS -m 20 tftp://127.0.0.1:$port/FTM_ModemInfo.xml"
echo "  tail -f $board/events.log      # what the daemon does to the board"
echo "  tail -f $board/ftmd.out        # what it prints"
echo "Ctrl-C stops the daemon."
wait $daemon
