# SPDX-License-Identifier: ISC
"""Every query of the dashboard gives data in a real Prometheus that collects from a virtual router.

dashboard.py BUILD PROGRAMS    PROGRAMS is the folder of prometheus and promtool
    --measure ROUTERS INTERVAL SECONDS  what samples and series of so many such routers need instead"""
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import time
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "simulator/fleet"))
sys.dont_write_bytecode = True
import prometheus  # noqa: E402
import routers  # noqa: E402


def life(router, pause):
    """What happens at the router: each metric of the dashboard is there at some time. Gives seconds."""
    def change(word, **signal):
        if signal:
            router.call("simulator", "signal", **signal)
        end = time.monotonic() + 60
        while word not in router.metrics()[1]:
            if time.monotonic() > end:
                sys.exit(f"dashboard: no {word} in {router.metrics()}")
        for _ in range(pause):
            router.answer = router.metrics()[1]
            time.sleep(1)
            yield

    while True:
        for rssi in (40, 41, 43, 42, 39, 37, 38, 40, 36, 35):
            yield from change(b"rsrp", technology="LTE,WCDMA", rssi=str(rssi), rsrp=str(10 + rssi))
        yield from change(b"rscp", report="WCDMA,Online,250-99,0x1,1,W,1,1,0,-7.5,-80,0,-72,0")
        if pause < 9:
            router.call("simulator", "fault", command="AT+CPSI?", kind="silence", times=1)
            yield from change(b'cause="no_answer"} 1')
            router.call("kelvantorium", "reinit", client="test")
            yield from change(b"connected 1")


def queries():
    for panel in json.loads((ROOT / "monitoring/dashboard.json").read_text())["panels"]:
        for target in panel.get("targets", []):
            expression = target["expr"]
            for name, value in {"$job": ".*", "$instance": ".*", "$__range": "1m"}.items():
                expression = expression.replace(name, value)
            yield panel["title"], expression


def show(watcher, seconds):
    left = dict.fromkeys(queries())
    total, began = len(left), time.time()
    for _ in seconds:
        for title, expression in list(left):
            found = watcher.get("query_range", query=expression, start=began, end=time.time(), step=1)
            if any(float(value) == float(value) for series in found["result"]
                   for _, value in series["values"]):
                del left[title, expression]
        if not left:
            return print(f"dashboard: all {total} queries give data")
        if time.time() > began + 300:
            sys.exit(f"dashboard: no data for {list(left)}")


def measure(watcher, seconds, span):
    end = time.monotonic() + span
    while time.monotonic() < end:
        next(seconds)
    status = pathlib.Path(f"/proc/{watcher.process.pid}/status").read_text()
    print(re.search("VmHWM.*", status)[0])
    with urllib.request.urlopen(f"{watcher.address}/api/v1/admin/tsdb/snapshot", b"", 60) as reply:
        name = json.load(reply)["data"]["name"]
    for block in (watcher.folder / "data/snapshots" / name).iterdir():
        stats = json.loads((block / "meta.json").read_text())["stats"]
        size = sum(f.stat().st_size for f in block.rglob("*") if f.is_file())
        print(f"{stats['numSeries']} series, {stats['numSamples']} samples, "
              f"{size} octets: {size / stats['numSamples']:.2f} a sample")


def main(build, programs, measured="", count="1", interval="1", span="0"):
    with tempfile.TemporaryDirectory(dir=build, ignore_cleanup_errors=True) as folder, \
            open(f"{folder}/log", "wb") as log:
        fleet = routers.Fleet(build, log)
        watcher = prometheus.Prometheus(programs, folder, 60, float(interval))
        try:
            fleet.start(1, lambda _: None)
            fleet.await_connected(180)
            router, gate = fleet.routers[0], routers.Gate(fleet)
            names = [f"router-{n}" for n in range(int(count))]
            gate.by_path = {f"/{name}/metrics": router for name in names}
            subprocess.run([f"{programs}/promtool", "check", "metrics"], check=True,
                           input=router.metrics()[1])
            watcher.start(gate.server_port, names, "--web.enable-admin-api")
            if measured:
                measure(watcher, life(router, 10), int(span))
            else:
                show(watcher, life(router, 1))
            watcher.end()
        finally:
            fleet.end()


main(pathlib.Path(sys.argv[1]).resolve(), *sys.argv[2:])
