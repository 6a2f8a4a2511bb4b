"""The command and the agent use the same settings: a preview shows what the agent does."""

import json
import os
import plistlib
import subprocess
import unittest

import runner
from bookmark_trees import folder, leaf, root, titles
from home import TARVEL, HomeTest
from machine import Machine, wait_for


def bookmarks():
    """A tree to which every rule applies."""
    bar = folder("BookmarksBar", leaf("bar z"), leaf("bar a"))
    menu = folder(
        "BookmarksMenu",
        leaf("b"),
        folder("c folder", leaf("inside")),
        leaf("a"),
        leaf("twice", "http://twice.example/"),
        leaf("again", "http://twice.example/"),
        leaf("same", "http://same.example/1"),
        leaf("same", "http://same.example/2"),
    )
    return root(bar, menu)


RULES = ("FoldersAtTop", "RemoveDuplicates", "RenameSamenamed", "SortBookmarksBar")
DEFAULTS = {"FoldersAtTop": True, "RemoveDuplicates": True, "RenameSamenamed": True, "SortBookmarksBar": False}
OPTIONS = {
    "FoldersAtTop": "folders-at-top",
    "RemoveDuplicates": "remove-duplicates",
    "RenameSamenamed": "rename-samenamed",
    "SortBookmarksBar": "sort-bookmarks-bar",
}


def without_root_identifier(path):
    tree = plistlib.loads(path.read_bytes())
    del tree["WebBookmarkUUID"]
    return tree


class BesideTheAgent(unittest.TestCase):
    def command(self, machine, *arguments):
        return subprocess.run(
            [TARVEL, *map(str, arguments)], env=machine.environment, capture_output=True, stdin=subprocess.DEVNULL, check=False
        )

    def check_agreement(self, **rules):
        with Machine() as machine:
            file = machine.home / "elsewhere/My Bookmarks.plist"
            twin = machine.home / "twin.plist"
            file.parent.mkdir()
            tree = bookmarks()
            machine.write(tree, file)
            machine.write(tree, twin)
            before = file.read_bytes()
            machine.set(AutoSortMode=True, BookmarksUpdateLatency=1, BookmarksFilename=str(file), **rules)

            shown = json.loads(self.command(machine, "preview", "--json").stdout)
            self.assertEqual(shown["file"], str(file))
            changed = {OPTIONS[key]: value for key, value in rules.items() if value != DEFAULTS[key]}
            self.assertEqual(shown["settings"], {"bookmarks-filename": str(file), **changed})
            self.assertEqual(file.read_bytes(), before)

            self.assertEqual(self.command(machine, "sort", twin).returncode, 0)
            expected = without_root_identifier(twin)
            machine.folder = file.parent
            machine.start()
            machine.wait_until_watching()
            machine.write(tree, file)
            wait_for(lambda: file.read_bytes() != before, "the agent to sort the file")
            machine.wait_until_idle()
            self.assertEqual(without_root_identifier(file), expected)
            self.assertEqual(machine.terminate(), 0)

            # The preview showed what was done.
            menu = [child for child in expected["Children"] if child["Title"] == "BookmarksMenu"][0]
            now = [child.get("Title", child.get("URIDictionary", {}).get("title")) for child in menu["Children"]]
            foretold = [pair["after"] for pair in shown["moved"] if pair["after"]["folder"] == ["BookmarksMenu"]]
            self.assertTrue(foretold)
            for entry in foretold:
                self.assertEqual(now[entry["place"] - 1], entry["title"])

            # The command restores the agent's backup.
            self.assertEqual(self.command(machine, "restore").returncode, 0)
            self.assertEqual(file.read_bytes(), before)

    def test_with_the_default_rules(self):
        self.check_agreement()

    def test_with_every_rule_inverted(self):
        self.check_agreement(**{rule: not value for rule, value in DEFAULTS.items()})


class InForce(HomeTest):
    def setUp(self):
        super().setUp()
        self.environment["XDG_CONFIG_HOME"] = str(self.home / "config")
        self.default = self.home / "Library/Safari/Bookmarks.plist"
        self.default.parent.mkdir(parents=True)
        self.default.write_bytes(plistlib.dumps(root(folder("BookmarksBar"), folder("BookmarksMenu", leaf("default")))))
        self.write(bookmarks())

    def set(self, **settings):
        for key, value in settings.items():
            result = self.tarvel("settings", "set", key, value)
            self.assertEqual(result.returncode, 0, result.stderr)

    def preview(self, *options):
        return json.loads(self.tarvel("preview", "--json", *options).stdout)

    def test_an_option_overrides_a_setting_and_a_setting_the_default(self):
        for key in RULES:
            with self.subTest(setting=key):
                self.set(**{OPTIONS[key]: not DEFAULTS[key]})
                by_setting = self.preview(self.file)
                self.assertEqual(by_setting["settings"], {OPTIONS[key]: not DEFAULTS[key]})
                option = OPTIONS[key] if DEFAULTS[key] else "no-" + OPTIONS[key]
                overruled = self.preview("--" + option, self.file)
                self.assertEqual(overruled["settings"], {})
                self.assertEqual(overruled, self.preview("--no-settings", self.file))
                self.assertNotEqual({**by_setting, "settings": {}}, overruled)
                self.assertEqual(self.tarvel("settings", "unset", key).returncode, 0)

    def test_a_sort_uses_the_settings_and_names_them(self):
        self.set(SortBookmarksBar="yes")
        result = self.tarvel("sort", self.file)
        self.assertEqual(result.returncode, 0)
        self.assertIn(b"Settings that decided something (--no-settings ignores them):\n  sort-bookmarks-bar = yes\n", result.stdout)
        self.assertEqual(titles(self.read())[0], ["BookmarksBar", ["bar a", "bar z"]])

    def test_settings_equal_to_the_defaults_are_not_named(self):
        self.set(SortBookmarksBar="no", FoldersAtTop="yes", BookmarksFilename=str(self.default))
        self.assertNotIn(b"settings", self.tarvel("preview").stdout)
        self.assertEqual(self.preview()["settings"], {})

    def test_every_command_without_a_file_uses_that_of_the_settings(self):
        self.set(BookmarksFilename=str(self.file))
        before = self.file.read_bytes()
        named = f"bookmarks-filename = {self.file}\n".encode()
        self.assertIn(named, self.tarvel("preview").stdout)
        self.assertEqual(json.loads(self.tarvel("dump", "--format", "json").stdout)["Title"], "")
        self.assertEqual(plistlib.loads(self.tarvel("dump").stdout), plistlib.loads(before))
        self.assertEqual(self.tarvel("backup").returncode, 0)
        self.assertEqual(json.loads(self.tarvel("backup", "list", "--json").stdout)["file"], str(self.file))
        self.assertIn(named, self.tarvel("sort").stdout)
        self.assertNotEqual(self.file.read_bytes(), before)
        self.assertEqual(self.tarvel("restore").returncode, 0)
        self.assertEqual(self.file.read_bytes(), before)
        self.assertNotEqual(plistlib.loads(self.tarvel("dump", "--no-settings").stdout), plistlib.loads(before))

    def test_the_page_uses_the_settings_and_names_them(self):
        self.set(SortBookmarksBar="yes", BookmarksFilename=str(self.file))
        page = self.tarvel("preview", "--html").stdout.decode()
        self.assertIn("Setting: sort-bookmarks-bar = yes", page)
        self.assertNotIn("Setting: ", self.tarvel("preview", "--html", "--no-settings", self.file).stdout.decode())

    def test_unreadable_settings_are_reported_and_the_defaults_used(self):
        settings = self.home / "config/org.tarvel.Tarvel/preferences.plist"
        settings.parent.mkdir(parents=True)
        settings.write_bytes(b"<plist><dict><key>broken")
        result = self.tarvel("preview", self.file)
        self.assertEqual(result.returncode, 10)
        self.assertIn(os.fsencode(str(settings)), result.stderr)


if __name__ == "__main__":
    runner.main()
