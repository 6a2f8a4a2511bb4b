#!/usr/bin/env python3
"""Bookmarks that an administrator manages are left alone. Needs to be root: the policy is mounted for the browser alone."""

import json
import os
import pathlib
import tempfile

from browser_case import IS_FIREFOX, SKIPPED, BrowserCase, main

POLICIES = pathlib.Path("/etc/chromium")
MANAGED = [
    {"toplevel_name": "Managed"},
    {"name": "z", "url": "https://z.example/"},
    {"name": "a", "children": [{"name": "2", "url": "https://2.example/"}, {"name": "1", "url": "https://2.example/"}]},
]


class ManagedTest(BrowserCase):
    @classmethod
    def make_browser(cls, host=None):
        """The browser in a view of the system where the policy is."""
        folder = pathlib.Path(tempfile.mkdtemp(prefix="tarvel-test-"))
        (folder / "policies/managed").mkdir(parents=True)
        (folder / "policies/managed/tarvel.json").write_text(json.dumps({"ManagedBookmarks": MANAGED}))
        wrapper = folder / "browser"
        browser = os.environ["TARVEL_BROWSER"]
        wrapper.write_text(
            f"#!/bin/sh\nexec unshare -m sh -c 'mount --bind {folder} {POLICIES} && exec \"$0\" \"$@\"' {browser} \"$@\"\n"
        )
        wrapper.chmod(0o755)
        os.environ["TARVEL_BROWSER"] = str(wrapper)
        return super().make_browser()

    def empty(self):
        self.reload()

    def managed(self):
        own = set(self.browser.roots.values())
        return [root for root in self.browser.tree() if root["id"] not in own]

    def test_managed_bookmarks_stay_and_the_others_are_sorted_and_cleaned(self):
        before = self.managed()
        self.assertEqual([root["title"] for root in before], ["Managed"])
        self.browser.add("other", ["b", "a", ("Empty", [])])
        self.browser.run("sort")
        self.browser.run("clean", confirm="agree")
        self.assertEqual(self.managed(), before)
        self.assertEqual(self.titles()[:2], ["a", "b"])
        self.browser.run("undo")
        self.browser.run("undo")
        self.assertEqual(self.managed(), before)
        self.assertEqual(self.titles(), ["b", "a", "Empty", []])


if IS_FIREFOX or os.geteuid() != 0 or not POLICIES.is_dir():
    print("Skipped: managed bookmarks are Chromium's, and take root and its folder of policies")
    raise SystemExit(SKIPPED)
main()
