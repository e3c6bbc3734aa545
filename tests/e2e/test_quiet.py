"""Quiet runs: nothing is printed, every text is one event, and no daemon's fault changes the run."""
import os
import pwd
import subprocess
import unittest

import harness
from evmwire import (CONNECT_RSP, KEY, POST_RSP, REFUSED, REJECTED, EventDaemon, events, head)
from harness import CLOSE, TITLES, Daemon, NodeTest, numbered, reply

EVENT_NAME, USER_NAME = 1, 20
RECORDS = {f"r{number}": {"TYPE": f"ty{number}pé", "STATE": {"alpha": "ONLINE"},
                          "TARGET": {"": "x" * number}} for number in range(40)}


class QuietTest(NodeTest):
    texts = TITLES | {184: "failed", 210: "no [%s]", 230: "no member [%s]"}

    def setUp(self):
        super().setUp()
        self.file = self.node.runtime / "evmd.events"

    def quiet(self, children, *arguments, status=0):
        script = [] if children is None else reply(children)
        self.check(self.node.ask(script, *arguments, "-q"), status)

    def posted(self):
        return [event.variables[b"TAV_LOG"] for event in events(self.file)]


class Posted(QuietTest):
    def setUp(self):
        super().setUp()
        self.evmd = EventDaemon(self.node)
        self.addCleanup(lambda: self.assertEqual(self.evmd.end(), (0, b"")))

    def test_a_listing_is_one_event(self):
        printed = self.node.ask(reply(RECORDS), "-t").out
        self.quiet(RECORDS, "-t")
        event, = events(self.file)
        self.assertEqual(event.variables, {b"TAV_LOG": printed})
        self.assertEqual(event.texts, {EVENT_NAME: b"sys.zel.clu.vorn.log.ui",
                                       USER_NAME: pwd.getpwuid(os.geteuid()).pw_name.encode()})
        self.assertGreater(event.pid, 0)
        if (harness.BIN / "evmshow").exists():
            shown = subprocess.run([harness.BIN / "evmshow", "-r", self.file], check=True,
                                   env=self.node.environment(), stdout=subprocess.PIPE).stdout
            self.assertEqual(shown, printed)

    def test_every_text_is_an_event(self):
        listing = self.node.ask(reply(RECORDS), "-v").out
        missing = {"ERROR": {"one": "210", "two": "210"}} | RECORDS
        lines = [numbered(210, f"no [{name}]")[:-1] for name in ("one", "two")]
        told = numbered(230, "no member []")[:-1]
        for children, arguments, status, texts in (({}, "-t", 0, [b""]),
                                                   (missing, "-v", 210, [listing, *lines]),
                                                   ({"RESULT": "230"}, "-f", 230, [b"", told])):
            before = len(self.posted())
            self.quiet(children, arguments, status=status)
            self.assertEqual(sorted(self.posted()[before:]), sorted(texts))
        self.check(self.node.run("-t", "-q"), 184)
        self.assertEqual(self.posted()[-1], numbered(184, "failed")[:-1])

    def test_a_large_listing(self):
        large = {f"r{number:05}": {"TYPE": "t" * 500} for number in range(6000)}
        self.quiet(large)
        self.assertEqual(self.posted(), [self.node.ask(reply(large)).out])


class NotPosted(QuietTest):
    """A run ends as without "-q" and prints nothing, whatever becomes of its events."""

    def runs(self):
        self.quiet(RECORDS, "-t")
        self.quiet({"RESULT": "230"}, status=230)
        self.quiet({"ERROR": {"one": "210"}} | RECORDS, "-v", status=210)

    def test_no_daemon(self):
        self.runs()
        (self.node.runtime / KEY).touch()
        self.runs()

    def test_a_daemon_that_refuses_breaks_off_or_dies(self):
        granted = head(CONNECT_RSP, session=5)
        for script in ([head(CONNECT_RSP, flags=REFUSED)], [head(CONNECT_RSP, flags=REFUSED), CLOSE],
                       [CLOSE], [granted, CLOSE], [granted, 0.1, CLOSE], [granted[:50], CLOSE],
                       [granted, head(POST_RSP, session=5, flags=REJECTED)],
                       [granted, head(99)], [granted, head(POST_RSP)[:80], CLOSE], [b"\0" * 100]):
            with self.subTest(script=script):
                path = self.node.runtime / KEY
                path.unlink(missing_ok=True)
                daemon = Daemon(path, script)
                try:
                    self.runs()
                    self.assertTrue(daemon.requests)
                finally:
                    daemon.stop()

    def test_a_full_disk(self):
        evmd = EventDaemon(self.node, "--file", "/dev/full")
        self.assertEqual(evmd.end(), (1, b""))
        self.assertIn(b"/dev/full", evmd.greeting)
        self.runs()


if __name__ == "__main__":
    unittest.main()
