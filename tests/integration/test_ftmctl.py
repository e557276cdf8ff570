"""ftmctl against the real daemon on a simulated board, as a station script
runs it: its exit status, its standard error, its JSON, what it sends and
its log. A small UDP proxy between ftmctl and the board drops one chosen
datagram."""

import json
import os
import re
import socket
import struct
import subprocess
import unittest
import xml.etree.ElementTree as ET

from ftmboard import BoardTest, SLACK, TIMESCALE, free_port, program
from ftmreports import report


def paths(text):
    """The JSON of a report, read independently from the bytes a station
    receives: each element's path and text as an XML reader takes it (blanks
    around it dropped; an element with children and no text left out), and
    attributes."""
    values, attributes = {}, {}
    todo = [(e, e.tag) for e in ET.fromstring(b"<top>" + text.split(b"?>", 1)[1] + b"</top>")]
    while todo:
        element, path = todo.pop()
        if (element.text or "").strip() or not len(element):
            values[path] = (element.text or "").strip()
        if element.attrib:
            attributes[path] = element.attrib
        todo += [(child, path + "/" + child.tag) for child in element]
    return values, attributes


REPORTS = ["FTM_ModemInfo.xml", "FTM_TestModeOp.xml", "FTM_Progress.xml", "FTM_TestModeCfg.xml",
           "FTM_Statistics.xml", "FTM_Stats_4port.xml", "FTM_MobileInfo.xml", "FTM_AntennaInfo.xml"]


# What the typed commands upload, byte for byte (no board needed), written as
# the board writes its reports.
DOCUMENTS = [
    (["enter", "led"], "FTM_TestModeOp.xml", report(("ENTER_TEST", [("LED", "")]))),
    (["restart", "--safe"], "FTM_TestModeOp.xml", report(("REBOOT_TO_SAFEBOOT", ""))),
    (["identity", "serial=SN-7", "mac=02:11:22:33:44:55", "date=11232026", "boot-delay=03"],
     "FTM_ModemInfo.xml", report(("MODEM_INFO", [
         ("SERIAL_NUM", "SN-7"), ("MAC_ADDR", "02:11:22:33:44:55"), ("PROD_DATE", "11232026"),
         ("BOOT_DELAY", "3")]))),
    (["port", "1", "off", "5", "on"], "FTM_Stats_4port.xml", report(("ETHERNET", [
        ("PORT_1", [("ETH_PORT_ACTIVE", "NO")]), ("PORT_5", [("ETH_PORT_ACTIVE", "YES")])]))),
    # Neighbouring settings of one group share its element; order is kept.
    (["cfg", "led.WAN_LED=on", "led.lan_led=OFF", "radio.5g.channel=036", "radio.5g.ssid=Line 5",
      "button.wps=closed", "voice.TONE_1=none", "throughput=8/35", "led.USB_LED=on"],
     "FTM_TestModeCfg.xml", report(("TEST_CONFIG", [
         ("LED", [("WAN_LED", "ON"), ("LAN_LED", "OFF")]),
         ("ATH_WIRELESS", [("ATH_5G_WIRELESS", [("CHANNEL_5G", "36"), ("SSID_5G", "Line 5")])]),
         ("WPS_SWITCH", [("WPS_SW_STATUS", "CLOSED")]), ("VOIP", [("TONE_1", "None")]),
         ("THROUGHPUT", "", ' VPI="8" VCI="35"'), ("LED", [("USB_LED", "ON")])]))),
]

# Values the board would refuse or misread: ftmctl stops them with status 3
# before anything is sent.
BAD_VALUES = [
    ["radio", "5g", "channel", "144"], ["radio", "24g", "channel", "36"],
    ["radio", "24g", "ssid", "x" * 32], ["radio", "24g", "ssid", "a<b"],
    ["autopair", "auto"], ["led", "WAN_LED", "blink"], ["voice", "RING_VOLTAGE_1", "30v"],
    ["identity", "mac=01:00:5e:00:00:01"], ["identity", "date=13012026"],
    ["identity", "boot-delay=-1"], ["identity", "serial=a&b"], ["port", "6", "on"],
    ["cfg", "PSD_SETTING=1"], ["ini", "/dev/null", "--as", "cfg.x.ini"],
]


class FtmctlCase(BoardTest):
    """Runs ftmctl against a board."""

    def ftmctl(self, port, *args, timescale=TIMESCALE):
        return subprocess.run(self.command(port, timescale, args), capture_output=True,
                              timeout=30 * SLACK)

    def command(self, port, timescale, args):
        return program("ftmctl") + ["--board", "127.0.0.1:%d" % port, "--timescale",
                                    str(timescale), "--timeout", str(2 * SLACK)] + list(args)

    def through_proxy(self, board, drop, *args, timescale=TIMESCALE):
        """ftmctl through a UDP proxy that drops the first datagram from the
        board that drop(data) picks: exit status, standard error, dropped."""
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as proxy:
            proxy.bind(("127.0.0.1", 0))
            proxy.settimeout(0.05)
            run = subprocess.Popen(self.command(proxy.getsockname()[1], timescale, args),
                                   stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
            to_board, station, dropped = ("127.0.0.1", board.port), None, []
            while True:  # until ftmctl has ended and all it sent is passed on
                try:
                    data, sender = proxy.recvfrom(2048)
                except socket.timeout:
                    if run.poll() is not None:
                        break
                    continue
                if sender != to_board:
                    station = sender
                    proxy.sendto(data, to_board)
                elif not dropped and drop(data):
                    dropped.append(data)
                else:
                    proxy.sendto(data, station)
        return run.returncode, run.communicate()[1].decode(), dropped


class FtmctlTest(FtmctlCase):

    def test_documents_byte_for_byte(self):
        for args, name, document in DOCUMENTS:
            with self.subTest(args=args):
                r = self.ftmctl(9, "--dry-run", *args)
                self.assertEqual((r.returncode, r.stdout, r.stderr.decode()), (0, document,
                                 "ftmctl: would upload %s (%d bytes)\n" % (name, len(document))))

    def test_bad_values_send_nothing(self):
        # Anything sent would end in status 2: nothing listens on the port.
        closed = free_port()
        for args in BAD_VALUES:
            with self.subTest(args=args):
                r = self.ftmctl(closed, *args)
                self.assertEqual((r.returncode, r.stderr[:8]), (3, b"ftmctl: "), r.stderr)

    def test_reports_raw_and_json(self):
        board = self.board()
        client = self.client(board)
        for name in REPORTS[:6]:
            with self.subTest(report=name):
                raw = self.ftmctl(board.port, "get", name)
                got = json.loads(self.ftmctl(board.port, "--json", "get", name).stdout)
                self.assertEqual((raw.returncode, raw.stdout, got["status"], got["result"],
                                  got["report"], got["values"], got["attributes"]),
                                 (0, client.download(name.encode())[0], 0, "accepted", name)
                                 + paths(raw.stdout))

    def test_no_answer_and_refusal(self):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as silent:
            silent.bind(("127.0.0.1", 0))
            closed = free_port()
            for port, args, why in [
                    (silent.getsockname()[1], ["get", "FTM_Progress.xml"], " for FTM_Progress.xml"),
                    (closed, ["enter", "LED"], ": nothing listens on that UDP port")]:
                with self.subTest(args=args):
                    r = self.ftmctl(port, *args)
                    self.assertEqual((r.returncode, r.stderr.decode()), (2, "ftmctl: no answer "
                                     "from the board at 127.0.0.1:%d%s\n" % (port, why)))
        board = self.board()
        board.set_faults("cfg set ProductionData")
        r = self.ftmctl(board.port, "--json", "identity", "serial=SN2", "--verify")
        j = json.loads(r.stdout)
        self.assertEqual((r.returncode, j["status"], j["result"], j["message"],
                          j["verify"][0]["applied"]), (1, 1, "refused", "Write data failed", False))

    def test_lost_last_answer(self):
        """The board's answer to the last block is dropped: its grace period
        answers the resend with an ACK, whatever the verdict was."""
        lost = "ftmctl: the board's answer to the last block was lost; the ACK to its resend " \
               "does not tell whether FTM_ModemInfo.xml was accepted (--verify reads it back)\n"
        cases = [
            # faults, command, drop, status, stderr
            ("", ["identity", "serial=SN3"], ACK1, 2, lost),
            ("", ["identity", "serial=SN3", "--verify"], ACK1, 0, ""),
            ("cfg set ProductionData", ["identity", "serial=SN4"], ERR, 2, lost),
            ("cfg set ProductionData", ["identity", "serial=SN4", "--verify"], ERR, 1,
             "ftmctl: the board's reports do not show serial=SN4\n"),
        ]
        # A slower board clock leaves room for slow builds inside the grace
        # period (GRACE_TICKS passes of board time).
        board = self.board(timescale=0.1)
        for faults, args, drop, status, stderr in cases:
            with self.subTest(args=args, faults=faults):
                board.set_faults(*([faults] if faults else []))
                got = self.through_proxy(board, drop, *args, timescale=0.1)
                self.assertEqual((got[0], got[1], len(got[2])), (status, stderr, 1))

    def test_log_per_serial(self):
        board = self.board()
        logs = board.path("logs")
        os.mkdir(logs)
        statuses = [self.ftmctl(board.port, "--log", logs, *args).returncode
                    for args in (["identity", "serial=SN/8 x"], ["enter", "THROUGHPUT"])]
        self.assertEqual((statuses, os.listdir(logs)), ([0, 1], ["SN_8_x.log"]))
        lines = board.read("logs/SN_8_x.log").splitlines()
        stamp = r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z "
        text = [re.sub(stamp, "", line) for line in lines if re.match(stamp, line)]
        self.assertEqual(len(text), len(lines))
        self.assertLessEqual({"> WRQ FTM_ModemInfo.xml", "result: 0 accepted",
                              '< ERROR 0 "No Command Found"',
                              "result: 1 refused: No Command Found"}, set(text))


def ACK1(data):
    return data == struct.pack("!HH", 4, 1)


def ERR(data):
    return data[:2] == struct.pack("!H", 5)


if __name__ == "__main__":
    unittest.main()
