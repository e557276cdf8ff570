#!/bin/sh
# The board's SysV start-up script run for real, in a scratch directory,
# against a stand-in daemon of this test (never the board's ftmd, never the
# machine's /etc/init.d), with the board's factory-test-mode check asking a
# stand-in uboot_env. The transcript (the script's output and exit status per
# verb, the stand-ins' own lines) is compared whole.
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

# The factory-test-mode check, by what the boot loader's tool prints ("-":
# nothing, it fails): a wrong exit status shows in the transcript.
for row in "1:0" "ftm_mode=1:0" "0:1" "ftm_mode=0:1" "11:1" " 1:1" "ftm_mode=:1" "-:1"; do
  printed=${row%:*}
  if [ "$printed" = "-" ]; then rm -f "$scratch/ftm_mode"; else echo "$printed" >"$scratch/ftm_mode"; fi
  got=0
  "$mode_check" || got=$?
  [ "$got" = "${row##*:}" ] ||
    echo "ftm-mode, uboot_env printing '$printed': exit $got" >>"$scratch/transcript"
done

# Runs the script with one verb and appends a line to the transcript: the
# verb, the script's output lines joined by ";", its exit status in brackets;
# then waits until every stand-in started has said it is up.
run() {
  status=0
  out=$(sh "$init" "$1" 2>&1) || status=$?
  echo "$1: $(echo "$out" | paste -sd ';' -) [$status]" >>"$scratch/transcript"
  for _ in $(seq 100); do
    [ "$(grep -c ' up,' "$scratch/console")" = "$(grep -o 'started (' "$scratch/transcript" |
      wc -l)" ] && break
    sleep 0.1
  done
}

echo 1 >"$scratch/ftm_mode"
export FTMD_DAEMON="$scratch/sbin/ftmd"
for verb in start status start restart stop status; do run "$verb"; done
# A pid file naming a live process that is not the daemon: it is neither
# taken for the daemon nor signalled, and stop removes the file.
sleep 60 &
other=$!
echo "$other" >"$FTMD_PIDFILE"
for verb in status stop status; do run "$verb"; done
kill -0 "$other" || echo "stop signalled a process that is not the daemon" >>"$scratch/transcript"
# Out of factory test mode nothing starts; a daemon that ignores SIGTERM is
# killed; a missing daemon and an unknown verb are refused.
echo 0 >"$scratch/ftm_mode"
run start
echo 1 >"$scratch/ftm_mode"
FTMD_DAEMON="$scratch/sbin/ftmd-stubborn" run start
FTMD_DAEMON="$scratch/sbin/ftmd-stubborn" run stop
FTMD_DAEMON="$scratch/sbin/absent" run start
run reload

# The transcript and the console, whole, process ids named A, B, ... in the
# order they first appear.
cat >"$scratch/want" <<'EOF'
start: ftmd: started (A) [0]
status: ftmd: running (A) [0]
start: ftmd: already running (A) [0]
restart: ftmd: stopped (A);ftmd: started (B) [0]
stop: ftmd: stopped (B) [0]
status: ftmd: not running [3]
status: ftmd: not running (it ended; SCRATCH/ftmd.pid is left) [1]
stop: ftmd: not running [0]
status: ftmd: not running [3]
start: ftmd: the board is not in factory test mode; not started [0]
start: ftmd: started (C) [0]
stop: ftmd: stopped (C) [0]
start: ftmd: SCRATCH/sbin/absent is missing [5]
reload: usage: TOP/packaging/init/ftmd.sysv start|stop|restart|status [2]
A up, 0 arguments, stdin /dev/null
A terminated
B up, 0 arguments, stdin /dev/null
B terminated
C up, 0 arguments, stdin /dev/null
EOF
awk '{ out = ""
       while (match($0, /\([0-9]+\)|^[0-9]+ /)) {
         n = substr($0, RSTART, RLENGTH); gsub(/[^0-9]/, "", n)
         if (!(n in name)) name[n] = sprintf("%c", 65 + count++)
         out = out substr($0, 1, RSTART - 1) (substr($0, RSTART, 1) == "(" ? "(" name[n] ")" : name[n] " ")
         $0 = substr($0, RSTART + RLENGTH) }
       print out $0 }' "$scratch/transcript" "$scratch/console" 2>/dev/null |
  sed -e "s|$scratch|SCRATCH|g" -e "s|$top|TOP|g" >"$scratch/got"
diff -u "$scratch/want" "$scratch/got"
echo "sysv init: all as expected"
