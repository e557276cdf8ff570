#!/bin/sh
# Builds ftmd for the PC, makes a simulated board and starts the daemon on
# it, then shows a real TFTP client talking to it. The daemon keeps running
# in the foreground until Ctrl-C.
#
#   scripts/run-board.sh [BOARD_DIR] [PORT]
set -eu
top=$(cd "$(dirname "$0")/.." && pwd)
board=${1:-$top/build/board-demo}
port=${2:-6969}

"$top/scripts/setup.sh"
# A build of its own, without the tests: only the daemon and ftmsim.
cmake --preset host -S "$top" -B "$top/build/demo" -DFTM_TESTS=OFF -DFTM_BENCH=OFF >/dev/null
cmake --build "$top/build/demo" --target ftmd ftmsim
bin=$top/build/demo/bin

rm -rf "$board"
"$bin/ftmsim" init "$board"
echo "$port" > "$board/port"
echo "board: $board (UDP port $port)"
echo "start-up takes about 20 s: the daemon power-cycles the LTE modem first"

"$bin/ftmsim" run "$board" &
daemon=$!
trap 'kill $daemon 2>/dev/null; wait $daemon 2>/dev/null; exit 0' INT TERM

while ! grep -q "RegisterSet 0xc50" "$board/events.log" 2>/dev/null; do sleep 0.5; done
sleep 0.5
echo
echo "\$ curl -s tftp://127.0.0.1:$port/FTM_Progress.xml"
curl -s "tftp://127.0.0.1:$port/FTM_Progress.xml" || echo "(curl exit status $?)"
echo
echo "The board is up. Try, from another terminal:"
echo "  curl -s tftp://127.0.0.1:$port/FTM_TestModeOp.xml"
echo "  tftp -m binary 127.0.0.1 $port -c get FTM_Progress.xml /dev/stdout"
echo "  tail -f $board/events.log"
echo "Ctrl-C stops the daemon."
wait $daemon
