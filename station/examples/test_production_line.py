"""A complete production sequence, run once per board given with
--ftm-board: identity, LED test, buttons, radios, Ethernet ports, counters,
leave test mode. Every request is read back (ftmctl --verify), so a lost
answer of the board cannot pass as success.

    pytest --ftm-board 192.168.1.1 --ftm-board 192.168.2.1 -n 2 --dist loadgroup \\
           --junitxml results.xml station/examples/test_production_line.py

A real station takes the serial number and MAC address from the unit's
label; this example makes them from the board's address."""

import zlib

import pytest

LEDS = ["WPS_LED", "INTERNET_LED", "USB_LED", "LAN_LED", "WAN_LED", "WIFI_24G_LED",
        "WIFI_5G_LED", "MOBILE_4G_LED", "MOBILE_3G_LED"]


@pytest.fixture
def unit(board):
    n = zlib.crc32(board.address.encode()) & 0xFFFFFF
    return {"serial": "K17%08d" % (n % 10 ** 8),
            "mac": "02:5e:a3:%02x:%02x:%02x" % (n >> 16, (n >> 8) & 0xFF, n & 0xFF)}


def test_identity(board, unit):
    board.identity(model="K17-403522-02", serial=unit["serial"], mac=unit["mac"],
                   date="11232026", rev="B", boot_delay=3)
    info = board.modem_info()
    assert (info["MODEM_INFO/SERIAL_NUM"], info["MODEM_INFO/MAC_ADDR"]) == \
        (unit["serial"], unit["mac"])


def test_led_test(board):
    board.enter("LED")
    for led in LEDS:
        board.led(led, "on")
        board.led(led, "off")
    board.leds("off")
    assert "LED" in board.active_tests()


def test_buttons(board):
    board.enter("RESET_SWITCH")
    for which in ("wps", "reset"):
        board.button(which, "closed")
        board.button(which, "open")
    board.autopair("inner")
    assert {"RESET_SWITCH", "AUTO_PAIR"} <= set(board.active_tests())


def test_radios(board):
    board.enter("BCOM_WIRELESS")
    # One upload, applied in order; each setting is read back.
    result = board.cfg("radio.24g.ssid=STATION-24", "radio.24g.channel=6", "radio.24g.mode=11nght20",
                       "radio.5g.ssid=STATION-5", "radio.5g.channel=36")
    assert all(step["applied"] for step in result["verify"])
    config = board.get("FTM_TestModeCfg.xml")
    assert config["TEST_CONFIG/ATH_WIRELESS/ATH_5G_WIRELESS/CHANNEL_5G"] == "36"


def test_ports(board):
    for port in range(1, 6):
        board.port(port, "on")
    ports = board.get("FTM_Stats_4port.xml")
    for port in range(1, 6):
        assert ports["ETHERNET/PORT_%d/ETH_PORT_ACTIVE" % port] in ("YES", "NO")
        assert ports["ETHERNET/PORT_%d/ETH_DISCARD_IN" % port] == "Not Support"


def test_counters(board):
    stats = board.get("FTM_Statistics.xml")
    for path in ("ETHERNET/ETH_IN", "ETHERNET/ETH_OUT", "ATM/ATM_IN", "DSL/DSL_STATE",
                 "FLASH/WRITE", "ATH_WIRELESS/WIRE_RXBYTES"):
        assert "FTM_STATS/" + path in stats
    assert stats["FTM_STATS/ATM/VC_CHAN_NUM"] == "1"
    assert stats["FTM_STATS/DSL/READY_STATUS"] == "NOT_READY"
    mobile = board.get("FTM_MobileInfo.xml")
    assert {"MOBILE_INFO/SIM", "MOBILE_INFO/IMEI", "MOBILE_INFO/ANT"} <= set(mobile)
    assert "ANTENNA_INFO/ANT" in board.get("FTM_AntennaInfo.xml")


def test_leave_test(board):
    board.leave()
    assert board.active_tests() == []
