"""The board's identity end to end: a station stores it by uploading
"FTM_ModemInfo.xml" and reads it back, with the software versions and the
boot delay, under the same name. Every report is compared whole with one
built from the board's own data; every request with everything it did on the
board. Failing sources and stores; hostile values; a daemon killed at any
moment never leaves a half-written table."""

import os
import random
import time
import unittest

from ftmboard import SLACK, BoardTest, Effects, ack, error
from ftmreports import decimal, report

NAME = b"FTM_ModemInfo.xml"
WRITE_FAILED = error(0, b"Write data failed")
FIELDS = ["MODEL_NUM", "SERIAL_NUM", "MAC_ADDR", "PROD_DATE", "PROD_REV", "E_164"]
# The report in template order: element, the tables of its fill's pass, where
# its value comes from (a column of the first data row, the flash driver's
# version, the boot loader's delay) and the template's own text.
REPORT = [
    ("MODEL_NUM", "ProductionData", 0, "K17-403522-02"),
    ("SERIAL_NUM", "ProductionData", 1, "1234"),
    ("MAC_ADDR", "ProductionData", 2, "02:5e:a3:00:00:01"),
    ("PROD_DATE", "ProductionData", 3, "01252002"),
    ("PROD_REV", "ProductionData", 4, "A"),
    ("FTM_SOFTWARE_VER", "AppSwInfo ProductType", "version", "N/A"),
    ("SOFTWARE_VER", "AppSwInfo ProductType", ("AppSwInfo", 2), "VER:01.05.06"),
    ("SOFTWARE_DESC", "AppSwInfo ProductType", ("ProductType", 0), "Corvalink Dual Connect"),
    ("SOFTWARE_LOAD", "ProductInfo", 2, "Unknown"),
    ("RELEASE_BUILD_VER", "AppSwInfo ProductType", ("AppSwInfo", 4), "Unknown"),
    ("BOOT_DELAY", "ProductionData", "delay", "5"),
]
FILL = "cfg read %s FTM_Apis.c XMLS_GetModemInfoCM"
GET_DELAY = "shell uboot_env --get --name bootdelay > /tmp/BootDelayVer"


def identity_xml(*elements):
    """A request from (element, text) pairs; text None makes an empty element."""
    body = "".join("<%s/>" % n if t is None else "<%s>%s</%s>" % (n, t, n) for n, t in elements)
    return ('<?xml version="1.0" encoding="UTF-8"?><MODEM_INFO>%s</MODEM_INFO>' % body).encode()


class IdentityTest(BoardTest):
    maxDiff = None

    def expected(self, board, failed=(), kept=None):
        """The report and its effects from the board's data, with the store
        faults `failed` ("session" or table names) in force. The flash
        driver answers its version file; with `kept` given its query fails,
        and the last version read (`kept`) is shown."""
        if "session" in failed:
            return report(("MODEM_INFO", [(e, t) for e, _, _, t in REPORT])), Effects(
                stderr="error: failed to start session\n")
        ev, err, out, syslog = ["cfg session 0"], "", "", []
        readable = {}
        for pass_tables in ("ProductionData", "AppSwInfo ProductType", "ProductInfo", "Xcvr"):
            for table in pass_tables.split():
                if table in failed:
                    err += "error: failed to read table: %s\n" % table
                    break
                ev.append(FILL % table)
            else:
                readable[pass_tables] = True
            if pass_tables == "ProductionData" and pass_tables in readable:
                ev.append(GET_DELAY)
                err += "" if board.exists("uboot/bootdelay") else "uboot_env: bootdelay is not set\n"
        ev.append("cfg end")
        version = kept
        if kept is None:
            version = board.read("flash/ftm_version").split("\n")[0]
        elif "AppSwInfo ProductType" in readable:
            syslog = ["err FTM_GetSoftwareVersion: FLSHMGMT_GET_FTMSOFTWAREVERSION ioctl failed"]
        lines = board.read("uboot/bootdelay").split("\n") if board.exists("uboot/bootdelay") else []
        delay = str(decimal(lines[0])) if lines and lines[0] else ""
        if delay and "ProductionData" in readable:
            out = "\n FTM_GetBootMode_Kestra boot delay value = %s \n\n" % delay
        elements = []
        for element, tables, source, template in REPORT:
            if tables not in readable:
                elements.append((element, template))
                continue
            if source == "version":
                value = version
            elif source == "delay":
                value = delay
            else:
                table, column = source if isinstance(source, tuple) else (tables, source)
                row = (board.table(table) or [[]])[0]
                value = row[column] if column < len(row) and row[column] is not None else ""
            elements.append((element, value))
        return report(("MODEM_INFO", elements)), Effects(ev, syslog, out, err)

    def check_report(self, board, c, **kw):
        want, effects = self.expected(board, **kw)
        mark = board.mark()
        self.assertEqual(c.download(NAME), (want, None))
        self.assertEqual(board.since(mark), effects)

    def upload_effects(self, delays=(), end="cfg commit ProductionData"):
        """A write session's events; `end` is how its transaction ends
        ("cfg abort", or None for an empty commit, which the store does not log)."""
        return (["cfg session 5 FTM write"] +
                ["shell uboot_env --set --name bootdelay --value %d" % d for d in delays] +
                [end] * (end is not None) + ["cfg end"])

    def saved_files(self, board, put=False):
        for name in ("current.cfg", "current.bak"):
            if put:
                board.write("root/PRST/" + name, "saved\n")
        return [n for n in ("current.cfg", "current.bak") if board.exists("root/PRST/" + n)]


class ReportTest(IdentityTest):
    def test_stored_identity_is_reported(self):
        board = self.board()
        c = self.client(board)
        self.check_report(board, c)
        self.saved_files(board, put=True)
        new = ["K17-403522-07", "KS2417000815", "02:5e:a3:12:34:56", "11232026", "C",
               "+493012345678"]
        mark = board.mark()
        self.assertEqual(c.upload(NAME, identity_xml(*zip(FIELDS, new), ("BOOT_DELAY", "1"))),
                         ack(1))
        self.assertEqual(board.since(mark), Effects(self.upload_effects([1])))
        self.assertEqual((board.table("ProductionData"), board.read("uboot/bootdelay"),
                          self.saved_files(board)), ([new], "1\n", []))
        self.check_report(board, c)

    def test_report_follows_the_board_and_its_failing_sources(self):
        board = self.board()
        c = self.client(board)
        files = ["cfg/%s.tsv" % t for t in ("ProductionData", "AppSwInfo", "ProductType",
                                             "ProductInfo")] + ["uboot/bootdelay",
                                                                "flash/ftm_version"]
        snapshot = {rel: board.read(rel) for rel in files}
        # Each row: files or tables of the board to change (None removes a
        # file), store faults, and the version last read when the driver's
        # query fails. A table that cannot be read keeps its pass's template
        # texts; a cell a table lacks reads empty.
        cases = [
            ("no version yet", {"flash/ftm_version": None}, [], ""),
            ("fresh board", {}, [], None),
            ("boot delay line", {"uboot/bootdelay": "bootdelay=4\n"}, [], None),
            ("boot delay blanks", {"uboot/bootdelay": "  007 s\n5\n"}, [], None),
            ("boot delay huge", {"uboot/bootdelay": "-99999999999\n"}, [], None),
            ("boot delay unset", {"uboot/bootdelay": None}, [], None),
            ("no session", {}, ["session"], None),
            ("Xcvr", {}, ["Xcvr"], None),
            ("ProductInfo", {}, ["ProductInfo"], None),
            ("ProductType", {}, ["ProductType"], None),
            ("AppSwInfo", {}, ["AppSwInfo"], None),
            ("ProductionData", {}, ["ProductionData"], None),
            ("hand-edited", {"ProductionData": [["M", "S", "X", "D", None]],
                             "ProductInfo": [["k.ini"]], "AppSwInfo": [], "ProductType": []},
             [], None),
        ]
        for label, changes, failed, kept in cases:
            with self.subTest(label):
                for rel, text in changes.items():
                    if "/" not in rel:
                        board.write_table(rel, text)
                    elif text is None:
                        os.remove(board.path(rel))
                    else:
                        board.write(rel, text)
                board.set_faults(*("cfg " + ("session" if f == "session" else "table " + f)
                                   for f in failed))
                self.check_report(board, c, failed=failed, kept=kept)
                board.set_faults()
                for rel, text in snapshot.items():
                    board.write(rel, text)
        # A failed version query keeps the last version read.
        board.set_faults("ioctl FLSHMGMT_GET_FTMSOFTWAREVERSION")
        last = board.read("flash/ftm_version").split("\n")[0]
        board.write("flash/ftm_version", "OTHER\n")
        self.check_report(board, c, kept=last)


class FailedWriteTest(IdentityTest):
    def test_failed_writes_change_nothing_but_the_boot_delay(self):
        board = self.board()
        c = self.client(board)
        before = board.table("ProductionData")
        # A failing commit, a failing field after the boot delay, a boot
        # delay without text: the store keeps its table, the boot loader
        # what was set before the failure, and the saved files go.
        cases = [
            (["cfg commit"], identity_xml(("MODEL_NUM", "NEW"), ("SERIAL_NUM", "NEW")), "17",
             Effects(["cfg session 5 FTM write", "cfg end"])),
            (["cfg set ProductionData"], identity_xml(
                ("BOOT_DELAY", "7"), ("SERIAL_NUM", "SN-1"), ("BOOT_DELAY", "8")), "7",
             Effects(self.upload_effects([7], end="cfg abort"), [], "FTM write failed on table="
                     "ProductionData row=0 col=1(SerialNum) value='SN-1'\n")),
            ([], identity_xml(("E_164", None), ("BOOT_DELAY", None), ("MODEL_NUM", "M")), "7",
             Effects(self.upload_effects(end="cfg abort"))),
        ]
        for faults, request, delay, effects in cases:
            with self.subTest(faults=faults):
                board.set_faults(*faults)
                self.saved_files(board, put=True)
                mark = board.mark()
                self.assertEqual(c.upload(NAME, request), WRITE_FAILED)
                self.assertEqual(board.since(mark), effects)
                self.assertEqual(board.table("ProductionData"), before)
                self.assertEqual(board.read("uboot/bootdelay"), delay + "\n")
                self.assertEqual(self.saved_files(board), [])
        # No store session: refused, nothing done, and the files stay.
        board.set_faults("cfg session")
        self.saved_files(board, put=True)
        mark = board.mark()
        self.assertEqual(c.upload(NAME, identity_xml(("MODEL_NUM", "M"))), WRITE_FAILED)
        self.assertEqual(board.since(mark), Effects())
        self.assertEqual(self.saved_files(board), ["current.cfg", "current.bak"])
        # Nothing to store: accepted, nothing written, and the files go.
        board.set_faults()
        for request, effects in ((b"<MODEM_INFO/>", []),
                                 (b"<OTHER><MODEL_NUM>M</MODEL_NUM></OTHER>", []),
                                 (identity_xml(("UNKNOWN", "x")), self.upload_effects(end=None))):
            self.saved_files(board, put=True)
            mark = board.mark()
            self.assertEqual(c.upload(NAME, request), ack(1))
            self.assertEqual(board.since(mark), Effects(effects))
            self.assertEqual(self.saved_files(board), [])
        self.assertEqual(board.table("ProductionData"), before)
        # A store element without text is stored empty.
        self.assertEqual(c.upload(NAME, identity_xml(("MODEL_NUM", None))), ack(1))
        self.assertEqual(board.table("ProductionData"), [[""] + before[0][1:]])


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
        mark = board.mark()
        self.assertEqual(c.upload(NAME, body), ack(len(body) // 512 + 1))
        self.assertEqual(board.since(mark), Effects(self.upload_effects([5])))
        # The parser's own rules: entities decoded, a line feed as "\r\n".
        self.assertEqual(board.table("ProductionData"), [[
            "a\tb \\t c\\\\d", "x; touch /tmp/pwned; $(touch /tmp/pwned2) `id` | & <>",
            "line1\r\nline2", "'single' \"double\" \"q\"", long_value,
            "\u00e9\u00fc".encode().decode("latin-1")]])
        for name in ("pwned", "pwned2", "pwned3"):
            self.assertFalse(board.exists("root/tmp/" + name))
        self.check_report(board, c)
        # A repeated element is written twice, in document order; the boot
        # delay is the decimal conversion of its text.
        self.assertEqual(c.upload(NAME, identity_xml(
            ("SERIAL_NUM", "one"), ("serial_num", "x"), ("SERIAL_NUM", "two"))), ack(1))
        self.assertEqual(board.table("ProductionData")[0][1], "two")
        for text, value in (("abc", 0), ("-3", -3), ("99999999999999999999", 2147483647)):
            mark = board.mark()
            self.assertEqual(c.upload(NAME, identity_xml(("BOOT_DELAY", text))), ack(1))
            self.assertEqual(board.since(mark), Effects(self.upload_effects([value], end=None)))
        # A value the store refuses (over 4095 bytes) fails the whole request.
        before = board.table("ProductionData")
        self.assertEqual(c.upload(NAME, identity_xml(("MODEL_NUM", "ok"),
                                                     ("SERIAL_NUM", "9" * 5000))), WRITE_FAILED)
        self.assertEqual(board.table("ProductionData"), before)


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
        current, outcomes = board.table("ProductionData"), set()
        for i in range(12):
            new = [["%s-%d" % (f, i) for f in FIELDS]]
            c = board.client()
            try:
                c.wrq(NAME)
                c.expect(ack(0))
                c.data(1, identity_xml(*zip(FIELDS, new[0])))
                # Even uploads are killed among the writes, odd ones after them.
                time.sleep(rng.uniform(0, 0.1) if i % 2 == 0 else 0.3 * SLACK)
                board.stop()
            finally:
                c.close()
            rows = board.table("ProductionData")
            self.assertIn(rows, (current, new), "mixed identity after kill %d" % i)
            outcomes.add(rows == new)
            current = rows
            runs = board.events().count(started)
            board.start(wait_ready=False)
            board.wait_for(lambda: board.events().count(started) > runs, 10 * SLACK,
                           "restart did not finish")
        # Kills landed both before and after commits.
        self.assertEqual(outcomes, {False, True})


if __name__ == "__main__":
    unittest.main()
