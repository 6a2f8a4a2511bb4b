"""Each test has an agent on a machine of its own: real files, real time."""

import os
import plistlib
import sys
import time
import unittest

from bookmark_trees import folder, leaf, root, titles
from machine import PATIENCE, Machine, is_running, wait_for

# Seconds from a change to its sort: the watcher's two and the shortest latency.
ONE_ROUND = 3.0


def unsorted_root(*names, **more):
    names = names or ("b", "a")
    return root(folder("BookmarksBar", leaf("x")), folder("BookmarksMenu", *map(leaf, names)), **more)


def menu(tree):
    return titles(tree)[1][1]


class AgentTestCase(unittest.TestCase):
    def setUp(self):
        self.machine = self.enterContext(Machine())
        self.addCleanup(self.print_log)

    def print_log(self):
        if self.machine.log():
            print(f"log of {self.id()}:\n{self.machine.log()}", file=sys.stderr)

    def start_agent(self, latency=1, **settings):
        """On an unsorted file that does not change yet."""
        self.machine.write(unsorted_root())
        self.machine.set(AutoSortMode=True, BookmarksUpdateLatency=latency, **settings)
        # A folder that is replaced while the stream starts was replaced before.
        self.machine.start().wait_until_watching()

    def is_sorted(self):
        try:
            titles_now = menu(self.machine.read())
        except (OSError, plistlib.InvalidFileException):
            return False
        return titles_now == sorted(titles_now)

    def wait_for_sort(self, what="the sort"):
        wait_for(self.is_sorted, what)

    def assert_running(self):
        self.assertIsNone(self.machine.process.poll(), self.machine.log())

    def assert_unchanged_for(self, seconds):
        """That something does not happen can only be seen by watching for a while."""
        before = self.machine.fingerprint()
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            self.assertEqual(self.machine.fingerprint(), before, "the file was written again")
            time.sleep(0.05)

    def assert_hands_over(self, code, line, patience=PATIENCE):
        """The agent logs `line`, stores `code`, launches the main application and exits; the application keeps running."""
        self.assertEqual(self.machine.wait_for_end(patience), 0, self.machine.log())
        launch = self.machine.wait_for_launch()[0]
        self.assertEqual(launch["code"], code)
        self.assertEqual(self.machine.stored()["LastHelperError"], code)
        self.assertIn(line, self.machine.log())
        self.assertTrue(is_running(launch["pid"]), "the main application ended with the agent")
        self.assertEqual((launch["blocked"], launch["ignored"]), (0, 0), "the application inherited a signal mask")
        self.assertNotEqual(launch["session"], os.getsid(0), "the main application is in the agent's session")
