"""Test harness: a fresh simulated board with the real ftmd on it, and a raw
TFTP client for what no ordinary client can do (any opcode, any length,
silence, repeats).

The build's programs are found through FTM_BIN (the build's bin directory);
FTM_EMULATOR, when set, is the command that runs them (qemu-mips for the
big-endian build)."""

import os
import shlex
import signal
import socket
import struct
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..",
                                "station"))
from ftm_station.simboard import Effects, SimBoard, free_port  # noqa: E402,F401

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


def program(name):
    return EMULATOR + [os.path.join(BIN, name)]


class Board(SimBoard):
    """A simulated board of the build under test with ftmd alone on it (a
    test that needs the modem starts its own). The tests' board is the
    distinct one: every store cell, GPIO input, port and radio setting its
    own value."""

    def __init__(self, timescale=TIMESCALE, port=None, distinct=True):
        super().__init__(BIN, timescale, port, distinct, emulator=EMULATOR)

    def command(self):
        return self.program("ftmd")

    def wait_ready(self, timeout=None):
        super().wait_ready(timeout or (20 * self.timescale + 10) * SLACK)

    def wait_exit(self, timeout=10):
        return super().wait_exit(timeout * SLACK)

    def stop(self, sig=signal.SIGKILL):
        super().stop(sig)

    def sanitizer_reports(self):
        """Reports of ASan, UBSan or TSan in the daemon's output."""
        marks = ("ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "runtime error:",
                 "WARNING: ThreadSanitizer")
        return [line for line in (self.stdout() + self.stderr()).splitlines()
                if any(m in line for m in marks)]

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
        self.send(rrq(name, mode))

    def wrq(self, name, mode=b"octet"):
        self.send(wrq(name, mode))

    def data(self, block, payload):
        self.send(data(block, payload))

    def ack(self, block):
        self.send(ack(block))

    def error(self, code, message):
        self.send(error(code, message))

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
        assert got == packet, "expected %r, got %r" % (packet, got)

    def silence(self, seconds):
        got = self.recv(seconds / SLACK)
        assert got is None, "expected no reply, got %r" % (got,)

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


def rrq(name, mode=b"octet"):
    return struct.pack("!H", RRQ) + name + b"\0" + mode + b"\0"


def wrq(name, mode=b"octet"):
    return struct.pack("!H", WRQ) + name + b"\0" + mode + b"\0"


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
