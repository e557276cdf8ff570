"""Uploads and downloads packet by packet with the raw client: the exact
replies and their order, the repeat, resend and time-out rules, the grace
period after an upload, odd names, and two stations sharing the board.

Time-outs run on the board's scaled clock: at timescale 0.2 the wait for a
DATA block lasts about 0.6 s, the wait for an ACK about 0.65 s and a pass of
the transfer task 50 ms. A station here always answers well within those."""

import struct
import time
import unittest

from ftmboard import BoardTest, SLACK, ack, data, error
from ftmreports import PROGRESS, TESTMODEOP

NOT_SUPPORTED = error(0, b"File Not Supported")
TOO_BIG = error(3, b"file allocation size exceeded")
# Names that no handler ever takes: refused once the whole file is in.
UNKNOWN = b"station.txt"
READ_ONLY = b"FTM_Statistics.xml"


def chunks(content):
    """The DATA payloads of a file: full blocks, then one shorter (maybe empty)."""
    return [content[i:i + 512] for i in range(0, len(content) + 1, 512)]


def pattern(size, seed=0):
    return bytes((i * 7 + seed) % 251 for i in range(size))


class TransferTest(BoardTest):
    timescale = 0.2

    def data_wait(self, board):
        """Real seconds the daemon waits for one DATA block (301 polls of 10 ms)."""
        return 3.01 * board.timescale

    def ack_wait(self, board):
        """Real seconds the daemon waits for one ACK (13 polls of 250 ms)."""
        return 3.25 * board.timescale

    def send_blocks(self, c, blocks, first=1):
        """Sends DATA blocks that must each be acknowledged."""
        for n, payload in enumerate(blocks, first):
            c.data(n, payload)
            c.expect(ack(n))

    def upload(self, c, name, content, last_reply):
        """A whole upload; the last block must be answered by last_reply."""
        c.wrq(name)
        c.expect(ack(0))
        blocks = chunks(content)
        self.send_blocks(c, blocks[:-1])
        c.data(len(blocks), blocks[-1])
        c.expect(last_reply)

    def assert_serving(self, board):
        """The daemon is alive and answers the next request normally."""
        self.assertIsNone(board.proc.poll(), "ftmd exited")
        c = self.client(board)
        c.rrq(b"no-such-report.xml")
        c.expect(NOT_SUPPORTED)

    def wait_stdout(self, board, text, count=1):
        board.wait_for(lambda: board.stdout().count(text) >= count, 5 * SLACK,
                       "no %r on standard output:\n%s" % (text, board.stdout()))


class UploadTest(TransferTest):
    def test_block_sequences_and_size_limit(self):
        board = self.board()
        c = self.client(board)
        # The name is only looked at once the last block is in: the refusal
        # takes the place of the last ACK, whatever the size.
        for size in (0, 1024, 7648):
            with self.subTest(size=size):
                self.upload(c, UNKNOWN, pattern(size), NOT_SUPPORTED)
        # A report's name is read-only.
        self.upload(c, READ_ONLY, b"<FTM_STATS/>", NOT_SUPPORTED)
        # One byte over: block 15 (481 bytes) takes the total past 7648.
        c.wrq(UNKNOWN)
        c.expect(ack(0))
        blocks = chunks(pattern(7649))
        self.assertEqual(len(blocks), 15)
        self.send_blocks(c, blocks[:14])
        c.data(15, blocks[14])
        c.expect(TOO_BIG)
        # The station resends: the grace period refuses the failed upload.
        c.data(15, blocks[14])
        c.expect(error(0, b"receive block error"))
        c.silence(3 * board.tick() + 0.2)
        self.assertEqual(board.syslog(), ["info FTM Started"])

    def test_repeated_and_misnumbered_blocks(self):
        board = self.board()
        c = self.client(board)
        one, two = pattern(512, 1), pattern(512, 2)
        # A repeat of the last good block (the station missed its ACK) is
        # acknowledged again and the transfer goes on.
        c.wrq(UNKNOWN)
        c.expect(ack(0))
        c.data(1, one)
        c.expect(ack(1))
        c.data(1, one)
        c.expect(ack(1))
        c.data(2, two)
        c.expect(ack(2))
        c.data(3, b"end")
        c.expect(NOT_SUPPORTED)

        # DATA 0 where block 1 is expected repeats the WRQ's ACK 0.
        c.wrq(UNKNOWN)
        c.expect(ack(0))
        c.data(0, one)
        c.expect(ack(0))
        c.data(1, b"")
        c.expect(NOT_SUPPORTED)

        # A short repeat ends the file where it stands: the dispatch runs and
        # its verdict goes out for the repeated block's number.
        c.wrq(UNKNOWN)
        c.expect(ack(0))
        self.send_blocks(c, [one, two])
        c.data(2, b"tail")
        c.expect(NOT_SUPPORTED)

        # A block from the future, then one from the past: both end the upload.
        for blocks_before, sent in ((1, 3), (2, 1), (0, 0xFFFF)):
            with self.subTest(blocks_before=blocks_before, sent=sent):
                c.wrq(UNKNOWN)
                c.expect(ack(0))
                self.send_blocks(c, [one] * blocks_before)
                expected = blocks_before + 1
                c.data(sent, two)
                c.expect(error(0, b"expected block %d - received block %d" % (expected, sent)))
                c.silence(2 * self.data_wait(board))
        self.assert_serving(board)

    def test_silent_station(self):
        board = self.board()
        c = self.client(board)
        wait = self.data_wait(board)
        for sent in (0, 1):
            with self.subTest(blocks_sent=sent):
                c.wrq(UNKNOWN)
                c.expect(ack(0))
                self.send_blocks(c, [pattern(512)] * sent)
                # The last good block is acknowledged again after each of
                # three time-outs; the fourth gives up with two ERRORs.
                last = time.monotonic()
                for _ in range(3):
                    c.expect(ack(sent), timeout=3 * wait + 2)
                    now = time.monotonic()
                    self.assertGreater(now - last, 0.5 * wait, "ACK resent before a time-out")
                    last = now
                c.expect(error(0, b"Timed out on data packet, expected block = %d" % (sent + 1)),
                         timeout=3 * wait + 2)
                c.expect(error(0, b"Bad data packet, expected block = %d" % (sent + 1)))
                # The failed upload leaves no last block for the grace period.
                c.data(sent + 1, b"late")
                c.expect(error(0, b"receive block error"))
                c.silence(3 * board.tick() + 0.2)

    def test_other_packets_end_an_upload(self):
        board = self.board()
        c = self.client(board)
        # The station missed ACK 0 and repeats its WRQ: the wait for block 1
        # takes it as a bad packet.
        c.wrq(UNKNOWN)
        c.expect(ack(0))
        c.wrq(UNKNOWN)
        c.expect(error(0, b"Bad data packet, expected block = 1"))
        c.silence(2 * self.data_wait(board))
        # An ERROR from the station mid-transfer, an ACK, a runt of 3 bytes.
        for packet in (error(0, b"station gave up"), ack(2), b"\x00\x03\x00"):
            with self.subTest(packet=packet):
                c.wrq(UNKNOWN)
                c.expect(ack(0))
                self.send_blocks(c, [pattern(512)] * 2)
                c.send(packet)
                c.expect(error(0, b"Bad data packet, expected block = 3"))
                c.silence(2 * self.data_wait(board))
        self.assert_serving(board)

    def test_image_files(self):
        board = self.board()
        c = self.client(board)
        image = pattern(1500)
        # Received and discarded, no dispatch: ACK 3 for the 476-byte block 3.
        for name in (b"firmware.upg", b"FTM_TestModeOp.xml.upg"):
            with self.subTest(name=name):
                self.upload(c, name, image, ack(3))
                c.silence(3 * board.tick() + 0.2)
        # Images are not kept, so the plain file limit does not apply.
        self.upload(c, b"big.upg", pattern(20000), ack(40))
        # Only the last extension counts, and it is compared exactly.
        for name in (b"firmware.upg.txt", b"firmware.UPG", b"FTM_TestModeOp.xml.bak"):
            with self.subTest(name=name):
                self.upload(c, name, image, NOT_SUPPORTED)
        # A first block shorter than 512 ends an image at once and unanswered;
        # the station's resend of it is acknowledged by the grace period.
        c.wrq(b"small.upg")
        c.expect(ack(0))
        c.data(1, b"tiny")
        c.silence(4 * board.tick())
        c.data(1, b"tiny")
        c.expect(ack(1))

        # A ".hex" image: after its last ACK the task pauses 3 s (board time)
        # before it takes the next request.
        pause = 3 * board.timescale
        self.upload(c, b"radio.bin.hex", image, ack(3))
        start = time.monotonic()
        c.rrq(b"after-hex.xml")
        c.expect(NOT_SUPPORTED, timeout=pause + 5)
        self.assertGreater(time.monotonic() - start, 0.8 * pause,
                           "no pause after the .hex image")

    def test_grace_period(self):
        board = self.board()
        c = self.client(board)
        # The verdict replaced the last ACK; the transfer itself succeeded,
        # so a resend of its last block is acknowledged, whatever number it
        # carries, and only the first resend.
        self.upload(c, UNKNOWN, pattern(1024), NOT_SUPPORTED)
        time.sleep(4 * board.tick())  # about 1 s of board time
        c.data(9, b"")
        c.expect(ack(3))
        c.data(3, b"")
        c.silence(3 * board.tick() + 0.2)
        # Once the 11 idle passes are over, a late block gets nothing.
        self.upload(c, b"late.upg", pattern(600), ack(2))
        time.sleep(22 * board.tick())
        c.data(2, pattern(88))
        c.silence(3 * board.tick() + 0.2)
        # A download in between ends the grace period.
        self.upload(c, UNKNOWN, b"x", NOT_SUPPORTED)
        c.rrq(b"nothing.xml")
        c.expect(NOT_SUPPORTED)
        c.data(1, b"x")
        c.silence(3 * board.tick() + 0.2)


class DownloadTest(TransferTest):
    def test_reports(self):
        board = self.board()
        c = self.client(board)
        for name, text in ((b"FTM_Progress.xml", PROGRESS), (b"FTM_TestModeOp.xml", TESTMODEOP)):
            with self.subTest(name=name):
                # Each fits one block; the transfer ends with its ACK, and the
                # report is built afresh each time.
                for mode in (b"octet", b"netascii"):
                    c.rrq(name, mode)
                    c.expect(data(1, text))
                    c.ack(1)
                    c.silence(2 * self.ack_wait(board))
        self.assertEqual(board.syslog(), ["info FTM Started"])
        self.assertEqual(board.stdout().count("FTM_getAck"), 0, board.stdout())

    def test_multi_block_report(self):
        board = self.board()
        c = self.client(board)
        text = None
        for name in (b"FTM_TestModeCfg.xml", b"FTM_Statistics.xml", b"FTM_Stats_4port.xml",
                     b"FTM_ModemInfo.xml", b"FTM_MobileInfo.xml"):
            content, _ = c.download(name)
            if content is not None and len(content) > 512:
                text = content
                break
        if text is None:
            self.skipTest("no report of more than one block is built yet")
        # Blocks in order; a repeated ACK 1 resends DATA 2 once, a second
        # one ends the transfer.
        c.rrq(name)
        c.expect(data(1, text[:512]))
        c.ack(1)
        c.expect(data(2, text[512:1024]))
        c.ack(1)
        c.expect(data(2, text[512:1024]))
        c.ack(1)
        c.expect(error(0, b"expected ACK for block 2 - got block 1\n"))
        self.wait_stdout(board, "read(): expected ACK for block 2 - got block 1\n")
        self.assert_serving(board)

    def test_resend_rules(self):
        board = self.board()
        c = self.client(board)
        name, block1 = b"FTM_Progress.xml", data(1, PROGRESS)
        refusals = {}

        def refused(got):
            refusals[got] = refusals.get(got, 0) + 1
            c.expect(error(0, b"expected ACK for block 1 - got block %d\n" % got))
            self.wait_stdout(board, "read(): expected ACK for block 1 - got block %d\n" % got,
                             refusals[got])
            c.silence(2 * self.ack_wait(board))

        # ACK 0 for DATA 1 is a repeat: one resend, then the ACK ends it.
        c.rrq(name)
        c.expect(block1)
        c.ack(0)
        c.expect(block1)
        c.ack(1)
        c.silence(2 * self.ack_wait(board))
        # A second repeat is refused.
        c.rrq(name)
        c.expect(block1)
        c.ack(0)
        c.expect(block1)
        c.ack(0)
        refused(0)
        # The resend is shared: after a time-out used it, a repeat is refused.
        c.rrq(name)
        c.expect(block1)
        c.expect(block1, timeout=3 * self.ack_wait(board) + 2)
        c.ack(0)
        refused(0)
        # An ACK from the future.
        c.rrq(name)
        c.expect(block1)
        c.ack(2)
        refused(2)
        self.assertEqual(board.syslog(), ["info FTM Started"])

    def test_silent_station(self):
        board = self.board()
        c = self.client(board)
        wait = self.ack_wait(board)
        c.rrq(b"FTM_TestModeOp.xml")
        c.expect(data(1, TESTMODEOP))
        start = time.monotonic()
        c.expect(data(1, TESTMODEOP), timeout=3 * wait + 2)
        self.assertGreater(time.monotonic() - start, 0.5 * wait, "DATA resent before a time-out")
        # After the second time-out the daemon gives up without a word.
        self.wait_stdout(board, "read(): error response to resent packet; abort send\n")
        self.assertEqual(board.stdout().count("FTM_getAck: ack packet timeout! timeoutCntr= 13\n"),
                         2, board.stdout())
        c.silence(2 * wait)
        # A late ACK is a stray packet now.
        c.ack(1)
        board.wait_for(lambda: "err TFTP_task: received invalid opcode" in board.syslog(),
                       5 * SLACK, "late ACK not logged")
        self.assert_serving(board)

    def test_packets_during_ack_wait(self):
        board = self.board()
        c = self.client(board)
        name, block1 = b"FTM_Progress.xml", data(1, PROGRESS)
        # A repeated RRQ, a WRQ and a DATA packet are printed and lost; the
        # transfer goes on and no second transfer follows.
        c.rrq(name)
        c.expect(block1)
        c.rrq(name)
        c.wrq(UNKNOWN)
        c.data(1, b"x")
        c.ack(1)
        c.silence(2 * self.ack_wait(board))
        out = board.stdout()
        for opcode in (1, 2, 3):
            self.assertIn("FTM_getAck: received something other than expected ack packet. "
                          "OpCode = %d\n" % opcode, out)
        # An ERROR from the station is printed and ignored: the wait still
        # runs to its time-out, then DATA 1 goes out again.
        c.rrq(name)
        c.expect(block1)
        c.error(0, b"station aborts")
        c.expect(block1, timeout=3 * self.ack_wait(board) + 2)
        c.ack(1)
        c.silence(2 * self.ack_wait(board))
        self.assertIn("FTM_getAck: expecting ack packet, got error packet\n", board.stdout())
        self.assertEqual(board.syslog(), ["info FTM Started"])

    def test_stray_packets_do_not_shorten_the_ack_wait(self):
        # The wait's 13 polls of 250 ms count time, not datagrams: a burst of
        # packets from the station leaves the time-out where it was.
        board = self.board()
        c = self.client(board)
        name, block1 = b"FTM_Progress.xml", data(1, PROGRESS)
        wait = self.ack_wait(board)
        c.rrq(name)
        c.expect(block1)
        start = time.monotonic()
        for _ in range(20):
            c.error(0, b"")
            time.sleep(0.005)
        c.expect(block1, timeout=3 * wait + 2)
        self.assertGreater(time.monotonic() - start, 0.7 * wait,
                           "stray packets cut the ACK wait short")
        c.ack(1)
        c.silence(2 * wait)

    def test_names(self):
        board = self.board()
        c = self.client(board)
        refused = [b"/FTM_Progress.xml", b"reports/FTM_Progress.xml", b"./FTM_Progress.xml",
                   b"ftm_progress.xml", b"FTM_PROGRESS.XML", b"FTM_Progress.xml ",
                   b"FTM_Progress", b"", b"A" * 200, b"FTM_Progress.xml" * 12]
        for name in refused:
            with self.subTest(name=name):
                c.rrq(name)
                c.expect(NOT_SUPPORTED)
        # A name that runs to the end of the datagram ends there; one that
        # fills the whole datagram is refused like any unknown name.
        c.send(struct.pack("!H", 1) + b"FTM_Progress.xml")
        c.expect(data(1, PROGRESS))
        c.ack(1)
        c.send(struct.pack("!H", 1) + b"FTM_Progress.xml\0")
        c.expect(data(1, PROGRESS))
        c.ack(1)
        c.send(struct.pack("!H", 1) + b"B" * 514)
        c.expect(NOT_SUPPORTED)
        c.send(struct.pack("!H", 2) + b"noname.upg")
        c.expect(ack(0))
        c.data(1, pattern(512))
        c.expect(ack(1))
        c.data(2, b"")
        c.expect(ack(2))
        self.assertEqual(board.syslog(), ["info FTM Started"] +
                         ["err TFTP read: invalid filename"] * (len(refused) + 1))
        self.assert_serving(board)


class StationsTest(TransferTest):
    """Replies go to whichever station sent the most recent datagram."""

    def test_second_station_during_a_download(self):
        board = self.board()
        a, b = self.client(board), self.client(board)
        a.rrq(b"FTM_Progress.xml")
        a.expect(data(1, PROGRESS))
        # B's request is taken by the ACK wait and lost, but B is now the
        # current station: the resend after A's silence goes to B.
        b.rrq(b"FTM_TestModeOp.xml")
        b.expect(data(1, PROGRESS), timeout=3 * self.ack_wait(board) + 2)
        b.ack(1)
        b.silence(2 * self.ack_wait(board))
        a.silence(0.1)
        # Both are served normally afterwards, each in turn.
        self.assertEqual(b.download(b"FTM_TestModeOp.xml"), (TESTMODEOP, None))
        self.assertEqual(a.download(b"FTM_Progress.xml"), (PROGRESS, None))

    def test_two_requests_at_once(self):
        board = self.board()
        a, b = self.client(board), self.client(board)
        # Both arrive while the task pauses after a .hex image, and wait for
        # its next pass; A's transfer starts, but B sent last, so A's report
        # goes to B, and B's own request is lost in the ACK wait.
        a.wrq(b"pause.hex")
        a.expect(ack(0))
        a.data(1, pattern(512))
        a.expect(ack(1))
        a.data(2, b"")
        a.expect(ack(2))
        a.rrq(b"FTM_Progress.xml")
        b.rrq(b"FTM_TestModeOp.xml")
        b.expect(data(1, PROGRESS))
        b.ack(1)
        b.silence(2 * self.ack_wait(board))
        a.silence(0.1)
        self.wait_stdout(board, "FTM_getAck: received something other than expected ack "
                         "packet. OpCode = 1\n")

    def test_second_station_during_an_upload(self):
        board = self.board()
        a, b = self.client(board), self.client(board)
        a.wrq(UNKNOWN)
        a.expect(ack(0))
        a.data(1, pattern(512))
        a.expect(ack(1))
        # B's request ends A's upload, and the refusal goes to B.
        b.rrq(b"FTM_Progress.xml")
        b.expect(error(0, b"Bad data packet, expected block = 2"))
        a.silence(0.1)
        # A's next block finds the upload failed.
        a.data(2, pattern(512))
        a.expect(error(0, b"receive block error"))
        b.silence(0.1)
        # B's request was consumed; asked again, it is served.
        self.assertEqual(b.download(b"FTM_Progress.xml"), (PROGRESS, None))


if __name__ == "__main__":
    unittest.main()
