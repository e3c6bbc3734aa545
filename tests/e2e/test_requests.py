"""What travels: every usage form's request byte for byte, and replies of the sizes that matter."""
import os
import unittest

import harness
from harness import NodeTest, failed_request, group_name, reply
from vornwire import Box, HEADER, LARGEST, box, frame

JOIN = "\x01"
# Arguments, and the entries that the request carries beside those of every request.
FORMS = [
    ([], dict(VERB_TAG="0", QUIET_TAG="0", LONG_TAG="0", HOST_TAG="0")),
    (["-v", "-l", "-v"], dict(VERB_TAG="1", QUIET_TAG="0", LONG_TAG="1", HOST_TAG="0")),
    (["db2", "-q", "db1", "-c", " node7 ", "-l"],
     dict(RESOURCE="db2" + JOIN + "db1", VERB_TAG="0", QUIET_TAG="1", LONG_TAG="1", HOST_TAG="1",
          HOST="node7")),
    (["  db1 ", "\tdb2", "   ", ""],
     dict(RESOURCE=JOIN.join(["db1", "\tdb2", "", ""]), VERB_TAG="0", QUIET_TAG="0", LONG_TAG="0",
          HOST_TAG="0")),
    (["a=b=c", "=", b"\xff\xfe%s"],
     dict(RESOURCE=b"a=b=c\x01=\x01\xff\xfe%s", VERB_TAG="0", QUIET_TAG="0", LONG_TAG="0",
          HOST_TAG="0")),
    (["-t", "-v", "db1", "db2"],
     dict(RESOURCE="db1" + JOIN + "db2", VERB_TAG="1", QUIET_TAG="0", TAB_TAG="1", HOST_TAG="0")),
    (["-t", "-c", "node7", "-q"],
     dict(VERB_TAG="0", QUIET_TAG="1", TAB_TAG="1", HOST_TAG="1", HOST="node7")),
    (["-p"], dict(PRINT_TAG="1", QUIET_TAG="0")),
    (["-p", "db1", "-p", "db2", "-q"],
     dict(PRINT_TAG="1", PRINT="db1" + JOIN + "db2", QUIET_TAG="1")),
    (["-g", "db1"], dict(ISREGISTERED_TAG="1", ACTIVITY_TAG="0", RESOURCE="db1")),
    (["-a", "db1", "-g"], dict(ISREGISTERED_TAG="1", ACTIVITY_TAG="1", RESOURCE="db1")),
    (["db1", "-r"], dict(ISRUNNING_TAG="1", ACTIVITY_TAG="0", RESOURCE="db1", HOST_TAG="0")),
    (["-r", "-c", "node7", "-a", "db1"],
     dict(ISRUNNING_TAG="1", ACTIVITY_TAG="1", RESOURCE="db1", HOST_TAG="1", HOST="node7")),
    (["-f"], dict(FULL_TAG="1", QUIET_TAG="0", HOST_TAG="0")),
    (["-q", "-f", "db1", "-c", "node7"],
     dict(FULL_TAG="1", FULL="db1", QUIET_TAG="1", HOST_TAG="1", HOST="node7")),
    (["-ls"], dict(LIST_TAG="1", QUIET_TAG="0")),
    (["-ls", "db1", " db2"], dict(LIST_TAG="1", LIST="db1" + JOIN + "db2", QUIET_TAG="0")),
]


def request(entries, group):
    common = dict(TAV_VORN_LEGACY="true", LOCALE="", CLIENT_PRIMARY_GROUP=group)
    return frame(box("UI_STAT", entries | common))


class Wire(unittest.TestCase):
    def test_the_worked_example(self):
        literal = (b"\xb0\0\0\0PC\0\0\x0c\x01\0\0" + bytes(40) + b"\x09\0\0\0Container" + bytes(63)
                   + bytes(8) + b"\x24\0\0\0\x01\0\0\0\x03\0\0\0REQ\x01\0\0\0A"
                   + b"\x0b\0\0\0TextMessage\x01\0\0\0x")
        self.assertEqual(len(literal), 176)
        self.assertEqual(frame(box("REQ", {"A": "x"})), literal)


class Requests(NodeTest):
    def sent(self, *arguments, **options):
        with self.node.daemon(reply({})) as daemon:
            self.node.run(*arguments, **options)
        self.assertEqual((len(daemon.requests), daemon.surplus), (1, b""))
        return daemon.requests[0]

    def test_every_form(self):
        for arguments, entries in FORMS:
            with self.subTest(arguments=arguments):
                self.assertEqual(self.sent(*arguments), request(entries, group_name()))

    def test_no_arguments_under_groups(self):
        groups = [(os.getegid(), group_name())]
        if harness.AS_ROOT:
            groups += [(3, group_name(3)), (54321, group_name(54321))]
        for gid, name in groups:
            with self.subTest(gid=gid, name=name):
                options = dict(group=gid, extra_groups=[]) if harness.AS_ROOT else {}
                sent = self.sent(**options)
                self.assertEqual((len(sent), sent), (398 + len(name), request(FORMS[0][1], name)))

    def test_requests_around_the_growth_of_the_buffer(self):
        entries = dict(FORMS[0][1], RESOURCE="")
        base = len(request(entries, group_name())) - HEADER
        for size in (4095, 4096, 4097, 4096 + 32768, 4097 + 32768, 120000):
            name = "n" * (size - base)
            with self.subTest(size=size):
                self.assertTrue(self.sent(name) == request(entries | dict(RESOURCE=name),
                                                           group_name()))


class ReplySizes(NodeTest):
    def test_exact_sizes(self):
        bare = len(reply({"db1": {"TYPE": ""}}))
        for size in (4095, 4096, 4097, 65536, LARGEST - 1, LARGEST, LARGEST + 1):
            with self.subTest(size=size):
                kind = b"x" * (size - bare)
                answer = reply({"db1": {"TYPE": kind}})
                self.assertEqual(len(answer), size)
                outcome = self.node.ask(answer)
                if size > LARGEST:
                    self.check(outcome, 184, b"", failed_request())
                else:
                    self.assertTrue(outcome.out == b"NAME=db1\nTYPE=" + kind + b"\n\n")
                    self.assertEqual((outcome.status, outcome.err), (0, b""))

    def test_the_smallest_reply_and_bytes_in_any_portions(self):
        self.check(self.node.ask(frame(Box())))
        answer = reply({"db1": {"TYPE": "application"}})
        for cuts in ((1, 2, 3), (4, 48, 139), (140, 141), (len(answer) - 1,)):
            steps, last = [], 0
            for cut in (*cuts, len(answer)):
                steps += [answer[last:cut], 0.02]
                last = cut
            with self.subTest(cuts=cuts):
                self.check(self.node.ask(steps), 0, "NAME=db1\nTYPE=application\n\n")


if __name__ == "__main__":
    unittest.main()
