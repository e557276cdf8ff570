"""The daemon's spine over real UDP: start-up, intake, the transfer task's
handling of stray packets, fatal exits, the connection table."""

import os
import struct
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
SAVED = ("current.cfg", "current.bak", "DSL_MODE")


class StartupTest(BoardTest):
    def assert_startup(self, board, main):
        # The two threads' lines interleave; each thread's own are in order.
        events = board.events()
        threads = [[e for e in events if e in lines] for lines in (main, TASK_STARTUP)]
        self.assertEqual((threads, len(events)), ([main, TASK_STARTUP], len(main) + 4), events)

    def test_startup_sequence(self):
        board = self.board(start=False)
        self.assertEqual([board.exists("root/PRST/" + name) for name in SAVED], [True] * 3)
        board.start()
        self.assert_startup(board, MAIN_STARTUP)
        self.assertEqual((board.syslog(), [board.exists("root/PRST/" + name) for name in SAVED]),
                         (["info FTM Started"], [False] * 3))

    def test_broken_gpio_and_missing_files_do_not_stop_startup(self):
        board = self.board(start=False)
        for name in ("current.cfg", "DSL_MODE"):
            os.remove(board.path("root/PRST/" + name))
        board.set_faults("ioctl GPIOCTRL_WRITEIO")
        board.start()
        self.assert_startup(board, [e for e in MAIN_STARTUP if not e.startswith("gpio write")])
        self.assertEqual(board.syslog(), ["info FTM Started"] +
                         ["err GPIOCTRL_WRITEIO ioctl failed"] * 4)
        # wlanconfig, run by the other thread, prints on the same console.
        out = board.stdout().replace("ath0\n", "").replace("ath4\n", "")
        self.assertEqual(out, "".join("************ %s GPIOCTRL_WRITEIO ioctl failed%s\n\r" % step
                                      for step in (("eLTEPowerEnable 0", " "),
                                                   ("eLTEWifiDisable 1", ""),
                                                   ("eLTEPowerEnable 1", " "),
                                                   ("eLTEWifiDisable 0", "")))
                         + "GPIOCTRL_EXITFTM ioctl success\n")
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
        # opcodes and runts are logged; none is answered, and the task
        # serves on.
        for packet in (struct.pack("!HH", 3, 1) + b"x", ack(1), error(0, b"station error"),
                       struct.pack("!H", 9) + b"junk", b"\x00"):
            c.send(packet)
        c.silence(20 * board.tick() + 0.3)
        self.assertEqual(c.download(b"FTM_Progress.xml")[1], None)
        # A zero-length datagram ends the daemon.
        c.send(b"")
        self.assertEqual(board.wait_exit(), 255)
        self.assertEqual(board.syslog()[1:], ["err TFTP_task: received invalid opcode"] * 4 +
                         ["err recvfrom() failed"] * 2)

    def test_hundred_and_first_client_evicts_entry_zero(self):
        board = self.board()
        mark = board.mark()
        clients = [RawClient(board.port) for _ in range(101)]
        self.addCleanup(lambda: [c.close() for c in clients])
        # The ACKs are logged and dropped; only the table matters here. An
        # old client keeps its entry.
        for c in clients + [clients[1]]:
            c.ack(7)
        board.wait_for(lambda: len(board.since(mark).syslog) == 102, 5 * SLACK, "ACKs not taken")
        self.assertEqual(board.since(mark).stdout, "Close Old Connection 0\n")
        # Replies go to the sender of the most recent datagram.
        clients[100].rrq(b"none")
        clients[100].expect(NOT_SUPPORTED)


if __name__ == "__main__":
    unittest.main()
