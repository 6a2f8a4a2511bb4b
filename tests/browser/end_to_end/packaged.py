#!/usr/bin/env python3
"""The extension as its package installs it: starts both browsers as a user does, sorts and undoes. Run by
scripts/try-webext, where the packages are installed."""

import os
import tempfile

from chromium import Chromium
from firefox import Firefox
from running_browser import wait_for

os.environ.setdefault("TARVEL_BROWSER", "/usr/bin/chromium")
os.environ.setdefault("TARVEL_FIREFOX", "/usr/bin/firefox-esr")


def titles(browser):
    root = next(node for node in browser.tree() if node["id"] == browser.roots["other"])
    return [child["title"] for child in root["children"]]


def try_browser(kind):
    with tempfile.TemporaryDirectory(prefix="tarvel-test-", ignore_cleanup_errors=True) as home:
        browser = kind(home, None, None).start()
        try:
            browser.open_page()
            browser.add("other", ["c", "a", "b"])
            wait_for(lambda: "Moved" in browser.text("counts"), "the list")
            browser.run("sort")
            assert titles(browser) == ["a", "b", "c"], titles(browser)
            browser.run("undo")
            assert titles(browser) == ["c", "a", "b"], titles(browser)
        finally:
            browser.stop()
    print(f"{kind.family}: sorted and undone")


for each in (Chromium, Firefox):
    try_browser(each)
