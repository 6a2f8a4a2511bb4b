"""What the soak observes: events of a file, resources of a process; and a feed of updates."""

import ctypes
import os
import pathlib
import re
import struct
import time

from local_server import LocalServer, feed_of, send
from machine import children, wait_for

IN_OPEN = 0x20
IN_MOVED_FROM = 0x40
IN_MOVED_TO = 0x80
IN_Q_OVERFLOW = 0x4000


class FolderWatch:
    """Watches one name in a folder, also after the folder is renamed.

    `renames`: how often a file was renamed to that name. `is_opened`: whether it was opened since the last rename.
    """

    def __init__(self, folder, name):
        self._name = name.encode()
        self.renames = 0
        self.is_opened = False
        libc = ctypes.CDLL(None, use_errno=True)
        self._descriptor = libc.inotify_init1(os.O_NONBLOCK | os.O_CLOEXEC)
        # The kernel merges equal consecutive events; IN_MOVED_FROM separates two IN_MOVED_TO.
        mask = IN_OPEN | IN_MOVED_FROM | IN_MOVED_TO
        watch = libc.inotify_add_watch(self._descriptor, str(folder).encode(), mask)
        if self._descriptor < 0 or watch < 0:
            raise OSError(ctypes.get_errno(), "inotify is not available")

    def read(self):
        """Processes all events so far."""
        while True:
            try:
                data = os.read(self._descriptor, 65536)
            except BlockingIOError:
                return
            at = 0
            while at < len(data):
                _, mask, _, length = struct.unpack_from("iIII", data, at)
                self._note(mask, data[at + 16 : at + 16 + length].rstrip(b"\0"))
                at += 16 + length

    def _note(self, mask, name):
        assert not mask & IN_Q_OVERFLOW, "events were lost"
        if name != self._name:
            return
        if mask & IN_OPEN:
            self.is_opened = True
        if mask & IN_MOVED_TO:
            self.renames += 1
            self.is_opened = False

    def close(self):
        os.close(self._descriptor)


class Feed(LocalServer):
    """Offers an update now and then. `offers`: how often at the current address."""

    def __init__(self, chance):
        self.offers = 0
        self._chance = chance
        self._number = 0
        super().__init__()

    def answer(self, request):
        offers = self._chance.random() < 0.3
        # The checker of a killed agent may still ask at an earlier address.
        self.offers += offers and request.path == self.path()
        send(request, feed_of("2.0" if offers else "0.1.0"))

    def path(self):
        return f"/feed-{self._number}.xml"

    def renew(self):
        """Returns another address, for another agent."""
        self._number += 1
        self.offers = 0
        return self.address(self.path())


def status_of(pid):
    return pathlib.Path(f"/proc/{pid}/status").read_text()


def private_kilobytes(pid):
    """Without pages of files, which come and go."""
    return int(re.search(r"RssAnon:\s*(\d+) kB", status_of(pid)).group(1))


def open_descriptors(pid):
    return len(os.listdir(f"/proc/{pid}/fd"))


def zombies_of(pid):
    return [child for child in children(pid) if re.search(r"^State:\s*Z", status_or_nothing(child), re.M)]


def status_or_nothing(pid):
    try:
        return status_of(pid)
    except OSError:
        return ""


def has_time_to_wait_for(pid):
    """Whether a timerfd of the monotonic clock is armed; timers of the real-time clock do not count."""
    for descriptor in os.listdir(f"/proc/{pid}/fdinfo"):
        try:
            text = pathlib.Path(f"/proc/{pid}/fdinfo/{descriptor}").read_text()
        except FileNotFoundError:
            continue
        if re.search(r"^clockid: 1$", text, re.M) and not re.search(r"^it_value: \(0, 0\)$", text, re.M):
            return True
    return False


def looks_for_updates(pid):
    """Whether a child is the update checker or has not executed a program yet. A launched main application may stay."""
    names = ("Name:\ttarvel-update", "Name:\tTarvelHelper")
    return any(status_or_nothing(child).startswith(names) for child in children(pid))


def wait_until_quiet(process, patience):
    """Waits until the process sleeps, checks for no update and has no armed timer, or has ended."""

    def snapshot():
        if process.poll() is not None:
            return "ended"
        try:
            status = status_of(process.pid)
            busy = looks_for_updates(process.pid) or has_time_to_wait_for(process.pid)
        except OSError:
            return None
        if busy or not re.search(r"^State:\s*S", status, re.M):
            return None
        return re.findall(r"ctxt_switches:\s*(\d+)", status)

    def is_quiet():
        before = snapshot()
        if before is None:
            return False
        # Longer than the agent's pause under the browser's lock, which /proc does not show.
        time.sleep(0.5)
        return snapshot() == before

    wait_for(is_quiet, "the agent to be idle", patience)
