"""What the drivers of both browsers share. Browsers run headless, each in its own home, with the extension loaded."""

import json
import os
import pathlib
import signal
import subprocess
import time

PATIENCE = 60
HOST_NAME = "org.tarvel.browser_host"


def wait_for(condition, what, patience=PATIENCE, pause=0.05):
    """Polls until `condition` is true and returns its value."""
    end = time.monotonic() + patience
    while True:
        answer = condition()
        if answer:
            return answer
        if time.monotonic() > end:
            raise AssertionError(f"Timed out waiting for {what}")
        time.sleep(pause)


class RunningBrowser:
    """The interface of both drivers. `roots` maps "bar" and "other" to ids."""

    def __init__(self, home, extension, host):
        """`extension` None: extension and host are those installed for all users."""
        self.home = pathlib.Path(home)
        self.extension = extension
        self.process = None
        if extension:
            self.install_host(host)

    @property
    def environment(self):
        kept = {name: os.environ[name] for name in ("PATH", "ASAN_OPTIONS") if name in os.environ}
        return {
            **kept,
            "HOME": str(self.home),
            "XDG_DATA_HOME": str(self.home / "data"),
            "XDG_CONFIG_HOME": str(self.home / "config"),
            "XDG_RUNTIME_DIR": str(self.home),
            "LC_ALL": "C.UTF-8",
            "MOZ_HEADLESS": "1",
        }

    def install_host(self, host):
        """Registers `host`, or with None removes the registration."""
        manifest = self.manifest_path()
        manifest.parent.mkdir(parents=True, exist_ok=True)
        manifest.unlink(missing_ok=True)
        if host is not None:
            facts = {"name": HOST_NAME, "description": "Tarvel", "path": str(host), "type": "stdio", **self.caller}
            manifest.write_text(json.dumps(facts))

    def host_processes(self):
        """The process ids of the hosts that this browser runs."""
        found = []
        for folder in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                environment = (folder / "environ").read_bytes().split(b"\0")
                command = (folder / "cmdline").read_bytes().split(b"\0")
            except OSError:
                continue
            if command[0].endswith(b"tarvel-browser-host") and f"HOME={self.home}".encode() in environment:
                found.append(int(folder.name))
        return found

    def kill(self):
        """SIGKILL, so that nothing is cleaned up."""
        os.killpg(self.process.pid, signal.SIGKILL)
        self.process.wait()
        self.release()

    def stop(self):
        if self.process is None:
            return
        try:
            self.quit()
            self.process.wait(30)
        except (OSError, subprocess.TimeoutExpired, AssertionError):
            pass
        if self.process.poll() is None:
            self.kill()
        else:
            self.release()

    def click(self, name):
        self.evaluate(f"document.getElementById({json.dumps(name)}).click()")

    def text(self, name):
        return self.evaluate(f"document.getElementById({json.dumps(name)}).textContent")

    def is_enabled(self, name):
        return self.evaluate(f"!document.getElementById({json.dumps(name)}).disabled")

    def wait_for_text(self, name, wanted, patience=PATIENCE):
        return wait_for(lambda: wanted in self.text(name) and self.text(name), f"{wanted} in {name}", patience)

    def run(self, button, confirm=None):
        """Presses a button of the page, waits for the end of the run and returns the page's status."""
        wait_for(lambda: self.is_enabled(button), f"button {button}")
        self.evaluate("document.getElementById('status').textContent = ''")
        self.click(button)
        if confirm:
            wait_for(lambda: not self.evaluate("document.getElementById('question').hidden"), "the question")
            self.click(confirm)
        return self.wait_for_end()

    def wait_for_end(self, patience=PATIENCE):
        def end():
            problem = self.text("problem")
            if problem:
                raise AssertionError(problem)
            status = self.text("status")
            return status if status.startswith(("Done", "Nothing")) else None

        return wait_for(end, "the end of the run", patience)


def full(wanted):
    """Entries as add() accepts them, as pairs: title and contents, or title and address."""
    pairs = []
    for one in wanted:
        title, rest = one if isinstance(one, tuple) else (one, None)
        if isinstance(rest, list):
            pairs.append([title, full(rest)])
        else:
            pairs.append([title, rest or f"https://example.org/{title}"])
    return pairs
