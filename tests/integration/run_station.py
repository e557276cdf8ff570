"""Runs a station test file with the ftm_station pytest plugin against two
fresh simulated boards, in parallel (pytest-xdist), with the units and the
operator's answers from files, and checks the JUnit XML (every test once
per board, with the board's address, serial number and MAC address as they
stand on the board at the end) and the record, exactly.

    run_station.py TESTFILE

The production line example records into SQLite; the plugin's own check
(station_plugin_check.py) into a PostgreSQL cluster started here, with a
slow DSL line on the second board, which is switched off in the last test,
and its live view loaded in headless Chromium while both boards wait for
their WPS button."""

import json
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import xml.etree.ElementTree as ET

import ftmboard

HERE = os.path.dirname(os.path.abspath(__file__))
STATION = os.path.abspath(os.path.join(HERE, "..", "..", "station"))
sys.path.insert(0, STATION)

from ftm_station import record  # noqa: E402

# A board's own line overrides the line for every board.
ANSWERS = ("all-leds-lit = yes\npress-wps = done\nlabel-ok = no\n"
           "%s label-ok = yes\n%s label-ok = yes\n")
EXAMPLE = ["test_identity", "test_led_test", "test_buttons", "test_radios", "test_ports",
           "test_line"]
CHECK = ["test_identity_is_recorded", "test_board_stays_on_one_worker",
         "test_board_stays_on_one_worker", "test_reports_and_refusal", "test_line_speed",
         "test_operator_and_wps", "test_switched_off"]


def postgres(work):
    """A scratch PostgreSQL cluster on loopback: its URL and its stop."""
    bindir = sorted(os.listdir("/usr/lib/postgresql"))[-1]
    pg = lambda name: os.path.join("/usr/lib/postgresql", bindir, "bin", name)  # noqa: E731
    data, port = os.path.join(work, "pg"), ftmboard.free_port()
    as_user = ["runuser", "-u", "postgres", "--"] if os.getuid() == 0 else []
    if as_user:
        shutil.chown(work, "postgres")
    quiet = dict(stdout=subprocess.DEVNULL, check=True)
    subprocess.run(as_user + [pg("initdb"), "-A", "trust", "-U", "postgres", "-D", data], **quiet)
    subprocess.run(as_user + [pg("pg_ctl"), "-D", data, "-w", "-l", os.path.join(work, "pg.log"),
                              "-o", "-p %d -k %s -c listen_addresses=127.0.0.1 -F" % (port, work),
                              "start"], **quiet)
    stop = lambda: subprocess.run(as_user + [pg("pg_ctl"), "-D", data, "-m", "immediate",  # noqa
                                             "stop"], stdout=subprocess.DEVNULL)
    return "postgresql://postgres@127.0.0.1:%d/postgres" % port, stop


def view_rows(*urls):
    """The table rows of each page of the live view as a headless Chromium
    shows them."""
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    options = webdriver.ChromeOptions()
    for arg in ("--headless", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu"):
        options.add_argument(arg)
    driver = webdriver.Chrome(options=options,
                              service=Service("/usr/bin/chromedriver"))
    pages = []
    try:
        for url in urls:
            driver.get(url)
            # In one script: the page refreshes itself every second.
            pages.append(driver.execute_script(
                "return Array.from(document.querySelectorAll('table tr')).slice(1).map("
                "tr => Array.from(tr.querySelectorAll('td')).map(td => td.innerText.trim()))"))
        return pages
    finally:
        driver.quit()


def wait_for_steps(url, name, timeout=30):
    """Until every board's latest step is `name`, still running."""
    engine, end = record.engine_for(url), time.monotonic() + timeout
    record.META.create_all(engine)
    while time.monotonic() < end:
        runs = record.export_json(engine)
        if len(runs) == 2 and all(r["steps"] and r["steps"][-1]["name"] == name and
                                  r["steps"][-1]["verdict"] == "running" for r in runs):
            return True
        time.sleep(0.1)
    return False


def expected_record(boards, addresses, units, check):
    """The record a run should leave: runs, steps and measurements, without
    times and ids."""
    runs = []
    for i, (board, address) in enumerate(zip(boards, addresses)):
        slow = check and i == 1
        serial, mac = units[address]
        if check:
            speed = ("2.0", 2.0) if slow else ("130.016", 130.016)
            measure = {"test_line_speed": [("FTM_STATS/DSL/DSL_SPEED_DOWNSTREAM", speed[1],
                                            speed[0], 30, 200, "Mbit/s",
                                            "fail" if slow else "pass")],
                       "test_operator_and_wps": [("label-ok", None, "yes", None, None, "", "pass"),
                                                 ("press-wps", None, "done", None, None, "",
                                                  "pass")]}
            failed = {"test_line_speed": "ftm_station.client.OutOfLimits: "
                      "FTM_STATS/DSL/DSL_SPEED_DOWNSTREAM = 2.0 Mbit/s outside 30..200",
                      "test_switched_off": "ftm_station.client.NoAnswer: get: no answer from the "
                      "board at %s: nothing listens on that UDP port (no answer)" % address}
            steps = [(n, "fail" if slow and n in failed else "pass",
                      failed[n] if slow and n in failed else None, measure.get(n, []))
                     for n in CHECK]
        else:
            ports = [int(board.table("SwitchStat")[3 - p][4]) for p in range(4)]
            rx5 = int(board.read("switch/rmon5").split()[0])
            measure = {"test_ports": [("PORT_%d received" % (p + 1), float(v), str(v), 0, None,
                                       "packets", "pass") for p, v in enumerate(ports + [rx5])],
                       "test_line": [("DSL downstream", 130.016, "130.016", 16, 250, "Mbit/s",
                                      "pass"),
                                     ("DSL upstream", 130.017, "130.017", 1, 250, "Mbit/s", "pass"),
                                     ("ATM cells in", float(board.table("BcmAtm")[0][4]),
                                      board.table("BcmAtm")[0][4], 1, None, "cells", "pass")],
                       "test_led_test": [("all-leds-lit", None, "yes", None, None, "", "pass")],
                       "test_buttons": [("press-wps", None, "done", None, None, "", "pass")]}
            steps = [(n, "pass", None, measure.get(n, [])) for n in EXAMPLE]
        read = (None, None) if slow else (serial, mac)
        runs.append((address, serial, mac) + read + ("fail" if slow else "pass", steps))
    return sorted(runs)


def actual_record(url):
    return [(r["board"], r["serial"], r["mac"], r["serial_read"], r["mac_read"], r["verdict"],
             [(s["name"], s["verdict"], s["message"],
               [(m["name"], m["value"], m["text"], m["low"], m["high"], m["unit"], m["verdict"])
                for m in s["measurements"]]) for s in r["steps"]])
            for r in sorted(record.export_json(record.engine_for(url)), key=lambda r: r["board"])]


def sim_check(test_file, out, env):
    """The plugin's own boards: two tested, in parallel, then gone."""
    junit = os.path.join(out, "results.xml")
    status = subprocess.run([sys.executable, "-m", "pytest", "-p", "ftm_station.plugin", "-p",
                             "xdist.plugin", "-p", "no:cacheprovider", "-n", "2", "--dist",
                             "loadgroup", "--junitxml", junit, "-q", "--ftm-sim", "2",
                             "--ftmctl", " ".join(ftmboard.program("ftmctl")),
                             "--ftm-timescale", str(ftmboard.TIMESCALE), "--ftm-db",
                             os.path.join(out, "r.sqlite"), test_file], env=env).returncode
    cases = [({p.get("name"): p.get("value") for p in c.iter("property")}, list(c))
             for c in ET.parse(junit).getroot().iter("testcase")]
    boards = sorted(props["board"] for props, _ in cases)
    if status != 0 or len(set(boards)) != 2 or any(len(c[1]) != 1 for c in cases):
        return "pytest ended with status %d; tested %r" % (status, boards)
    left = [props["sim_dir"] for props, _ in cases if os.path.exists(props["sim_dir"])]
    for address in boards:
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
            s.bind(("127.0.0.1", int(address.rsplit(":", 1)[1])))  # nothing serves it now
    return "board directories left: %r" % left if left else None


def main(test_file):
    check = os.path.basename(test_file) == "station_plugin_check.py"
    if os.path.basename(test_file) == "station_sim_check.py":
        out = tempfile.mkdtemp(prefix="ftmstation-")
        try:
            return sim_check(test_file, out, dict(os.environ, PYTHONPATH=STATION,
                                                  PYTEST_DISABLE_PLUGIN_AUTOLOAD="1"))
        finally:
            shutil.rmtree(out, ignore_errors=True)
    boards = [ftmboard.Board() for _ in range(2)]
    out = tempfile.mkdtemp(prefix="ftmstation-")
    stop_db = lambda: None  # noqa: E731
    try:
        for b in boards:
            # The WPS button of the distinct board starts pressed: released
            # until the operator presses it (for the example: at once).
            b.write("gpio/43", "0\n" if check else "1\n")
            b.start()
        addresses = ["127.0.0.1:%d" % b.port for b in boards]
        units = {a: ("KS%05d" % b.port, "02:5e:a3:00:%02x:%02x" % (b.port >> 8, b.port & 255))
                 for a, b in zip(addresses, boards)}
        with open(os.path.join(out, "units.txt"), "w") as f:
            f.write("".join("%s %s %s\n" % (a, s, m) for a, (s, m) in units.items()))
        with open(os.path.join(out, "answers.txt"), "w") as f:
            f.write(ANSWERS % tuple(addresses))
        junit = os.path.join(out, "results.xml")
        url, view = "sqlite:///" + os.path.join(out, "ftm-record.sqlite"), ftmboard.free_port()
        env = dict(os.environ, PYTHONPATH=STATION, PYTEST_DISABLE_PLUGIN_AUTOLOAD="1")
        if check:
            url, stop_db = postgres(out)
            xcvr = boards[1].table("Xcvr")
            xcvr[0][16] = "2000"
            boards[1].write_table("Xcvr", xcvr)
            env["FTM_CHECK_SILENT"] = "%s %d" % (addresses[1], boards[1].proc.pid)
        # Only the plugins named here: an installed copy of ftm_station (or
        # one built in the source tree) must not be loaded a second time.
        cmd = [sys.executable, "-m", "pytest", "-p", "ftm_station.plugin", "-p", "xdist.plugin",
               "-p", "no:cacheprovider", "-n", "2", "--dist", "loadgroup", "--junitxml", junit,
               "-q", "--ftmctl", " ".join(ftmboard.program("ftmctl")),
               "--ftm-timescale", str(ftmboard.TIMESCALE), "--ftm-log", out,
               "--ftm-answers", os.path.join(out, "answers.txt"), test_file]
        # The example takes the first unit from the command line and the
        # second from a scanner on standard input; the check, from a file.
        if check:
            cmd += ["--ftm-units", os.path.join(out, "units.txt"), "--ftm-db", url,
                    "--ftm-view", str(view)]
        else:
            cmd += ["--ftm-unit", "%s=%s,%s" % ((addresses[0],) + units[addresses[0]]),
                    "--ftm-scan"]
        for a in addresses:
            cmd += ["--ftm-board", a]
        run = subprocess.Popen(cmd, env=env, stdin=subprocess.PIPE, text=True)
        run.stdin.write("" if check else "%s\n%s\n" % units[addresses[1]])
        run.stdin.close()
        if check:
            if not wait_for_steps(url, "test_operator_and_wps"):
                run.kill()
                return "the boards never reached the WPS step"
            slow = [r["id"] for r in record.export_json(record.engine_for(url))
                    if r["board"] == addresses[1]][0]
            rows = view_rows("http://127.0.0.1:%d/" % view,
                             "http://127.0.0.1:%d/board/%d" % (view, slow))
            slow_line = "FTM_STATS/DSL/DSL_SPEED_DOWNSTREAM = 2.0 Mbit/s"
            want = [sorted([a, units[a][0], units[a][1], "test_operator_and_wps", "running",
                            slow_line + " (30..200)" if i else ""]
                           for i, a in enumerate(addresses)),
                    [[n, "pass", "", "", "", ""] for n in CHECK[:4]] +
                    [["test_line_speed", "fail", "", "", "",
                      "ftm_station.client.OutOfLimits: %s outside 30..200" % slow_line],
                     ["", "fail", slow_line.split(" = ")[0], "2.0 Mbit/s", "30..200", ""],
                     ["test_operator_and_wps", "running", "", "", "", ""],
                     ["", "pass", "label-ok", "yes", "", ""],
                     ["", "pass", "press-wps", "done", "", ""]]]
            if rows != want:
                run.kill()
                return "live view shows %r, not %r" % (rows, want)
            for b in boards:
                b.write("gpio/43", "1\n")  # the operator presses WPS
        status = run.wait(timeout=120)
        if status != (1 if check else 0):
            return "pytest ended with status %d" % status
        problem = check_junit(junit, boards, addresses, failing=boards[1] if check else None)
        if problem:
            return problem
        want = expected_record(boards, addresses, units, check)
        got = actual_record(url)
        if got != want:
            return "the record holds\n%s\nnot\n%s" % (json.dumps(got, indent=1),
                                                       json.dumps(want, indent=1))
        subprocess.run([sys.executable, "-m", "ftm_station.record", url, "--csv", out],
                       env=env, check=True)
        with open(os.path.join(out, "steps.csv")) as f:
            if len(f.read().splitlines()) != 1 + 2 * len(CHECK if check else EXAMPLE):
                return "steps.csv does not hold every step"
        print("record:", url.split(":")[0], "boards:", addresses, "logs:", sorted(os.listdir(out)))
        return None
    finally:
        for b in boards:
            b.close()
        stop_db()
        shutil.rmtree(out, ignore_errors=True)


def check_junit(junit, boards, addresses, failing):
    seen, workers = {}, {}
    for case in ET.parse(junit).getroot().iter("testcase"):
        props = {p.get("name"): p.get("value") for p in case.iter("property")}
        board = boards[addresses.index(props["board"])]
        if board is not failing:
            row = board.read("cfg/ProductionData.tsv").splitlines()[1].split("\t")
            if (props.get("serial"), props.get("mac")) != (row[1], row[2]):
                return "%s: recorded %r, board holds %r" % (case.get("name"), props, row[1:3])
            if case.find("failure") is not None or case.find("skipped") is not None:
                return "%s did not pass" % case.get("name")
        if props["board"] in case.get("name").split("@")[1:]:
            return "the address twice in %s" % case.get("name")
        seen[props["board"]] = seen.get(props["board"], 0) + 1
        workers.setdefault(props["board"], set()).add(props.get("worker"))
    if len(seen) != 2 or len(set(seen.values())) != 1:
        return "tests per board: %r" % seen
    if any(len(w) != 1 for w in workers.values()):
        return "a board's tests ran on several workers: %r" % workers
    return None


if __name__ == "__main__":
    problem = main(os.path.abspath(sys.argv[1]))
    if problem:
        sys.exit("run_station: " + problem)
