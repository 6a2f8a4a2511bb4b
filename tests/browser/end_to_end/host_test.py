#!/usr/bin/env python3
"""A missing, outdated or crashing host: the page says what to do, and no bookmark changes."""

import os
import pathlib
import signal
import sys
import tempfile

from browser_case import HOST, IS_FIREFOX, BrowserCase, main
from running_browser import wait_for

#: Greets with `protocol`, and exits at the message `ends_at`.
FAKE = """#!{python}
import json, struct, sys
for number in range({ends_at}):
    length = sys.stdin.buffer.read(4)
    if not length:
        break
    sys.stdin.buffer.read(struct.unpack("=I", length)[0])
    answer = json.dumps({{"type": "hello", "protocol": {protocol}, "version": "9", "automatic": False, "latency": 1,
                          "runs": 0}}).encode()
    sys.stdout.buffer.write(struct.pack("=I", len(answer)) + answer)
    sys.stdout.buffer.flush()
"""


class HostTest(BrowserCase):
    def setUp(self):
        self.browser.install_host(HOST)
        super().setUp()
        self.browser.add("other", ["b", "a"])
        self.before = self.browser.tree()

    def fake(self, protocol=1, ends_at=100):
        script = pathlib.Path(tempfile.mkdtemp(prefix="tarvel-test-"), "host")
        script.write_text(FAKE.format(python=sys.executable, protocol=protocol, ends_at=ends_at))
        script.chmod(0o755)
        self.browser.install_host(script)

    def assert_problem(self, sentence):
        self.browser.open_page()
        self.browser.wait_for_text("problem", sentence)
        self.assertFalse(self.browser.is_enabled("sort"))
        self.assertEqual(self.browser.tree(), self.before)

    def test_absent(self):
        self.browser.install_host(None)
        self.assert_problem("tarvel browser enable")

    def test_the_page_tries_again_when_it_gets_the_focus(self):
        self.browser.install_host(None)
        self.assert_problem("tarvel browser enable")
        self.browser.install_host(HOST)
        self.browser.evaluate("window.dispatchEvent(new Event('focus'))")
        self.browser.wait_for_text("counts", "Moved: 1")
        self.assertEqual(self.browser.text("problem"), "")

    def test_too_old(self):
        self.fake(protocol=0)
        self.assert_problem("Update Tarvel.")

    def test_too_new(self):
        self.fake(protocol=2)
        self.assert_problem("Update the extension")

    def test_ending_at_once(self):
        self.fake(ends_at=0)
        self.assert_problem("ended unexpectedly")

    def test_ending_when_asked_for_a_plan(self):
        self.fake(ends_at=1)
        self.assert_problem("ended unexpectedly")

    def test_refusing_other_extensions(self):
        self.assertNotEqual(os.spawnv(os.P_WAIT, HOST, [str(HOST), "chrome-extension://other/"]), 0)

    def test_the_end_of_a_run_ends_the_host(self):
        self.reload()
        self.browser.run("sort")
        wait_for(lambda: not self.browser.host_processes(), "the end of the host")

    def test_killed_in_the_middle_of_a_run(self):
        count = 300
        self.browser.add("other", [("Folder", [f"{number:05}" for number in range(count, 0, -1)])])
        before = self.browser.tree()
        self.reload()
        if not IS_FIREFOX:
            # Otherwise a run on a busy machine may end before the host is found.
            self.browser.hold_after_moves(count // 2)
        self.browser.click("sort")
        wait_for(lambda: " of " in self.browser.text("status"), "the middle of the run", pause=0.005)
        for number in self.browser.host_processes():
            os.kill(number, signal.SIGKILL)
        if not IS_FIREFOX:
            self.browser.go_on()
        self.browser.wait_for_text("problem", "ended unexpectedly")
        self.assert_nothing_lost(before)
        self.reload()
        self.browser.run("undo")
        self.assertEqual(self.browser.tree(), before)


main()
