#!/bin/sh
# The board's SysV start-up script run for real, in a scratch directory,
# against a stand-in daemon of this test (never the board's ftmd, never the
# machine's /etc/init.d), with the board's factory-test-mode check asking a
# stand-in uboot_env. Each scene's transcript (the script's output and exit
# status per verb, the stand-ins' own lines) is compared whole.
set -eu
top=$(cd "$(dirname "$0")/../.." && pwd)
init=$top/packaging/init/ftmd.sysv
mode_check=$top/packaging/init/ftm-mode
scratch=$(mktemp -d)
other=""
cleanup() {
  # Only what this test started: stand-ins named in its pid file, its sleep.
  pid=$(cat "$scratch/ftmd.pid" 2>/dev/null || true)
  [ -n "$pid" ] && kill -KILL "$pid" 2>/dev/null
  [ -n "$other" ] && kill "$other" 2>/dev/null
  rm -rf "$scratch"
}
trap cleanup EXIT
mkdir "$scratch/bin" "$scratch/sbin"
: >"$scratch/console"

# The stand-in daemon: says it is up (with its arguments and standard input)
# and, on SIGTERM, that it ends. The stubborn one ignores SIGTERM.
cat >"$scratch/sbin/ftmd" <<'EOF'
#!/bin/sh
trap 'echo "$$ terminated"; exit 0' TERM
echo "$$ up, $# arguments, stdin $(readlink /proc/$$/fd/0)"
while :; do sleep 1; done
EOF
sed 's/^trap .*/trap "" TERM/' "$scratch/sbin/ftmd" >"$scratch/sbin/ftmd-stubborn"
# The board's boot loader tool: prints the file "ftm_mode", fails without it.
cat >"$scratch/bin/uboot_env" <<EOF
#!/bin/sh
[ "\$*" = "--get --name ftm_mode" ] && cat "$scratch/ftm_mode"
EOF
chmod +x "$scratch/sbin/ftmd" "$scratch/sbin/ftmd-stubborn" "$scratch/bin/uboot_env"
export PATH="$scratch/bin:$PATH" FTMD_MODE_CHECK="$mode_check" FTMD_STOP_WAIT=1
export FTMD_PIDFILE="$scratch/ftmd.pid" FTMD_OUTPUT="$scratch/console"

failures=0
fail() {
  echo "FAIL: $1"
  failures=$((failures + 1))
}

# The factory-test-mode check, by what the boot loader's tool prints.
for row in "1:0" "ftm_mode=1:0" "0:1" "ftm_mode=0:1" "11:1" " 1:1" "ftm_mode=:1" "-:1"; do
  printed=${row%:*}
  want=${row##*:}
  if [ "$printed" = "-" ]; then rm -f "$scratch/ftm_mode"; else echo "$printed" >"$scratch/ftm_mode"; fi
  got=0
  "$mode_check" || got=$?
  [ "$got" = "$want" ] || fail "ftm-mode with uboot_env printing '$printed': exit $got, want $want"
done

# Runs the script with one verb and appends its output and exit status to
# the transcript; then waits until every stand-in started has said it is up.
run() {
  echo "\$ $1" >>"$scratch/transcript"
  status=0
  sh "$init" "$1" >>"$scratch/transcript" 2>&1 || status=$?
  echo "exit $status" >>"$scratch/transcript"
  tries=0
  while [ "$(grep -c ' up,' "$scratch/console")" != "$(grep -c 'started (' "$scratch/transcript")" ] &&
    [ "$tries" -lt 100 ]; do
    sleep 0.1
    tries=$((tries + 1))
  done
}

# Compares transcript and console with what the scene expects, process ids
# named A, B, ... in the order they first appear, then clears both.
check() {
  awk '{ out = ""
         while (match($0, /\([0-9]+\)|^[0-9]+ /)) {
           n = substr($0, RSTART, RLENGTH); gsub(/[^0-9]/, "", n)
           if (!(n in name)) name[n] = sprintf("%c", 65 + count++)
           out = out substr($0, 1, RSTART - 1) (substr($0, RSTART, 1) == "(" ? "(" name[n] ")" : name[n] " ")
           $0 = substr($0, RSTART + RLENGTH) }
         print out $0 }' "$scratch/transcript" "$scratch/console" 2>/dev/null |
    sed -e "s|$scratch|SCRATCH|g" -e "s|$top|TOP|g" >"$scratch/got"
  diff -u "$scratch/want" "$scratch/got" || fail "scene: $1"
  : >"$scratch/transcript"
  : >"$scratch/console"
}

echo 1 >"$scratch/ftm_mode"
export FTMD_DAEMON="$scratch/sbin/ftmd"
for verb in status start status start restart stop stop status; do run "$verb"; done
cat >"$scratch/want" <<'EOF'
$ status
ftmd: not running
exit 3
$ start
ftmd: started (A)
exit 0
$ status
ftmd: running (A)
exit 0
$ start
ftmd: already running (A)
exit 0
$ restart
ftmd: stopped (A)
ftmd: started (B)
exit 0
$ stop
ftmd: stopped (B)
exit 0
$ stop
ftmd: not running
exit 0
$ status
ftmd: not running
exit 3
A up, 0 arguments, stdin /dev/null
A terminated
B up, 0 arguments, stdin /dev/null
B terminated
EOF
check "start, status, restart and stop"
[ ! -e "$FTMD_PIDFILE" ] || fail "the pid file outlives stop"

# A pid file naming a live process that is not the daemon: it is neither
# taken for the daemon nor signalled.
sleep 60 &
other=$!
echo "$other" >"$FTMD_PIDFILE"
for verb in status stop start stop; do run "$verb"; done
printf '$ status\nftmd: not running (it ended; SCRATCH/ftmd.pid is left)\nexit 1\n' >"$scratch/want"
printf '$ stop\nftmd: not running\nexit 0\n$ start\nftmd: started (A)\nexit 0\n' >>"$scratch/want"
printf '$ stop\nftmd: stopped (A)\nexit 0\nA up, 0 arguments, stdin /dev/null\nA terminated\n' >>"$scratch/want"
check "a pid file left by another process"
kill -0 "$other" || fail "stop signalled a process that is not the daemon"

# Out of factory test mode nothing starts; a daemon that ignores SIGTERM is
# killed; a missing daemon and an unknown verb are refused.
echo 0 >"$scratch/ftm_mode"
run start
echo 1 >"$scratch/ftm_mode"
FTMD_DAEMON="$scratch/sbin/ftmd-stubborn" run start
FTMD_DAEMON="$scratch/sbin/ftmd-stubborn" run stop
FTMD_DAEMON="$scratch/sbin/absent" run start
run reload
cat >"$scratch/want" <<'EOF'
$ start
ftmd: the board is not in factory test mode; not started
exit 0
$ start
ftmd: started (A)
exit 0
$ stop
ftmd: stopped (A)
exit 0
$ start
ftmd: SCRATCH/sbin/absent is missing
exit 5
$ reload
usage: TOP/packaging/init/ftmd.sysv start|stop|restart|status
exit 2
A up, 0 arguments, stdin /dev/null
EOF
check "out of factory test mode, a stubborn daemon, refusals"

[ "$failures" -eq 0 ] && echo "sysv init: all scenes as expected"
[ "$failures" -eq 0 ]
