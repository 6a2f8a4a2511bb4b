"""The command on a terminal of its own."""

import fcntl
import os
import pty
import select
import signal
import struct
import subprocess
import termios
import time

from home import PATIENCE, TARVEL


class Terminal:
    """Runs the command with a new controlling terminal, so that keys become signals."""

    def __init__(self, environment, *arguments, stdout=None, columns=None):
        self.terminal, other = pty.openpty()
        if columns is not None:
            fcntl.ioctl(other, termios.TIOCSWINSZ, struct.pack("HHHH", 40, columns, 0, 0))
        self.before = termios.tcgetattr(self.terminal)
        self.shown = b""

        def own():
            os.setsid()
            # A shell starts background jobs with these ignored.
            for number in (signal.SIGINT, signal.SIGQUIT, signal.SIGHUP):
                signal.signal(number, signal.SIG_DFL)
            # The first terminal that a session leader opens becomes its controlling one.
            os.close(os.open(os.ttyname(2), os.O_RDWR))

        self.process = subprocess.Popen(
            [TARVEL, *map(str, arguments)],
            # A pager would wait for keys.
            env={"PAGER": "cat", **environment, "TERM": environment.get("TERM", "xterm")},
            stdin=other,
            stdout=other if stdout is None else stdout,
            stderr=other,
            preexec_fn=own,
        )
        os.close(other)

    def wait_for(self, text):
        """Whether `text` was shown before the command ended."""
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
        """Reads the rest of the output and returns the exit status."""
        self.wait_for(None)
        self.after = termios.tcgetattr(self.terminal)
        os.close(self.terminal)
        return self.process.wait(PATIENCE)
