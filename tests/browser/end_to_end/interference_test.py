#!/usr/bin/env python3
"""Bookmarks that others change while a run is applied: it stops, plans anew, and nothing is lost."""

from browser_case import IS_LONG, BrowserCase, main
from running_browser import wait_for

MANY = 200
#: Moves after which others change something.
MIDDLE = 50


class InterferenceTest(BrowserCase):
    def run_with(self, change, moves=MIDDLE):
        """A run in the middle of which the user makes a change."""
        folder = self.browser.add("other", [("Folder", [f"{number:05}" for number in range(MANY, 0, -1)])])[0]
        self.before = self.browser.tree()
        self.reload()
        self.browser.change_after_moves(moves, change, folder)
        self.browser.run("sort")
        wait_for(self.browser.is_changed, "the change")

    def finish(self):
        self.assert_nothing_lost(self.before)
        self.assert_sorted()

    def test_a_bookmark_is_added_in_the_middle(self):
        self.run_with("add")
        self.finish()
        self.assertEqual(self.titles()[1][:2], ["00000", "00001"])

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

    def test_two_windows_do_not_get_into_each_others_way(self):
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
        self.browser.wait_for_end()
        self.assertEqual(len(self.records()), 1)
        self.finish()


if not IS_LONG:
    for name in ("moved", "removed"):
        delattr(InterferenceTest, f"test_a_bookmark_is_{name}_in_the_middle")

main()
