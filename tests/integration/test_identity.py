# The board's identity end to end: a station stores it by uploading
# "FTM_ModemInfo.xml" and reads it back, with the software versions and the
# boot delay, under the same name. Every report is compared whole with one
# built from the board's own data; every request with everything it did on the
# board. Failing sources and stores; hostile values. A request's writes are one
# transaction with a single commit (its events show it), so that a daemon
# killed among them leaves the table as it was.

import os
import unittest

from ftmboard import BoardTest, Effects, ack, error
from ftmreports import decimal, report

NAME = b"FTM_ModemInfo.xml"
WRITE_FAILED = error(0, b"Write data failed")
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
PASSES = ["ProductionData", "AppSwInfo ProductType", "ProductInfo", "Xcvr"]
FILL = "cfg read %s FTM_Apis.c XMLS_GetModemInfoCM"
GET_DELAY = "shell uboot_env --get --name bootdelay > /tmp/BootDelayVer"
SERIAL_FAILED = "FTM write failed on table=ProductionData row=0 col=1(SerialNum) value='%s'\n"
SAVED = ["root/PRST/current.cfg", "root/PRST/current.bak"]


def identity_xml(*elements):
    # A request from (element, text) pairs; text None makes an empty element.
    body = "".join("<%s/>" % n if t is None else "<%s>%s</%s>" % (n, t, n) for n, t in elements)
    return ('<?xml version="1.0" encoding="UTF-8"?><MODEM_INFO>%s</MODEM_INFO>' % body).encode()


def writes(delays=(), end="cfg commit ProductionData"):
    # A write session's events; `end` is how its transaction ends ("cfg
    # abort", or None for an empty commit, which the store does not log).
    return (["cfg session 5 FTM write"] + [
        "shell uboot_env --set --name bootdelay --value %d" % d for d in delays] +
        [end] * (end is not None) + ["cfg end"])


def expected(board, fault="", kept=None):
    # The download and its effects from the board's data, with one board fault
    # in force. The flash driver answers its version file; with `kept` given
    # its query fails, and the last version read (`kept`) is shown.
    if fault == "cfg session":
        return (report(("MODEM_INFO", [(e, t) for e, _, _, t in REPORT])), None), Effects(
            stderr="error: failed to start session\n")
    ev, err, readable = ["cfg session 0"], "", []
    for tables in PASSES:
        for table in tables.split():
            if fault == "cfg table " + table:
                err += "error: failed to read table: %s\n" % table
                break
            ev.append(FILL % table)
        else:
            readable.append(tables)
    delay = board.exists("uboot/bootdelay") and board.read("uboot/bootdelay").split("\n")[0]
    values = {"delay": str(decimal(delay)) if delay else "", "version": kept}
    out = "\n FTM_GetBootMode_Kestra boot delay value = %s \n\n" % values["delay"]
    if "ProductionData" in readable:
        ev.insert(2, GET_DELAY)
        err = "uboot_env: bootdelay is not set\n" * (delay is False) + err
    if kept is None:
        values["version"] = board.read("flash/ftm_version").split("\n")[0]
    syslog = ["err FTM_GetSoftwareVersion: FLSHMGMT_GET_FTMSOFTWAREVERSION ioctl failed"] * (
        kept is not None and "AppSwInfo ProductType" in readable)
    elements = []
    for element, tables, source, template in REPORT:
        table, column = source if isinstance(source, tuple) else (tables, source)
        row = (board.table(table) or [[]])[0] if isinstance(column, int) else []
        value = values[source] if source in values else (row[column:column + 1] + [""])[0]
        elements.append((element, (value or "") if tables in readable else template))
    out *= "ProductionData" in readable and values["delay"] != ""
    return (report(("MODEM_INFO", elements)), None), Effects(ev + ["cfg end"], syslog, out, err)


class IdentityTest(BoardTest):
    maxDiff = None

    def setUp(self):
        self.b = self.board()
        self.c = self.client(self.b)

    def exchange(self, request=None):
        # A download (no request) or an upload, and everything it did on the board.
        mark = self.b.mark()
        got = self.c.download(NAME) if request is None else self.c.upload(NAME, request)
        return got, self.b.since(mark)

    def test_report_follows_the_board_and_its_failing_sources(self):
        board = self.b
        snapshot = {rel: board.read(rel) for rel in ["cfg/%s.tsv" % t for t in " ".join(
            PASSES).split()] + ["uboot/bootdelay", "flash/ftm_version"]}
        version = snapshot["flash/ftm_version"].split("\n")[0]
        # Each row: files or tables of the board to change (None removes a
        # file), a board fault, and the version last read when the driver's
        # query fails. A table that cannot be read keeps its pass's template
        # texts; a cell a table lacks reads empty.
        cases = [
            ("no version yet", {"flash/ftm_version": None}, "", ""),
            ("fresh board", {}, "", None),
            ("boot delay line", {"uboot/bootdelay": "bootdelay=4\n"}, "", None),
            ("boot delay blanks", {"uboot/bootdelay": "  007 s\n5\n"}, "", None),
            ("boot delay huge", {"uboot/bootdelay": "-99999999999\n"}, "", None),
            ("boot delay unset", {"uboot/bootdelay": None}, "", None),
            ("no session", {}, "cfg session", None),
        ] + [(t, {}, "cfg table " + t, None) for t in (
            "Xcvr", "ProductInfo", "ProductType", "AppSwInfo", "ProductionData")] + [
            ("hand-edited", {"ProductionData": [["M", "S", "X", "D", None]],
                             "ProductInfo": [["k.ini"]], "AppSwInfo": [], "ProductType": []},
             "", None),
            # A failed version query keeps the last version read.
            ("version kept", {"flash/ftm_version": "OTHER\n"},
             "ioctl FLSHMGMT_GET_FTMSOFTWAREVERSION", version),
        ]
        for label, changes, fault, kept in cases:
            with self.subTest(label):
                for rel, text in changes.items():
                    if "/" not in rel:
                        board.write_table(rel, text)
                    elif text is None:
                        os.remove(board.path(rel))
                    else:
                        board.write(rel, text)
                board.set_faults(*filter(None, [fault]))
                self.assertEqual(self.exchange(), expected(board, fault, kept))
                for rel, text in snapshot.items():
                    board.write(rel, text)

    def test_writes(self):
        board, table = self.b, self.b.table("ProductionData")
        # Hostile values are stored as the parser gives them (entities decoded,
        # a line feed as "\r\n") and never reach a shell.
        sent = [("MODEL_NUM", "a\tb \\t c\\\\d"),
                ("SERIAL_NUM", "x; touch /tmp/pwned; $(touch /tmp/pwned2) `id` | &amp; &lt;&gt;"),
                ("MAC_ADDR", "line1\nline2"), ("PROD_DATE", "'single' \"double\" &quot;q&quot;"),
                ("PROD_REV", "A" + ("abc\t ;|$`'\"" * 200)[:1997] + "Z9"),
                ("E_164", "\u00e9\u00fc"), ("BOOT_DELAY", "5; touch /tmp/pwned3 $(reboot)")]
        stored = ["a\tb \\t c\\\\d", "x; touch /tmp/pwned; $(touch /tmp/pwned2) `id` | & <>",
                  "line1\r\nline2", "'single' \"double\" \"q\"", sent[4][1],
                  "\u00e9\u00fc".encode().decode("latin-1")]
        body = identity_xml(*sent)
        # Each row: the board fault, the request, its reply and effects, the
        # table's row and the boot delay afterwards (None: as they were). A
        # failing commit, a failing field after the boot delay, a boot delay
        # without text: the store keeps its table, the boot loader what was set
        # before the failure, and the saved files go; without a session nothing
        # is done and they stay. A request with nothing to store is accepted.
        cases = [
            ("cfg commit", identity_xml(("MODEL_NUM", "NEW"), ("SERIAL_NUM", "NEW")),
             WRITE_FAILED, Effects(["cfg session 5 FTM write", "cfg end"]), None, None),
            ("cfg set ProductionData", identity_xml(
                ("BOOT_DELAY", "7"), ("SERIAL_NUM", "SN-1"), ("BOOT_DELAY", "8")), WRITE_FAILED,
             Effects(writes([7], end="cfg abort"), [], SERIAL_FAILED % "SN-1"), None, "7"),
            # A value the store refuses (over 4095 bytes) fails the whole request.
            ("", identity_xml(("MODEL_NUM", "ok"), ("SERIAL_NUM", "9" * 5000)), WRITE_FAILED,
             Effects(writes(end="cfg abort"), [], SERIAL_FAILED % ("9" * 5000)), None, None),
            ("", identity_xml(("E_164", None), ("BOOT_DELAY", None), ("MODEL_NUM", "M")),
             WRITE_FAILED, Effects(writes(end="cfg abort")), None, None),
            ("cfg session", identity_xml(("MODEL_NUM", "M")), WRITE_FAILED, Effects(), None, None),
            ("", b"<MODEM_INFO/>", ack(1), Effects(), None, None),
            ("", b"<OTHER><MODEL_NUM>M</MODEL_NUM></OTHER>", ack(1), Effects(), None, None),
            ("", identity_xml(("UNKNOWN", "x")), ack(1), Effects(writes(end=None)), None, None),
            ("", body, ack(len(body) // 512 + 1), Effects(writes([5])), stored, "5"),
            # A repeated element is written twice, in document order; an element
            # without text is stored empty.
            ("", identity_xml(("SERIAL_NUM", "one"), ("serial_num", "x"), ("SERIAL_NUM", "two"),
                              ("MODEL_NUM", None)), ack(1), Effects(writes()),
             ["", "two"] + stored[2:], None),
        ] + [  # the boot delay is the decimal conversion of its text
            ("", identity_xml(("BOOT_DELAY", text)), ack(1),
             Effects(writes([value], end=None)), None, str(value))
            for text, value in (("abc", 0), ("-3", -3), ("99999999999999999999", 2147483647))]
        delay = board.read("uboot/bootdelay")
        for fault, request, reply, effects, row, new_delay in cases:
            with self.subTest(request=request[:200]):
                board.set_faults(*filter(None, [fault]))
                for name in SAVED:
                    board.write(name, "saved\n")
                self.assertEqual(self.exchange(request), (reply, effects))
                table = [row] if row else table
                delay = new_delay + "\n" if new_delay else delay
                kept = SAVED * (fault == "cfg session")  # without a session the files stay
                self.assertEqual((board.table("ProductionData"), board.read("uboot/bootdelay"),
                                  [n for n in SAVED if board.exists(n)]), (table, delay, kept))
        for name in ("pwned", "pwned2", "pwned3"):
            self.assertFalse(board.exists("root/tmp/" + name))
        board.set_faults()
        self.assertEqual(self.exchange(), expected(board))


if __name__ == "__main__":
    unittest.main()
