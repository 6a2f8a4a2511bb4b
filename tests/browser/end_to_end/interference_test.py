#!/usr/bin/env python3
"""Concurrent changes during a run: it stops, plans again, and loses nothing."""

import re

from browser_case import IS_LONG, BrowserCase, main
from running_browser import wait_for

MANY = 120
#: Moves after which the user changes something.
MIDDLE = 50


class InterferenceTest(BrowserCase):
    def run_with(self, change, moves=MIDDLE):
        """A run in the middle of which the user makes a change."""
        folder = self.browser.add("other", [("Folder", [f"{number:05}" for number in range(MANY, 0, -1)])])[0]
        self.before = self.browser.tree()
        self.reload()
        self.browser.change_after_moves(moves, change, folder)
        self.said = self.browser.run("sort")
        wait_for(self.browser.is_changed, "the change")

    def finish(self):
        self.assert_nothing_lost(self.before)
        self.assert_sorted()

    def test_a_bookmark_is_added_in_the_middle(self):
        self.run_with("add")
        self.finish()
        self.assertEqual(self.titles()[1][:2], ["00000", "00001"])
        # The changes of all attempts count.
        self.assertGreaterEqual(int(re.search(r"[0-9]+", self.said).group()), MANY - 1)

    def test_a_bookmark_is_moved_in_the_middle(self):
        self.run_with("move")
        self.finish()

    def test_a_bookmark_is_removed_in_the_middle(self):
        self.run_with("remove")
        self.assert_sorted()
        self.assertEqual(len(self.titles()[1]), MANY - 1)

    def test_the_user_sorts_by_name_in_the_middle(self):
        self.run_with("sort by name")
        self.finish()

    def test_five_hundred_bookmarks_are_imported_in_the_middle(self):
        self.run_with("import")
        self.finish()
        self.assertEqual(len(self.titles()), 2 + 500)

    def test_undo_after_an_interference_gives_what_was_before_with_what_came(self):
        self.run_with("add")
        self.browser.run("undo")
        before = self.titles(tree=self.before)
        now = self.titles()
        now[1].remove("00000")
        self.assertEqual(now, before)

    def test_cleaning_up_stops_at_a_change_and_asks_again(self):
        same = [(f"{number:05}", "https://example.org/same") for number in range(MANY)]
        folder = self.browser.add("other", [("Folder", same)])[0]
        self.before = self.browser.tree()
        self.reload()
        self.browser.change_after_moves(MIDDLE, "add", folder)
        self.browser.click("clean")
        self.wait_for_question()
        self.browser.click("agree")
        self.browser.wait_for_text("problem", "have changed since")
        self.assert_nothing_lost(self.before)
        self.assertGreater(len(self.root()["children"][0]["children"]), 2)
        self.wait_for_question()
        self.browser.click("agree")
        self.browser.wait_for_text("status", "Done")
        self.assert_nothing_lost(self.before)
        self.assertEqual(len(self.root()["children"][0]["children"]), 2)

    def wait_for_question(self):
        wait_for(lambda: not self.browser.evaluate("document.getElementById('question').hidden"), "the question")

    def test_two_pages_sort_once(self):
        self.browser.add("other", [("Folder", [f"{number:05}" for number in range(MANY, 0, -1)])])
        self.before = self.browser.tree()
        self.reload()
        first, second = self.browser.open_second_window()
        wait_for(lambda: self.browser.is_enabled("sort"), "the second page")
        self.browser.click("sort")
        # Otherwise the click in the other window may come first, and this page say that a run is in progress.
        wait_for(lambda: self.browser.text("status"), "the run")
        self.browser.use(first)
        self.browser.click("sort")
        wait_for(lambda: self.browser.text("counts") == "Everything is in order.", "the order")
        self.browser.use(second)
        wait_for(lambda: self.browser.evaluate("document.body.ariaBusy") == "false", "the end of the run")
        self.assertEqual(self.browser.text("problem"), "")
        self.assertEqual(len(self.records()), 1)
        self.finish()


if not IS_LONG:
    for name in ("moved", "removed"):
        delattr(InterferenceTest, f"test_a_bookmark_is_{name}_in_the_middle")

main()
