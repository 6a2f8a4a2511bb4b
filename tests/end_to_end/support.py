"""What the end-to-end scripts share: running the built command in a home of its own."""

import os
import pathlib
import plistlib
import pty
import select
import shutil
import signal
import subprocess
import tempfile
import termios
import time
import unittest

TARVEL = os.environ["TARVEL_BIN"]
SOURCE = pathlib.Path(os.environ["TARVEL_SOURCE_DIR"])
BOOKMARKS = SOURCE / "tests/data/bookmarks"
# Files of other projects, where there are any; the exit status of a test that needs them and has none.
SAMPLES = pathlib.Path(os.environ["TARVEL_SAMPLES"]) if os.environ.get("TARVEL_SAMPLES") else None
NO_SAMPLES = "other projects' files: TARVEL_SAMPLES names no folder"
SKIPPED = 77
PATIENCE = 60


class HomeTest(unittest.TestCase):
    """Each test has an empty home folder, and nothing of the user's environment."""

    def setUp(self):
        self.home = pathlib.Path(tempfile.mkdtemp(prefix="tarvel-test-"))
        self.addCleanup(shutil.rmtree, self.home)
        self.environment = {
            "HOME": str(self.home),
            "PATH": os.environ["PATH"],
            "LC_ALL": "C.UTF-8",
            "XDG_DATA_HOME": str(self.home / "data"),
            # Left out, it would be that of whoever runs this.
            "XDG_RUNTIME_DIR": str(self.home / "nothing"),
        }
        # Sanitized builds say more when they can.
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"):
            if name in os.environ:
                self.environment[name] = os.environ[name]
        self.file = self.home / "Bookmarks.plist"
        self.backup = self.initial_backup_of(self.file)

    def initial_backup_of(self, path):
        """Where the backup of a file that is not the one in the settings is kept."""
        digits = 2166136261
        for byte in os.fsencode(path.resolve()):
            digits = (digits ^ byte) * 16777619 % 2**32
        return self.home / f"data/Tarvel/Bookmarks (Initial Copy) {digits:08x}.plist"

    def tarvel(self, *arguments, **options):
        return subprocess.run(
            [TARVEL, *map(str, arguments)],
            env=self.environment,
            cwd=self.home,
            stdin=subprocess.DEVNULL if "input" not in options else None,
            capture_output=True,
            check=False,
            **options,
        )

    def write(self, root, fmt=plistlib.FMT_BINARY):
        self.file.write_bytes(plistlib.dumps(root, fmt=fmt, sort_keys=False))
        return self.file.read_bytes()

    def read(self):
        return plistlib.loads(self.file.read_bytes())

    def files(self):
        """Every file of the home, relative."""
        return sorted(p.relative_to(self.home).as_posix() for p in self.home.rglob("*") if not p.is_dir())


class Terminal:
    """The command with a terminal of its own: its controlling one, so that keys become signals."""

    def __init__(self, environment, *arguments, stdout=None):
        self.terminal, other = pty.openpty()
        self.before = termios.tcgetattr(self.terminal)
        self.shown = b""

        def own():
            os.setsid()
            # A suite that runs in the background was told to ignore them.
            for number in (signal.SIGINT, signal.SIGQUIT, signal.SIGHUP):
                signal.signal(number, signal.SIG_DFL)
            os.close(os.open(os.ttyname(2), os.O_RDWR))  # the first terminal opened is the session's own

        self.process = subprocess.Popen(
            [TARVEL, *map(str, arguments)],
            env={**environment, "TERM": environment.get("TERM", "xterm")},
            stdin=other,
            stdout=other if stdout is None else stdout,
            stderr=other,
            preexec_fn=own,
        )
        os.close(other)

    def wait_for(self, text):
        """Whether it was shown before the command ended."""
        deadline = time.monotonic() + PATIENCE
        while text is None or text not in self.shown:
            if time.monotonic() > deadline:
                self.process.kill()
                raise AssertionError(f"{text} was not shown: {self.shown}")
            if not select.select([self.terminal], [], [], 0.1)[0]:
                continue
            try:
                got = os.read(self.terminal, 65536)
            except OSError:
                return False
            if not got:
                return False
            self.shown += got
        return True

    def press(self, key):
        os.write(self.terminal, key)

    def end(self):
        """The exit status, once everything was shown."""
        self.wait_for(None)
        self.after = termios.tcgetattr(self.terminal)
        os.close(self.terminal)
        return self.process.wait(PATIENCE)


_serial = 0


def identifier():
    global _serial
    _serial += 1
    return f"00000000-0000-4000-8000-{_serial:012X}"


def leaf(title, address=None, **more):
    node = {"WebBookmarkType": "WebBookmarkTypeLeaf", "WebBookmarkUUID": identifier()}
    node["URLString"] = f"http://{title}.example/" if address is None else address
    node["URIDictionary"] = {} if title is None else {"title": title}
    return {**node, **more}


def folder(title, *children, **more):
    node = {"WebBookmarkType": "WebBookmarkTypeList", "WebBookmarkUUID": identifier(), "Title": title}
    return {**node, "Children": list(children), **more}


def proxy(title):
    return {"WebBookmarkType": "WebBookmarkTypeProxy", "WebBookmarkUUID": identifier(), "Title": title}


def root(*children, **more):
    node = folder("", *children)
    return {**node, "WebBookmarkFileVersion": 1, **more}


def title_of(node):
    return node.get("Title", node.get("URIDictionary", {}).get("title"))


def titles(node):
    """A folder as nested lists of titles."""
    return [[title_of(c), titles(c)] if "Children" in c else title_of(c) for c in node.get("Children", [])]


def nodes(node):
    """Every node of a tree but its root."""
    for child in node.get("Children", []):
        if isinstance(child, dict):
            yield child
            yield from nodes(child)
