# SPDX-License-Identifier: ISC
"""Figures of the page, as lines "figure|value|target|verdict": BUILD=... python3 web.py [--quick]

The ordinary daemon, the simulated modem, headless Chromium."""
import os
import pathlib
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "simulator/web"))
from page import BUILD, Page, Router, until  # noqa: E402

SPAN = 20 if "--quick" in sys.argv else 60  # s
POLLS = 300 if "--quick" in sys.argv else 1800  # an hour of them; 300 fill the history
# The poll's clock and all others run a hundred times faster.
FASTER = """const wait = setTimeout, now = Date.now, began = now();
window.setTimeout = (f, ms) => wait(f, ms / 100);
Date.now = () => began + (now() - began) * 100;
const ask = fetch;
window.polls = 0;
window.fetch = (...what) => { window.polls++; return ask(...what); };"""
ASKED = "return performance.getEntriesByType('resource').filter((e) => e.name.endsWith('/ubus')).length"
LOGIN = """const done = arguments[0], began = performance.now();
const look = () => [...document.querySelectorAll('td')].some((td) => td.textContent.startsWith('op, '))
    && done(performance.now() - began);
new MutationObserver(look).observe(document.body, {subtree: true, childList: true, characterData: true});
const [name, word] = document.querySelectorAll('form input');
name.value = word.value = 'admin';
document.querySelector('form').requestSubmit();"""


def row(figure, value, target="", met=None):
    print(f"{figure}|{value}|{target}|{'' if met is None else 'met' if met else 'MISSED'}", flush=True)


def size():
    names = sorted(path for part in ("page", "luci") for path in (ROOT / "web" / part).rglob("*")
                   if path.is_file())
    content = b"".join(path.read_bytes() for path in names)
    zipped = subprocess.run(["gzip", "-9n"], input=content, capture_output=True, check=True).stdout
    row("page, as shipped", f"{len(content) / 1000:.1f} kB", "<= 60 kB", len(content) <= 60000)
    row("page, gzipped", f"{len(zipped) / 1000:.1f} kB", "<= 20 kB", len(zipped) <= 20000)


def busy(router):
    """Milliseconds of processor time that the daemon's threads have used."""
    text = router.run("cat /proc/$(cat /run/kelvantorium.pid)/task/*/schedstat")
    return sum(int(line.split()[0]) for line in text.splitlines()) / 1e6


def during(router, seconds):
    before = busy(router)
    time.sleep(seconds)
    return (busy(router) - before) * 60 / seconds


def login(page, router):
    times = []
    for _ in range(5):
        page.driver.execute_script("sessionStorage.clear()")
        page.open(router.address)
        until(lambda: len(page.all("form input")) == 2, "the log-in")
        times.append(page.driver.execute_async_script(LOGIN))
    return sorted(times)[2]


def heap(page):
    page.driver.execute_cdp_cmd("HeapProfiler.collectGarbage", {})
    return page.driver.execute_cdp_cmd("Runtime.getHeapUsage", {})["usedSize"]


def memory(router):
    page = Page()
    page.driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": FASTER})
    page.open(router.address, "admin")

    def after(polls):
        end = page.script("return polls") + polls
        while page.script("return polls") < end:
            time.sleep(1)
        return heap(page)

    before = after(400)
    growth = 100 * (after(POLLS) - before) / before
    page.close()
    row(f"page's memory, {POLLS} polls after 400", f"{growth:+.1f} %", "<= 10 %", growth <= 10)


def main():
    size()
    router = Router("--daemon", BUILD / "kelvantorium")
    router.becomes("network", "state", "connected")
    idle = during(router, SPAN)
    page = Page()
    page.open(router.address)
    first = login(page, router)
    asked = page.script(ASKED)
    loaded = during(router, SPAN)
    rate = (page.script(ASKED) - asked) * 60 / SPAN
    row("log-in to the first full status, median of 5", f"{first:.0f} ms", "<= 300 ms", first <= 300)
    row("requests of an open page, a minute", f"{rate:.0f}", "<= 60", rate <= 60)
    row("daemon's processor time without a page, a minute", f"{idle:.0f} ms")
    row("daemon's processor time with a page, a minute", f"{loaded:.0f} ms")
    page.close()
    memory(router)
    router.stop()


main()
