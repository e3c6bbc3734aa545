"""A node in a temporary folder, a daemon that plays a script, and runs of the command."""
import atexit
import contextlib
import grp
import os
import pathlib
import re
import shutil
import socket
import struct
import subprocess
import tempfile
import threading
import time
import unittest
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass

from vornwire import box, frame, raw


def reachable(variable, default):
    """A folder of the build. Root's tests also run programs as other users, who may not enter the
    place where it was built: they get a copy."""
    folder = pathlib.Path(os.environ.get(variable, default)).resolve()
    if os.geteuid() != 0:
        return folder
    place = pathlib.Path(tempfile.mkdtemp(prefix="vorn-e2e-built-"))
    atexit.register(shutil.rmtree, place, ignore_errors=True)
    place.chmod(0o755)
    return pathlib.Path(shutil.copytree(folder, place / folder.name))


BIN = reachable("VORN_TEST_BIN", "build/bin")
HOME = reachable("VORN_TEST_HOME", "build/home")
SOURCE = pathlib.Path(__file__).resolve().parents[2]
RUN_LIMIT = 20.0
STEP_LIMIT = 30.0
AS_ROOT = os.geteuid() == 0
NOBODY, OTHER_USER = 65534, 1

CLOSE = object()  # script step: close now; what follows the script otherwise is the client's close
SKIP_REQUEST = object()  # first script step: do not read the request
USAGE = b"""\
Usage:  vorn_stat [resource_name [...]] [-v] [-l] [-q] [-c cluster_member]
        vorn_stat [resource_name [...]] -t [-v] [-q] [-c cluster_member]
        vorn_stat -p [resource_name [...]] [-q]
        vorn_stat [-a] application -g
        vorn_stat [-a] application -r [-c cluster_member]
        vorn_stat -f [resource_name [...]] [-q] [-c cluster_member]
        vorn_stat -ls [resource_name [...]] [-q]

"""

# Column titles for catalogs of the tests' own, and the table heads that they make.
TITLES = {101: "Name", 102: "Type", 103: "R/RA", 104: "F/FT", 105: "Target", 106: "State",
          107: "Host", 119: "Owner", 121: "Permission", 122: "Primary PrivGrp"}
TABLE = ("Name           Type           Target    State     Host        \n" + "-" * 60 + "\n")
WIDE = ("Name           Type           R/RA   F/FT   Target    State     Host        \n"
        + "-" * 70 + "\n")
RIGHTS = ("Name           Owner          Primary PrivGrp          Permission  \n" + "-" * 65 + "\n")


@dataclass
class Outcome:
    status: int
    out: bytes
    err: bytes
    seconds: float


def reply(children):
    return frame(box("UI_STAT", children))


def order(**entries):
    return frame(box("ORDER", entries))


def group_name(gid=None):
    try:
        return grp.getgrgid(os.getegid() if gid is None else gid).gr_name
    except KeyError:
        return ""


def installed_text(number):
    """A text of the English catalog, as its source has it."""
    source = (SOURCE / "catalogs/en/VORN.msg").read_bytes()
    quote = re.search(rb"^\$quote (.)", source, re.M)
    text = re.search(rb"^%d (.*)$" % number, source, re.M)[1]
    return text.strip(quote[1]) if quote else text


def numbered(number, text):
    """What one logged message looks like."""
    return b"VORN-%04d: %s\n\n" % (number, raw(text))


def failed_request():
    return numbered(184, installed_text(184))


def shown_usage():
    notice = installed_text(273).replace(b"%s", b"vornctl status resource")
    return notice + b"\n" + installed_text(272) + b"\n\n" + USAGE


class Daemon:
    """Listens at the node's user-interface endpoint and answers each client by a script.

    A step is bytes to send, a number of seconds to sleep, or one of the markers above.
    """

    def __init__(self, path, script, owner=None):
        self.requests, self.surplus, self.script = [], b"", script
        self.stopping = threading.Event()
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(str(path))
        path.chmod(0o777)
        # Whoever calls listen is the one that a client sees at the other end.
        if owner is not None:
            os.seteuid(owner)
        self.listener.listen(8)
        if owner is not None:
            os.seteuid(0)
        self.thread = threading.Thread(target=self._serve, daemon=True)
        self.thread.start()

    def _serve(self):
        while True:
            try:
                client = self.listener.accept()[0]
            except OSError:
                return
            client.settimeout(STEP_LIMIT)
            with client, contextlib.suppress(OSError):
                self._play(client)

    def _play(self, client):
        steps = list(self.script)
        if steps[:1] == [SKIP_REQUEST]:
            steps.pop(0)
        else:
            head = client.recv(4, socket.MSG_WAITALL)
            if len(head) < 4:
                return
            length = struct.unpack("<I", head)[0]
            self.requests.append(head + client.recv(length - 4, socket.MSG_WAITALL))
        for step in steps:
            if step is CLOSE:
                return
            if isinstance(step, bytes):
                client.sendall(step)
            else:
                self.stopping.wait(step)
        while more := client.recv(4096):
            self.surplus += more

    def stop(self):
        self.stopping.set()
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.thread.join(STEP_LIMIT)


class Node:
    """Configuration, endpoints, logs and, if texts are given, a catalog of its own."""

    def __init__(self, conf="", texts=None, name="alpha"):
        self.name = name
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vorn-e2e-"))
        self.folder.chmod(0o755)
        self.home = HOME
        self.runtime = self.folder / "run"
        self.runtime.mkdir()
        self.log = self.folder / "log/vorn_stat.log"
        self.conf = self.folder / "node.conf"
        self.conf.write_text(
            f"node_name = {name}\nnodes = 1:{name}, 2:beta\nruntime_dir = run\nlog_dir = log\n"
            f"cluster_registry = dir:zks\nlocal_registry = dir:zkl\nmessage_time = 1\n{conf}")
        if texts:
            self.home = self.folder / "home"
            self.add_catalog("en", texts)

    def remove(self):
        shutil.rmtree(self.folder)

    def add_catalog(self, language, texts):
        folder = self.home / "vorn/mesg" / language
        folder.mkdir(parents=True)
        source = folder / "VORN.msg"
        lines = (b"%d %s\n" % (number, raw(text)) for number, text in sorted(texts.items()))
        source.write_bytes(b"$set 1\n" + b"".join(lines))
        subprocess.run(["gencat", folder / "VORN.cat", source], check=True)

    @property
    def endpoint(self):
        return self.runtime / f"VORND_UI_SOCKET.{self.name}"

    def environment(self, changes=None):
        values = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8",
                  "ZEL_VORN_HOME": str(self.home), "VORN_NODE_CONF": str(self.conf)}
        values.update(changes or {})
        return {key: value for key, value in values.items() if value is not None}

    def run(self, *arguments, env=None, **options):
        options = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE,
                   "stdin": subprocess.DEVNULL, "timeout": RUN_LIMIT} | options
        start = time.monotonic()
        done = subprocess.run([BIN / "vorn_stat", *arguments], env=self.environment(env),
                              cwd=self.folder, check=False, **options)
        return Outcome(done.returncode, done.stdout, done.stderr, time.monotonic() - start)

    def vornreg(self, *arguments, **options):
        """Fills the registry as an operator would."""
        options = {"capture_output": True, "check": True, "timeout": RUN_LIMIT * 6} | options
        return subprocess.run([BIN / "vornreg", *arguments], env=self.environment(),
                              cwd=self.folder, **options)

    def register(self, **profiles):
        """Registers resources, or replaces them whole: lists of NAME=value by name."""
        self.vornreg("init")
        folder = self.folder / "profiles"
        folder.mkdir(exist_ok=True)
        for name, lines in profiles.items():
            (folder / name).write_text("\n".join([f"NAME={name}", *lines, ""]))
        if profiles:
            self.vornreg("register", "--replace", *(folder / name for name in profiles))

    def start_vornd(self):
        """The real daemon, once it serves; the caller ends it."""
        daemon = subprocess.Popen([BIN / "vornd"], env=self.environment(), cwd=self.folder,
                                  stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT)
        line = daemon.stdout.readline()
        if not line.startswith(b"vornd: serving"):
            daemon.wait(RUN_LIMIT)
            daemon.stdout.close()
            raise AssertionError(f"vornd does not serve: {line!r}")
        return daemon

    @contextlib.contextmanager
    def daemon(self, *script, owner=None):
        self.endpoint.unlink(missing_ok=True)
        daemon = Daemon(self.endpoint, script, owner)
        try:
            yield daemon
        finally:
            daemon.stop()

    def ask(self, script, *arguments, **options):
        """One run against a daemon that plays `script` (a frame, or a list of steps)."""
        steps = script if isinstance(script, list) else [script]
        with self.daemon(*steps) as daemon:
            outcome = self.run(*arguments, **options)
        if daemon.surplus:
            raise AssertionError(f"after its request the command sent {daemon.surplus!r}")
        return outcome

    def logged(self):
        return self.log.read_bytes() if self.log.exists() else b""


class NodeTest(unittest.TestCase):
    """A test case with a node; `texts` and `conf` of the class shape it."""
    texts, conf = None, ""
    maxDiff = 4000

    def setUp(self):
        self.node = self.fresh()

    def fresh(self, conf=""):
        node = Node(self.conf + conf, self.texts)
        self.addCleanup(node.remove)
        return node

    def ask_together(self, scripts, *arguments):
        """One run for each script, at the same time, each on a node of its own."""
        nodes = [self.fresh() for _ in scripts]
        with ThreadPoolExecutor(len(scripts)) as pool:
            return list(pool.map(lambda node, script: node.ask(script, *arguments), nodes, scripts))

    def check(self, outcome, status=0, out=b"", err=b""):
        out = None if out is None else raw(out)
        self.assertEqual((outcome.out, outcome.err, outcome.status), (out, raw(err), status))
