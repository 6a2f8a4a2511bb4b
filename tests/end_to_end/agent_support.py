"""A machine of its own for the built agent: a home, settings, the two bundles, and a main application that records."""

import datetime
import os
import pathlib
import plistlib
import pty
import shutil
import signal
import stat
import subprocess
import tempfile
import threading
import time

HELPER = pathlib.Path(os.environ["TARVEL_HELPER"])
UPDATE_CHECK = pathlib.Path(os.environ["TARVEL_UPDATE_CHECK"])
IDENTIFIER = "org.tarvel.Tarvel"
# An ordinary user, where the tests run as root: permissions mean nothing to root.
NOBODY = 65534
# How long anything may take on a machine that is busy with other tests.
PATIENCE = 60

# Notes that it was launched, with what it found, and stays until the file "quit" lies beside the notes. Of the signals,
# those above 31 are the C library's own.
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
    """Until `condition` answers something true, which is returned."""
    deadline = time.monotonic() + patience
    while True:
        answer = condition()
        if answer:
            return answer
        if time.monotonic() > deadline:
            raise AssertionError(f"waited {patience} s in vain for: {what}")
        time.sleep(0.02)


class Machine:
    """Used as a context; at its end every process of it is gone."""

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
        # By another process: a program that this one has open for writing while it starts one elsewhere cannot be run.
        subprocess.run(["cp", "-p", HELPER, UPDATE_CHECK, self.helper.parent], check=True)
        main = self.bundle / "Contents/Linux/Tarvel"
        main.parent.mkdir()
        recorder = self.home / "recorder.py"
        recorder.write_text(RECORDER.format(notes=str(self.notes), settings=str(self.settings)))
        # Python has its own ways with signals, so what came with the launch is noted before it starts.
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
        self.environment = {
            "HOME": str(self.home),
            "PATH": os.environ["PATH"],
            "LC_ALL": "C.UTF-8",
            "XDG_CONFIG_HOME": str(self.home / "config"),
            "XDG_DATA_HOME": str(self.home / "data"),
            "XDG_RUNTIME_DIR": str(self.runtime),
        }
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"):
            if name in os.environ:
                self.environment[name] = os.environ[name]
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

    # What a test prepares.

    def set(self, **settings):
        """The whole settings file, as the main application leaves it."""
        self.settings.write_bytes(plistlib.dumps(settings))

    def write(self, root, path=None):
        """Rename over, as the browser saves."""
        path = path or self.file
        fresh = path.with_name(".fresh")
        fresh.write_bytes(plistlib.dumps(root, fmt=plistlib.FMT_BINARY, sort_keys=False))
        if os.getuid() == 0:
            os.chown(fresh, NOBODY, NOBODY)
        fresh.rename(path)

    def start(self, before=(), **environment):
        """The agent as an ordinary user, its error output a terminal. `before`: a program that runs it."""
        (self.bundle / "Contents/Info.plist").write_bytes(plistlib.dumps(self.information))
        identity = {}
        if os.getuid() == 0:
            for path in (self.home, *self.home.rglob("*")):
                os.chown(path, NOBODY, NOBODY, follow_symlinks=False)
            identity = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
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
            **identity,
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

    # What a test looks at.

    def log(self):
        """The agent's lines so far."""
        return self._log.decode(errors="replace").replace("\r\n", "\n")

    def wait_until_watching(self):
        """inotify watches show in /proc, and the agent has one on the folder."""
        inode = f"ino:{self.folder.stat().st_ino:x} "

        def watches():
            try:
                # The child, where another program runs the agent.
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
        return self

    def wait_until_idle(self):
        """The agent's thread does not wake for a tenth of a second."""
        status = pathlib.Path(f"/proc/{self.process.pid}/status")

        def is_idle():
            before = status.read_text().partition("voluntary_ctxt_switches")[2]
            time.sleep(0.1)
            return status.read_text().partition("voluntary_ctxt_switches")[2] == before

        wait_for(is_idle, "the agent to be idle")

    def read(self):
        return plistlib.loads(self.file.read_bytes())

    def stored(self):
        try:
            return plistlib.loads(self.settings.read_bytes())
        except FileNotFoundError:
            return {}

    def launches(self):
        """What the main application noted at each of its launches."""
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
