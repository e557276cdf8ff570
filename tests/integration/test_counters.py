"""The counter reports as a station reads them: "FTM_Statistics.xml" (kept
values when a source fails, the line-rate text byte for byte, the interface
look-up) and "FTM_Stats_4port.xml" (link state and packet totals across
scripted link drops and 32-bit wrap, port 5 from the switch's RMON
counters, store failures)."""

import re
import unittest

from ftmboard import BoardTest, error

STATS, PORTS = b"FTM_Statistics.xml", b"FTM_Stats_4port.xml"
LEAF = re.compile(r"\n( *)<(\w+)>\r\n(?:\1  ([^\r\n]*)\r\n)?\1</\2>")
SWITCH_HEADER = "Link\tSpeed\tDuplex\tTxPackets\tRxPackets\n"


def xcvr(cells):
    """An Xcvr table of 37 columns whose data row holds `cells` (position -> text)."""
    return "\t".join("C%d" % i for i in range(37)) + "\n" + "\t".join(
        cells.get(i, "c%d" % i) for i in range(37)) + "\n"


class CounterTest(BoardTest):
    def leaves(self, c, name):
        """(name, text) of every element without children, in document
        order, the text exactly as served (its own leading blanks kept)."""
        content, err = c.download(name)
        self.assertIsNone(err)
        return [(m.group(2), m.group(3) or "") for m in LEAF.finditer(content.decode("latin-1"))]

    def test_statistics(self):
        board = self.board()
        c = self.client(board)
        got = dict(self.leaves(c, STATS))
        self.assertEqual([got[k] for k in ("ETH_IN", "ETH_OUT", "WIRE_RXBYTES", "WIRE_STATIONS",
                                           "VC_VPI", "READY_STATUS")],
                         ["10433", "9120", "88213", "0", "8", "NOT_READY"])
        # Single precision: 2147483647 / 1000 prints 2147483.750 and
        # 16777216 / 1000 prints 16777.217 (double precision would not).
        rates = {"24000": "    24.000", "1": "     0.001", "": "     0.000", "abc": "     0.000",
                 " -1500": "    -1.500", "16777216": " 16777.217", "2147483647": "2147483.750"}
        for cell, text in rates.items():
            with self.subTest(cell=cell):
                board.write("cfg/Xcvr.tsv", xcvr({16: cell, 17: "512"}))
                got = dict(self.leaves(c, STATS))
                self.assertEqual([got["DSL_SPEED_DOWNSTREAM"], got["DSL_SPEED_UPSTREAM"],
                                  got["DSL_HEC_DOWNSTREAM"], got["DSL_HEC_UPSTREAM"]],
                                 [text, "     0.512", "c10", "c9"])
        # Unreadable Xcvr and WlanStations: DSL keeps the last values read,
        # WIRE_STATIONS says so. A logical name over two rows takes the lower
        # one; a wireless name of 52 characters is no name, so its counters
        # stay.
        board.write("cfg/Xcvr.tsv", xcvr({0: "DOWN"}))
        board.set_faults("cfg table Xcvr", "cfg table WlanStations")
        board.write("cfg/ProductInterfaces.tsv", "I\tL\tN\n0\tSwingJack\teth0\n1\tSwingJack\tbr0\n"
                    "2\tLan\teth4\n3\tSwingJack\tath4\n4\tWireless\t%s\n" % ("w" * 52))
        board.write("cfg/NetDev.tsv", board.read("cfg/NetDev.tsv").replace("ath0\t88213", "ath0\t1"))
        got = dict(self.leaves(c, STATS))
        self.assertEqual([got[k] for k in ("DSL_STATE", "DSL_SPEED_DOWNSTREAM", "WIRE_STATIONS",
                                           "ETH_IN", "WIRE_RXBYTES")],
                         ["c0", "2147483.750", "Read Fail", "12922", "88213"])
        self.assertIn("error: failed to read table: Xcvr\n", board.stdout())
        self.assertIn("Wireless Interface Name is not available\n", board.stdout())
        # No row for the port's interface: the counters of the first row.
        board.write("cfg/ProductInterfaces.tsv", "I\tL\tN\n0\tSwingJack\tnone\n")
        got = dict(self.leaves(c, STATS))
        self.assertEqual((got["ETH_IN"], got["ETH_OUT"]), ("1877", "1532"))

    def test_four_ports(self):
        board = self.board()
        c = self.client(board)

        def ports():
            items = self.leaves(c, PORTS)
            self.assertEqual([n for n, _ in items[:5]], ["ETH_PORT_ACTIVE", "ETH_DISCARD_IN",
                                                       "ETH_DISCARD_OUT", "ETH_IN", "ETH_OUT"])
            self.assertEqual({t for n, t in items if "DISCARD" in n}, {"Not Support"})
            # PORT_1, PORT_4, PORT_5: (active, in, out)
            return [tuple(t for n, t in items[5 * p:5 * p + 5] if "DISCARD" not in n)
                    for p in (0, 3, 4)]

        # (rows 0-3 as (link, rx, tx), RMON of port 5, link of row 4) -> the
        # reports of PORT_1 (row 3) and PORT_5; PORT_4 (row 0) is always up.
        script = [
            ([("up", 100, 7)] * 4, "500 9", "up", ("YES", "100", "7"), ("YES", "500", "9")),
            # Row 3 drops and reads 0: the total keeps the last count.
            ([("up", 150, 7)] * 3 + [("down", 0, 0)], "0 0", "down",
             ("NO", "100", "7"), ("NO", "500", "9")),
            # Down again: nothing more added; a negative reading is not taken.
            ([("up", 150, 7)] * 3 + [("down", -5, 0)], "0 0", "down",
             ("NO", "100", "7"), ("NO", "500", "9")),
            ([("up", 150, 7)] * 3 + [("up", 20, 3)], "20 1", "up",
             ("YES", "120", "10"), ("YES", "520", "10")),
            # Past 2^31 the 32-bit total wraps; RMON keeps nine digits.
            ([("up", 150, 7)] * 3 + [("up", 2147483647, 3)], "1234567890 1", "up",
             ("YES", "-2147483549", "10"), ("YES", "123457289", "10")),
        ]
        for rows, rmon, link5, port1, port5 in script:
            with self.subTest(rows=rows[3], rmon=rmon):
                board.write("cfg/SwitchStat.tsv", SWITCH_HEADER + "".join(
                    "%s\t1\tfull\t%d\t%d\n" % (l, tx, rx) for l, rx, tx in rows) +
                    "%s\t1\tfull\t0\t0\n" % link5)
                board.write("switch/rmon5", rmon + "\n")
                self.assertEqual(ports(), [port1, ("YES",) + tuple(map(str, rows[0][1:])), port5])
        self.assertIn("shell switch_utility RMON_Get 5 | grep 'Receive Packet' | cut -d'=' -f2 "
                      "| cut -d ' ' -f2 > /tmp/Recpkt", board.events())
        # A table of one row: the missing rows read as links down with counts
        # 0, and the totals stay. Without ProductionData the report is still
        # served; without SwitchStat it is refused.
        board.write("cfg/SwitchStat.tsv", SWITCH_HEADER + "up\t1\tfull\t5\t6\n")
        board.write("switch/rmon5", "0 0\n")
        board.set_faults("cfg table ProductionData")
        self.assertEqual(ports(), [("NO", "-2147483549", "10"), ("YES", "6", "5"),
                                   ("NO", "123457289", "10")])
        board.set_faults("cfg table SwitchStat")
        c.rrq(PORTS)
        c.expect(error(0, b"Fail to Create Xml File"))


if __name__ == "__main__":
    unittest.main()
