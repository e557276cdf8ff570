"""Reports as a station downloads them, byte for byte. The daemon writes each
element on lines of its own, indented two spaces per level, every line
ending in CR LF; a download starts at the first "<", so the first line has
no indentation."""

import re


def render(nodes, depth=1):
    """The lines of (name, text) or (name, text, ' attr="v"') elements, where
    text may be a list of children, or a (text, children) pair for an element
    with both; an empty text writes no text line."""
    out = ""
    for node in nodes:
        name, content = node[0], node[1]
        pad = "  " * depth
        out += "%s<%s%s>\r\n" % (pad, name, node[2] if len(node) > 2 else "")
        if isinstance(content, tuple):
            out += "%s  %s\r\n" % (pad, content[0]) + render(content[1], depth + 1)
        elif isinstance(content, list):
            out += render(content, depth + 1)
        elif content:
            out += "%s  %s\r\n" % (pad, content)
        out += "%s</%s>\r\n" % (pad, name)
    return out


def report(*roots):
    """A whole report from its top-level elements."""
    return ('<?xml version="1.0" encoding="UTF-8"?>\r\n' + render(roots)).encode("latin-1")


def decimal(text):
    """The board's decimal conversion: leading blanks, a sign, digits, the
    rest ignored, no digits 0, clamped to 32 bits."""
    m = re.match(r"\s*([+-]?\d+)", text)
    return max(-2 ** 31, min(2 ** 31 - 1, int(m.group(1)))) if m else 0


def pattern(size, seed=0):
    """File content that shows where every byte came from."""
    return bytes((i * 7 + seed) % 251 for i in range(size))


# FTM_Progress.xml: no INI file is being loaded.
PROGRESS = report(("DOWNLOAD_STATUS", "DONE"))
# FTM_TestModeOp.xml: the four supported tests, and no test in progress.
TESTMODEOP = report(("SUPPORTED_TESTS", [(n, "") for n in ("LED", "THROUGHPUT", "RESET_SWITCH",
                                                            "BCOM_WIRELESS")]),
                    ("ACTIVE_TEST", []))
FRESH_REPORTS = {b"FTM_Progress.xml": PROGRESS, b"FTM_TestModeOp.xml": TESTMODEOP}
