#!/usr/bin/env python3
"""Flood while serving: random datagrams from many ports while a station works.

Usage:
    cmake --preset host && cmake --build build/host
    python3 bench/flood_bench.py build/host/bin                     # a million datagrams
    python3 bench/flood_bench.py build/host/bin --datagrams 100000

One ftmd on a fresh simulated board (board time 200 times faster, so the
transfer task's pass is 1.25 ms) takes, on loopback, bursts of datagrams of
random content and random length (1 to 600 bytes, never empty: an empty one
ends the daemon, as designed) from many source ports; half of them start
with a TFTP opcode (1 to 6), so requests, blocks and acknowledgements of
every kind arrive among the noise. Meanwhile a station downloads every
report and uploads an identity, again and again, and repeats a transfer
until it completes: every reply goes to the sender of the most recent
datagram and a stray datagram ends a transfer, so a transfer overlapping a
burst is lost by design; between bursts the queue (bounded at 512
datagrams) drains and the station's transfers go through.

Printed: datagrams sent, the daemon's resident memory before, at its
largest during and after the flood, the station's rounds and transfers
(completed and attempts), and whether the daemon is still up and serving.
This is a measurement: nothing here fails on a slow result.
"""

import random
import socket
import sys
import threading
import time

import benchkit

REPORTS = [name.encode() for name in benchkit.REPORTS]
IDENTITY = (b'<?xml version="1.0" encoding="UTF-8"?><MODEM_INFO><SERIAL_NUM>FLOOD-1</SERIAL_NUM>'
            b'</MODEM_INFO>')


def rss(pid):
    return benchkit.figures(pid)[2]


class Flood(threading.Thread):
    def __init__(self, port, total, burst, pause, ports):
        super().__init__(daemon=True)
        self.addr = ("127.0.0.1", port)
        self.total, self.burst, self.pause = total, burst, pause
        self.socks = []
        for _ in range(ports):
            s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            s.bind(("127.0.0.1", 0))
            self.socks.append(s)
        self.sent = 0
        self.done = threading.Event()

    def run(self):
        rng = random.Random(18)
        # A pool of random datagrams, sent in random order from random ports.
        pool = []
        for i in range(4096):
            body = rng.randbytes(rng.randint(1, 600))
            if i % 2 == 0 and len(body) >= 2:
                body = bytes([0, rng.randint(1, 6)]) + body[2:]
            pool.append(body)
        while self.sent < self.total:
            for _ in range(min(self.burst, self.total - self.sent)):
                try:
                    rng.choice(self.socks).sendto(rng.choice(pool), self.addr)
                except OSError:  # a full socket buffer: the datagram is lost
                    pass
                self.sent += 1
            time.sleep(self.pause)
        self.done.set()


def main():
    parser = benchkit.parser(__doc__)
    parser.add_argument("--datagrams", type=int, default=1000000)
    parser.add_argument("--burst", type=int, default=20000, help="datagrams per burst")
    parser.add_argument("--pause", type=float, default=1.0, help="seconds between bursts")
    parser.add_argument("--ports", type=int, default=500, help="source ports of the flood")
    args = parser.parse_args()
    ftmboard = benchkit.ftmboard(parser, args)

    board = ftmboard.Board(timescale=0.005)
    station = None
    try:
        board.start()
        pid = board.proc.pid
        station = board.client()
        before = rss(pid)
        flood = Flood(board.port, args.datagrams, args.burst, args.pause, args.ports)
        largest = [before]

        def watch():
            while not flood.done.is_set() and board.proc.poll() is None:
                largest[0] = max(largest[0], rss(pid))
                time.sleep(0.1)

        watcher = threading.Thread(target=watch, daemon=True)
        start = time.monotonic()
        flood.start()
        watcher.start()
        rounds = completed = attempts = 0

        def one(name, content):
            nonlocal completed, attempts
            while board.proc.poll() is None:
                attempts += 1
                try:
                    if content is None:
                        got, _ = station.download(name, timeout=0.5)
                        ok = got is not None
                    else:
                        ok = station.upload(name, content, timeout=0.5) == ftmboard.ack(1)
                except AssertionError:
                    ok = False
                if ok:
                    completed += 1
                    return
                # Whatever the daemon still sends for a broken transfer.
                while station.recv(0.05) is not None:
                    pass

        while not flood.done.is_set() and board.proc.poll() is None:
            for name in REPORTS:
                one(name, None)
            one(b"FTM_ModemInfo.xml", IDENTITY)
            rounds += 1
        flood.join()
        elapsed = time.monotonic() - start
        up = board.proc.poll() is None
        time.sleep(1)  # the queue drains
        after = rss(pid) if up else 0
        print("datagrams sent: %d from %d ports in %.1f s (bursts of %d, %.2f s apart)"
              % (flood.sent, args.ports, elapsed, args.burst, args.pause))
        print("ftmd RSS: before %d kB, largest during %d kB, after %d kB"
              % (before, largest[0], after))
        print("station: %d rounds (every report and an identity upload), %d transfers completed "
              "in %d attempts" % (rounds, completed, attempts))
        if up:
            content, _ = station.download(b"FTM_TestModeOp.xml")
            print("ftmd still up; a download after the flood: %s"
                  % ("complete" if content else "failed"))
        else:
            print("ftmd ENDED with status %s" % board.proc.returncode)
        return 0 if up else 1
    finally:
        if station:
            station.close()
        board.close()


if __name__ == "__main__":
    sys.exit(main())
