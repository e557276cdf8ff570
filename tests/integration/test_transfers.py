"""Uploads and downloads packet by packet with the raw client: the exact
replies and their order, the repeat, resend and time-out rules, the grace
period after an upload, odd names, and two stations sharing the board.

Board time runs at a tenth of real time, so the board's waits (DATA_WAIT,
ACK_WAIT, TICK in ftmboard) are a tenth of theirs. A station here always
answers well within them."""

import struct
import time
import unittest

from ftmboard import ACK_WAIT, DATA_WAIT, HEX_PAUSE, BoardTest, SLACK, ack, data, error
from ftmreports import PROGRESS, TESTMODEOP, pattern

NOT_SUPPORTED = error(0, b"File Not Supported")
BAD_BLOCK = error(0, b"receive block error")
UNKNOWN = b"station.txt"  # a name no handler takes: refused once the file is in
MODEM_INFO = b"FTM_ModemInfo.xml"


def chunks(content):
    """The DATA payloads of a file: full blocks, then one shorter (maybe empty)."""
    return [content[i:i + 512] for i in range(0, len(content) + 1, 512)]


class TransferTest(BoardTest):
    timescale = 0.1

    def setUp(self):
        self.b = self.board()
        self.c = self.client(self.b)
        self.data_wait = DATA_WAIT * self.b.timescale
        self.ack_wait = ACK_WAIT * self.b.timescale

    def idle(self):
        """Long enough for the grace period after an upload to end."""
        return self.b.grace_over()

    def send_blocks(self, blocks, first=1, c=None):
        c = c or self.c
        for n, payload in enumerate(blocks, first):
            c.data(n, payload)
            c.expect(ack(n))

    def upload(self, name, content, last_reply, c=None):
        c = c or self.c
        c.wrq(name)
        c.expect(ack(0))
        blocks = chunks(content)
        self.send_blocks(blocks[:-1], c=c)
        c.data(len(blocks), blocks[-1])
        c.expect(last_reply)

    def assert_serving(self):
        self.assertIsNone(self.b.proc.poll(), "ftmd exited")
        c = self.client(self.b)
        c.rrq(b"no-such-report.xml")
        c.expect(NOT_SUPPORTED)

    def wait_stdout(self, text, count=1):
        self.b.wait_for(lambda: self.b.stdout().count(text) >= count, 5 * SLACK,
                        "no %r on standard output:\n%s" % (text, self.b.stdout()))


class UploadTest(TransferTest):
    def test_sizes_names_and_limit(self):
        # The verdict replaces the last ACK whatever the size; report names
        # are read-only.
        for name, size in ((UNKNOWN, 0), (UNKNOWN, 1024), (UNKNOWN, 7648),
                           (b"FTM_Statistics.xml", 12), (b"FTM_TestModeOp.xml.bak", 5),
                           (b"firmware.UPG", 600), (b"firmware.upg.txt", 600)):
            with self.subTest(name=name, size=size):
                self.upload(name, pattern(size), NOT_SUPPORTED)
        # One byte over: block 15 (481 bytes) takes the total past 7648; the
        # station's resend of it is refused by the grace period.
        self.upload(UNKNOWN, pattern(7649), error(3, b"file allocation size exceeded"))
        self.c.data(15, b"x")
        self.c.expect(BAD_BLOCK)
        self.c.silence(3 * self.b.tick() + 0.1)
        self.assertEqual(self.b.syslog(), ["info FTM Started"])

    def test_block_numbers(self):
        one, two = pattern(512, 1), pattern(512, 2)
        c = self.c
        # A repeat of the last good block (its ACK was lost) is acknowledged
        # again; DATA 0 repeats the WRQ's ACK 0.
        c.wrq(UNKNOWN)
        c.expect(ack(0))
        for block, payload, reply in ((0, one, ack(0)), (1, one, ack(1)), (1, one, ack(1)),
                                      (2, two, ack(2)), (2, b"tail", NOT_SUPPORTED)):
            c.data(block, payload)
            c.expect(reply)  # a short repeat ends the file with its own number
        # A block from the future or from the past ends the upload.
        for before, sent in ((1, 3), (2, 1), (0, 0xFFFF)):
            with self.subTest(before=before, sent=sent):
                c.wrq(UNKNOWN)
                c.expect(ack(0))
                self.send_blocks([one] * before)
                c.data(sent, two)
                c.expect(error(0, b"expected block %d - received block %d" % (before + 1, sent)))
                c.silence(2 * self.data_wait)
        self.assert_serving()

    def test_silent_station_and_stray_packets(self):
        c = self.c
        for sent in (0, 1):
            with self.subTest(blocks_sent=sent):
                c.wrq(UNKNOWN)
                c.expect(ack(0))
                self.send_blocks([pattern(512)] * sent)
                # The last good block is acknowledged again after each of three
                # time-outs; the fourth gives up with two ERRORs.
                last = time.monotonic()
                for _ in range(3):
                    c.expect(ack(sent), timeout=3 * self.data_wait + 2)
                    self.assertGreater(time.monotonic() - last, 0.5 * self.data_wait)
                    last = time.monotonic()
                expected = b"expected block = %d" % (sent + 1)
                c.expect(error(0, b"Timed out on data packet, " + expected),
                         timeout=3 * self.data_wait + 2)
                c.expect(error(0, b"Bad data packet, " + expected))
                c.data(sent + 1, b"late")  # a failed upload leaves no last block
                c.expect(BAD_BLOCK)
                c.silence(3 * self.b.tick() + 0.1)
        # A repeated WRQ (ACK 0 lost), an ERROR, an ACK or a runt where DATA
        # is expected ends the upload.
        for before, packet in ((0, struct.pack("!H", 2) + UNKNOWN + b"\0octet\0"),
                               (2, error(0, b"station gave up")), (2, ack(2)),
                               (2, b"\x00\x03\x00")):
            with self.subTest(packet=packet):
                c.wrq(UNKNOWN)
                c.expect(ack(0))
                self.send_blocks([pattern(512)] * before)
                c.send(packet)
                c.expect(error(0, b"Bad data packet, expected block = %d" % (before + 1)))
                c.silence(2 * self.data_wait)
        self.assert_serving()

    def test_image_files(self):
        c = self.c
        image = pattern(1500)
        # Received and discarded without dispatch, whatever the size: ACK 3
        # for the 476-byte block 3; only the last extension counts.
        self.upload(b"FTM_TestModeOp.xml.upg", image, ack(3))
        self.upload(b"big.upg", pattern(20000), ack(40))
        c.silence(3 * self.b.tick() + 0.1)
        # A short first block ends an image unanswered; the grace period
        # answers its resend.
        c.wrq(b"small.upg")
        c.expect(ack(0))
        c.data(1, b"tiny")
        c.silence(4 * self.b.tick())
        c.data(1, b"tiny")
        c.expect(ack(1))
        # After a ".hex" image the task pauses.
        self.upload(b"radio.bin.hex", image, ack(3))
        start = time.monotonic()
        c.rrq(b"after-hex.xml")
        c.expect(NOT_SUPPORTED, timeout=HEX_PAUSE * self.b.timescale + 5)
        self.assertGreater(time.monotonic() - start, 0.8 * HEX_PAUSE * self.b.timescale)

    def test_grace_period(self):
        c = self.c
        # The verdict replaced the last ACK but the transfer succeeded: the
        # first resend of a last block, whatever its number, is acknowledged.
        # A station whose ERROR was lost thus sees success for a refused file.
        self.upload(UNKNOWN, pattern(1024), NOT_SUPPORTED)
        time.sleep(4 * self.b.tick())
        c.data(9, b"")
        c.expect(ack(3))
        c.data(3, b"")
        c.silence(3 * self.b.tick() + 0.1)
        # After 11 idle passes, or a download, a late block gets nothing.
        self.upload(b"late.upg", pattern(600), ack(2))
        time.sleep(self.idle())
        c.data(2, pattern(88))
        c.silence(3 * self.b.tick() + 0.1)
        self.upload(UNKNOWN, b"x", NOT_SUPPORTED)
        c.rrq(b"nothing.xml")
        c.expect(NOT_SUPPORTED)
        c.data(1, b"x")
        c.silence(3 * self.b.tick() + 0.1)

    def test_failure_without_a_message_sends_the_last_one(self):
        # A store without a session fails the identity write without a
        # message of its own: the ERROR carries what the record last held,
        # nothing on a fresh board.
        self.b.set_faults("cfg session")
        request = b"<MODEM_INFO><MODEL_NUM>M</MODEL_NUM></MODEM_INFO>"
        self.upload(MODEM_INFO, request, error(0, b""))
        self.upload(UNKNOWN, b"x", NOT_SUPPORTED)
        self.upload(MODEM_INFO, request, NOT_SUPPORTED)


class DownloadTest(TransferTest):
    def test_reports_and_block_rules(self):
        c = self.c
        for name, text in ((b"FTM_Progress.xml", PROGRESS), (b"FTM_TestModeOp.xml", TESTMODEOP)):
            for mode in (b"octet", b"netascii"):  # bytes pass unchanged
                c.rrq(name, mode)
                c.expect(data(1, text))
                c.ack(1)
                c.silence(2 * self.ack_wait)
        text, _ = c.download(MODEM_INFO)
        self.assertGreater(len(text), 512)
        # A repeated ACK 1 resends DATA 2 once; a second one ends the transfer.
        c.rrq(MODEM_INFO)
        c.expect(data(1, text[:512]))
        c.ack(1)
        for _ in range(2):
            c.expect(data(2, text[512:1024]))
            c.ack(1)
        c.expect(error(0, b"expected ACK for block 2 - got block 1\n"))
        self.wait_stdout("read(): expected ACK for block 2 - got block 1\n")
        # ACK 0 for DATA 1 is a repeat: one resend, then refused. The resend
        # is shared with the time-out; an ACK from the future is refused.
        block1 = data(1, PROGRESS)
        for acks, timeout_first in (([0, 1], False), ([0, 0], False), ([0], True), ([2], False)):
            with self.subTest(acks=acks, timeout_first=timeout_first):
                c.rrq(b"FTM_Progress.xml")
                c.expect(block1)
                if timeout_first:
                    c.expect(block1, timeout=3 * self.ack_wait + 2)
                for n, got in enumerate(acks):
                    c.ack(got)
                    if got == 1:
                        break
                    if n == 0 and got == 0 and not timeout_first:
                        c.expect(block1)
                    else:
                        c.expect(error(0, b"expected ACK for block 1 - got block %d\n" % got))
                c.silence(2 * self.ack_wait)
        self.assertEqual(self.b.syslog(), ["info FTM Started"])

    def test_exact_multiple_of_512_ends_with_an_empty_block(self):
        # Grow the serial number until the identity report is 1024 bytes.
        text, _ = self.c.download(MODEM_INFO)
        row = self.b.table("ProductionData")[0]
        serial = "S" * (1024 - len(text) + len(row[1]))
        self.b.write_table("ProductionData", [row[:1] + [serial] + row[2:]])
        c = self.c
        c.rrq(MODEM_INFO)
        first = c.recv()
        c.ack(1)
        second = c.recv()
        c.ack(2)
        self.assertEqual((len(first), len(second)), (516, 516))
        c.expect(data(3, b""))
        c.ack(3)
        c.silence(2 * self.ack_wait)
        self.assertIn(serial.encode(), first[4:] + second[4:])

    def test_silent_station(self):
        c = self.c
        c.rrq(b"FTM_TestModeOp.xml")
        c.expect(data(1, TESTMODEOP))
        start = time.monotonic()
        c.expect(data(1, TESTMODEOP), timeout=3 * self.ack_wait + 2)
        self.assertGreater(time.monotonic() - start, 0.5 * self.ack_wait)
        # After the second time-out the daemon gives up without a word.
        self.wait_stdout("read(): error response to resent packet; abort send\n")
        self.assertEqual(self.b.stdout().count(
            "FTM_getAck: ack packet timeout! timeoutCntr= 13\n"), 2)
        c.silence(2 * self.ack_wait)
        c.ack(1)  # a late ACK is a stray packet now
        self.b.wait_for(lambda: "err TFTP_task: received invalid opcode" in self.b.syslog(),
                        5 * SLACK, "late ACK not logged")

    def test_packets_during_the_ack_wait(self):
        c = self.c
        block1 = data(1, PROGRESS)
        # A repeated RRQ, a WRQ and a DATA are printed and lost; the transfer
        # goes on and no second transfer follows.
        c.rrq(b"FTM_Progress.xml")
        c.expect(block1)
        c.rrq(b"FTM_Progress.xml")
        c.wrq(UNKNOWN)
        c.data(1, b"x")
        c.ack(1)
        c.silence(2 * self.ack_wait)
        for opcode in (1, 2, 3):
            self.assertIn("FTM_getAck: received something other than expected ack packet. "
                          "OpCode = %d\n" % opcode, self.b.stdout())
        # ERRORs from the station are printed and ignored, and a burst of
        # them leaves the time-out as long as it was.
        c.rrq(b"FTM_Progress.xml")
        c.expect(block1)
        start = time.monotonic()
        for _ in range(20):
            c.error(0, b"")
            time.sleep(0.003)
        c.expect(block1, timeout=3 * self.ack_wait + 2)
        self.assertGreater(time.monotonic() - start, 0.7 * self.ack_wait)
        c.ack(1)
        c.silence(2 * self.ack_wait)
        self.assertIn("FTM_getAck: expecting ack packet, got error packet\n", self.b.stdout())

    def test_names(self):
        c = self.c
        refused = [b"/FTM_Progress.xml", b"reports/FTM_Progress.xml", b"ftm_progress.xml",
                   b"FTM_PROGRESS.XML", b"FTM_Progress.xml ", b"FTM_Progress", b"",
                   b"FTM_Progress.xml" * 12]
        for name in refused:
            c.rrq(name)
            c.expect(NOT_SUPPORTED)
        # A name that runs to the end of the datagram ends there; one that
        # fills the whole datagram is refused like any unknown name.
        for raw in (b"FTM_Progress.xml", b"FTM_Progress.xml\0"):
            c.send(struct.pack("!H", 1) + raw)
            c.expect(data(1, PROGRESS))
            c.ack(1)
        c.send(struct.pack("!H", 1) + b"B" * 514)
        c.expect(NOT_SUPPORTED)
        c.send(struct.pack("!H", 2) + b"noname.upg")
        c.expect(ack(0))
        self.send_blocks([pattern(512), b""])
        self.assertEqual(self.b.syslog(), ["info FTM Started"] +
                         ["err TFTP read: invalid filename"] * (len(refused) + 1))


class StationsTest(TransferTest):
    """Replies go to whichever station sent the most recent datagram."""

    def test_second_station_during_a_download(self):
        a, b = self.c, self.client(self.b)
        a.rrq(b"FTM_Progress.xml")
        a.expect(data(1, PROGRESS))
        # B's request is taken by the ACK wait and lost, but B is now the
        # current station: the resend after A's silence goes to B.
        b.rrq(b"FTM_TestModeOp.xml")
        b.expect(data(1, PROGRESS), timeout=3 * self.ack_wait + 2)
        b.ack(1)
        b.silence(2 * self.ack_wait)
        a.silence(0.1)
        self.assertEqual(b.download(b"FTM_TestModeOp.xml"), (TESTMODEOP, None))
        self.assertEqual(a.download(b"FTM_Progress.xml"), (PROGRESS, None))

    def test_second_station_during_an_upload(self):
        a, b = self.c, self.client(self.b)
        a.wrq(UNKNOWN)
        a.expect(ack(0))
        self.send_blocks([pattern(512)], c=a)
        # B's request ends A's upload, and the refusal goes to B.
        b.rrq(b"FTM_Progress.xml")
        b.expect(error(0, b"Bad data packet, expected block = 2"))
        a.silence(0.1)
        a.data(2, pattern(512))
        a.expect(BAD_BLOCK)
        self.assertEqual(b.download(b"FTM_Progress.xml"), (PROGRESS, None))

    def test_requests_queued_together(self):
        a, b = self.c, self.client(self.b)
        # Both arrive while the task pauses after a ".hex" image. A's
        # transfer starts, but B sent last, so A's report goes to B, and B's
        # own request is taken by the ACK wait and lost.
        self.upload(b"pause.hex", pattern(600), ack(2), c=a)
        a.rrq(b"FTM_Progress.xml")
        b.rrq(b"FTM_TestModeOp.xml")
        b.expect(data(1, PROGRESS))
        b.ack(1)
        b.silence(2 * self.ack_wait)
        a.silence(0.1)
        self.wait_stdout("FTM_getAck: received something other than expected ack packet. "
                         "OpCode = 1\n")
        # A refused RRQ takes nothing from the queue: the WRQ queued behind
        # it is served on a later pass, at least one pass after the refusal.
        self.upload(b"pause.hex", pattern(600), ack(2), c=a)
        a.rrq(b"unknown.xml")
        a.wrq(UNKNOWN)
        a.expect(NOT_SUPPORTED)
        refused = time.monotonic()
        a.expect(ack(0))
        self.assertGreater(time.monotonic() - refused, 0.4 * self.b.tick())
        a.data(1, b"x")
        a.expect(NOT_SUPPORTED)


if __name__ == "__main__":
    unittest.main()
