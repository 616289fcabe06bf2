# SPDX-License-Identifier: ISC
"""What Debian has for a modem, beside the daemon: BUILD=... PEERS=... python3 peers.py [--quick]

PEERS is a folder with the unpacked packages. Each candidate gets a virtual router of its own, where
they lie over /usr; all run at once. Inside (--inside NAME) the candidate is started, given messages,
measured, and disturbed; a dictionary of its figures comes out as a line."""
import fcntl
import glob
import json
import os
import pathlib
import re
import subprocess
import sys
import time

sys.dont_write_bytecode = True
from buses import roundtrip  # noqa: E402
from candidates import CANDIDATES, run  # noqa: E402

QUICK = "--quick" in sys.argv
WINDOW = 30 if QUICK else 60  # s of measured operation, with a message every 5 s
BOUND = 40 if QUICK else 180  # s that a candidate gets to recover
# What the simulated modem does not know, since the daemon never asks it, and every modem answers.
ANSWERS = {
    "AT+CSCS=?": '+CSCS: ("IRA","GSM","UCS2")', "AT+CGMI": "MAKER", "AT+CSQ": "+CSQ: 20,99",
    "AT+CPMS=?": '+CPMS: ("SM"),("SM"),("SM")', "AT+CMGF=?": "+CMGF: (0)", "AT+GCAP": "+GCAP: +CGSM",
    "AT+CFUN=?": "+CFUN: (0,1,4),(0,1)", "AT+CGDCONT=?": '+CGDCONT: (1-16),"IP",,,(0-1),(0-1)',
    "AT+CNMI=?": "+CNMI: (0,1,2),(0,1),(0),(0),(0)", "AT+CREG=?": "+CREG: (0-2)",
    "AT+CGREG=?": "+CGREG: (0-2)", "AT+CSMS=?": "+CSMS: (0,1)", "AT+CSMS?": "+CSMS: 0,1,1,1",
    "AT+CSMS=1": "+CSMS: 1,1,1", "AT+CSMS=0": "+CSMS: 1,1,1"}
BUS = """<busconfig><type>system</type><listen>unix:path=/run/dbus/system_bus_socket</listen>
<auth>EXTERNAL</auth><policy context="default"><allow user="*"/><allow own="*"/>
<allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/></policy></busconfig>"""


# --- inside

def simulator(method, **arguments):
    return json.loads(run("ubus", "-S", "call", "simulator", method, json.dumps(arguments)) or "{}")


def processes(program):
    own = []
    for path in glob.glob("/proc/[0-9]*/comm"):
        try:
            if pathlib.Path(path).read_text().strip() == program[:15]:
                own.append(os.path.dirname(path))
        except OSError:
            pass  # it has just ended
    return own


def busy(program):
    """Milliseconds of processor time of all its threads."""
    return sum(int(pathlib.Path(task).read_text().split()[0]) for own in processes(program)
               for task in glob.glob(f"{own}/task/*/schedstat")) / 1e6


def private(program):
    """KiB that no other process shares."""
    return sum(int(size) for own in processes(program) for size in
               re.findall(r"Private_\w+: +(\d+)", pathlib.Path(f"{own}/smaps_rollup").read_text()))


class Probes:
    """Messages with a text of their own each."""

    def __init__(self):
        self.count = 0

    def send(self):
        self.count += 1
        text = f"probe-{self.count:03d}-"
        simulator("sms", sender="79160000001", text=text, coding="7bit")
        return text

    def delivered(self, candidate, bound, pause=5, began=None):
        """Seconds until a message is received, one arriving each `pause`; None for never."""
        began = began or time.monotonic()
        texts, due = [], 0
        while time.monotonic() - began < bound:
            if time.monotonic() >= due:
                texts.append(self.send())
                due = time.monotonic() + pause
            if any(map(candidate.has, texts)):
                return round(time.monotonic() - began, 1)
            time.sleep(0.05)
        return None


def prepare():
    usr = os.environ["PEERS"] + "/usr"
    subprocess.run(["mount", "-t", "overlay", "overlay", "-o", f"lowerdir={usr}:/usr", "/usr"],
                   check=True)
    os.makedirs("/run/dbus")
    pathlib.Path("/run/bus.conf").write_text(BUS)
    subprocess.run(["dbus-daemon", "--config-file=/run/bus.conf", "--fork"], check=True)
    simulator("storage", capacity=50)
    answers()


def answers():
    simulator("clear_faults")
    for command, line in ANSWERS.items():
        simulator("fault", command=command, exact=True, kind="reply",
                  text=f"\r\n{line}\r\n\r\nOK\r\n")


def commands():
    listed = simulator("commands", since=commands.last)["commands"]
    commands.last = listed[-1]["n"] if listed else commands.last
    return commands.last


commands.last = 0


def operation(candidate, probes, found):
    """A minute with a message every 5 s, and nobody who asks for anything."""
    before, spent = commands(), busy(candidate.program)
    for _ in range(WINDOW // 5):
        probes.send()
        time.sleep(5)
    found["busy"] = busy(candidate.program) - spent
    found["commands"] = commands() - before
    found["memory"] = private(candidate.program)
    arrivals = [probes.delivered(candidate, 60, 60) for _ in range(3)]
    found["arrival"] = None if None in arrivals else sorted(arrivals)[1]
    if hasattr(candidate, "client"):
        with open(os.environ["PEERS"] + "/lock", "w", encoding="ascii") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)  # one at a time
            found["roundtrip"], found["octets"] = roundtrip(candidate.client(), 500)


def disturb(candidate, probes, found):
    simulator("storage", capacity=150)  # nobody is to fail for want of a place
    simulator("fault", command="", kind="silence")
    time.sleep(60)
    answers()
    found["silence"] = probes.delivered(candidate, BOUND)
    simulator("unplug")
    time.sleep(10)
    simulator("replug")
    began = time.monotonic()
    candidate.returned()
    found["unplug"] = probes.delivered(candidate, BOUND, began=began)


def inside(name):
    candidate, probes, found = CANDIDATES[name](), Probes(), {"name": name}
    prepare()
    candidate.start()
    found["drivable"] = probes.delivered(candidate, 120)
    if found["drivable"] is not None:
        operation(candidate, probes, found)
        disturb(candidate, probes, found)
    print(json.dumps(found), flush=True)


# --- outside

def installed(package):
    shown = run("apt-cache", "show", "--no-all-versions", package)
    size = re.search(r"(?m)^Installed-Size: (\d+)", shown)
    return f"{size[1]} kB" if size else "?"


def program(build):
    """The stripped daemon, as the size section of scripts/bench has it for its machine."""
    stripped = build / "peers.stripped"
    subprocess.run(["strip", "-o", stripped, build / "bench/kelvantorium-shared"], check=True)
    return f"{stripped.stat().st_size / 1000:.0f} kB"


def decoded(build, name):
    """Nanoseconds of processor time for the two messages, medians of 5 runs."""
    peers = os.environ["PEERS"]
    library = next(iter(glob.glob(f"{peers}/usr/lib/**/libGammu.so.8", recursive=True)), "libGammu.so.8")
    own = {**os.environ, "LIBGAMMU": library,
           "LD_LIBRARY_PATH": ":".join(glob.glob(f"{peers}/usr/lib/*-linux-gnu"))}
    done = subprocess.run(
        [build / "bench" / name, "--benchmark_filter=^deliver", "--benchmark_format=json",
         "--benchmark_repetitions=5"], env=own, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
        check=True)
    return [f"{each['cpu_time']:.0f} ns" for each in json.loads(done.stdout)["benchmarks"]
            if each.get("aggregate_name") == "median"]


def seconds(value):
    return "no" if value is None else f"{value:.1f} s"


def figures(found, build):
    """A candidate's column."""
    kind = CANDIDATES[found["name"]]
    size = installed(kind.package) if kind.package else program(build)
    if found["drivable"] is None:
        return [size] + ["not driven"] * 10
    decode = {"Daemon": "bench_micro", "Gammu": "bench_decode"}.get(found["name"])
    return [
        size, f"{found['memory']} kB",
        f"{found['commands'] * 60 / WINDOW:.0f}", f"{found['busy'] * 60 / WINDOW:.0f} ms",
        f"{found['busy'] * 1000 / max(found['commands'], 1):.0f} us", seconds(found["arrival"]),
        f"{found['roundtrip']:.0f} us, {found['octets']} B" if "roundtrip" in found else "has none",
        *(decoded(build, decode) if decode else ["no library"] * 2),
        seconds(found["silence"]), seconds(found["unplug"])]


ROWS = ("installed size", "private memory", "AT commands a minute", "processor time a minute",
        "processor time per AT command", "a message is there after", "status call, reply",
        "160 characters in 7 bits", "70 characters in UCS2", "received after a silent minute",
        "received after a port's return")


def outside():
    build = pathlib.Path(os.environ["BUILD"])
    running = []
    for name in CANDIDATES:
        options = ["--daemon", build / "bench/kelvantorium-shared"] if name == "Daemon" else \
            ["--no-daemon"]
        running.append(subprocess.Popen(
            [build / "router", *options, sys.executable, __file__, "--inside", name, *sys.argv[1:]],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE))
    found = [json.loads(each.communicate()[0] or "{}") for each in running]
    if not all(found):
        sys.exit("peers: a candidate could not be measured")
    columns = [figures(each, build) for each in found]
    print(f"{'':31}", *(f"{CANDIDATES[each['name']].program.split('-shared')[0]:>20}" for each in found))
    for number, name in enumerate(ROWS):
        print(f"{name:31}", *(f"{column[number]:>20}" for column in columns))


if "--inside" in sys.argv:
    inside(sys.argv[2])
else:
    outside()
