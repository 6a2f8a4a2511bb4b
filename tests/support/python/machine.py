"""The built agent with a home folder, settings, both bundles and a main application that records its launches."""

import datetime
import os
import pathlib
import plistlib
import pty
import shutil
import signal
import subprocess
import tempfile
import threading
import time

from home import PATIENCE, environment_of

HELPER = pathlib.Path(os.environ["TARVEL_HELPER"])
UPDATE_CHECK = pathlib.Path(os.environ["TARVEL_UPDATE_CHECK"])
IDENTIFIER = "org.tarvel.Tarvel"
# When the tests run as root the agent runs as this user, since permissions do not stop root.
NOBODY = 65534
AGENT_IDENTITY = {"user": NOBODY, "group": NOBODY, "extra_groups": []} if os.getuid() == 0 else {}

# The main application: writes a note about its launch, and runs until the file "quit" is beside the notes. Signals above 31
# belong to the C library.
RECORDER = """import os, pathlib, plistlib, signal, time
notes = pathlib.Path({notes!r})
try:
    settings = plistlib.loads(pathlib.Path({settings!r}).read_bytes())
except OSError:
    settings = {{}}
status = dict(line.split(":\\t", 1) for line in os.environ["STATUS_AT_LAUNCH"].splitlines() if ":\\t" in line)
entry = dict(code=settings.get("LastHelperError", -1), pid=os.getpid(), session=os.getsid(0),
             blocked=int(status["SigBlk"], 16), ignored=int(status["SigIgn"], 16) & 0x7FFFFFFF)
temporary = notes / f"launch-{{os.getpid()}}.tmp"
temporary.write_bytes(plistlib.dumps(entry))
temporary.rename(notes / f"launch-{{time.monotonic_ns()}}-{{os.getpid()}}.plist")
deadline = time.monotonic() + 300
while not (notes / "quit").exists() and time.monotonic() < deadline:
    time.sleep(0.05)
"""


def wait_for(condition, what, patience=PATIENCE):
    """Returns the first true value of `condition`."""
    deadline = time.monotonic() + patience
    while True:
        answer = condition()
        if answer:
            return answer
        if time.monotonic() > deadline:
            raise AssertionError(f"waited {patience} s for: {what}")
        time.sleep(0.02)


def make_owned(path):
    """Gives `path` to the user that the agent runs as."""
    if os.getuid() == 0:
        os.chown(path, NOBODY, NOBODY, follow_symlinks=False)


class Machine:
    """A context manager; its end waits for every process of it to end."""

    def __init__(self):
        self.home = pathlib.Path(tempfile.mkdtemp(prefix="tarvel-agent-"))
        self.folder = self.home / "Library/Safari"
        self.file = self.folder / "Bookmarks.plist"
        self.lock = self.folder / "lock"
        self.backup = self.home / "data/Tarvel/Bookmarks (Initial Copy).plist"
        self.settings = self.home / f"config/{IDENTIFIER}/preferences.plist"
        self.notes = self.home / "notes"
        self.runtime = self.home / "run"
        self.bundle = self.home / "apps/Tarvel.app"
        helper_bundle = self.bundle / "Contents/Library/TarvelHelper.app"
        self.helper = helper_bundle / "Contents/Linux/TarvelHelper"
        for folder in (self.folder, self.settings.parent, self.notes, self.runtime, self.helper.parent, self.home / "data"):
            folder.mkdir(parents=True)
        for folder in (self.settings.parent, self.runtime):
            folder.chmod(0o700)
        # Copied by another process: a fork of this one could inherit the open descriptor, and exec would fail with ETXTBSY.
        subprocess.run(["cp", "-p", HELPER, UPDATE_CHECK, self.helper.parent], check=True)
        main = self.bundle / "Contents/Linux/Tarvel"
        main.parent.mkdir()
        recorder = self.home / "recorder.py"
        recorder.write_text(RECORDER.format(notes=str(self.notes), settings=str(self.settings)))
        # Python changes signal dispositions, so they are recorded before it starts.
        main.write_text(f'#!/bin/sh\nSTATUS_AT_LAUNCH=$(cat /proc/self/status) exec python3 "{recorder}"\n')
        main.chmod(0o755)
        self.information = {
            "CFBundleIdentifier": IDENTIFIER,
            "CFBundleExecutable": "Tarvel",
            "CFBundleShortVersionString": "0.1.0",
            "CFBundleVersion": "0.1.0",
        }
        (helper_bundle / "Contents/Info.plist").write_bytes(
            plistlib.dumps({"CFBundleIdentifier": "org.tarvel.TarvelHelper", "CFBundleExecutable": "TarvelHelper"})
        )
        self.environment = environment_of(
            self.home, XDG_CONFIG_HOME=str(self.home / "config"), XDG_RUNTIME_DIR=str(self.runtime)
        )
        self.process = None
        self._log = b""
        self._reader = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        (self.notes / "quit").touch()
        if self.process and self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        for launch in self.launches():
            wait_for(lambda pid=launch["pid"]: not is_running(pid), "the recording application to quit")
        shutil.rmtree(self.home, ignore_errors=True)

    def set(self, **settings):
        """Writes the whole settings file, as the main application does."""
        self.settings.write_bytes(plistlib.dumps(settings))

    def write(self, root, path=None):
        """Saves a tree as the browser does."""
        self.replace(plistlib.dumps(root, fmt=plistlib.FMT_BINARY, sort_keys=False), path)

    def replace(self, data, path=None):
        """Writes a new file and renames it to the old name."""
        path = path or self.file
        fresh = path.with_name(".fresh")
        fresh.write_bytes(data)
        make_owned(fresh)
        fresh.rename(path)

    def start(self, before=(), **environment):
        """Starts the agent as an ordinary user with a terminal as its error output. `before`: a program that runs it."""
        (self.bundle / "Contents/Info.plist").write_bytes(plistlib.dumps(self.information))
        for path in (self.home, *self.home.rglob("*")):
            make_owned(path)
        ours, theirs = pty.openpty()
        if os.getuid() == 0:
            os.fchown(theirs, NOBODY, NOBODY)
        self.process = subprocess.Popen(
            [*map(str, before), str(self.helper)],
            env={**self.environment, **environment},
            cwd="/",
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=theirs,
            start_new_session=True,
            **AGENT_IDENTITY,
        )
        os.close(theirs)
        self._reader = threading.Thread(target=self._read, args=(ours,), daemon=True)
        self._reader.start()
        return self

    def _read(self, descriptor):
        while True:
            try:
                data = os.read(descriptor, 65536)
            except OSError:
                break
            if not data:
                break
            self._log += data
        os.close(descriptor)

    def log(self):
        """What the agent logged so far."""
        return self._log.decode(errors="replace").replace("\r\n", "\n")

    def wait_until_watching(self):
        """Waits until /proc shows an inotify watch of the agent on the folder, and the agent has started: a change until
        then counts as before the start."""
        inode = f"ino:{self.folder.stat().st_ino:x} "

        def watches():
            try:
                # The agent may be a child of the program given as `before`.
                pids = [self.process.pid, *children(self.process.pid)]
                return any(
                    inode in (pathlib.Path(f"/proc/{pid}/fdinfo/{fd}").read_text())
                    for pid in pids
                    for fd in os.listdir(f"/proc/{pid}/fdinfo")
                )
            except OSError:
                return False

        wait_for(lambda: watches() or self.process.poll() is not None, "the agent to watch the folder")
        if self.process.poll() is not None:
            raise AssertionError(f"the agent ended with {self.process.returncode}: {self.log()}")
        return self.wait_until_idle()

    def wait_until_idle(self):
        """Waits until the agent's thread sleeps for a tenth of a second, instead of waiting for a processor."""
        status = pathlib.Path(f"/proc/{self.process.pid}/status")

        def sleep():
            text = status.read_text()
            return "State:\tS" in text and text.partition("voluntary_ctxt_switches")[2]

        def is_idle():
            before = sleep()
            time.sleep(0.1)
            return before and sleep() == before

        wait_for(is_idle, "the agent to be idle")
        return self

    def read(self):
        return plistlib.loads(self.file.read_bytes())

    def stored(self):
        try:
            return plistlib.loads(self.settings.read_bytes())
        except FileNotFoundError:
            return {}

    def launches(self):
        """The notes of the main application, one for each launch."""
        return [plistlib.loads(path.read_bytes()) for path in sorted(self.notes.glob("launch-*.plist"))]

    def wait_for_launch(self, count=1, patience=PATIENCE):
        return wait_for(lambda: self.launches() if len(self.launches()) >= count else None, f"launch {count}", patience)

    def wait_for_end(self, patience=PATIENCE):
        """The agent's exit status."""
        status = self.process.wait(timeout=patience)
        self._reader.join(timeout=PATIENCE)
        return status

    def terminate(self):
        self.process.send_signal(signal.SIGTERM)
        return self.wait_for_end()

    def fingerprint(self):
        status = self.file.stat()
        return (status.st_ino, status.st_mtime_ns, self.file.read_bytes())


def children(pid):
    try:
        return [int(p) for p in pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]
    except OSError:
        return []


def is_running(pid):
    try:
        state = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[0]
    except OSError:
        return False
    return state != "Z"


def long_ago():
    return datetime.datetime(2020, 1, 1)
