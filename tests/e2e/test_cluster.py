"""Several real daemons make one cluster: who keeps which states, and what becomes of a dead node's."""
import contextlib
import re
import shutil
import signal
import socket
import struct
import subprocess
import time
import unittest

import harness
from harness import TABLE, TITLES, Node, NodeTest
from vornwire import HEADER, Box, box, envelope, frame, ub4

LIMIT = 20.0
EVERYONE = "ACL=owner:root:rwx,pgrp:root:r-x,other::r--"
ASKING = "Asking node beta for its resources\n"
NET = ["TYPE=t", "STATE@alpha=ONLINE", "STATE@beta=ONLINE", "STATE@gamma=ONLINE", EVERYONE]
WEB = ["TYPE=t", "ACTION_SCRIPT=web", "CHECK_INTERVAL=1", "HOSTING_MEMBERS=beta gamma", EVERYONE]


class Member(Node):
    """A node with an address of its own; it shares registry, cluster_dir and home with the others."""

    def __init__(self, name, number, shared):
        super().__init__(name=name)
        self.daemon, self.shared, self.home = None, shared, shared / "home"
        self.conf.write_text(
            f"node_name = {name}\nnode_number = {number}\nruntime_dir = run\nlog_dir = log\n"
            f"nodes = 1:alpha, 2:beta, 4:gamma\ncluster_dir = {shared}/cluster\n"
            f"cluster_registry = dir:{shared}/zks\nlocal_registry = dir:zkl\nrecovery_time = 2\n"
            f"peer_address = (ADDRESS=(PROTOCOL=tcp)(HOST=127.0.0.{number})(PORT=0))\n")

    def start(self):
        self.daemon = self.start_vornd()

    def end(self, number=signal.SIGTERM):
        daemon, self.daemon = self.daemon, None
        with daemon.stdout:
            daemon.send_signal(number)
            daemon.send_signal(signal.SIGCONT)
            try:
                return daemon.wait(LIMIT)
            finally:
                daemon.kill()

    def key(self, name):
        """A registry key's file; None when there is none."""
        path = self.shared / "zks/keys" / name.replace(".", "/")
        return next((p for p in (path, path / ".value") if p.is_file()), None)

    @property
    def endpoint_key(self):
        return self.key(f"SYSTEM.vorn.e2eport.{self.name}")

    def connect(self, data=b""):
        """A connection to the end-to-end endpoint, found as another daemon finds it."""
        host, port = re.search(rb"HOST=([0-9.]+)\)\(PORT=([0-9]+)",
                               self.endpoint_key.read_bytes()).groups()
        client = socket.create_connection((host.decode(), int(port)), LIMIT)
        client.sendall(data)
        return client

    def ask(self, data):
        """All that comes until the daemon ends the connection."""
        answer = b""
        with self.connect() as client, contextlib.suppress(ConnectionError):
            client.sendall(data)
            with contextlib.suppress(OSError):  # it may have ended it already
                client.shutdown(socket.SHUT_WR)
            while more := client.recv(65536):
                answer += more
        return answer

    def taken_over(self):
        log = self.folder / "log/vornd.log"
        return re.findall(r"took over for node (\w+): (\d+)", log.read_text())


class ClusterTest(NodeTest):
    texts = TITLES | {184: "the request failed", 213: "withheld [%s]", 230: "no member [%s]"}

    def setUp(self):
        super().setUp()  # its node lends the others catalog and folder
        shared = self.node.folder
        (shared / "home/vorn/script").mkdir()
        (shared / "home/vorn/script/web").write_text(f"#!/bin/sh\ntest -e {shared}/up.$VORN_NODE\n")
        (shared / "home/vorn/script/web").chmod(0o755)
        self.members = [Member(name, number, shared)
                        for name, number in (("alpha", 1), ("beta", 2), ("gamma", 4))]
        self.alpha, self.beta, self.gamma = self.members
        for member in self.members:
            self.addCleanup(shutil.rmtree, member.folder)
            self.addCleanup(lambda m=member: m.daemon and m.end(signal.SIGKILL))

    def serve(self, **profiles):
        self.alpha.register(**profiles)
        for member in self.members:
            member.start()
        self.until(lambda: all(member.endpoint_key for member in self.members))

    def until(self, condition):
        deadline = time.monotonic() + LIMIT
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.02)

    def takes_over(self, member, *nodes):
        """The member has taken over for these nodes, with so many states, and for no others."""
        self.until(lambda: len(member.taken_over()) >= len(nodes))
        self.assertEqual(sorted(member.taken_over()), sorted(nodes))

    def becomes(self, member, rows, *arguments):
        """The member's table shows these states: {resource: {node: state}}."""
        table = TABLE + "".join(f"{name:15}{'t':25}{state:10}{node:12}\n" for name in sorted(rows)
                                for node, state in sorted(rows[name].items()))
        deadline = time.monotonic() + LIMIT
        while (seen := member.run("-t", *arguments)).out != table.encode():
            self.assertLess(time.monotonic(), deadline, seen.out.decode())
            time.sleep(0.02)


def states(alpha, beta, gamma):
    return {"alpha": alpha, "beta": beta, "gamma": gamma}


class States(ClusterTest):
    def test_each_node_keeps_its_own(self):
        (self.node.folder / "up.beta").touch()
        self.serve(net=NET, web=WEB)
        for member in self.members:
            self.becomes(member, {"net": states(*["ONLINE"] * 3),
                                  "web": {"beta": "ONLINE", "gamma": "OFFLINE"}})
        self.gamma.end(signal.SIGKILL)
        for member in (self.alpha, self.beta):
            self.becomes(member, {"net": states("ONLINE", "ONLINE", "UNKNOWN"),
                                  "web": {"beta": "ONLINE", "gamma": "UNKNOWN"}})
        self.becomes(self.alpha, {"net": {"gamma": "UNKNOWN"}, "web": {"gamma": "UNKNOWN"}},
                     "-c", "gamma")
        self.takes_over(self.alpha, ("gamma", "2"))
        self.assertIsNone(self.gamma.endpoint_key)
        self.assertIn(b"UNKNOWN", self.alpha.key("VORN.CUR.net.STATE@gamma").read_bytes())
        self.gamma.start()
        self.becomes(self.alpha, {"net": states("ONLINE", "ONLINE", "UNKNOWN"),
                                  "web": {"beta": "ONLINE", "gamma": "OFFLINE"}})
        self.assertEqual(self.gamma.end(), 0)
        self.assertIsNone(self.gamma.endpoint_key)
        self.becomes(self.alpha, {"net": states("ONLINE", "ONLINE", "UNKNOWN"),
                                  "web": {"beta": "ONLINE", "gamma": "UNKNOWN"}})
        self.takes_over(self.alpha, ("gamma", "2"), ("gamma", "1"))
        # The next master does what is new to do, and nothing twice.
        kept = self.alpha.key("VORN.CUR.net.STATE@gamma")
        before = kept.stat().st_mtime_ns
        self.alpha.end(signal.SIGKILL)
        self.takes_over(self.beta, ("alpha", "1"))
        self.assertEqual(kept.stat().st_mtime_ns, before)

    def test_a_node_that_was_never_up(self):
        """Nobody takes over for it: what an operator set comes into force with its daemon."""
        self.alpha.register(net=[*NET, "STATE@delta=ONLINE"])
        self.alpha.start()
        shown = states("ONLINE", "UNKNOWN", "UNKNOWN") | {"delta": "ONLINE"}
        self.becomes(self.alpha, {"net": shown})
        self.beta.start()
        self.becomes(self.alpha, {"net": shown | {"beta": "ONLINE"}})
        self.assertEqual(self.alpha.taken_over(), [])

    def test_one_number_is_for_one_daemon(self):
        self.serve(net=NET)
        other = self.beta.folder / "other.conf"
        other.write_text(self.beta.conf.read_text().replace("= run\n", "= run2\n"))
        done = subprocess.run([harness.BIN / "vornd"], capture_output=True, timeout=LIMIT,
                              check=False, env=self.beta.environment({"VORN_NODE_CONF": str(other)}))
        self.assertEqual((done.stdout, done.returncode), (b"", 1))
        self.assertRegex(done.stderr, rb"\Avornd: node number 2 is taken by another vornd \(node "
                                      rb"beta, process \d+ has it\); [^\n]+\n\Z")
        self.becomes(self.alpha, {"net": {"beta": "ONLINE"}}, "-c", "beta")


class Masters(ClusterTest):
    def test_a_master_that_hangs_and_dies_leaves_it_to_the_next(self):
        self.serve(net=NET)
        self.alpha.daemon.send_signal(signal.SIGSTOP)
        self.gamma.end(signal.SIGKILL)
        self.becomes(self.beta, {"net": states("ONLINE", "ONLINE", "UNKNOWN")})
        self.assertTrue(self.gamma.endpoint_key)
        self.alpha.end(signal.SIGKILL)
        self.takes_over(self.beta, ("alpha", "1"), ("gamma", "1"))
        self.assertEqual(self.alpha.taken_over(), [])

    def test_all_die_and_half_of_it_was_done(self):
        self.serve(net=NET, other=NET)
        for member in self.members:
            member.daemon.send_signal(signal.SIGSTOP)
        for member in self.members:
            member.end(signal.SIGKILL)
        self.alpha.vornreg("state", "net", "UNKNOWN", "--node", "gamma")
        self.alpha.start()
        self.takes_over(self.alpha, ("beta", "2"), ("gamma", "1"))
        self.assertFalse(self.gamma.endpoint_key or self.beta.endpoint_key)


class Asking(ClusterTest):
    BETA = {"net": {"beta": "ONLINE"}}

    def test_a_peer_that_hangs_costs_its_limit_and_no_more(self):
        self.serve(net=NET, other=["TYPE=t", "STATE@alpha=ONLINE", EVERYONE])
        self.becomes(self.alpha, self.BETA, "-c", "beta")
        self.beta.daemon.send_signal(signal.SIGSTOP)
        unknown = TABLE + f"{'net':15}{'t':25}{'UNKNOWN':10}{'beta':12}\n"
        self.check(self.alpha.run("-t", "-c", "beta"), 0, ASKING + unknown)
        self.check(self.alpha.run("-r", "net", "-c", "beta"), 1, ASKING)
        self.check(self.alpha.run("-c", "gamma", "-t"), 0, unknown.replace("UNKNOWN", "ONLINE ")
                   .replace("beta ", "gamma"))
        # Nobody waits for those who wait: neither the end of the daemon nor other requests.
        waiting = subprocess.Popen([harness.BIN / "vorn_stat", "-c", "beta"],
                                   env=self.alpha.environment(), stdout=subprocess.PIPE)
        self.assertEqual(waiting.stdout.readline(), ASKING.encode())
        self.assertEqual(self.alpha.end(), 0)
        waiting.communicate(timeout=LIMIT)

    def test_where_a_peer_was_before(self):
        self.serve(net=NET)
        self.becomes(self.alpha, self.BETA, "-c", "beta")
        first = self.beta.endpoint_key.read_bytes()
        self.alpha.daemon.send_signal(signal.SIGSTOP)  # it takes over for nobody meanwhile
        self.beta.end(signal.SIGKILL)
        self.assertEqual(self.beta.endpoint_key.read_bytes(), first)
        self.beta.start()
        self.until(lambda: self.beta.endpoint_key.read_bytes() != first)
        self.alpha.daemon.send_signal(signal.SIGCONT)
        self.becomes(self.alpha, self.BETA, "-c", "beta")
        self.assertEqual(self.alpha.taken_over(), [])


class Endpoint(ClusterTest):
    """The end-to-end endpoint, which anybody who reaches the host can talk to."""

    def test_what_everybody_may_read(self):
        shut = [line for line in NET if line != EVERYONE]
        self.serve(net=NET, shut=[*shut, "ACL=owner:root:rwx,pgrp:root:r-x,other::--x"],
                   none=shut)
        answer = self.beta.ask(frame(box("UI_STAT", {"VERB_TAG": "1"})))
        self.assertEqual(answer.count(b"ONLINE"), 3)
        self.assertEqual(answer.count(b"213"), 2)
        number = lambda **entries: re.search(rb"RESULT.*TextMessage.{4}(\d+)", self.beta.ask(
            frame(box("UI_STAT", entries))), re.S)[1]
        self.assertEqual(number(RESOURCE="shut", ISRUNNING_TAG="1"), b"213")
        self.assertEqual(number(RESOURCE="net", ISRUNNING_TAG="1", HOST="beta"), b"0")
        self.assertEqual(number(HOST="alpha"), b"230")  # it passes nothing on
        # Who may read more is told what this node knows of the rest.
        self.becomes(self.alpha, {name: {"beta": "ONLINE"} for name in ("net", "none", "shut")},
                     "-c", "beta")
        self.assertEqual(self.beta.endpoint_key.stat().st_mode & 0o777, 0o644)

    def test_hostile_clients(self):
        self.serve(net=NET)
        good = frame(box("UI_STAT", {}))
        for data in (b"", good[:3], good[:-1], b"\xff" * 500, bytes(500), b"GET / HTTP/1.1\r\n\r\n",
                     envelope(good[HEADER:], claimed=2**32 - 1), envelope(ub4(2**31 - 1)),
                     struct.pack("<I", 64 * 1024 * 1024) + good[4:], frame("text"), frame(Box()),
                     frame(box("ORDER", {"WAIT": "9"})),
                     frame(box("UI_STAT", {"HOST": "x" * 2_000_000}))):
            with self.subTest(data=data[:8], size=len(data)):
                self.assertNotIn(b"ONLINE", self.beta.ask(data))
                self.assertIn(b"ONLINE", self.beta.ask(good))
        with contextlib.ExitStack() as stack:
            for _ in range(80):
                stack.enter_context(self.beta.connect(good[:50]))
            self.becomes(self.beta, {"net": states(*["ONLINE"] * 3)})
        self.until(lambda: b"ONLINE" in self.beta.ask(good))


if __name__ == "__main__":
    unittest.main()
