# SPDX-License-Identifier: ISC
"""Every query of the dashboard gives data in a real Prometheus that collects from a virtual router.

dashboard.py BUILD PROGRAMS    PROGRAMS is the folder of prometheus and promtool
    --measure ROUTERS INTERVAL SECONDS  what samples and series of so many such routers need instead"""
import http.server
import json
import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time
import urllib.parse
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[2]
# What happens at the router, until it is ended: each metric of the dashboard is there at some time.
LIFE = r"""
metrics=$1/packaging/metrics/kelvantorium-metrics
"$metrics" --folder . --every 1 &
has() { for _ in $(seq 600); do ! grep -qs "$1" kelvantorium.prom || return 0; sleep 0.1; done; exit 1; }
ask() { ubus call simulator "$@" > /dev/null; }
signal() { ask signal "{\"technology\":\"LTE,WCDMA\",\"rssi\":\"$1\",\"rsrp\":\"$((10 + $1))\"}"; }
while :; do
    for rssi in 40 41 43 42 39 37 38 40 36 35; do signal $rssi; has 'rsrp'; sleep "$2"; done
    ask signal '{"report":"WCDMA,Online,250-99,0x1,1,W,1,1,0,-7.5,-80,0,-72,0"}'
    has 'rscp'
    signal 40
    has 'rsrp'
    [ "$2" -lt 9 ] || continue
    ask fault '{"command":"AT+CPSI?","kind":"silence","times":1}'
    has 'cause="no_answer"} 1'
    ubus call kelvantorium reinit '{"client":"test"}' > /dev/null
    has 'connected 1'
done
"""


def serve(path):
    class Handler(http.server.BaseHTTPRequestHandler):
        def do_GET(self):
            self.send_response(200 if path.exists() else 404)
            self.send_header("Content-Type", "text/plain; version=0.0.4")
            self.end_headers()
            if path.exists():
                self.wfile.write(path.read_bytes())

        def log_message(self, *_):
            pass

    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server.server_address[1]


def configure(folder, port, names, interval):
    """The files of monitoring/, their minutes seconds and their hours and days quarters of a minute."""
    def shorter(match):
        return match[1] + (match[2] if match[3] == "m" else "15") + "s"
    rules = (ROOT / "monitoring/kelvantorium.rules.yml").read_text()
    (folder / "kelvantorium.rules.yml").write_text(
        re.sub(r"((?:for: |interval: |\[))(\d+)([mhd])\b", shorter, rules))
    config = (ROOT / "monitoring/prometheus.yml").read_text()
    (folder / "prometheus.yml").write_text(config.replace("30s", interval))
    (folder / "targets.yml").write_text(json.dumps(
        [{"targets": [f"127.0.0.1:{port}"], "labels": {"instance": name}} for name in names]))
    (folder / "targets-node.yml").write_text('[{"targets": ["127.0.0.1:1"]}]')


def api(address, name, **arguments):
    data = urllib.parse.urlencode(arguments).encode() if name.startswith("admin") else None
    query = "" if data is not None else "?" + urllib.parse.urlencode(arguments)
    with urllib.request.urlopen(f"{address}/api/v1/{name}{query}", data, 30) as reply:
        return json.load(reply)["data"]


def await_(seconds, what, condition):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        try:
            if condition():
                return
        except OSError:  # it does not listen yet
            pass
        time.sleep(0.5)
    sys.exit(f"dashboard: {what()}")


def queries():
    for panel in json.loads((ROOT / "monitoring/dashboard.json").read_text())["panels"]:
        for target in panel.get("targets", []):
            expression = target["expr"]
            for name, value in {"$job": ".*", "$instance": ".*", "$__range": "1m"}.items():
                expression = expression.replace(name, value)
            yield panel["title"], expression


def show(address, began):
    left = dict.fromkeys(queries())
    total = len(left)

    def answered():
        for title, expression in list(left):
            found = api(address, "query_range", query=expression, start=began, end=time.time(), step=1)
            if any(float(value) == float(value) for series in found["result"]
                   for _, value in series["values"]):
                del left[title, expression]
        return not left
    await_(240, lambda: f"no data for {list(left)}", answered)
    print(f"dashboard: all {total} queries give data")


def measure(address, folder, seconds, process):
    time.sleep(seconds)
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
    print(re.search("VmHWM.*", status)[0])
    name = api(address, "admin/tsdb/snapshot")["name"]
    for block in (folder / "data/snapshots" / name).iterdir():
        stats = json.loads((block / "meta.json").read_text())["stats"]
        size = sum(f.stat().st_size for f in block.rglob("*") if f.is_file())
        print(f"{stats['numSeries']} series, {stats['numSamples']} samples, "
              f"{size} octets: {size / stats['numSamples']:.2f} a sample")


def main(build, programs, measured="", routers="1", interval="1s", seconds="0"):
    folder = pathlib.Path(tempfile.mkdtemp(dir=build))
    configure(folder, serve(folder / "kelvantorium.prom"),
              [f"router-{n}" for n in range(int(routers))], interval)
    with socket.create_server(("127.0.0.1", 0)) as free:
        listen = f"127.0.0.1:{free.getsockname()[1]}"
    began = time.time()
    with open(folder / "log", "wb") as log:
        parts = [subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
                 for command in (
                     [build / "router", "--daemon", build / "kelvantorium-fast", "sh", "-c", LIFE, "sh",
                      ROOT, "10" if measured else "1"],
                     [f"{programs}/prometheus", "--config.file=prometheus.yml", "--log.level=warn",
                      f"--web.listen-address={listen}", "--storage.tsdb.path=data",
                      "--web.enable-admin-api"])]
    try:
        await_(60, lambda: (folder / "log").read_text(), (folder / "kelvantorium.prom").exists)
        subprocess.run([f"{programs}/promtool", "check", "metrics"], check=True,
                       input=(folder / "kelvantorium.prom").read_bytes())
        address = f"http://{listen}"
        await_(60, lambda: (folder / "log").read_text(), lambda: api(address, "status/runtimeinfo"))
        if measured:
            measure(address, folder, int(seconds), parts[1])
        else:
            show(address, began)
    finally:
        for part in parts:
            part.terminate()
        for part in parts:
            part.wait(150)
    shutil.rmtree(folder)


os.environ["LC_ALL"] = "C.UTF-8"
main(pathlib.Path(sys.argv[1]).resolve(), *sys.argv[2:])
