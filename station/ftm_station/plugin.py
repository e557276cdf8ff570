"""pytest plugin: `--ftm-board HOST[:PORT]` (repeatable) runs every test that
takes the `board` fixture once per board. With pytest-xdist, give
`-n NUM --dist loadgroup`: the tests of one board stay on one worker, in
order (a board serves one station at a time), and the boards run in
parallel. Each test records the board's address, serial number and MAC
address as properties in the JUnit XML (--junitxml)."""

import os
import shlex
import shutil

import pytest

from ftm_station.client import Board


def pytest_addoption(parser):
    group = parser.getgroup("ftm", "ftmd boards")
    group.addoption("--ftm-board", action="append", default=[], metavar="HOST[:PORT]",
                    help="a board to test; repeat for several (port 69 when none)")
    group.addoption("--ftmctl", default=os.environ.get("FTMCTL", "ftmctl"), metavar="PATH",
                    help="the ftmctl program (default: $FTMCTL or ftmctl on PATH)")
    group.addoption("--ftm-log", default=None, metavar="DIR",
                    help="ftmctl --log: one log per board serial number in DIR")
    group.addoption("--ftm-timescale", default=None, metavar="FACTOR",
                    help="ftmctl --timescale, for simulated boards")


def pytest_configure(config):
    # pytest-xdist registers it too; without xdist the mark is only unused.
    config.addinivalue_line("markers", "xdist_group(name): run these tests on one worker")


def pytest_generate_tests(metafunc):
    # Each board's tests carry its group from the moment they are made:
    # pytest-xdist reads the group in its own collection hook, which may run
    # before any hook of this plugin.
    if "board" in metafunc.fixturenames:
        boards = metafunc.config.getoption("ftm_board")
        metafunc.parametrize("board", [pytest.param(b, id=b, marks=pytest.mark.xdist_group(b))
                                       for b in boards], indirect=True)


def _record(node, values):
    props = [p for p in node.user_properties if p[0] not in ("serial", "mac")]
    props.append(("serial", values.get("MODEM_INFO/SERIAL_NUM", "")))
    props.append(("mac", values.get("MODEM_INFO/MAC_ADDR", "")))
    node.user_properties[:] = props


@pytest.fixture
def board(request):
    """The board of this run of the test, as an ftm_station.Board."""
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
    request.node.user_properties.append(("board", request.param))
    _record(request.node, b.modem_info())
    # A test that writes the identity records the new one.
    b.on_identity = lambda values: _record(request.node, values)
    return b
