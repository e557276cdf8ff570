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

from ftmboard import BoardTest, SLACK
from ftmreports import FRESH_REPORTS, pattern

NOT_SUPPORTED = "File Not Supported"
TOO_BIG = "file allocation size exceeded"


class ClientCases:
    """The same station exchanges for every client; subclasses give its
    command lines for a download (get) and an upload (put) of {name}
    from or to the local file {path}, and say how it shows a refusal."""

    timescale = 0.2

    def setUp(self):
        if shutil.which(self.get[0]) is None:
            self.skipTest("%s is not installed" % self.get[0])
        self.work = tempfile.mkdtemp(prefix="ftmstation-")
        self.addCleanup(shutil.rmtree, self.work, True)
        self.b = self.board()

    def run_client(self, argv, name, content=b""):
        """Runs get or put for `name`; returns its result and the local file."""
        path = os.path.join(self.work, name + ".local")
        with open(path, "wb") as f:
            f.write(content)
        fields = dict(port=self.b.port, name=name, path=path)
        result = subprocess.run([arg.format(**fields) for arg in argv], cwd=self.work,
                                capture_output=True, text=True, timeout=60 * SLACK)
        with open(path, "rb") as f:
            return result, f.read()

    def test_station_exchanges(self):
        # Every report, after a refused download.
        self.assert_refused(self.run_client(self.get, "FTM_Nothing.xml")[0], 0, NOT_SUPPORTED)
        for name, text in FRESH_REPORTS.items():
            with self.subTest(report=name):
                result, got = self.run_client(self.get, name.decode())
                self.assertEqual((result.returncode, got), (0, text), result.stderr)
        # An image is received and acknowledged to the end. A name the board
        # does not take is refused in place of the last ACK, and so is a plain
        # file one byte over the limit; whatever the client sent back after
        # the refusals, the board serves on.
        image = pattern(1500)
        for name, content, refusal in (("firmware.upg", image, None),
                                       ("station.txt", pattern(1024), (0, NOT_SUPPORTED)),
                                       ("big.bin", pattern(7649), (3, TOO_BIG)),
                                       ("again.upg", image, None)):
            with self.subTest(upload=name):
                result = self.run_client(self.put, name, content)[0]
                if refusal:
                    self.assert_refused(result, *refusal)
                else:
                    self.assertEqual(result.returncode, 0, result.stdout + result.stderr)


class CurlTest(ClientCases, BoardTest):
    url = "tftp://127.0.0.1:{port}/{name}"
    get = ["curl", "-sS", "-v", "-m", "20", "-o", "{path}", url]
    put = ["curl", "-sS", "-v", "-m", "20", "-T", "{path}", url]

    def assert_refused(self, result, code, message):
        # curl's own line names the wrong cause; the daemon's text is in its
        # verbose output. Error 3 has an exit status of its own.
        self.assertEqual(result.returncode, 70 if code == 3 else 71, result.stderr)
        self.assertIn("* TFTP error: %s\n" % message, result.stderr)


class TftpHpaTest(ClientCases, BoardTest):
    get = ["tftp", "-m", "binary", "127.0.0.1", "{port}", "-c", "get", "{name}", "{path}"]
    put = ["tftp", "-m", "binary", "127.0.0.1", "{port}", "-c", "put", "{path}", "{name}"]

    def assert_refused(self, result, code, message):
        # The message is shown, but the exit status says nothing.
        self.assertEqual((result.returncode, result.stdout),
                         (0, "Error code %d: %s\n" % (code, message)))


class AtftpTest(ClientCases, BoardTest):
    get = ["atftp", "-g", "-r", "{name}", "-l", "{path}", "127.0.0.1", "{port}"]
    put = ["atftp", "-p", "-r", "{name}", "-l", "{path}", "127.0.0.1", "{port}"]

    def assert_refused(self, result, code, message):
        self.assertEqual((result.returncode, result.stderr),
                         (255, "tftp: error received from server <%s>\ntftp: aborting\n" % message))


if __name__ == "__main__":
    unittest.main()
