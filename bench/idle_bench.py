#!/usr/bin/env python3
"""What the daemon costs a board while it waits: CPU time and memory.

Usage:
    cmake --preset host && cmake --build build/host
    python3 bench/idle_bench.py build/host/bin                # 60 s idle
    python3 bench/idle_bench.py build/host/bin --seconds 300

One ftmd on a fresh simulated board in real time (its start-up takes
20 s). The program prints the daemon's resident memory after start-up and
after a station has downloaded every report once, then the CPU time (user
and system, from /proc) the daemon spent over the idle period that
follows, as a share of one CPU. Idle, the transfer task still wakes every
250 ms to look at the queue. This is a measurement: nothing here fails on
a slow result.
"""

import os
import time

import benchkit


def cpu_seconds(pid):
    fields = open("/proc/%d/stat" % pid).read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def main():
    p = benchkit.parser(__doc__)
    p.add_argument("--seconds", type=float, default=60.0, help="the idle period (default 60)")
    args = p.parse_args()
    ftmboard = benchkit.ftmboard(p, args)
    board = ftmboard.Board(timescale=1.0)
    try:
        board.start()
        pid = board.proc.pid
        print("after start-up:        RSS %6d kB" % benchkit.figures(pid)[2])
        client = board.client()
        for name in benchkit.REPORTS:
            client.download(name.encode(), timeout=10.0)
        print("after every report:    RSS %6d kB" % benchkit.figures(pid)[2])
        start, used = time.monotonic(), cpu_seconds(pid)
        time.sleep(args.seconds)
        spent = cpu_seconds(pid) - used
        elapsed = time.monotonic() - start
        print("idle for %.0f s:         CPU %.2f s (%.3f %% of one CPU), RSS %d kB" %
              (elapsed, spent, 100 * spent / elapsed, benchkit.figures(pid)[2]))
    finally:
        board.close()


if __name__ == "__main__":
    main()
