"""ftmctl against the real daemon on a simulated board, as a station script
runs it: its exit status, its standard error, its JSON, and what it sends.
A small UDP proxy between ftmctl and the board drops one chosen datagram."""

import json
import os
import re
import socket
import struct
import subprocess
import tempfile
import threading
import unittest

from ftmboard import BoardTest, SLACK, TIMESCALE, free_port, program


def paths(report):
    # The JSON of a report, read independently from the bytes a station
    # receives: each element's text as an XML reader takes it (blanks around
    # it dropped; an element with children and no text left out), and each
    # element's attributes.
    values, attributes, stack = {}, {}, []
    for line in report.decode("latin-1").split("\r\n")[1:-1]:
        m = re.match(r' *<(/?)(\w+)((?: \w+="[^"]*")*)>$', line)
        if not m:
            values["/".join(stack)] = line.strip(" \t")
        elif m.group(1):
            stack.pop()
        else:
            if stack and values.get("/".join(stack)) == "":
                del values["/".join(stack)]
            stack.append(m.group(2))
            values["/".join(stack)] = ""
            if m.group(3):
                attributes["/".join(stack)] = dict(re.findall(r' (\w+)="([^"]*)"', m.group(3)))
    return values, attributes


REPORTS = ["FTM_ModemInfo.xml", "FTM_TestModeOp.xml", "FTM_Progress.xml", "FTM_TestModeCfg.xml",
           "FTM_Statistics.xml", "FTM_Stats_4port.xml", "FTM_MobileInfo.xml",
           "FTM_AntennaInfo.xml"]


def doc(*lines):
    return "".join(line + "\r\n" for line in ('<?xml version="1.0" encoding="UTF-8"?>',) + lines)


# What the typed commands upload, byte for byte (no board needed).
DOCUMENTS = [
    (["enter", "led"], "FTM_TestModeOp.xml",
     doc("  <ENTER_TEST>", "    <LED>", "    </LED>", "  </ENTER_TEST>")),
    (["restart", "--safe"], "FTM_TestModeOp.xml",
     doc("  <REBOOT_TO_SAFEBOOT>", "  </REBOOT_TO_SAFEBOOT>")),
    (["identity", "serial=SN-7", "mac=02:11:22:33:44:55", "date=11232026", "boot-delay=03"],
     "FTM_ModemInfo.xml",
     doc("  <MODEM_INFO>", "    <SERIAL_NUM>", "      SN-7", "    </SERIAL_NUM>",
         "    <MAC_ADDR>", "      02:11:22:33:44:55", "    </MAC_ADDR>", "    <PROD_DATE>",
         "      11232026", "    </PROD_DATE>", "    <BOOT_DELAY>", "      3", "    </BOOT_DELAY>",
         "  </MODEM_INFO>")),
    (["port", "1", "off", "5", "on"], "FTM_Stats_4port.xml",
     doc("  <ETHERNET>", "    <PORT_1>", "      <ETH_PORT_ACTIVE>", "        NO",
         "      </ETH_PORT_ACTIVE>", "    </PORT_1>", "    <PORT_5>", "      <ETH_PORT_ACTIVE>",
         "        YES", "      </ETH_PORT_ACTIVE>", "    </PORT_5>", "  </ETHERNET>")),
    # Neighbouring settings of one group share its element; order is kept.
    (["cfg", "led.WAN_LED=on", "led.lan_led=OFF", "radio.5g.channel=036", "radio.5g.ssid=Line 5",
      "button.wps=closed", "voice.TONE_1=none", "throughput=8/35", "led.USB_LED=on"],
     "FTM_TestModeCfg.xml",
     doc("  <TEST_CONFIG>", "    <LED>", "      <WAN_LED>", "        ON", "      </WAN_LED>",
         "      <LAN_LED>", "        OFF", "      </LAN_LED>", "    </LED>",
         "    <ATH_WIRELESS>", "      <ATH_5G_WIRELESS>", "        <CHANNEL_5G>", "          36",
         "        </CHANNEL_5G>", "        <SSID_5G>", "          Line 5", "        </SSID_5G>",
         "      </ATH_5G_WIRELESS>", "    </ATH_WIRELESS>", "    <WPS_SWITCH>",
         "      <WPS_SW_STATUS>", "        CLOSED", "      </WPS_SW_STATUS>", "    </WPS_SWITCH>",
         "    <VOIP>", "      <TONE_1>", "        None", "      </TONE_1>", "    </VOIP>",
         '    <THROUGHPUT VPI="8" VCI="35">', "    </THROUGHPUT>", "    <LED>", "      <USB_LED>",
         "        ON", "      </USB_LED>", "    </LED>", "  </TEST_CONFIG>")),
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


class Proxy:
    """Forwards datagrams between one station and the board and drops the
    first one from the board that `drop` picks."""

    def __init__(self, board_port, drop):
        self.down = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.down.bind(("127.0.0.1", 0))
        self.up = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.up.bind(("127.0.0.1", 0))
        self.board = ("127.0.0.1", board_port)
        self.port = self.down.getsockname()[1]
        self.drop, self.dropped, self.station = drop, [], None
        self.stop = False
        self.thread = threading.Thread(target=self.run, daemon=True)
        self.thread.start()

    def run(self):
        import select
        while not self.stop:
            ready, _, _ = select.select([self.down, self.up], [], [], 0.05)
            for s in ready:
                data, addr = s.recvfrom(2048)
                if s is self.down:
                    self.station = addr
                    self.up.sendto(data, self.board)
                elif not self.dropped and self.drop(data):
                    self.dropped.append(data)
                else:
                    self.down.sendto(data, self.station)

    def close(self):
        self.stop = True
        self.thread.join()
        self.down.close()
        self.up.close()


def opcode(data):
    return struct.unpack("!H", data[:2])[0]


class FtmctlCase(BoardTest):
    """Runs ftmctl against a board, directly or through a Proxy."""

    def ftmctl(self, port, *args, timescale=TIMESCALE):
        cmd = program("ftmctl") + ["--board", "127.0.0.1:%d" % port, "--timescale", str(timescale),
                                   "--timeout", str(2 * SLACK)] + list(args)
        return subprocess.run(cmd, capture_output=True, timeout=30 * SLACK)

    def proxy(self, board, drop):
        p = Proxy(board.port, drop)
        self.addCleanup(p.close)
        return p


class FtmctlTest(FtmctlCase):

    def test_documents_byte_for_byte(self):
        for args, name, document in DOCUMENTS:
            with self.subTest(args=args):
                r = self.ftmctl(9, "--dry-run", *args)
                self.assertEqual((r.returncode, r.stdout.decode()), (0, document))
                self.assertEqual(r.stderr.decode(), "ftmctl: would upload %s (%d bytes)\n"
                                 % (name, len(document)))

    def test_bad_values_send_nothing(self):
        watch = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(watch.close)
        watch.bind(("127.0.0.1", 0))
        watch.settimeout(0.2)
        for args in BAD_VALUES:
            with self.subTest(args=args):
                r = self.ftmctl(watch.getsockname()[1], *args)
                self.assertEqual(r.returncode, 3, r.stderr)
                self.assertRegex(r.stderr.decode(), r"^ftmctl: ")
                self.assertRaises(socket.timeout, watch.recvfrom, 2048)

    def test_reports_raw_and_json(self):
        board = self.board()
        client = self.client(board)
        for name in ("FTM_ModemInfo.xml", "FTM_Progress.xml", "FTM_TestModeOp.xml",
                     "FTM_TestModeCfg.xml", "FTM_Statistics.xml", "FTM_Stats_4port.xml"):
            with self.subTest(report=name):
                raw = self.ftmctl(board.port, "get", name)
                self.assertEqual(raw.returncode, 0, raw.stderr)
                self.assertEqual(raw.stdout, client.download(name.encode())[0])
                got = json.loads(self.ftmctl(board.port, "--json", "get", name).stdout)
                self.assertEqual((got["status"], got["result"], got["report"]),
                                 (0, "accepted", name))
                self.assertEqual((got["values"], got.get("attributes", {})), paths(raw.stdout))

    def test_exit_statuses(self):
        board = self.board()
        work = tempfile.mkdtemp(prefix="ftmctl-")
        self.addCleanup(lambda: subprocess.run(["rm", "-rf", work]))
        refused = os.path.join(work, "FTM_Unknown.xml")
        with open(refused, "w") as f:
            f.write("<X></X>")
        silent = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(silent.close)
        silent.bind(("127.0.0.1", 0))
        closed = free_port()
        cases = [
            (board.port, ["get", "ftm_modeminfo.xml"], 3, b"ftmctl: the board serves no report "
             b"ftm_modeminfo.xml (reports: " + " ".join(REPORTS).encode() + b")\n"),
            (board.port, ["put", refused], 1, b"File Not Supported\n"),
            (board.port, ["put", refused, "--as", "FTM_Progress.xml"], 1, b"File Not Supported\n"),
            (board.port, ["identity", "serial=SN1", "--verify"], 0, b""),
            (silent.getsockname()[1], ["get", "FTM_Progress.xml"], 2,
             b"ftmctl: no answer from the board at 127.0.0.1:%d for FTM_Progress.xml\n"
             % silent.getsockname()[1]),
            (closed, ["enter", "LED"], 2, b"ftmctl: no answer from the board at "
             b"127.0.0.1:%d: nothing listens on that UDP port\n" % closed),
        ]
        for port, args, status, stderr in cases:
            with self.subTest(args=args):
                r = self.ftmctl(port, *args)
                self.assertEqual((r.returncode, r.stderr), (status, stderr))
                j = json.loads(self.ftmctl(port, "--json", *args).stdout)
                self.assertEqual(j["status"], status)
        board.set_faults("cfg set ProductionData")
        r = self.ftmctl(board.port, "--json", "identity", "serial=SN2", "--verify")
        j = json.loads(r.stdout)
        self.assertEqual((r.returncode, j["message"], j["verify"][0]["applied"]),
                         (1, "Write data failed", False))

    def test_lost_last_answer(self):
        """The board's answer to the last block is dropped: the ACK of its
        grace period answers the resend, whatever the verdict was."""
        cases = [
            # faults, command, drop, status, stderr
            ("", ["identity", "serial=SN3"], ACK1, 2, "does not tell whether"),
            ("", ["identity", "serial=SN3", "--verify"], ACK1, 0, ""),
            ("cfg set ProductionData", ["identity", "serial=SN4"], ERR, 2, "does not tell whether"),
            ("cfg set ProductionData", ["identity", "serial=SN4", "--verify"], ERR, 1,
             "ftmctl: the board's reports do not show serial=SN4\n"),
        ]
        # A slower board clock leaves room for slow builds inside the grace
        # period (GRACE_TICKS passes of board time).
        board = self.board(timescale=0.1)
        for faults, args, drop, status, stderr in cases:
            with self.subTest(args=args, faults=faults):
                board.set_faults(*([faults] if faults else []))
                proxy = self.proxy(board, drop)
                r = self.ftmctl(proxy.port, *args, timescale=0.1)
                self.assertEqual(len(proxy.dropped), 1)
                self.assertEqual(r.returncode, status, r.stderr)
                self.assertIn(stderr, r.stderr.decode())

    def test_log_per_serial(self):
        board = self.board()
        logs = tempfile.mkdtemp(prefix="ftmctl-log-")
        self.addCleanup(lambda: subprocess.run(["rm", "-rf", logs]))
        self.assertEqual(self.ftmctl(board.port, "--log", logs, "identity",
                                     "serial=SN/8 x").returncode, 0)
        self.assertEqual(self.ftmctl(board.port, "--log", logs, "enter",
                                     "THROUGHPUT").returncode, 1)
        self.assertEqual(os.listdir(logs), ["SN_8_x.log"])
        with open(os.path.join(logs, "SN_8_x.log")) as f:
            lines = f.read().splitlines()
        stamp = r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z "
        for line in lines:
            self.assertRegex(line, stamp)
        text = [re.sub(stamp, "", line) for line in lines]
        self.assertIn("> WRQ FTM_ModemInfo.xml", text)
        self.assertIn("result: 0 accepted", text)
        self.assertIn('< ERROR 0 "No Command Found"', text)
        self.assertIn("result: 1 refused: No Command Found", text)


def ACK1(data):
    return data == struct.pack("!HH", 4, 1)


def ERR(data):
    return opcode(data) == 5


if __name__ == "__main__":
    unittest.main()
