"""A daemon, a catalog, an environment or an output that means no good: a clear end, soon."""
import os
import socket
import subprocess
import unittest

import harness
from harness import (CLOSE, NOBODY, OTHER_USER, SKIP_REQUEST, NodeTest, numbered, order,
                     reply)
from vornwire import HEADER, LARGEST, Box, body, envelope, frame, string, ub4

RECORD = {"TYPE": "application", "TARGET": {"": "ONLINE"}, "STATE": {"node1": "ONLINE"}}
GOOD = reply({"db1": RECORD, "db2": RECORD, "RESULT": "150"})
BODY = GOOD[HEADER:]
SMALL = frame(Box())
TEXT = string("TextMessage")


def nested(levels):
    """A reply of so many containers, one inside the other."""
    head = ub4(1) + string("") + string("k") + string("Container")
    return envelope(head * (levels - 1) + ub4(0) + string(""))


def entry(key=string("k"), kind=TEXT, child=string("x"), count=ub4(1), name=string("")):
    """A frame around one container with one child, any piece of which may be wrong."""
    return envelope(count + name + key + kind + child)


class HostileDaemon(NodeTest):
    texts = {150: "fine", 184: "the request failed"}

    def fails(self, outcome):
        self.check(outcome, 184, b"", numbered(184, "the request failed"))
        self.assertLess(outcome.seconds, 5)

    def test_a_frame_cut_anywhere(self):
        cuts = [*range(0, 13), 47, 48, 49, 55, 56, 127, 128, 136, 139, 140,
                *range(141, len(GOOD) - 1, 7), len(GOOD) - 1]
        for cut in cuts:
            with self.subTest(cut=cut):
                self.fails(self.node.ask([GOOD[:cut], CLOSE]))
                if cut > HEADER:  # complete as a message, cut as a tree
                    self.fails(self.node.ask(envelope(GOOD[HEADER:cut])))

    def test_frames_that_lie(self):
        size = len(BODY)
        frames = {
            "claims less": envelope(BODY, claimed=size - 1),
            "cut body, honest total": envelope(BODY[:-9], claimed=size),
            "cut body, claims too much": envelope(BODY[:-9], claimed=LARGEST - HEADER + 1),
            "claims 2^32 less header": envelope(BODY, claimed=2**32 - HEADER),
            "claims 2^32 - 1": envelope(BODY, claimed=2**32 - 1),
            "total of nothing": envelope(BODY, total=0),
            "total of a transport header": envelope(BODY, total=48),
            "no body": envelope(b""),
            "total of 2^32 - 1": envelope(BODY, total=2**32 - 1),
            "unknown root": envelope(BODY, root=b"Envelope"),
            "root without end": envelope(BODY, root=b"C" * 72),
            "text root": frame("text"),
            "garbage": b"HTTP/1.1 400 Bad Request\r\n\r\n" * 20,
            "count 2^31 - 1": entry(count=ub4(2**31 - 1)),
            "count one too many": entry(count=ub4(2)),
            "key past the end": entry(key=ub4(2**32 - 1) + b"k"),
            "text of 2^31": entry(child=ub4(2**31) + b"x"),
            "unknown kind": entry(kind=string("ListMessage")),
            "kind of 1,024 bytes": entry(kind=string("TextMessage".ljust(1024, "\0"))),
            "inner count": entry(kind=string("Container"), child=ub4(7) + string("")),
            "depth 1,001": nested(1001),
            "depth 100,000": nested(100_000),
        }
        for name, data in frames.items():
            with self.subTest(name):
                self.fails(self.node.ask([data, CLOSE]))
        self.fails(self.node.ask([order(WAIT="9"), b"\xff" * 200, CLOSE]))

    def test_frames_that_are_only_odd(self):
        frames = {
            "count 2^31": envelope(ub4(2**31) + string("")),
            "count of -1 in a record": entry(key=string("RESULT"), kind=string("Container"),
                                             child=ub4(2**32 - 1) + string("150")),
            "bytes after the root": envelope(body({}) + b"\xff" * 5000),
            "a second frame": SMALL + b"\xff" * 100,
        }
        for name, data in frames.items():
            with self.subTest(name):
                outcome = self.node.ask(data)
                self.assertIn((outcome.out, outcome.err, outcome.status),
                              [(b"", b"", 0), (numbered(150, "fine"), b"", 150)])
        self.check(self.node.ask(nested(1000)), 0, b"NAME=k\nTYPE=\n\n")

    def test_a_daemon_that_stalls(self):
        drip = [step for byte in GOOD[:20] for step in (bytes([byte]), 0.4)]
        scripts = [[GOOD[:3], 6.0], [GOOD[:-1], 6.0], drip, [order(WAIT="60"), GOOD[:140], 6.0],
                   [order(WAIT="1"), 6.0]]
        for script, outcome in zip(scripts, self.ask_together(scripts)):
            with self.subTest(script=script[:2]):
                self.fails(outcome)

    def test_a_daemon_that_does_not_listen(self):
        for script in ([CLOSE], [SKIP_REQUEST, CLOSE], [SKIP_REQUEST, GOOD[:100], CLOSE]):
            self.fails(self.node.ask(script))
        names = ["n" * 100_000] * 15
        with self.node.daemon(SKIP_REQUEST, 6.0):
            self.fails(self.node.run(*names))

    def test_an_endpoint_that_is_none(self):
        self.fails(self.node.run())
        self.node.endpoint.write_text("a file")
        self.fails(self.node.run())
        self.node.endpoint.unlink()
        dead = socket.socket(socket.AF_UNIX)
        dead.bind(str(self.node.endpoint))
        dead.close()
        self.fails(self.node.run())
        conf = self.node.conf.read_text().replace("= run\n", f"= {'d' * 120}\n")
        self.node.conf.write_text(conf)
        self.fails(self.node.run())

    @unittest.skipUnless(harness.AS_ROOT, "changes users")
    def test_whose_endpoint_it_is(self):
        answer = reply({})
        table = [  # owner of runtime_dir, daemon's user, user of the command, whether they talk
            (0, NOBODY, 0, False), (0, NOBODY, OTHER_USER, False), (0, NOBODY, NOBODY, True),
            (NOBODY, NOBODY, 0, True), (NOBODY, NOBODY, OTHER_USER, True),
            (NOBODY, OTHER_USER, NOBODY, False), (0, 0, OTHER_USER, True)]
        for row in table:
            folder, owner, user, talk = row
            os.chown(self.node.runtime, folder, -1)
            with self.subTest(row=row), self.node.daemon(answer, owner=owner) as daemon:
                outcome = self.node.run(user=user, group=user, extra_groups=[])
                if talk:
                    self.check(outcome)
                else:
                    self.fails(outcome)
                    self.assertEqual(daemon.requests, [])


class HostileCatalog(NodeTest):
    texts = {150: "a %d b %s%s%s c %n d %y %", 151: "%s|%s|%5$s|%n|%-6.2s|%*d|%%|%",
             153: "%999999s|%.999999s|%0999999d", 173: "%s%n", 184: "%s %n", 275: "%s%n %d"}

    def test_texts_are_no_formats(self):
        self.check(self.node.ask(reply({"RESULT": "150"})), 150, numbered(150, "a  b  c %n d %y %"))
        self.check(self.node.run(), 184, "", numbered(184, " %n"))
        self.check(self.node.run("-x", "-q"), 1, "", numbered(173, "%n"))
        outcome = self.node.ask(reply({"ERROR": {"name": "151"}}))
        self.assertTrue(outcome.out.startswith(b"VORN-0151: name||"), outcome.out)
        self.assertIn(b"|%n|", outcome.out)
        self.assertEqual((outcome.status, outcome.err), (151, b""))
        outcome = self.node.ask(reply({"ERROR": {"x" * 100_000: "153"}}))
        self.assertEqual((outcome.status, outcome.out[:11]), (153, b"VORN-0153: "))
        self.assertLess(len(outcome.out), 17 * 1024 * 1024)
        self.node.conf.write_text(self.node.conf.read_text() + "configuration = single-node\n")
        self.check(self.node.run(), 1, "VORN-275: %s%n %d\n")

class HostileEnvironment(NodeTest):
    texts = {150: "fine"}

    def test_languages_that_lead_elsewhere(self):
        self.node.add_catalog("../../x", {150: "stolen"})
        for name in ("../../x", "de/../../../x", "..", "/", "%s%n", "a" * 100_000, "\xff", "x\ny"):
            for variable in ("LC_ALL", "LANG"):
                with self.subTest(name=name[:20], variable=variable):
                    env = {"LC_ALL": None, variable: name}
                    outcome = self.node.ask(reply({"RESULT": "150"}), env=env)
                    self.check(outcome, 150, numbered(150, "fine"))

class HostileOutput(NodeTest):
    """A listing that does not arrive is told, and is no success; a message's number stays."""
    records = {f"r{number:05}": RECORD for number in range(5000)}

    def lost(self, status, outcome):
        self.assertEqual(outcome.status, status)
        self.assertRegex(outcome.err, rb"\Avorn_stat: cannot write standard output: [^\n]+\n\Z")

    def test_full_or_gone(self):
        reader, gone = os.pipe()
        os.close(reader)
        with open("/dev/full", "wb") as full, open(gone, "wb") as broken:
            for output in (full, broken):
                for children, status in ((self.records, 1), (self.records | {"RESULT": "150"}, 150),
                                         ({"r": RECORD}, 1), ({"ERROR": {"r": "0"}}, 1)):
                    with self.subTest(output=output.name, status=status):
                        self.lost(status, self.node.ask(reply(children), stdout=output))
                self.lost(1, self.node.run("-x", stdout=output))
                for arguments in (["-g", "db1"], ["-q"]):
                    self.check(self.node.ask(reply({"RESULT": "0"}), *arguments, stdout=output),
                               0, None)

    def test_a_reader_that_leaves_in_the_middle(self):
        with self.node.daemon(reply(self.records)):
            command = subprocess.Popen([harness.BIN / "vorn_stat"], stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE, env=self.node.environment())
            command.stdout.read(100)
            command.stdout.close()
            error = command.communicate(timeout=harness.RUN_LIMIT)[1]
            self.lost(1, harness.Outcome(command.returncode, b"", error, 0))

    def test_closed_descriptors(self):
        """What is printed may not land in a socket or file that took a closed stream's number."""
        steps = [order(MESSAGE="Starting the resources"), reply({"db1": RECORD, "RESULT": "150"})]
        for closed in ((0,), (1,), (2,), (1, 2), (0, 1, 2)):
            def close():
                for descriptor in closed:
                    os.close(descriptor)
            with self.subTest(closed=closed):
                with self.node.daemon(*steps) as daemon:
                    outcome = self.node.run(preexec_fn=close)
                self.assertEqual(outcome.status, 150)
                self.assertEqual((len(daemon.requests), daemon.surplus), (1, b""))
                self.assertNotIn(b"NAME=", self.node.logged())


if __name__ == "__main__":
    unittest.main()
