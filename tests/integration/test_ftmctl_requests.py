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


if __name__ == "__main__":
    unittest.main()
