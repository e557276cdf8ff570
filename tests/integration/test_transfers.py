"""Uploads and downloads packet by packet with the raw client: the exact
replies and their order, the repeat, resend and time-out rules, the grace
period after an upload, odd names, and two stations sharing the board.

Board time runs at a tenth of real time, so the board's waits (DATA_WAIT,
ACK_WAIT, TICK in ftmboard) are a tenth of theirs. A station here always
answers well within them."""

import struct
import time
import unittest

from ftmboard import ACK_WAIT, DATA_WAIT, HEX_PAUSE, SLACK, BoardTest, ack, data, error, rrq, wrq
from ftmreports import PROGRESS, TESTMODEOP, pattern

NOT_SUPPORTED = error(0, b"File Not Supported")
BAD_BLOCK = error(0, b"receive block error")
UNKNOWN = b"station.txt"  # a name no handler takes: refused once the file is in
MODEM_INFO = b"FTM_ModemInfo.xml"


def chunks(content):
    """The DATA payloads of a file: full blocks, then one shorter (maybe empty)."""
    return [content[i:i + 512] for i in range(0, len(content) + 1, 512)]


def acked(blocks, first=1):
    """Steps for talk(): DATA blocks, each acknowledged."""
    return [(data(n, payload), ack(n)) for n, payload in enumerate(blocks, first)]


class TransferTest(BoardTest):
    timescale = 0.1

    def setUp(self):
        self.b = self.board()
        self.c = self.client(self.b)
        self.data_wait = DATA_WAIT * self.b.timescale
        self.ack_wait = ACK_WAIT * self.b.timescale

    def talk(self, steps, c=None, quiet=None):
        """Sends each step's packet (None: nothing) and compares the whole
        sequence of replies, one per step (None: silence for `quiet` seconds,
        by default longer than any of the board's waits)."""
        c, got = c or self.c, []
        for packet, reply in steps:
            if packet is not None:
                c.send(packet)
            silence = (quiet or 2 * self.ack_wait) / SLACK
            got.append(c.recv() if reply is not None else c.recv(silence))
        self.assertEqual(got, [reply for _, reply in steps])

    def upload(self, name, content, last_reply, c=None):
        blocks = chunks(content)
        self.talk([(wrq(name), ack(0))] + acked(blocks[:-1]) +
                  [(data(len(blocks), blocks[-1]), last_reply)], c)

    def wait_stdout(self, text):
        self.b.wait_for(lambda: text in self.b.stdout(), 5 * SLACK,
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
        self.talk([(data(15, b"x"), BAD_BLOCK), (None, None)])
        self.assertEqual(self.b.syslog(), ["info FTM Started"])

    def test_block_numbers_and_stray_packets(self):
        one, two = pattern(512, 1), pattern(512, 2)
        # A repeat of the last good block (its ACK was lost) is acknowledged
        # again; DATA 0 repeats the WRQ's ACK 0; a short repeat ends the
        # file with its own number.
        self.talk([(wrq(UNKNOWN), ack(0)), (data(0, one), ack(0)), (data(1, one), ack(1)),
                   (data(1, one), ack(1)), (data(2, two), ack(2)),
                   (data(2, b"tail"), NOT_SUPPORTED)])
        # A block from the future or from the past ends the upload, and so
        # does a repeated WRQ (ACK 0 lost), an ERROR, an ACK or a runt.
        wrong = b"expected block %d - received block %d"
        bad = b"Bad data packet, expected block = %d"
        for before, packet, message in ((1, data(3, two), wrong % (2, 3)),
                                        (2, data(1, two), wrong % (3, 1)),
                                        (0, data(0xFFFF, two), wrong % (1, 0xFFFF)),
                                        (0, wrq(UNKNOWN), bad % 1),
                                        (2, error(0, b"station gave up"), bad % 3),
                                        (2, ack(2), bad % 3), (2, b"\x00\x03\x00", bad % 3)):
            with self.subTest(before=before, packet=packet[:8]):
                self.talk([(wrq(UNKNOWN), ack(0))] + acked([one] * before) +
                          [(packet, error(0, message)), (None, None)])
        self.talk([(rrq(b"no-such-report.xml"), NOT_SUPPORTED)], self.client(self.b))

    def test_silent_station(self):
        c = self.c
        for sent in (0, 1):
            with self.subTest(blocks_sent=sent):
                self.talk([(wrq(UNKNOWN), ack(0))])
                if sent:  # a time-out before block 1 counts nothing against block 2
                    c.expect(ack(0), timeout=3 * self.data_wait + 2)
                    self.talk(acked([pattern(512)]))
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
                # A failed upload leaves no last block for the grace period.
                self.talk([(None, error(0, b"Bad data packet, " + expected)),
                           (data(sent + 1, b"late"), BAD_BLOCK), (None, None)])

    def test_image_files(self):
        image = pattern(1500)
        # Received and discarded without dispatch, whatever the size: ACK 3
        # for the 476-byte block 3; only the last extension counts.
        self.upload(b"FTM_TestModeOp.xml.upg", image, ack(3))
        self.upload(b"big.upg", pattern(20000), ack(40))
        # A short first block ends an image unanswered, with no pause even
        # for a ".hex" one; the grace period answers its resend.
        for name in (b"small.upg", b"small.hex"):
            self.talk([(None, None), (wrq(name), ack(0)), (data(1, b"tiny"), None)],
                      quiet=4 * self.b.tick())
            start = time.monotonic()
            self.talk([(data(1, b"tiny"), ack(1))])
            self.assertLess(time.monotonic() - start, 0.5 * HEX_PAUSE * self.b.timescale)
        # After a ".hex" image the task pauses.
        self.upload(b"radio.bin.hex", image, ack(3))
        start = time.monotonic()
        self.c.rrq(b"after-hex.xml")
        self.c.expect(NOT_SUPPORTED, timeout=HEX_PAUSE * self.b.timescale + 5)
        self.assertGreater(time.monotonic() - start, 0.8 * HEX_PAUSE * self.b.timescale)

    def test_grace_period(self):
        # The verdict replaced the last ACK but the transfer succeeded: the
        # first resend of a last block, whatever its number, is acknowledged.
        # A station whose ERROR was lost thus sees success for a refused file.
        # After a download a late block gets nothing. (The end of the grace
        # period after idle passes: test_spine.)
        self.upload(UNKNOWN, pattern(1024), NOT_SUPPORTED)
        time.sleep(4 * self.b.tick())
        self.talk([(data(9, b""), ack(3)), (data(3, b""), None)])
        self.upload(UNKNOWN, b"x", NOT_SUPPORTED)
        self.talk([(rrq(b"nothing.xml"), NOT_SUPPORTED), (data(1, b"x"), None)])

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
                self.talk([(rrq(name, mode), data(1, text)), (ack(1), None)])
        # A repeated ACK 1 resends DATA 2 once; a second one ends the transfer.
        text, _ = c.download(MODEM_INFO)
        second = data(2, text[512:1024])
        self.talk([(rrq(MODEM_INFO), data(1, text[:512])), (ack(1), second), (ack(1), second),
                   (ack(1), error(0, b"expected ACK for block 2 - got block 1\n"))])
        self.wait_stdout("read(): expected ACK for block 2 - got block 1\n")
        # ACK 0 for DATA 1 is a repeat: one resend, then refused. The resend
        # is shared with the time-out; an ACK from the future is refused.
        block1, refused = data(1, PROGRESS), b"expected ACK for block 1 - got block %d\n"
        start = (rrq(b"FTM_Progress.xml"), block1)
        for steps in ([(ack(0), block1), (ack(1), None)],
                      [(ack(0), block1), (ack(0), error(0, refused % 0)), (None, None)],
                      [(None, block1), (ack(0), error(0, refused % 0)), (None, None)],
                      [(ack(2), error(0, refused % 2)), (None, None)]):
            with self.subTest(steps=steps):
                self.talk([start] + steps)
        self.assertEqual(self.b.syslog(), ["info FTM Started"])
        # Grown to exactly 1024 bytes by a longer serial number, the report
        # ends with an empty block 3: without it the download stalls.
        row = self.b.table("ProductionData")[0]
        serial = "S" * (1024 - len(text) + len(row[1]))
        self.b.write_table("ProductionData", [row[:1] + [serial] + row[2:]])
        text, _ = c.download(MODEM_INFO)
        self.assertEqual((len(text), text.count(serial.encode())), (1024, 1))

    def test_the_ack_wait(self):
        c, block1 = self.c, data(1, PROGRESS)
        mark = self.b.mark()
        # A silent station gets DATA 1 again after the wait; after the second
        # wait the daemon gives up without a word.
        c.rrq(b"FTM_Progress.xml")
        c.expect(block1)
        start = time.monotonic()
        c.expect(block1, timeout=3 * self.ack_wait + 2)
        self.assertGreater(time.monotonic() - start, 0.5 * self.ack_wait)
        abort = "read(): error response to resent packet; abort send\n"
        self.wait_stdout(abort)
        c.silence(2 * self.ack_wait)
        # A repeated RRQ, a WRQ and a DATA are printed and lost; the transfer
        # goes on and no second transfer follows.
        self.talk([(rrq(b"FTM_Progress.xml"), block1), (rrq(b"FTM_Progress.xml"), None),
                   (wrq(UNKNOWN), None), (data(1, b"x"), None), (ack(1), None)], quiet=0.02)
        c.silence(2 * self.ack_wait)
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
        self.talk([(ack(1), None)])
        timeout = "FTM_getAck: ack packet timeout! timeoutCntr= 13\n"
        other = "FTM_getAck: received something other than expected ack packet. OpCode = %d\n"
        self.assertEqual(self.b.since(mark).stdout,
                         timeout * 2 + abort + "".join(other % n for n in (1, 2, 3)) +
                         "FTM_getAck: expecting ack packet, got error packet\n" * 20 + timeout)

    def test_names(self):
        # Whole RRQs refused: one that fills the whole datagram is refused
        # like any unknown name.
        refused = [rrq(name) for name in (
            b"/FTM_Progress.xml", b"reports/FTM_Progress.xml", b"ftm_progress.xml",
            b"FTM_PROGRESS.XML", b"FTM_Progress.xml ", b"FTM_Progress", b"",
            b"FTM_Progress.xml" * 12)] + [struct.pack("!H", 1) + b"B" * 514]
        self.talk([(raw, NOT_SUPPORTED) for raw in refused])
        # A name that runs to the end of the datagram ends there.
        for raw in (b"FTM_Progress.xml", b"FTM_Progress.xml\0"):
            self.talk([(struct.pack("!H", 1) + raw, data(1, PROGRESS)), (ack(1), None)])
        self.talk([(struct.pack("!H", 2) + b"noname.upg", ack(0))] + acked([pattern(512), b""]))
        self.assertEqual(self.b.syslog(), ["info FTM Started"] +
                         ["err TFTP read: invalid filename"] * len(refused))


class StationsTest(TransferTest):
    """Replies go to whichever station sent the most recent datagram."""

    def test_second_station_during_a_download(self):
        a, b = self.c, self.client(self.b)
        self.talk([(rrq(b"FTM_Progress.xml"), data(1, PROGRESS))], a)
        # B's request is taken by the ACK wait and lost, but B is now the
        # current station: the resend after A's silence goes to B.
        b.rrq(b"FTM_TestModeOp.xml")
        b.expect(data(1, PROGRESS), timeout=3 * self.ack_wait + 2)
        self.talk([(ack(1), None)], b)
        a.silence(0.1)
        self.assertEqual((b.download(b"FTM_TestModeOp.xml"), a.download(b"FTM_Progress.xml")),
                         ((TESTMODEOP, None), (PROGRESS, None)))

    def test_second_station_during_an_upload(self):
        a, b = self.c, self.client(self.b)
        self.talk([(wrq(UNKNOWN), ack(0))] + acked([pattern(512)]), a)
        # B's request ends A's upload, and the refusal goes to B.
        self.talk([(rrq(b"FTM_Progress.xml"), error(0, b"Bad data packet, expected block = 2"))],
                  b)
        a.silence(0.1)
        self.assertEqual(b.download(b"FTM_Progress.xml"), (PROGRESS, None))

    def test_requests_queued_together(self):
        a, b = self.c, self.client(self.b)
        # Both arrive while the task pauses after a ".hex" image. A's
        # transfer starts, but B sent last, so A's report goes to B, and B's
        # own request is taken by the ACK wait and lost.
        self.upload(b"pause.hex", pattern(600), ack(2), a)
        a.rrq(b"FTM_Progress.xml")
        self.talk([(rrq(b"FTM_TestModeOp.xml"), data(1, PROGRESS)), (ack(1), None)], b)
        a.silence(0.1)
        self.wait_stdout("FTM_getAck: received something other than expected ack packet. "
                         "OpCode = 1\n")
        # A refused RRQ takes nothing from the queue: the WRQ queued behind
        # it is served on a later pass, at least one pass after the refusal.
        self.upload(b"pause.hex", pattern(600), ack(2), a)
        a.rrq(b"unknown.xml")
        self.talk([(wrq(UNKNOWN), NOT_SUPPORTED)], a)
        refused = time.monotonic()
        self.talk([(None, ack(0))], a)
        self.assertGreater(time.monotonic() - refused, 0.4 * self.b.tick())
        self.talk([(data(1, b"x"), NOT_SUPPORTED)], a)


if __name__ == "__main__":
    unittest.main()
