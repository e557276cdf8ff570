"""Station tests for the plugin's own check (run by run_station.py): the
board fixture, one run per board on one worker, the identity recorded in
the JUnit XML, an operator step, a measurement, and a board that stops
answering. On the second board the harness makes the DSL line slow and, in
the last test, switches the board off (FTM_CHECK_SILENT: "BOARD PID")."""

import os
import signal

import pytest

from ftm_station import BadArguments, Refused


@pytest.fixture(autouse=True)
def worker(record_property):
    """Which pytest-xdist worker ran the test: one board, one worker."""
    record_property("worker", os.environ.get("PYTEST_XDIST_WORKER", "main"))


def test_identity_is_recorded(board, unit):
    board.identity(serial=unit["serial"], mac=unit["mac"])
    assert board.modem_info()["MODEM_INFO/SERIAL_NUM"] == unit["serial"]


def test_reports_and_refusal(board):
    assert board.active_tests() == []
    with pytest.raises(Refused) as refused:
        board.enter("THROUGHPUT")
    assert (refused.value.status, refused.value.message) == (1, "No Command Found")
    with pytest.raises(BadArguments):
        board.get("FTM_Nothing.xml")


def test_line_speed(board):
    board.expect("FTM_Statistics.xml", "FTM_STATS/DSL/DSL_SPEED_DOWNSTREAM", 30, 200, "Mbit/s")


def test_operator_and_wps(board):
    assert board.operator.ask("label-ok", "Is the label straight?")
    assert board.operator.act("press-wps", "Press the WPS button")
    board.wait_button("wps", "closed", timeout=30)


def test_switched_off(board):
    address, _, pid = os.environ.get("FTM_CHECK_SILENT", "").partition(" ")
    if address == board.address:
        os.kill(int(pid), signal.SIGKILL)
    assert board.get("FTM_Progress.xml") == {"DOWNLOAD_STATUS": "DONE"}
