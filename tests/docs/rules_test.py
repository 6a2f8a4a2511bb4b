#!/usr/bin/env python3
"""What docs/RULES.md says about titles and about what goes, asked of the command."""

import pathlib
import re
import sys
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(SOURCE / "tests/end_to_end"))
from support import HomeTest, folder, leaf, root, title_of  # noqa: E402

LANGUAGES = {"English": ["en_GB"], "English and German": ["en_GB", "de_DE"], "Swedish": ["sv_SE"], "Spanish": ["es_ES"]}


class Rules(HomeTest):
    def sorted_menu(self, *nodes, language="en_GB"):
        # Something to move, so that the file is written whatever else is in order.
        self.write(root(folder("BookmarksBar"), folder("BookmarksMenu", *nodes, folder("~", leaf("z"), leaf("y")))))
        self.environment["LC_ALL"] = f"{language}.UTF-8"
        done = self.tarvel("sort", "--no-backup", "--no-folders-at-top", self.file)
        self.assertEqual(done.returncode, 0, done.stderr)
        menu = next(child for child in self.read()["Children"] if child.get("Title") == "BookmarksMenu")
        return [title_of(child) for child in menu["Children"] if title_of(child) != "~"]

    def test_titles_are_ordered_as_the_table_says(self):
        rows = re.findall(r"^\| ([^|]+) \| ([^|]+) \| [^|]+ \|$", (SOURCE / "docs/RULES.md").read_text(), re.M)
        checked = 0
        titles = []
        for first, second in rows[1:]:
            words, _, languages = first.partition(" in ")
            if words != "the same":
                titles = words.split(", ")
            for language in LANGUAGES.get(languages, ["en_GB"]):
                nodes = [leaf(title, f"http://{i}.example/") for i, title in enumerate(titles)]
                self.assertEqual(self.sorted_menu(*nodes, language=language), second.split(", "), (first, language))
                checked += 1
        self.assertGreater(checked, 5, "the table was not found")

    def test_what_goes(self):
        tea = "https://tea.example/"
        self.assertEqual(self.sorted_menu(leaf("Tea", tea), leaf("Tea again", tea)), ["Tea again"])
        self.assertEqual(self.sorted_menu(leaf("Tea", tea), leaf("Tea again", tea[:-1])), ["Tea", "Tea again"])
        self.assertEqual(self.sorted_menu(leaf("a", "  ")), [])
        self.assertEqual(self.sorted_menu(folder("a", folder("b"))), [])
        self.assertEqual(self.sorted_menu(folder("a", leaf("Tea", tea)), leaf("Tea again", tea)), ["Tea again"])


if __name__ == "__main__":
    unittest.main()
