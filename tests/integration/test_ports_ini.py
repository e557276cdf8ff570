"""Requests that change the board wholesale: Ethernet ports switched through
"FTM_Stats_4port.xml" (the exact switch-utility command lines), and whole
configurations loaded from ".ini" uploads (store writes, reset and restart,
refusals, hostile files, the name rule)."""

import os
import unittest

from ftmboard import BoardTest, ack, error

PORTS = "FTM_Stats_4port.xml"
GET = "shell switch_utility PortLinkCfgGet %d | cut -d'=' -f2 | tr -d '\\n' > /tmp/tmpPortFile.txt"
SET = "shell switch_utility PortLinkCfgSet "
WRITE_FAILED = error(0, b"Write data failed")
NOT_SUPPORTED = error(0, b"File Not Supported")


def ports_xml(*ports):
    body = "".join("<%s><ETH_PORT_ACTIVE>%s</ETH_PORT_ACTIVE></%s>" % (p, a, p) for p, a in ports)
    return ("<?xml version=\"1.0\"?><ETHERNET>%s</ETHERNET>" % body).encode()


class PortsAndIniTest(BoardTest):
    def upload(self, board, name, content, reply):
        c = self.client(board)
        mark = len(board.events())
        self.assertEqual(c.upload(name.encode(), content), reply)
        return board.events()[mark:]

    def test_port_commands(self):
        board = self.board()
        for port, config in ((4, "4 1 0 1 0 0 1 3"), (2, "2 1 0 1 0"), (0, "0 1 0 1 0 0 1 3"),
                             (1, "1 1 0 1 0 0 0 3 $(reboot)")):
            board.write("switch/port%d" % port, config + "\n")
        got = self.upload(board, PORTS, ports_xml(
            ("PORT_1", "NO"), ("PORT_6", "NO"), ("PORT_2", "YES"), ("PORT_4", "YES"),
            ("PORT_3", "NO"), ("PORT_5", "")), ack(1))
        self.assertEqual(got, [
            GET % 4, SET + " 4 1 0 1 0 1 1 3", GET % 2, SET + " 2 1 0 1 0",
            GET % 0, SET + " 0 1 0 1 0 1 0 3",
            # A configuration that is not plain words goes back to no shell;
            # without text in ETH_PORT_ACTIVE the configuration is not set.
            GET % 1, GET % 5])
        self.assertEqual(board.read("switch/port4"), "4 1 0 1 0 1 1 3\n")
        self.assertFalse(board.exists("root/tmp/tmpPortFile.txt"))
        # A switch utility that fails: the set command has no values, and the
        # station is not told.
        os.remove(board.path("bin/switch_utility"))
        got = self.upload(board, PORTS, ports_xml(("PORT_3", "NO")), ack(1))
        self.assertEqual(got, [GET % 1, SET])
        self.upload(board, PORTS, b"<PORTS><PORT_1/></PORTS>", error(0, b"Xml File InValid"))

    def test_ini_loads(self):
        board = self.board()
        product = board.read("cfg/ProductInfo.tsv")
        # The library applies the file, then the store is reset and process 1
        # signalled (recorded, never sent); the daemon stays up.
        got = self.upload(board, "factory.ini",
                          b"; line A\n[ProductInfo]\n0.IniFileName = a.ini\n[ftm]\nrestart = 1\n",
                          ack(1))
        self.assertEqual(got, ["cfg commit ProductInfo", "cfg reset", "kill 1 15"])
        self.assertEqual(board.read("cfg/ProductInfo.tsv"), product)
        self.assertIsNone(board.proc.poll())
        got = self.upload(board, "keep.ini",
                          b"[ftm]\nreset = 0\n[ProductInfo]\n0.SoftwareLoad = L 2\n", ack(1))
        self.assertEqual(got, ["cfg commit ProductInfo"])
        self.assertIn("\tL 2\n", board.read("cfg/ProductInfo.tsv"))
        # Files the library refuses change nothing; so does its fault.
        before = {f: board.read("cfg/" + f) for f in os.listdir(board.path("cfg"))
                  if f.endswith(".tsv")}
        # (text, events): a file refused by its syntax never reaches the
        # store; one that names what the store lacks aborts its transaction.
        abort = ["cfg abort"]
        hostile = [(b"not a line of an ini file\n", []), (b"[../../etc]\n0.A = 1\n", []),
                   (b"[ProductInfo]\n0.IniFileName = x\n[Nope]\n0.A=1\n", abort),
                   (b"[ProductInfo]\n99.IniFileName = x\n", abort), (b"top = 1\n", []),
                   (b"[ProductInfo]\n0." + b"K" * 5000 + b" = 1\n", []),
                   (b"[ProductInfo]\n0.IniFileName = " + b"v" * 5000 + b"\n", []),
                   (b"[ftm]\nrestart = yes\n", []), (b"[ftm]\nhalt = 1\n", [])]
        for text, events in hostile:
            with self.subTest(text=text[:40]):
                self.assertEqual(self.upload(board, "x.ini", text, WRITE_FAILED), events)
        board.set_faults("ini parse")
        self.assertEqual(self.upload(board, "x.ini", b"", WRITE_FAILED), [])
        board.set_faults()
        self.assertEqual(board.stdout().count("Process INI Fail!\n"), len(hostile) + 1)
        self.assertEqual({f: board.read("cfg/" + f) for f in before}, before)
        self.assertEqual(sorted(os.listdir(board.path("cfg"))), sorted(list(before) + ["defaults"]))
        # The text ends at its first NUL: what follows is never seen.
        got = self.upload(board, "nul.ini", b"[ftm]\nreset = 0\n[ProductInfo]\n0.IniVersion = 7"
                          b"\x00\n[ftm]\nrestart = 1\n", ack(1))
        self.assertEqual(got, ["cfg commit ProductInfo"])
        # Only the first dot counts.
        for name, reply, events in (("a.b.ini", NOT_SUPPORTED, []), ("a.INI", NOT_SUPPORTED, []),
                                    (".ini", ack(1), ["cfg reset"])):
            self.assertEqual(self.upload(board, name, b"", reply), events)


if __name__ == "__main__":
    unittest.main()
