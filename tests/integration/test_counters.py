# The counter reports as a station reads them, whole, request after request,
# with everything each request does on the board: "FTM_Statistics.xml" (five
# sections kept between requests, each refreshed in a store session of its
# own) and "FTM_Stats_4port.xml" (links and running totals across link drops,
# port 5 from the switch's RMON counters).

import itertools, struct  # noqa: E401

from ftmboard import BoardTest, Effects, error
from ftmreports import decimal, report

STATS, PORTS = b"FTM_Statistics.xml", b"FTM_Stats_4port.xml"
# FTM_STATS in the report's order: section, the fill that reads it, its table,
# the template's texts, and element -> column of the section's row ("r16":
# column 16 as a line rate; "t": the throughput test's bit; "-": not from the row).
SECTIONS = [
    ("ETHERNET", "XMLS_initEtherStatCatCM", "NetDev", "0 " * 4, "ETH_DISCARD_IN 4 ETH_DISCARD_OUT 12 "
     "ETH_IN 2 ETH_OUT 10"), ("ATM", "XMLS_initAtmStatCatCM", "BcmAtm", "0 0 0 0 1 1",
                              "ATM_DISCARD_IN 27 ATM_DISCARD_OUT 28 ATM_IN 4 ATM_OUT 6 VC_VPI 2 VC_VCI 3"),
    ("DSL", "XMLS_initDslStatCM", "Xcvr", "1 " * 16 + "READY DOWN", "DSL_ACTIVITY_DOWNSTREAM 1 "
     "DSL_ACTIVITY_UPTREAM 2 DSL_FEC_DOWNSTREAM 5 DSL_FEC_UPSTREAM 6 DSL_CRC_DOWNSTREAM 7 DSL_CRC_UPSTREAM 8 "
     "DSL_HEC_DOWNSTREAM 10 DSL_HEC_UPSTREAM 9 DSL_ATTEN_DOWNSTREAM 12 DSL_ATTEN_UPSTREAM 13 "
     "DSL_MARGIN_DOWNSTREAM 14 DSL_MARGIN_UPSTREAM 15 DSL_SPEED_DOWNSTREAM r16 DSL_SPEED_UPSTREAM r17 "
     "DSL_POWER_DOWNSTREAM 18 SIGNAL_LOSS 20 READY_STATUS t DSL_STATE 0"),
    ("ATH_WIRELESS", "XMLS_Get_Wl0_StatCM", "NetDev", "NA " * 9, "WIRE_TXBYTES 9 WIRE_TXPACKETS 10 "
     "WIRE_TXERRORS 11 WIRE_TXDROPS 12 WIRE_RXBYTES 1 WIRE_RXPACKETS 2 WIRE_RXERRORS 3 WIRE_RXDROPS 4 "
     "WIRE_STATIONS -"), ("FLASH", "XMLS_GetFlashErrCM", "FlashErr", "OK OK OK NO NO",
                          "DEV_TYPE 0 WRITE 1 ERASE 2 CORRUPT_FILE 3 FILE_CRC_ERROR 4")]
# PORT_1 to PORT_5 -> SwitchStat row (= switch port); row 4's counts from RMON.
ROWS = (3, 2, 1, 0, 4)
RMON = "shell switch_utility RMON_Get 5 | grep '%s Packet' | cut -d'=' -f2 | cut -d ' ' -f2 > /tmp/%s"
# A counter record's (state, link up) -> (new state, last reading into the base).
MOVE = {(0, 1): (2, 0), (0, 0): (0, 0), (1, 1): (1, 0), (1, 0): (3, 1),
        (2, 1): (1, 0), (2, 0): (3, 1), (3, 1): (2, 0), (3, 0): (0, 0)}
PORT = "ETH_PORT_ACTIVE ETH_DISCARD_IN ETH_DISCARD_OUT ETH_IN ETH_OUT"
REFUSED = error(0, b"Fail to Create Xml File"), ["err TFTP read: invalid filename"]


def rate(cell):  # in single precision
    f32 = lambda x: struct.unpack("f", struct.pack("f", x))[0]  # noqa: E731
    return "%10.3f" % f32(f32(decimal(cell)) / 1000)


class Model:
    # What the kept documents show, and what a request shows and causes, from
    # the board's tables and the store faults the request meets.
    def __init__(self, board):
        self.board, self.shown, self.records = board, {}, {}
        for _, _, _, template, cells in SECTIONS:
            self.shown.update(zip(cells.split()[::2], template.split()))

    def session(self):
        self.err += "error: failed to start session\n" * ("session" in self.faults)
        self.ev += ["cfg session 0"] * ("session" not in self.faults)
        return "session" not in self.faults

    def read(self, table, func, rows=1):
        if table not in self.faults:
            self.ev.append("cfg read %s FTM_Apis.c %s" % (table, func))
            if len(self.board.table(table)) >= rows:
                return self.board.table(table)
        self.err += "error: failed to read table: %s\n" % table * (rows >= 0)  # -1: reported elsewhere

    def ifname(self, logical):
        rows = self.read("ProductInterfaces", "GetInterfaceName", -1) or []
        runs = [list(g)[-1][2] for k, g in itertools.groupby(rows, lambda r: r[1]) if k == logical]
        if runs and len(runs[0]) < 52:
            return runs[0]
        self.out += "%s Interface Name is not available\n" % logical

    def fill(self, cells, row):
        row = row + [""] * 37  # cells a short row lacks read empty
        for elem, col in zip(cells.split()[::2], cells.split()[1::2]):
            if col != "-":
                self.shown[elem] = self.ready if col == "t" else rate(row[int(col[1:])]) if (
                    col[0] == "r") else row[int(col)]

    def statistics(self, faults=(), ready=False):
        self.faults, self.ev, self.out, self.err = faults, [], "", ""
        self.ready = "READY" if ready else "NOT_READY"
        for section, func, table, _, cells in [SECTIONS[i] for i in (0, 1, 2, 4, 3)]:
            if not self.session():
                continue
            logical = {"ETHERNET": "SwingJack", "ATH_WIRELESS": "Wireless"}.get(section)
            name = self.ifname(logical) if logical else ""
            rows = None if name is None and section == "ETHERNET" else self.read(
                table, func, int(section != "ATH_WIRELESS"))
            # The port's interface falls back to the first row; the wireless one doesn't.
            rows = [r for r in rows or () if not logical or r[0] == name] + (
                rows[:1] if rows and section == "ETHERNET" else []) if rows is not None else None
            if rows:
                self.fill(cells, rows[0])
            if section == "ATH_WIRELESS" and rows is not None:
                st = self.read("WlanStations", func)
                self.shown["WIRE_STATIONS"] = st[0][0] if st else "Read Fail"
            self.ev.append("cfg end")
        doc = [(s, [(e, self.shown[e]) for e in c.split()[::2]]) for s, _, _, _, c in SECTIONS]
        doc[1][1][4:] = [("VC_CHAN_NUM", ("1", doc[1][1][4:]))]
        return (report(("FTM_STATS", doc)), None), Effects(self.ev, [], self.out, self.err)

    def take(self, key, reading, up):
        rec = self.records.setdefault(key, [0, 0, 0])
        if reading is not None and decimal(reading) >= 0:
            state, fold = MOVE[rec[0], up]
            rec[:] = [state, decimal(reading), rec[2] + fold * rec[1]]
        return str((rec[1] + rec[2] + 2 ** 31) % 2 ** 32 - 2 ** 31)

    def four_ports(self, faults=()):
        self.faults, self.ev, self.out, self.err = faults, [], "", ""
        # ProductionData is read and freed, its failure only reported.
        rows = self.session() and [self.read("ProductionData", "FtmUpdStats4portNew", 0)] and self.read(
            "SwitchStat", "FtmUpdStats4portNew", 5)
        rmon, ports = self.board.read("switch/rmon5").split(), []
        for n, row in enumerate(ROWS if rows else ()):
            up, counts = rows[row][0] == "up", []
            for i, col, word, file in ((0, 4, "Receive", "Recpkt"), (1, 3, "Transmit", "Transpkt")):
                self.ev += [RMON % (word, file)] * (row == 4)
                counts.append(self.take((row, i), rmon[i][:9] if row == 4 else rows[row][col], up))
            ports.append(("PORT_%d" % (n + 1), list(zip(PORT.split(), [
                "YES" if up else "NO", "Not Support", "Not Support"] + counts))))
        got = (report(("ETHERNET", ports)), None) if rows else (None, REFUSED[0])
        end = ["cfg end"] * ("session" not in faults)
        return got, Effects(self.ev + end, [] if rows else REFUSED[1], "", self.err)


class CounterTest(BoardTest):
    def check(self, board, name, want, faults=()):
        # One download under these store faults: the whole report (or the
        # refusal) and everything the request did on the board.
        board.set_faults(*["cfg " + ("table " if f != "session" else "") + f for f in faults])
        mark, (doc, effects) = board.mark(), want(faults)
        got = self.client(board).download(name)
        # A refusal is logged after it is sent.
        board.wait_for(lambda: len(board.since(mark).syslog) >= len(effects.syslog), 5, "syslog")
        self.assertEqual((got, board.since(mark)), (doc, effects))

    def test_statistics(self):
        board = (model := Model(self.board())).board
        op = lambda t: self.client(board).upload(b"FTM_TestModeOp.xml", t)  # noqa: E731
        want = lambda ready=False: lambda faults: model.statistics(faults, ready)  # noqa: E731
        # The template's texts until a first read; then every element its cell.
        self.check(board, STATS, want(), ("session",))
        self.check(board, STATS, want())
        # Every table changed; the port's interface has no NetDev row (the
        # first row stands in); the wireless name is the last of the first
        # run of "Wireless" rows. The throughput test runs.
        for table in ("NetDev", "BcmAtm", "Xcvr", "FlashErr", "WlanStations"):
            board.write_table(table, [[v + "7" * (i > 0 or table != "NetDev") for i, v in
                                       enumerate(r)] for r in board.table(table)])
        board.write_table("ProductInterfaces", [[0, n, i] for n, i in zip(
            "SwingJack Wireless Wireless Lan Wireless".split(), "eth9 br0 nas0 eth0 eth4".split())])
        op(b"<ENTER_TEST><THROUGHPUT/></ENTER_TEST>")
        self.check(board, STATS, want(ready=True))
        # Sources that fail keep their sections; a table without rows is one.
        board.write_table("BcmAtm", [["A%d" % i for i in range(29)]])
        board.write_table("FlashErr", [])
        self.check(board, STATS, want(), ("Xcvr", "WlanStations", "ProductInterfaces"))
        [board.write_table(table, []) for table in ("NetDev", "BcmAtm", "Xcvr", "WlanStations")]
        board.write_table("FlashErr", [["F0", "F1", "F2", "F3", "F4"]])
        board.write_table("ProductInterfaces", [["1", "SwingJack", "e" * 51], ["2", "Wireless", "w" * 52]])
        self.check(board, STATS, want())
        board.write_table("Xcvr", [["S%d" % i for i in range(16)] + [" -1500", "2147483647"]])
        op(b"<EXIT_TEST/>")
        self.check(board, STATS, want())

    def test_four_ports(self):
        board = (model := Model(self.board())).board

        def step(links, rmon, seed, cells=(), faults=()):
            # SwitchStat with these links and counts of their own, some cells
            # replaced: (row, column, text); RMON's counts of port 5.
            rows = [[link, "100", "full", str(seed + 10 * r + 3), str(seed + 10 * r + 4)]
                    for r, link in enumerate(links.split())]
            for r, col, text in cells:
                rows[r][col] = text
            board.write_table("SwitchStat", rows)
            board.write("switch/rmon5", rmon + "\n")
            self.check(board, PORTS, model.four_ports, faults)

        self.check(board, PORTS, model.four_ports)
        # Links drop and come back; every record passes through every state.
        # ProductionData is read and freed: without it the report is served.
        step("down up down up down", "0 0", 500, faults=("ProductionData",))
        # An absent count and a negative one leave their records alone.
        step("down up up down down", "70 80", 600, [(1, 3, None), (2, 4, "-5")])
        step("up down up up up", "20 30", 700)
        step("up down up up up", "1234567890 987654321", 2147483000)  # 32 bits wrap; nine digits
        # Refused without the five rows, the table or a session: no total moves.
        step("down down down down", "1 1", 900)
        step("up up up up up", "5 6", 950, faults=("SwitchStat",))
        self.check(board, PORTS, model.four_ports, ("session",))
        self.check(board, PORTS, model.four_ports)

