"""Simulated boards for trying station scripts on a PC, before any hardware
exists: a board directory made by `ftmsim init`, the daemon started on it
(`ftmsim run`: ftmd with the simulated LTE modem) on a free UDP port of
loopback, and the board's files to read and change while it runs: its
event log, syslog, console output, GPIO points and store tables
(docs/simulator.md says what each file means).

    board = SimBoard("build/host/bin").start()
    board.address                      # "127.0.0.1:PORT", for --ftm-board or ftmctl
    board.write("gpio/43", "1\\n")      # someone presses WPS
    board.close()                      # stops the daemon, removes the board

The plugin's `--ftm-sim N` makes N of them for a run."""

import collections
import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time

# What the board logged after a mark: its new events and syslog lines, and
# what the daemon wrote to standard output and standard error.
Effects = collections.namedtuple("Effects", "events syslog stdout stderr")
Effects.__new__.__defaults__ = ([], [], "", "")
_ESCAPES = {"t": "\t", "n": "\n", "\\": "\\"}
# Start-up ends with the second switch command and the removal of the
# saved configuration files; the daemon serves right after.
_LAST_STARTUP_EVENT = "shell switch_utility RegisterSet 0xc50 0x1805"
_SAVED_FILES = ("current.cfg", "current.bak", "DSL_MODE")


def free_port():
    """A UDP port of loopback that nothing uses now."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class SimBoard:
    """One simulated board in a directory of its own (a new temporary one
    unless `directory` is given), served on `port` (a free one by default).
    `timescale` below 1 runs the board's clock faster (0.05: the 20-second
    start-up in one second). `distinct` gives every store cell, GPIO input,
    port and radio setting a value of its own, so a report shows at once
    where each value came from; the default board has friendly values.
    `emulator` is a command line that runs the board's programs (qemu-mips
    for a big-endian build)."""

    def __init__(self, bin_dir, timescale=1.0, port=None, distinct=False, directory=None,
                 emulator=()):
        self.bin_dir, self.emulator = bin_dir, list(emulator)
        self.dir = directory or tempfile.mkdtemp(prefix="ftmboard-")
        subprocess.run(self.program("ftmsim") + ["init"] + ["--distinct"] * distinct + [self.dir],
                       check=True)
        self.port = port or free_port()
        self.timescale = timescale
        self.write("port", "%d\n" % self.port)
        self.write("timescale", "%g\n" % timescale)
        self.proc = None

    @property
    def address(self):
        return "127.0.0.1:%d" % self.port

    def program(self, name):
        return self.emulator + [os.path.join(self.bin_dir, name)]

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

        def cell(c):
            return "\\N" if c is None else str(c).replace("\\", "\\\\").replace(
                "\t", "\\t").replace("\n", "\\n")
        self.write("cfg/%s.tsv" % name,
                   "".join("\t".join(map(cell, r)) + "\n" for r in [head] + rows))

    def set_faults(self, *lines):
        """Makes the named driver requests, store calls or commands fail."""
        self.write("faults", "".join(line + "\n" for line in lines))

    def mark(self):
        """Where each of the board's logs ends now; see since()."""
        return (len(self.events()), len(self.syslog()), len(self.stdout()), len(self.stderr()))

    def since(self, mark):
        """The Effects logged after a mark."""
        return Effects(self.events()[mark[0]:], self.syslog()[mark[1]:], self.stdout()[mark[2]:],
                       self.stderr()[mark[3]:])

    # -- the daemon -----------------------------------------------------------
    def command(self):
        """What start() runs: `ftmsim run`, ftmd with the simulated modem;
        under an emulator, which cannot start the board's other programs
        from ftmsim, ftmd alone."""
        if self.emulator:
            return self.program("ftmd")
        return self.program("ftmsim") + ["run", self.dir]

    def start(self, wait_ready=True, timeout=None):
        """Starts the daemon, its output in ftmd.out and ftmd.err, and by
        default waits until it serves (`timeout` real seconds)."""
        env = dict(os.environ, FTM_SIM_DIR=self.dir)
        with open(self.path("ftmd.out"), "ab") as out, open(self.path("ftmd.err"), "ab") as err:
            # A process group of its own (not a session: the daemon must not
            # make the modem's port its controlling terminal): a board that
            # will not stop is killed whole, daemon and modem with it.
            self.proc = subprocess.Popen(self.command(), env=env, stdout=out, stderr=err,
                                         process_group=0)
        if wait_ready:
            self.wait_ready(timeout)
        return self

    def wait_ready(self, timeout=None):
        self.wait_for(lambda: _LAST_STARTUP_EVENT in self.events() and not any(
            self.exists("root/PRST/" + f) for f in _SAVED_FILES),
            timeout or 20 * self.timescale + 10, "start-up did not finish")

    def wait_for(self, predicate, timeout, what):
        """Until predicate() holds; AssertionError(what) after `timeout`
        seconds or when the daemon ends first."""
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
        return self.proc.wait(timeout=timeout)

    def stop(self, sig=signal.SIGTERM):
        """Ends the daemon (`ftmsim run` passes SIGTERM on and stops the
        modem); one that outlives 10 s is killed with all it started."""
        if self.proc is not None and self.proc.poll() is None:
            self.proc.send_signal(sig)
            try:
                self.proc.wait(timeout=10)
            except subprocess.TimeoutExpired:
                os.killpg(self.proc.pid, signal.SIGKILL)
                self.proc.wait()

    def close(self):
        """Stops the daemon and removes the board directory."""
        self.stop()
        shutil.rmtree(self.dir, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()
