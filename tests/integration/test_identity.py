"""The board's identity end to end: a station stores it by uploading
"FTM_ModemInfo.xml" and reads it back, with the software versions, under
the same name; failing stores leave the table as it was; hostile values are
stored as text or refused; a daemon killed at any moment never leaves a
half-written table."""

import os
import random
import shutil
import subprocess
import tempfile
import time
import unittest

from ftmboard import SLACK, BoardTest, ack, error

NAME = "FTM_ModemInfo.xml"
WRITE_FAILED = error(0, b"Write data failed")
COLUMNS = ["ModelNum", "SerialNum", "MacAddr", "Date", "Revision", "E164"]
DEFAULT_ROW = ["K17-403522-02", "0000000000", "02:5e:a3:00:00:01", "01012024", "A", ""]
STARTED = "shell switch_utility RegisterSet 0xc50 0x1805"
# The report's elements, in the order of the MODEM_INFO template.
REPORT_ORDER = ["MODEL_NUM", "SERIAL_NUM", "MAC_ADDR", "PROD_DATE", "PROD_REV",
                "FTM_SOFTWARE_VER", "SOFTWARE_VER", "SOFTWARE_DESC", "SOFTWARE_LOAD",
                "RELEASE_BUILD_VER", "BOOT_DELAY"]
DEFAULT_REPORT = {
    "MODEL_NUM": "K17-403522-02", "SERIAL_NUM": "0000000000",
    "MAC_ADDR": "02:5e:a3:00:00:01", "PROD_DATE": "01012024", "PROD_REV": "A",
    "FTM_SOFTWARE_VER": "FTM-KESTRA-2.04.11", "SOFTWARE_VER": "VER:01.05.06",
    "SOFTWARE_DESC": "Corvalink Dual Connect", "SOFTWARE_LOAD": "KESTRA_01.05.06",
    "RELEASE_BUILD_VER": "R01.05.06.0112", "BOOT_DELAY": "3",
}
TEMPLATE_PRODUCTION = {"MODEL_NUM": "K17-403522-02", "SERIAL_NUM": "1234",
                       "MAC_ADDR": "02:5e:a3:00:00:01", "PROD_DATE": "01252002",
                       "PROD_REV": "A", "BOOT_DELAY": "5"}


def identity_xml(*elements):
    """A request from (element, text) pairs; text None makes an empty element."""
    body = "".join("<%s/>" % n if t is None else "<%s>%s</%s>" % (n, t, n) for n, t in elements)
    return ('<?xml version="1.0" encoding="UTF-8"?><MODEM_INFO>%s</MODEM_INFO>' % body).encode()


def report_text(values):
    """The report as the station receives it (from its first "<")."""
    out = '<?xml version="1.0" encoding="UTF-8"?>\r\n  <MODEM_INFO>\r\n'
    for name in REPORT_ORDER:
        out += "    <%s>\r\n" % name
        if values[name]:
            out += "      %s\r\n" % values[name]
        out += "    </%s>\r\n" % name
    return (out + "  </MODEM_INFO>\r\n").encode("latin-1")


def parse_table(text):
    """A store table file: (column names, rows). Raises on a broken file."""
    assert text.endswith("\n"), "table does not end with a line end: %r" % text[-40:]

    def cells(line):
        out, cur, i = [], "", 0
        while i < len(line):
            c = line[i]
            if c == "\t":
                out.append(cur)
                cur = ""
            elif c == "\\" and i + 1 < len(line) and line[i + 1] in "tn\\":
                cur += {"t": "\t", "n": "\n", "\\": "\\"}[line[i + 1]]
                i += 1
            else:
                cur += c
            i += 1
        return out + [cur]

    lines = text[:-1].split("\n")
    header = cells(lines[0])
    rows = [cells(line) for line in lines[1:]]
    for row in rows:
        assert len(row) == len(header), "row %r does not fit %r" % (row, header)
    return header, rows


class IdentityTest(BoardTest):
    def production(self, board):
        header, rows = parse_table(board.read("cfg/ProductionData.tsv"))
        self.assertEqual(header, COLUMNS)
        self.assertEqual(len(rows), 1)
        return rows[0]

    def put_saved_files(self, board):
        for name in ("current.cfg", "current.bak"):
            board.write("root/PRST/" + name, "saved\n")

    def saved_files(self, board):
        return [n for n in ("current.cfg", "current.bak") if board.exists("root/PRST/" + n)]

    def run_tool(self, args, cwd):
        return subprocess.run(args, cwd=cwd, capture_output=True, timeout=30 * SLACK)

    def tftp_put(self, board, content):
        """An upload with tftp-hpa; returns what the client printed."""
        work = tempfile.mkdtemp(prefix="ftm-station-")
        self.addCleanup(shutil.rmtree, work, True)
        with open(os.path.join(work, "identity.xml"), "wb") as f:
            f.write(content)
        done = self.run_tool(["tftp", "-m", "binary", "127.0.0.1", str(board.port),
                              "-c", "put", "identity.xml", NAME], work)
        return (done.stdout + done.stderr).decode("latin-1")

    def curl_get(self, board):
        done = self.run_tool(["curl", "-sS", "--max-time", str(int(20 * SLACK)),
                              "tftp://127.0.0.1:%d/%s" % (board.port, NAME)], None)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout

    def shell_events(self, board):
        return [e for e in board.events() if e.startswith("shell ")
                and "RegisterSet" not in e and "wlanconfig" not in e and "brctl" not in e
                and "rmmod" not in e]


class StationTest(IdentityTest):
    def test_write_identity_and_read_it_back_with_real_clients(self):
        board = self.board()
        self.assertEqual(self.curl_get(board), report_text(DEFAULT_REPORT))
        self.put_saved_files(board)
        printed = self.tftp_put(board, identity_xml(
            ("MODEL_NUM", "K17-403522-07"), ("SERIAL_NUM", "KS2417000815"),
            ("MAC_ADDR", "02:5e:a3:12:34:56"), ("PROD_DATE", "11232026"),
            ("PROD_REV", "C"), ("E_164", "+493012345678"), ("BOOT_DELAY", "1")))
        self.assertNotIn("Error", printed)
        self.assertEqual(self.production(board), [
            "K17-403522-07", "KS2417000815", "02:5e:a3:12:34:56", "11232026", "C",
            "+493012345678"])
        self.assertEqual(board.read("uboot/bootdelay"), "1\n")
        self.assertEqual(self.saved_files(board), [])
        expected = dict(DEFAULT_REPORT, MODEL_NUM="K17-403522-07", SERIAL_NUM="KS2417000815",
                        MAC_ADDR="02:5e:a3:12:34:56", PROD_DATE="11232026", PROD_REV="C",
                        BOOT_DELAY="1")
        self.assertEqual(self.curl_get(board), report_text(expected))
        self.assertEqual(self.shell_events(board), [
            "shell uboot_env --get --name bootdelay > /tmp/BootDelayVer",
            "shell uboot_env --set --name bootdelay --value 1",
            "shell uboot_env --get --name bootdelay > /tmp/BootDelayVer"])
        self.assertIn("cfg commit ProductionData", board.events())
        self.assertIn("\n FTM_GetBootMode_Kestra boot delay value = 1 \n\n", board.stdout())

    def test_report_sources_that_fail(self):
        board = self.board()
        c = self.client(board)
        os.remove(board.path("flash/ftm_version"))  # the driver knows no version
        board.write("uboot/bootdelay", "bootdelay=4\n")
        board.set_faults("cfg table ProductType")
        content, err = c.download(NAME.encode())
        self.assertIsNone(err)
        # ProductType unreadable: the whole software pass keeps the template.
        self.assertEqual(content, report_text(dict(
            DEFAULT_REPORT, FTM_SOFTWARE_VER="N/A", SOFTWARE_VER="VER:01.05.06",
            SOFTWARE_DESC="Corvalink Dual Connect", RELEASE_BUILD_VER="Unknown",
            BOOT_DELAY="0")))
        self.assertIn("error: failed to read table: ProductType\n", board.stdout())

        board.set_faults("cfg table ProductionData")
        asked = len(self.shell_events(board))
        content, err = c.download(NAME.encode())
        # The boot delay belongs to the production data's pass: not asked.
        self.assertEqual(len(self.shell_events(board)), asked)
        self.assertEqual(content, report_text(dict(DEFAULT_REPORT, FTM_SOFTWARE_VER="",
                                                   **TEMPLATE_PRODUCTION)))
        self.assertEqual(board.syslog()[-1],
                         "err FTM_GetSoftwareVersion: FLSHMGMT_GET_FTMSOFTWAREVERSION ioctl failed")

        # Hand-edited tables: a cell the table does not hold (a missing
        # column, a short row, no row at all) reads as empty.
        board.set_faults()
        board.write("cfg/ProductionData.tsv", "ModelNum\tSerialNum\tMacAddr\tDate\tRevision\n"
                                              "M1\tS1\tX\tD\tR\n")
        board.write("cfg/ProductInfo.tsv", "IniFileName\tIniVersion\tSoftwareLoad\nk.ini\n")
        board.write("cfg/AppSwInfo.tsv", "Name\tVendor\tVersion\tBuildDate\tReleaseBuild\n")
        content, err = c.download(NAME.encode())
        self.assertEqual(content, report_text(dict(
            DEFAULT_REPORT, MODEL_NUM="M1", SERIAL_NUM="S1", MAC_ADDR="X", PROD_DATE="D",
            PROD_REV="R", BOOT_DELAY="0", FTM_SOFTWARE_VER="", SOFTWARE_VER="",
            RELEASE_BUILD_VER="", SOFTWARE_LOAD="")))

        board.set_faults("cfg session")
        content, err = c.download(NAME.encode())
        self.assertEqual(content, report_text(dict(
            DEFAULT_REPORT, FTM_SOFTWARE_VER="N/A", SOFTWARE_VER="VER:01.05.06",
            SOFTWARE_DESC="Corvalink Dual Connect", SOFTWARE_LOAD="Unknown",
            RELEASE_BUILD_VER="Unknown", **TEMPLATE_PRODUCTION)))
        self.assertIn("error: failed to start session\n", board.stdout())


class FailedWriteTest(IdentityTest):
    def test_failing_commit_is_write_data_failed_and_changes_nothing(self):
        board = self.board()
        c = self.client(board)
        before = board.read("cfg/ProductionData.tsv")
        self.put_saved_files(board)
        board.set_faults("cfg commit")
        self.assertEqual(c.upload(NAME.encode(), identity_xml(
            ("MODEL_NUM", "NEW"), ("SERIAL_NUM", "NEW"))), WRITE_FAILED)
        self.assertEqual(board.read("cfg/ProductionData.tsv"), before)
        self.assertFalse(any(e.startswith("cfg commit") for e in board.events()))
        self.assertEqual(self.saved_files(board), [])
        # A real client shows the station the same message.
        self.assertIn("Write data failed", self.tftp_put(board, identity_xml(("PROD_REV", "Z"))))
        self.assertEqual(board.read("cfg/ProductionData.tsv"), before)

    def test_boot_delay_before_a_failing_field_still_takes_effect(self):
        board = self.board()
        c = self.client(board)
        self.put_saved_files(board)
        board.set_faults("cfg set ProductionData")
        self.assertEqual(c.upload(NAME.encode(), identity_xml(
            ("BOOT_DELAY", "7"), ("SERIAL_NUM", "SN-1"), ("BOOT_DELAY", "8"))), WRITE_FAILED)
        self.assertEqual(self.shell_events(board),
                         ["shell uboot_env --set --name bootdelay --value 7"])
        self.assertEqual(board.events()[-1], "cfg abort")
        self.assertEqual(board.read("uboot/bootdelay"), "7\n")
        self.assertEqual(self.production(board), DEFAULT_ROW)
        self.assertEqual(self.saved_files(board), [])
        self.assertIn("FTM write failed on table=ProductionData row=0 col=1(SerialNum) "
                      "value='SN-1'\n", board.stdout())
        board.set_faults()
        content, _ = c.download(NAME.encode())
        self.assertEqual(content, report_text(dict(DEFAULT_REPORT, BOOT_DELAY="7")))

    def test_when_the_saved_files_are_removed(self):
        board = self.board()
        c = self.client(board)
        # No store session: refused with whatever the record held (nothing
        # yet), and the files stay.
        self.put_saved_files(board)
        board.set_faults("cfg session")
        self.assertEqual(c.upload(NAME.encode(), identity_xml(("MODEL_NUM", "M"))), error(0, b""))
        self.assertEqual(self.saved_files(board), ["current.cfg", "current.bak"])
        # Nothing to store: accepted, and the files go.
        board.set_faults()
        for request in (b"<MODEM_INFO/>", b"<OTHER><MODEL_NUM>M</MODEL_NUM></OTHER>",
                        identity_xml(("UNKNOWN", "x"))):
            self.put_saved_files(board)
            self.assertEqual(c.upload(NAME.encode(), request), ack(1))
            self.assertEqual(self.saved_files(board), [])
        self.assertFalse(any(e.startswith("cfg ") for e in board.events()))
        self.assertEqual(self.production(board), DEFAULT_ROW)
        # An element without text: the boot delay is refused, a field stored empty.
        self.put_saved_files(board)
        self.assertEqual(c.upload(NAME.encode(), identity_xml(
            ("E_164", None), ("BOOT_DELAY", None), ("MODEL_NUM", "M"))), WRITE_FAILED)
        self.assertEqual(self.saved_files(board), [])
        self.assertEqual(self.production(board), DEFAULT_ROW)
        self.assertEqual(c.upload(NAME.encode(), identity_xml(("MODEL_NUM", None))), ack(1))
        self.assertEqual(self.production(board), [""] + DEFAULT_ROW[1:])


class HostileValueTest(IdentityTest):
    def test_values_are_stored_as_text_and_never_reach_a_shell(self):
        board = self.board()
        c = self.client(board)
        # Leading and trailing blanks would be the parser's to drop.
        long_value = "A" + "".join(random.choice("abc\t ;|$`'\"") for _ in range(1997)) + "Z9"
        values = [
            ("MODEL_NUM", "a\tb \\t c\\\\d"),
            ("SERIAL_NUM", "x; touch /tmp/pwned; $(touch /tmp/pwned2) `id` | &amp; &lt;&gt;"),
            ("MAC_ADDR", "line1\nline2"),
            ("PROD_DATE", "'single' \"double\" &quot;q&quot;"),
            ("PROD_REV", long_value),
            ("E_164", "\u00e9\u00fc".encode("utf-8").decode("latin-1")),
            ("BOOT_DELAY", "5; touch /tmp/pwned3 $(reboot)"),
        ]
        body = identity_xml(*values)
        self.assertGreater(len(body), 2048)  # several blocks
        self.assertEqual(c.upload(NAME.encode(), body.decode().encode("latin-1")), ack(5))
        # The parser's own rules: entities decoded, a line feed as "\r\n".
        self.assertEqual(self.production(board), [
            "a\tb \\t c\\\\d",
            "x; touch /tmp/pwned; $(touch /tmp/pwned2) `id` | & <>",
            "line1\r\nline2",
            "'single' \"double\" \"q\"",
            long_value,
            "\u00e9\u00fc".encode("utf-8").decode("latin-1"),
        ])
        self.assertEqual(self.shell_events(board),
                         ["shell uboot_env --set --name bootdelay --value 5"])
        for name in ("pwned", "pwned2", "pwned3"):
            self.assertFalse(board.exists("root/tmp/" + name))
            self.assertFalse(os.path.exists("/tmp/" + name))
        self.assertEqual(board.read("uboot/bootdelay"), "5\n")
        content, err = c.download(NAME.encode())
        self.assertIsNone(err)
        self.assertIn(("      %s\r\n" % long_value).encode("latin-1"), content)

        # A repeated element is written twice, in document order.
        self.assertEqual(c.upload(NAME.encode(), identity_xml(
            ("SERIAL_NUM", "one"), ("serial_num", "x"), ("SERIAL_NUM", "two"))), ack(1))
        self.assertEqual(self.production(board)[1], "two")
        for text, value in (("abc", 0), ("-3", -3), ("99999999999999999999", 2147483647),
                            ("  42 ", 42)):
            self.assertEqual(c.upload(NAME.encode(), identity_xml(("BOOT_DELAY", text))), ack(1))
            self.assertEqual(self.shell_events(board)[-1],
                             "shell uboot_env --set --name bootdelay --value %d" % value)

    def test_oversized_value_is_refused(self):
        board = self.board()
        c = self.client(board)
        before = board.read("cfg/ProductionData.tsv")
        self.assertEqual(c.upload(NAME.encode(), identity_xml(
            ("MODEL_NUM", "ok"), ("SERIAL_NUM", "9" * 5000))), WRITE_FAILED)
        self.assertEqual(board.read("cfg/ProductionData.tsv"), before)
        self.assertIn("FTM write failed on table=ProductionData row=0 col=1(SerialNum) value='999",
                      board.stdout())


IDENTITY_A = ["MODEL-A", "SERIAL-A", "02:5e:a3:00:00:0a", "0101A", "RA", "+49-A"]
IDENTITY_B = ["MODEL-B", "SERIAL-B", "02:5e:a3:00:00:0b", "0202B", "RB", "+49-B"]


class CrashTest(IdentityTest):
    # Start-up takes 20 s of board time: 0.2 s at this scale.
    timescale = 0.01

    def restart(self, board):
        runs = board.events().count(STARTED)
        board.start(wait_ready=False)
        board.wait_for(lambda: board.events().count(STARTED) > runs, (20 * board.timescale + 10)
                       * SLACK, "restart did not finish")

    def check_tables(self, board):
        for name in os.listdir(board.path("cfg")):
            if name.endswith(".tsv"):
                parse_table(board.read("cfg/" + name))

    def test_killed_daemon_never_leaves_a_mixed_identity(self):
        board = self.board()
        rng = random.Random(int(os.environ.get("FTM_CRASH_SEED", time.time())))
        uploads = {tuple(v): identity_xml(*zip(
            ["MODEL_NUM", "SERIAL_NUM", "MAC_ADDR", "PROD_DATE", "PROD_REV", "E_164"], v))
            for v in (IDENTITY_A, IDENTITY_B)}
        # A kill lands anywhere from before the block is taken to after the
        # commit; the row must then be the one before or the one uploaded.
        current = DEFAULT_ROW
        kills = completed = applied = 0
        for i in range(200):
            new = IDENTITY_A if i % 2 == 0 else IDENTITY_B
            body = uploads[tuple(new)]
            c = board.client()
            try:
                c.wrq(NAME.encode())
                if c.recv(5.0) != ack(0):
                    raise AssertionError("no ACK 0 on upload %d" % i)
                c.data(1, body)
                if rng.random() < 0.5:
                    time.sleep(rng.uniform(0, 0.004))
                    board.stop()
                    kills += 1
                    self.check_tables(board)
                    row = self.production(board)
                    self.assertIn(row, (current, new), "mixed identity after kill %d" % i)
                    if row == new and row != current:
                        applied += 1
                    current = row
                    self.restart(board)
                else:
                    reply = c.recv(5.0)
                    self.assertEqual(reply, ack(1), "upload %d" % i)
                    completed += 1
                    current = new
                    self.assertEqual(self.production(board), new)
            finally:
                c.close()
        self.check_tables(board)
        self.assertGreater(kills, 50)
        self.assertGreater(completed, 50)
        # How many kills came after the commit, for whoever reads the log.
        print("crash test: %d kills, %d after the commit, %d uploads completed"
              % (kills, applied, completed))
        content, err = self.client(board).download(NAME.encode())
        self.assertIsNone(err)
        self.assertIn(("      %s\r\n" % current[0]).encode(), content)


if __name__ == "__main__":
    unittest.main()
