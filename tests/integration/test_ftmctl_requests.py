"""ftmctl's typed commands and the reports they read back, on a board that
takes the test configuration, test mode and Ethernet requests and serves
every report: what a station sees of each (exit status, standard output,
standard error), which settings of a refused upload were applied, waits for
an input, limits on a report's numbers."""

import unittest

from test_ftmctl import REPORTS, FtmctlCase

NO_VERIFY = "ftmctl: --verify: no report of the board shows %s; leave out --verify and read a " \
            "report instead\n"
IN_ORDER = "ftmctl: the board applies the settings in order and stops at the first failure: " \
           "the settings before the refused one may already be applied"


def accepted(what, report="FTM_TestModeCfg.xml", back=", read back"):
    return "accepted: %s (%s%s)\n" % (what, report, back)


# (command, status, standard output, standard error up to a usage text), in
# this order on one board. A ring voltage of 50 V fails without a message of
# its own: the board sends the last one it recorded (a report it builds may
# record one too).
COMMANDS = [
    (["identity", "model=M"], 1, "",  # with the fault "cfg session", the first message
     "ftmctl: the board refused FTM_ModemInfo.xml with an empty message (ERROR 0)\n"),
    (["wait", "button", "wps", "closed", "--timeout", "0.2"], 1, "",
     "ftmctl: button wps stayed OPEN for 0.2 s\n"),
    (["--timeout=2", "led", "WAN_LED", "on", "--verify"], 0, accepted("led.WAN_LED=on"), ""),
    (["autopair", "outer", "--verify"], 0, accepted("autopair=outer"), ""),
    (["radio", "5g", "channel", "140", "--verify"], 0, accepted("radio.5g.channel=140"), ""),
    (["cfg", "leds=off", "led.WAN_LED=on", "--verify"], 0,
     accepted("leds=off, led.WAN_LED=on"), ""),
    (["port", "1", "off", "2", "on"], 0, accepted("1=off, 2=on", "FTM_Stats_4port.xml", ""), ""),
    (["port", "1", "off", "--verify"], 3, "", NO_VERIFY % "1=off"),
    (["leds", "off", "--verify"], 3, "", NO_VERIFY % "leds=off"),
    (["voice", "HOOK_1", "on", "--verify"], 3, "", NO_VERIFY % "voice.HOOK_1=on"),
    (["--verify=yes", "leave"], 3, "", "ftmctl: --verify takes no value\n"),
    (["leave", "--verify"], 0, accepted("leave", "FTM_TestModeOp.xml"), ""),
    (["cfg", "led.WAN_LED=on", "voice.RING_VOLTAGE_1=50v", "led.LAN_LED=on", "--verify"], 1, "",
     "ftmctl: the board refused FTM_TestModeCfg.xml with an empty message (ERROR 0)\n%s\n"
     "ftmctl: led.WAN_LED=on: applied\nftmctl: voice.RING_VOLTAGE_1=50v: "
     "not shown by any report\nftmctl: led.LAN_LED=on: not applied\n" % IN_ORDER),
    (["cfg", "led.WAN_LED=on", "voice.RING_VOLTAGE_1=50v"], 1, "",
     "Xml File InValid\n%s (--verify tells which)\n" % IN_ORDER),
    (["get", "ftm_modeminfo.xml"], 3, "", "ftmctl: the board serves no report "
     "ftm_modeminfo.xml (reports: %s)\n" % " ".join(REPORTS)),
    (["put", "/dev/null", "--as", "FTM_Progress.xml"], 1, "", "File Not Supported\n"),
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


class FtmctlRequestsTest(FtmctlCase):

    def test_station_answers(self):
        board = self.board()
        board.set_faults("cfg session")
        board.write("gpio/12", "0\n")  # LAN_LED off
        board.write("gpio/43", "0\n")  # the WPS button released
        for args, status, stdout, stderr in COMMANDS:
            with self.subTest(args=args):
                r = self.ftmctl(board.port, *args)
                self.assertEqual((r.returncode, r.stdout.decode(), r.stderr.decode().split(
                    "usage:")[0]), (status, stdout, stderr))
            board.set_faults()
        # The distinct board's Wi-Fi switch is closed.
        r = self.ftmctl(board.port, "wait", "switch", "wifi", "closed", "--timeout", "5")
        self.assertRegex(r.stdout.decode(), r"^switch wifi CLOSED after \d+\.\d s\n$")


if __name__ == "__main__":
    unittest.main()
