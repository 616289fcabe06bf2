#!/usr/bin/python3
# SPDX-License-Identifier: ISC
"""The page in a real browser, the real daemon behind it: BUILD=build/dev tests/web/browser_test.py"""
import json
import os
import re
import sys
import time
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from page import BUILD, NOBODY, Page, Router, until  # noqa: E402

METHODS = {
    "status": ["get"],
    "messages": ["sms_get", "sms_clear", "sms_send", "ussd_send"],
    "admin": ["get", "sms_get", "sms_clear", "sms_send", "ussd_send", "set", "reinit", "at_send"],
}
TABS = {"status": ["status"], "messages": ["messages", "ussd"],
        "admin": ["status", "messages", "ussd", "settings", "terminal"]}


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

    def check_console(self, page):
        found = [text for text in page.complaints()
                 if not any(word in text for word in self.expected)]
        self.assertEqual(found, [])


class Access(Case):
    def test_wrong_password_is_told_and_nothing_is_open(self):
        page = self.window(None)
        page.login("admin", "wrong")
        page.shows("Name or password is wrong.")
        self.assertEqual(page.tabs(), [])
        page.login("admin", "admin")
        page.one("[role=tab]")
        page.button("Log out").click()
        until(lambda: len(page.all("form input")) == 2, "the log-in again")
        page.driver.refresh()
        until(lambda: len(page.all("form input")) == 2, "still the log-in")

    def test_each_group_sees_and_may_do_its_part(self):
        for name, methods in METHODS.items():
            with self.subTest(name):
                self.assertEqual(self.window(name).tabs(), TABS[name])
                session = self.router.login(name)
                for method in METHODS["admin"]:
                    answer = self.router.rpc(session, "kelvantorium", method)
                    if method in methods:
                        self.assertEqual(answer["result"][0], 0, method)
                    else:
                        self.assertEqual(answer["error"]["code"], -32002, method)
        for session in (NOBODY, "f" * 32):
            self.assertEqual(self.router.rpc(session, "kelvantorium", "get")["error"]["code"], -32002)
        self.assertEqual(self.router.rpc(self.router.login("admin"), "simulator", "state")["error"][
            "code"], -32002)
        self.assertEqual(self.router.rpc(NOBODY, "nobody", "get")["error"]["code"], -32000)

    def test_server_answers_as_a_routers_does(self):
        router, admin = self.router, self.router.login("admin")
        call = {"jsonrpc": "2.0", "id": 7, "method": "call"}
        rows = [
            (b"{", -32700), (b"7", -32600), (b'{"id":1}', -32600),
            ({**call, "method": "other"}, -32601), ({**call, "params": [admin, "kelvantorium"]}, -32602),
            ({**call, "params": ["f" * 32, "kelvantorium", "get", {}]}, -32002),
            ({**call, "params": [admin, "nobody", "get", {}]}, -32000),
        ]
        for request, code in rows:
            body = request if isinstance(request, bytes) else json.dumps(request).encode()
            self.assertEqual(router.post(body)["error"]["code"], code, body[:80])
        known = {**call, "params": [admin, "kelvantorium", "sms_get", {"id": "33"}]}
        answers = router.post(json.dumps([known, {**call, "id": 8, "method": "other"}, known]).encode())
        self.assertEqual([each["id"] for each in answers], [7, 8, 7])
        self.assertEqual([list(each)[2] for each in answers], ["result", "error", "result"])
        brief = router.rpc(NOBODY, "session", "login", username="admin", password="admin", timeout=1)
        time.sleep(2)
        session = brief["result"][1]["ubus_rpc_session"]
        self.assertEqual(router.rpc(session, "kelvantorium", "get")["error"]["code"], -32002)

    def test_messages_group_reads_without_the_right_to_the_status(self):
        self.router.simulator("sms", sender="79160000001", text="only messages")
        self.window("messages").shows("only messages")

    def test_a_session_that_is_over_leads_to_the_login(self):
        page = self.window()
        page.script("sessionStorage.setItem('kelvantorium.session', 'f'.repeat(32))")
        page.driver.refresh()
        page.shows("The session is over.")
        page.login("admin", "admin")
        page.one("[role=tab]")
        held = page.script("return sessionStorage.getItem('kelvantorium.session')")
        self.router.rpc(held, "session", "destroy", ubus_rpc_session=held)
        page.shows("The session is over.")  # in the middle of use


class Status(Case):
    def test_every_value_is_the_modems(self):
        router = self.router
        router.simulator("signal", technology="LTE", rssi="20", rsrp="25", rsrq="-12", sinr="8")
        page = self.window()
        router.becomes("network", "type", "4g/LTE")
        until(lambda: page.facts().get("Technology") == "4g/LTE", "LTE")
        network = router.get()["network"]
        units = {"RSSI": "dBm", "RSRP": "dBm", "RSRQ": "dB", "SINR": "dB"}
        until(lambda: page.facts().get("RSSI", "").startswith(router.get()["network"]["rssi"]), "RSSI")
        facts, info = page.facts(), router.get()
        for name, unit in units.items():
            self.assertEqual(facts[name], f"{info['network'][name.lower()]} {unit}")
        self.assertEqual(facts["Address"], network["ip"])
        self.assertEqual(facts["Gateway"], network["gateway"])
        self.assertEqual(facts["Operator"], "Test Operator")
        self.assertEqual(facts["Level"], info["network"]["level"])
        self.assertEqual(facts["SIM slot 1"], "card inserted, selected")
        self.assertEqual(facts["Exact words"], "op, none: init done ok")
        self.assertNotIn("RSCP", facts)
        latitude, longitude = re.match(r"(-?[\d.]+), (-?[\d.]+)", facts["Coordinates"]).groups()
        self.assertAlmostEqual(float(latitude), 55 + 46.1235352 / 60, 4)
        self.assertAlmostEqual(float(longitude), 37 + 37.6542969 / 60, 4)
        self.assertIn(f"mlat={latitude}&mlon={longitude}", page.one("td a").get_attribute("href"))

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
        page.script("window.asked = 0; window.most = 0; const real = fetch; let under = 0;"
                    "window.fetch = async (...a) => { asked++; most = Math.max(most, ++under);"
                    " try { return await real(...a); } finally { under--; } }")
        self.router.simulator("fault", command="AT+CPSI?", kind="silence", times=1)
        page.shows("The modem does not answer yet")
        before = page.script("return asked")
        page.tab("settings")  # the page stays usable
        page.tab("status")
        self.assertEqual(page.script("return asked"), before)
        page.shows("Out of order: The modem does not answer")
        self.assertEqual(page.script("return most"), 1)
        self.router.run("ubus call kelvantorium reinit '{\"client\":\"test\"}'")
        page.shows("Ready")

    def test_stopped_daemon_is_told_and_its_return_noticed(self):
        page = self.window()
        self.router.run("kill -STOP $(cat /run/kelvantorium.pid)")
        page.shows("The modem does not answer yet")
        self.router.run("kill -CONT $(cat /run/kelvantorium.pid)")
        until(lambda: "does not answer yet" not in page.text(), "the answer")
        page.shows("Ready")

    def test_restarted_daemon_is_found_again(self):
        router = Router()  # its own: the daemon that it started is gone afterwards
        self.addCleanup(router.stop)
        page = Page()
        self.addCleanup(page.close)
        page.open(router.address, "admin")
        page.shows("Ready")
        router.run("kill $(cat /run/kelvantorium.pid)")
        page.shows("The modem daemon does not run.")
        router.run(f"{BUILD}/kelvantorium-fast > /dev/null 2>&1 &")
        until(lambda: "does not run" not in page.text(), "the daemon")
        page.shows("Ready")

    def test_missing_daemon_is_told(self):
        lonely = Router("--no-daemon")
        self.addCleanup(lonely.stop)
        page = Page()
        self.addCleanup(page.close)
        page.open(lonely.address, "admin")
        page.shows("The modem daemon does not run.")


class Messages(Case):
    def test_cyrillic_in_three_parts_arrives_by_itself_as_new(self):
        page = self.window()
        page.tab("messages")
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

    def test_cyrillic_goes_out_octet_by_octet(self):
        page = self.window()
        page.tab("messages")
        before = len(self.router.simulator("sent").get("pdus", []))
        page.type("Numbers", "+79160000001; 79160000002")
        page.type("Text", "Привет из браузера, ёж")
        page.button("Send").click()
        page.shows("+79160000001: sent")
        page.shows("79160000002: sent")
        sent = self.router.simulator("sent")
        pdus = re.findall(r"[0-9A-F]{20,}", str(sent))[before:]
        self.assertEqual(len(pdus), 2)
        for pdu in pdus:
            self.assertTrue(pdu.endswith("Привет из браузера, ёж".encode("utf-16-be").hex().upper()), pdu)
        self.assertEqual(page.field("Text").get_attribute("value"), "")

    def test_nothing_typed_is_lost_and_refusals_are_shown(self):
        page = self.window()
        page.tab("messages")
        page.type("Text", "中 no")
        page.shows("The modem cannot take: 中")
        self.assertFalse(page.button("Send").is_enabled())
        page.type("Text", "x" * 81)
        page.shows("81 characters")
        self.assertFalse(page.button("Send").is_enabled())
        page.type("Text", "to nobody")
        page.type("Numbers", "79160000001; 79160000002")
        self.router.simulator("fault", command="AT+CMGS", kind="error", text="+CMS ERROR: 500", times=1)
        page.button("Send").click()
        page.shows("79160000001: error: got answer ERROR")
        page.shows("79160000002: sent")
        self.assertEqual(page.field("Text").get_attribute("value"), "to nobody")
        self.assertEqual(page.field("Numbers").get_attribute("value"), "79160000001")
        page.type("Numbers", "1;2;3;4;5;6")
        page.button("Send").click()
        page.shows("Five numbers at most.")


class Ring(Case):
    def test_wrap_keeps_what_was_read_and_clearing_asks(self):
        page = self.window()
        page.tab("messages")
        self.router.simulator("storage", capacity=50)
        for number in range(1, 33):
            self.router.simulator("sms", sender="79160000001", text=f"message {number}.")
        until(lambda: len(page.all(".modem-message")) == 32, "32 messages")
        self.router.simulator("sms", sender="79160000001", text="message 33.")
        page.shows("message 33.")
        self.assertEqual(len(page.all(".modem-message")), 33)
        self.assertEqual(page.all(".modem-text")[0].text, "message 33.")
        page.button("Delete all").click()
        page.one("dialog").find_element("xpath", ".//button[text()='Cancel']").click()
        self.assertEqual(len(page.all(".modem-message")), 33)
        page.button("Delete all").click()
        page.one("dialog").find_element("xpath", ".//button[text()='Delete all']").click()
        page.shows("No messages.")
        self.assertEqual(self.router.get()["sms"]["recv_counter"], "0")


class Work(Case):
    def test_ussd_runs_and_its_code_is_remembered(self):
        page = self.window()
        page.tab("ussd")
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
        page = self.window()
        page.tab("settings")
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
        page.one("dialog").find_element("xpath", ".//button[text()='Initialise the modem']").click()
        page.shows("The modem is being initialised")
        until(lambda: "web_client call reinit: done ok" in self.router.run("cat /run/log/messages"), "reinit")
        page.shows("The modem runs with the new settings.")

    def test_options_that_the_configuration_lacks_are_not_shown(self):
        page = self.window()
        page.tab("settings")
        page.field("RS-485 pull line")
        self.router.run("uci set kelvantorium.rs485.pull=; uci commit kelvantorium")
        page.driver.refresh()
        page.tab("settings")
        until(lambda: "RS-485" not in page.text(), "no pull line")
        page.field("GNSS receiver")

    def test_terminal_warns_once_and_keeps_a_history(self):
        page = self.window()
        page.tab("terminal")
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

    def test_polling_stops_while_nobody_looks(self):
        page = self.window()
        page.shows("Ready")
        page.script("window.asked = 0; const real = fetch; window.fetch = (...a) => { asked++; return real(...a); };"
                    "Object.defineProperty(document, 'hidden', {value: true, configurable: true})")
        time.sleep(1)  # a call that was under way
        before = page.script("return asked")
        time.sleep(5)
        self.assertLessEqual(page.script("return asked"), before + 1)
        page.script("Object.defineProperty(document, 'hidden', {value: false});"
                    "document.dispatchEvent(new Event('visibilitychange'))")
        until(lambda: page.script("return asked") > before + 1, "the poll again")

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
