"""The live view of a station: which board is where and what failed, from
the record as the run writes it.

    python3 -m ftm_station.view URL [--port 8080]

"/" lists the boards of the latest run (board, serial number, the step it
is in or ended with, the verdict, the failing measurement) and refreshes
itself every second; "/board/ID" shows one board's run from the record,
step by step with its measurements. pytest's --ftm-view PORT serves the same
pages during a run."""

import argparse
import threading

import flask
import sqlalchemy as sa
from werkzeug.serving import make_server

from ftm_station.record import MEASUREMENTS, RUNS, STEPS, engine_for

PAGE = """<!doctype html>
<html><head><meta charset="utf-8"><title>{{ title }}</title>
{% if refresh %}<meta http-equiv="refresh" content="1">{% endif %}
<style>
body { font-family: sans-serif; margin: 1em; }
table { border-collapse: collapse; }
td, th { border: 1px solid #999; padding: 0.2em 0.6em; text-align: left; }
.pass { background: #bfb; } .fail { background: #fbb; } .running { background: #ffb; }
</style></head><body>
<h1>{{ title }}</h1>
{% block body %}{% endblock %}
</body></html>"""

LIST = """{% extends "page" %}{% block body %}
<table id="boards">
<tr><th>board</th><th>serial</th><th>MAC</th><th>step</th><th>verdict</th><th>failing</th></tr>
{% for r in runs %}
<tr class="{{ r.verdict }}"><td><a href="/board/{{ r.id }}">{{ r.board }}</a></td>
<td>{{ r.serial or "" }}</td><td>{{ r.mac or "" }}</td><td>{{ r.step }}</td>
<td>{{ r.verdict }}</td><td>{{ r.failing }}</td></tr>
{% endfor %}
</table>{% endblock %}"""

BOARD = """{% extends "page" %}{% block body %}
<p>station {{ run.station }}, started {{ run.started }}, ended {{ run.ended or "" }};
given {{ run.serial or "" }} {{ run.mac or "" }}, read back {{ run.serial_read or "" }}
{{ run.mac_read or "" }}</p>
<table id="steps">
<tr><th>step</th><th>verdict</th><th>measurement</th><th>value</th><th>limits</th>
<th>message</th></tr>
{% for s in steps %}
<tr class="{{ s.verdict }}"><td>{{ s.name }}</td><td>{{ s.verdict }}</td><td></td><td></td><td></td>
<td>{{ s.message or "" }}</td></tr>
{% for m in s.measurements %}
<tr class="{{ m.verdict }}"><td></td><td>{{ m.verdict }}</td><td>{{ m.name }}</td>
<td>{{ m.text }} {{ m.unit or "" }}</td><td>{{ limits(m) }}</td><td></td></tr>
{% endfor %}{% endfor %}
</table>{% endblock %}"""


def limits(m):
    if m["low"] is None and m["high"] is None:
        return ""
    show = lambda v: "" if v is None else "%g" % v  # noqa: E731
    return "%s..%s" % (show(m["low"]), show(m["high"]))


def failing(m):
    return "%s = %s %s (%s)" % (m["name"], m["text"], m["unit"] or "", limits(m))


def app_for(url):
    engine = engine_for(url)
    app = flask.Flask("ftm_station.view")
    app.jinja_loader = __import__("jinja2").DictLoader({"page": PAGE, "list": LIST,
                                                       "board": BOARD})

    def query(statement):
        with engine.connect() as c:
            return [dict(r._mapping) for r in c.execute(statement)]

    @app.route("/")
    def boards():
        latest = query(sa.select(RUNS.c.session).order_by(RUNS.c.id.desc()).limit(1))
        runs = query(sa.select(RUNS).where(RUNS.c.session == latest[0]["session"])
                     .order_by(RUNS.c.board)) if latest else []
        for r in runs:
            step = query(sa.select(STEPS).where(STEPS.c.run_id == r["id"])
                         .order_by(STEPS.c.id.desc()).limit(1))
            r["step"] = step[0]["name"] if step else ""
            bad = query(sa.select(MEASUREMENTS).where(MEASUREMENTS.c.run_id == r["id"])
                        .where(MEASUREMENTS.c.verdict == "fail").order_by(MEASUREMENTS.c.id))
            r["failing"] = failing(bad[0]) if bad else ""
        return flask.render_template("list", title="Boards", runs=runs, refresh=True)

    @app.route("/board/<int:run_id>")
    def board(run_id):
        run = query(sa.select(RUNS).where(RUNS.c.id == run_id))
        if not run:
            flask.abort(404)
        steps = query(sa.select(STEPS).where(STEPS.c.run_id == run_id).order_by(STEPS.c.id))
        for s in steps:
            s["measurements"] = query(sa.select(MEASUREMENTS).where(
                MEASUREMENTS.c.step_id == s["id"]).order_by(MEASUREMENTS.c.id))
        return flask.render_template("board", title="Board %s" % run[0]["board"], run=run[0],
                                     steps=steps, limits=limits,
                                     refresh=run[0]["verdict"] == "running")
    return app


def serve(url, port, host="127.0.0.1"):
    """Serves the view from a thread of this process; returns the server."""
    server = make_server(host, port, app_for(url), threaded=True)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server


def main(argv=None):
    p = argparse.ArgumentParser(prog="python3 -m ftm_station.view",
                                description="the live view of a station's record")
    p.add_argument("url", help="database URL or SQLite file")
    p.add_argument("--port", type=int, default=8080)
    p.add_argument("--host", default="127.0.0.1")
    args = p.parse_args(argv)
    print("live view on http://%s:%d/" % (args.host, args.port), flush=True)
    make_server(args.host, args.port, app_for(args.url), threaded=True).serve_forever()


if __name__ == "__main__":
    main()
