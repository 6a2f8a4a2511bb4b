"""Fixtures for the tests of both browsers."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

from chromium import Chromium
from firefox import Firefox
from native_host import every
from running_browser import wait_for

FAMILIES = {"chromium": Chromium, "firefox": Firefox}
FAMILY = FAMILIES[os.environ["TARVEL_FAMILY"]]
SOURCE = pathlib.Path(os.environ["TARVEL_SOURCE_DIR"])
EXTENSION = SOURCE / "browser/extension"
HOST = pathlib.Path(os.environ["TARVEL_BROWSER_HOST"])
TARVEL = os.environ["TARVEL_BIN"]
IS_LONG = os.environ.get("TARVEL_PROOF") == "long"
IS_FIREFOX = FAMILY is Firefox
SKIPPED = 77


def missing():
    """The reason to skip the tests; empty for none."""
    variable = "TARVEL_FIREFOX" if IS_FIREFOX else "TARVEL_BROWSER"
    return "" if os.environ.get(variable) else f"no {FAMILY.family}"


class BrowserCase(unittest.TestCase):
    """One browser for the script, emptied before each test."""

    browser = None

    @staticmethod
    def make_browser(host=HOST):
        home = tempfile.mkdtemp(prefix="tarvel-test-")
        unittest.addModuleCleanup(shutil.rmtree, home, ignore_errors=True)
        browser = FAMILY(home, EXTENSION, host)
        unittest.addModuleCleanup(browser.stop)
        return browser.start()

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        BrowserCase.browser = BrowserCase.browser or cls.make_browser()
        cls.browser.open_page()

    def setUp(self):
        self.settings("set", "AutoSortBrowsers", "no")
        self.empty()

    def empty(self):
        for root in self.browser.tree():
            for child in root["children"]:
                self.browser.remove(child["id"])
        shutil.rmtree(self.browser.home / "data", ignore_errors=True)
        self.reload()

    def reload(self):
        """Opens the page again and waits for its list."""
        self.browser.open_page()
        wait_for(lambda: self.browser.text("counts") or self.browser.text("problem"), "the list")

    def tarvel(self, *arguments):
        return subprocess.run(
            [TARVEL, *arguments], env=self.browser.environment, check=True, capture_output=True, text=True
        ).stdout

    def settings(self, *arguments):
        return self.tarvel("settings", *arguments)

    def records(self):
        return sorted((self.browser.home / "data/Tarvel/Browsers").glob("*/*.plist"))

    def titles(self, root="other", tree=None):
        return outline(self.root(root, tree)["children"])

    def root(self, root="other", tree=None):
        wanted = self.browser.roots[root]
        return next(node for node in tree or self.browser.tree() if node["id"] == wanted)

    def assert_nothing_lost(self, before, tree=None):
        """Every entry exists once, unchanged except for its place."""

        def entries(of):
            facts = {}
            for entry in every(of):
                self.assertNotIn(entry["id"], facts)
                facts[entry["id"]] = (entry["title"], entry["url"], entry["type"], entry["dateAdded"])
            return facts

        now = entries(tree or self.browser.tree())
        for identifier, facts in entries(before).items():
            self.assertEqual(now.get(identifier), facts)

    def assert_sorted(self):
        """A plan has nothing left to do."""
        self.reload()
        # The page refreshes shortly after the last event.
        self.browser.wait_for_text("counts", "Everything is in order.")

    def wait_until_settled(self, seconds):
        """Waits to see that nothing happens."""
        time.sleep(seconds)


def outline(entries):
    """Titles; a folder is followed by the list of its own."""
    shown = []
    for entry in entries:
        shown.append(entry["title"] if entry["type"] != "separator" else "---")
        if entry["type"] == "folder":
            shown.append(outline(entry["children"]))
    return shown


# Firefox takes three times as long as Chromium, so the others run in the long form only.
QUICK_IN_FIREFOX = {"sort_test.py", "automatic_test.py"}


def main():
    reason = missing()
    if IS_FIREFOX and not IS_LONG and pathlib.Path(sys.argv[0]).name not in QUICK_IN_FIREFOX:
        reason = "in Firefox this runs in the long form only: scripts/prove browsers"
    if reason:
        print(f"Skipped: {reason}")
        raise SystemExit(SKIPPED)
    unittest.main(verbosity=2)
