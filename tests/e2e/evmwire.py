"""The event daemon's messages and event records, written without the program's own coder."""
import contextlib
import os
import signal
import socket
import struct
import subprocess

import harness

LIMIT = 20.0
KEY = "SYSTEM.evm.acceptor.auth"
CONNECT_REQ, CONNECT_RSP, POST_REQ, POST_RSP = 1, 2, 9, 10
SQUELCH, FLUSH, DISCONNECT = 13, 14, 19
INVALID, REJECTED, INVALID_VALUE, NO_ANSWER, REFUSED = 0x1, 0x4, 0x10, 0x800, 0x20000
VARIABLE, STRING = 23, 12


def framed(content, size=None):
    """A message: the communication header, then the content."""
    size = 48 + len(content) if size is None else size
    return struct.pack("<IHH4B", size, 1, 0, 9, 2, 1, 0) + bytes(36) + content


def head(kind, body=0, session=0, flags=0, cookie=0, ident=104, version=3, magic=0x01020304):
    return framed(struct.pack("<HHIIIQIII4x", ident, version, kind, flags, magic, cookie, body,
                              session, 0))


def connect_body(kind=1, pid=None, uid=None, service=b"", length=None):
    length = len(service) if length is None else length
    identity = struct.pack("<qII", os.getpid() if pid is None else pid,
                           os.geteuid() if uid is None else uid, 0)
    return framed(struct.pack("<II", kind, length) + identity + service)


def connect_request(*arguments, **options):
    body = connect_body(*arguments, **options)
    return head(CONNECT_REQ, len(body)) + body


def checksum(record):
    total = sum(record[48:74]) + sum(record[76:])
    once = (total >> 16) + (total & 0xFFFF)
    return ((once >> 16) + (once & 0xFFFF)) & 0xFFFF


def record(number=0, name=b"a.b", variables=(), blocktype=1, ident=3):
    """An event with an event id, a name and string variables."""
    def padded(data):
        return data + b"\0" * (-len(data) % 8)
    text = padded(name + b"\0")
    body = struct.pack("<II", 1, 8 + len(text)) + text
    present = 1 << 1 | 1 << 8
    for key, value in variables:
        present |= 1 << VARIABLE
        content = padded(key + b"\0") + padded(value + b"\0")
        body += struct.pack("<IIIIIi", VARIABLE, 24 + len(content), STRING, len(key) + 1,
                            len(value) + 1, 0) + content
    made = bytearray(framed(struct.pack(
        "<HHIIIQHHIqi4xqIHHII", ident, blocktype, 120 + len(body), 32, present, 0, 0, 0, number,
        0, 0, 0, 0, 2, 0x7654, 512, 8) + body))
    made[74:76] = struct.pack("<H", checksum(made))
    return bytes(made)


def post(session, data, **options):
    return head(POST_REQ, len(data), session, **options) + data


class Event:
    """One record of a file."""

    def __init__(self, data):
        size, present = struct.unpack_from("<I4xI", data, 52)
        assert struct.unpack_from("<HH", data, 48) == (3, 1), data[:60]
        assert struct.unpack_from("<H", data, 74)[0] == checksum(data), "checksum"
        assert data[:48] == framed(b"", size), data[:48]
        self.data, self.present = data, present
        self.number, self.pid = struct.unpack_from("<Iq", data, 76)
        self.texts, self.variables = {}, {}
        at = 120
        while at < size:
            ident, length = struct.unpack_from("<II", data, at)
            block = data[at:at + length]
            if ident == VARIABLE:
                kind, names, values = struct.unpack_from("<III", block, 8)
                start = 24 + names + -names % 8
                assert kind == STRING and block[start + values - 1] == 0, block
                self.variables[block[24:23 + names]] = block[start:start + values - 1]
            else:
                self.texts[ident] = block[8:].split(b"\0")[0]
            at += length
        assert at == size, (at, size)


def events(path):
    """All events of a file, which holds nothing else."""
    data, found = path.read_bytes() if path.exists() else b"", []
    while data:
        size = struct.unpack_from("<I", data, 52)[0]
        assert 120 <= size <= len(data), (size, len(data))
        found.append(Event(data[:size]))
        data = data[size:]
    return found


class Client:
    """A client that sends what bytes it likes."""

    def __init__(self, node, data=b""):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(LIMIT)
        self.socket.connect(str(node.runtime / KEY))
        self.send(data)

    def send(self, data):
        with contextlib.suppress(BrokenPipeError, ConnectionResetError):
            self.socket.sendall(data)

    def answer(self):
        """(type, flags, data, session) of the next message; None at the end."""
        got = b""
        with contextlib.suppress(ConnectionResetError):
            while len(got) < 88 and (more := self.socket.recv(88 - len(got))):
                got += more
        if not got:
            return None
        ident, version, kind, flags, magic, data, body, session = struct.unpack_from(
            "<HHIIIQII", got, 48)
        assert (len(got), ident, version, magic, body) == (88, 104, 3, 0x01020304, 0), got
        return kind, flags, data, session

    def login(self):
        self.send(connect_request())
        kind, flags, _, self.session = self.answer()
        assert (kind, flags) == (CONNECT_RSP, 0) and self.session != 0, (kind, flags)
        return self

    def post(self, data, **options):
        self.send(post(self.session, data, **options))
        return self.answer()

    def close(self):
        self.socket.close()


class EventDaemon:
    """A running evmd of a node."""

    def __init__(self, node, *arguments, **options):
        self.process = subprocess.Popen([harness.BIN / "evmd", *arguments],
                                        env=node.environment(options.pop("env", None)),
                                        cwd=node.folder, stdin=subprocess.DEVNULL,
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                        **options)
        self.greeting = self.process.stdout.readline()

    def end(self, number=signal.SIGTERM):
        """Ends it; its exit status and what it said after its first line."""
        if self.process.poll() is None:
            self.process.send_signal(number)
        try:
            said = self.process.communicate(timeout=LIMIT)[0]
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.communicate()
            raise
        return self.process.returncode, said
