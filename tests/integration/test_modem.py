# The LTE modem's reports end to end: "FTM_MobileInfo.xml" and
# "FTM_AntennaInfo.xml" read by a station from a board whose simulated modem
# answers, answers in pieces and with unsolicited lines, answers errors, says
# only OK, floods, stays silent, or is not there. Each report byte for byte;
# the daemon serves other requests afterwards.

import os
import subprocess

from ftmboard import SLACK, TIMESCALE, BoardTest, ack, data, program
from ftmreports import PROGRESS, report

MOBILE, ANTENNA = b"FTM_MobileInfo.xml", b"FTM_AntennaInfo.xml"
FAILED_SIM = "SIM not inserted/Failed"
ANT = "Main: -62.5, Aux: -70.1"
# What the default scenario of a fresh board reports.
WORKING = {"CGMR": "CLM7455_02.24.05.06 r7040", "IMEI": "359072060123456",
           "MODEL": "CLM-7455", "SIM": "READY", "ANT": ANT}
NOTHING = {"CGMR": "", "IMEI": "", "MODEL": "", "SIM": FAILED_SIM, "ANT": ""}
UNLOCK, SIGNAL = 'modem AT!entercnd="K418"', "modem At!dalgrxagc?"
# The line as the driver sees it set: raw, 115200 baud 8N1, modem lines
# ignored, reads returning after 2 s without data.
LINE = ("tty /dev/ttyUSB1 TCSETA speed B115200 size CS8 cflag CREAD|HUPCL|CLOCAL iflag IGNBRK "
        "oflag 0 lflag 0 vmin 0 vtime 20")

SIGNAL_ANSWER = "command At!dalgrxagc?\nsend 0 \\r\\nRx0:  AGC: -62.5\\r\\nRx1:  AGC: -70.1\\r\\n\\r\\nOK\\r\\n\n"
UNLOCK_ANSWER = 'command AT!entercnd="K418"\nsend 0 \\r\\nOK\\r\\n\n'
ATI_ANSWER = ("command ATI\nsend 0 \\r\\nManufacturer: Corvalink\\r\\nModel: CLM-7455\\r\\n"
              "Revision: CLM7455_02.24.05.06 r7040\\r\\nIMEI: 359072060123456\\r\\n\\r\\nOK\\r\\n\n")

# name: (scenario, or None for the board's default; mobile fields; antenna)
SCENARIOS = {
    "working": (None, WORKING, ANT),
    "ok without data": ("command *\nsend 0 \\r\\nOK\\r\\n\n",
                        {"CGMR": "", "IMEI": "", "MODEL": "", "SIM": "READY", "ANT": ""}, ""),
    # The read stops at "+CME ERROR": the ": 3" of the identity query's error
    # lands in front of the next answer, and the PIN query reports it.
    "errors across requests": (
        "command ATI\nsend 0 \\r\\n+CME ERROR: 3\\r\\n\n"
        "command AT+CPIN?\nsend 0 \\r\\n+CME ERROR: 10\\r\\n\n" + UNLOCK_ANSWER + SIGNAL_ANSWER,
        {"CGMR": "", "IMEI": "", "MODEL": "", "SIM": "3", "ANT": ANT}, ANT),
    # Answers in pieces, an unsolicited line in front; a RING in front of
    # the PIN answer ends that read, and every later answer comes one late.
    "chatty": (
        "command ATI\nsend 0 \\r\\n+CREG: 1\\r\\n\\r\\nManufacturer: Corvalink\\r\\nModel: CLM-7455\\r\\n\n"
        "send 300 Revision: CLM7455_02.24.05.06 r7040\\r\\nIMEI: 3590720\n"
        "send 300 60123456\\r\\n\\r\\nOK\\r\\n\n"
        "command AT+CPIN?\nsend 0 \\r\\nRING\\r\\n\nsend 300 \\r\\n+CPIN: SIM PIN\\r\\n\\r\\nOK\\r\\n\n"
        + UNLOCK_ANSWER +
        "command At!dalgrxagc?\nsend 0 \\r\\nRx0:  AGC: -62.5\\r\\n\n"
        "send 300 Rx1:  AGC: -70.1\\r\\n\\r\\nOK\\r\\n\n",
        dict(WORKING, SIM="", ANT=""), ANT),
    "silent": ("", NOTHING, ""),
    # 10 KB without a final result: the PIN query and the unlock each stop at
    # a full buffer, and the rest of the flood spoils the signal query.
    "flood": ("command AT+CPIN?\nrepeat 1024 0 0123456789\n" + UNLOCK_ANSWER + SIGNAL_ANSWER
              + ATI_ANSWER, dict(WORKING, SIM=FAILED_SIM, ANT=""), ANT),
}


def mobile_report(values):
    return report(("MOBILE_INFO", [(n, values.get(n, "NA")) for n in (
        "CGMR", "IMEI", "MODEL", "SIM", "ANT", "LTE_4G_BROADBAND", "LTE_4G_RUNTIME")])), None


def antenna_report(ant):
    return report(("ANTENNA_INFO", [("ANT", ant)])), None


class ModemTest(BoardTest):
    # Slow builds get more board time per real second, so that the modem's
    # pauses and the port's 2-second time-out keep their order.
    timescale = TIMESCALE * SLACK
    modem = None

    def setUp(self):
        self.addCleanup(self.stop_modem)

    def start_modem(self, board, scenario=None):
        # A fresh modem simulator (and port) with the scenario, or the board's default one.
        self.stop_modem()
        if scenario is not None:
            board.write("modem/scenario", scenario)
        link = board.path("root/dev/ttyUSB1")
        if os.path.lexists(link):
            os.unlink(link)
        self.modem = subprocess.Popen(program("ftmmodem") + [board.dir])
        board.wait_for(lambda: os.path.lexists(link), 20 * SLACK, "no modem")

    def stop_modem(self):
        if self.modem is not None:
            self.modem.terminate()
            self.modem.wait(10 * SLACK)
            self.modem = None

    def read(self, board, c, name, count=0):
        # A report, and the line's settings and the modem's commands it caused.
        # A report can end before the simulator has read its last command (the
        # answer was already waiting in the port), so wait for `count` of them.
        mark, got = len(board.events()), c.download(name, timeout=15)

        def events():
            return [e for e in board.events()[mark:] if e.startswith(("modem ", "tty "))]
        board.wait_for(lambda: len(events()) >= count, 5 * SLACK, "modem commands missing")
        return got, events()

    def test_reports_for_each_modem(self):
        board = self.board()
        default = board.read("modem/scenario")
        c = self.client(board)
        for name, (scenario, mobile, ant) in SCENARIOS.items():
            with self.subTest(modem=name):
                self.start_modem(board, default if scenario is None else scenario)
                # One identity exchange per element, in the template's order.
                self.assertEqual(self.read(board, c, MOBILE, 7), (mobile_report(mobile), [LINE] + [
                    "modem ATI"] * 3 + ["modem AT+CPIN?", UNLOCK, SIGNAL]))
                # Each report opens a port that starts afresh; the unlock is
                # sent again for every antenna read.
                self.start_modem(board)
                self.assertEqual(self.read(board, c, ANTENNA, 3),
                                 (antenna_report(ant), [LINE, UNLOCK, SIGNAL]))
                self.assertEqual(c.download(b"FTM_Progress.xml"), (PROGRESS, None))
        self.assertRegex(board.read("syslog"), r"\ndebug \\nXMLS_GetMobileInfoCM:\d+: Got Just "
                                               r"Ok No Data\n")
        out = board.stdout()
        for line in ("getPINStatus: Read failed ", " Failed to get SIM PIN status",
                     " Failed to get signal value"):
            self.assertIn("\n%s\n" % line, out)

    def test_no_modem(self):
        board = self.board()
        c = self.client(board)
        # No device at all, then a port that refuses its settings.
        for fault in ("", "ioctl TCSETA"):
            if fault:
                self.start_modem(board)
                board.set_faults(fault)
            self.assertEqual((self.read(board, c, MOBILE), self.read(board, c, ANTENNA)), (
                (mobile_report(NOTHING), []), (antenna_report(""), [])), fault)
        self.assertEqual(board.stdout().count("\n Failed to open /dev/ttyUSB1 device\n"), 4)

    def test_report_goes_to_whoever_sent_last(self):
        # A datagram that comes while a slow modem holds up the report makes
        # its sender the current station: the report goes to that station.
        board = self.board()
        a, b = self.client(board), self.client(board)
        self.start_modem(board, "command *\nsend 400 \\r\\nOK\\r\\n\n")
        a.rrq(ANTENNA)
        board.wait_for(lambda: UNLOCK in board.events(), 5 * SLACK, "no unlock")
        b.send(ack(0))
        b.expect(data(1, antenna_report("")[0]), timeout=10 * SLACK)
        b.send(ack(1))
        a.silence(0.2)
