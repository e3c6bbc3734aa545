"""The command, the real daemon and the registry together: resources in, listings out."""
import contextlib
import pathlib
import signal
import socket
import subprocess
import time
import unittest
from concurrent.futures import ThreadPoolExecutor

import harness
from harness import NOBODY, RIGHTS, TABLE, TITLES, WIDE, NodeTest, numbered
from vornwire import HEADER, Box, box, envelope, frame, string, ub4

LIMIT = 20.0
EVERYONE = "ACL=owner:root:rwx,pgrp:root:r-x,other::r--"
DB1 = ["TYPE=application", "IS_RUNNABLE=1", "CURRENT_RCOUNT=2", "RESTART_ATTEMPTS=5",
       "FAILURE_THRESHOLD=3", "CURRENT_FAILURE=1", "TARGET=ONLINE", "STATE@alpha=ONLINE", EVERYONE]
NET = ["TYPE=listener", "IS_RUNNABLE=0", "TARGET@alpha=ONLINE", "TARGET@beta=ONLINE",
       "STATE@alpha=ONLINE", "STATE@beta=OFFLINE", "CURRENT_FAILURE@beta=4", EVERYONE]


class DaemonTest(NodeTest):
    texts = TITLES | {184: "the request failed", 202: "nothing here", 210: "no [%s]",
                      213: "withheld [%s]", 230: "no member [%s]"}

    def setUp(self):
        super().setUp()
        self.scripts = self.node.home / "vorn/script"
        self.scripts.mkdir()
        self.daemon = None
        self.addCleanup(self.end)

    def end(self, number=signal.SIGTERM):
        """Ends the daemon; its exit status."""
        if self.daemon is None:
            return None
        daemon, self.daemon = self.daemon, None
        daemon.send_signal(number)
        try:
            return daemon.wait(LIMIT)
        except subprocess.TimeoutExpired:
            daemon.kill()
            daemon.wait()
            raise
        finally:
            daemon.stdout.close()

    def start(self):
        self.daemon = self.node.start_vornd()

    def daemon_log(self):
        log = self.node.folder / "log/vornd.log"
        return log.read_bytes() if log.exists() else b""

    def connect(self, data=b""):
        client = socket.socket(socket.AF_UNIX)
        self.addCleanup(client.close)
        client.settimeout(LIMIT)
        client.connect(str(self.node.endpoint))
        client.sendall(data)
        return client

    def ends_soon(self, clients):
        """The daemon ends although these clients stay."""
        start = time.monotonic()
        self.assertEqual(self.end(), 0)
        self.assertLess(time.monotonic() - start, 6)
        for client in clients:
            client.close()

    def serve(self, **profiles):
        self.node.register(**profiles)
        self.start()

    def script(self, name, text):
        path = self.scripts / name
        path.write_text(f"#!/bin/sh\ncd {self.node.folder}\n{text}\n")
        path.chmod(0o755)

    def until(self, condition):
        deadline = time.monotonic() + LIMIT
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.05)

    def shows(self, table, **options):
        for line, status, out in table:
            with self.subTest(line=line):
                self.check(self.node.run(*line.split(), **options), status, out)

    def eventually(self, out, *arguments):
        deadline = time.monotonic() + LIMIT
        while (seen := self.node.run(*arguments).out) != out.encode():
            self.assertLess(time.monotonic(), deadline, seen)
            time.sleep(0.05)


class Listings(DaemonTest):
    def test_every_form(self):
        self.serve(net=NET, db1=DB1)
        db1 = "NAME=db1\nTYPE=application\n"
        ends = "TARGET=ONLINE\nSTATE=ONLINE on alpha\n\n"
        attempts, threshold = "RESTART_ATTEMPTS=5\nRESTART_COUNT=2\n", "FAILURE_THRESHOLD=3\n"
        auto = "AUTO_START=restore\n"
        counts = attempts + threshold + "FAILURE_COUNT=1\n"
        net = ("NAME=net\nTYPE=listener\nTARGET=ONLINE on alpha\nTARGET=ONLINE on beta\n"
               "STATE=ONLINE on alpha\nSTATE=UNKNOWN on beta\n\n")
        row = "db1            application    {}ONLINE    ONLINE    alpha       \n"
        net_row = "net            listener       {}ONLINE    {:10}{:12}\n"
        self.shows([
            ("", 0, db1 + ends + net), ("db1", 0, db1 + ends), ("net db1 net", 0, db1 + ends + net),
            ("-t", 0, TABLE + row.format("") + net_row.format("", "ONLINE", "alpha")
             + net_row.format("", "UNKNOWN", "beta")),  # beta is not up
            ("-t -v db1", 0, WIDE + row.format("2/5    1/3    ")),
            ("-t -v net", 0, WIDE + net_row.format(" -     /      ", "ONLINE", "alpha")
             + net_row.format(" -     4/     ", "UNKNOWN", "beta")),
            ("-ls", 0, RIGHTS + "".join(f"{name:15}{'root':15}{'root':25}rwxr-xr--\n"
                                        for name in ("db1", "net"))),
            ("-v db1", 0, db1 + auto + counts + ends),
            ("-f db1", 0, db1 + EVERYONE + "\n" + auto + counts + ends),
            ("-p db1", 0, db1 + EVERYONE + "\n" + auto + threshold + attempts + "\n"), ("-t -q", 0, ""),
            ("-g db1", 0, ""), ("-r net -c alpha", 0, ""), ("-r net -c beta", 1, "")])

    def test_members(self):
        self.serve(net=NET, db1=DB1)
        outcome = self.node.run("-t", "-c", "beta")
        self.assertEqual(outcome.status, 0)
        self.assertIn(b"beta", outcome.out)
        self.assertNotIn(b"alpha", outcome.out)
        self.shows([("-c nowhere", 230, numbered(230, "no member [nowhere]").decode())])

    def test_resources_that_are_not_there(self):
        self.serve(db1=DB1)
        db1 = "NAME=db1\nTYPE=application\nTARGET=ONLINE\nSTATE=ONLINE on alpha\n\n"
        missing = numbered(210, "no [x]").decode()
        self.shows([("db1 x", 210, db1 + missing), ("-ls x", 210, missing), ("-g x", 210, "")])
        self.node.vornreg("unregister", "db1")
        self.eventually(numbered(202, "nothing here").decode())

class Changes(DaemonTest):
    def test_resources_change_while_it_runs(self):
        self.serve(db1=DB1)
        block = "NAME={}\nTYPE=t\nSTATE={} on alpha\n\n"
        self.node.register(db1=["TYPE=t", "STATE@alpha=OFFLINE", EVERYONE])
        self.eventually(block.format("db1", "OFFLINE"))
        self.node.vornreg("state", "db1", "ONLINE", "--node", "alpha")
        self.node.register(**{"a.1": ["TYPE=t", "STATE@alpha=ONLINE", EVERYONE]})
        self.eventually(block.format("a.1", "ONLINE") + block.format("db1", "ONLINE"))
        away = self.node.folder / "away"
        (self.node.folder / "zks").rename(away)
        self.daemon.send_signal(signal.SIGHUP)
        self.until(lambda: b"the registry is away" in self.daemon_log())
        self.eventually(block.format("a.1", "ONLINE") + block.format("db1", "ONLINE"))
        self.node.register(new=["TYPE=t", "STATE@alpha=ONLINE", EVERYONE])
        self.daemon.send_signal(signal.SIGHUP)
        self.eventually(block.format("new", "ONLINE"))

    def test_checks_keep_states_and_end_with_the_daemon(self):
        self.script("web", "test \"$*\" = check -a -e up")
        self.script("stuck", "trap '' TERM\nsetsid sh -c 'echo $$ >>pids; sleep 1000' &\n"
                             "echo $$ >>pids; sleep 1000")
        checked = ["TYPE=t", "CHECK_INTERVAL=1", EVERYONE]
        self.serve(web=[*checked, "ACTION_SCRIPT=web"],
                   stuck=[*checked, "ACTION_SCRIPT=stuck", "STATE@alpha=ONLINE"],
                   other=[*checked, "ACTION_SCRIPT=web", "HOSTING_MEMBERS=beta"])
        block = ("NAME=other\nTYPE=t\n\nNAME=stuck\nTYPE=t\nSTATE=ONLINE on alpha\n\n"
                 "NAME=web\nTYPE=t\nSTATE={} on alpha\n\n")
        self.eventually(block.format("OFFLINE"))
        (self.node.folder / "up").touch()
        self.eventually(block.format("ONLINE"))
        pids = self.node.folder / "pids"
        self.until(lambda: pids.exists() and len(pids.read_text().split()) == 2)
        self.assertEqual(self.end(signal.SIGKILL), -signal.SIGKILL)
        self.until(lambda: not any(pathlib.Path("/proc", pid).exists()
                                   for pid in pids.read_text().split()))

    def test_twenty_thousand_resources(self):
        self.node.register()
        folder = self.node.folder / "profiles"
        for number in range(20_000):
            (folder / f"r{number:05}").write_text(
                f"NAME=r{number:05}\nTYPE=t\nSTATE@alpha=ONLINE\n{EVERYONE}\n")
        self.node.vornreg("register", *sorted(folder.iterdir()))
        self.start()
        outcome = self.node.run("-t")
        rows = outcome.out.decode().splitlines()[2:]
        self.assertEqual((outcome.status, outcome.err), (0, b""))
        self.assertEqual([row[:6] for row in rows], [f"r{number:05}" for number in range(20_000)])
        # A client that asks for all of it and takes nothing may not hold up the end.
        self.ends_soon([self.connect(frame(box("UI_STAT", {})))])

    def test_its_end_and_its_endpoint(self):
        self.serve(db1=DB1)
        self.assertTrue(self.node.endpoint.is_socket())
        self.assertEqual(self.end(), 0)
        self.assertFalse(self.node.endpoint.exists())
        self.check(self.node.run(), 184, "", numbered(184, "the request failed"))
        self.start()
        self.assertEqual(self.end(signal.SIGKILL), -signal.SIGKILL)
        self.assertTrue(self.node.endpoint.is_socket())
        self.check(self.node.run(), 184, "", numbered(184, "the request failed"))
        self.start()
        self.assertEqual(self.node.run("-g", "db1").status, 0)
        second = subprocess.run([harness.BIN / "vornd"], env=self.node.environment(),
                                capture_output=True, timeout=LIMIT, check=False)
        self.assertNotEqual(second.returncode, 0)
        self.assertEqual(self.node.run("-g", "db1").status, 0)


class Clients(DaemonTest):
    def received(self, client):
        """All that comes until the daemon ends the connection."""
        client.shutdown(socket.SHUT_WR)
        data = b""
        with contextlib.suppress(ConnectionResetError):
            while more := client.recv(65536):
                data += more
        return data

    def test_malformed_requests_harm_nobody_else(self):
        self.serve(db1=DB1)
        good = frame(box("UI_STAT", {"VERB_TAG": "0", "LOCALE": ""}))
        self.assertIn(b"db1", self.received(self.connect(good)))
        deep = (ub4(1) + string("") + string("k") + string("Container")) * 100_000
        content = good[HEADER:]
        for data in (b"", good[:3], good[:100], good[:-1], b"\xff" * 500, bytes(500),
                     envelope(content, claimed=2**32 - 1), envelope(content, claimed=5),
                     envelope(content, claimed=len(content) + 1), envelope(b""), envelope(deep),
                     envelope(ub4(2**31 - 1) + string("UI_STAT")), envelope(ub4(1) + ub4(1000)),
                     envelope(content, b"C" * 72),
                     frame("text"), frame(box("OTHER", {})), frame(Box()),
                     frame(box("UI_STAT", {"RESOURCE": {"a": "b"}, "HOST": {}, "PRINT_TAG": "1"})),
                     frame(box("UI_STAT", {"RESOURCE": "\1" * 5000})),
                     frame(box("UI_STAT", {"RESOURCE": "n" * 2_000_000}))):
            with self.subTest(data=data[:8], size=len(data)):
                with contextlib.suppress(BrokenPipeError, ConnectionResetError):
                    self.received(self.connect(data))
                self.shows([("-g db1", 0, "")])

    def test_many_at_once_beside_idle_ones(self):
        self.serve(db1=DB1, net=NET)
        idle = [self.connect(data) for data in (b"", b"\x90", bytes(48)) for _ in range(15)]
        expected = self.node.run("-t").out
        self.assertIn(b"db1", expected)
        with ThreadPoolExecutor(12) as pool:
            for outcome in pool.map(lambda _: self.node.run("-t"), range(60)):
                self.check(outcome, 0, expected)
        self.ends_soon(idle)


@unittest.skipUnless(harness.AS_ROOT, "changes users")
class Rights(DaemonTest):
    def test_a_user_without_the_right(self):
        open_to = lambda other: ["TYPE=t", "STATE@alpha=ONLINE",
                                 f"ACL=owner:root:rwx,pgrp:root:r-x,other::{other}"]
        self.serve(open=open_to("r--"), shut=open_to("-wx"), none=["TYPE=t", "STATE@alpha=ONLINE"])
        block = lambda name: f"NAME={name}\nTYPE=t\nSTATE=ONLINE on alpha\n\n"
        withheld = numbered(213, "withheld [shut]").decode()
        nobody = dict(user=NOBODY, group=NOBODY, extra_groups=[])
        both = numbered(213, "withheld [none]").decode() + withheld
        row = f"{'open':15}{'t':25}{'ONLINE':10}{'alpha':12}\n"
        self.shows([("open shut", 213, block("open") + withheld), ("-p shut", 213, withheld),
                    ("-t", 213, TABLE + row + both), ("-t -c beta", 213, both),
                    ("-g shut", 213, ""), ("-r shut", 1, "")], **nobody)
        self.shows([("shut none", 0, block("none") + block("shut"))])


if __name__ == "__main__":
    unittest.main()
