"""Test harness: a fresh simulated board with the real ftmd on it, and a raw
TFTP client for what no ordinary client can do (any opcode, any length,
silence, repeats).

The build's programs are found through FTM_BIN (the build's bin directory);
FTM_EMULATOR, when set, is the command that runs them (qemu-mips for the
big-endian build)."""

import collections
import os
import re
import shlex
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import time
import unittest

BIN = os.environ.get("FTM_BIN", "")
EMULATOR = shlex.split(os.environ.get("FTM_EMULATOR", ""))
# Board time runs this much faster than real time in tests (see timescale).
TIMESCALE = float(os.environ.get("FTM_TEST_TIMESCALE", "0.05"))
# Real-time slack for slow builds (sanitizers, qemu).
SLACK = float(os.environ.get("FTM_TEST_SLACK", "1"))

RRQ, WRQ, DATA, ACK, ERROR = 1, 2, 3, 4, 5

# The board's waits, in board seconds (a board's timescale turns them into
# real ones); named here once for every test.
TICK = 0.25  # one pass of the transfer task
GRACE_TICKS = 11  # idle passes after an upload that still answer a resent last block
DATA_WAIT = 3.01  # the wait for a DATA block: 301 polls of 10 ms
ACK_WAIT = 3.25  # the wait for an ACK: 13 polls of 250 ms
HEX_PAUSE = 3.0  # the transfer task's pause after a ".hex" image


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def program(name):
    return EMULATOR + [os.path.join(BIN, name)]


# What a request did: the board's new events and syslog lines, and what the
# daemon wrote to standard output and standard error, each as received.
Effects = collections.namedtuple("Effects", "events syslog stdout stderr")
Effects.__new__.__defaults__ = ([], [], "", "")
_ESCAPES = {"t": "\t", "n": "\n", "\\": "\\"}


class Board:
    """A simulated board directory; start() runs ftmd on it. The tests' board
    is the distinct one (`ftmsim init --distinct`): every store cell, GPIO
    input, port and radio setting its own value."""

    def __init__(self, timescale=TIMESCALE, port=None, distinct=True):
        self.dir = tempfile.mkdtemp(prefix="ftmboard-")
        subprocess.run(program("ftmsim") + ["init"] + (["--distinct"] if distinct else []) +
                       [self.dir], check=True)
        self.port = port or free_port()
        self.write("port", "%d\n" % self.port)
        self.write("timescale", "%g\n" % timescale)
        self.timescale = timescale
        self.proc = None

    # -- files of the board -------------------------------------------------
    def path(self, rel):
        return os.path.join(self.dir, rel)

    def write(self, rel, text):
        with open(self.path(rel), "w") as f:
            f.write(text)

    def read(self, rel):
        with open(self.path(rel), "rb") as f:
            return f.read().decode("latin-1")

    def exists(self, rel):
        return os.path.exists(self.path(rel))

    def events(self):
        return self.read("events.log").splitlines()

    def syslog(self):
        return self.read("syslog").splitlines()

    def stdout(self):
        return self.read("ftmd.out") if self.exists("ftmd.out") else ""

    def stderr(self):
        return self.read("ftmd.err") if self.exists("ftmd.err") else ""

    def table(self, name):
        """A store table's data rows as lists of cells (None for an absent
        cell, \\N in the file)."""
        rows = []
        for line in self.read("cfg/%s.tsv" % name).split("\n")[1:]:
            if line:
                rows.append([None if cell == "\\N" else re.sub(
                    r"\\([tn\\])", lambda m: _ESCAPES[m.group(1)], cell)
                    for cell in line.split("\t")])
        return rows

    def write_table(self, name, rows, columns=None):
        """Replaces a table's data rows (None for an absent cell); the
        column names stay unless given."""
        head = columns or self.read("cfg/%s.tsv" % name).split("\n")[0].split("\t")
        esc = lambda c: "\\N" if c is None else str(c).replace("\\", "\\\\").replace(  # noqa: E731
            "\t", "\\t").replace("\n", "\\n")
        self.write("cfg/%s.tsv" % name, "".join("\t".join(map(esc, r)) + "\n" for r in [head] + rows))

    def mark(self):
        """Where each of the board's logs ends now; see since()."""
        return (len(self.events()), len(self.syslog()), len(self.stdout()), len(self.stderr()))

    def since(self, mark):
        """The Effects logged after a mark."""
        return Effects(self.events()[mark[0]:], self.syslog()[mark[1]:], self.stdout()[mark[2]:],
                       self.stderr()[mark[3]:])

    def set_faults(self, *lines):
        self.write("faults", "".join(line + "\n" for line in lines))

    # -- the daemon -----------------------------------------------------------
    def start(self, wait_ready=True):
        env = dict(os.environ, FTM_SIM_DIR=self.dir)
        with open(self.path("ftmd.out"), "ab") as out, open(self.path("ftmd.err"), "ab") as err:
            self.proc = subprocess.Popen(program("ftmd"), env=env, stdout=out, stderr=err)
        if wait_ready:
            self.wait_ready()
        return self

    def wait_ready(self, timeout=None):
        """Start-up ends with the second switch command and the removal of
        the saved configuration files; the receive loop starts right after."""
        timeout = timeout or (20 * self.timescale + 10) * SLACK
        last = "shell switch_utility RegisterSet 0xc50 0x1805"
        self.wait_for(lambda: last in self.events() and not any(
            self.exists("root/PRST/" + f) for f in ("current.cfg", "current.bak", "DSL_MODE")),
            timeout, "start-up did not finish")

    def wait_for(self, predicate, timeout, what):
        end = time.monotonic() + timeout
        while time.monotonic() < end:
            if predicate():
                return
            if self.proc is not None and self.proc.poll() is not None:
                raise AssertionError("%s: ftmd exited with %s\n%s" %
                                     (what, self.proc.returncode, self.stdout()))
            time.sleep(0.02)
        raise AssertionError(what)

    def wait_exit(self, timeout=10):
        return self.proc.wait(timeout=timeout * SLACK)

    def stop(self):
        if self.proc is not None and self.proc.poll() is None:
            self.proc.send_signal(signal.SIGKILL)
            self.proc.wait()

    def sanitizer_reports(self):
        """Reports of ASan, UBSan or TSan in the daemon's output."""
        marks = ("ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "runtime error:",
                 "WARNING: ThreadSanitizer")
        return [line for line in (self.stdout() + self.stderr()).splitlines()
                if any(m in line for m in marks)]

    def close(self):
        self.stop()
        shutil.rmtree(self.dir, ignore_errors=True)

    def client(self, **kw):
        return RawClient(self.port, **kw)

    def tick(self):
        """One pass of the transfer task, in real seconds."""
        return TICK * self.timescale

    def grace_over(self):
        """Long enough, in real seconds, for the grace period after an upload to end."""
        return (GRACE_TICKS + 1) * self.tick() + 0.2


class RawClient:
    """A UDP endpoint that speaks raw TFTP to the daemon's port."""

    def __init__(self, port, host="127.0.0.1"):
        self.addr = (host, port)
        self.sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.sock.bind(("127.0.0.1", 0))

    def close(self):
        self.sock.close()

    def send(self, data):
        self.sock.sendto(data, self.addr)

    def rrq(self, name, mode=b"octet"):
        self.send(struct.pack("!H", RRQ) + name + b"\0" + mode + b"\0")

    def wrq(self, name, mode=b"octet"):
        self.send(struct.pack("!H", WRQ) + name + b"\0" + mode + b"\0")

    def data(self, block, payload):
        self.send(struct.pack("!HH", DATA, block) + payload)

    def ack(self, block):
        self.send(struct.pack("!HH", ACK, block))

    def error(self, code, message):
        self.send(struct.pack("!HH", ERROR, code) + message + b"\0")

    def recv(self, timeout=5.0):
        """The next datagram, or None after timeout seconds of silence."""
        self.sock.settimeout(timeout * SLACK)
        try:
            data, addr = self.sock.recvfrom(2048)
        except socket.timeout:
            return None
        assert addr == self.addr, "reply from %r, not the daemon's port" % (addr,)
        return data

    def expect(self, packet, timeout=5.0):
        got = self.recv(timeout)
        if got != packet:
            raise AssertionError("expected %r, got %r" % (packet, got))

    def silence(self, seconds):
        got = self.recv(seconds / SLACK)
        if got is not None:
            raise AssertionError("expected no reply, got %r" % (got,))

    def download(self, name, timeout=5.0):
        """A whole download: returns (content, None) or (None, error packet)."""
        self.rrq(name)
        content, block = b"", 1
        while True:
            pkt = self.recv(timeout)
            if pkt is None:
                raise AssertionError("download of %r stalled at block %d" % (name, block))
            op = struct.unpack("!H", pkt[:2])[0]
            if op == ERROR:
                return None, pkt
            assert op == DATA and struct.unpack("!H", pkt[2:4])[0] == block, pkt
            content += pkt[4:]
            self.ack(block)
            if len(pkt) < 516:
                return content, None
            block += 1

    def upload(self, name, content, timeout=5.0):
        """A whole upload: returns the packet that answered the last block."""
        self.wrq(name)
        self.expect(ack(0), timeout)
        block = 1
        while True:
            chunk = content[(block - 1) * 512:block * 512]
            self.data(block, chunk)
            reply = self.recv(timeout)
            if len(chunk) < 512 or reply != ack(block):
                return reply
            block += 1


def ack(block):
    return struct.pack("!HH", ACK, block)


def data(block, payload):
    return struct.pack("!HH", DATA, block) + payload


def error(code, message):
    return struct.pack("!HH", ERROR, code) + message + b"\0"


class BoardTest(unittest.TestCase):
    """A test case with a fresh board per test, removed afterwards."""

    timescale = TIMESCALE

    def board(self, start=True, **kw):
        kw.setdefault("timescale", self.timescale)
        b = Board(**kw)
        self.addCleanup(b.close)
        # Runs before close (cleanups run last-in first-out).
        self.addCleanup(lambda: self.assertEqual(b.sanitizer_reports(), [], b.stderr()[-4000:]))
        if start:
            b.start()
        return b

    def client(self, board):
        c = board.client()
        self.addCleanup(c.close)
        return c
