"""The registering tool through the real binary: what it prints, its statuses, and what it leaves."""
import signal
import subprocess
import time
import unittest
from concurrent.futures import ThreadPoolExecutor

import harness
from harness import NOBODY, NodeTest

LIMIT = 60.0
FAILED, USAGE, NOT_THERE, ALREADY, DENIED, UNAVAILABLE = range(1, 7)
ACL = "ACL=owner:root:rwx,pgrp:root:r-x,other::r--"
DB1 = f"NAME=db1\nTYPE=application\nAUTO_START=always\nSTATE@alpha=ONLINE\nTARGET=ONLINE\n{ACL}\n"


class RegisterTest(NodeTest):
    def setUp(self):
        super().setUp()
        self.run_tool("init")

    def run_tool(self, *arguments, env=None, **options):
        options = {"stdin": subprocess.DEVNULL, "timeout": LIMIT} | options
        done = subprocess.run([harness.BIN / "vornreg", *arguments], check=False,
                              env=self.node.environment(env), cwd=self.node.folder,
                              capture_output=True, **options)
        return harness.Outcome(done.returncode, done.stdout, done.stderr, 0)

    def start_tool(self, *arguments):
        return subprocess.Popen([harness.BIN / "vornreg", *arguments], cwd=self.node.folder,
                                env=self.node.environment(), stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)

    def profile(self, text, file="p.cap"):
        content = text if isinstance(text, bytes) else text.encode()
        (self.node.folder / file).write_bytes(content)
        return file

    def register(self, *texts, status=0):
        files = [self.profile(text, f"{number}.cap") for number, text in enumerate(texts)]
        self.assertEqual(self.run_tool("register", *files).status, status)

    def does(self, table, **options):
        """Rows of arguments, status, standard output and standard error."""
        for arguments, status, out, err in table:
            words = arguments.split() if isinstance(arguments, str) else arguments
            with self.subTest(arguments=arguments):
                self.check(self.run_tool(*words, **options), status, out, err and err + "\n")

    @property
    def store(self):
        return f"dir:{self.node.folder}/zks"

    def many(self, count, marker):
        """Profiles of resources with a dozen attributes."""
        folder = self.node.folder / "many"
        folder.mkdir(exist_ok=True)
        for number in range(count):
            lines = "".join(f"A{index}={marker}\n" for index in range(10))
            (folder / f"{number:04}.cap").write_text(
                f"NAME=r.{number:04}\nTYPE=t\n{lines}{ACL}\n")
        return [str(path) for path in sorted(folder.iterdir())]

    def whole(self, name, marker):
        lines = "".join(f"A{index}={marker}\n" for index in range(10))
        return (f"NAME={name}\nTYPE=t\n{lines}AUTO_START=restore\n{ACL}\n").encode()


class Resources(RegisterTest):
    def test_the_life_of_a_resource(self):
        acl = "owner:root:rwx,other::---"
        self.register(DB1, "NAME=a.b c\xe9\nTYPE=t\nX= two  blanks \nCURRENT_FAILURE@beta=2\n")
        odd = "a.b c\xe9"
        self.does([
            ("list", 0, f"{odd}\ndb1\n", ""),
            ("list -l", 0, "NAME     TYPE         TARGET  STATE\n"
                           f"{odd}  t            -       -\n"
                           "db1      application  ONLINE  alpha:ONLINE\n", ""),
            ("show db1", 0, DB1, ""),
            (["show", odd], 0, f"NAME={odd}\nTYPE=t\nAUTO_START=restore\nCURRENT_FAILURE@beta=2\n"
                               "X= two  blanks \n", ""),
            ("register 0.cap", ALREADY, "", "vornreg: db1: already registered\n"
                                            "vornreg: nothing was registered"),
            ("state db1 OFFLINE --node Beta.site", 0, "", ""), ("target db1 OFFLINE", 0, "", ""),
            ("set db1 CHECK_INTERVAL -5", 0, "", ""), ("acl db1", 0, ACL[4:] + "\n", ""),
            (["acl", "db1", acl], 0, "", ""),
            ("show db1", 0, "NAME=db1\nTYPE=application\nAUTO_START=always\nCHECK_INTERVAL=-5\n"
                            "STATE@alpha=ONLINE\nSTATE@beta=OFFLINE\nTARGET=OFFLINE\n"
                            f"ACL={acl}\n", ""),
            ("register --replace 0.cap", 0, "", ""), ("show db1", 0, DB1, ""),
            (["acl", "db1", ""], 0, "", ""),
            ("acl db1", NOT_THERE, "", "vornreg: db1: no access-control list"),
            ("show db1", 0, DB1.replace(ACL + "\n", ""), ""),
            (["unregister", "x", "db1", odd], NOT_THERE, "", "vornreg: x: not registered"),
            ("list", 0, "", ""), ("key list VORN.SEC", 0, "", "")])

    def test_a_profile_on_standard_input(self):
        shown = self.run_tool("register", "-", stdin=None, input=DB1.encode())
        self.check(shown)
        self.does([("show db1", 0, DB1, "")])
        self.check(self.run_tool("register", "-", stdin=None, input=bytes(300_000)), FAILED, "",
                   "vornreg: -: larger than 262144 bytes\nvornreg: nothing was registered\n")

    def test_bad_profiles_leave_nothing_behind(self):
        good = self.profile(DB1, "good.cap")
        for content, reason in [
                ("NAME=x\nTYPE=t\nno\x1b equals\n", "line 3: no '=' in 'no? equals'"),
                ("NAME=x\n", "TYPE is missing"), ("", "NAME is missing"),
                ("NAME=x\nTYPE=t\nTYPE=u\n", "line 3: 'TYPE' is given twice"),
                ("NAME=x!y\nTYPE=t\n", "a name cannot have a '!'"),
                ("NAME=x\nTYPE=t\nA.B=1\n",
                 "line 3: the name 'A.B' has a character that names cannot have"),
                ("NAME=x\nTYPE=t\nIS_UNREGISTERING=1\n",
                 "IS_UNREGISTERING is no attribute of a profile"),
                (DB1, "NAME 'db1' is also in good.cap")]:
            with self.subTest(content=content):
                bad = self.profile(content, "bad.cap")
                self.check(self.run_tool("register", good, bad), FAILED, "",
                           f"vornreg: bad.cap: {reason}\nvornreg: nothing was registered\n")
        # What only the registry can refuse is found after other resources have been built.
        for content in (f"NAME={chr(255) * 86}\nTYPE=t\n{ACL}\n",
                        f"NAME=x\nTYPE=t\nA={'v' * 65535}\n{ACL}\n"):
            outcome = self.run_tool("register", good, self.profile(content, "bad.cap"))
            self.assertEqual((outcome.status, outcome.err.count(b"\n")), (FAILED, 1))
        self.does([("list", 0, "", ""), ("key list VORN.STAGE.node1", 0, "", ""),
                   ("key list VORN.SEC", 0, "", "")])

    def test_an_acl_that_nobody_understands_is_told(self):
        told = "the ACL is not understood; administrators alone will read"
        self.profile("NAME=x\nTYPE=t\nACL=any\n")
        self.does([("register p.cap", 0, "", f"vornreg: p.cap: {told} x"),
                   ("acl x some", 0, "", f"vornreg: x: {told} it"), ("acl x", 0, "some\n", ""),
                   (["acl", "x", "a\nb"], FAILED, "",
                    "vornreg: x: no sound resource: no '=' in 'b'")])

    def test_what_others_wrote(self):
        self.register(DB1)
        self.does([
            (["key", "set", "VORN.CUR.db1.X", "one\ntwo"], 0, "", ""),
            ("show db1", FAILED, "", "vornreg: db1: no sound resource: no '=' in 'two'"),
            (["key", "set", "VORN.CUR.db1.X", "one\r"], 0, "", ""),
            ("show db1", FAILED, "", "vornreg: db1: a profile cannot say what it holds"),
            (["key", "set", "VORN.CUR.db1.TYPE", "\x1b[2J"], 0, "", ""),
            ("list -l", 0, "NAME  TYPE  TARGET  STATE\ndb1   ?[2J  ONLINE  alpha:ONLINE\n", ""),
            # An unregistering that was killed half-way is taken to its end.
            ("key set VORN.CUR.db1.IS_UNREGISTERING 1", 0, "", ""), ("list", 0, "", ""),
            ("show db1", NOT_THERE, "", "vornreg: db1: not registered"),
            ("register 0.cap", 0, "", ""), ("show db1", 0, DB1, ""),
            ("key set VORN.CUR.db1.IS_UNREGISTERING 1", 0, "", ""), ("unregister db1", 0, "", ""),
            ("key list VORN.CUR", 0, "", "")])


class Settings(RegisterTest):
    def test_what_init_makes(self):
        node = self.node
        (node.folder / "fresh").mkdir()
        conf = node.folder / "fresh.conf"
        conf.write_text("node_name=beta\nnode_number=2\nnodes=2:beta\ncluster_registry=dir:fresh/zks\n"
                        "local_registry=dir:fresh/zkl\nlog_dir=log\nruntime_dir=run\n")
        env = {"VORN_NODE_CONF": str(conf), "ZEL_VORN_HOME": "/some/home"}
        self.does([
            ("init -v", 0, f"made the cluster registry dir:{node.folder}/fresh/zks\n"
                           f"made the local registry dir:{node.folder}/fresh/zkl\n"
                           "made SYSTEM.vorn._VORN_CONFIG_VERSION\n"
                           "made SYSTEM.ZEL_VORN_HOME for /some/home\n"
                           "made the resource roots VORN.CUR VORN.HIS VORN.SEC VORN.STAGE.node2\n",
             ""),
            ("init --verbose", 0, "", ""), ("key get SYSTEM.ZEL_VORN_HOME", 0, "/some/home\n", ""),
            ("key get SYSTEM.vorn._VORN_CONFIG_VERSION", 0, "1\n", ""),
            ("key delete --tree VORN.HIS", 0, "", ""),
            ("init -v", 0, "made the resource roots VORN.HIS\n", "")], env=env)
        self.does([("init -v", 0, "", "")], env=env | {"ZEL_VORN_HOME": "/other"})

    def test_keys_and_levels(self):
        self.does([
            ("level comm", NOT_THERE, "", "vornreg: comm: no level is set"),
            ("level comm 3", 0, "", ""), ("level COMM", 0, "3\n", ""),
            ("key get SYSTEM.vorn.debug.alpha.COMM", 0, "3\n", ""),
            ("level comm 6", USAGE, "", "vornreg: '6' is no level; levels are 0 to 5"),
            ("level a.b 3", USAGE, "", "vornreg: 'a.b' is no name of a module"),
            (["key", "set", "A.b c", "--x"], 0, "", ""), ("key set A.d e", 0, "", ""),
            ("key list A", 0, "b c\nd\n", ""), ("key list -l A", 0, "b c=--x\nd=e\n", ""),
            ("key get A.none", NOT_THERE, "", "vornreg: A.none: cannot open key \"A.none\" of "
                                              f"{self.store}: no such key"),
            ("key delete A", FAILED, "", "vornreg: A: it has sub-keys; --tree deletes them too"),
            ("key delete A.d", 0, "", ""), ("key delete --tree A", 0, "", ""),
            ("key list A", NOT_THERE, "", f"vornreg: A: cannot open key \"A\" of "
                                          f"{self.store}: no such key")])

    def test_command_lines_that_cannot_be_meant(self):
        self.register(DB1)
        self.does([
            ("", USAGE, "", "vornreg: no sub-command is given; see vornreg --help"),
            ("lst", USAGE, "", "vornreg: no sub-command is named 'lst'; see vornreg --help"),
            ("key", USAGE, "", "vornreg: key: something is missing; see vornreg key --help"),
            ("key x", USAGE, "", "vornreg: key: no sub-command is named 'x'; "
                                 "see vornreg key --help"),
            ("list x", USAGE, "", "vornreg: list: 'x' is too much; see vornreg list --help"),
            ("list -lx", USAGE, "", "vornreg: list: unknown option -x; see vornreg list --help"),
            ("state db1 ONLINE --nod", USAGE, "", "vornreg: state: --nod needs a value; "
                                                  "see vornreg state --help"),
            ("register --force p", USAGE, "", "vornreg: register: unknown option --force; "
                                              "see vornreg register --help"),
            ("state db1 UP", USAGE, "", "vornreg: 'UP' is no STATE; there are ONLINE, OFFLINE, "
                                        "UNKNOWN"),
            ("target db1 UNKNOWN", USAGE, "", "vornreg: 'UNKNOWN' is no TARGET; there are ONLINE, "
                                              "OFFLINE"),
            ("state db1 ONLINE --node gamma", FAILED, "", "vornreg: 'gamma' is no configured node; "
                                                          "there are alpha, beta"),
            ("set db1 STATE@alpha x", USAGE, "", "vornreg: set: STATE is set with vornreg state"),
            ("set db1 NAME x", USAGE, "", "vornreg: set: NAME cannot be set"),
            ("set db1 A.B x", FAILED, "", "vornreg: db1: no sound resource: the name 'A.B' has a "
                                          "character that names cannot have"),
            ("set db2 A x", NOT_THERE, "", "vornreg: db2: not registered"),
            ("show a!b", NOT_THERE, "", "vornreg: a!b: not registered")])
        self.assertIn(b"\n  vornreg register [--replace] FILE...", self.run_tool("--help").out)
        for words in ("register", "key get", "key"):
            outcome = self.run_tool(*words.split(), "--help")
            self.assertEqual((outcome.status, outcome.err), (0, b""))
            self.assertIn(f"vornreg {words}".encode(), outcome.out)


class Stores(RegisterTest):
    def test_stores_that_cannot_be_used(self):
        self.register(DB1)
        (self.node.runtime / "vornreg.lock").unlink()
        zks = self.node.folder / "zks"
        (zks / "DOWN").touch()
        self.does([("list", 0, "db1\n", ""), ("show db1", 0, DB1, "")])
        down = (f"vornreg: cannot open the cluster registry {self.store}: the service is down "
                "(a file DOWN stands in the store)")
        self.does([(words, UNAVAILABLE, "", down) for words in (
            "unregister db1", "state db1 OFFLINE", "register --replace 0.cap")])
        (zks / "DOWN").unlink()
        self.node.runtime.rmdir()
        self.does([("register 0.cap", FAILED, "", f"vornreg: no runtime_dir {self.node.runtime}; "
                                                  "make it or set another one in node.conf"),
                   ("register none", FAILED, "", "vornreg: none: cannot be read: No such file or "
                                                 "directory\nvornreg: nothing was registered")])
        self.does([("show db1", 0, DB1, "")])
        zks.rename(self.node.folder / "away")
        self.does([("list", UNAVAILABLE, "", f"vornreg: no cluster registry at {self.store}; "
                                             "'vornreg init' makes it")])
        self.node.conf.write_text("colour = red\n")
        self.does([("list", UNAVAILABLE, "", f"vornreg: {self.node.conf}: line 1: key 'colour': "
                                             "unknown key")])

    def test_output_that_nobody_takes(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([harness.BIN / "vornreg", "--help"], stdout=full, check=False,
                                  stderr=subprocess.PIPE, timeout=LIMIT)
        self.assertEqual((done.returncode, done.stderr),
                         (FAILED, b"vornreg: standard output cannot be written\n"))

    @unittest.skipUnless(harness.AS_ROOT, "changes users")
    def test_another_user(self):
        self.register(DB1)
        nobody = dict(user=NOBODY, group=NOBODY, extra_groups=[])
        for words in ("list", "show db1", "state db1 OFFLINE", "register 0.cap", "unregister db1",
                      "key set SYSTEM.x y", "level comm 3"):
            outcome = self.run_tool(*words.split(), **nobody)
            self.assertEqual((outcome.status, outcome.out, outcome.err.count(b"\n")),
                             (DENIED, b"", 1), (words, outcome.err))
        self.does([("show db1", 0, DB1, "")])


class Together(RegisterTest):
    def listed(self):
        return self.run_tool("list").out.decode().splitlines()

    def await_keys(self, tool, area, number):
        """Waits until so many keys stand in an area, or the tool has ended."""
        while tool.poll() is None:
            if len(self.run_tool("key", "list", area).out.splitlines()) >= number:
                return

    def test_five_hundred_at_once(self):
        files = self.many(500, "one")
        self.check(self.run_tool("register", *files))
        self.assertEqual(self.listed(), [f"r.{number:04}" for number in range(500)])
        self.check(self.run_tool("register", "--replace", *self.many(500, "two")))
        self.check(self.run_tool("show", "r.0499"), 0, self.whole("r.0499", "two"))

    def test_killed_at_any_point_no_resource_is_half_there(self):
        files = self.many(200, "one")
        seen = set()
        for area, number in [("VORN.STAGE.node1", 1), ("VORN.STAGE.node1", 100),
                             ("VORN.SEC", 1), ("VORN.SEC", 100), ("VORN.CUR", 1),
                             ("VORN.CUR", 100)]:
            tool = self.start_tool("register", *files)
            self.await_keys(tool, area, number)
            tool.kill()
            tool.wait()
            tool.stderr.close()
            names = self.listed()
            seen.add(len(names))
            for name in names[:3] + names[-3:]:
                self.check(self.run_tool("show", name), 0, self.whole(name, "one"))
            if names:
                self.assertEqual(self.run_tool("unregister", *names).status, 0)
        self.assertIn(0, seen)
        self.check(self.run_tool("register", *files))
        self.assertEqual(len(self.listed()), 200)
        self.does([("key list VORN.STAGE.node1", 0, "", "")])

    def test_two_at_once_take_turns(self):
        one, two = self.many(100, "same"), self.profile(DB1)
        with ThreadPoolExecutor(4) as pool:
            runs = [pool.submit(self.run_tool, "register", *one) for _ in range(3)]
            runs.append(pool.submit(self.run_tool, "register", two))
        self.assertEqual(sorted(run.result().status for run in runs), [0, 0, ALREADY, ALREADY])
        self.assertEqual(len(self.listed()), 101)
        self.check(self.run_tool("show", "r.0050"), 0, self.whole("r.0050", "same"))


if __name__ == "__main__":
    unittest.main()
