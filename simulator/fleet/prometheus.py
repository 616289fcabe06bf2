# SPDX-License-Identifier: ISC
"""Debian's prometheus under the rules of the repository, in fast motion."""
import json
import pathlib
import re
import socket
import subprocess
import time
import urllib.parse
import urllib.request

from routers import ROOT, TIED

MONITORING = ROOT / "monitoring"
PREFIX = "Kelvantorium"  # of the names of the alerts
UNITS = {"ms": 1, "s": 1000, "m": 60000, "h": 3600000, "d": 86400000, "w": 604800000}
DURATION = r"((?:\d+(?:ms|[smhdw]))+)"
# How long a condition must hold, intervals, ranges, their steps, offsets.
PLACES = rf"(?m)(^ *(?:for|keep_firing_for|interval): *|\[|\boffset +|:(?=\w+\])){DURATION}\b"


def seconds(duration):
    return sum(int(number) * UNITS[unit]
               for number, unit in re.findall(r"(\d+)(ms|[smhdw])", duration)) / 1000


def accelerated(rules, factor):
    """The text of a file of rules with all its durations divided by `factor`. Thresholds stay."""
    def shorter(match):
        return f"{match[1]}{max(1, round(1000 * seconds(match[2]) / factor))}ms"
    return re.sub(PLACES, shorter, rules)


def needed(rules):
    """The seconds that each alert takes at most once its cause is there."""
    name = rf"- alert: {PREFIX}(\w+)$"
    return {alert[1]: sum(seconds(found[1]) for found in re.findall(PLACES, alert[2]))
            for alert in re.finditer(rf"(?ms)^ *{name}(.*?)(?=^ *- |\Z)", rules)}


def pair(labels):
    return labels.get("instance", "-"), labels["alertname"].removeprefix(PREFIX)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Prometheus:
    """Runs in `folder` with the configuration of the repository, but scrapes every `interval`
    seconds, through the gate."""

    def __init__(self, programs, folder, factor, interval):
        self.folder, self.programs = pathlib.Path(folder), pathlib.Path(programs)
        config = (MONITORING / "prometheus.yml").read_text()
        config = re.sub(r"(?m)^( *\w+_interval): .*", rf"\1: {round(interval * 1000)}ms", config)
        # Whatever listens for alerts on this machine does not want to hear of these.
        config = re.sub(r"(?ms)^alerting:.*?^(?=\w)", "", config)
        (self.folder / "prometheus.yml").write_text(config)
        (self.folder / "targets-node.yml").write_text("[]")
        self.needed = {}
        for path in MONITORING.glob("*.rules.yml"):
            rules = path.read_text()
            (self.folder / path.name).write_text(accelerated(rules, factor))
            self.needed |= {alert: time / factor for alert, time in needed(rules).items()}

    def start(self, gate, names, *options):
        (self.folder / "targets.yml").write_text(json.dumps(  # which is YAML, too
            [{"targets": [f"127.0.0.1:{gate}"],
              "labels": {"instance": name, "__metrics_path__": f"/{name}/metrics"}}
             for name in names]))
        subprocess.run([self.programs / "promtool", "check", "config",
                        self.folder / "prometheus.yml"], stdout=subprocess.DEVNULL, check=True)
        port = free_port()
        self.address = f"http://127.0.0.1:{port}"
        with open(self.folder / "prometheus.log", "w") as log:
            self.process = subprocess.Popen(
                [*TIED, self.programs / "prometheus", f"--web.listen-address=127.0.0.1:{port}",
                 f"--config.file={self.folder}/prometheus.yml",
                 f"--storage.tsdb.path={self.folder}/data", "--log.level=warn", *options],
                stdin=subprocess.DEVNULL, stdout=log, stderr=log, start_new_session=True)
        end = time.monotonic() + 60
        while True:
            try:
                urllib.request.urlopen(f"{self.address}/-/ready", timeout=5).close()
                return
            except OSError:
                if self.process.poll() is not None or time.monotonic() > end:
                    raise RuntimeError("prometheus does not start: " + (
                        self.folder / "prometheus.log").read_text()) from None
                time.sleep(0.2)

    def get(self, path, **query):
        url = f"{self.address}/api/v1/{path}?{urllib.parse.urlencode(query)}"
        with urllib.request.urlopen(url, timeout=60) as reply:
            return json.load(reply)["data"]

    def value(self, query):
        result = self.get("query", query=query)["result"]
        return float(result[0]["value"][1]) if result else float("nan")

    def missed(self, routers, since):
        """The part of their scrapes that failed, since a moment of the monotonic clock."""
        names = {router.name for router in routers}
        query = f"avg_over_time(up[{round(time.monotonic() - since)}s])"
        parts = [1 - float(found["value"][1]) for found in self.get("query", query=query)["result"]
                 if found["metric"]["instance"] in names]
        return sum(parts) / len(parts)

    def firing(self):
        """What fires now: pairs of router and alert; a dash for what concerns no single router."""
        return {pair(alert["labels"]) for alert in self.get("alerts")["alerts"]
                if alert["state"] == "firing"}

    def fired(self, seconds):
        """The pairs that fired at any time during the last `seconds`."""
        query = f'max_over_time(ALERTS{{alertstate="firing"}}[{round(seconds)}s])'
        return {pair(found["metric"]) for found in self.get("query", query=query)["result"]}

    def end(self):
        self.process.kill()
        self.process.wait()
