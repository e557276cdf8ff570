"""Runs a station test file with the ftm_station pytest plugin on two boards
in parallel (pytest-xdist) and compares the JUnit XML and the record, whole,
with what the boards hold.

    run_station.py TESTFILE

station_sim_check.py runs on the plugin's own --ftm-sim boards; the others
on two fresh simulated boards, with the units and the operator's answers
from files. The production line example records into SQLite; the plugin's
own check (station_plugin_check.py) into a PostgreSQL cluster started here,
with a slow DSL line on the second board, which is switched off in the last
test, and its live view loaded in headless Chromium while both boards wait
for their WPS button."""

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
CHECK = ["test_identity_is_recorded", "test_reports_and_refusal", "test_line_speed",
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
    driver = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))
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
    """The record's runs once every board's latest step is `name`, running."""
    engine, end = record.engine_for(url), time.monotonic() + timeout
    record.META.create_all(engine)
    while time.monotonic() < end:
        runs = record.export_json(engine)
        if len(runs) == 2 and all(r["steps"] and r["steps"][-1]["name"] == name and
                                  r["steps"][-1]["verdict"] == "running" for r in runs):
            return runs
        time.sleep(0.1)
    return None


def expected_record(boards, addresses, units, check):
    """The runs the record should hold, in the order of the boards: runs,
    steps and measurements, without times and ids."""
    answer = lambda key, text: (key, None, text, None, None, "", "pass")  # noqa: E731
    runs = []
    for i, (board, address) in enumerate(zip(boards, addresses)):
        slow = check and i == 1
        verdict = "fail" if slow else "pass"
        if check:
            speed = "2.0" if slow else "130.016"
            measure = {"test_line_speed": [("FTM_STATS/DSL/DSL_SPEED_DOWNSTREAM", float(speed),
                                            speed, 30, 200, "Mbit/s", verdict)],
                       "test_operator_and_wps": [answer("label-ok", "yes"),
                                                 answer("press-wps", "done")]}
            failed = {"test_line_speed": "ftm_station.client.OutOfLimits: "
                      "FTM_STATS/DSL/DSL_SPEED_DOWNSTREAM = 2.0 Mbit/s outside 30..200",
                      "test_switched_off": "ftm_station.client.NoAnswer: get: no answer from the "
                      "board at %s: nothing listens on that UDP port (no answer)" % address}
            steps = [(n, "fail", failed[n], measure.get(n, [])) if slow and n in failed else
                     (n, "pass", None, measure.get(n, [])) for n in CHECK]
        else:
            ports = [int(board.table("SwitchStat")[3 - p][4]) for p in range(4)]
            rx5 = int(board.read("switch/rmon5").split()[0])
            atm = board.table("BcmAtm")[0][4]
            measure = {"test_ports": [("PORT_%d received" % (p + 1), float(v), str(v), 0, None,
                                       "packets", "pass") for p, v in enumerate(ports + [rx5])],
                       "test_line": [("DSL downstream", 130.016, "130.016", 16, 250, "Mbit/s",
                                      "pass"),
                                     ("DSL upstream", 130.017, "130.017", 1, 250, "Mbit/s", "pass"),
                                     ("ATM cells in", float(atm), atm, 1, None, "cells", "pass")],
                       "test_led_test": [answer("all-leds-lit", "yes")],
                       "test_buttons": [answer("press-wps", "done")]}
            steps = [(n, "pass", None, measure.get(n, [])) for n in EXAMPLE]
        read = (None, None) if slow else units[address]
        runs.append((address,) + units[address] + read + (verdict, steps))
    return runs


def actual_record(url):
    return [(r["board"], r["serial"], r["mac"], r["serial_read"], r["mac_read"], r["verdict"],
             [(s["name"], s["verdict"], s["message"],
               [(m["name"], m["value"], m["text"], m["low"], m["high"], m["unit"], m["verdict"])
                for m in s["measurements"]]) for s in r["steps"]])
            for r in sorted(record.export_json(record.engine_for(url)), key=lambda r: r["board"])]


def expected_junit(runs, boards):
    """Each test of the expected record as the JUnit XML should show it: name, board
    group, address, serial number and MAC address (as the board holds them at the
    end), measurements, failed or not."""
    held = [b.read("cfg/ProductionData.tsv").splitlines()[1].split("\t")[1:3] for b in boards]
    return sorted(("%s[%s]@board%d" % (step[0], run[0], i + 1), [
        ("board", run[0]), ("serial", held[i][0]), ("mac", held[i][1])] + [
        ("measurement", "%s = %s%s %s" % (m[0], m[2], " " + m[5] if m[5] else "", m[6]))
        for m in step[3]], step[1] == "fail") for i, run in enumerate(runs) for step in run[6])


def actual_junit(junit):
    """The same from the JUnit XML, and the pytest-xdist workers of each board."""
    got, workers = [], {}
    for case in ET.parse(junit).getroot().iter("testcase"):
        props = [(p.get("name"), p.get("value")) for p in case.iter("property")]
        workers.setdefault(dict(props)["board"], set()).add(dict(props).get("worker"))
        got.append((case.get("name"), [p for p in props if p[0] != "worker"],
                    case.find("failure") is not None or case.find("error") is not None))
    return sorted(got), workers


def pytest_command(junit, test_file, *options):
    # Only the plugins named here: an installed copy of ftm_station (or one
    # built in the source tree) must not be loaded a second time.
    return [sys.executable, "-m", "pytest", "-p", "ftm_station.plugin", "-p", "xdist.plugin",
            "-p", "no:cacheprovider", "-n", "2", "--dist", "loadgroup", "--junitxml", junit, "-q",
            "--ftmctl", " ".join(ftmboard.program("ftmctl")),
            "--ftm-timescale", str(ftmboard.TIMESCALE)] + list(options) + [test_file]


def sim_check(test_file, out, env):
    """The plugin's own boards: two tested, in parallel, then gone."""
    junit = os.path.join(out, "results.xml")
    status = subprocess.run(pytest_command(junit, test_file, "--ftm-sim", "2", "--ftm-db",
                                           os.path.join(out, "r.sqlite")), env=env).returncode
    cases = [{p.get("name"): p.get("value") for p in c.iter("property")}
             for c in ET.parse(junit).getroot().iter("testcase")]
    boards = sorted(props["board"] for props in cases)
    if status != 0 or len(set(boards)) != 2:
        return "pytest ended with status %d; tested %r" % (status, boards)
    left = [props["sim_dir"] for props in cases if os.path.exists(props["sim_dir"])]
    for address in boards:
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
            s.bind(("127.0.0.1", int(address.rsplit(":", 1)[1])))  # nothing serves it now
    return "board directories left: %r" % left if left else None


def main(test_file):
    name = os.path.basename(test_file)
    check = name == "station_plugin_check.py"
    out = tempfile.mkdtemp(prefix="ftmstation-")
    env = dict(os.environ, PYTHONPATH=STATION, PYTEST_DISABLE_PLUGIN_AUTOLOAD="1")
    boards, stop_db = [], lambda: None
    try:
        if name == "station_sim_check.py":
            return sim_check(test_file, out, env)
        boards = [ftmboard.Board() for _ in range(2)]
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
        options = ["--ftm-log", out, "--ftm-answers", os.path.join(out, "answers.txt")]
        # The example takes the first unit from the command line and the
        # second from a scanner on standard input; the check, from a file.
        if check:
            url, stop_db = postgres(out)
            xcvr = boards[1].table("Xcvr")
            xcvr[0][16] = "2000"
            boards[1].write_table("Xcvr", xcvr)
            env["FTM_CHECK_SILENT"] = "%s %d" % (addresses[1], boards[1].proc.pid)
            options += ["--ftm-units", os.path.join(out, "units.txt"), "--ftm-db", url,
                        "--ftm-view", str(view)]
        else:
            options += ["--ftm-unit", "%s=%s,%s" % ((addresses[0],) + units[addresses[0]]),
                        "--ftm-scan"]
        options += [word for a in addresses for word in ("--ftm-board", a)]
        run = subprocess.Popen(pytest_command(junit, test_file, *options), env=env,
                               stdin=subprocess.PIPE, text=True)
        run.stdin.write("" if check else "%s\n%s\n" % units[addresses[1]])
        run.stdin.close()
        if check:
            runs = wait_for_steps(url, "test_operator_and_wps")
            if runs is None:
                run.kill()
                return "the boards never reached the WPS step"
            slow = [r["id"] for r in runs if r["board"] == addresses[1]][0]
            rows = view_rows("http://127.0.0.1:%d/" % view,
                             "http://127.0.0.1:%d/board/%d" % (view, slow))
            slow_line = "FTM_STATS/DSL/DSL_SPEED_DOWNSTREAM = 2.0 Mbit/s"
            want = [sorted([a, units[a][0], units[a][1], "test_operator_and_wps", "running",
                            slow_line + " (30..200)" if i else ""]
                           for i, a in enumerate(addresses)),
                    [[n, "pass", "", "", "", ""] for n in CHECK[:2]] +
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
        want = expected_record(boards, addresses, units, check)
        got, workers = actual_junit(junit)
        if got != expected_junit(want, boards):
            return "the JUnit XML holds\n%r\nnot\n%r" % (got, expected_junit(want, boards))
        if any(len(w) != 1 for w in workers.values()):
            return "a board's tests ran on several workers: %r" % workers
        got = actual_record(url)
        if got != sorted(want):
            return "the record holds\n%s\nnot\n%s" % (json.dumps(got, indent=1),
                                                       json.dumps(sorted(want), indent=1))
        subprocess.run([sys.executable, "-m", "ftm_station.record", url, "--csv", out],
                       env=env, check=True)
        with open(os.path.join(out, "steps.csv")) as f:
            if len(f.read().splitlines()) != 1 + 2 * len(CHECK if check else EXAMPLE):
                return "steps.csv does not hold every step"
        return None
    finally:
        for b in boards:
            b.close()
        stop_db()
        shutil.rmtree(out, ignore_errors=True)


if __name__ == "__main__":
    problem = main(os.path.abspath(sys.argv[1]))
    if problem:
        sys.exit("run_station: " + problem)
