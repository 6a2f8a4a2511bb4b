"""What the soak looks through: what happens to a file, what a process holds and waits for, and a feed of updates."""

import ctypes
import http.server
import os
import pathlib
import re
import struct
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "end_to_end"))
from agent_support import children, wait_for

IN_OPEN = 0x20
IN_MOVED_FROM = 0x40
IN_MOVED_TO = 0x80
IN_Q_OVERFLOW = 0x4000


class FolderWatch:
    """What happens to one name in a folder. It goes with the folder when that is renamed.

    `renames`: how often something was renamed to that name. `is_opened`: whether it was opened since the last time.
    """

    def __init__(self, folder, name):
        self._name = name.encode()
        self.renames = 0
        self.is_opened = False
        libc = ctypes.CDLL(None, use_errno=True)
        self._descriptor = libc.inotify_init1(os.O_NONBLOCK | os.O_CLOEXEC)
        # Alike events in a row become one. The other half of each rename keeps them apart.
        mask = IN_OPEN | IN_MOVED_FROM | IN_MOVED_TO
        watch = libc.inotify_add_watch(self._descriptor, str(folder).encode(), mask)
        if self._descriptor < 0 or watch < 0:
            raise OSError(ctypes.get_errno(), "no inotify here")

    def read(self):
        """Takes note of everything until now."""
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
        assert not mask & IN_Q_OVERFLOW, "events went unseen"
        if name != self._name:
            return
        if mask & IN_OPEN:
            self.is_opened = True
        if mask & IN_MOVED_TO:
            self.renames += 1
            self.is_opened = False

    def close(self):
        os.close(self._descriptor)


FEED = """<?xml version="1.0"?><rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
<channel><item><title>{0}</title><enclosure url="https://updates.example/Tarvel-{0}.tar.xz" sparkle:version="{0}"
sparkle:shortVersionString="{0}" length="1" type="application/octet-stream"/></item></channel></rss>"""


class Feed:
    """Offers an update now and then. `offers`: how often at the address of now."""

    def __init__(self, chance):
        owner = self
        self.offers = 0
        self._number = 0

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                offers = chance.random() < 0.3
                # An agent that was killed may have left somebody who still asks.
                owner.offers += offers and self.path == owner.path()
                answer = FEED.format("2.0" if offers else "0.1.0").encode()
                self.send_response(200)
                self.send_header("Content-Length", str(len(answer)))
                self.end_headers()
                self.wfile.write(answer)

            def log_message(self, *_):
                pass

        self._server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        threading.Thread(target=self._server.serve_forever, daemon=True).start()

    def path(self):
        return f"/feed-{self._number}.xml"

    def renew(self):
        """Another address, for another agent."""
        self._number += 1
        self.offers = 0
        return f"http://127.0.0.1:{self._server.server_address[1]}{self.path()}"

    def close(self):
        self._server.shutdown()
        self._server.server_close()


def status_of(pid):
    return pathlib.Path(f"/proc/{pid}/status").read_text()


def resident_kilobytes(pid):
    return int(re.search(r"VmRSS:\s*(\d+) kB", status_of(pid)).group(1))


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
    """Whether a delay runs: a timer of the clock that delays are counted by, and not a date of the calendar."""
    for descriptor in os.listdir(f"/proc/{pid}/fdinfo"):
        try:
            text = pathlib.Path(f"/proc/{pid}/fdinfo/{descriptor}").read_text()
        except FileNotFoundError:
            continue
        if re.search(r"^clockid: 1$", text, re.M) and not re.search(r"^it_value: \(0, 0\)$", text, re.M):
            return True
    return False


def looks_for_updates(pid):
    """In a child: the checker, or what is about to become a program. A main application that was launched may stay."""
    names = ("Name:\ttarvel-update", "Name:\tTarvelHelper")
    return any(status_or_nothing(child).startswith(names) for child in children(pid))


def wait_until_quiet(process, patience):
    """Until the process sleeps, looks for no update and waits for no time to pass: nothing is left of what it was told.
    Also when it ends."""

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
        # Longer than the agent sleeps while somebody holds the file, which nothing else betrays.
        time.sleep(0.5)
        return snapshot() == before

    wait_for(is_quiet, "the agent to wait for nothing", patience)
