"""Station tests for the plugin's own check (run by run_station.py): the
board fixture, one run per board, the identity recorded in the JUnit XML."""

import os

import pytest

from ftm_station import Refused


@pytest.fixture(autouse=True)
def worker(record_property):
    """Which pytest-xdist worker ran the test: one board, one worker."""
    record_property("worker", os.environ.get("PYTEST_XDIST_WORKER", "main"))


def test_identity_is_recorded(board, record_property):
    port = board.address.rsplit(":", 1)[1]
    board.identity(serial="SN" + port, mac="02:00:00:00:%02x:%02x" % (int(port) >> 8 & 255,
                                                                   int(port) & 255))
    assert board.modem_info()["MODEM_INFO/SERIAL_NUM"] == "SN" + port


@pytest.mark.parametrize("n", range(4))
def test_board_stays_on_one_worker(board, n):
    assert board.get("FTM_Progress.xml") == {"DOWNLOAD_STATUS": "DONE"}


def test_reports_and_refusal(board):
    assert board.get("FTM_Progress.xml") == {"DOWNLOAD_STATUS": "DONE"}
    assert board.active_tests() == []
    with pytest.raises(Refused) as refused:
        board.get("FTM_Nothing.xml")
    assert (refused.value.status, refused.value.message) == (1, "File Not Supported")
