#!/usr/bin/env python3
"""The browser is killed in the middle of a run: the result is a prefix of the run, which can be undone or continued. Two
moments, or, in the long form, twenty."""

import json
import random
import tempfile
import time

from browser_case import HOST, IS_FIREFOX, IS_LONG, BrowserCase, main
from native_host import plan, shape, states
from running_browser import wait_for

MANY = 1000 if IS_LONG else 100
MOMENTS = 20 if IS_LONG else 2
#: Within which a run of that many moves ends.
LONGEST = MANY * 0.006 if IS_FIREFOX else 4 if IS_LONG else 0.1


class KilledTest(BrowserCase):
    def restart(self):
        self.browser.start()
        self.reload()

    def wait_until_saved(self):
        """Chromium saves some seconds after a change. Firefox has saved when the change is reported."""
        if IS_FIREFOX:
            return
        path = self.browser.home / "profile/Default/Bookmarks"
        wanted = shape(self.browser.tree())

        def ids(node):
            children = node.get("children", [])
            found = {node["id"]: [child["id"] for child in children]}
            for child in children:
                found.update(ids(child))
            return found

        def is_saved():
            if not path.exists():
                return False
            roots = json.loads(path.read_bytes())["roots"]
            return wanted.items() <= {**ids(roots["bookmark_bar"]), **ids(roots["other"])}.items()

        wait_for(is_saved, "the file")

    def possible_states(self, tree):
        with tempfile.TemporaryDirectory() as data:
            environment = {**self.browser.environment, "XDG_DATA_HOME": data}
            return list(states(tree, plan(HOST, environment, tree)))

    def test_a_killed_run_leaves_a_prefix_that_can_be_undone(self):
        per_folder = MANY // 10
        for folder in range(10):
            titles = [f"{number:05}" for number in range(per_folder + 1, 0, -1)]
            self.browser.add("other", [(f"Folder {folder}", titles)])
        self.wait_until_saved()
        before = self.browser.tree()
        possible = self.possible_states(before)
        self.assertEqual(len(possible), MANY + 1)
        self.reload()
        moments = random.Random(7)
        interrupted = set()
        for moment in range(MOMENTS):
            wait_for(lambda: self.browser.is_enabled("sort"), "the button")
            self.browser.click("sort")
            wait_for(lambda: self.browser.text("status"), "the beginning", pause=0.002)
            # A random moment; the state found afterwards shows whether it was within the run.
            time.sleep(moments.uniform(0, LONGEST))
            self.browser.kill()
            self.restart()
            found = self.browser.tree()
            self.assert_nothing_lost(before, found)
            self.assertIn(shape(found), possible)
            interrupted.add(possible.index(shape(found)))
            if moment % 2:
                self.go_on()
            self.undo_all()
            self.assertEqual(self.browser.tree(), before, f"moment {moment}")
            self.wait_until_saved()
            self.reload()
        print(f"Moves that were there after a kill: {sorted(interrupted)} of {MANY}")

    def go_on(self):
        if self.browser.is_enabled("sort"):
            self.browser.run("sort")
        self.assert_sorted()

    def undo_all(self):
        """Undoes every run; the killed one was the first."""
        while self.records():
            self.reload()
            self.browser.run("undo")


main()
