#!/usr/bin/env python3
"""Soak: many mixed uploads and downloads on one daemon, and what it holds.

Usage:
    cmake --preset host && cmake --build build/host
    python3 bench/soak_bench.py build/host/bin                  # 10,000 transfers
    python3 bench/soak_bench.py build/host/bin --valgrind       # 1,000 under valgrind

One ftmd on a fresh simulated board (compressed time) serves a station that
runs the transfers in turn: a download of every report, an identity upload
and a 7,648-byte image upload (received and discarded), over and over. The
program prints the daemon's open descriptors, threads and resident memory
before the first transfer, after the first thousand and after the last, and
how many transfers were answered in full, answered with an ERROR (a report
the board cannot make, e.g. the modem's without a modem) or lost (no answer
in time). Then a zero-length datagram ends the daemon, as designed.

With --valgrind the daemon runs under valgrind's memcheck (--leak-check=full,
leaks of the kinds definite and indirect counted as errors); the program
prints valgrind's error and leak summaries and exits with valgrind's status
(99 for an error or a leak). This is a measurement: nothing here fails on a
slow result.
"""

import re
import sys
import time

import benchkit

REPORTS = [name.encode() for name in benchkit.REPORTS]
IDENTITY = (b'<?xml version="1.0" encoding="UTF-8"?><MODEM_INFO><SERIAL_NUM>SOAK-1</SERIAL_NUM>'
            b'<MAC_ADDR>02:5e:a3:00:00:42</MAC_ADDR></MODEM_INFO>')
IMAGE = bytes((i * 31 + 7) % 256 for i in range(7648))


def show(label, pid):
    fds, threads, rss = benchkit.figures(pid)
    print("%-28s descriptors %3d  threads %d  RSS %6d kB" % (label, fds, threads, rss), flush=True)


def transfer(client, n, ftmboard):
    """The n-th transfer of the mix: 'ok', 'error' or 'lost'."""
    kinds = len(REPORTS) + 2
    kind = n % kinds
    try:
        if kind < len(REPORTS):
            content, err = client.download(REPORTS[kind], timeout=2.0)
            return "ok" if content is not None else "error"
        name, content = (b"FTM_ModemInfo.xml", IDENTITY) if kind == len(REPORTS) else (
            b"soak.upg", IMAGE)
        reply = client.upload(name, content, timeout=2.0)
        blocks = len(content) // 512 + 1
        return "ok" if reply == ftmboard.ack(blocks) else ("lost" if reply is None else "error")
    except AssertionError:
        return "lost"


def main():
    parser = benchkit.parser(__doc__)
    parser.add_argument("--transfers", type=int, help="default 10,000 (1,000 with --valgrind)")
    parser.add_argument("--valgrind", action="store_true", help="run ftmd under valgrind")
    args = parser.parse_args()
    total = args.transfers or (1000 if args.valgrind else 10000)
    ftmboard = benchkit.ftmboard(parser, args)

    # Board time runs 100 times faster (20 times under valgrind, which slows
    # the daemon down about as much).
    board = ftmboard.Board(timescale=0.05 if args.valgrind else 0.01)
    log = board.path("valgrind.log")
    if args.valgrind:
        # The board runs its daemon alone under this command (the modem
        # reports then fail at once, as on a board without a modem).
        board.emulator = ["valgrind", "--leak-check=full", "--show-leak-kinds=definite,indirect",
                         "--errors-for-leak-kinds=definite,indirect", "--error-exitcode=99",
                         "--log-file=" + log]
    client = None
    try:
        board.start()
        pid = board.proc.pid
        client = board.client()
        counts = {"ok": 0, "error": 0, "lost": 0}
        show("before the first transfer", pid)
        start = time.monotonic()
        for n in range(total):
            counts[transfer(client, n, ftmboard)] += 1
            if n + 1 == min(1000, total):
                show("after transfer %d" % (n + 1), pid)
        show("after transfer %d" % total, pid)
        print("%d transfers in %.1f s: %d answered in full, %d with an ERROR, %d lost"
              % (total, time.monotonic() - start, counts["ok"], counts["error"], counts["lost"]))
        client.send(b"")
        status = board.wait_exit(timeout=120)
        print("ftmd ended by the zero-length datagram, status %d" % status)
        if args.valgrind:
            text = open(log).read()
            for pattern in (r"ERROR SUMMARY: .*", r"definitely lost: .*", r"indirectly lost: .*",
                            r"possibly lost: .*", r"still reachable: .*", r"All heap blocks .*"):
                for line in re.findall(pattern, text):
                    print("valgrind: " + line)
            return 0 if status != 99 else 1
        return 0
    finally:
        if client:
            client.close()
        board.close()


if __name__ == "__main__":
    sys.exit(main())
