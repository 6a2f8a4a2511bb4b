#!/usr/bin/env python3
"""What docs/RULES.md and docs/SAFETY.md say, asked of the command: each of its rules has a test here, or is shown by one that is named here."""

import plistlib
import re
import unittest

import runner
from bookmark_trees import folder, leaf, proxy, root, title_of, titles
from home import SOURCE, HomeTest

PAGE = "".join((SOURCE / f"docs/{name}.md").read_text() for name in ("RULES", "SAFETY"))
LANGUAGES = {"English": ["en_GB"], "English and German": ["en_GB", "de_DE"], "Swedish": ["sv_SE"], "Spanish": ["es_ES"]}
# Rules that take more than one run of the command to show.
SHOWN_ELSEWHERE = {
    "No concurrent save is lost": ["tests/crash_safety/concurrent_saves_test.cpp", "tests/crash_safety/interference_test.cpp", "tests/platform/linux/files/file_faults_test.cpp"],
    "Where others may write": ["tests/crash_safety/trespassing_test.cpp", "tests/platform/linux/files/atomic_write_test.cpp"],
}
TEA = "https://tea.example/"


def untitled(node):
    return {key: value for key, value in node.items() if key not in ("Title", "URIDictionary")}


class Rules(HomeTest):
    def sort(self, *children, options=(), status=0, **form):
        """The entries of the top level after a sort, in a file where something moves whatever else is in order."""
        self.before = self.write(root(*children, folder("~", leaf("z"), leaf("y"))), **form)
        done = self.tarvel("sort", "--no-backup", *options, self.file)
        self.assertEqual(done.returncode, status, done.stderr)
        return [child for child in self.read()["Children"] if child.get("Title") != "~"]

    def sorted_folder(self, title, *nodes, options=(), language="en_GB"):
        self.environment["LC_ALL"] = f"{language}.UTF-8"
        others = [folder(name) for name in ("BookmarksBar", "BookmarksMenu") if name != title]
        top = self.sort(*others, folder(title, *nodes), options=options)
        return next(child for child in top if child.get("Title") == title)

    def sorted_menu(self, *nodes, options=("--no-folders-at-top",), language="en_GB"):
        menu = self.sorted_folder("BookmarksMenu", *nodes, options=options, language=language)
        return [title_of(child) for child in menu["Children"]]

    def test_every_rule_is_shown(self):
        rules = re.findall(r"^\*\*([^*]+)\*\*", PAGE, re.M)
        self.assertGreater(len(rules), 10, "the page was not read")
        for rule in rules:
            if rule in SHOWN_ELSEWHERE:
                for test in SHOWN_ELSEWHERE[rule]:
                    self.assertTrue((SOURCE / test).is_file(), test)
            else:
                name = "test_" + re.sub(r"\W+", "_", rule).lower()
                self.assertTrue(any(test.startswith(name) for test in dir(self)), f"no test of “{rule}”: {name}")

    def test_ordered_as_the_table_says(self):
        rows = re.findall(r"^\| ([^|]+) \| ([^|]+) \| [^|]+ \|$", PAGE, re.M)
        checked = 0
        words = []
        for first, second in rows[1:]:
            some, _, languages = first.partition(" in ")
            if some != "the same":
                words = some.split(", ")
            for language in LANGUAGES.get(languages, ["en_GB"]):
                nodes = [leaf(title, f"http://{i}.example/") for i, title in enumerate(words)]
                self.assertEqual(self.sorted_menu(*nodes, language=language), second.split(", "), (first, language))
                checked += 1
        self.assertGreater(checked, 5, "the table was not found")

    def test_ordered_by_kind_first(self):
        unknown = {"WebBookmarkType": "Other", "WebBookmarkUUID": "Other", "Title": "c"}
        nodes = [unknown, leaf("b"), folder("e", leaf("x")), proxy("History"), leaf("a"), folder("d", leaf("w"))]
        self.assertEqual(self.sorted_menu(*nodes, options=()), ["History", "d", "e", "a", "b", "c"])
        self.assertEqual(self.sorted_menu(*nodes), ["History", "a", "b", "c", "d", "e"])

    def test_removed_as_the_table_says(self):
        self.assertEqual(self.sorted_menu(leaf("Tea", TEA), leaf("Tea again", TEA)), ["Tea again"])
        self.assertEqual(self.sorted_menu(leaf("Tea", TEA), leaf("Tea again", TEA[:-1])), ["Tea", "Tea again"])
        self.assertEqual(self.sorted_menu(leaf("Tea", TEA), leaf("Tea again", "https://TEA.example/")), ["Tea", "Tea again"])
        self.assertEqual(self.sorted_menu(leaf("a", "  ")), [])
        self.assertEqual(self.sorted_menu(folder("a", folder("b"))), [])
        self.assertEqual(self.sorted_menu(folder("a", leaf("Tea", TEA)), leaf("Tea again", TEA)), ["Tea again"])

    def test_removed_without_an_address_or_with_a_blank_one(self):
        none = leaf("a")
        del none["URLString"]
        self.assertEqual(self.sorted_menu(none, leaf("b", "\t "), leaf("c", "")), [])

    def test_removed_are_duplicates_within_one_of_three_places(self):
        top = self.sort(
            folder("BookmarksBar", leaf("bar 1", TEA), folder("in the bar", leaf("bar 2", TEA))),
            folder("BookmarksMenu", leaf("menu 1", TEA), leaf("menu 2", TEA)),
            folder("elsewhere", leaf("elsewhere 1", TEA)),
            leaf("elsewhere 2", TEA),
        )
        kept = [["BookmarksBar", [["in the bar", ["bar 2"]]]], ["BookmarksMenu", ["menu 2"]], "elsewhere 2"]
        self.assertEqual(titles({"Children": top}), kept)

    def test_removed_are_no_duplicates_when_they_are_to_stay(self):
        options = ["--no-remove-duplicates"]
        self.assertEqual(self.sorted_menu(leaf("1", TEA), leaf("2", TEA), options=options), ["1", "2"])

    def test_removed_are_neither_bar_nor_menu(self):
        top = self.sort(folder("BookmarksBar"), folder("BookmarksMenu"))
        self.assertEqual(titles({"Children": top}), [["BookmarksBar", []], ["BookmarksMenu", []]])

    def test_named_by_address_or_no_name(self):
        self.assertEqual(self.sorted_menu(untitled(leaf("a", TEA))), [TEA])
        self.assertEqual(self.sorted_menu(untitled(folder("a", leaf("b")))), ["No Name"])
        self.assertEqual(self.sorted_menu(untitled(folder("a", leaf("b"))), language="de_DE"), ["Ohne Namen"])
        self.assertEqual(self.sorted_menu(leaf("", TEA)), [""])

    def test_renamed_but_the_last(self):
        news = [leaf("News", f"http://{i}.example/") for i in range(3)]
        addresses = {"News 2 3": "http://0.example/", "News 2": "http://1.example/", "News": "http://2.example/"}
        menu = self.sorted_folder("BookmarksMenu", *news)
        self.assertEqual({title_of(n): n["URLString"] for n in menu["Children"]}, addresses)
        self.assertEqual(self.sorted_menu(*news, options=["--no-rename-samenamed"]), ["News"] * 3)
        self.assertEqual(self.sorted_menu(leaf("News"), leaf("news", TEA)), ["News", "news"])
        self.assertEqual(self.sorted_menu(folder("News", leaf("a")), folder("b", leaf("News"))), ["b", "News"])

    def test_renamed_up_to_a_limit(self):
        # A title made of a hundred thousand letters and some digits: 32 MB hold some three hundred of them.
        long = "N" * 100_000
        news = [leaf(long, f"http://{i}.example/") for i in range(1_000)]
        self.write(root(folder("BookmarksBar"), folder("BookmarksMenu", *news)))
        result = self.tarvel("sort", self.file)
        self.assertEqual(result.returncode, 0)
        self.assertIn(b"WARNING: some entries keep the title of a sibling", result.stderr)
        menu = self.read()["Children"][1]["Children"]
        self.assertEqual({node["URLString"] for node in menu}, {node["URLString"] for node in news})
        renamed = {title_of(node) for node in menu} - {long}
        self.assertTrue(300 < len(renamed) < 340, len(renamed))

    def test_left_alone_is_the_order_of_the_bar(self):
        bar = [leaf("2"), folder("1", leaf("d"), leaf("c")), folder("empty"), leaf("0")]
        self.assertEqual(titles(self.sorted_folder("BookmarksBar", *bar)), ["2", ["1", ["c", "d"]], "0"])
        inner = folder("BookmarksBar", leaf("b"), leaf("a"))
        self.assertEqual(titles(self.sorted_folder("BookmarksMenu", inner)), [["BookmarksBar", ["b", "a"]]])
        ordered = self.sorted_folder("BookmarksBar", *bar, options=["--sort-bookmarks-bar"])
        self.assertEqual(titles(ordered), [["1", ["c", "d"]], "0", "2"])

    def test_left_alone_are_hidden_folders(self):
        hidden = folder("hidden", leaf("b"), folder("empty"), folder("deep", leaf("d"), leaf("c")), ShouldOmitFromUI=True)
        everything = ["b", ["empty", []], ["deep", ["d", "c"]]]
        top = self.sort(folder("BookmarksBar"), folder("BookmarksMenu"), hidden)
        self.assertEqual(titles(top[2]), everything)
        menu = self.sorted_folder("BookmarksMenu", hidden)
        self.assertEqual(titles(menu), [["hidden", ["b", ["deep", ["d", "c"]]]]])

    def test_left_alone_is_what_no_rule_names(self):
        more = {"Notes": "by hand", "Read": plistlib.UID(7), "Data": b"\0\1", "Often": [1, 2.5, True]}
        unknown = {"WebBookmarkType": "Other", "WebBookmarkUUID": "Other", "Title": "c", "Children": []}
        menu = self.sorted_folder("BookmarksMenu", leaf("b", **more), unknown, leaf("a"))
        self.assertEqual({key: menu["Children"][1][key] for key in more}, more)
        self.assertEqual(menu["Children"][2], unknown)

    def test_written_only_when_an_order_changed(self):
        before = self.write(root(folder("BookmarksBar"), folder("BookmarksMenu", folder("empty"), leaf("a"), leaf("b"))))
        self.assertEqual(self.tarvel("sort", self.file).returncode, 0)
        self.assertEqual(self.file.read_bytes(), before)
        self.assertFalse(self.backup.exists())

    def test_written_each_time_when_an_identifier_is_missing(self):
        one = leaf("a")
        del one["WebBookmarkUUID"]
        for _ in range(2):
            before = self.write(root(folder("BookmarksBar"), folder("BookmarksMenu", one)))
            self.assertEqual(self.tarvel("sort", self.file).returncode, 0)
            self.assertNotEqual(self.file.read_bytes(), before)

    def test_written_are_a_binary_form_and_a_new_identifier_and_what_is_fixed_comes_first(self):
        hidden = folder("hidden", leaf("h"), ShouldOmitFromUI=True)
        places = [leaf("a"), folder("BookmarksMenu"), proxy("History"), hidden, folder("BookmarksBar")]
        top = self.sort(*places, fmt=plistlib.FMT_XML)
        self.assertEqual([title_of(n) for n in top], ["BookmarksMenu", "History", "hidden", "BookmarksBar", "a"])
        self.assertTrue(self.file.read_bytes().startswith(b"bplist00"))
        self.assertNotEqual(self.read()["WebBookmarkUUID"], plistlib.loads(self.before)["WebBookmarkUUID"])

    def test_refused_are_other_files(self):
        for status, content in [
            (3, root(folder("BookmarksMenu", leaf("a")))),
            (3, root(folder("BookmarksBar", leaf("a")))),
            (3, {"a": 1}),
            (4, root(folder("BookmarksBar"), folder("BookmarksMenu"), WebBookmarkFileVersion=2)),
        ]:
            with self.subTest(status=status):
                before = self.write(content)
                self.assertEqual(self.tarvel("sort", self.file).returncode, status, content)
                self.assertEqual(self.file.read_bytes(), before)

    def test_never_lost_is_the_file_before_the_first_change(self):
        def unsorted():
            return root(folder("BookmarksBar"), folder("BookmarksMenu", leaf("b"), leaf("a")))

        first = self.write(unsorted())
        for _ in range(2):
            self.assertEqual(self.tarvel("sort", self.file).returncode, 0)
            self.assertEqual(self.backup.read_bytes(), first)
            self.write(unsorted())
        self.file.chmod(0o640)
        link = self.home / "link.plist"
        link.symlink_to(self.file)
        self.assertEqual(self.tarvel("sort", link).returncode, 0)
        self.assertTrue(link.is_symlink())
        self.assertEqual(self.file.stat().st_mode & 0o777, 0o640)
        self.assertEqual(titles(self.read())[1], ["BookmarksMenu", ["a", "b"]])

    def test_never_lost_is_a_second_name(self):
        self.write(root(folder("BookmarksBar"), folder("BookmarksMenu", leaf("b"), leaf("a"))))
        other = self.home / "other.plist"
        other.hardlink_to(self.file)
        self.assertEqual(self.tarvel("sort", self.file).returncode, 0)
        self.assertTrue(other.samefile(self.file))
        self.assertEqual(titles(self.read())[1], ["BookmarksMenu", ["a", "b"]])

    def test_one_hard_rule(self):
        bars = [folder("BookmarksBar", leaf("first")), folder("BookmarksBar", leaf("second"))]
        top = self.sort(*bars, folder("BookmarksMenu"))
        self.assertEqual(titles({"Children": top[:2]}), [["BookmarksBar", ["first"]], ["BookmarksBar", ["first"]]])

    def test_while_the_browser_is_busy(self):
        before = self.write(root(folder("BookmarksBar"), folder("BookmarksMenu", leaf("b"), leaf("a"))))
        (self.home / "lock").touch()
        self.assertEqual(self.tarvel("sort", self.file).returncode, 8)
        self.assertEqual(self.file.read_bytes(), before)


if __name__ == "__main__":
    runner.main()
