"""What the diagnostic log holds after a run, and that it holds nothing without a reason."""
import re
import unittest

from harness import CLOSE, NodeTest, order, reply
from vornwire import Box, frame

# A line end inside a text is followed by a tab.
LINE = re.compile(rb"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \[\d+\] |\t")
ALL, COMM = "ZEL_VORNDEBUG_ALL", "ZEL_VORNDEBUG_VORNCOMM"
NAME, READ = b" NAME: `UI_STAT` length=7", b" Successfully read response"
ORDER, WAITING = b" NAME: `ORDER` length=5", b" Waiting for 1 seconds"


class Logging(NodeTest):
    def log_of(self, script, *arguments, env=None):
        """The log lines of one run."""
        before = len(self.node.logged())
        outcome = self.node.ask(script, *arguments, env=env)
        lines = self.node.logged()[before:].splitlines()
        for line in lines:
            self.assertTrue(LINE.match(line), line)
        return outcome, lines

    def test_a_plain_run_writes_nothing(self):
        children = {"db1": {"TYPE": "t", "STATE": {"n": "ONLINE"}}, "ERROR": {"x": "150"}}
        for arguments in ([], ["-t", "-v"], ["-p", "db1"], ["-ls"], ["-g", "db1"]):
            self.log_of(reply(children), *arguments)
        self.log_of([order(MESSAGE="m", WAIT="5"), reply({"RESULT": "0"})])
        self.node.run("-x")
        self.assertFalse(self.node.log.exists())

    def test_levels_by_module(self):
        table = [({ALL: "1"}, True), ({COMM: "1"}, True), ({COMM: "0"}, False),
                 ({ALL: "1", COMM: "0"}, False), ({ALL: "0", COMM: "1"}, True),
                 ({ALL: "1", COMM: ""}, True), ({ALL: ""}, False), ({ALL: "x"}, False)]
        for env, written in table:
            with self.subTest(env=env):
                outcome, lines = self.log_of(reply({}), env=env)
                self.check(outcome)
                for text in (NAME, READ):
                    found = [line for line in lines if line.endswith(text)]
                    self.assertEqual(len(found), int(written), lines)
                    self.assertTrue(all(b"VORNCOMM" in line for line in found))

    def test_the_dialogue(self):
        outcome, lines = self.log_of([order(WAIT="1"), reply({})], env={COMM: "1"})
        self.check(outcome)
        told = [text for line in lines for text in (ORDER, WAITING, NAME, READ)
                if line.endswith(text)]
        self.assertEqual(told, [ORDER, WAITING, NAME, READ])
        outcome, lines = self.log_of([order(WAIT="1"), 3.0], env={COMM: "1"})
        self.assertEqual(outcome.status, 184)
        self.assertTrue(any(line.endswith(b" Response time exceeded (wait=1)") for line in lines))

    def test_errors_need_no_level(self):
        outcome, lines = self.log_of([reply({})[:150], CLOSE], env={COMM: "0"})
        self.assertEqual(outcome.status, 184)
        self.assertTrue(any(b" Error reading response " in line for line in lines), lines)
        oversized = reply({})[:136] + b"\xff\xff\xff\xff" + reply({})[140:]
        lines = self.log_of(oversized)[1]
        self.assertTrue(any(b" Strange message size " in line for line in lines), lines)

    def test_a_failed_connect(self):
        address = b"(ADDRESS=(PROTOCOL=ipc)(KEY=VORND_UI_SOCKET.alpha))"
        self.assertEqual(self.node.run(env={COMM: "1"}).status, 184)
        self.assertIn(b"Cannot connect to socket " + address + b"  ", self.node.logged())
        self.assertIn(b"clscconnect to " + address + b" failed with ret ", self.node.logged())

    def test_names_from_outside_cannot_forge_lines(self):
        forged = b"x\n2026-01-01 00:00:00.000 [1] VORNCOMM: forged"
        self.check(self.node.ask(frame(Box(forged)), env={COMM: "1"}))
        self.assertIn(b"forged", self.node.logged())
        self.assertNotIn(b"\n2026-01-01 00:00:00.000 [1]", self.node.logged())

    def test_a_log_that_cannot_be_written(self):
        (self.node.folder / "log").write_text("a file where the folder belongs")
        self.check(self.node.ask(reply({}), env={ALL: "5"}))


if __name__ == "__main__":
    unittest.main()
