"""The counter reports as a station reads them: "FTM_Statistics.xml" (kept
values when a source fails, the line-rate text byte for byte, the interface
look-up) and "FTM_Stats_4port.xml" (link state and packet totals across
scripted link drops and 32-bit wrap, port 5 from the switch's RMON
counters)."""

import re
import unittest

from ftmboard import BoardTest, error

STATS, PORTS = b"FTM_Statistics.xml", b"FTM_Stats_4port.xml"
CREATE_FAILED = error(0, b"Fail to Create Xml File")
LEAF = re.compile(r"\n( *)<(\w+)>\r\n(?:\1  ([^\r\n]*)\r\n)?\1</\2>")
XCVR_COLUMNS = 37
SWITCH_HEADER = "Link\tSpeed\tDuplex\tTxPackets\tRxPackets\n"


def leaves(text):
    """(name, text) of every element without children, in document order;
    the text exactly as served (its own leading blanks kept)."""
    return [(m.group(2), m.group(3) or "") for m in LEAF.finditer(text.decode("latin-1"))]


def xcvr(cells):
    """An Xcvr table whose data row holds `cells` (position -> text)."""
    row = [cells.get(i, "c%d" % i) for i in range(XCVR_COLUMNS)]
    return "\t".join("C%d" % i for i in range(XCVR_COLUMNS)) + "\n" + "\t".join(row) + "\n"


class CounterTest(BoardTest):
    def report(self, c, name):
        content, err = c.download(name)
        self.assertIsNone(err)
        return content


class StatisticsTest(CounterTest):
    def test_rates_and_kept_values(self):
        board = self.board()
        c = self.client(board)
        # Single precision: 2147483647 / 1000 prints 2147483.750 and
        # 16777216 / 1000 prints 16777.217 (double precision would not).
        rates = {"24000": "    24.000", "1": "     0.001", "": "     0.000", "abc": "     0.000",
                 " -1500": "    -1.500", "16777216": " 16777.217", "2147483647": "2147483.750"}
        for cell, text in rates.items():
            with self.subTest(cell=cell):
                board.write("cfg/Xcvr.tsv", xcvr({16: cell, 17: "512"}))
                got = dict(leaves(self.report(c, STATS)))
                self.assertEqual(got["DSL_SPEED_DOWNSTREAM"], text)
                self.assertEqual(got["DSL_SPEED_UPSTREAM"], "     0.512")
                self.assertEqual(got["DSL_HEC_DOWNSTREAM"], "c10")
                self.assertEqual(got["DSL_HEC_UPSTREAM"], "c9")
                self.assertEqual(got["READY_STATUS"], "NOT_READY")

        # Unreadable Xcvr and WlanStations: DSL keeps the last values read,
        # WIRE_STATIONS says so, the other sections are refreshed.
        board.write("cfg/Xcvr.tsv", xcvr({0: "DOWN", 16: "1"}))
        board.set_faults("cfg table Xcvr", "cfg table WlanStations")
        netdev = board.read("cfg/NetDev.tsv").replace("eth4\t1301870\t10433", "eth4\t1\t777")
        board.write("cfg/NetDev.tsv", netdev)
        got = dict(leaves(self.report(c, STATS)))
        self.assertEqual(got["DSL_STATE"], "c0")
        self.assertEqual(got["DSL_SPEED_DOWNSTREAM"], "2147483.750")
        self.assertEqual(got["WIRE_STATIONS"], "Read Fail")
        self.assertEqual(got["ETH_IN"], "777")
        self.assertEqual(got["WIRE_RXPACKETS"], "612")
        self.assertEqual(got["VC_VPI"], "8")
        self.assertIn("error: failed to read table: Xcvr\n", board.stdout())

    def test_interface_lookup(self):
        board = self.board()
        c = self.client(board)
        first = dict(leaves(self.report(c, STATS)))
        self.assertEqual((first["ETH_IN"], first["ETH_OUT"], first["ETH_DISCARD_OUT"]),
                         ("10433", "9120", "1"))
        self.assertEqual((first["WIRE_RXBYTES"], first["WIRE_TXDROPS"], first["WIRE_STATIONS"]),
                         ("88213", "0", "0"))
        # A logical name over two rows takes the lower one; a name of 52
        # characters is no name: the Ethernet section then keeps its values,
        # the wireless counters too, while the stations are refreshed.
        board.write("cfg/ProductInterfaces.tsv",
                    "Index\tLogicalName\tIfName\n0\tSwingJack\teth0\n1\tSwingJack\tbr0\n"
                    "2\tLan\teth4\n3\tSwingJack\tath4\n4\tWireless\t%s\n" % ("w" * 52))
        board.write("cfg/WlanStations.tsv", "Count\n3\n")
        got = dict(leaves(self.report(c, STATS)))
        self.assertEqual((got["ETH_IN"], got["ETH_OUT"]), ("12922", "11497"))
        self.assertEqual((got["WIRE_RXBYTES"], got["WIRE_STATIONS"]), ("88213", "3"))
        self.assertIn("Wireless Interface Name is not available\n", board.stdout())
        # No row for the port's interface: the counters of the first row.
        board.write("cfg/ProductInterfaces.tsv", "I\tL\tN\n0\tSwingJack\tnone\n")
        got = dict(leaves(self.report(c, STATS)))
        self.assertEqual((got["ETH_IN"], got["ETH_OUT"]), ("1877", "1532"))


class FourPortTest(CounterTest):
    def ports(self, c):
        """{element: (active, in, out, discard in, discard out)} of a report."""
        items = leaves(self.report(c, PORTS))
        self.assertEqual(len(items), 25)
        out = {}
        for n in range(5):
            port = dict(items[5 * n:5 * n + 5])
            out["PORT_%d" % (n + 1)] = (port["ETH_PORT_ACTIVE"], port["ETH_IN"], port["ETH_OUT"],
                                        port["ETH_DISCARD_IN"], port["ETH_DISCARD_OUT"])
        return out

    def test_totals_across_link_drops(self):
        board = self.board()
        c = self.client(board)
        # (rows 0-3 as (link, rx, tx), RMON of port 5, link of row 4) -> the
        # totals of PORT_1 (row 3), PORT_4 (row 0) and PORT_5.
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
            # The switch's counter passes 2^31: the 32-bit total wraps; the
            # RMON reading keeps its first nine digits.
            ([("up", 150, 7)] * 3 + [("up", 2147483647, 3)], "1234567890 1", "up",
             ("YES", "-2147483549", "10"), ("YES", "123457289", "10")),
        ]
        for rows, rmon, link5, port1, port5 in script:
            with self.subTest(rows=rows[3], rmon=rmon):
                board.write("cfg/SwitchStat.tsv", SWITCH_HEADER + "".join(
                    "%s\t1000\tfull\t%d\t%d\n" % (l, tx, rx) for l, rx, tx in rows) +
                    "%s\t1000\tfull\t0\t0\n" % link5)
                board.write("switch/rmon5", rmon + "\n")
                got = self.ports(c)
                self.assertEqual(got["PORT_1"], port1 + ("Not Support", "Not Support"))
                self.assertEqual(got["PORT_5"], port5 + ("Not Support", "Not Support"))
                self.assertEqual(got["PORT_4"][:2], ("YES", rows[0][1] and str(rows[0][1])))
        self.assertIn("shell switch_utility RMON_Get 5 | grep 'Receive Packet' | cut -d'=' -f2 "
                      "| cut -d ' ' -f2 > /tmp/Recpkt", board.events())

    def test_store_failures(self):
        board = self.board()
        c = self.client(board)
        self.assertEqual(self.ports(c)["PORT_1"][:3], ("YES", "388", "402"))
        # A table of two rows: the missing rows read as empty cells, links
        # down and counts 0, so the earlier totals stay.
        board.write("cfg/SwitchStat.tsv", SWITCH_HEADER + "up\t1\tfull\t5\t6\nup\t1\tfull\t5\t6\n")
        self.assertEqual(self.ports(c)["PORT_1"][:3], ("NO", "388", "402"))
        board.set_faults("cfg table ProductionData")
        self.assertEqual(self.ports(c)["PORT_4"][:3], ("YES", "6", "5"))
        board.set_faults("cfg table SwitchStat")
        c.rrq(PORTS)
        c.expect(CREATE_FAILED)
        self.assertIn("error: failed to read table: SwitchStat\n", board.stdout())


if __name__ == "__main__":
    unittest.main()
