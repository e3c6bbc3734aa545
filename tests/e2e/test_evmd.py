"""The event daemon against clients that mean no good, and its start and end."""
import os
import resource
import signal
import struct
import subprocess
import time
import unittest
from concurrent.futures import ThreadPoolExecutor

import harness
from evmwire import (CONNECT_REQ, CONNECT_RSP, DISCONNECT, FLUSH, INVALID, INVALID_VALUE, KEY, LIMIT,
                     NO_ANSWER, POST_REQ, POST_RSP, REFUSED, REJECTED, SQUELCH, Client, EventDaemon,
                     connect_body, connect_request, events, framed, head, post, record)
from harness import NOBODY, NodeTest


class EvmdTest(NodeTest):
    def setUp(self):
        super().setUp()
        self.file = self.node.runtime / "evmd.events"
        self.daemon = None
        self.addCleanup(self.kill)

    def kill(self):
        if self.daemon is not None:
            self.daemon.end(signal.SIGKILL)

    def start(self, *arguments, **options):
        self.daemon = EventDaemon(self.node, *arguments, **options)
        self.assertEqual(self.daemon.greeting, b"evmd: serving alpha\n")

    def client(self, data=b""):
        client = Client(self.node, data)
        self.addCleanup(client.close)
        return client

    def posts(self, number):
        """A good client is served."""
        client = self.client().login()
        self.assertEqual(client.post(record(number), cookie=7)[:3], (POST_RSP, 0, 7))
        client.close()

    def numbers(self, file=None):
        return [event.number for event in events(file or self.file)]

    def log(self):
        return (self.node.folder / "log/evmd.log").read_text()

    def eventually(self, condition):
        deadline = time.monotonic() + LIMIT
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.02)


class Clients(EvmdTest):
    def test_connect_requests(self):
        self.start()
        size = len(connect_body())
        whole = connect_request()
        refused = [
            (head(CONNECT_REQ, size, ident=105), INVALID),
            (head(CONNECT_REQ, size, magic=1), INVALID),
            (head(CONNECT_REQ, size, version=2), INVALID_VALUE),
            (head(CONNECT_REQ, size, version=4), INVALID_VALUE),
            (head(CONNECT_REQ, size, session=1), INVALID),
            (head(CONNECT_REQ, 0), INVALID),
            (head(CONNECT_REQ, 2**31), INVALID),
            (head(POST_REQ, size), INVALID),
            (head(FLUSH), INVALID),
            (framed(b"short"), INVALID),
            (connect_request(0), INVALID),
            (connect_request(4), INVALID),
            (connect_request(1, service=b"name"), INVALID),
            (connect_request(1, length=8), INVALID),
            (connect_request(2), REFUSED),
            (connect_request(3, service=b"name"), REFUSED),
            (connect_request(3), INVALID),
            (connect_request(pid=os.getpid() + 1), REFUSED),
            (connect_request(pid=2**63 - 1), REFUSED),
            (connect_request(uid=os.geteuid() + 1), REFUSED)]
        for data, flags in refused:
            with self.subTest(data=data[48:]):
                client = self.client(data)
                self.assertEqual(client.answer(), (CONNECT_RSP, flags, 0, 0))
                self.assertIsNone(client.answer())
        # What is no message at all, or ends early, is not answered.
        for data in (framed(b"", 47), framed(b"", 2**32 - 1), head(CONNECT_REQ, size)[:-1],
                     framed(bytes(40), 89), bytes(4), whole[:88] + framed(b"", size + 1),
                     whole[:88] + framed(b"", 2**26), whole[:88] + framed(bytes(16))):
            with self.subTest(data=data[48:]):
                client = self.client(data)
                client.socket.shutdown(1)
                self.assertIsNone(client.answer())
        for byte in range(len(whole)):
            Client(self.node, whole[:byte]).close()
        self.posts(1)
        self.assertEqual(self.numbers(), [1])

    def test_posts(self):
        self.start()
        client = self.client().login()
        good = record(1, variables=[(b"TAV_LOG", b"text " * 100)])
        self.assertEqual(client.post(good, cookie=2**64 - 1),
                         (POST_RSP, 0, 2**64 - 1, client.session))
        for offset in (48, 52, 56, 74, 90, 108, 120, 124, 130, len(good) - 60):
            for bit in (1, 128):
                flipped = bytearray(good)
                flipped[offset] ^= bit
                with self.subTest(offset=offset, bit=bit):
                    self.assertEqual(client.post(bytes(flipped), cookie=offset)[:3],
                                     (POST_RSP, INVALID, offset))
        for bad in (record(2, name=b"a-b"), record(3, blocktype=2), record(4, ident=4),
                    framed(b""), framed(bytes(2000)), good[:-8], good + bytes(8)):
            bad = struct.pack("<I", len(bad)) + bad[4:]
            client.send(post(client.session, bad, flags=NO_ANSWER))
            self.assertEqual(client.post(bad)[:2], (POST_RSP, INVALID))
        large = record(5, variables=[(b"a", b"x" * 17_000_000)])
        self.assertEqual(client.post(large)[:2], (POST_RSP, REJECTED))
        large = record(6, variables=[(b"a", b"x" * 16_000_000)])
        self.assertEqual(client.post(large)[:2], (POST_RSP, 0))
        client.send(post(client.session, record(7), flags=NO_ANSWER))
        client.send(head(FLUSH, 0, client.session))
        client.send(head(SQUELCH, 56, client.session) + framed(bytes(8)))
        self.assertEqual(client.post(record(8), cookie=8)[:3], (POST_RSP, 0, 8))
        client.send(head(DISCONNECT, 0, client.session))
        self.assertIsNone(client.answer())
        found = events(self.file)
        self.assertEqual([event.number for event in found], [1, 6, 7, 8])
        self.assertEqual(found[0].data, good)

    def test_what_no_connected_client_sends(self):
        self.start()
        good = record(1)
        for make in (lambda s: post(s + 1, good), lambda s: post(0, good), lambda s: head(99, 0, s),
                     lambda s: head(POST_RSP, 0, s), lambda s: connect_request(),
                     lambda s: head(POST_REQ, 0, s), lambda s: head(POST_REQ, 47, s),
                     lambda s: head(POST_REQ, 2**32 - 1, s), lambda s: head(FLUSH, 2**20, s),
                     lambda s: head(POST_REQ, len(good) - 8, s) + good,
                     lambda s: head(POST_REQ, len(good) + 8, s) + good,
                     lambda s: head(POST_REQ, 256, s) + framed(b"", 2**26),
                     lambda s: post(s, good)[:-1], lambda s: good,
                     lambda s: head(POST_REQ, len(good), s, version=2) + good):
            client = self.client().login()
            client.send(make(client.session))
            client.socket.shutdown(1)
            self.assertIsNone(client.answer())
        self.posts(2)
        self.assertEqual(self.numbers(), [2])

    def test_silent_and_slow_clients_cost_only_themselves(self):
        self.start()
        silent = [self.client() for _ in range(10)]
        connected = [self.client().login() for _ in range(10)]
        half = [self.client(connect_request()[:100]) for _ in range(10)]
        large = record(1, variables=[(b"a", b"x" * 3_000_000)])
        for client in connected[:8]:
            client.send(post(client.session, large)[:2_000_000])
        deaf = self.client().login()
        deaf.socket.setblocking(False)
        try:
            while True:
                deaf.socket.send(post(deaf.session, record(2)))
        except BlockingIOError:
            pass
        with ThreadPoolExecutor(8) as pool:
            for _ in pool.map(self.posts, range(100, 200)):
                pass
        for client in half:
            self.assertIsNone(client.answer())
        self.assertEqual(self.client().login().post(large)[1], 0)
        self.assertTrue(set(range(100, 200)) < set(self.numbers()))
        self.assertEqual(connected[9].post(record(3))[:2], (POST_RSP, 0))
        self.assertEqual(self.daemon.end(), (0, b""))
        for client in silent:
            self.assertIsNone(client.answer())

    def test_clients_beyond_the_limits(self):
        if not harness.AS_ROOT:
            self.skipTest("needs the superuser")
        self.start()
        self.posts(0)
        process = f"/proc/{self.daemon.process.pid}"
        self.eventually(lambda: len(os.listdir(process + "/task")) == 3)
        before = len(os.listdir(process + "/fd")) + 1  # and the log
        os.seteuid(NOBODY)
        try:
            clients = [self.client() for _ in range(70)]
        finally:
            os.seteuid(0)
        for client in clients[64:]:
            self.assertIsNone(client.answer())
        self.posts(1)
        self.assertIn("of user 65534 refused: too many clients of this user", self.log())
        for client in clients:
            client.close()
        self.eventually(lambda: len(os.listdir(process + "/fd")) <= before)
        self.eventually(lambda: len(os.listdir(process + "/task")) == 3)

    def test_no_descriptors_left(self):
        self.start(preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (48, 48)))
        clients = [self.client() for _ in range(60)]
        for client in clients:
            client.close()
        # Until it has seen them go, it has no descriptors for a newcomer.
        self.eventually(lambda: self.client(connect_request()).answer() is not None)
        self.posts(1)
        self.assertEqual(self.numbers(), [1])


class Runs(EvmdTest):
    def run_evmd(self, *arguments, env=None):
        done = subprocess.run([harness.BIN / "evmd", *arguments], env=self.node.environment(env),
                              cwd=self.node.folder, stdin=subprocess.DEVNULL, timeout=LIMIT,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
        return done.returncode, done.stdout, done.stderr

    def test_one_daemon_an_address(self):
        self.start()
        self.assertEqual(self.run_evmd(), (
            1, b"", b"evmd: another evmd serves this node; stop it first\n"))
        other = {"QUORD_CLUSTERNAME": "green"}
        self.assertEqual(self.run_evmd(env=other), (
            1, b"", b"evmd: another evmd writes %s; stop it first\n" % os.fsencode(self.file)))
        second = EventDaemon(self.node, "--file", "other.events", env=other)
        self.assertEqual(second.greeting, b"evmd: serving alpha\n")
        self.assertTrue((self.node.runtime / f"{KEY}.green.alpha").is_socket())
        self.assertEqual(second.end(), (0, b""))
        self.posts(1)
        self.assertEqual(self.daemon.end(signal.SIGINT), (0, b""))
        self.assertFalse((self.node.runtime / KEY).exists())

    def test_what_a_dead_daemon_left(self):
        for number in range(3):
            self.start()
            client = self.client().login()
            self.assertEqual(client.post(record(number))[1], 0)
            self.assertEqual(self.daemon.end(signal.SIGKILL)[0], -signal.SIGKILL)
            self.assertTrue((self.node.runtime / KEY).exists())
            with self.file.open("ab") as file:
                file.write(record(99)[:100 + number])
        self.start()
        self.posts(3)
        self.assertEqual(self.numbers(), [0, 1, 2, 3])

    def test_stops_only_after_answers(self):
        self.start("--file-size", "2000")
        clients = [self.client().login() for _ in range(32)]
        for number, client in enumerate(clients):
            client.send(post(client.session, record(number), cookie=number))
        self.assertEqual(self.daemon.end(), (0, b""))
        answered = {answer[2] for client in clients if (answer := client.answer())
                    and answer[1] == 0}
        files = [self.file, *self.node.runtime.glob("evmd.events.[0-9]")]
        stored = [number for file in files for number in self.numbers(file)]
        self.assertEqual(answered, set(stored))
        self.assertEqual(len(stored), 32)
        self.assertGreater(len(files), 2)

    def test_cannot_start(self):
        folder = os.fsencode(self.node.folder)
        conf = self.node.folder / "broken.conf"
        conf.write_text("no_such_key = 1\n")
        long = self.node.folder / "long.conf"
        long.write_text("node_name = alpha\nlog_dir = log\nruntime_dir = " + "x" * 100 + "\n")
        plain = {"VORN_NODE_CONF": str(conf)}
        for arguments, env, said in (
                (["--nothing"], None, b"it does not know --nothing; see evmd --help"),
                (["--file"], None, b"--file takes a value; see evmd --help"),
                (["--file-size", "1k"], None, b"--file-size takes a number of bytes, not 1k"),
                (["--file-size", "0"], None, b"--file-size takes a number of bytes, not 0"),
                (["--file", "none/events"], None,
                 b"cannot open none/events.lock: No such file or directory"),
                (["--file", "."], None, b"cannot open .: Is a directory"),
                ([], plain, folder + b"/broken.conf: line 1: key 'no_such_key': unknown key"),
                ([], {"VORN_NODE_CONF": str(long)}, b"cannot listen at (ADDRESS=(PROTOCOL=ipc)(KEY="
                 + KEY.encode() + b")); the log tells why, runtime_dir in node.conf where"),
                ([], {"QUORD_CLUSTERNAME": "x" * 300},
                 b"the endpoint has no address; QUORD_CLUSTERNAME may be too long")):
            with self.subTest(arguments=arguments, env=env):
                self.assertEqual(self.run_evmd(*arguments, env=env),
                                 (1, b"", b"evmd: " + said + b"\n"))
        status, out, err = self.run_evmd("--help")
        self.assertEqual((status, out[:12], err), (0, b"Usage:  evmd", b""))


if __name__ == "__main__":
    unittest.main()
