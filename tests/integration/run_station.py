"""Runs a station test file with the ftm_station pytest plugin against two
fresh simulated boards, in parallel (pytest-xdist), and checks the JUnit XML:
every test passed once per board and carries the board's address, serial
number and MAC address as they stand on the board at the end.

    run_station.py TESTFILE"""

import os
import shutil
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ET

import ftmboard

HERE = os.path.dirname(os.path.abspath(__file__))
STATION = os.path.join(HERE, "..", "..", "station")


def main(test_file):
    boards = [ftmboard.Board() for _ in range(2)]
    out = tempfile.mkdtemp(prefix="ftmstation-")
    try:
        for b in boards:
            b.start()
        junit = os.path.join(out, "results.xml")
        addresses = ["127.0.0.1:%d" % b.port for b in boards]
        # Only the plugins named here: an installed copy of ftm_station (or
        # one built in the source tree) must not be loaded a second time.
        cmd = [sys.executable, "-m", "pytest", "-p", "ftm_station.plugin", "-p", "xdist.plugin",
               "-p", "no:cacheprovider",
               "-n", "2", "--dist", "loadgroup", "--junitxml", junit, "-q",
               "--ftmctl", " ".join(ftmboard.program("ftmctl")), "--ftm-timescale", str(ftmboard.TIMESCALE),
               "--ftm-log", out, test_file]
        for a in addresses:
            cmd += ["--ftm-board", a]
        env = dict(os.environ, PYTHONPATH=os.path.abspath(STATION),
                   PYTEST_DISABLE_PLUGIN_AUTOLOAD="1")
        done = subprocess.run(cmd, env=env)
        if done.returncode != 0:
            return "pytest failed with status %d" % done.returncode
        cases = ET.parse(junit).getroot().iter("testcase")
        seen, workers = {}, {}
        for case in cases:
            props = {p.get("name"): p.get("value") for p in case.iter("property")}
            board = boards[addresses.index(props["board"])]
            row = board.read("cfg/ProductionData.tsv").splitlines()[1].split("\t")
            if (props.get("serial"), props.get("mac")) != (row[1], row[2]):
                return "%s: recorded %r, board holds %r" % (case.get("name"), props, row[1:3])
            if case.find("failure") is not None or case.find("skipped") is not None:
                return "%s did not pass" % case.get("name")
            seen[props["board"]] = seen.get(props["board"], 0) + 1
            if "worker" in props:
                workers.setdefault(props["board"], set()).add(props["worker"])
        if len(seen) != 2 or len(set(seen.values())) != 1:
            return "tests per board: %r" % seen
        if any(len(w) != 1 for w in workers.values()):
            return "a board's tests ran on several workers: %r" % workers
        logs = sorted(os.listdir(out))
        print("tests per board:", seen, "logs:", logs)
        return None
    finally:
        for b in boards:
            b.close()
        shutil.rmtree(out, ignore_errors=True)


if __name__ == "__main__":
    problem = main(os.path.abspath(sys.argv[1]))
    if problem:
        sys.exit("run_station: " + problem)
