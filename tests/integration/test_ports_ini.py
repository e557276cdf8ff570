# Requests that change the board wholesale, each with its reply and
# everything it does on the board: Ethernet ports switched through
# "FTM_Stats_4port.xml" (the exact switch-utility command lines) and whole
# configurations loaded from ".ini" uploads (the library's writes, the reset
# and the tables it restores, the restart, refusals, the name rule).

import os

from ftmboard import BoardTest, Effects, ack, error

SWITCH = {"PORT_1": 4, "PORT_2": 2, "PORT_3": 1, "PORT_4": 0, "PORT_5": 5}
GET = "shell switch_utility PortLinkCfgGet %d | cut -d'=' -f2 | tr -d '\\n' > /tmp/tmpPortFile.txt"
SET, PORTS = "shell switch_utility PortLinkCfgSet ", "FTM_Stats_4port.xml"
WRITE_FAILED, NOT_SUPPORTED = error(0, b"Write data failed"), error(0, b"File Not Supported")


class PortsAndIniTest(BoardTest):
    def upload(self, board, name, content, reply, events, out=""):
        mark = board.mark()
        self.assertEqual(self.client(board).upload(name.encode(), content), reply)
        self.assertEqual(board.since(mark), Effects(events, [], out, ""))

    def test_port_commands(self):
        board = self.board()

        def ports(req, more=""):
            # The request (with more elements after its ports), and the commands
            # of its ports from the switch's configurations as the daemon reads
            # them (a blank before each value, 31 characters).
            events = []
            for element, active in req:
                values = (" " + board.read("switch/port%d" % SWITCH[element]).strip())[:31].split()
                values[5:7] = ["1", "1" if active == "NO" else "0"][:len(values[5:7])]
                events += [GET % SWITCH[element], SET + "".join(" " + v for v in values)]
            return ("<ETHERNET>%s%s</ETHERNET>" % ("".join(
                "<%s><ETH_PORT_ACTIVE>%s</ETH_PORT_ACTIVE></%s>" % (e, a, e) for e, a in req),
                more)).encode(), events

        board.write("switch/port0", "0 100 200 300 400 500 600 700 800\n")
        board.write("switch/port2", "2 21 22 23 24\n")
        # Other elements are passed over; a port without children, with another
        # first child or without text in it is read and not set.
        xml, events = ports([("PORT_1", "NO"), ("PORT_2", "off"), ("PORT_4", "1"), ("PORT_5", "NO")],
                            "<PORT_6><ETH_PORT_ACTIVE>NO</ETH_PORT_ACTIVE></PORT_6><PORT_3></PORT_3>"
                            "<PORT_5><ETH_IN>1</ETH_IN><ETH_PORT_ACTIVE>NO</ETH_PORT_ACTIVE></PORT_5>"
                            "<PORT_1><ETH_PORT_ACTIVE></ETH_PORT_ACTIVE></PORT_1>")
        self.upload(board, PORTS, xml, ack(1), events + [GET % 1, GET % 5, GET % 4])
        self.assertFalse(board.exists("root/tmp/tmpPortFile.txt"))
        # A value that is not a plain word never reaches a shell: the request
        # is refused there, and the ports after it are left alone.
        board.write("switch/port1", "1 11 12 13 14 15 16 17 $(reboot)\n")
        xml, events = ports([("PORT_2", "YES"), ("PORT_3", "NO"), ("PORT_4", "NO")])
        self.upload(board, PORTS, xml, WRITE_FAILED, events[:3])
        # A switch tool that fails: the set command has no values.
        board.write("bin/switch_utility", "#!/bin/sh\nexit 1\n")
        self.upload(board, PORTS, ports([("PORT_3", "NO")])[0], ack(1), [GET % 1, SET])
        self.upload(board, PORTS, b"<PORTS><PORT_1/></PORTS>", error(0, b"Xml File InValid"), [])

    def test_ini_loads(self):
        board = self.board()
        tables = sorted(f[:-4] for f in os.listdir(board.path("cfg/defaults")))
        reset = ["cfg session 0 reset_cfg"] + ["cfg restore " + t for t in tables] + ["cfg reset", "cfg end"]
        lib = lambda *t: ["cfg session 5 libIni"] + ["cfg commit " + x for x in t] + ["cfg end"]  # noqa: E731
        # The library applies the file; then the store is reset to its
        # defaults and process 1 signalled (recorded, never sent).
        self.upload(board, "factory.ini", b"; A\n[ProductInfo]\n0.IniVersion = 5\n[ftm]\nrestart = 1\n",
                    ack(1), lib("ProductInfo") + reset + ["kill 1 15"])
        info = board.table("ProductInfo")
        info[0][board.read("cfg/ProductInfo.tsv").split("\t").index("IniVersion")] = "7"
        self.upload(board, "keep.ini", b"[ftm]\nreset = 0\n[ProductInfo]\n0.IniVersion = 7\n", ack(1),
                    lib("ProductInfo"))
        self.assertEqual(board.table("ProductInfo"), info)
        # Refused files: neither reset nor restart.
        for text, events in ((b"[ftm]\nrestart = 1\nnot a line\n", []),
                             (b"[ftm]\nrestart = 1\n[ProductInfo]\n99.IniVersion = x\n",
                              ["cfg session 5 libIni", "cfg abort", "cfg end"])):
            self.upload(board, "x.ini", text, WRITE_FAILED, events, "Process INI Fail!\n")
        board.set_faults("ini parse")
        self.upload(board, "x.ini", b"", WRITE_FAILED, [], "Process INI Fail!\n")
        # Without a store session the reset is passed over.
        board.set_faults("cfg session")
        self.upload(board, "r.ini", b"[ftm]\nrestart = 1\n", ack(1), ["kill 1 15"])
        board.set_faults()
        # The text ends at its first NUL; only the first dot of a name counts.
        self.upload(board, "nul.ini", b"[ftm]\nreset = 0\n\x00[ftm]\nrestart = 1\n", ack(1), [])
        for name, reply, events in (("a.b.ini", NOT_SUPPORTED, []), ("a.INI", NOT_SUPPORTED, []),
                                    ("a.ini.x", NOT_SUPPORTED, []), (".ini", ack(1), reset)):
            self.upload(board, name, b"", reply, events)

