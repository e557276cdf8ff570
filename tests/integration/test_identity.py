"""The board's identity end to end: a station stores it by uploading
"FTM_ModemInfo.xml" and reads it back, with the software versions and the
boot delay, under the same name; failing sources and stores; hostile values;
a daemon killed at any moment never leaves a half-written table."""

import os
import random
import re
import shutil
import subprocess
import tempfile
import time
import unittest

from ftmboard import SLACK, BoardTest, ack, error
from ftmreports import report

NAME = b"FTM_ModemInfo.xml"
WRITE_FAILED = error(0, b"Write data failed")
FIELDS = ["MODEL_NUM", "SERIAL_NUM", "MAC_ADDR", "PROD_DATE", "PROD_REV", "E_164"]
DEFAULT_ROW = ["K17-403522-02", "0000000000", "02:5e:a3:00:00:01", "01012024", "A", ""]
# The report's elements in template order, as a fresh board fills them.
DEFAULT_REPORT = [
    ("MODEL_NUM", "K17-403522-02"), ("SERIAL_NUM", "0000000000"),
    ("MAC_ADDR", "02:5e:a3:00:00:01"), ("PROD_DATE", "01012024"), ("PROD_REV", "A"),
    ("FTM_SOFTWARE_VER", "FTM-KESTRA-2.04.11"), ("SOFTWARE_VER", "VER:01.05.06"),
    ("SOFTWARE_DESC", "Corvalink Dual Connect"), ("SOFTWARE_LOAD", "KESTRA_01.05.06"),
    ("RELEASE_BUILD_VER", "R01.05.06.0112"), ("BOOT_DELAY", "3")]
TEMPLATE = {"MODEL_NUM": "K17-403522-02", "SERIAL_NUM": "1234", "MAC_ADDR": "02:5e:a3:00:00:01",
            "PROD_DATE": "01252002", "PROD_REV": "A", "FTM_SOFTWARE_VER": "N/A",
            "SOFTWARE_VER": "VER:01.05.06", "SOFTWARE_DESC": "Corvalink Dual Connect",
            "SOFTWARE_LOAD": "Unknown", "RELEASE_BUILD_VER": "Unknown", "BOOT_DELAY": "5"}
PRODUCTION_PASS = FIELDS[:5] + ["BOOT_DELAY"]
SOFTWARE_PASS = ["FTM_SOFTWARE_VER", "SOFTWARE_VER", "SOFTWARE_DESC", "RELEASE_BUILD_VER"]


def identity_xml(*elements):
    """A request from (element, text) pairs; text None makes an empty element."""
    body = "".join("<%s/>" % n if t is None else "<%s>%s</%s>" % (n, t, n) for n, t in elements)
    return ('<?xml version="1.0" encoding="UTF-8"?><MODEM_INFO>%s</MODEM_INFO>' % body).encode()


def report_text(**changes):
    """The report as the station receives it (from its first "<")."""
    return report(("MODEM_INFO", [(n, changes.get(n, v)) for n, v in DEFAULT_REPORT]))


def template(names):
    return {n: TEMPLATE[n] for n in names}


class IdentityTest(BoardTest):
    def production(self, board):
        """The one data row of ProductionData; the file must be whole."""
        text = board.read("cfg/ProductionData.tsv")
        lines = text.split("\n")
        self.assertEqual((lines[0].split("\t"), lines[-1], len(lines)),
                         (["ModelNum", "SerialNum", "MacAddr", "Date", "Revision", "E164"], "", 3),
                         text)
        escapes = {"t": "\t", "n": "\n", "\\": "\\"}
        cells = [re.sub(r"\\(.)", lambda m: escapes.get(m.group(1), m.group(0)), cell)
                 for cell in lines[1].split("\t")]
        self.assertEqual(len(cells), 6, text)
        return cells

    def saved_files(self, board, put=False):
        for name in ("current.cfg", "current.bak"):
            if put:
                board.write("root/PRST/" + name, "saved\n")
        return [n for n in ("current.cfg", "current.bak") if board.exists("root/PRST/" + n)]

    def shell_events(self, board):
        return [e for e in board.events() if e.startswith("shell uboot_env")]


class StationTest(IdentityTest):
    def test_write_and_read_back_with_real_clients(self):
        board = self.board()
        work = tempfile.mkdtemp(prefix="ftm-station-")
        self.addCleanup(shutil.rmtree, work, True)

        def curl_get():
            done = subprocess.run(["curl", "-sS", "--max-time", str(int(20 * SLACK)),
                                   "tftp://127.0.0.1:%d/%s" % (board.port, NAME.decode())],
                                  capture_output=True, timeout=30 * SLACK)
            self.assertEqual(done.returncode, 0, done.stderr)
            return done.stdout

        self.assertEqual(curl_get(), report_text())
        self.saved_files(board, put=True)
        with open(os.path.join(work, "identity.xml"), "wb") as f:
            f.write(identity_xml(
                ("MODEL_NUM", "K17-403522-07"), ("SERIAL_NUM", "KS2417000815"),
                ("MAC_ADDR", "02:5e:a3:12:34:56"), ("PROD_DATE", "11232026"), ("PROD_REV", "C"),
                ("E_164", "+493012345678"), ("BOOT_DELAY", "1")))
        done = subprocess.run(["tftp", "-m", "binary", "127.0.0.1", str(board.port), "-c", "put",
                               "identity.xml", NAME.decode()], cwd=work, capture_output=True,
                              timeout=30 * SLACK)
        self.assertEqual(done.stdout + done.stderr, b"")
        self.assertEqual(self.production(board), ["K17-403522-07", "KS2417000815",
                                                  "02:5e:a3:12:34:56", "11232026", "C",
                                                  "+493012345678"])
        self.assertEqual(board.read("uboot/bootdelay"), "1\n")
        self.assertEqual(self.saved_files(board), [])
        self.assertEqual(curl_get(), report_text(
            MODEL_NUM="K17-403522-07", SERIAL_NUM="KS2417000815", MAC_ADDR="02:5e:a3:12:34:56",
            PROD_DATE="11232026", PROD_REV="C", BOOT_DELAY="1"))
        self.assertEqual(self.shell_events(board), [
            "shell uboot_env --get --name bootdelay > /tmp/BootDelayVer",
            "shell uboot_env --set --name bootdelay --value 1",
            "shell uboot_env --get --name bootdelay > /tmp/BootDelayVer"])
        self.assertIn("cfg commit ProductionData", board.events())
        self.assertIn("\n FTM_GetBootMode_Kestra boot delay value = 1 \n\n", board.stdout())

    def test_report_sources_that_fail(self):
        board = self.board()
        c = self.client(board)
        failed = "error: failed to read table: %s\n"
        # Each row: what is done to the board, then the report and the lines
        # on standard error. A table that cannot be read keeps its pass's
        # template texts; a cell the table does not hold reads as empty.
        cases = [
            ("no version yet", {"flash/ftm_version": None}, [], dict(FTM_SOFTWARE_VER=""), None),
            ("boot delay line", {"uboot/bootdelay": "bootdelay=4\n"}, [],
             dict(BOOT_DELAY="0"), None),
            ("boot delay blanks", {"uboot/bootdelay": "  007 s\n5\n"}, [],
             dict(BOOT_DELAY="7"), None),
            ("boot delay huge", {"uboot/bootdelay": "-99999999999\n"}, [],
             dict(BOOT_DELAY="-2147483648"), None),
            ("boot delay unset", {"uboot/bootdelay": None}, [], dict(BOOT_DELAY=""), None),
            ("ProductType", {}, ["cfg table ProductType"], template(SOFTWARE_PASS),
             failed % "ProductType"),
            ("ProductionData", {}, ["cfg table ProductionData"], template(PRODUCTION_PASS),
             failed % "ProductionData"),
            ("no session", {}, ["cfg session"], template(TEMPLATE), "error: failed to start session\n"),
            ("hand-edited", {
                "cfg/ProductionData.tsv": "ModelNum\tSerialNum\tMacAddr\tDate\tRevision\nM\tS\tX\tD\tR\n",
                "cfg/ProductInfo.tsv": "IniFileName\tIniVersion\tSoftwareLoad\nk.ini\n",
                "cfg/AppSwInfo.tsv": "Name\tVendor\tVersion\tBuildDate\tReleaseBuild\n"}, [],
             dict(MODEL_NUM="M", SERIAL_NUM="S", MAC_ADDR="X", PROD_DATE="D", PROD_REV="R",
                  SOFTWARE_VER="", RELEASE_BUILD_VER="", SOFTWARE_LOAD=""), None),
        ]
        for label, files, faults, changes, message in cases:
            with self.subTest(label):
                saved = {rel: board.read(rel) if board.exists(rel) else None for rel in files}
                for rel, text in files.items():
                    board.write(rel, text) if text is not None else os.remove(board.path(rel))
                board.set_faults(*faults)
                before = board.stdout()
                content, err = c.download(NAME)
                self.assertIsNone(err)
                self.assertEqual(content, report_text(**changes))
                if message:
                    self.assertIn(message, board.stdout()[len(before):])
                for rel, text in saved.items():
                    board.write(rel, text) if text is not None else os.remove(board.path(rel))
        # A failed version query keeps the last version read.
        board.set_faults("ioctl FLSHMGMT_GET_FTMSOFTWAREVERSION")
        board.write("flash/ftm_version", "OTHER\n")
        self.assertEqual(c.download(NAME), (report_text(), None))
        self.assertEqual(board.syslog()[-1],
                         "err FTM_GetSoftwareVersion: FLSHMGMT_GET_FTMSOFTWAREVERSION ioctl failed")


class FailedWriteTest(IdentityTest):
    def test_failed_writes_change_nothing_but_the_boot_delay(self):
        board = self.board()
        c = self.client(board)
        before = board.read("cfg/ProductionData.tsv")
        # A failing commit, a failing field after the boot delay, a boot
        # delay without text: the store keeps its table, the boot loader
        # what was set before the failure, and the saved files go.
        for faults, request, delay in (
                (["cfg commit"], identity_xml(("MODEL_NUM", "NEW"), ("SERIAL_NUM", "NEW")), "3"),
                (["cfg set ProductionData"], identity_xml(
                    ("BOOT_DELAY", "7"), ("SERIAL_NUM", "SN-1"), ("BOOT_DELAY", "8")), "7"),
                ([], identity_xml(("E_164", None), ("BOOT_DELAY", None), ("MODEL_NUM", "M")), "7")):
            with self.subTest(faults=faults):
                board.set_faults(*faults)
                self.saved_files(board, put=True)
                self.assertEqual(c.upload(NAME, request), WRITE_FAILED)
                self.assertEqual(board.read("cfg/ProductionData.tsv"), before)
                self.assertEqual(board.read("uboot/bootdelay"), delay + "\n")
                self.assertEqual(self.saved_files(board), [])
        self.assertEqual(self.shell_events(board),
                         ["shell uboot_env --set --name bootdelay --value 7"])
        self.assertFalse(any(e.startswith("cfg commit") for e in board.events()))
        self.assertEqual(board.events().count("cfg abort"), 2)
        self.assertIn("FTM write failed on table=ProductionData row=0 col=1(SerialNum) "
                      "value='SN-1'\n", board.stdout())
        # No store session: refused, and the files stay.
        board.set_faults("cfg session")
        self.saved_files(board, put=True)
        self.assertEqual(c.upload(NAME, identity_xml(("MODEL_NUM", "M"))), WRITE_FAILED)
        self.assertEqual(self.saved_files(board), ["current.cfg", "current.bak"])
        # Nothing to store: accepted, nothing written, and the files go.
        board.set_faults()
        for request in (b"<MODEM_INFO/>", b"<OTHER><MODEL_NUM>M</MODEL_NUM></OTHER>",
                        identity_xml(("UNKNOWN", "x"))):
            self.saved_files(board, put=True)
            self.assertEqual(c.upload(NAME, request), ack(1))
            self.assertEqual(self.saved_files(board), [])
        self.assertEqual(board.read("cfg/ProductionData.tsv"), before)
        # A store element without text is stored empty.
        self.assertEqual(c.upload(NAME, identity_xml(("MODEL_NUM", None))), ack(1))
        self.assertEqual(self.production(board), [""] + DEFAULT_ROW[1:])


class HostileValueTest(IdentityTest):
    def test_values_are_stored_as_text_and_never_reach_a_shell(self):
        board = self.board()
        c = self.client(board)
        seed = int(os.environ.get("FTM_TEST_SEED", time.time()))
        print("hostile values: seed %d (replay: FTM_TEST_SEED=%d)" % (seed, seed))
        rng = random.Random(seed)
        long_value = "A" + "".join(rng.choice("abc\t ;|$`'\"") for _ in range(1997)) + "Z9"
        values = [("MODEL_NUM", "a\tb \\t c\\\\d"),
                  ("SERIAL_NUM", "x; touch /tmp/pwned; $(touch /tmp/pwned2) `id` | &amp; &lt;&gt;"),
                  ("MAC_ADDR", "line1\nline2"), ("PROD_DATE", "'single' \"double\" &quot;q&quot;"),
                  ("PROD_REV", long_value), ("E_164", "\u00e9\u00fc"),
                  ("BOOT_DELAY", "5; touch /tmp/pwned3 $(reboot)")]
        body = identity_xml(*values)
        self.assertEqual(c.upload(NAME, body), ack(len(body) // 512 + 1))
        # The parser's own rules: entities decoded, a line feed as "\r\n".
        self.assertEqual(self.production(board), [
            "a\tb \\t c\\\\d", "x; touch /tmp/pwned; $(touch /tmp/pwned2) `id` | & <>",
            "line1\r\nline2", "'single' \"double\" \"q\"", long_value,
            "\u00e9\u00fc".encode().decode("latin-1")])
        self.assertEqual(self.shell_events(board),
                         ["shell uboot_env --set --name bootdelay --value 5"])
        for name in ("pwned", "pwned2", "pwned3"):
            self.assertFalse(board.exists("root/tmp/" + name))
        content, _ = c.download(NAME)
        self.assertIn(("      %s\r\n" % long_value).encode(), content)
        # A repeated element is written twice, in document order; the boot
        # delay is the decimal conversion of its text.
        self.assertEqual(c.upload(NAME, identity_xml(
            ("SERIAL_NUM", "one"), ("serial_num", "x"), ("SERIAL_NUM", "two"))), ack(1))
        self.assertEqual(self.production(board)[1], "two")
        for text, value in (("abc", 0), ("-3", -3), ("99999999999999999999", 2147483647)):
            self.assertEqual(c.upload(NAME, identity_xml(("BOOT_DELAY", text))), ack(1))
            self.assertEqual(self.shell_events(board)[-1],
                             "shell uboot_env --set --name bootdelay --value %d" % value)
        # A value the store refuses (over 4095 bytes) fails the whole request.
        before = board.read("cfg/ProductionData.tsv")
        self.assertEqual(c.upload(NAME, identity_xml(("MODEL_NUM", "ok"),
                                                     ("SERIAL_NUM", "9" * 5000))), WRITE_FAILED)
        self.assertEqual(board.read("cfg/ProductionData.tsv"), before)


class CrashTest(IdentityTest):
    timescale = 0.01  # start-up takes 0.2 s

    def test_killed_daemon_never_leaves_a_mixed_identity(self):
        board = self.board()
        seed = int(os.environ.get("FTM_TEST_SEED", time.time()))
        print("crash test: seed %d (replay: FTM_TEST_SEED=%d)" % (seed, seed))
        rng = random.Random(seed)
        # Each of the six field writes takes 20 ms, so a kill within the
        # first 100 ms lands between two of them.
        board.set_faults("cfg stall ProductionData")
        started = "shell switch_utility RegisterSet 0xc50 0x1805"
        current, outcomes = DEFAULT_ROW, set()
        for i in range(12):
            new = ["%s-%d" % (f, i) for f in FIELDS]
            c = board.client()
            try:
                c.wrq(NAME)
                c.expect(ack(0))
                c.data(1, identity_xml(*zip(FIELDS, new)))
                # Even uploads are killed among the writes, odd ones after them.
                time.sleep(rng.uniform(0, 0.1) if i % 2 == 0 else 0.3 * SLACK)
                board.stop()
            finally:
                c.close()
            row = self.production(board)
            self.assertIn(row, (current, new), "mixed identity after kill %d" % i)
            outcomes.add(row == new)
            current = row
            runs = board.events().count(started)
            board.start(wait_ready=False)
            board.wait_for(lambda: board.events().count(started) > runs, 10 * SLACK,
                           "restart did not finish")
        # Kills landed both before and after commits.
        self.assertEqual(outcomes, {False, True})


if __name__ == "__main__":
    unittest.main()
