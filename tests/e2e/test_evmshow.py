"""The tools for event records: what evmpost writes, and what evmshow prints of it and of what became
of it. Times are UTC."""
import os
import pathlib
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

from evmwire import EventDaemon
from harness import BIN, RUN_LIMIT, STEP_LIMIT, NodeTest, reply

ENVIRONMENT = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "TZ": "UTC0"}
TIME = 1_770_000_000  # 2026-02-02 02:40:00


def string_block(ident, text):
    text += b"\0" * (8 - len(text) % 8)
    return struct.pack("<II", ident, 8 + len(text)) + text


def checksum(record):
    total = sum(record[48:74]) + sum(record[76:])
    total = (total >> 16) + (total & 0xFFFF)
    return (total >> 16) + (total & 0xFFFF) & 0xFFFF


def record(name, body=b"", *, present=0, version=2, block_type=1, flags=0x20, size=None,
           priority=0, sum_change=0):
    """A record as it stands in a file; `size` is what it claims."""
    extension = struct.pack("<II", 512, 8) if version == 2 else b""
    body = extension + (string_block(1, name) if name else b"") + body
    present |= 2 if name else 0
    size = 112 + len(body) if size is None else size
    head = struct.pack("<IHH4BII2H6I", size, 1, 0, 9, 2, 1, 0, *[0] * 10)

    def whole(total):
        return (head + struct.pack("<HHIIIQHHIqiIqIHH", 3, block_type, size, flags, present, 0,
                                   priority, total, 0, 0, 0, 0, 0, 0, version, 0x7654) + body)
    return whole(checksum(whole(0)) + sum_change & 0xFFFF if flags & 0x20 else 0)


def line(name):
    return b'Unformatted event "%s": \n' % name


class ToolTest(unittest.TestCase):
    maxDiff = 4000

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vorn-e2e-evm-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.file = self.folder / "events"

    def tool(self, *words, stdin=b"", env=None, **options):
        done = subprocess.run([BIN / words[0], *words[1:]], input=stdin, timeout=RUN_LIMIT,
                              cwd=self.folder, env=ENVIRONMENT | (env or {}), check=False,
                              **({"stdout": subprocess.PIPE, "stderr": subprocess.PIPE} | options))
        return done.returncode, done.stdout, done.stderr


class ShowTest(ToolTest):
    def post(self, *words, stdin=b"", seconds=TIME):
        self.assertEqual(self.tool("evmpost", "-o", "events", "-i", f"timestamp={seconds}", *words,
                                   stdin=stdin), (0, b"", b""))

    def shows(self, out, *words, status=0, err=b"", **options):
        self.assertEqual(self.tool("evmshow", *words, **options), (status, out, err))

    def test_literal_record(self):
        self.post("a.b", "-p", "5")
        self.assertEqual(self.file.read_bytes(), bytes.fromhex(
            "88000000 0100 0000 09020100" + "00" * 36 + "0300 0100 88000000 20000000 22040000"
            "800e806900000000 0500 2604" + "00" * 32 + "0200 5476 00020000 08000000"
            "01000000 10000000 612e620000000000"))

    def test_forms(self):
        types = ["boolean=true", "char=c", "int16=-32768", "int32=-2147483648",
                 "int64=-9223372036854775808", "uint8=255", "uint16=65535", "uint32=4294967295",
                 "uint64=18446744073709551615", "float=1.5", "double=-2.5e+100", "string=a b=c",
                 "opaque=00ff0a"]
        variables = [word for each in types for word in ("-v", f"{each.split('=')[0]}_v:{each}")]
        self.post("a.b", *variables, "-v", "plain=", "-v", "TAV_LOG=two\nlines\n", "-p", "700",
                  "-i", "host_ip=10.0.0.255", "-i", "cluster_event=true", "-i", "PID=-3",
                  "-i", "user_name=eve\n\x1b[2J\u00e4\u009b", "-i", "repeat_count=2")
        values = (b"boolean_v=True char_v=c int16_v=-32768 int32_v=-2147483648 "
                  b"int64_v=-9223372036854775808 uint8_v=255 uint16_v=65535 uint32_v=4294967295 "
                  b"uint64_v=18446744073709551615 float_v=1.5 double_v=-2.5e+100 string_v=a b=c "
                  b"opaque_v=[OPAQUE VALUE: 3 bytes] plain= TAV_LOG=two lines  ")
        self.shows(b'[2 times] Unformatted event "a.b": ' + values + b"\n", "events")
        self.shows(b"02-Feb-2026 02:40:00 700   |10.0.0.255 True -3\n[x]\teve #[2J\xc3\xa4#|\\n\n",
                   "-t", r"@timestamp @priority%6|@host_ip @{cluster_event} @pid\n[x]\t@user_name"
                   r"|\\n", "events")
        # Even the user's own line end is told from the event's.
        for name, value in (("TAV_LOG", b"two\nlines\n"), ("opaque_v", b"\0\xff\n"),
                            ("int16_v", b"-32768"), ("plain", b""), ("absent", b"")):
            self.shows(value, "-v", name, "events")
        self.shows(b"two\nlines\n", "-r", "events")
        status, dump, err = self.tool("evmshow", "-d", "events")
        self.assertEqual((status, err, dump.count(b"\x1b")), (0, b"", 0))
        self.assertIn(b"    Timestamp         : 02-Feb-2026 02:40:00\n", dump)
        self.assertIn(b'    string_v (STRING) = "a b=c"\n', dump)
        self.file.unlink()
        self.post("a", "-i", "format=$x @ref", "-v", "x=\t1", "-i", "ref=\x1b]0;title\x07")
        self.shows(b" 1 #]0;title#\n", "events")
        self.shows(b"##\n", "-t", "\u00e4", "events", env={"LC_ALL": "C"})

    def test_filters(self):
        for name, priority, seconds in (("sys.a.log", 10, 0), ("sys.b.log", 200, 60),
                                        ("sys.b", 700, 3600)):
            self.post(name, "-p", str(priority), seconds=TIME + seconds)
        with self.file.open("ab") as file:
            file.write(record(b"no.items") + record(b"old.version", version=1, present=1 << 5,
                                                    priority=3) + record(b""))
        names = [b"sys.a.log", b"sys.b.log", b"sys.b", b"no.items", b"old.version", b""]
        for words, wanted in (
                ([], "012345"), (["-n", "sys.*"], "012"), (["-n", "*.log"], "01"),
                (["-n", "sys.?.*"], "012"), (["-n", "*.*s*"], "34"), (["-n", "*"], "012345"),
                (["-p", "10"], "0"), (["-p", "0-200"], "014"), (["-p", "11-700"], "12"),
                (["-p", "0-200", "-p", "10-700"], "01"),
                (["--since", str(TIME + 1)], "12"), (["--until", str(TIME + 60)], "01"),
                (["--since", "2026-02-02 02:40", "--until", "2026-02-02 02:41:00"], "01"),
                (["--since", "2026-02-02", "--until", "2026-02-02 02:40:59"], "0"),
                (["--since", "-5m"], ""), (["-n", "sys.b.*", "-n", "*.log", "-p", "200"], "1")):
            with self.subTest(words):
                expected = b"".join(line(names[int(at)] or b"(no name)") for at in wanted)
                self.shows(expected, *words, "events")
                self.shows(b"%d\n" % len(wanted), "-c", *words, stdin=self.file.read_bytes())

    def test_damage(self):
        good, next_ = record(b"good"), record(b"next.one")
        size, long = len(good), record(b"long", string_block(21, b"x" * 300), present=1 << 21)
        cases = [  # bytes in between, what is told of them
            (b"\0" * 5000, "damaged"), (b"x", "damaged"), (b"\x03\0\x01\0" * 40, "damaged"),
            (record(b"sum", sum_change=1), "damaged"), (record(b"sum", size=2**26), "damaged"),
            (record(b"big", size=2**32 - 1), "damaged"), (record(b"low", size=100), "damaged"),
            (record(b"odd", struct.pack("<II", 1, 12) + b"abc\0"), "damaged"),
            (record(b"zero", struct.pack("<II", 1, 0)), "damaged"),
            (record(b"open", struct.pack("<II", 21, 16) + b"x" * 8), "damaged"),
            (record(b"var", struct.pack("<IIIIIi", 23, 24, 12, 2**32 - 1, 9, 0)), "damaged"),
            (record(b"kind", block_type=2), "not understood"),
            (record(b"kind", block_type=4), "damaged"),
            (record(b"bad-name"), "not understood"),
            (record(b"high", priority=701, present=1 << 5), "not understood"),
            *((long[:cut], "damaged") for cut in (1, 7, 47, 49, 56, 111, 112, 119, 128, 300)),
            (good[:60] + b"junk" + record(b"sum", sum_change=1) + long[:200], "damaged")]
        both = line(b"good") + line(b"next.one")
        for between, fault in cases:
            told = b"evmshow: %%s: skipped %d bytes at %d: %s\n" % (len(between), size,
                                                                   fault.encode())
            with self.subTest(between=between[:200]):
                self.file.write_bytes(good + between + next_)
                self.shows(both, "events", status=1, err=told % b"events")
                self.shows(both, "-", status=1, err=told % b"standard input",
                           stdin=self.file.read_bytes())
        two = good + b"x" + next_ + b"yy" + next_
        self.shows(both + line(b"next.one"), "-", stdin=two, status=1, err=b"".join(
            b"evmshow: standard input: skipped %d bytes at %d: damaged\n" % region
            for region in ((1, size), (2, size + 1 + len(next_)))))

    def test_torn(self):
        good, long = record(b"good"), record(b"long", string_block(21, b"x" * 300))
        for cut in (1, 47, 48, 56, 60, 111, 112, 119, 120, 127, 300, len(long) - 1):
            self.shows(line(b"good"), "-", stdin=good + long[:cut], status=1,
                       err=b"evmshow: standard input: skipped %d bytes at %d: torn at the end\n"
                       % (cut, len(good)))
        self.shows(b"", "-", stdin=record(b"big", size=2**26), status=1,
                   err=b"evmshow: standard input: skipped 144 bytes at 0: torn at the end\n"
                   .replace(b"144", b"%d" % len(record(b"big"))))

    def test_files_and_failures(self):
        self.post("a")
        (self.folder / "empty").touch()
        self.shows(b"", "empty")
        self.shows(b"0\n", "-c")
        self.shows(line(b"a") * 3, "events", "-", "events", stdin=self.file.read_bytes())
        self.shows(line(b"a") * 2, "events", "absent", ".", "events", status=3, err=(
            b"evmshow: absent: No such file or directory\nevmshow: .: Is a directory\n"))
        for words in (["-x"], ["-t"], ["-d", "-c"], ["-n", "a..b"], ["-p", "701"], ["-p", "5-4"],
                      ["--since", "soon"], ["-f"], ["-f", "-"], ["-f", "-c", "events"], ["-v", "-"]):
            status, out, err = self.tool("evmshow", *words)
            self.assertEqual((status, out, err.count(b"Usage:"), err[:9]),
                             (2, b"", 1, b"evmshow: "), words)
        with open("/dev/full", "wb") as full:
            status, _, err = self.tool("evmshow", "events", stdout=full)
        self.assertEqual((status, err),
                         (3, b"evmshow: standard output: No space left on device\n"))
        reader, writer = os.pipe()
        os.close(reader)
        status, _, err = self.tool("evmshow", "events", stdout=writer)
        os.close(writer)
        self.assertEqual((status, err), (3, b"evmshow: standard output: Broken pipe\n"))

    def test_evmpost(self):
        self.post("lines", "-i", "format=<$message>", "--stdin", stdin=b"one\n\nlast")
        self.shows(b"<one>\n<>\n<last>\n", "events")
        status, out, err = self.tool("evmpost", "-o", "-", "a", "--stdin",
                                     stdin=b"x" * (2**20 + 1) + b"\na\0b\nok")
        self.assertEqual((status, err), (1, b"evmpost: line 1 was not posted: it is too long\n"
                                         b"evmpost: line 2 was not posted: it contains a NUL\n"))
        self.shows(b"ok\n", "-t", "$message", stdin=out)
        status, out, _ = self.tool("evmpost", "-o", "-", "a")
        self.assertEqual(status, 0)
        self.shows(b"1\n", "-c", "--since", "-1h", stdin=out)
        for words in ([], ["a", "b"], ["a..b"], [""], ["a", "-p", "701"], ["a", "-i", "name=b"],
                      ["a", "-i", "var=1"], ["a", "-i", "pid"], ["a", "-i", "host_ip=1.2.3"],
                      ["a", "-i", "host_ip=1.2.3.256"], ["a", "-i", "event_id=-1"],
                      ["a", "-v", "x"], ["a", "-v", "x-y=1"], ["a", "-v", "x:int8=1"],
                      ["a", "-v", "x:int16=32768"], ["a", "-v", "x:uint8=-1"],
                      ["a", "-v", "x:boolean=yes"], ["a", "-v", "x:opaque=0"], ["a", "--post"]):
            status, out, err = self.tool("evmpost", *words)
            self.assertEqual((status, out, err.count(b"Usage:")), (2, b"", 1), words)
        status, out, err = self.tool("evmpost", "-o", "absent/x", "a")
        self.assertEqual((status, err), (1, b"evmpost: absent/x: No such file or directory\n"))
        with open("/dev/full", "wb") as full:
            status, _, err = self.tool("evmpost", "-o", "-", "a", stdout=full)
        self.assertEqual((status, err),
                         (1, b"evmpost: standard output: No space left on device\n"))
        (self.folder / "node.conf").write_text("runtime_dir = run\nlog_dir = log\n")
        status, _, err = self.tool("evmpost", "a",
                                   env={"VORN_NODE_CONF": str(self.folder / "node.conf")})
        self.assertEqual((status, err), (
            3, b"evmpost: the event daemon cannot be reached: Connection error\n"))


class FollowTest(ToolTest):
    """A file that grows while it is shown. Every step waits for what the step before must print."""

    def start(self):
        self.output = self.folder / "output"
        with self.output.open("wb") as out:
            self.follower = subprocess.Popen([BIN / "evmshow", "-f", "events", "-t", "@name"],
                                             cwd=self.folder, env=ENVIRONMENT, stdout=out,
                                             stderr=subprocess.PIPE)
        self.addCleanup(self.end)

    def end(self):
        self.follower.kill()
        self.follower.communicate()

    def await_names(self, *names):
        expected, limit = b"".join(name + b"\n" for name in names), time.monotonic() + STEP_LIMIT
        while (shown := self.output.read_bytes()) != expected:
            self.assertTrue(expected.startswith(shown) and time.monotonic() < limit,
                            (shown, expected))
            time.sleep(0.01)

    def append(self, *parts, to=None):
        for part in parts:
            with (to or self.file).open("ab", buffering=0) as file:
                file.write(part)

    def stop(self, number, status, err):
        self.follower.send_signal(number)
        told = self.follower.communicate(timeout=STEP_LIMIT)[1]
        self.assertEqual((self.follower.returncode, told), (status, err))

    def rotate(self, count=1):
        for number in range(count, 1, -1):
            (self.folder / f"events.{number - 1}").rename(self.folder / f"events.{number}")
        self.file.rename(self.folder / "events.1")

    def test_growth_and_rotation(self):
        self.append(record(b"a"))
        self.start()
        self.await_names(b"a")
        self.append(record(b"b")[:70], record(b"b")[70:], record(b"c"))
        self.await_names(b"a", b"b", b"c")
        old = self.file.open("ab", buffering=0)
        self.rotate()
        old.write(record(b"d"))
        self.await_names(b"a", b"b", b"c", b"d")
        self.append(record(b"e"))
        self.await_names(b"a", b"b", b"c", b"d", b"e")
        old.close()
        # Several rotations between two looks.
        self.follower.send_signal(signal.SIGSTOP)
        for count, name in ((2, b"f"), (3, b"g"), (4, b"h")):
            self.append(record(b"late." + name))
            self.rotate(count)
            self.append(record(name))
        self.follower.send_signal(signal.SIGCONT)
        rest = [name for each in (b"f", b"g", b"h") for name in (b"late." + each, each)]
        self.await_names(b"a", b"b", b"c", b"d", b"e", *rest)
        self.stop(signal.SIGTERM, 0, b"")

    def test_damage_and_cut_tails(self):
        size = len(record(b"a"))
        self.append(record(b"a"))
        self.start()
        self.await_names(b"a")
        # A writer that could not finish a record cuts it off and writes the next one.
        self.append(record(b"torn", b"\0" * 800)[:500])
        os.truncate(self.file, size)
        self.append(record(b"b"))
        self.await_names(b"a", b"b")
        self.append(b"junk" * 30, record(b"c"))
        self.await_names(b"a", b"b", b"c")
        self.rotate()
        self.append(record(b"d"))
        self.await_names(b"a", b"b", b"c", b"d")
        self.assertEqual(self.follower.stderr.readline(), (
            b"evmshow: events: skipped 120 bytes at %d: damaged\n" % (2 * size)))
        self.file.write_bytes(b"")
        self.assertIn(b"the file became shorter", self.follower.stderr.readline())
        self.append(record(b"e"))
        self.await_names(b"a", b"b", b"c", b"d", b"e")
        self.stop(signal.SIGINT, 1, b"")

    def test_reader_gone(self):
        self.append(record(b"a"))
        reader, writer = os.pipe()
        follower = subprocess.Popen([BIN / "evmshow", "-f", "events"], cwd=self.folder,
                                    env=ENVIRONMENT, stdout=writer, stderr=subprocess.DEVNULL)
        os.close(writer)
        self.assertEqual(os.read(reader, 100), line(b"a"))
        os.close(reader)
        self.assertEqual(follower.wait(STEP_LIMIT), 3)


class DaemonTest(NodeTest):
    def tool(self, *words, **options):
        return subprocess.run([BIN / words[0], *words[1:]], env=self.node.environment(),
                              cwd=self.node.folder, timeout=RUN_LIMIT, check=True,
                              stdout=subprocess.PIPE, **options).stdout

    def test_posted_events_are_what_the_command_would_print(self):
        daemon = EventDaemon(self.node)
        self.addCleanup(daemon.end)
        self.tool("evmpost", "lines", "--stdin", input=b"1\n2\n3\n")
        answer = reply({name: {"NAME": name, "TYPE": "x\ty", "TARGET": {"": "ONLINE"},
                              "STATE": {"alpha": "ONLINE"}} for name in ("db1", "web\u00e4")})
        printed = self.node.ask(answer, "-t")
        self.assertIn(b"db1", printed.out)
        self.check(self.node.ask(answer, "-q", "-t"))
        for words, expected in ((["-r"], printed.out), (["-v", "message"], b"123"),
                                (["-n", "lines", "-c", "--since", "-1h"], b"3\n")):
            self.assertEqual(self.tool("evmshow", *words, "run/evmd.events"), expected)


if __name__ == "__main__":
    sys.exit(unittest.main())
