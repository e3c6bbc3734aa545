"""What a reply's RESULT and ERROR print and how a run ends: the table of exit statuses."""
import re
import signal
import unittest

from harness import NodeTest, failed_request, installed_text, numbered, reply, shown_usage

MISSING = b"Message not found\n"
RECORD = {"TYPE": "t"}
BLOCK = b"NAME=%s\nTYPE=t\n\n"
USAGE_ERRORS = ["-g", "-r", "-g -r db1", "-g db1 db2", "-t -f", "-t -l", "-c", "-v -c", "-c -v",
                "-c a -c b", "db1 -p", "-x", "-", "--", "-vt", "-ux", "-p -c n", "-ls -t", "-f -v",
                "-g db1 -c n", "-a db1", "-p a -ls b", "-help"]


class Messages(NodeTest):
    texts = {150: "alone", 151: "about [%s]", 202: "nothing here", 210: "no %s", 230: "member [%s]",
             255: "edge", 256: "full circle", 300: "three hundred"}

    def test_results_and_errors(self):
        alone, nothing = numbered(150, "alone"), numbered(202, "nothing here")
        about = lambda text: numbered(151, f"about [{text}]")
        block = BLOCK % b"db1"
        table = [  # children of the reply, arguments, output, status
            ({"RESULT": "150"}, "", alone, 150),
            ({"RESULT": "151"}, "", about(""), 151),
            ({"RESULT": " +0150x"}, "", alone, 150),
            ({"RESULT": "0"}, "", MISSING, 0),
            ({"RESULT": ""}, "", MISSING, 0),
            ({"RESULT": "4711"}, "", MISSING, 4711 & 255),
            ({"RESULT": "-5"}, "", MISSING, 251),
            ({"RESULT": "99999999999999999999"}, "", MISSING, 255),
            ({"RESULT": "-99999999999999999999"}, "", MISSING, 0),
            ({"RESULT": "255"}, "", numbered(255, "edge"), 255),
            ({"RESULT": "256"}, "", numbered(256, "full circle"), 0),
            ({"RESULT": "300", "db1": RECORD}, "", block + numbered(300, "three hundred"), 44),
            # The outcome is that of the last child: 202 fails the request only when it is last.
            ({"RESULT": "202"}, "", nothing, 0),
            ({"RESULT": "202", "ERROR": {"db1": "151"}}, "", about("db1") + nothing, 0),
            ({"RESULT": "202", "db1": RECORD}, "", block + nothing, 202),
            ({"RESULT": "202", "A": RECORD}, "-p", nothing, 0),
            ({"RESULT": "202", "A": RECORD, "db1": RECORD}, "-p",
             BLOCK % b"A" + block + nothing, 202),
            ({"RESULT": "230"}, "-c node7", numbered(230, "member [node7]"), 230),
            ({"RESULT": "230", "db1": RECORD}, "-l -c n", block + numbered(230, "member [n]"), 230),
            ({"ERROR": {"b": "210", "a": "151", "": "151", "RESULT": "151"}}, "",
             about("") + about("") + about("a") + numbered(210, "no b"), 210),
            ({"ERROR": {"a%s%n": "151", "b": "4711", "c": "x"}, "RESULT": "150", "db1": RECORD}, "",
             block + about("a%s%n") + MISSING * 2 + alone, 150),
            ({"ERROR": {}, "db1": RECORD}, "", block, 0),
        ]
        for children, arguments, out, status in table:
            with self.subTest(children=children, arguments=arguments):
                self.check(self.node.ask(reply(children), *arguments.split()), status, out)

    def test_every_displaying_form_prints_messages_after_its_listing(self):
        children = {"db1": RECORD, "ERROR": {"db9": "210"}, "RESULT": "150"}
        for form in ("-v", "-f", "-p", "-t", "-ls"):
            with self.subTest(form=form):
                outcome = self.node.ask(reply(children), form)
                self.assertEqual(outcome.status, 150)
                self.assertTrue(outcome.out.endswith(
                    b"\n" + numbered(210, "no db9") + numbered(150, "alone")))
                self.check(self.node.ask(reply(children), form, "-q"), 150)

    def test_questions_are_answered_by_the_status_alone(self):
        table = [  # children, status of -g, status of -r
            ({"RESULT": "0"}, 0, 0), ({"RESULT": "150"}, 150, 1), ({"RESULT": "300"}, 44, 1),
            ({"RESULT": "256"}, 0, 1), ({"RESULT": "x"}, 0, 0), ({"RESULT": "202"}, 2, 2),
            ({"RESULT": "202", "db1": RECORD}, 202, 1), ({}, 2, 2), ({"db1": RECORD}, 2, 2),
            ({"ERROR": {"db1": "210"}, "RESULT": "0"}, 210, 1),
            ({"ERROR": {"db1": "0", "db2": "150"}}, 0, 0)]
        for children, registered, running in table:
            with self.subTest(children=children):
                self.check(self.node.ask(reply(children), "-g", "db1"), registered)
                self.check(self.node.ask(reply(children), "-r", "db1", "-c", "n"), running)

    def test_the_environment_names_the_language(self):
        self.node.add_catalog("de", {150: "allein", 151: "über [%s]"})
        self.node.add_catalog("de_AT", {151: "zu [%s]"})
        both = reply({"ERROR": {"x": "151"}, "RESULT": "150"})
        english = (b"alone", b"about [x]")
        table = [({"LC_ALL": "de_AT.UTF-8"}, (b"allein", b"zu [x]")),
                 ({"LC_ALL": "", "LC_MESSAGES": "de", "LANG": "de_AT"},
                  (b"allein", "über [x]".encode())),
                 ({"LC_ALL": "fr_FR.UTF-8"}, english), ({"LC_ALL": None}, english)]
        for env, (alone, about) in table:
            with self.subTest(env=env):
                self.check(self.node.ask(both, env=env), 150,
                           numbered(151, about) + numbered(150, alone))


class Endings(NodeTest):
    def test_usage(self):
        for line in USAGE_ERRORS:
            with self.subTest(line=line):
                self.check(self.node.run(*line.split()), 1, shown_usage())
        for arguments in (["-g", ""], ["-g", "  "], ["-c", " "]):
            with self.subTest(arguments=arguments):
                self.check(self.node.run(*arguments), 1, shown_usage())

    def test_usage_in_quiet_mode_is_one_message(self):
        refused = numbered(173, installed_text(173))
        for line in ("-q -g", "-x -q", "-g db1 -q", "-c -q", "-q -t -f"):
            with self.subTest(line=line):
                self.check(self.node.run(*line.split()), 1, b"", refused)
        self.check(self.node.run("-qq"), 1, shown_usage())

    def test_a_failed_request(self):
        for arguments in ([], ["-v"], ["-t"], ["-p"], ["-f"], ["-ls"]):
            with self.subTest(arguments=arguments):
                self.check(self.node.run(*arguments), 184, b"", failed_request())
        self.check(self.node.run("-q"), 184)
        for form in ("-g", "-r"):
            self.check(self.node.run(form, "db1"), 2, b"", failed_request())

    def test_no_home(self):
        outcome = self.node.run(env={"ZEL_VORN_HOME": None})
        self.assertEqual((outcome.out.strip(), outcome.err, outcome.status), (b"", b"", 1))

    def test_a_single_node_configuration(self):
        self.node.conf.write_text(self.node.conf.read_text() + "configuration = single-node\n")
        refused = b"VORN-275: " + installed_text(275) + b"\n"
        for line in ("", "-t", "-x", "-q", "-g"):
            with self.subTest(line=line):
                self.check(self.node.run(*line.split()), 1, refused)

    def test_a_bad_node_configuration(self):
        record = re.compile(rb"category: -?\d+, operation: [^,\n]*, loc: [^,\n]*, "
                            rb"OS error: (-?\d+), other: ([^\n]*)\n")
        good = self.node.conf.read_text()
        table = [("nonsense = 1\n", b"nonsense"), ("node_number = 32\n", b"node_number")]
        for text, key in table:
            with self.subTest(text=text):
                self.node.conf.write_text(good + text)
                outcome = self.node.run("-x")
                told = record.fullmatch(outcome.err)
                self.assertIsNotNone(told, outcome.err)
                self.assertEqual((outcome.out, outcome.status), (b"", 1))
                self.assertIn(b"line %d" % (good + text).count("\n"), outcome.err)
                self.assertIn(str(self.node.conf).encode(), told[2])
                self.assertIn(b"'" + key + b"'", told[2])
        self.node.conf.unlink()
        outcome = self.node.run()
        self.assertEqual((outcome.out, outcome.status), (b"", 1))
        self.assertEqual(int(record.fullmatch(outcome.err)[1]), 2)


class HandOff(NodeTest):
    def configure(self, script):
        program = self.node.folder / "status"
        program.write_text("#!/bin/sh\n" + script)
        program.chmod(0o755)
        self.node.conf.write_text(self.node.conf.read_text() + "status_program = status\n")

    def test_the_unchanged_command_line(self):
        self.configure('printf "<%s>" "$@"; exit 7\n')
        for arguments in (["-u"], ["db1", "-u", "-t"], ["-q", "-x", "", "a b", "-u"]):
            with self.subTest(arguments=arguments):
                self.check(self.node.run(*arguments), 7, "".join(f"<{a}>" for a in arguments))
        self.check(self.node.run("-u", env={"ZEL_VORN_HOME": None}), 7, "<-u>")

    def test_its_end_is_the_commands_end(self):
        self.configure("kill -$1 $$\n")
        self.check(self.node.run("15", "-u"), 128 + signal.SIGTERM)

    def test_without_a_program(self):
        outcome = self.node.run("-u")
        self.assertEqual((outcome.out, outcome.status, outcome.err.count(b"\n")), (b"", 1, 1))


if __name__ == "__main__":
    unittest.main()
