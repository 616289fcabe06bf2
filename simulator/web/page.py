# SPDX-License-Identifier: ISC
"""The virtual router with its web server, and the page in headless Chromium."""
import json
import os
import pathlib
import subprocess
import tempfile
import time
import urllib.request

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

BUILD = pathlib.Path(os.environ["BUILD"]).resolve()
PATIENCE = 60  # s for any one condition
NOBODY = "0" * 32


def until(condition, what, patience=PATIENCE):
    """Waits for something true, and gives it."""
    end = time.monotonic() + patience
    while True:
        found = condition()
        if found:
            return found
        if time.monotonic() > end:
            raise AssertionError(f"not in {patience} s: {what}")
        time.sleep(0.05)


class Router:
    """One virtual router with the quick daemon; commands run in a shell inside."""

    def __init__(self, *options):
        self.process = subprocess.Popen(
            [BUILD / "router", "--daemon", BUILD / "kelvantorium-fast", "--listen", "127.0.0.1:0",
             *options, "/bin/sh"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.address = self.process.stdout.readline().decode().strip()

    def run(self, command):
        self.process.stdin.write(f"{{ {command}\n}} 2>&1; echo; echo END-OF-COMMAND\n".encode())
        self.process.stdin.flush()
        lines = []
        while (line := self.process.stdout.readline()) not in (b"END-OF-COMMAND\n", b""):
            lines.append(line)
        return b"".join(lines).decode("cp1251").strip()

    def simulator(self, method, **arguments):
        text = json.dumps(arguments, ensure_ascii=False).replace("'", "'\\''")
        reply = self.run(f"ubus -S call simulator {method} '{text}'")
        return json.loads(reply) if reply else {}

    def get(self):
        return json.loads(self.run("ubus -S call kelvantorium get"))["info"]

    def becomes(self, group, name, word):
        until(lambda: self.get()[group][name] == word, f"{group}.{name} {word}")

    def rpc(self, session, obj, method, **arguments):
        """The answer to a request made past the page."""
        body = json.dumps({"jsonrpc": "2.0", "id": 1, "method": "call",
                           "params": [session, obj, method, arguments]}).encode()
        server = self.address.rsplit("/", 2)[0]
        with urllib.request.urlopen(f"{server}/ubus", body, timeout=PATIENCE) as answer:
            return json.loads(answer.read().decode("cp1251"))

    def login(self, name):
        return self.rpc(NOBODY, "session", "login", username=name, password=name)["result"][1][
            "ubus_rpc_session"]

    def stop(self):
        self.process.stdin.close()
        self.process.wait(150)
        self.process.stdout.close()
        return self.process.returncode


class Page:
    """One browser window."""

    def __init__(self, language="en", width=1000, dark=False):
        options = Options()
        options.binary_location = "/usr/bin/chromium"
        self.profile = tempfile.TemporaryDirectory()
        for argument in ("headless=new", "no-sandbox", "disable-gpu", "disable-quic",
                         "disable-lcd-text", "force-color-profile=srgb",
                         "no-first-run", "disable-background-networking",
                         "disable-component-update", "disable-sync", f"lang={language}",
                         f"user-data-dir={self.profile.name}", "window-size=1000,1400"):
            options.add_argument(f"--{argument}")
        options.add_experimental_option("prefs", {"intl.accept_languages": language})
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": 900, "deviceScaleFactor": 1, "mobile": False})
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}]})

    def open(self, address, name=None):
        self.driver.get(address)
        if name is not None:
            self.login(name, name)

    def login(self, name, password):
        until(lambda: len(self.all("form input")) == 2, "the log-in")
        for field, text in zip(self.all("form input"), (name, password)):
            field.clear()
            field.send_keys(text)
        self.one("form button").click()

    def all(self, selector):
        """What is seen of it; nothing while the page is being changed."""
        try:
            return [each for each in self.driver.find_elements(By.CSS_SELECTOR, selector)
                    if each.is_displayed()]
        except StaleElementReferenceException:
            return []

    def one(self, selector):
        return until(lambda: self.all(selector), selector)[0]

    def button(self, text):
        return until(lambda: [each for each in self.all("button") if each.text == text],
                     f"button {text}")[0]

    def answer(self, text):
        """Presses a button of the dialogue."""
        self.one("dialog").find_element(By.XPATH, f".//button[text()='{text}']").click()

    def text(self):
        return self.driver.find_element(By.TAG_NAME, "body").text

    def shows(self, text):
        until(lambda: text in self.text(), f"text {text!r} in {self.text()!r}")

    def tabs(self):
        return [each.get_attribute("href").rpartition("#")[2] for each in self.all("[role=tab]")]

    def tab(self, name):
        self.one(f"#modem-tab-{name}").click()

    def field(self, label):
        for each in self.all("label"):
            if each.text == label:
                return self.driver.find_element(By.ID, each.get_attribute("for"))
        raise AssertionError(f"no field {label!r}")

    def type(self, label, text):
        field = self.field(label)
        field.send_keys(Keys.CONTROL, "a")
        field.send_keys(Keys.DELETE if text == "" else text)

    def facts(self):
        """Names and values of the tables that are shown."""
        return {row.find_element(By.CSS_SELECTOR, "th").text:
                row.find_element(By.CSS_SELECTOR, "td").text for row in self.all("tr")}

    def script(self, code, *arguments):
        return self.driver.execute_script(code, *arguments)

    def complaints(self):
        """What the browser wrote to its console; a refused policy among it."""
        return [entry["message"] for entry in self.driver.get_log("browser")]

    def close(self):
        self.driver.quit()
        self.profile.cleanup()
