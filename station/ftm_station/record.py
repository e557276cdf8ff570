"""The record of every board: one row per board run, one per step, one per
measurement, in SQLite (a file, the default) or PostgreSQL (a URL), through
SQLAlchemy Core. Several pytest-xdist workers write to one database; each
run's rows are written by the worker that has its board.

    python3 -m ftm_station.record URL --csv DIR     # runs.csv, steps.csv, measurements.csv
    python3 -m ftm_station.record URL --json FILE   # every run with its steps and measurements
"""

import argparse
import csv
import datetime
import json
import os
import sys

import sqlalchemy as sa

META = sa.MetaData()

RUNS = sa.Table(
    "runs", META,
    sa.Column("id", sa.Integer, primary_key=True),
    sa.Column("session", sa.String(64), nullable=False, index=True),
    sa.Column("station", sa.String(128), nullable=False),
    sa.Column("board", sa.String(128), nullable=False),
    # As scanned or typed, and as the board reports it at the end.
    sa.Column("serial", sa.String(64)),
    sa.Column("mac", sa.String(17)),
    sa.Column("serial_read", sa.String(64)),
    sa.Column("mac_read", sa.String(17)),
    sa.Column("started", sa.DateTime, nullable=False),
    sa.Column("ended", sa.DateTime),
    sa.Column("verdict", sa.String(16), nullable=False),  # running, pass, fail
)

STEPS = sa.Table(
    "steps", META,
    sa.Column("id", sa.Integer, primary_key=True),
    sa.Column("run_id", sa.Integer, sa.ForeignKey("runs.id"), nullable=False, index=True),
    sa.Column("name", sa.String(256), nullable=False),
    sa.Column("started", sa.DateTime, nullable=False),
    sa.Column("ended", sa.DateTime),
    sa.Column("verdict", sa.String(16), nullable=False),  # running, pass, fail, skip
    sa.Column("message", sa.Text),
)

MEASUREMENTS = sa.Table(
    "measurements", META,
    sa.Column("id", sa.Integer, primary_key=True),
    sa.Column("run_id", sa.Integer, sa.ForeignKey("runs.id"), nullable=False, index=True),
    sa.Column("step_id", sa.Integer, sa.ForeignKey("steps.id")),
    sa.Column("name", sa.String(256), nullable=False),
    sa.Column("value", sa.Float),
    sa.Column("text", sa.String(256)),  # the value as the board wrote it
    sa.Column("low", sa.Float),
    sa.Column("high", sa.Float),
    sa.Column("unit", sa.String(32)),
    sa.Column("verdict", sa.String(16), nullable=False),  # pass, fail
    sa.Column("at", sa.DateTime, nullable=False),
)

TABLES = (RUNS, STEPS, MEASUREMENTS)


def now():
    return datetime.datetime.utcnow().replace(microsecond=0)


def engine_for(url):
    """An engine for a URL or a plain file name (SQLite)."""
    if "://" not in url:
        url = "sqlite:///" + os.path.abspath(url)
    if url.startswith("sqlite"):
        # Workers write at the same time: wait for the lock, not fail.
        return sa.create_engine(url, connect_args={"timeout": 30}, future=True)
    return sa.create_engine(url, future=True, pool_pre_ping=True)


class Recorder:
    """Writes one station's runs. Every call is its own transaction, so a
    view or an export sees each row as soon as it is written."""

    def __init__(self, url, station="station", session=""):
        self.engine = engine_for(url)
        self.station = station
        self.session = session
        try:
            META.create_all(self.engine, checkfirst=True)
        except sa.exc.DBAPIError:
            # Another worker created them at the same moment.
            META.create_all(self.engine, checkfirst=True)

    def _insert(self, table, **row):
        with self.engine.begin() as c:
            return c.execute(table.insert().values(**row)).inserted_primary_key[0]

    def _update(self, table, key, **row):
        with self.engine.begin() as c:
            c.execute(table.update().where(table.c.id == key).values(**row))

    def start_run(self, board, serial=None, mac=None):
        return self._insert(RUNS, session=self.session, station=self.station, board=board,
                            serial=serial, mac=mac, started=now(), verdict="running")

    def end_run(self, run, verdict, serial_read=None, mac_read=None):
        self._update(RUNS, run, ended=now(), verdict=verdict, serial_read=serial_read,
                     mac_read=mac_read)

    def start_step(self, run, name):
        return self._insert(STEPS, run_id=run, name=name, started=now(), verdict="running")

    def end_step(self, step, verdict, message=None):
        self._update(STEPS, step, ended=now(), verdict=verdict, message=message)

    def measure(self, run, step, name, value, text, low, high, unit, verdict):
        return self._insert(MEASUREMENTS, run_id=run, step_id=step, name=name, value=value,
                            text=text, low=low, high=high, unit=unit, verdict=verdict, at=now())


def rows(engine, table, order=("id",)):
    with engine.connect() as c:
        result = c.execute(sa.select(table).order_by(*[table.c[k] for k in order]))
        return [dict(r._mapping) for r in result]


def _plain(value):
    return value.isoformat() + "Z" if isinstance(value, datetime.datetime) else value


def export_json(engine):
    """Every run, newest last, with its steps and their measurements."""
    steps, measurements = rows(engine, STEPS), rows(engine, MEASUREMENTS)
    out = []
    for run in rows(engine, RUNS):
        r = {k: _plain(v) for k, v in run.items()}
        r["steps"] = []
        for step in (s for s in steps if s["run_id"] == run["id"]):
            s = {k: _plain(v) for k, v in step.items() if k != "run_id"}
            s["measurements"] = [{k: _plain(v) for k, v in m.items()
                                  if k not in ("run_id", "step_id")}
                                 for m in measurements if m["step_id"] == step["id"]]
            r["steps"].append(s)
        out.append(r)
    return out


def export_csv(engine, directory):
    """One CSV file per table, a header line first."""
    os.makedirs(directory, exist_ok=True)
    for table in TABLES:
        with open(os.path.join(directory, table.name + ".csv"), "w", newline="") as f:
            w = csv.writer(f)
            w.writerow([c.name for c in table.columns])
            for row in rows(engine, table):
                w.writerow([_plain(row[c.name]) for c in table.columns])


def main(argv=None):
    p = argparse.ArgumentParser(prog="python3 -m ftm_station.record",
                                description="export the record of the boards")
    p.add_argument("url", help="database URL or SQLite file")
    p.add_argument("--csv", metavar="DIR", help="write runs.csv, steps.csv, measurements.csv")
    p.add_argument("--json", metavar="FILE", help="write every run as JSON (- for stdout)")
    args = p.parse_args(argv)
    engine = engine_for(args.url)
    if args.csv:
        export_csv(engine, args.csv)
    if args.json:
        text = json.dumps(export_json(engine), indent=2) + "\n"
        if args.json == "-":
            sys.stdout.write(text)
        else:
            with open(args.json, "w") as f:
                f.write(text)
    return 0


if __name__ == "__main__":
    sys.exit(main())
