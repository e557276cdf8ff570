"""The interactive tests end to end over TFTP: a station enters and leaves
tests ("FTM_TestModeOp.xml"), sets LEDs, buttons, the auto-pair selector,
voice lines and radios ("FTM_TestModeCfg.xml" uploads) and reads the board
back ("FTM_TestModeCfg.xml" download), on a simulated board whose GPIO,
wireless and store files the tests set and read."""

import re

from ftmboard import BoardTest, ack, error
from ftmreports import report

OP, CFG = b"FTM_TestModeOp.xml", b"FTM_TestModeCfg.xml"
ACK = ack(1)
NOT_SUPPORTED = error(0, b"Test not supported")
NO_COMMAND = error(0, b"No Command Found")
WRITE_FAILED = error(0, b"Write data failed")
CONFIG_FAILED = error(0, b"Write test config failed")
LEDS = [("WPS_LED", 42), ("INTERNET_LED", 5), ("USB_LED", 8), ("LAN_LED", 12), ("WAN_LED", 14),
        ("WIFI_24G_LED", 70), ("WIFI_5G_LED", 72), ("MOBILE_4G_LED", 50), ("MOBILE_3G_LED", 51)]
HOSTILE = [";reboot", "$(reboot)", "`reboot`", "'\"x", "A" * 500]


def cfg(body):
    return ("<TEST_CONFIG>%s</TEST_CONFIG>" % body).encode("latin-1")


def el(name, text, attrs=""):
    return "<%s%s>%s</%s>" % (name, attrs, text, name)


class Station:
    """One board and one station; `run` uploads and returns (reply, new events)."""

    def __init__(self, test, faults=()):
        self.board = test.board(start=False)
        self.board.set_faults(*faults)
        self.board.start()
        self.client = test.client(self.board)

    def run(self, name, xml):
        mark = len(self.board.events())
        reply = self.client.upload(name, xml)
        return reply, self.board.events()[mark:]

    def readback(self):
        text, err = self.client.download(CFG)
        assert err is None, err
        return text.decode("latin-1")

    def active(self):
        text, err = self.client.download(OP)
        assert err is None, err
        part = text.decode().split("<ACTIVE_TEST>")[1].split("</ACTIVE_TEST>")[0]
        return re.findall(r"<(\w+)>", part)


def value(report, name):
    """The text of the first element of that name in a report."""
    m = re.search(r"<%s(?: [^>]*)?>\r\n(?: *)(.*?)\r\n" % name, report)
    return m.group(1) if m and not m.group(1).lstrip().startswith("</") else ""


class TestModeOperations(BoardTest):
    def test_led_test_flow_as_the_station_sees_it(self):
        s = Station(self)
        self.assertEqual(s.run(OP, b"<ENTER_TEST><LED/><VOIP/></ENTER_TEST>"),
                         (ACK, ["gpio enterftm", "gpio allleds 0"]))
        self.assertEqual(s.active(), ["LED"])
        self.assertEqual(s.run(OP, b"<ENTER_TEST><VOIP>" + el("HOOK_1", "ON").encode() +
                               b"</VOIP></ENTER_TEST>"), (ACK, []))
        self.assertEqual(s.active(), ["LED", "VOIP"])
        # Every LED with its own point, and a value that differs from its
        # neighbour's, so a swapped point and value cannot pass.
        body = "".join(el(n, "ON" if i % 2 else "OFF") for i, (n, _) in enumerate(LEDS))
        reply, events = s.run(CFG, cfg(el("LED", body)))
        self.assertEqual(reply, ACK)
        self.assertEqual(events, sum([["gpio enterftm", "gpio write %d %d" % (p, i % 2)]
                                      for i, (_, p) in enumerate(LEDS)], []))
        report = s.readback()
        self.assertEqual([value(report, n) for n, _ in LEDS],
                         ["ON" if i % 2 else "OFF" for i in range(len(LEDS))])
        # A point read back reaches its own element only.
        s.board.write("gpio/42", "0\n")
        s.board.write("gpio/5", "7\n")
        self.assertEqual(value(s.readback(), "INTERNET_LED"), "ON")
        self.assertEqual(s.run(OP, b"<EXIT_TEST/>"), (ACK, ["gpio exitftm"]))
        self.assertEqual(s.active(), [])
        # Without the LED bit the driver stays as it is.
        s.run(OP, b"<ENTER_TEST><RESET_SWITCH/></ENTER_TEST>")
        self.assertEqual(s.run(OP, b"<EXIT_TEST/>"), (ACK, []))

    def test_commands_and_refusals(self):
        s = Station(self)
        cases = [
            (b"<ENTER_TEST><PSD/></ENTER_TEST>", NOT_SUPPORTED, []),
            (b"<ENTER_TEST></ENTER_TEST>", NO_COMMAND, []),
            (b"<NOTHING/>", NO_COMMAND, []),
            (b'<ENTER_TEST><THROUGHPUT VPI="8" VCI="35"/></ENTER_TEST>', NO_COMMAND, []),
            (b"<ENTER_TEST><VOIP><TONE_1>1</TONE_1></VOIP></ENTER_TEST>", NO_COMMAND, []),
            (b"<ENTER_TEST><AUTO_PAIR/></ENTER_TEST>", ACK, []),
            (b"<ENTER_TEST><BCOM_WIRELESS/></ENTER_TEST>", ACK, []),
            (b"<RESYNC/><REBOOT/>", ACK, ["dsl open"]),
            (b"<REBOOT/><REBOOT_TO_SAFEBOOT/>", ACK, ["flash boot normal", "flash restart"]),
            (b"<REBOOT_TO_SAFEBOOT/>", ACK, ["flash boot safe", "flash restart"]),
            (b"<EXIT_TEST/><REBOOT/>", ACK, []),
        ]
        for xml, reply, events in cases:
            with self.subTest(xml=xml):
                self.assertEqual(s.run(OP, xml), (reply, events))
        s.run(OP, b"<ENTER_TEST><AUTO_PAIR/></ENTER_TEST>")
        s.run(OP, b"<ENTER_TEST><THROUGHPUT/></ENTER_TEST>")
        self.assertEqual(s.active(), ["THROUGH_PUT", "AUTO_PAIR"])
        s.board.set_faults("open /dev/dsl_cpe_api")
        self.assertEqual(s.run(OP, b"<RESYNC/>"), (WRITE_FAILED, []))
        self.assertIn("err Cannot open adsl driver", s.board.syslog())


class TestConfiguration(BoardTest):
    def test_settings_and_refusals(self):
        s = Station(self)
        cases = [
            (el("LED", el("WAN_LED", "ON")) + "<PSD_SETTING/>", NOT_SUPPORTED,
             ["gpio enterftm", "gpio write 14 1"]),
            (el("LED", el("WAN_LED", "BLINK") + el("LAN_LED", "ON")), NOT_SUPPORTED, []),
            (el("LED", el("SINGLE_LED", "", ' P="100" S="ON"')), NO_COMMAND, []),
            (el("LED", el("SINGLE_LED", "", ' P="300" S="ON"')), NOT_SUPPORTED, []),
            (el("LED", el("SINGLE_LED", "", ' P="100"')), NOT_SUPPORTED, []),
            (el("LED", el("ALL_LEDS", "ON")), ACK, ["gpio enterftm", "gpio allleds 1"]),
            (el("THROUGHPUT", "", ' VPI="8" VCI="35"'), NO_COMMAND, []),
            (el("THROUGHPUT", el("READY_STATUS", "READY")), CONFIG_FAILED, []),
            (el("ETHER_PORT", el("ETHER_PORT_SPD", "100")), CONFIG_FAILED, []),
            (el("MULTI_HYBRID", el("MULTI_MODE", "ON")), NOT_SUPPORTED, []),
            (el("AUTO_PAIR", el("AUTO_MODE", "OUTER")), ACK, ["gpio enterftm", "gpio write 41 1"]),
            (el("AUTO_PAIR", el("AUTO_MODE", "AUTO")), NOT_SUPPORTED, []),
            (el("RESET_SWITCH", el("RESET_SW_STATUS", "CLOSED")), ACK,
             ["gpio enterftm", "gpio write 32 1"]),
            (el("WPS_SWITCH", el("WPS_SW_STATUS", "OPEN")), ACK, ["gpio enterftm", "gpio write 43 0"]),
            (el("WPS_SWITCH", el("RESET_SW_STATUS", "OPEN")), ACK, []),
        ]
        for body, reply, events in cases:
            with self.subTest(body=body):
                self.assertEqual(s.run(CFG, cfg(body)), (reply, events))
        self.assertEqual(s.active(), ["LED", "THROUGH_PUT", "AUTO_PAIR"])
        s.board.set_faults("ioctl GPIOCTRL_WRITEIO")
        self.assertEqual(s.run(CFG, cfg(el("LED", el("WAN_LED", "ON") + el("LAN_LED", "OFF")))),
                         (WRITE_FAILED, ["gpio enterftm", "gpio enterftm"]))
        self.assertEqual(s.run(CFG, cfg(el("WPS_SWITCH", el("WPS_SW_STATUS", "OPEN")))),
                         (WRITE_FAILED, ["gpio enterftm"]))  # no message of its own

    def test_voice_lines(self):
        s = Station(self)
        voip = lambda body, attrs="": cfg(el("VOIP", body, attrs))  # noqa: E731
        cases = [
            (voip(el("RING_VOLTAGE_1", "30v")), NOT_SUPPORTED, []),
            # A failed board operation records nothing: the last message stays.
            (voip(el("RING_VOLTAGE_1", "50v")), NOT_SUPPORTED, []),
            (voip(el("HOOK_1", "On")), NOT_SUPPORTED, []),
            (voip(el("RING_VOLTAGE_2", "75v") + el("HOOK_2", "OFF")), ACK, []),
            (voip(el("CUT_RELAY_2", "Enable") + el("CUT_RELAY_1", "Disable")), ACK,
             ["gpio enterftm", "gpio write 23 1", "gpio enterftm", "gpio write 22 0"]),
            (voip(el("DECODER_1", "ON")), ACK, []),
            (voip("", ' Other="1"'), NO_COMMAND, []),
            (voip(el("DECODER_1", "ON")), NO_COMMAND, []),
            (voip(el("DECODER_2", "OFF")), NO_COMMAND, []),
            (voip(el("TONE_2", "11") + el("BELL_1", "x")), NO_COMMAND, []),
            (voip(el("TONE_1", "None") + el("HOOK_1", "ON"), ' ReadClear="1"'), ACK, []),
            (voip("", ' ReadClear="0"'), ACK, []),
        ]
        for xml, reply, events in cases:
            with self.subTest(xml=xml):
                self.assertEqual(s.run(CFG, xml), (reply, events))
        self.assertEqual(s.active(), ["VOIP"])
        self.assertIn("No Element Found", s.board.stdout())


class TestRadios(BoardTest):
    def test_settings_reach_the_driver_and_read_back(self):
        s = Station(self)
        r24 = lambda body: cfg(el("ATH_WIRELESS", el("ATH_24G_WIRELESS", body)))  # noqa: E731
        r5 = lambda body: cfg(el("ATH_WIRELESS", el("ATH_5G_WIRELESS", body)))  # noqa: E731
        ssid31 = "S" * 31
        cases = [
            (r24(el("CHANNEL_5G", "6")), ACK, ["wifi ath0 down", "wifi ath0 freq 6", "wifi ath0 up"]),
            (r5(el("CHANNEL_5G", "140")), ACK, ["wifi ath4 down", "wifi ath4 freq 140", "wifi ath4 up"]),
            (r5(el("CHANNEL_5G", "144")), NOT_SUPPORTED, []),
            (r24(el("CHANNEL_24G", "36")), NOT_SUPPORTED, []),
            (r24(el("SSID_24G", ssid31)), ACK,
             ["wifi ath0 essid " + ssid31, "wifi ath0 down", "wifi ath0 up"]),
            (r24(el("SSID_24G", ssid31 + "S")), NOT_SUPPORTED, []),
            (r24(el("DOMAIN_24G", "USA") + el("DOMAIN_24G", "DE")), ACK, ["wifi wifi0 country DE"]),
            (r5(el("MODE_5G", "11naht40") + el("BAND", "x")), ACK,
             ["wifi ath4 down", "wifi ath4 mode 11naht40", "wifi ath4 up"]),
            (r24(el("WiFi_5G_Radio_Ctrl", "OFF")), ACK,
             ["shell cfg_write WlanConfig.0.Enabled=0", "cfg commit WlanConfig", "wifi ath0 down"]),
            (r5(el("WiFi_5G_Radio_Ctrl", "ON") + el("WiFi_5G_Radio_Ctrl", "on")), ACK,
             ["shell cfg_write WlanConfig.1.Enabled=1", "cfg commit WlanConfig", "wifi ath4 up"]),
        ]
        for xml, reply, events in cases:
            with self.subTest(xml=xml):
                self.assertEqual(s.run(CFG, xml), (reply, events))
        self.assertEqual(s.board.read("cfg/WlanConfig.tsv").splitlines()[1].split("\t")[0], "0")
        report = s.readback()
        self.assertEqual([value(report, n) for n in ("SSID_24G", "CHANNEL_24G", "DOMAIN_24G",
                                                     "WiFi_24G_Radio_Ctrl", "CHANNEL_5G", "MODE_5G",
                                                     "WiFi_5G_Radio_Ctrl", "WIFI_PWR_STATUS")],
                         [ssid31, "6", "DE", "OFF", "140", "11naht40", "ON", "CLOSED"])
        # A failing request ends the radio's settings; it records no message,
        # so the station sees the last one (the read-back's missing elements).
        s.board.set_faults("ioctl SIOCSIWFREQ")
        self.assertEqual(s.run(CFG, r24(el("CHANNEL_24G", "1") + el("SSID_24G", "x"))),
                         (error(0, b"Xml File InValid"), ["wifi ath0 down"]))
        self.assertIn("err FTM SIOCSIWFREQ on ath0 failed", s.board.syslog())
        s.board.set_faults("ioctl SIOCIWGETMODE")
        self.assertEqual(value(s.readback(), "MODE_24G"), "")
        s.board.set_faults("socket")
        s.client.wrq(CFG)
        s.client.expect(ack(0))
        s.client.data(1, r24(el("CHANNEL_24G", "1")))
        self.assertEqual(s.board.wait_exit(), 255)
        self.assertIn("err FTM Cannot open socket", s.board.syslog())
        self.assertIn("FTM Error openning socket", s.board.stdout())


class TestReadBack(BoardTest):
    def test_one_board_state_byte_for_byte(self):
        s = Station(self)
        for point in (5, 70):
            s.board.write("gpio/%d" % point, "1\n")
        s.board.write("root/tmp/Wps_pressed", "")
        s.board.write("cfg/WlanConfig.tsv", "Enabled\tSsid\n1\tA\n0\tB\n")
        for name, item, text in [("ath0", "essid", "Line 7"), ("ath0", "freq", "243700000"),
                                 ("ath0", "mode", "11NG-HT20"), ("wifi0", "country", "DEU"),
                                 ("ath4", "essid", "Line 7 5G"), ("ath4", "freq", "520000000"),
                                 ("ath4", "mode", "11NAHT40"), ("wifi1", "country", "F.R")]:
            s.board.write("wifi/%s/%s" % (name, item), text + "\n")
        s.board.write("root/proc/scsi/scsi", "Attached devices:\n"
                      "Host: scsi1 Channel: 00 Id: 00 Lun: 00\n"
                      "  Vendor: ACME     Model: Stick Rev: 1.00\n"
                      "  Type:   Direct-Access\n")
        leds = [("WPS_LED", "OFF"), ("INTERNET_LED", "ON"), ("USB_LED", "OFF"),
                ("LAN_LED", "OFF"), ("WAN_LED", "OFF"), ("WIFI_24G_LED", "ON"),
                ("WIFI_5G_LED", "OFF"), ("MOBILE_4G_LED", "OFF"), ("MOBILE_3G_LED", "OFF"),
                ("ALL_LEDS", "NA")]
        radios = [("ATH_24G_WIRELESS", [("SSID_24G", "Line 7"), ("MODE_24G", "11NGHT20"),
                                        ("CHANNEL_24G", "6"), ("WiFi_24G_Radio_Ctrl", "ON"),
                                        ("DOMAIN_24G", "DEU")]),
                  ("ATH_5G_WIRELESS", [("SSID_5G", "Line 7 5G"), ("MODE_5G", "11NAHT40"),
                                       ("CHANNEL_5G", "40"), ("WiFi_5G_Radio_Ctrl", "OFF"),
                                       ("DOMAIN_5G", "FR")])]
        tree = [("LED", [(n, v, ' RW="T"') for n, v in leds]),
                ("ATH_WIRELESS", radios),
                ("WPS_SWITCH", [("WPS_SW_STATUS", "CLOSED", ' RW="F"')]),
                ("RESET_SWITCH", [("RESET_SW_STATUS", "OPEN", ' RW="F"')]),
                ("WIFI_PWR_SWITCH", [("WIFI_PWR_STATUS", "OPEN", ' RW="F"')]),
                ("USB", [("HOST", "scsi1 "), ("VENDOR", "ACME     "), ("MODEL", "Stick "),
                         ("TYPE", "  Direct-Access")])]
        self.assertEqual(s.readback().encode("latin-1"), report(("TEST_CONFIG", tree)))
        self.assertTrue(s.board.exists("root/tmp/Wps_pressed"))

    def test_markers_faults_and_usb_lines(self):
        s = Station(self)
        s.board.write("root/tmp/Wps_pressed", "")
        s.board.write("root/tmp/ResetSwitch", "")
        s.board.write("cfg/WlanConfig.tsv", "Enabled\n 1\n")
        s.board.write("root/proc/scsi/scsi", "Attached devices:\n")
        report = s.readback()
        self.assertEqual([value(report, n) for n in ("RESET_SW_STATUS", "WPS_SW_STATUS",
                                                     "WIFI_PWR_STATUS", "HOST", "TYPE")],
                         ["CLOSED", "OPEN", "CLOSED", "NA", "NA"])
        self.assertFalse(s.board.exists("root/tmp/Wps_pressed"))
        s.board.write("root/proc/scsi/scsi", "x\nHost: scsi0 Id: 3 Lun: 0\n" + "V" * 300 + "\n")
        report = s.readback()
        self.assertEqual([value(report, n) for n in ("HOST", "VENDOR", "MODEL")],
                         ["scsi0 Id: 3 Lun: 0", "", "NA"])
        # A driver that cannot be read shows every LED on and every button pressed.
        for fault in ("ioctl GPIOCTRL_READIO", "open /dev/gpioctrl"):
            s.board.set_faults(fault)
            report = s.readback()
            with self.subTest(fault=fault):
                self.assertEqual({value(report, n) for n, _ in LEDS}, {"ON"})
                self.assertEqual(value(report, "WPS_SW_STATUS"), "CLOSED")


class TestInjection(BoardTest):
    def test_hostile_values_never_reach_a_shell(self):
        s = Station(self)
        mark = len(s.board.events())
        for v in HOSTILE:
            a = v.replace('"', "'").replace("'", "")
            bodies = [
                el("LED", el("SINGLE_LED", "", ' P="%s" S="ON"' % a)),
                el("LED", el("SINGLE_LED", "", ' P="80" S="%s"' % a)),
                el("THROUGHPUT", "", ' VPI="%s" VCI="35"' % a),
                el("LED", el("WAN_LED", v)), el("AUTO_PAIR", el("AUTO_MODE", v)),
                el("RESET_SWITCH", el("RESET_SW_STATUS", v)),
                el("VOIP", el("RING_VOLTAGE_1", v) + el("TONE_1", v) + el("DECODER_2", v)),
                el("ATH_WIRELESS", el("ATH_24G_WIRELESS", "".join(
                    el(n, v) for n in ("SSID_24G", "MODE_24G", "DOMAIN_24G", "CHANNEL_24G",
                                       "WiFi_24G_Radio_Ctrl")))),
            ]
            for body in bodies:
                s.run(CFG, cfg(body))
            s.run(OP, ("<ENTER_TEST><THROUGHPUT VPI=\"8\" VCI=\"%s\"/></ENTER_TEST>" % a).encode())
        shells = [e for e in s.board.events()[mark:] if e.startswith("shell ")]
        self.assertEqual(shells, [])
        # Short texts are handed to the driver as text, never to a shell.
        self.assertIn("wifi ath0 essid ;reboot", s.board.events())
