"""What the benchmark programs share: the reports the board serves, the
build directory argument, the simulated-board harness of the integration
tests, and a process's descriptors, threads and resident memory."""

import argparse
import os
import re
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
REPORTS = ["FTM_Progress.xml", "FTM_TestModeOp.xml", "FTM_ModemInfo.xml", "FTM_TestModeCfg.xml",
           "FTM_Statistics.xml", "FTM_Stats_4port.xml", "FTM_MobileInfo.xml",
           "FTM_AntennaInfo.xml"]


def parser(doc):
    """An argument parser whose first argument is the build's bin directory."""
    p = argparse.ArgumentParser(description=doc.split("\n")[0])
    p.add_argument("bin", nargs="?", default=os.environ.get("FTM_BIN", ""),
                   help="the build's bin directory (default: $FTM_BIN)")
    return p


def ftmboard(p, args):
    """The integration tests' board harness, running the build of args.bin."""
    if not args.bin or not os.path.exists(os.path.join(args.bin, "ftmd")):
        p.error("give the build's bin directory (holding ftmd and ftmsim)")
    os.environ["FTM_BIN"] = os.path.abspath(args.bin)
    sys.path.insert(0, os.path.join(HERE, "..", "tests", "integration"))
    import ftmboard as module  # needs FTM_BIN set first
    return module


def figures(pid):
    """(descriptors, threads, RSS in kB) of a process."""
    status = open("/proc/%d/status" % pid).read()
    field = lambda name: int(re.search(r"^%s:\s+(\d+)" % name, status, re.M).group(1))  # noqa: E731
    return len(os.listdir("/proc/%d/fd" % pid)), field("Threads"), field("VmRSS")
