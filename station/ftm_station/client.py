"""One board driven through `ftmctl --json`: every call runs ftmctl once and
returns its JSON result; a refusal or a silent board raises, and so do
arguments ftmctl will not send. Measurements go to `on_measure` (the
plugin records them)."""

import json
import shlex
import subprocess


class BoardError(AssertionError):
    """ftmctl did not report success; `result` is its JSON result."""

    def __init__(self, result):
        self.result = result
        self.status = result.get("status")
        self.message = result.get("message", "")
        super().__init__("%s: %s (%s)" % (result.get("command"), self.message,
                                          result.get("result")))


class Refused(BoardError):
    """Exit status 1: the board refused, or its reports do not show the request."""


class NoAnswer(BoardError):
    """Exit status 2: no answer, or an answer that settles nothing."""


class BadArguments(ValueError):
    """Exit status 3: ftmctl refused the arguments; nothing was sent."""

    def __init__(self, result):
        self.result = result
        self.status = result.get("status")
        self.message = result.get("message", "")
        super().__init__("%s: %s" % (result.get("command"), self.message))


class OutOfLimits(AssertionError):
    """A measurement outside its limits (or not a number)."""


def _number(text):
    try:
        return float(text)
    except (TypeError, ValueError):
        return None


class Board:
    """A board at HOST[:PORT]. Typed commands read their request back
    (--verify) unless verify=False is given."""

    def __init__(self, address, ftmctl="ftmctl", extra=(), verify=True):
        self.address = address
        # A command line: "ftmctl", a path, or a path behind an emulator.
        self.ftmctl = shlex.split(ftmctl)
        self.extra = list(extra)
        self.verify = verify
        self.on_identity = None  # called with MODEM_INFO values after identity()
        # Called with (name, value, text, low, high, unit, passed) for each
        # measurement.
        self.on_measure = None

    def run(self, *args, check=True):
        cmd = self.ftmctl + ["--board", self.address, "--json"] + self.extra + [str(a) for a in args]
        done = subprocess.run(cmd, capture_output=True, text=True)
        try:
            result = json.loads(done.stdout)
        except ValueError:
            result = {"command": args[0] if args else "", "status": done.returncode,
                      "result": "bad arguments", "message": done.stderr.strip()}
        result["status"] = done.returncode
        if done.returncode == 3:
            raise BadArguments(result)
        if check and done.returncode == 1:
            raise Refused(result)
        if check and done.returncode != 0:
            raise NoAnswer(result)
        return result

    def _typed(self, *args, verify=None):
        if self.verify if verify is None else verify:
            args += ("--verify",)
        return self.run(*args)

    # -- reports --------------------------------------------------------------
    def get(self, report):
        """The report's element paths and texts ("MODEM_INFO/SERIAL_NUM": ...)."""
        return self.run("get", report)["values"]

    def modem_info(self):
        return self.get("FTM_ModemInfo.xml")

    def numbers(self, report):
        """The report's measurements as numbers: counters, rates, margins,
        the antenna levels one per label ("MOBILE_INFO/ANT/Main")."""
        return self.run("get", report)["numbers"]

    def active_tests(self):
        values = self.get("FTM_TestModeOp.xml")
        return [p.split("/", 1)[1] for p in values if p.startswith("ACTIVE_TEST/")]

    # -- measurements ---------------------------------------------------------
    def measure(self, name, value, low=None, high=None, unit=""):
        """Records a value with its limits; raises OutOfLimits when it is
        not a number or outside them. Returns the value as a number."""
        number = value if isinstance(value, (int, float)) else _number(value)
        passed = number is not None and (low is None or number >= low) and \
            (high is None or number <= high)
        if self.on_measure is not None:
            self.on_measure(name, number, "" if value is None else str(value), low, high, unit,
                            passed)
        if not passed:
            raise OutOfLimits("%s = %s %s outside %s..%s" % (
                name, value, unit, "" if low is None else low, "" if high is None else high))
        return number

    def expect(self, report, path, low=None, high=None, unit=""):
        """A number of a report, measured against its limits."""
        return self.measure(path, self.numbers(report).get(path), low, high, unit)

    # -- operator steps -------------------------------------------------------
    def wait_button(self, which, state, timeout=30):
        """Until the board shows the button (wps, reset) or the wifi switch
        open or closed; Refused when it does not within `timeout` seconds."""
        kind = "switch" if which == "wifi" else "button"
        return self.run("wait", kind, which, state, "--timeout", timeout)

    # -- requests -------------------------------------------------------------
    def identity(self, verify=None, **fields):
        """model, serial, mac, date (MMDDYYYY), rev, e164, boot_delay."""
        pairs = ["%s=%s" % (k.replace("_", "-"), v) for k, v in fields.items()]
        result = self._typed("identity", *pairs, verify=verify)
        if self.on_identity is not None:
            self.on_identity(self.modem_info())
        return result

    def enter(self, test, verify=None):
        return self._typed("enter", test, verify=verify)

    def leave(self, verify=None):
        return self._typed("leave", verify=verify)

    def led(self, name, state, verify=None):
        return self._typed("led", name, state, verify=verify)

    def leds(self, state):
        return self.run("leds", state)

    def button(self, which, state, verify=None):
        return self._typed("button", which, state, verify=verify)

    def autopair(self, mode, verify=None):
        return self._typed("autopair", mode, verify=verify)

    def voice(self, name, value):
        return self.run("voice", name, value)

    def radio(self, band, item, value, verify=None):
        return self._typed("radio", band, item, value, verify=verify)

    def throughput(self, vpi, vci, verify=None):
        return self._typed("throughput", vpi, vci, verify=verify)

    def cfg(self, *settings, verify=None):
        """Several settings in one upload, applied by the board in order."""
        return self._typed("cfg", *settings, verify=verify)

    def port(self, number, state):
        return self.run("port", number, state)

    def ini(self, path, name=None):
        return self.run("ini", path, *(["--as", name] if name else []))

    def put(self, path, name=None):
        return self.run("put", path, *(["--as", name] if name else []))

    def restart(self, safe=False):
        return self.run("restart", *(["--safe"] if safe else []))
