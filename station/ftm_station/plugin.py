"""pytest plugin: `--ftm-board HOST[:PORT]` (repeatable) runs every test that
takes the `board` fixture once per board. With pytest-xdist, give
`-n NUM --dist loadgroup`: the tests of one board stay on one worker, in
order (a board serves one station at a time), and the boards run in
parallel.

Each board's run is recorded in a database (--ftm-db; SQLite file
"ftm-record.sqlite" beside the JUnit XML by default): one run per board with
the serial number and MAC address as given and as read back at the end,
each test a step, each measurement and operator answer a measurement. Each
test also records the board's address, serial number and MAC address, and
each measurement ("NAME = VALUE UNIT pass"), as properties in the JUnit XML
(--junitxml). After each test the board leaves
test mode.

`--ftm-sim N` starts N simulated boards for the run (ftm_station.simboard)
and tests them like boards given with --ftm-board: a station script can be
tried on a PC alone."""

import contextlib
import json
import os
import shlex
import shutil
import socket
import sys
import threading
import uuid

import pytest

from ftm_station.client import Board, BoardError
from ftm_station.operator import Operator, read_answers


def pytest_addoption(parser):
    group = parser.getgroup("ftm", "ftmd boards")
    add = group.addoption
    add("--ftm-board", action="append", default=[], metavar="HOST[:PORT]",
        help="a board to test; repeat for several (port 69 when none)")
    add("--ftmctl", default=os.environ.get("FTMCTL", "ftmctl"), metavar="PATH",
        help="the ftmctl program (default: $FTMCTL or ftmctl on PATH)")
    add("--ftm-log", default=None, metavar="DIR",
        help="ftmctl --log: one log per board serial number in DIR")
    add("--ftm-timescale", default=None, metavar="FACTOR",
        help="ftmctl --timescale, for simulated boards (and the clock of --ftm-sim boards)")
    add("--ftm-sim", default=0, type=int, metavar="N",
        help="start N simulated boards for the run and test them too")
    add("--ftm-bin", default=None, metavar="DIR",
        help="where ftmsim and ftmd are, for --ftm-sim (default: beside ftmctl)")
    add("--ftm-db", default=None, metavar="URL",
        help="the record: a SQLite file or a database URL (postgresql://...); default "
             "ftm-record.sqlite beside the JUnit XML")
    add("--ftm-station", default=socket.gethostname(), metavar="NAME",
        help="this station's name in the record (default: the host name)")
    add("--ftm-unit", action="append", default=[], metavar="BOARD=SERIAL,MAC",
        help="the serial number and MAC address of the unit on BOARD")
    add("--ftm-units", default=None, metavar="FILE",
        help="a file of lines BOARD SERIAL MAC")
    add("--ftm-scan", action="store_true",
        help="read each board's serial number and MAC address from standard input "
             "(a scanner) before the run")
    add("--ftm-answers", default=os.environ.get("FTM_ANSWERS"), metavar="FILE",
        help="the operator's answers for unattended runs (default: $FTM_ANSWERS)")
    add("--ftm-view", default=None, type=int, metavar="PORT",
        help="serve the live view of the run on http://127.0.0.1:PORT/")


def _units(config, boards):
    """{board: (serial, mac)} from --ftm-unit, --ftm-units and --ftm-scan."""
    units = {}
    lines = list(config.getoption("ftm_unit"))
    if config.getoption("ftm_units"):
        with open(config.getoption("ftm_units")) as f:
            lines += [" ".join(line.replace(",", " ").split()) for line in f
                      if line.strip() and not line.startswith("#")]
    for line in lines:
        board, _, rest = line.replace("=", " ", 1).partition(" ")
        fields = rest.replace(",", " ").split()
        if len(fields) != 2:
            raise pytest.UsageError("a unit is BOARD SERIAL MAC: %r" % line)
        units[board] = tuple(fields)
    if config.getoption("ftm_scan"):
        with _console(config):
            for board in boards:
                if board not in units:
                    units[board] = (_scan("serial number", board), _scan("MAC address", board))
    return units


@contextlib.contextmanager
def _console(config):
    """Standard input and output as they were before pytest captured them."""
    capman = config.pluginmanager.getplugin("capturemanager")
    if capman is None:
        yield
        return
    capman.suspend_global_capture(in_=True)
    try:
        yield
    finally:
        capman.resume_global_capture()


def _scan(what, board):
    sys.stdout.write("scan the %s of the unit on %s: " % (what, board))
    sys.stdout.flush()
    line = sys.stdin.readline()
    if not line.strip():
        raise pytest.UsageError("no %s for %s on standard input" % (what, board))
    return line.strip()


def _start_sims(config):
    """The --ftm-sim boards, started and serving."""
    from ftm_station.simboard import SimBoard
    count = config.getoption("ftm_sim")
    if count <= 0:
        return []
    words = shlex.split(config.getoption("ftmctl"))
    where = config.getoption("ftm_bin") or os.path.dirname(shutil.which(words[-1]) or "")
    if not os.path.exists(os.path.join(where, "ftmsim")):
        raise pytest.UsageError("--ftm-sim: no ftmsim in %r (give --ftm-bin DIR)" % where)
    timescale = float(config.getoption("ftm_timescale") or 1)
    sims = []
    try:
        for _ in range(count):
            sims.append(SimBoard(where, timescale, emulator=words[:-1]).start(wait_ready=False))
        for sim in sims:
            sim.wait_ready()
    except BaseException:
        for sim in sims:
            sim.close()
        raise
    return sims


def _default_db(config):
    junit = config.getoption("xmlpath", None)
    where = os.path.dirname(os.path.abspath(junit)) if junit else os.getcwd()
    return os.path.join(where, "ftm-record.sqlite")


class _Station:
    """What one pytest process (the controller or a worker) knows of the run."""

    def __init__(self, config, shared):
        from ftm_station.record import Recorder
        self.config = config
        self.units = {b: tuple(u) for b, u in shared["units"].items()}
        self.recorder = Recorder(shared["db"], shared["station"], shared["session"])
        answers = config.getoption("ftm_answers")
        self.answers = read_answers(answers) if answers else {}
        self.runs = {}  # board: (run id, Board)
        self.failed = set()
        self.lock = threading.Lock()

    def run_of(self, board):
        with self.lock:
            if board.address not in self.runs:
                serial, mac = self.units.get(board.address, (None, None))
                run = self.recorder.start_run(board.address, serial, mac)
                self.runs[board.address] = (run, board)
            return self.runs[board.address][0]

    def finish(self):
        for address, (run, board) in self.runs.items():
            try:
                info = board.modem_info()
            except BoardError:
                info = {}
            passed = address not in self.failed and bool(info)
            self.recorder.end_run(run, "pass" if passed else "fail",
                                  info.get("MODEM_INFO/SERIAL_NUM"),
                                  info.get("MODEM_INFO/MAC_ADDR"))


def pytest_configure(config):
    # pytest-xdist registers it too; without xdist the mark is only unused.
    config.addinivalue_line("markers", "xdist_group(name): run these tests on one worker")
    worker = getattr(config, "workerinput", None)
    if worker is not None:
        if "ftm" not in worker:
            return
        shared = json.loads(worker["ftm"])
    else:
        config._ftm_sims = _start_sims(config)
        boards = config.getoption("ftm_board") + [b.address for b in config._ftm_sims]
        if not boards:
            return
        try:
            units = _units(config, boards)
        except BaseException:
            pytest_unconfigure(config)
            raise
        shared = {"boards": boards, "units": units,
                  "sims": {b.address: b.dir for b in config._ftm_sims},
                  "db": config.getoption("ftm_db") or _default_db(config),
                  "station": config.getoption("ftm_station"), "session": uuid.uuid4().hex}
    config._ftm_shared = shared
    config._ftm = _Station(config, shared)
    if worker is None and config.getoption("ftm_view"):
        from ftm_station.view import serve
        serve(shared["db"], config.getoption("ftm_view"))


@pytest.hookimpl(optionalhook=True)
def pytest_configure_node(node):
    """pytest-xdist: each worker gets the units, the record and the session."""
    shared = getattr(node.config, "_ftm_shared", None)
    if shared is not None:
        node.workerinput["ftm"] = json.dumps(shared)


def pytest_sessionfinish(session):
    station = getattr(session.config, "_ftm", None)
    if station is not None:
        station.finish()


def pytest_unconfigure(config):
    for sim in getattr(config, "_ftm_sims", []):
        sim.close()
    config._ftm_sims = []


def pytest_generate_tests(metafunc):
    # Each board's tests carry its group from the moment they are made:
    # pytest-xdist reads the group in its own collection hook, which may run
    # before any hook of this plugin. The group name is added to the test id
    # by pytest-xdist, so it is the board's number, not its address again.
    if "board" in metafunc.fixturenames:
        boards = getattr(metafunc.config, "_ftm_shared", {}).get("boards", [])
        metafunc.parametrize("board", [
            pytest.param(b, id=b, marks=pytest.mark.xdist_group("board%d" % (i + 1)))
            for i, b in enumerate(boards)], indirect=True)


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    outcome = yield
    report = outcome.get_result()
    if report.when == "call" or (report.when == "setup" and not report.passed):
        item._ftm_report = report


def _record(node, values):
    props = [p for p in node.user_properties if p[0] not in ("serial", "mac")]
    props.append(("serial", values.get("MODEM_INFO/SERIAL_NUM", "")))
    props.append(("mac", values.get("MODEM_INFO/MAC_ADDR", "")))
    node.user_properties[:] = props


def _terminal(config):
    """The person at the station, when one can answer: not in a worker."""
    if hasattr(config, "workerinput") or not sys.stdin.isatty():
        return None

    def ask(prompt):
        with _console(config):
            return input(prompt)
    return ask


@pytest.fixture
def board(request):
    """The board of this run of the test, as an ftm_station.Board with an
    `operator` (ftm_station.Operator), its `unit` (serial, MAC) or None, and
    `sim_dir`, the board directory of an --ftm-sim board (else None)."""
    config = request.config
    ftmctl = config.getoption("ftmctl")
    if shutil.which((shlex.split(ftmctl) or [""])[-1]) is None:
        pytest.fail("ftmctl not found: %s (give --ftmctl PATH)" % ftmctl)
    extra = []
    if config.getoption("ftm_log"):
        extra += ["--log", config.getoption("ftm_log")]
    if config.getoption("ftm_timescale"):
        extra += ["--timescale", config.getoption("ftm_timescale")]
    b = Board(request.param, ftmctl=ftmctl, extra=extra)
    station = config._ftm
    b.unit = station.units.get(b.address)
    b.sim_dir = config._ftm_shared["sims"].get(b.address)
    run = station.run_of(b)
    step = station.recorder.start_step(run, request.node.originalname)

    def measured(name, value, text, low, high, unit, passed):
        verdict = "pass" if passed else "fail"
        station.recorder.measure(run, step, name, value, text, low, high, unit, verdict)
        request.node.user_properties.append(
            ("measurement", "%s = %s%s %s" % (name, text, " " + unit if unit else "", verdict)))

    def answered(key, prompt, answer, passed):
        measured(key, None, answer, None, None, "", passed)
    b.on_measure = measured
    b.operator = Operator(b.address, station.answers, _terminal(config), answered)
    request.node.user_properties.append(("board", request.param))
    message = None
    try:
        _record(request.node, b.modem_info())
        # A test that writes the identity records the new one.
        b.on_identity = lambda values: _record(request.node, values)
        yield b
    except BoardError as e:
        message = str(e)  # the board did not answer before the test
        raise
    finally:
        _leave(b)
        report = getattr(request.node, "_ftm_report", None)
        verdict = "fail" if report is None or report.failed else \
            "skip" if report.skipped else "pass"
        if report is not None and report.failed:
            crash = getattr(report.longrepr, "reprcrash", None)
            message = crash.message if crash else str(report.longrepr).splitlines()[-1]
        if verdict == "fail":
            station.failed.add(b.address)
        station.recorder.end_step(step, verdict, message)


def _leave(board):
    """The board leaves test mode after every test, whatever the test did."""
    try:
        board.leave(verify=False)
    except BoardError:
        pass  # a board that does not answer has failed its test already


@pytest.fixture
def unit(board):
    """The serial number and MAC address given for the board's unit."""
    if board.unit is None:
        pytest.fail("no serial number and MAC address for %s: give --ftm-unit, --ftm-units or "
                    "--ftm-scan" % board.address)
    return {"serial": board.unit[0], "mac": board.unit[1]}
