# The interactive tests as a station and the board see them: tests entered and
# left ("FTM_TestModeOp.xml" uploads), LEDs, buttons, the auto-pair selector,
# voice lines and radios ("FTM_TestModeCfg.xml" uploads), and the reports that
# show them. Every upload is compared with its reply, all it did (events,
# syslog, standard output and error) and the tests in progress after it; every
# report whole, byte for byte, in several board states.

import os
import re
import string

from ftmboard import BoardTest, Effects, ack, error
from ftmreports import PROGRESS, decimal, report

OP, CFG, PROG, ACK = b"FTM_TestModeOp.xml", b"FTM_TestModeCfg.xml", b"FTM_Progress.xml", ack(1)
NOT_SUP, NO_CMD, WRITE_FAIL, CFG_FAIL, INVALID = (error(0, m) for m in (
    b"Test not supported", b"No Command Found", b"Write data failed", b"Write test config failed",
    b"Xml File InValid"))
# The tests in progress: bit and entry under ACTIVE_TEST.
ENTRIES = [(0x8000, "LED"), (0x4000, "RESET_SWITCH"), (0x2000, "THROUGH_PUT"),
           (0x0800, "AUTO_PAIR"), (0x0400, "BCOM_WIRELESS"), (0x0200, "VOIP")]
LEDS = [("WPS_LED", 42), ("INTERNET_LED", 5), ("USB_LED", 8), ("LAN_LED", 12), ("WAN_LED", 14),
        ("WIFI_24G_LED", 70), ("WIFI_5G_LED", 72), ("MOBILE_4G_LED", 50), ("MOBILE_3G_LED", 51)]
# Radio suffix, interface, radio device, the read-back's country line.
RADIOS = [("24G", "ath0", "wifi0", "COUNTRY_24"), ("5G", "ath4", "wifi1", "COUNTRY")]
# The read-back's driver requests: name, on the device (1) or the interface (0), arguments.
GETS = [("SIOCGIWESSID", 0, " length 33 flags 0"), ("SIOCGIWFREQ", 0, ""),
        ("SIOCIWGETMODE", 0, " length 16 flags 0"), ("SIOCIWGETCOUNTRY", 1, " length 3 flags 0")]
S31, M15, P100 = string.ascii_letters[:31], "11naht40-abcdef", "eUserIOPoint = 100\n"
LOST = "error: failed to read table: WlanConfig\n"


# Effects that add up in the order they happen; fx() makes them (syslog lines at error priority).
Fx = type("Fx", (Effects,), {"__slots__": (), "__add__": lambda a, b: Fx(*(x + y for x, y in zip(a, b)))})
fx = lambda *events, log=(), out="", err="": Fx(list(events), ["err " + m for m in log], out, err)  # noqa
NONE, EXITFTM, X = fx(), fx("gpio exitftm", out=P100), (OP, "<EXIT_TEST/>")
both = lambda *m: fx(log=m, out="".join(s + "\n" for s in m))  # syslog and stdout  # noqa: E731
sw = lambda p, v: fx("gpio enterftm", "gpio write %d %d" % (p, v))  # a button line  # noqa: E731
gw = lambda p, v: sw(p, v) + fx(out="eUserIOPoint = %d\n" % p)  # through GpioWriteIo  # noqa: E731
allleds = lambda on: fx("gpio enterftm", "gpio allleds %d" % on,  # noqa: E731
                        out=P100 + "ioctl  iGpioCtl= %d\n" % (11 + on))
flags = lambda i, up: fx("wifi %s ioctl SIOCSIFFLAGS flags %d" % (i, up),  # noqa: E731
                         "wifi %s %s" % (i, ("down", "up")[up]))
text_set = lambda n, req, item, t: fx(  # the length counts the terminator  # noqa: E731
    "wifi %s ioctl %s length %d flags 1" % (n, req, len(t) + 1), "wifi %s %s %s" % (n, item, t))
el = lambda n, text="", attrs="": "<%s%s>%s</%s>" % (n, attrs, text, n)  # noqa: E731
kids = lambda *pairs: "".join(el(n, str(t)) for n, t in pairs)  # noqa: E731
cfg = lambda *parts: "<TEST_CONFIG>%s</TEST_CONFIG>" % "".join(parts)  # noqa: E731
testmodeop = lambda mask: report(("SUPPORTED_TESTS", [(n, "") for n in (  # noqa: E731
    "LED", "THROUGHPUT", "RESET_SWITCH", "BCOM_WIRELESS")]), ("ACTIVE_TEST", [
        (e, "") for bit, e in ENTRIES if mask & bit]))


def readback(b, v, down):
    # The read-back and its effects from the board's sources; v keeps the
    # texts a missing source leaves. down: every GPIO and radio read fails.
    rd = lambda p: -1 if down else decimal(  # noqa: E731
        b.read("gpio/%d" % p)) if b.exists("gpio/%d" % p) else 0
    wifi = lambda n, f: b.read("wifi/%s/%s" % (n, f)).split("\n")[0]  # noqa: E731
    alnum = lambda t: re.sub("[^A-Za-z0-9]", "", t)  # noqa: E731
    v.update((n, ("OFF", "ON")[rd(p) != 0]) for n, p in LEDS)
    reset, wps = b.exists("root/tmp/ResetSwitch"), b.exists("root/tmp/Wps_pressed")
    v["RESET_SW_STATUS"] = ("OPEN", "CLOSED")[rd(32) != 0 or reset]
    v["WPS_SW_STATUS"] = ("OPEN", "CLOSED")[rd(43) != 0 or wps and not reset]  # a reset press wins
    col = [row[0] for row in b.table("WlanConfig")]
    v.update([("WIFI_PWR_STATUS", ("CLOSED", "OPEN")[col[0] == "1"])] if col else [])
    v.update(("WiFi_%s_Radio_Ctrl" % r[0], ("OFF", "ON")[decimal(c) != 0])
             for r, c in zip(RADIOS, col * (len(col) > 1)))
    for i, (g, ifn, dev, _) in enumerate(RADIOS):
        m = decimal(wifi(ifn, "freq"))
        ch = (int((m - 241200000) / 500000) + 1, (m - 518000000) // 500000 + 36 if m > 518000000 else 36)[i]
        v.update({"SSID_" + g: wifi(ifn, "essid")[:32], "CHANNEL_" + g: str(ch),
                  "MODE_" + g: alnum(wifi(ifn, "mode")[:16]), "DOMAIN_" + g: alnum(wifi(dev, "country")[:3])})
        v.update((n + g, "") for n in ("SSID_", "CHANNEL_", "MODE_", "DOMAIN_") if down)
    item = lambda n, rw="": (n, v.get(n, "NA"), rw)  # noqa: E731
    doc = report(("TEST_CONFIG", [
        ("LED", [item(n, ' RW="T"') for n, _ in LEDS] + [item("ALL_LEDS", ' RW="T"')]),
        ("ATH_WIRELESS", [("ATH_%s_WIRELESS" % g, [item(n % g) for n in (
            "SSID_%s", "MODE_%s", "CHANNEL_%s", "WiFi_%s_Radio_Ctrl", "DOMAIN_%s")]) for g, *_ in RADIOS])] + [
        (n + "_SWITCH", [item(n + t + "_STATUS", ' RW="F"')]) for n, t in (
            ("WPS", "_SW"), ("RESET", "_SW"), ("WIFI_PWR", ""))] + [
        ("USB", [item(n) for n in ("HOST", "VENDOR", "MODEL", "TYPE")])]))
    gets = [(q, r[1 + d], a) for r in RADIOS for q, d, a in GETS]
    mode = "".join("Mode is %s\n%s code is %s\n" % (v["MODE_" + g], c, v["DOMAIN_" + g])
                   for g, _, _, c in RADIOS)
    return doc, fx("cfg session 0", "cfg read WlanConfig FTM_Apis.c FtmWifiSwStat", "cfg end",
                   "cfg session 0 FtmUpdateAthWireless", "cfg read WlanConfig FTM_Apis.c FtmUpdateAthWireless",
                   "cfg end", *["wifi %s ioctl %s%s" % (n, q, a) for q, n, a in gets if not down],
                   log=["Cannot open gpio driver"] * 12 * down + [
                       "FTM %s on %s failed" % g[:2] for g in gets if down],
                   out=LOST * (not col) + mode + "failed to open /proc/scsi/scsi\n" * (
                       not b.exists("root/proc/scsi/scsi")), err=LOST * (len(col) < 2))


class Case(BoardTest):
    # A board and a station; check() uploads each row's request (to its own
    # name, or to `name`) and compares the reply, the whole effects and, unless
    # None, the tests in progress. A row that is a string sets the faults.
    def setUp(self):
        self.b = self.board()
        self.c = self.client(self.b)

    get = lambda self, name: self.c.download(name)[0]  # None for an error: never a report  # noqa

    def check(self, rows, name=CFG):
        for row in rows:
            if isinstance(row, str):
                self.b.set_faults(*filter(None, row.split(";")))
                continue
            (to, xml), reply, effects, mask = row if isinstance(row[0], tuple) else ((name, row[0]),) + row[1:]
            mark, data = self.b.mark(), xml.encode("latin-1")
            reply = ack(len(data) // 512 + 1) if reply == ACK else reply  # the last block's
            self.assertEqual((self.c.upload(to, data), self.b.since(mark)), (reply, effects), xml)
            if mask is not None:
                self.assertEqual(self.get(OP), testmodeop(mask), xml)


class TestModeOperations(Case):
    def test_tests_entered_and_left_and_board_commands(self):
        e = lambda *tests: el("ENTER_TEST", "".join("<%s/>" % t for t in tests))  # noqa: E731
        x, voip = X[1], lambda *k: el("ENTER_TEST", el("VOIP", kids(*k)))  # noqa: E731
        flash = lambda mode: fx("flash boot " + mode, "flash restart")  # noqa: E731
        gone, enter = fx(out=P100) + both("Cannot open gpio driver"), fx("gpio enterftm")
        self.check([
            (e("LED", "VOIP"), ACK, allleds(0), 0x8000),  # only the first child counts
            (e("RESET_SWITCH"), ACK, enter, 0xC000), (x, ACK, EXITFTM, 0),
            (e("RESET_SWITCH"), ACK, enter, 0x4000), (e("AUTO_PAIR"), ACK, NONE, 0x4800),
            (x, ACK, NONE, 0),  # without the LED test the driver is not told
            # No THROUGHPUT in the read-back document: the step fails, the others follow.
            # A refused READY_STATUS fails the step before the handler sets the bit itself.
            (el("ENTER_TEST", el("THROUGHPUT", kids(("READY_STATUS", "READY")))), NO_CMD, NONE,
             0x2000), (x, ACK, NONE, 0),
            (voip(("TONE_1", 1)), NO_CMD, NONE, 0x0200), (e("THROUGHPUT") + x, ACK, NONE, 0),
            (voip(("DECODER_1", "ON")), ACK, NONE, 0x0200), (e("BCOM_WIRELESS"), ACK, NONE, 0x0600),
            (e("AUTO_PAIR"), ACK, NONE, 0x0E00), (e("THROUGHPUT"), NO_CMD, NONE, 0x2E00),
            (e("RESET_SWITCH"), ACK, enter, 0x6E00), (e("LED"), ACK, allleds(0), 0xEE00),
            (e("PSD") + x, NOT_SUP, NONE, 0xEE00), (x + "<REBOOT/>", ACK, EXITFTM, 0),  # a refused test ends it
            ("<ENTER_TEST></ENTER_TEST>", NO_CMD, NONE, 0), ("<NO/>", NO_CMD, NONE, 0),
            ("<ENTER_TEST/><REBOOT_TO_SAFEBOOT/>", ACK, flash("safe"), 0),
            ("<REBOOT_TO_SAFEBOOT/><RESYNC/><REBOOT/>", ACK, fx("dsl open"), 0),
            ("<REBOOT_TO_SAFEBOOT/><REBOOT/>", ACK, flash("normal"), 0),
            ("<REBOOT_TO_SAFEBOOT/>", ACK, flash("safe"), 0), (e("LED") + x, ACK, allleds(0), 0x8000),
            "open /dev/gpioctrl",
            (e("RESET_SWITCH"), ACK, both("Cannot open gpio driver", "GPIOCTRL_ENTERFTM ioctl failed"), 0xC000),
            (x, ACK, gone, 0), (e("LED"), ACK, gone, 0x8000), "ioctl GPIOCTRL_ENTERFTM",
            (e("RESET_SWITCH"), ACK, both("GPIOCTRL_ENTERFTM ioctl failed"), 0xC000), "ioctl GPIOCTRL_EXITFTM",
            (x, ACK, fx(out=P100) + both("GPIOCTRL_EXITFTM ioctl failed"), 0),
            "open /dev/dsl_cpe_api;open /dev/flshmgmt",
            ("<RESYNC/>", WRITE_FAIL, both("Cannot open adsl driver"), 0), ("<REBOOT/>", ACK, NONE, 0)], OP)


class TestConfiguration(Case):
    def test_leds_selector_buttons_and_refusals(self):
        led = lambda *k: cfg(el("LED", kids(*k)))  # noqa: E731
        one = lambda attrs: cfg(el("LED", el("SINGLE_LED", "", attrs)))  # noqa: E731
        pattern = lambda odd: [(n, ("OFF", "ON")[(i + odd) % 2]) for i, (n, _) in enumerate(LEDS)]  # noqa
        written = lambda odd: sum((gw(p, (i + odd) % 2) for i, (_, p) in enumerate(LEDS)), NONE)  # noqa
        switch = lambda n, t: el(n + "_SWITCH", kids((n + "_SW_STATUS", t)))  # noqa: E731
        wfail = lambda p: fx("gpio enterftm", out="eUserIOPoint = %d\n" % p) + both(  # noqa: E731
            "GPIOCTRL_WRITEIO ioctl failed")
        auto = lambda *modes: cfg(el("AUTO_PAIR", kids(*[("AUTO_MODE", m) for m in modes])))  # noqa
        port, other = el("ETHER_PORT", kids(("MODE", 1))), el("WPS_SWITCH", kids(("RESET_SW_STATUS", "OPEN")))
        self.check([
            (one(' P="72" S="BLINK"'), NOT_SUP, NONE, 0), (one(' P="256" S="ON"'), NOT_SUP, NONE, 0),
            (one(' P="100"'), NOT_SUP, NONE, 0),  # the read-back document holds no SINGLE_LED:
            (one(' P="73" S="BLINK"'), NO_CMD, NONE, 0x8000), (X, ACK, EXITFTM, 0),  # the bit, a refusal
            (one(' P="65608" S="OFF"'), NO_CMD, NONE, 0x8000),  # 72 as a 16-bit number
            (led(*pattern(0)), ACK, written(0), 0x8000), (led(*pattern(1)), ACK, written(1), 0x8000),
            (led(("ALL_LEDS", "ON"), ("ALL_LEDS", "OFF")), ACK, allleds(1) + allleds(0), 0x8000),
            (led(("WAN_LED", "BLINK"), ("LAN_LED", "ON")), NOT_SUP, NONE, 0x8000),
            (cfg(el("LED", kids(("WAN_LED", "ON"))), "<PSD_SETTING/>"), NOT_SUP, gw(14, 1), 0x8000),
            (led(("FOG_LED", "ON")), NOT_SUP, NONE, 0x8000),
            (cfg(el("THROUGHPUT", kids(("DATA", 1)), ' VPI="8;reboot" VCI="35"')), NO_CMD, NONE, 0xA000),
            (auto("INNER", "OUTER"), ACK, gw(41, 0) + gw(41, 1), 0xA800), (X, ACK, EXITFTM, 0),
            (cfg(el("THROUGHPUT", kids(("READY_STATUS", "READY")))), CFG_FAIL, NONE, 0),
            (auto("AUTO"), NOT_SUP, NONE, 0), (auto("inner"), NOT_SUP, NONE, 0),
            (cfg(el("AUTO_PAIR", kids(("MODE", "AUTO")))), ACK, NONE, 0x0800),
            (cfg(switch("RESET", "CLOSED"), switch("WPS", "OPEN")), ACK, sw(32, 1) + sw(43, 0), 0x0800),
            (cfg(switch("RESET", "OPEN"), switch("WPS", "$(x)")), ACK, sw(32, 0) + sw(43, 1), None),
            (cfg(other, switch("RESET", ""), "<WPS_SWITCH/>", port), ACK, NONE, None),
            (cfg(el("ETHER_PORT", kids(("ETHER_PORT_SPD", 10))), switch("WPS", "OPEN")), CFG_FAIL, NONE, None),
            (cfg(el("MULTI_HYBRID", kids(("MULTI_MODE", "ON")))), NOT_SUP, NONE, None),
            ("<CONFIG/>", INVALID, NONE, None), (cfg(), ACK, NONE, 0x0800), (X, ACK, NONE, 0),
            "ioctl GPIOCTRL_ALLLEDS_ON", (led(("ALL_LEDS", "ON")), WRITE_FAIL, fx("gpio enterftm", out=(
                P100 + "ioctl  iGpioCtl= 12\n")) + both("GPIOCTRL_WRITEIO ioctl failed"), 0),
            "ioctl GPIOCTRL_WRITEIO 14",  # the other LEDs are still switched, the test not entered
            (led(("WAN_LED", "ON"), ("LAN_LED", "OFF")), WRITE_FAIL, wfail(14) + gw(12, 0), 0),
            (led(("WAN_LED", "ON"), ("ALL_LEDS", "ON")), NOT_SUP, wfail(14), 0), "ioctl GPIOCTRL_WRITEIO",
            # The button lines record no message of their own.
            (cfg(switch("RESET", "OPEN")), NOT_SUP, fx("gpio enterftm", log=[
                "GPIOCTRL_WRITEIO ioctl failed"]), 0), "ioctl GPIOCTRL_ENTERFTM",
            (cfg(switch("WPS", "OPEN")), NOT_SUP, fx(log=["GPIOCTRL_ENTERFTM ioctl failed"]), 0),
            "open /dev/gpioctrl", (cfg(switch("WPS", "OPEN")), NOT_SUP, fx(log=["Cannot open gpio driver"]), 0),
            (auto("OUTER"), ACK, fx(out="eUserIOPoint = 41\n") + both("Cannot open gpio driver"), 0x0800)])

    def test_voice_lines(self):
        v = lambda *k, attrs="": cfg(el("VOIP", kids(*k), attrs))  # noqa: E731
        # The ring voltage and tone operations fail on this board without a
        # message: an accepted value is answered with the last one recorded.
        rows = [(v(), ACK, NONE, 0x0200), (v(attrs=' Other="1"'), NO_CMD, NONE, 0x0200)] + [
            (v(("RING_VOLTAGE_%d" % n, t)), NO_CMD, NONE, None) for n, t in (
                (1, "25v"), (2, "50v"), (1, "75v"))]
        rows += [(v(("CUT_RELAY_%d" % n, t)), ACK, gw(21 + n, 1 - i), None) for n in (1, 2)
                 for i, t in enumerate(("Enable", "Disable"))]
        # Decoders: off is refused (no decoder runs), one on at a time.
        rows += [(v(("DECODER_%d" % n, t)), reply, NONE, None) for n, t, reply in [
            (1, "OFF", NO_CMD), (2, "OFF", NO_CMD), (2, "ON", ACK), (1, "ON", NO_CMD), (2, "ON", NO_CMD),
            (1, "OFF", NO_CMD)]]
        rows += [(v(("RING_VOLTAGE_1", "50v"), ("HOOK_1", "ON")), ACK, NONE, None),  # the last counts
                 (v(("HOOK_2", "ON"), ("TONE_2", 3)), NO_CMD, NONE, None),
                 (v(("BELL_1", "x"), ("HOOK_3", "ON"), ("HOOK_1", "OFF")), ACK,
                  fx(out="No Element Found\n" * 2), None),
                 (v(("HOOK_2", "OFF"), attrs=' ReadClear="0"'), ACK, NONE, None)]
        rows += [(v(("CUT_RELAY_2", "Enable"), (n, t)), NOT_SUP, gw(23, 1), None) for n, t in [
            ("RING_VOLTAGE_1", "30v"), ("RING_VOLTAGE_2", "50V"), ("RING_VOLTAGE_2", ""),
            ("HOOK_1", "On"), ("CUT_RELAY_1", "enable"), ("DECODER_2", "off"), ("TONE_1", "")]]
        # A failed operation answers before the attribute is looked at.
        self.check(rows + [(v(("TONE_1", 1), attrs=' Other="1"'), NOT_SUP, NONE, 0x0200)])


class TestRadios(Case):
    def test_settings_reach_the_driver(self):
        r = lambda i, *k: el("ATH_%s_WIRELESS" % RADIOS[i][0], kids(*k))  # noqa: E731
        w = lambda *radios: cfg(el("ATH_WIRELESS", "".join(radios)))  # noqa: E731
        ok = [list(range(12)), list(range(12)) + list(range(36, 141, 4)) + list(range(149, 166, 4))]
        chan = lambda i, c: flags(i, 0) + fx("wifi %s ioctl SIOCSIWFREQ m %d e 0" % (i, c),  # noqa
                                             "wifi %s freq %d" % (i, c)) + flags(i, 1)
        mode = lambda i, t: flags(i, 0) + text_set(i, "SIOCIWSETMODE", "mode", t) + flags(  # noqa
            i, 1) + fx(out="Put Mode is %s\n" % t)
        country = lambda d, t: text_set(d, "SIOCIWSETCOUNTRY", "country", t) + fx(  # noqa: E731
            out="Set counry is %s\n" % t)
        ctrl = lambda i, on: fx("shell cfg_write WlanConfig.%d.Enabled=%d" % (i, on),  # noqa
                                "cfg commit WlanConfig") + flags(RADIOS[i][1], on)
        rows = [(w(r(i, *[("CHANNEL_" + ("24G", "5G")[c % 2], c) for c in ok[i]])), ACK,
                 sum((chan(RADIOS[i][1], c) for c in ok[i]), NONE), None) for i in (0, 1)]
        rows += [(w(r(i, ("CHANNEL_24G", c))), NOT_SUP, NONE, None) for i, c in [
            (0, 12), (0, 13), (0, 14), (0, 36), (0, 165), (0, "six"), (1, 12), (1, 35), (1, 38),
            (1, 144), (1, 145), (1, 148), (1, 151), (1, 169), (1, "-1")]]
        rows += [
            (w(r(0, ("SSID_24G", S31), ("SSID_5G", ""))), ACK,
             text_set("ath0", "SIOCSIWESSID", "essid", S31) + flags("ath0", 0) + flags("ath0", 1), None),
            (w(r(1, ("SSID_5G", S31 + "f"))), NOT_SUP, NONE, None),
            (w(r(0, ("MODE_24G", M15 + "x"))), NOT_SUP, NONE, None),
            (w(r(1, ("MODE_5G", M15), ("MODE_24G", 11))), ACK, mode("ath4", M15) + mode("ath4", "11"), None),
            (w(r(0, ("DOMAIN_24G", "USA"), ("DOMAIN_5G", "D"), ("DOMAIN_24G", "DE")), r(1, ("DOMAIN_5G", 1))),
             ACK, country("wifi0", "D") + country("wifi0", "DE") + country("wifi1", "1"), None),
            (w(r(0, ("WiFi_5G_Radio_Ctrl", "OFF"), ("WiFi_24G_Radio_Ctrl", "1;reboot"), ("BAND", "x"))), ACK,
             ctrl(0, 0) + fx(out="No Element BAND Found \n"), None),
            (w(r(1, ("WiFi_24G_Radio_Ctrl", "ON")), el("ATH_60G_WIRELESS", kids(("CHANNEL_24G", 1)))), ACK,
             ctrl(1, 1), None),
            ("<CONFIG/>", INVALID, NONE, None)]  # a failing request sets no message of its own:
        for req, name, xml, effects in [
                ("SIOCSIFFLAGS", "ath0", r(0, ("CHANNEL_24G", 1), ("DOMAIN_24G", "US")), NONE),
                ("SIOCSIWFREQ", "ath4", r(1, ("CHANNEL_5G", 36)), flags("ath4", 0)),
                ("SIOCSIWESSID", "ath0", r(0, ("SSID_24G", "x")) + r(1, ("DOMAIN_5G", "US")), NONE),
                ("SIOCIWSETMODE", "ath4", r(1, ("MODE_5G", "11a"), ("DOMAIN_5G", "US")),
                 flags("ath4", 0) + fx(out="Put Mode is 11a\n")),
                ("SIOCIWSETCOUNTRY", "wifi0", r(0, ("DOMAIN_24G", "US"), ("SSID_24G", "x")),
                 fx(out="Set counry is US\n"))]:
            rows += ["ioctl " + req, (w(xml), INVALID, effects + fx(log=[
                "FTM %s on %s failed" % (req, name)]), None)]
        self.check(rows)
        self.b.set_faults("socket")  # without its socket the daemon ends
        mark, _ = self.b.mark(), self.c.wrq(CFG)
        self.c.expect(ack(0))
        self.c.data(1, w(r(0, ("CHANNEL_24G", 1))).encode())
        self.assertEqual((self.b.wait_exit(), self.b.since(mark)), (
            255, fx(log=["FTM Cannot open socket"], out="FTM Error openning socket\n")))


class TestReadBack(Case):
    def test_every_item_follows_the_board(self):
        b, tmp, scsi, head = self.b, "root/tmp/", "root/proc/scsi/scsi", "Attached devices:\n"
        # Board files per state (None removes one) and the USB fields shown (none: as they were).
        a0, a4 = "wifi/ath0/", "wifi/ath4/"
        states = [({}, ("scsi3 ", "Vend7 ", "Stick-M8 ", "  Direct-Access    ")), ({
            "gpio/32": 6, "gpio/43": 0, "WlanConfig": ["1", "0"], a0 + "essid": "E" * 40,
            a0 + "freq": 243700000, a0 + "mode": "11NGHT20-LONG-MODE", "wifi/wifi0/country": "DEU1",
            a4 + "freq": 520000000, "wifi/wifi1/country": "F.R", scsi: head + "Host: scsi1 Channel: 00 Id: 00 "
            "Lun: 00\n  Vendor: ACME     Model: Stick Rev: 1.00\n  Type:   Direct-Access\n"},
            ("scsi1 ", "ACME     ", "Stick ", "  Direct-Access")), ({
                "gpio/32": 0, tmp + "ResetSwitch": "", tmp + "Wps_pressed": "", "WlanConfig": [" 1", "7"],
                a0 + "essid": "", a0 + "freq": 241200000, a0 + "mode": "", a4 + "freq": 518000000, scsi: head},
            ("NA",) * 4), ({
                tmp + "ResetSwitch": None, tmp + "Wps_pressed": "", "WlanConfig": ["0"], a4 + "freq": 517000000,
                scsi: head + "Host: scsi0 Id: 3 Lun: 0\n" + "V" * 300 + "\n"},
            ("scsi0 Id: 3 Lun: 0", "", "NA", "")),
            ({tmp + "Wps_pressed": None, "WlanConfig": [], scsi: None,
              "faults": ["open /dev/gpioctrl"] + ["ioctl " + q for q, _, _ in GETS]}, ())]
        # With the distinct board's levels (odd ones on), each LED has its own pattern of states.
        code = lambda i: i // 2 + 1 - i % 2  # noqa: E731
        v = {}
        for k, (state, usb) in enumerate(states):
            state.update({"gpio/%d" % p: (code(i) >> k - 1 & 1) * (k + 1)
                          for i, (_, p) in enumerate(LEDS) if 0 < k < 4})
            for f, value in state.items():
                if f == "WlanConfig":
                    b.write_table(f, [[c] + ["0" if decimal(c) else "5"] * 4 for c in value])
                elif f == "faults":
                    b.set_faults(*value)
                elif value is None:
                    os.remove(b.path(f))
                else:
                    b.write(f, value if f == scsi else "%s\n" % value)
            wps = b.exists(tmp + "Wps_pressed") and not b.exists(tmp + "ResetSwitch")
            v.update(zip(("HOST", "VENDOR", "MODEL", "TYPE"), usb))
            mark, expected = b.mark(), readback(b, v, "faults" in state)
            self.assertEqual((self.get(CFG), b.since(mark), self.get(PROG)), expected + (PROGRESS,), k)
            self.assertEqual(b.exists(tmp + "Wps_pressed"), wps)  # a reset press removes the WPS marker
        self.assertEqual(self.get(OP), testmodeop(0))
