"""ftmctl's typed commands and the reports they read back, on a board that
takes the test configuration, test mode and Ethernet requests and serves
every report: the exit statuses, the board's messages and which settings of
a refused upload were applied."""

import json
import os
import shutil
import tempfile
import unittest

from test_ftmctl import FtmctlCase

# (command, status, first line of standard error)
COMMANDS = [
    (["enter", "LED", "--verify"], 0, ""),
    (["led", "WAN_LED", "on", "--verify"], 0, ""),
    (["button", "wps", "closed", "--verify"], 0, ""),
    (["autopair", "outer", "--verify"], 0, ""),
    (["radio", "5g", "channel", "140", "--verify"], 0, ""),
    (["radio", "24g", "ssid", "STATION 1", "--verify"], 0, ""),
    (["port", "2", "off"], 0, ""),
    (["leave", "--verify"], 0, ""),
    (["put", "{op}", "--as", "FTM_TestModeOp.xml"], 1, "Test not supported"),
    (["put", "{cfg}", "--as", "FTM_TestModeCfg.xml"], 1, "Test not supported"),
]


class FtmctlRequestsTest(FtmctlCase):

    def test_commands(self):
        board = self.board()
        work = tempfile.mkdtemp(prefix="ftmctl-")
        self.addCleanup(shutil.rmtree, work, True)
        files = {"op": "<ENTER_TEST><FOO></FOO></ENTER_TEST>",
                 "cfg": "<TEST_CONFIG><LED><USB_LED>ON</USB_LED></LED><PSD_SETTING>1</PSD_SETTING>"
                        "</TEST_CONFIG>"}
        for key, text in files.items():
            files[key] = os.path.join(work, key + ".xml")
            with open(files[key], "w") as f:
                f.write(text)
        for args, status, stderr in COMMANDS:
            args = [a.format(**files) for a in args]
            with self.subTest(args=args):
                r = self.ftmctl(board.port, *args)
                self.assertEqual((r.returncode, r.stderr.decode().split("\n")[0]), (status, stderr))

    def test_refused_cfg_tells_which_applied(self):
        """The board stops at the first failing setting (a ring voltage this
        board cannot set); the read-back tells which settings it applied."""
        board = self.board()
        board.write("gpio/12", "0\n")  # LAN_LED off before the request
        r = self.ftmctl(board.port, "--json", "cfg", "led.WAN_LED=on", "voice.RING_VOLTAGE_1=50v",
                        "led.LAN_LED=on", "--verify")
        got = json.loads(r.stdout)
        self.assertEqual((r.returncode, got["result"]), (1, "refused"))
        self.assertEqual([s["applied"] for s in got["verify"]], [True, None, False])
        r = self.ftmctl(board.port, "cfg", "led.WAN_LED=on", "voice.RING_VOLTAGE_1=50v")
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"ftmctl: the board applies the settings in order and stops at the first "
                      b"failure: the settings before the refused one may already be applied "
                      b"(--verify tells which)\n", r.stderr)

    def test_station_answers(self):
        """What a station sees for each kind of command: a line for every
        success, a refusal of --verify where no report shows the request,
        --name=value, waits for a button, limits on a report's numbers."""
        board = self.board()
        board.set_faults("cfg session")  # a fresh board has no message yet
        board.write("gpio/43", "0\n")  # the WPS button released
        no_verify = "ftmctl: --verify: no report of the board shows %s; leave out --verify and " \
                    "read a report instead\n"
        cases = [
            (["identity", "model=M"], 1, "",
             "ftmctl: the board refused FTM_ModemInfo.xml with an empty message (ERROR 0)\n"),
            (["--timeout=2", "led", "WAN_LED", "on", "--verify"], 0,
             "accepted: led.WAN_LED=on (FTM_TestModeCfg.xml, read back)\n", ""),
            (["port", "1", "off", "2", "on"], 0,
             "accepted: 1=off, 2=on (FTM_Stats_4port.xml)\n", ""),
            (["port", "1", "off", "--verify"], 3, "", no_verify % "1=off"),
            (["leds", "off", "--verify"], 3, "", no_verify % "leds=off"),
            (["voice", "HOOK_1", "on", "--verify"], 3, "", no_verify % "voice.HOOK_1=on"),
            (["--verify=yes", "leave"], 3, "", "ftmctl: --verify takes no value\n"),
            (["wait", "button", "wps", "closed", "--timeout", "0.2"], 1, "",
             "ftmctl: button wps stayed OPEN for 0.2 s\n"),
            # The distinct board's DSL margin is the text "Xcvr.0.14".
            (["get", "FTM_Statistics.xml", "--expect=FTM_STATS/DSL/DSL_SPEED_DOWNSTREAM=30..200",
              "--expect", "FTM_STATS/DSL/DSL_SPEED_UPSTREAM=..-1", "--expect",
              "FTM_STATS/DSL/DSL_MARGIN_DOWNSTREAM=6.."], 1,
             "FTM_STATS/DSL/DSL_SPEED_DOWNSTREAM = 130.016 (30..200) pass\n"
             "FTM_STATS/DSL/DSL_SPEED_UPSTREAM = 130.017 (..-1) FAIL\n"
             "FTM_STATS/DSL/DSL_MARGIN_DOWNSTREAM = no number (6..) FAIL\n",
             "ftmctl: outside the limits: FTM_STATS/DSL/DSL_SPEED_UPSTREAM = 130.017, "
             "FTM_STATS/DSL/DSL_MARGIN_DOWNSTREAM = no number\n"),
        ]
        for args, status, stdout, stderr in cases:
            with self.subTest(args=args):
                r = self.ftmctl(board.port, *args)
                self.assertEqual((r.returncode, r.stdout.decode(), r.stderr.decode().split(
                    "usage:")[0]), (status, stdout, stderr))
            board.set_faults()
        board.write("gpio/43", "1\n")
        r = self.ftmctl(board.port, "wait", "button", "wps", "closed", "--timeout", "5")
        self.assertRegex(r.stdout.decode(), r"^button wps CLOSED after \d+\.\d s\n$")
        r = self.ftmctl(board.port, "wait", "switch", "wifi", "closed", "--timeout", "5")
        self.assertRegex(r.stdout.decode(), r"^switch wifi CLOSED after \d+\.\d s\n$")
        got = json.loads(self.ftmctl(board.port, "--json", "cfg", "leds=off", "led.WAN_LED=on",
                                     "--verify").stdout)
        self.assertEqual([(s["setting"], s["applied"]) for s in got["verify"]],
                         [("leds=off", None), ("led.WAN_LED=on", True)])
        got = json.loads(self.ftmctl(board.port, "--json", "get", "FTM_Stats_4port.xml").stdout)
        self.assertEqual({p: v for p, v in got["numbers"].items() if "PORT_1/" in p},
                         {"ETHERNET/PORT_1/ETH_IN": int(got["values"]["ETHERNET/PORT_1/ETH_IN"]),
                          "ETHERNET/PORT_1/ETH_OUT": int(got["values"]["ETHERNET/PORT_1/ETH_OUT"])})


if __name__ == "__main__":
    unittest.main()
