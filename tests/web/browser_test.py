#!/usr/bin/python3
# SPDX-License-Identifier: ISC
"""The page in a real browser, the real daemon behind it: BUILD=build/dev tests/web/browser_test.py"""
import json
import os
import sys
import unittest
import urllib.error
import urllib.request

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.abspath(f"{__file__}/../../../simulator/web"))
from page import BUILD, NOBODY, Page, Router, until  # noqa: E402

METHODS = {
    "status": ["get"],
    "messages": ["sms_get", "sms_clear", "sms_send", "ussd_send"],
    "admin": ["get", "sms_get", "sms_clear", "sms_send", "ussd_send", "set", "reinit", "at_send"],
}
TABS = {"status": ["status"], "messages": ["messages", "ussd"],
        "admin": ["status", "messages", "ussd", "settings", "terminal"]}
# Counts what is asked from now on, and streams; look() has the page seen anew, which opens one unless
# a question is under way.
COUNT = """window.asked = 0; window.streams = 0; const real = fetch;
window.fetch = (...a) => { if (a[1]?.method === 'POST') asked++; else streams++;
  return REFUSED && a[1]?.method !== 'POST' ? Promise.resolve(new Response('', {status: 403})) : real(...a); };
Object.defineProperty(document, 'hidden', {get: () => window.unseen, configurable: true});
window.look = () => { for (const is of [true, false]) {
  window.unseen = is; document.dispatchEvent(new Event('visibilitychange')); } };"""
STREAMS = "streams || look(); return streams"


class Case(unittest.TestCase):
    """A fresh router a class, a fresh window a test; whatever a test does, the console stays empty."""
    expected = ()  # what a test's own failures may write there

    @classmethod
    def setUpClass(cls):
        cls.router = Router()
        cls.addClassCleanup(cls.router.stop)
        cls.router.becomes("network", "state", "connected")

    def window(self, name="admin", **options):
        page = Page(**options)
        self.addCleanup(page.close)
        page.open(self.router.address, name)
        if name is not None:
            page.one("[role=tab]")
        self.addCleanup(self.check_console, page)
        return page

    def view(self, tab):
        page = self.window()
        page.tab(tab)
        return page

    def check_console(self, page):
        found = [text for text in page.complaints()
                 if not any(word in text for word in self.expected)]
        self.assertEqual(found, [])


class Access(Case):
    def test_log_in_out_and_over(self):
        page = self.window(None)
        page.login("admin", "wrong")
        page.shows("Name or password is wrong.")
        self.assertEqual(page.tabs(), [])
        page.login("admin", "admin")
        page.button("Log out").click()
        until(lambda: len(page.all("form input")) == 2, "the log-in again")
        page.driver.refresh()
        page.login("admin", "admin")
        page.one("[role=tab]")
        held = page.script("return sessionStorage.getItem('kelvantorium.session')")
        self.router.rpc(held, "session", "destroy", ubus_rpc_session=held)
        page.shows("The session is over.")  # in the middle of use
        page.script("sessionStorage.setItem('kelvantorium.session', 'f'.repeat(32))")
        page.driver.refresh()
        page.shows("The session is over.")

    def test_each_group_sees_and_may_do_its_part(self):
        def refusal(session, obj, method):
            return self.router.rpc(session, obj, method).get("error", {}).get("code")

        self.router.simulator("sms", sender="79160000001", text="only messages")
        for name, methods in METHODS.items():
            with self.subTest(name):
                page = self.window(name)
                self.assertEqual(page.tabs(), TABS[name])
                if name == "messages":  # without the right to the status
                    page.shows("only messages")
                session = self.router.login(name)
                for method in METHODS["admin"]:
                    self.assertEqual(refusal(session, "kelvantorium", method),
                                     None if method in methods else -32002, method)
        for session in (NOBODY, "f" * 32):
            self.assertEqual(refusal(session, "kelvantorium", "get"), -32002)
        self.assertEqual(refusal(self.router.login("admin"), "simulator", "state"), -32002)

    def test_the_stream_needs_its_grant_and_tells_what_get_tells(self):
        server = self.router.address.rsplit("/", 2)[0]

        def stream(session, name="kelvantorium"):
            request = urllib.request.Request(f"{server}/ubus/subscribe/{name}",
                                             headers={"Authorization": f"Bearer {session}"})
            return urllib.request.urlopen(request, timeout=60)

        for session, name in ((NOBODY, "kelvantorium"), (self.router.login("messages"), "kelvantorium"),
                              (self.router.login("status"), "simulator")):
            with self.assertRaises(urllib.error.HTTPError) as refused:
                stream(session, name)
            self.assertEqual(refused.exception.code, 403)
        with stream(self.router.login("status")) as events:
            self.assertEqual(events.headers["Content-Type"], "text/event-stream")
            self.assertEqual(events.readline(), b"event: status\n")
            told = json.loads(events.readline().decode("cp1251").removeprefix("data: "))
            self.assertEqual(told["info"], self.router.get())
            self.router.simulator("sms", sender="79160000001", text="secret")
            until(lambda: events.readline() == b"event: sms\n", "the message")
            told = json.loads(events.readline().removeprefix(b"data: "))
            self.assertEqual(told, {"id": self.router.get()["sms"]["recv_counter"]})


class Status(Case):
    def test_every_value_is_the_modems(self):
        page = self.window()
        self.router.becomes("network", "type", "4g/LTE")
        info = self.router.get()
        network = info["network"]
        wanted = {
            "Technology": "4g/LTE", "Operator": "Test Operator", "Level": f"▂▄▆ {network['level']}",
            "Address": network["ip"], "Gateway": network["gateway"],
            "RSSI": f"{network['rssi']} dBm", "RSRP": f"{network['rsrp']} dBm",
            "RSRQ": f"{network['rsrq']} dB", "SINR": f"{network['sinr']} dB",
            "SIM slot 1": "card inserted, selected", "Exact words": "op, none: init done ok",
        }
        until(lambda: wanted.items() <= page.facts().items(), "the modem's values")
        facts = page.facts()
        self.assertNotIn("RSCP", facts)
        self.assertTrue(facts["Coordinates"].startswith("55.76872"), facts["Coordinates"])
        self.assertRegex(page.one("td a").get_attribute("href"), r"mlat=55\.7687\d*&mlon=37\.6275\d*")

    def test_chart_keeps_its_history_while_views_change(self):
        page = self.window()
        drawn = lambda: page.driver.find_element("css selector", "path").get_attribute("d")
        until(lambda: drawn().count("L") >= 2, "three points")
        before = drawn().count("L")
        page.tab("messages")
        page.tab("status")
        self.assertGreaterEqual(drawn().count("L"), before)
        page.button("SINR").click()
        page.shows("SINR, last ten minutes")

    def test_errors_in_words_and_exactly(self):
        router, page = self.router, self.window()
        self.addCleanup(router.becomes, "network", "state", "connected")
        self.addCleanup(router.run, "ubus call kelvantorium reinit '{\"client\":\"test\"}'")
        self.addCleanup(router.simulator, "adc")
        router.simulator("adc", value=0)
        page.shows("Out of order: The SIM card was taken out")
        general = router.get()["kelvantorium"]
        self.assertEqual(general["error"], "sim_removed")
        self.assertEqual(page.facts()["Exact words"], f"error, sim_removed: {general['reason']}")


class Trouble(Case):
    expected = ("ERR_EMPTY_RESPONSE", "ERR_CONNECTION")

    def test_silent_modem_is_told_and_piles_nothing_up(self):
        page = self.window()
        page.script(COUNT.replace("REFUSED", "false"))
        until(lambda: page.script("return asked"), "a poll")
        self.router.simulator("fault", command="AT+CPSI?", kind="silence", times=1)
        page.shows("The modem does not answer yet")
        before = page.script("return asked")
        page.tab("settings")  # the page stays usable
        page.tab("status")
        self.assertEqual(page.script("return asked"), before)
        page.shows("Out of order: The modem does not answer")
        self.router.run("ubus call kelvantorium reinit '{\"client\":\"test\"}'")
        page.shows("Ready")

    def test_missing_daemon_is_told_and_found_again(self):
        router = Router()  # its own: the daemon that it started is gone afterwards
        self.addCleanup(router.stop)
        page = Page()
        self.addCleanup(page.close)
        page.open(router.address, "admin")
        page.shows("Ready")
        router.run("kill $(cat /run/kelvantorium.pid)")
        # A call that is lost with the daemon is given up after 60 s.
        until(lambda: "The modem daemon does not run." in page.text(), "the notice", 120)
        page.driver.refresh()
        page.shows("The modem daemon does not run.")
        router.run(f"{BUILD}/kelvantorium-fast > /dev/null 2>&1 &")
        page.shows("Ready")


class Pushed(Case):
    def test_changes_are_pushed_and_polling_does_when_they_are_not(self):
        def questions(page, values):
            page.script("asked = 0")
            for raw in values:
                self.router.simulator("signal", rssi=str(raw))
                until(lambda: f"{raw - 110:.2f} dBm" in page.script("return document.body.innerText"), raw)
            return page.script("return asked")

        page = self.window()
        page.shows("Ready")
        page.script(COUNT.replace("REFUSED", "false"))
        until(lambda: page.script(STREAMS) == 1 and page.script("return asked") >= 2, "a stream")
        self.assertLess(questions(page, range(20, 40)), 20, "a poll each would be 20")
        self.router.simulator("sms", sender="79160000001", text="pushed")
        until(lambda: page.one("#modem-tab-messages").text.endswith("1"), "the new message's mark")
        page.script(COUNT.replace("REFUSED", "true"))
        until(lambda: page.script(STREAMS) == 1, "a refusal")
        self.assertGreaterEqual(questions(page, (20, 21, 22)), 3)


class Messages(Case):
    def test_cyrillic_in_three_parts_arrives_as_new_and_clearing_asks(self):
        page = self.view("messages")
        page.shows("No messages.")
        text = "Длинное сообщение в трёх частях, <b>не</b> разметка <script>alert(1)</script>. " * 2
        self.router.simulator("sms", sender="79161234567", text=text, order="3,1,2")
        shown = page.one(".modem-text")
        self.assertEqual(shown.text.strip(), text.strip())
        self.assertEqual(page.all(".modem-text *"), [])
        self.assertEqual([each.text for each in page.all(".modem-new")], ["new"])
        until(lambda: not page.all(".modem-new"), "seen after a while")
        page.type("Search", "nothing of that")
        page.shows("No message holds that.")
        page.type("Search", "РАЗМЕТКА")
        self.assertEqual(len(page.all(".modem-message")), 1)
        page.button("Delete all").click()
        page.answer("Cancel")
        self.assertEqual(len(page.all(".modem-message")), 1)
        page.button("Delete all").click()
        page.answer("Delete all")
        page.shows("No messages.")
        self.assertEqual(self.router.get()["sms"]["recv_counter"], "0")

    def test_cyrillic_goes_out_octet_by_octet_and_what_is_refused_stays(self):
        page = self.view("messages")
        page.type("Text", "中 no")
        page.shows("The modem cannot take: 中")
        self.assertFalse(page.button("Send").is_enabled())
        page.type("Text", "x" * 81)
        page.shows("81 characters")
        self.assertFalse(page.button("Send").is_enabled())
        text = "Привет из браузера, ёж"
        page.type("Text", text)
        page.type("Numbers", "1;2;3;4;5;6")
        page.button("Send").click()
        page.shows("Five numbers at most.")
        page.type("Numbers", "79160000001; +79160000002")
        self.router.simulator("fault", command="AT+CMGS", kind="error", text="+CMS ERROR: 500", times=1)
        page.button("Send").click()
        page.shows("79160000001: error: got answer ERROR")
        page.shows("+79160000002: sent")
        self.assertEqual(page.field("Text").get_attribute("value"), text)
        self.assertEqual(page.field("Numbers").get_attribute("value"), "79160000001")
        page.button("Send").click()
        page.shows("79160000001: sent")
        sent = text.encode("utf-16-be").hex().upper()
        self.assertEqual(str(self.router.simulator("sent")).count(sent), 2)
        self.assertEqual(page.field("Text").get_attribute("value"), "")


class Work(Case):
    def test_ussd_runs_and_its_code_is_remembered(self):
        page = self.view("ussd")
        self.router.simulator("ussd", code="*100#", answer="Баланс 42.50 <i>", delay=2500)
        page.type("Code", "*100#")
        page.button("Send").click()
        page.shows("Waiting for the network")
        page.shows("Баланс 42.50 <i>")
        self.assertEqual(page.script("return document.querySelector('datalist option').value"), "*100#")
        page.type("Code", 'a"b')
        page.button("Send").click()
        page.shows('error: cmd unsupported value: a"b')

    def test_settings_send_what_was_changed_and_are_followed(self):
        page = self.view("settings")
        until(lambda: page.field("Access point (APN)").get_attribute("value") == "dynamic", "the settings")
        page.button("Save").click()
        page.shows("Nothing was changed.")
        page.type("Access point (APN)", "internet")
        mark = self.router.run("wc -l < /run/log/messages")
        page.button("Save").click()
        page.shows("The modem runs with the new settings.")
        self.assertIn("web_client call set: done ok", self.router.run(f"tail -n +{mark} /run/log/messages"))
        self.assertEqual(self.router.run("uci get kelvantorium.network.apn"), "internet")
        page.button("Initialise the modem").click()
        page.answer("Initialise the modem")
        page.shows("The modem is being initialised")
        until(lambda: "web_client call reinit: done ok" in self.router.run("cat /run/log/messages"), "reinit")
        page.shows("The modem runs with the new settings.")
        page.field("RS-485 pull line")  # an option that the configuration lacks is not shown
        self.router.run("uci set kelvantorium.rs485.pull=; uci commit kelvantorium")
        page.driver.refresh()
        page.tab("settings")
        until(lambda: "RS-485" not in page.text(), "no pull line")
        page.field("GNSS receiver")

    def test_terminal_warns_once_and_keeps_a_history(self):
        page = self.view("terminal")
        page.button("I know what I do").click()
        command = page.field("AT command")
        command.send_keys("ATI\n")
        page.shows("OK")
        command.send_keys("AT+NOSUCH\n")
        page.shows("ERROR")
        command.send_keys("\ue013\ue013")  # up, up
        self.assertEqual(command.get_attribute("value"), "ATI")
        page.driver.refresh()
        page.tab("terminal")
        page.field("AT command")


class Manners(Case):
    def test_languages_widths_and_looks(self):
        russian = self.window(language="ru", width=360, dark=True)
        russian.shows("Сотовый модем")
        for name in TABS["admin"]:
            russian.tab(name)
            self.assertLessEqual(russian.script("return document.documentElement.scrollWidth"),
                                 russian.script("return innerWidth"), name)
        paper = "return getComputedStyle(document.body).backgroundColor"
        self.assertNotEqual(russian.script(paper), self.window().script(paper))

    def test_tabs_by_keyboard(self):
        page = self.window()
        page.one("#modem-tab-status").send_keys("\ue014")  # right
        self.assertEqual(page.script("return document.activeElement.id"), "modem-tab-messages")
        page.button("Export as CSV")

    @unittest.skipUnless(os.environ.get("AXE"), "AXE names no axe.min.js: accessibility is not checked")
    def test_nothing_for_axe_to_complain_of(self):
        with open(os.environ["AXE"], encoding="utf-8") as file:
            axe = file.read()
        self.router.simulator("sms", sender="79160000001", text="for the list")
        for dark in (False, True):
            page = self.window(dark=dark)
            page.shows("Ready")
            for name in TABS["admin"]:
                page.tab(name)
                page.script(axe)
                found = page.driver.execute_async_script(
                    "axe.run().then((r) => arguments[0](r.violations.map((v) => v.id + ' ' + v.nodes.map((n) => n.html))))")
                self.assertEqual(found, [], f"{name}, dark {dark}")


if __name__ == "__main__":
    unittest.main(verbosity=2)
