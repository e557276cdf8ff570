"""The board driven by the TFTP clients a station engineer actually uses:
curl, tftp-hpa's tftp and atftp, run as programs exactly as the station
would run them (see docs/stations.md). Each downloads the reports, has an
upload refused and sees the daemon's message, and uploads an image.

A client that is not installed is skipped; the project's CI installs all
three."""

import os
import shutil
import subprocess
import tempfile
import unittest

from ftmboard import BoardTest, SLACK, error
from ftmreports import FRESH_REPORTS, pattern

NOT_SUPPORTED = b"File Not Supported"
TOO_BIG = b"file allocation size exceeded"


class ClientCases:
    """The same station exchanges for every client; subclasses say how the
    client is called and how it shows a refusal."""

    program = None
    timescale = 0.2

    def setUp(self):
        if shutil.which(self.program) is None:
            self.skipTest("%s is not installed" % self.program)
        self.work = tempfile.mkdtemp(prefix="ftmstation-")
        self.addCleanup(shutil.rmtree, self.work, True)

    def run_client(self, argv):
        return subprocess.run(argv, cwd=self.work, capture_output=True, text=True,
                              timeout=60 * SLACK)

    def local(self, name, content=None):
        path = os.path.join(self.work, name)
        if content is not None:
            with open(path, "wb") as f:
                f.write(content)
        return path

    def assert_served(self, result):
        self.assertEqual(result.returncode, 0, "%s\n%s" % (result.stdout, result.stderr))

    def assert_still_serving(self, board):
        self.assertIsNone(board.proc.poll(), "ftmd exited")
        c = self.client(board)
        c.rrq(b"probe.xml")
        c.expect(error(0, NOT_SUPPORTED))

    def test_downloads(self):
        board = self.board()
        for name, text in FRESH_REPORTS.items():
            with self.subTest(report=name):
                path = self.local(name.decode() + ".got")
                self.assert_served(self.run_client(self.get(board.port, name.decode(), path)))
                with open(path, "rb") as f:
                    self.assertEqual(f.read(), text)
        self.assert_refused(self.run_client(self.get(board.port, "FTM_Nothing.xml",
                                                     self.local("nothing.got"))),
                            0, NOT_SUPPORTED)
        self.assert_still_serving(board)

    def test_uploads(self):
        board = self.board()
        # An image is received and acknowledged to the end.
        image = self.local("firmware.upg", pattern(1500))
        self.assert_served(self.run_client(self.put(board.port, image, "firmware.upg")))
        # A name the board does not take: the refusal replaces the last ACK.
        plain = self.local("station.txt", pattern(1024))
        self.assert_refused(self.run_client(self.put(board.port, plain, "station.txt")),
                            0, NOT_SUPPORTED)
        # One byte over the limit for a plain file.
        big = self.local("big.bin", pattern(7649))
        self.assert_refused(self.run_client(self.put(board.port, big, "big.bin")), 3, TOO_BIG)
        # Whatever the client sent back after the refusals, the board serves on.
        self.assert_served(self.run_client(self.put(board.port, image, "again.upg")))
        self.assert_still_serving(board)


class CurlTest(ClientCases, BoardTest):
    program = "curl"

    def url(self, port, name):
        return "tftp://127.0.0.1:%d/%s" % (port, name)

    def get(self, port, name, path):
        return ["curl", "-sS", "-v", "-m", "20", "-o", path, self.url(port, name)]

    def put(self, port, path, name):
        return ["curl", "-sS", "-v", "-m", "20", "-T", path, self.url(port, name)]

    def assert_refused(self, result, code, message):
        # curl's own line names the wrong cause; the daemon's text is in its
        # verbose output. Error 3 has an exit status of its own.
        self.assertEqual(result.returncode, 70 if code == 3 else 71, result.stderr)
        self.assertIn("* TFTP error: %s\n" % message.decode(), result.stderr)


class TftpHpaTest(ClientCases, BoardTest):
    program = "tftp"

    def get(self, port, name, path):
        return ["tftp", "-m", "binary", "127.0.0.1", str(port), "-c", "get", name, path]

    def put(self, port, path, name):
        return ["tftp", "-m", "binary", "127.0.0.1", str(port), "-c", "put", path, name]

    def assert_refused(self, result, code, message):
        # The message is shown, but the exit status says nothing.
        self.assertEqual(result.returncode, 0)
        self.assertEqual(result.stdout, "Error code %d: %s\n" % (code, message.decode()))


class AtftpTest(ClientCases, BoardTest):
    program = "atftp"

    def get(self, port, name, path):
        return ["atftp", "-g", "-r", name, "-l", path, "127.0.0.1", str(port)]

    def put(self, port, path, name):
        return ["atftp", "-p", "-r", name, "-l", path, "127.0.0.1", str(port)]

    def assert_refused(self, result, code, message):
        self.assertEqual(result.returncode, 255, result.stderr)
        self.assertEqual(result.stderr, "tftp: error received from server <%s>\ntftp: aborting\n"
                         % message.decode())


if __name__ == "__main__":
    unittest.main()
