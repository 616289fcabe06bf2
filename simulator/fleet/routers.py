# SPDX-License-Identifier: ISC
"""Many virtual routers: started, asked, disturbed, measured, and served to a scraper."""
import collections
import concurrent.futures
import http.server
import json
import os
import pathlib
import re
import signal
import subprocess
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
METRICS = ROOT / "packaging/metrics/kelvantorium-metrics"
TICK = os.sysconf("SC_CLK_TCK")
STARTING = 4  # routers that start at the same time
# Dies with the thread that starts it, whatever that dies of: start from the main thread only.
TIED = ["setpriv", "--pdeathsig", "KILL"]

Process = collections.namedtuple("Process", "parent name seconds")


def processes():
    """All processes by id; the processor time includes that of their children that have ended."""
    found = {}
    for entry in os.scandir("/proc"):
        if entry.name.isdigit():
            try:
                stat = pathlib.Path(entry.path, "stat").read_text()
            except OSError:
                continue
            name, rest = re.fullmatch(r"\d+ \((.*)\) . (.*)", stat, re.S).groups()
            rest = rest.split()
            found[int(entry.name)] = Process(int(rest[0]), name, sum(map(int, rest[10:14])) / TICK)
    return found


def memory(pid, *kinds):
    """Sum of lines of smaps_rollup, in kB; 0 when the process is gone."""
    try:
        rollup = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text()
    except OSError:
        return 0
    return sum(int(size) for kind, size in re.findall(r"(?m)^(\w+): +(\d+) kB", rollup)
               if kind in kinds)


def kernel_memory():
    """What the kernel of this machine keeps for itself, namespaces for instance, in kB."""
    text = pathlib.Path("/proc/meminfo").read_text()
    return sum(int(re.search(rf"(?m)^{kind}: +(\d+)", text)[1])
               for kind in ("SUnreclaim", "KernelStack", "PageTables", "Percpu"))


class Router:
    def __init__(self, number, build, log):
        self.name = f"router-{number:04}"
        self.path = f"{build}:{os.environ['PATH']}:/usr/sbin:/sbin"
        self.daemon = self.first = None  # process ids as the machine sees them
        self.answer = None  # what the gate tells instead of the metrics of now
        self.process = subprocess.Popen(
            [*TIED, build / "router", "sh", "-c", "echo ready; exec sleep infinity"],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=log, start_new_session=True)

    def await_ready(self):
        if self.process.stdout.readline() != b"ready\n":
            raise RuntimeError(f"{self.name} does not start; see the log of the routers")
        self.process.stdout.close()

    def learn(self, table, children):
        """Finds its processes; `children` lists the ids below each id."""
        self.first = children[self.process.pid][0]
        self.daemon = next(pid for pid in self.tree(children) if table[pid].name == "kelvantorium")

    def tree(self, children):
        below = [self.process.pid]
        for pid in below:
            below += children.get(pid, [])
        return below

    def run(self, *command, limit=30):
        """Runs a command inside; (exit status, output)."""
        inside = ["nsenter", "--target", str(self.first), "--mount", "--net", "--pid"]
        if os.geteuid() != 0:
            inside += ["--user", "--preserve-credentials"]
        done = subprocess.run([*inside, *command], env={"PATH": self.path}, timeout=limit,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, check=False)
        return done.returncode, done.stdout

    def call(self, thing, method, **arguments):
        code, reply = self.run("ubus", "-S", "call", thing, method, json.dumps(arguments))
        if code != 0:
            raise RuntimeError(f"{self.name}: {thing} {method}: {reply.decode(errors='replace')}")
        return reply

    def metrics(self):
        return self.run(str(METRICS))

    def connected(self):
        code, reply = self.run("ubus", "-S", "call", "kelvantorium", "get")
        return code == 0 and b'"state":"op"' in reply and b'"state":"connected"' in reply

    def kill_daemon(self):
        os.kill(self.daemon, signal.SIGKILL)

    def kill(self):
        """Nothing is left of the whole router."""
        self.process.kill()
        self.process.wait()


class Fleet:
    def __init__(self, build, log):
        self.build, self.log, self.routers = build, log, []
        self.kernel = 0  # kB for each router, of the kernel

    def start(self, count, tell):
        kernel = kernel_memory()
        for number in range(1, count + 1):
            self.routers.append(Router(number, self.build, self.log))
            if number > STARTING:
                self.routers[-1 - STARTING].await_ready()
            tell(number)
        for router in self.routers[-STARTING:]:
            router.await_ready()
        self.kernel = (kernel_memory() - kernel) / count
        table, children = self.family()
        for router in self.routers:
            router.learn(table, children)

    def await_connected(self, limit):
        """Until every daemon has initialised its modem and brought the link up."""
        end, waiting = time.monotonic() + limit, list(self.routers)
        while waiting:
            with concurrent.futures.ThreadPoolExecutor(2) as pool:
                done = list(pool.map(Router.connected, waiting))
            waiting = [router for router, ready in zip(waiting, done) if not ready]
            if waiting and time.monotonic() > end:
                raise RuntimeError(f"{len(waiting)} of {len(self.routers)} routers are not "
                                   f"connected after {limit} s, the first is {waiting[0].name}")
            time.sleep(1 if waiting else 0)

    @staticmethod
    def family():
        table, children = processes(), collections.defaultdict(list)
        for pid, process in sorted(table.items()):
            children[process.parent].append(pid)
        return table, children

    def times(self, routers):
        """Processor seconds since the start: of all the daemons, of all the routers."""
        table, children = self.family()
        return (sum(table[router.daemon].seconds for router in routers),
                sum(table[pid].seconds for router in routers for pid in router.tree(children)
                    if pid in table))

    def sizes(self, routers):
        """Mean memory in kB: daemon Pss, daemon private, all processes' Pss, files in memory."""
        children, sums = self.family()[1], [0, 0, 0, 0]
        for router in routers:
            files = os.statvfs(f"/proc/{router.first}/root/")
            sums[0] += memory(router.daemon, "Pss")
            sums[1] += memory(router.daemon, "Private_Clean", "Private_Dirty")
            sums[2] += sum(memory(pid, "Pss") for pid in router.tree(children))
            sums[3] += (files.f_blocks - files.f_bfree) * files.f_frsize // 1024
        return [total / len(routers) for total in sums]

    def end(self):
        for router in self.routers:
            router.process.kill()
        for router in self.routers:
            router.process.wait()


class Gate(http.server.ThreadingHTTPServer):
    """http://127.0.0.1:PORT/NAME/metrics runs the metrics script inside the router NAME. One port
    and no process of its own in a router: what a scrape costs there is the script alone."""
    daemon_threads = True
    request_queue_size = 1024

    def __init__(self, fleet):
        self.by_path = {f"/{router.name}/metrics": router for router in fleet.routers}
        super().__init__(("127.0.0.1", 0), GateRequest)
        threading.Thread(target=self.serve_forever, daemon=True).start()


class GateRequest(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        router, code, text = self.server.by_path.get(self.path), 1, b""
        if router and router.process.poll() is None:
            try:
                code, text = router.metrics() if router.answer is None else (0, router.answer)
            except (OSError, subprocess.TimeoutExpired):
                pass
        try:
            self.send_response(200 if code == 0 else 504)
            self.send_header("Content-Type", "text/plain; version=0.0.4")
            self.end_headers()
            self.wfile.write(text)
        except OSError:
            pass  # the scraper did not wait

    def log_message(self, *_):
        pass
