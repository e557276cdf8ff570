#!/usr/bin/env python3
"""TFTP transfer times of ftmd beside a reference server.

Usage:
    cmake --preset host && cmake --build build/host
    python3 bench/tftp_bench.py build/host/bin        # or: FTM_BIN=build/host/bin
    python3 bench/tftp_bench.py build/host/bin --runs 50
    python3 bench/tftp_bench.py build/host/bin --steps  # each step of a download

It measures, on loopback inside a private network namespace of its own:
  - each report the board serves: from the RRQ to the station's last ACK;
  - a 7648-byte upload (the largest plain file the board takes): from the WRQ
    to the answer to the last block (the board refuses the name once the file
    is in; its ERROR takes the place of the final ACK and costs the same);
once against ftmd on a fresh simulated board running in real time
(timescale 1; its start-up takes about 20 s), and once against tftp-hpa's
in.tftpd serving the same bytes from a directory, with the same raw client.

Each time is split at the server's first reply: "first reply" is the time
from the request to the first DATA or ACK, which for ftmd is mostly the wait
for the transfer task's next pass (it takes one request every 250 ms); its
minimum over the runs approaches the daemon's own work. "transfer" is the
rest, the exchange of blocks once the server took the request. Runs start at
random moments so that the requests fall anywhere within the task's pass.

The downloads are timed by a small compiled station (tftp_station, built
from tftp_station.cc with the host preset, kept running throughout), the
upload by a raw Python one.

Needs in.tftpd (Debian's tftpd-hpa) and unshare (util-linux). The reference
server changes its group list, which a user namespace forbids: run as root,
the program uses a network namespace alone (unshare -n); otherwise it uses
unshare -rn and, should in.tftpd fail there, prints ftmd's figures only.
This is a measurement, not a test: nothing here fails on a slow result.
"""

import os
import random
import shutil
import socket
import statistics
import struct
import subprocess
import sys
import tempfile
import time

import benchkit

NETNS_MARK = "FTM_BENCH_NETNS"
RRQ, WRQ, DATA, ACK, ERROR = 1, 2, 3, 4, 5
REPORTS = benchkit.REPORTS
UPLOAD_NAME = "bench.txt"
UPLOAD_SIZE = 7648


def enter_network_namespace():
    """Re-executes this program in a private network namespace, loopback up."""
    if os.environ.get(NETNS_MARK) == "1":
        for cmd in (["ip", "link", "set", "lo", "up"], ["ifconfig", "lo", "up"]):
            try:
                if subprocess.run(cmd, stderr=subprocess.DEVNULL).returncode == 0:
                    return
            except FileNotFoundError:
                pass
        sys.exit("could not bring the namespace's loopback up")
    unshare = ["unshare", "-n"] if os.geteuid() == 0 else ["unshare", "-rn"]
    if subprocess.run(unshare + ["true"], stderr=subprocess.DEVNULL).returncode != 0:
        sys.exit("%s is not allowed here: no private network namespace" % " ".join(unshare))
    env = dict(os.environ, **{NETNS_MARK: "1"})
    os.execvpe(unshare[0], unshare + [sys.executable, os.path.abspath(__file__)] + sys.argv[1:],
               env)


class Station:
    """A raw TFTP client that follows the server to whatever port it answers
    from (in.tftpd answers from a new port per transfer, ftmd from its own)."""

    def __init__(self):
        self.sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.sock.bind(("127.0.0.1", 0))
        self.sock.settimeout(10)

    def close(self):
        self.sock.close()

    def request(self, opcode, server, name):
        self.sock.sendto(struct.pack("!H", opcode) + name.encode() + b"\0octet\0", server)

    def recv(self):
        packet, peer = self.sock.recvfrom(1024)
        return packet, peer, time.perf_counter()

    def download(self, server, name):
        """(content or None, request time, first reply time, end time)."""
        start = time.perf_counter()
        self.request(RRQ, server, name)
        content, block, first = b"", 1, None
        while True:
            packet, peer, now = self.recv()
            first = first or now
            opcode, number = struct.unpack("!HH", packet[:4])
            if opcode == ERROR:
                return None, start, first, now
            if opcode != DATA or number != block:
                raise RuntimeError("%s: unexpected %r" % (name, packet[:40]))
            content += packet[4:]
            self.sock.sendto(struct.pack("!HH", ACK, block), peer)
            if len(packet) < 516:
                return content, start, first, time.perf_counter()
            block += 1

    def upload(self, server, name, content):
        """(last reply, request time, first reply time, end time)."""
        start = time.perf_counter()
        self.request(WRQ, server, name)
        packet, peer, first = self.recv()
        if packet != struct.pack("!HH", ACK, 0):
            raise RuntimeError("WRQ answered by %r" % packet)
        block = 1
        while True:
            chunk = content[(block - 1) * 512:block * 512]
            self.sock.sendto(struct.pack("!HH", DATA, block) + chunk, peer)
            packet, peer, now = self.recv()
            if len(chunk) < 512 or packet != struct.pack("!HH", ACK, block):
                return packet, start, first, now
            block += 1


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class Reference:
    """tftp-hpa's in.tftpd in the foreground, serving a directory."""

    def __init__(self, files):
        self.dir = tempfile.mkdtemp(prefix="ftmbench-ref-")
        os.chmod(self.dir, 0o777)  # the server runs as nobody and creates files
        for name, content in files.items():
            with open(os.path.join(self.dir, name), "wb") as f:
                f.write(content)
            os.chmod(os.path.join(self.dir, name), 0o644)
        self.port = free_port()
        # "-a :PORT": the form with an address exits with status 66 here.
        self.proc = subprocess.Popen(["in.tftpd", "-L", "-c", "-s", "-4", "-a",
                                      ":%d" % self.port, self.dir])
        self.addr = ("127.0.0.1", self.port)

    def wait_ready(self, probe):
        station = Station()
        station.sock.settimeout(0.2)
        try:
            for _ in range(50):
                if self.proc.poll() is not None:
                    return False
                try:
                    content, _, _, _ = station.download(self.addr, probe)
                    return content is not None
                except (socket.timeout, RuntimeError):
                    continue
            return False
        finally:
            station.close()

    def forget_upload(self):
        try:
            os.remove(os.path.join(self.dir, UPLOAD_NAME))
        except FileNotFoundError:
            pass

    def close(self):
        self.proc.terminate()
        self.proc.wait()
        shutil.rmtree(self.dir, ignore_errors=True)


def measure(runs, operation):
    """Runs operation() runs times at random moments; returns the times in ms."""
    first, transfer, total = [], [], []
    for _ in range(runs):
        time.sleep(random.uniform(0.01, 0.3))
        start, first_reply, end = operation()
        first.append((first_reply - start) * 1000)
        transfer.append((end - first_reply) * 1000)
        total.append((end - start) * 1000)
    return first, transfer, total


def measure_steps(runs, operation, station):
    """Runs operation() as measure() does, one run at a time; returns, for
    each step of the transfer, the median in microseconds: the station's send
    of ACK n (which holds whatever the server does before the send returns,
    should its wake-up take the station's CPU), then its wait for DATA n+1,
    and so on to the send of the last ACK."""
    runs_steps = []
    for _ in range(runs):
        measure(1, operation)
        steps = station.steps
        runs_steps.append([(b - a) * 1e6 for a, b in zip(steps, steps[1:])])
    return [statistics.median(column) for column in zip(*runs_steps)]


class CompiledStation:
    """The timed downloads, through tftp_station (bench/tftp_station.cc, in the
    build's bin directory), kept running for the whole benchmark, so that a
    step's time is the servers' and not an interpreter's (the raw Python
    station's first step after a report came out 15 to 21 us slower against
    ftmd than against in.tftpd, with the daemon off the CPU). Uploads, and
    everything untimed, stay with Station."""

    def __init__(self, program, workdir):
        self.output = os.path.join(workdir, "content")
        self.proc = subprocess.Popen([program, self.output], stdin=subprocess.PIPE,
                                     stdout=subprocess.PIPE, text=True)
        self.steps = []

    def close(self):
        self.proc.stdin.close()
        self.proc.wait()

    def download(self, server, name):
        """As Station.download: (content, request time, first reply time, end time)."""
        self.proc.stdin.write("%d %s\n" % (server[1], name))
        self.proc.stdin.flush()
        line = self.proc.stdout.readline()
        if not line or line.startswith("error"):
            raise RuntimeError("%s: the compiled station's download failed" % name)
        times = [float(t) for t in line.split()]
        self.steps = times[1:]
        with open(self.output, "rb") as f:
            return f.read(), times[0], times[1], times[-1]


def show_steps(label, steps):
    print("  %-9s %s | sum %6.1f us" % (label, " ".join("%5.1f" % s for s in steps), sum(steps)))


def show(label, figures):
    first, transfer, total = figures
    print("  %-9s first reply %8.2f ms (min %6.2f) | transfer %7.2f ms | total %8.2f ms"
          % (label, statistics.median(first), min(first), statistics.median(transfer),
             statistics.median(total)))


def compare(ours, ref, exchanges):
    """exchanges: the round trips after the first reply (none for one block,
    whose transfer is only the station's own ACK)."""
    m = statistics.median
    transfer = ("transfer %.2fx" % (m(ours[1]) / max(m(ref[1]), 1e-6)) if exchanges
                else "transfer n/a (one block)")
    print("  ftmd/in.tftpd: %s, total %.1fx; first reply is %.1f%% of ftmd's total"
          % (transfer, m(ours[2]) / max(m(ref[2]), 1e-6),
             100 * m(ours[0]) / max(m(ours[2]), 1e-6)))


def main():
    parser = benchkit.parser(__doc__)
    parser.add_argument("--runs", type=int, default=30, help="runs per figure (default 30)")
    parser.add_argument("--steps", action="store_true",
                        help="also split each multi-block download's transfer into the "
                        "station's sends and waits (medians, us)")
    args = parser.parse_args()
    enter_network_namespace()
    Board = benchkit.ftmboard(parser, args).Board

    print("starting ftmd on a fresh simulated board in real time (about 20 s)...", flush=True)
    board = Board(timescale=1)
    ref = None
    station = Station()
    workdir = tempfile.mkdtemp(prefix="ftmbench-station-")
    timed = None
    try:
        timed = CompiledStation(os.path.join(args.bin, "tftp_station"), workdir)
        board.start()
        ftmd = ("127.0.0.1", board.port)
        served = {}
        for name in REPORTS:
            content, _, _, _ = station.download(ftmd, name)
            if content is not None:
                served[name] = content
        upload = bytes((i * 31 + 7) % 256 for i in range(UPLOAD_SIZE))

        if shutil.which("in.tftpd"):
            ref = Reference(served)
            if not ref.wait_ready(next(iter(served))):
                print("in.tftpd does not serve here (exit status %s): ftmd's figures only"
                      % ref.proc.poll())
                ref.close()
                ref = None
        else:
            print("in.tftpd is not installed: ftmd's figures only")

        print("%d runs per figure; medians, first reply also as minimum; downloads timed by "
              "bench/tftp_station.cc, uploads by the Python station\n" % args.runs)
        for name, content in served.items():
            blocks = len(content) // 512 + 1
            print("%s: %d bytes, %d DATA block%s" % (name, len(content), blocks,
                                                     "s" if blocks > 1 else ""))

            def download(server, name=name, content=content):
                got, start, first, end = timed.download(server, name)
                if got != content:
                    raise RuntimeError("%s: the two servers sent different bytes" % name)
                return start, first, end

            ours = measure(args.runs, lambda: download(ftmd))
            show("ftmd", ours)
            if ref:
                theirs = measure(args.runs, lambda: download(ref.addr))
                show("in.tftpd", theirs)
                compare(ours, theirs, blocks - 1)
            if args.steps and blocks > 1:
                print("  steps: send ACK 1, wait DATA 2, send ACK 2, ... send ACK %d" % blocks)
                show_steps("ftmd", measure_steps(args.runs, lambda: download(ftmd), timed))
                if ref:
                    show_steps("in.tftpd",
                               measure_steps(args.runs, lambda: download(ref.addr), timed))
            print()

        print("upload of %d bytes (%d DATA blocks)" % (UPLOAD_SIZE, UPLOAD_SIZE // 512 + 1))

        def put(server):
            _, start, first, end = station.upload(server, UPLOAD_NAME, upload)
            return start, first, end

        ours = measure(args.runs, lambda: put(ftmd))
        show("ftmd", ours)
        if ref:
            def put_ref():
                ref.forget_upload()
                return put(ref.addr)
            theirs = measure(args.runs, put_ref)
            show("in.tftpd", theirs)
            compare(ours, theirs, UPLOAD_SIZE // 512 + 1)
    finally:
        station.close()
        if timed:
            timed.close()
        shutil.rmtree(workdir, ignore_errors=True)
        if ref:
            ref.close()
        board.close()


if __name__ == "__main__":
    main()
