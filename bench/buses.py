# SPDX-License-Identifier: ISC
"""The same bare client for both buses: a request made in advance, written and answered over and over,
so that the round trips differ by broker and service alone."""
import os
import socket
import struct
import time


def _connect(path):
    own = socket.socket(socket.AF_UNIX)
    own.connect(path)
    return own


def _exactly(own, count):
    data = b""
    while len(data) < count:
        more = own.recv(count - len(data))
        if not more:
            raise OSError("the bus hung up")
        data += more
    return data


class Ubus:
    """Calls of one method without arguments over ubus."""

    def __init__(self, name, method):
        self.own = _connect("/var/run/ubus/ubus.sock")
        self._message()
        self._send(4, 0, self._attribute(2, name.encode() + b"\0"))
        kind, body = self._message()
        if kind != 2:
            raise OSError(f"no object {name}")
        self.target = self._fields(body)[3]
        self._message()
        self.body = (self._attribute(3, self.target) +
                     self._attribute(4, method.encode() + b"\0") + self._attribute(7, b""))

    @staticmethod
    def _attribute(number, data):
        return struct.pack(">I", number << 24 | (4 + len(data))) + data + bytes(-len(data) % 4)

    @staticmethod
    def _fields(body):
        found, at = {}, 0
        while at < len(body):
            head = struct.unpack_from(">I", body, at)[0]
            number, size = head >> 24 & 0x7F, head & 0xFFFFFF
            found[number] = body[at + 4:at + size]
            at += size + -size % 4
        return found

    def _send(self, kind, peer, body):
        self.own.sendall(struct.pack(">BBHI", 0, kind, 1, peer) +
                         struct.pack(">I", 4 + len(body)) + body)

    def _message(self):
        head = _exactly(self.own, 12)
        size = struct.unpack(">I", head[8:])[0] & 0xFFFFFF
        return head[1], _exactly(self.own, size - 4)

    def call(self):
        """Octets of the reply."""
        self._send(5, struct.unpack(">I", self.target)[0], self.body)
        size = 0
        while True:
            kind, body = self._message()
            if kind == 1:
                if self._fields(body).get(1) != bytes(4) or size == 0:
                    raise OSError("refused")
                return size
            size += len(body)


class Dbus:
    """Calls of one method without arguments over D-Bus."""

    def __init__(self, name, path, interface, method):
        self.own = _connect("/run/dbus/system_bus_socket")
        self.own.sendall(b"\0AUTH EXTERNAL " + str(os.getuid()).encode().hex().encode() + b"\r\n")
        if not self.own.recv(256).startswith(b"OK"):
            raise OSError("not let in")
        self.own.sendall(b"BEGIN\r\n")
        bus = "org.freedesktop.DBus"
        self.request = self._made(bus, "/org/freedesktop/DBus", bus, "Hello")
        self.call()
        self.request = self._made(name, path, interface, method)

    @staticmethod
    def _made(name, path, interface, method):
        fields = b""
        for number, kind, text in ((1, "o", path), (2, "s", interface), (3, "s", method),
                                   (6, "s", name)):
            fields += bytes(-len(fields) % 8)
            fields += struct.pack("<B", number) + b"\1" + kind.encode() + b"\0"
            fields += struct.pack("<I", len(text)) + text.encode() + b"\0"
        return struct.pack("<cBBBIII", b"l", 1, 0, 1, 0, 1, len(fields)) + fields + \
            bytes(-len(fields) % 8)

    def call(self):
        """Octets of the reply."""
        self.own.sendall(self.request)
        while True:  # signals of the bus come between
            head = _exactly(self.own, 16)
            size, _, fields = struct.unpack("<III", head[4:])
            _exactly(self.own, fields + -fields % 8 + size)
            if head[1] == 3:
                raise OSError("refused")
            if head[1] == 2:
                return size


def roundtrip(client, count):
    """The median in microseconds, and the octets of a reply."""
    times, size = [], client.call()
    for _ in range(count):
        began = time.perf_counter()
        client.call()
        times.append((time.perf_counter() - began) * 1e6)
    return sorted(times)[count // 2], size
