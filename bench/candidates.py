# SPDX-License-Identifier: ISC
"""What bench/peers.py compares: how each is started, what shows that it has received a text, its
status call. Run by itself with a listening socket: the bridge to the AT port."""
import glob
import json
import os
import pathlib
import re
import selectors
import socket
import subprocess
import sys
import time
import tty

from buses import Dbus, Ubus

AT = "/dev/serial/by-id/usb-Marvell_Mobile_Composite_Device_Bus_200806006809080000-if04-port0"
ROOT = pathlib.Path(__file__).resolve().parent.parent


def run(*words, limit=60):
    try:
        done = subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, timeout=limit, check=False)
    except subprocess.TimeoutExpired:
        return ""
    return done.stdout.decode(errors="replace") if done.returncode == 0 else ""


def dbus(name, path, method, *arguments):
    return run("dbus-send", "--system", "--print-reply", f"--dest={name}", path, method, *arguments)


def files(pattern):
    return "".join(pathlib.Path(name).read_text("latin1") for name in glob.glob(pattern))


def background(*words, out=None):
    subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=out or subprocess.DEVNULL,
                     stderr=subprocess.DEVNULL)


def bridge(family, address):
    """The AT port for those that take it from a socket only; it listens at once."""
    listener = socket.socket(family)
    listener.bind(address)
    listener.listen()
    subprocess.Popen([sys.executable, __file__, str(listener.fileno())], stdin=subprocess.DEVNULL,
                     stdout=subprocess.DEVNULL, pass_fds=[listener.fileno()])


def until(condition, limit=30):
    end = time.monotonic() + limit
    while time.monotonic() < end:
        if condition():
            return True
        time.sleep(0.1)
    return False


class Daemon:
    program, package = "kelvantorium-shared", None

    def start(self):
        # The virtual router has started it; the watcher of its package runs beside it.
        self.reinit("watch")

    def reinit(self, mode):
        background("sh", str(ROOT / "packaging/openwrt/files/kelvantorium-reinit"), mode, "bench")

    def has(self, text):
        status = json.loads(run("ubus", "-S", "call", "kelvantorium", "get") or "{}")
        newest = status["info"]["sms"]["recv_counter"] if status else "0"
        return text in run("ubus", "-S", "call", "kelvantorium", "sms_get", f'{{"id":"{newest}"}}')

    def client(self):
        return Ubus("kelvantorium", "get")

    def returned(self):  # what its package does when the ports come back
        self.reinit("heal")


class Smstools:
    program, package = "smsd", "smstools"

    def start(self):
        folders = "incoming outgoing checked failed sent".split()
        for name in folders:
            os.makedirs(f"/run/{name}")
        pathlib.Path("/run/smsd.conf").write_text(
            "devices = GSM1\nlogfile = /run/smsd.log\n" + "".join(f"{n} = /run/{n}\n" for n in folders)
            + f"[GSM1]\ndevice = {AT}\nincoming = yes\n")
        background("smsd", "-c/run/smsd.conf", "-p/run/smsd.pid")

    def has(self, text):
        return text in files("/run/incoming/*").replace("\0", "")

    def returned(self):
        pass


class Gammu:
    program, package = "gammu-smsd", "gammu-smsd"

    def start(self):
        boxes = "inbox outbox sentsms errorsms".split()
        for name in boxes:
            os.makedirs(f"/run/{name}")
        pathlib.Path("/run/gammurc").write_text(
            f"[gammu]\ndevice = {AT}\nconnection = at115200\n[smsd]\nservice = files\n"
            "logfile = /run/gammu.log\n" + "".join(f"{n}path = /run/{n}/\n" for n in boxes))
        background("gammu-smsd", "-c", "/run/gammurc")

    def has(self, text):
        return text in files("/run/inbox/*")

    def returned(self):
        pass


class ModemManager:
    """Told of the port as a virtual one of its test profile, for it finds others through udev."""
    program, package = "ModemManager", "modemmanager"
    name, path = "org.freedesktop.ModemManager1", "/org/freedesktop/ModemManager1"

    def start(self):
        bridge(socket.AF_UNIX, "\0abstract:modem")
        with open("/etc/passwd", "a", encoding="ascii") as users:  # the sandbox's own copy
            users.write("polkitd:x:990:990::/:/usr/sbin/nologin\n")
        background("/usr/lib/polkit-1/polkitd", "--no-debug")
        background("ModemManager", "--test-enable", "--test-no-udev", "--no-auto-scan")
        until(lambda: self.name in dbus("org.freedesktop.DBus", "/", "org.freedesktop.DBus.ListNames"))
        self.returned()

    def returned(self):  # as udev tells it of a port, and NetworkManager has it enabled
        dbus(self.name, self.path, f"{self.name}.Test.SetProfile", "string:bench", "string:generic",
             "array:string:abstract:modem")
        until(lambda: "successfully" in run("mmcli", "-m", "any", "--enable"))

    def has(self, text):
        listed = run("mmcli", "-m", "any", "--messaging-list-sms")
        newest = sorted(map(int, re.findall(r"/SMS/(\d+)", listed)))[-2:]
        return any(text in run("mmcli", "-s", str(each)) for each in newest)

    def client(self):
        return Dbus(self.name, self.path, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects")


class Ofono:
    """Given the port as that of the phone simulator that it has a driver for, over TCP."""
    program, package = "ofonod", "ofono"
    name = "org.ofono"

    def start(self):
        bridge(socket.AF_INET, ("127.0.0.1", 12345))
        pathlib.Path("/etc/ofono").mkdir(exist_ok=True)
        pathlib.Path("/etc/ofono/phonesim.conf").write_text(
            "[phonesim]\nDriver=phonesim\nAddress=127.0.0.1\nPort=12345\n")
        with open("/run/signals", "wb") as out:
            background("dbus-monitor", "--system", "interface=org.ofono.MessageManager", out=out)
        background("ofonod", "-n")
        until(lambda: "phonesim" in dbus(self.name, "/", "org.ofono.Manager.GetModems"))
        self.returned()

    def returned(self):  # as ConnMan has it powered
        for what, state in (("Powered", "false"), ("Powered", "true"), ("Online", "true")):
            dbus(self.name, "/phonesim", "org.ofono.Modem.SetProperty", f"string:{what}",
                 f"variant:boolean:{state}")

    def has(self, text):
        return text in files("/run/signals")

    def client(self):
        return Dbus(self.name, "/", "org.ofono.Manager", "GetModems")


CANDIDATES = {kind.__name__: kind for kind in (Daemon, Smstools, Gammu, ModemManager, Ofono)}


def serve(listener):
    """One connection at a time, hung up when the port goes."""
    while True:
        peer = listener.accept()[0]
        try:
            port = os.open(AT, os.O_RDWR | os.O_NOCTTY)
        except OSError:
            peer.close()
            continue
        tty.setraw(port)
        carry(peer, port)
        peer.close()
        os.close(port)


def carry(peer, port):
    both = selectors.DefaultSelector()
    both.register(peer, selectors.EVENT_READ)
    both.register(port, selectors.EVENT_READ)
    try:
        while True:
            for key, _ in both.select():
                data = os.read(key.fd, 4096)
                if not data:
                    return
                os.write(port if key.fd == peer.fileno() else peer.fileno(), data)
    except OSError:
        return
    finally:
        both.close()


if __name__ == "__main__":
    serve(socket.socket(fileno=int(sys.argv[1])))
