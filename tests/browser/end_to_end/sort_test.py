#!/usr/bin/env python3
"""Sorting, cleaning up and undoing in a real browser, compared node by node."""

import time

from browser_case import IS_FIREFOX, BrowserCase, main
from running_browser import wait_for

ODD_TITLES = ["\u0001control", "\ud800lone", "b" * 5000, "<img src=x onerror=alert(1)>", "\u202eright to left"]


class SortTest(BrowserCase):
    def test_first_start_changes_nothing(self):
        self.browser.add("other", ["c", "a", "b"])
        before = self.browser.tree()
        self.reload()
        self.wait_until_settled(1)
        self.assertEqual(self.browser.tree(), before)
        self.assertEqual(self.records(), [])

    def test_sorts_every_folder_and_undoes_it_exactly(self):
        self.browser.add("other", ["c", "a", ("Folder", ["z", ("Inner", ["2", "1"]), "y"]), "b"])
        self.browser.add("bar", ["y", ("On the bar", ["b", "a"]), "x"])
        before = self.browser.tree()
        self.assertIn("Done", self.browser.run("sort"))
        after = self.browser.tree()
        self.assertEqual(self.titles(tree=after), ["Folder", ["Inner", ["1", "2"], "y", "z"], "a", "b", "c"])
        # The bar keeps its order by default.
        self.assertEqual(self.titles("bar", after), ["y", "On the bar", ["a", "b"], "x"])
        self.assert_nothing_lost(before, after)
        self.assert_sorted()
        self.browser.run("undo")
        self.assertEqual(self.browser.tree(), before)

    def test_follows_the_settings(self):
        self.settings("set", "FoldersAtTop", "no")
        self.settings("set", "SortBookmarksBar", "yes")
        self.addCleanup(self.settings, "unset", "FoldersAtTop")
        self.addCleanup(self.settings, "unset", "SortBookmarksBar")
        self.browser.add("bar", ["c", ("b", ["x"]), "a"])
        self.browser.run("sort")
        self.assertEqual(self.titles("bar"), ["a", "b", ["x"], "c"])

    def test_odd_titles_stay_as_they_are(self):
        self.browser.add("other", [(title, f"https://example.org/{i}") for i, title in enumerate(ODD_TITLES)])
        before = self.browser.tree()
        self.browser.run("sort")
        self.assert_nothing_lost(before)
        self.assert_sorted()
        self.browser.run("undo")
        self.assertEqual(self.browser.tree(), before)

    def test_an_empty_tree_is_in_order(self):
        self.assertEqual(self.browser.text("counts"), "Everything is in order.")
        self.assertFalse(self.browser.is_enabled("sort"))
        self.assertFalse(self.browser.is_enabled("undo"))

    def test_cleans_up_by_moving_and_undoes_it_exactly(self):
        same = "https://example.org/same"
        self.browser.add("other", [("First", same), ("Empty", []), ("Second", same), ("Twice", "https://a.example/")])
        self.browser.add("other", [("Twice", "https://b.example/"), ("", "https://untitled.example/")])
        self.browser.add("bar", [("Third", same)])
        before = self.browser.tree()
        self.assertIn("Done", self.browser.run("clean", confirm="agree"))
        after = self.titles()
        folder = after[-2]
        self.assertEqual(folder, "Removed by Tarvel, " + time.strftime("%Y-%m-%d"))
        self.assertEqual(after[-1], ["Empty", [], "First"])
        self.assertEqual(after[:-2], ["Second", "Twice 2", "Twice", "https://untitled.example/"])
        self.assertEqual(self.titles("bar"), ["Third"])
        self.browser.run("undo")
        self.assertEqual(self.browser.tree(), before)

    def test_cleaning_up_asks_first(self):
        self.browser.add("other", [("Empty", [])])
        before = self.browser.tree()
        self.reload()
        self.browser.click("clean")
        wait_for(lambda: not self.browser.evaluate("document.getElementById('question').hidden"), "the question")
        self.assertIn("empty folder", self.browser.text("changes"))
        self.browser.click("decline")
        wait_for(lambda: self.browser.evaluate("document.getElementById('question').hidden"), "no question")
        self.assertEqual(self.browser.tree(), before)

    def test_cleaning_up_does_only_what_was_shown(self):
        self.browser.add("other", [("Empty", [])])
        self.reload()
        self.browser.click("clean")
        wait_for(lambda: not self.browser.evaluate("document.getElementById('question').hidden"), "the question")
        self.browser.add("other", [("Also empty", [])])
        before = self.browser.tree()
        self.browser.click("agree")
        self.browser.wait_for_text("problem", "have changed since")
        self.assertEqual(self.browser.tree(), before)

    def test_the_page_shows_what_a_sort_then_does(self):
        self.browser.add("other", [("Folder", ["c", "a", "b"])])
        self.reload()
        self.assertEqual(self.browser.text("counts"), "Moved: 1 · Removed: 0 · Renamed: 0")
        self.assertIn("from place 1 to 3", self.browser.text("changes"))
        self.browser.run("sort")
        self.assertEqual(self.titles(), ["Folder", ["a", "b", "c"]])


if IS_FIREFOX:

    class FirefoxTest(BrowserCase):
        def test_separators_stay_and_each_group_between_them_is_sorted(self):
            line = ("", "separator")
            self.browser.add("menu", ["d", "c", line, "b", "a", line, line, "f", "e"])
            before = self.browser.tree()
            self.browser.run("sort")
            expected = ["c", "d", "---", "a", "b", "---", "---", "e", "f"]
            self.assertEqual(self.titles("menu"), expected)
            self.assert_sorted()
            self.browser.run("undo")
            self.assertEqual(self.browser.tree(), before)

        def test_the_root_of_a_phone_is_sorted_too(self):
            self.browser.add("mobile", ["b", "a"])
            self.browser.run("sort")
            self.assertEqual(self.titles("mobile"), ["a", "b"])

        def add_with_positions(self, titles, positions):
            """A folder whose children have these positions in the database."""
            folder, *children = self.browser.add("other", [("Folder", titles)])
            self.browser.system(
                """await PlacesUtils.withConnectionWrapper("test", async (db) => {
                     for (const [guid, position] of args[0]) {
                       await db.execute("UPDATE moz_bookmarks SET position = :position WHERE guid = :guid",
                         { guid, position });
                     }
                   });""",
                list(zip(children, positions)),
            )
            self.reload()
            return folder

        def positions_in(self, folder):
            return self.browser.system(
                """return PlacesUtils.withConnectionWrapper("test", async (db) => (await db.execute(
                     "SELECT position FROM moz_bookmarks WHERE parent = "
                     + "(SELECT id FROM moz_bookmarks WHERE guid = :guid) ORDER BY position", { guid: args[0] })
                   ).map((row) => row.getResultByIndex(0)));""",
                folder,
            )

        def test_corrupt_positions_are_repaired(self):
            """Repeated ones at the beginning and at the end, gaps, and one beyond the end."""
            for positions in ([0, 0, 1, 1], [0, 0, 3, 3], [0, 1, 2, 4], [3, 3, 3, 3]):
                self.empty()
                folder = self.add_with_positions(["d", "b", "c", "a"], positions)
                self.browser.run("sort")
                self.assertEqual(self.titles(), ["Folder", ["a", "b", "c", "d"]], positions)
                self.assertEqual(self.positions_in(folder), [0, 1, 2, 3], positions)
                self.assert_sorted()

        def test_corrupt_positions_of_a_folder_in_order_are_shown_and_repaired(self):
            folder = self.add_with_positions(["a", "b", "c"], [0, 2, 5])
            self.assertEqual(self.browser.text("counts"), "Folders with damaged positions, which sorting repairs: 1")
            self.assertTrue(self.browser.is_enabled("sort"))
            self.assertIn("Done", self.browser.run("sort"))
            self.assertEqual(self.positions_in(folder), [0, 1, 2])
            self.assertEqual(self.titles(), ["Folder", ["a", "b", "c"]])
            self.assert_sorted()


main()
