"""A complete production sequence, run once per board given with
--ftm-board: identity, LED test with the operator, buttons pressed by the
operator, radios, Ethernet ports, counters measured against limits. Every
request is read back (ftmctl --verify), so a lost answer of the board cannot
pass as success; after each test the board leaves test mode.

    pytest --ftm-board 192.168.1.1 --ftm-board 192.168.2.1 -n 2 --dist loadgroup \\
           --ftm-units units.txt --ftm-answers answers.txt \\
           --junitxml results.xml station/examples/test_production_line.py

The serial number and MAC address of each unit come from its label: a file
(--ftm-units, lines "BOARD SERIAL MAC"), the command line (--ftm-unit) or a
scanner (--ftm-scan). The operator answers at the terminal, or from a file
(--ftm-answers) in an unattended run: "all-leds-lit = yes",
"press-wps = done"."""

LEDS = ["WPS_LED", "INTERNET_LED", "USB_LED", "LAN_LED", "WAN_LED", "WIFI_24G_LED",
        "WIFI_5G_LED", "MOBILE_4G_LED", "MOBILE_3G_LED"]


def test_identity(board, unit):
    board.identity(model="K17-403522-02", serial=unit["serial"], mac=unit["mac"],
                   date="11232026", rev="B", boot_delay=3)
    info = board.modem_info()
    assert (info["MODEM_INFO/SERIAL_NUM"], info["MODEM_INFO/MAC_ADDR"].lower()) == \
        (unit["serial"], unit["mac"].lower())


def test_led_test(board):
    board.enter("LED")
    for led in LEDS:
        board.led(led, "on")
    assert board.operator.ask("all-leds-lit", "Are all nine LEDs lit?")
    board.leds("off")
    assert "LED" in board.active_tests()


def test_buttons(board):
    board.enter("RESET_SWITCH")
    assert board.operator.act("press-wps", "Press the WPS button")
    board.wait_button("wps", "closed", timeout=30)
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


def test_ports(board):
    for port in range(1, 6):
        board.port(port, "on")
    ports = board.numbers("FTM_Stats_4port.xml")
    for port in range(1, 6):
        board.measure("PORT_%d received" % port, ports["ETHERNET/PORT_%d/ETH_IN" % port], low=0,
                      unit="packets")


def test_line(board):
    stats = board.numbers("FTM_Statistics.xml")
    board.measure("DSL downstream", stats["FTM_STATS/DSL/DSL_SPEED_DOWNSTREAM"], low=16, high=250,
                  unit="Mbit/s")
    board.measure("DSL upstream", stats["FTM_STATS/DSL/DSL_SPEED_UPSTREAM"], low=1, high=250,
                  unit="Mbit/s")
    board.measure("ATM cells in", stats["FTM_STATS/ATM/ATM_IN"], low=1, unit="cells")
