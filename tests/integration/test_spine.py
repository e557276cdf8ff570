"""The daemon's spine over real UDP: start-up, intake, the transfer task's
handling of stray packets, fatal exits, the connection table."""

import os
import struct
import time
import unittest

from ftmboard import BoardTest, SLACK, RawClient, ack, error

MAIN_STARTUP = [
    "shell rmmod NetUSB",
    "gpio enterftm",
    "gpio write 65 0",
    "gpio write 69 1",
    "gpio write 65 1",
    "gpio write 69 0",
    "gpio exitftm",
    "shell switch_utility RegisterSet 0xccd 0x0",
    "shell switch_utility RegisterSet 0xc50 0x1805",
]
TASK_STARTUP = [
    "shell wlanconfig ath0 create wlandev wifi0 wlanmode ap",
    "shell wlanconfig ath4 create wlandev wifi1 wlanmode ap",
    "shell brctl addif br0 ath0",
    "shell brctl addif br0 ath4",
]
NOT_SUPPORTED = error(0, b"File Not Supported")


class StartupTest(BoardTest):
    def test_startup_sequence(self):
        board = self.board(start=False)
        for name in ("current.cfg", "current.bak", "DSL_MODE"):
            self.assertTrue(board.exists("root/PRST/" + name))
        board.start()
        events = board.events()
        # The two threads' lines interleave; each thread's own are in order.
        self.assertEqual([e for e in events if e in MAIN_STARTUP], MAIN_STARTUP)
        self.assertEqual([e for e in events if e in TASK_STARTUP], TASK_STARTUP)
        self.assertEqual(len(events), len(MAIN_STARTUP) + len(TASK_STARTUP), events)
        self.assertEqual(board.syslog(), ["info FTM Started"])
        for name in ("current.cfg", "current.bak", "DSL_MODE"):
            self.assertFalse(board.exists("root/PRST/" + name))
        self.assertEqual(board.read("gpio/65"), "1\n")
        self.assertEqual(board.read("gpio/69"), "0\n")
        self.assertIn("GPIOCTRL_EXITFTM ioctl success\n", board.stdout())

    def test_broken_gpio_and_missing_files_do_not_stop_startup(self):
        board = self.board(start=False)
        for name in ("current.cfg", "DSL_MODE"):
            os.remove(board.path("root/PRST/" + name))
        board.set_faults("ioctl GPIOCTRL_WRITEIO")
        board.start()
        self.assertEqual(board.syslog(), ["info FTM Started"] +
                         ["err GPIOCTRL_WRITEIO ioctl failed"] * 4)
        # wlanconfig, run by the other thread, prints on the same console.
        out = board.stdout().replace("ath0\n", "").replace("ath4\n", "")
        self.assertIn("".join("************ %s GPIOCTRL_WRITEIO ioctl failed%s\n\r" % step
                              for step in (("eLTEPowerEnable 0", " "), ("eLTEWifiDisable 1", ""),
                                           ("eLTEPowerEnable 1", " "), ("eLTEWifiDisable 0", "")))
                      + "GPIOCTRL_EXITFTM ioctl success\n", out)
        self.assertIn("gpio exitftm", board.events())
        self.assertFalse(board.exists("root/PRST/current.bak"))
        c = self.client(board)
        c.rrq(b"nothing.xml")
        c.expect(NOT_SUPPORTED)

    def test_requests_during_lte_power_cycle_are_served_afterwards(self):
        board = self.board(start=False, timescale=0.1)  # a 2 s power cycle
        board.start(wait_ready=False)
        board.wait_for(lambda: "gpio write 65 0" in board.events(), 10 * SLACK,
                       "power cycle did not start")
        c = self.client(board)
        c.rrq(b"unknown.xml")
        self.assertTrue(board.exists("root/PRST/DSL_MODE"), "start-up already over")
        c.expect(NOT_SUPPORTED, timeout=10)
        self.assertFalse(board.exists("root/PRST/DSL_MODE"))

    def test_second_daemon_cannot_bind(self):
        board = self.board()
        second = self.board(start=False, port=board.port)
        second.start(wait_ready=False)
        self.assertEqual(second.wait_exit(), 255)
        self.assertEqual(second.syslog(), ["info FTM Started", "err bind() failed"])


class IntakeTest(BoardTest):
    def test_stray_packets_then_a_zero_length_datagram(self):
        board = self.board()
        c = self.client(board)
        # 596 data bytes of an image arrive as 512: a full block, not a
        # "data_len" refusal.
        c.wrq(b"image.upg")
        c.expect(ack(0))
        for block, size in ((1, 596), (2, 5)):
            c.data(block, b"a" * size)
            c.expect(ack(block))
        c.silence(board.grace_over())
        # DATA outside the grace period is dropped; ACK, ERROR, unknown
        # opcodes and runts are logged; none is answered.
        for packet in (struct.pack("!HH", 3, 1) + b"x", ack(1), error(0, b"station error"),
                       struct.pack("!H", 9) + b"junk", b"\x00"):
            c.send(packet)
        c.silence(20 * board.tick() + 0.3)
        self.assertEqual(board.syslog()[1:], ["err TFTP_task: received invalid opcode"] * 4)
        c.rrq(b"x")
        c.expect(NOT_SUPPORTED)
        # The transfer task logs the refusal after sending it.
        board.wait_for(lambda: "err TFTP read: invalid filename" in board.syslog(), 5 * SLACK,
                       "refusal not logged")
        # A zero-length datagram ends the daemon.
        c.send(b"")
        self.assertEqual(board.wait_exit(), 255)
        self.assertEqual(board.syslog()[-2:], ["err recvfrom() failed", "err recvfrom() failed"])

    def test_hundred_and_first_client_evicts_entry_zero(self):
        board = self.board()
        clients = [RawClient(board.port) for _ in range(101)]
        self.addCleanup(lambda: [c.close() for c in clients])
        for c in clients[:100]:
            c.ack(7)  # logged and dropped; only the table matters here
        time.sleep(0.2)
        self.assertNotIn("Close Old Connection", board.stdout())
        clients[100].ack(7)
        clients[1].ack(7)  # an old client keeps its entry
        board.wait_for(lambda: "Close Old Connection" in board.stdout(), 5 * SLACK,
                       "no eviction")
        time.sleep(0.2)
        self.assertEqual(board.stdout().count("Close Old Connection"), 1)
        self.assertIn("Close Old Connection 0\n", board.stdout())
        # Replies go to the sender of the most recent datagram.
        clients[100].rrq(b"none")
        clients[100].expect(NOT_SUPPORTED)


if __name__ == "__main__":
    unittest.main()
