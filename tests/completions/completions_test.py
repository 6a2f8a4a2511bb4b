#!/usr/bin/env python3
"""The completions know every command, option and value that the command knows, in each of the three shells."""

import json
import os
import pathlib
import plistlib
import re
import shutil
import subprocess
import tempfile
import unittest

import runner
import shells

TARVEL = os.environ["TARVEL_BIN"]


def help_of(path):
    return subprocess.run([TARVEL, *path, "--help"], capture_output=True, text=True, check=True).stdout


def commands_below(path):
    section = help_of(path).partition("\nCommands:\n")[2]
    names = []
    for line in section.splitlines():
        if not line.strip():
            break
        if match := re.match(r"  (\S+)", line):
            names.append(match.group(1))
    return names


def options_of(path):
    """Every long option that the help of a command explains."""
    names = set()
    for title in ("\nOptions:\n", "\nOptions of every command:\n"):
        section = help_of(path).partition(title)[2].partition("\n\n")[0]
        for head in re.findall(r"^  (-.*?)(?:  |$)", section, re.MULTILINE):
            for option in re.findall(r"--[a-z\[][a-z\[\]-]*", head):
                names |= {option.replace("[no-]", ""), option.replace("[no-]", "no-")}
    return names


def all_paths(path=()):
    yield path
    for name in commands_below(path):
        # Which takes the words of the others.
        if name != "help":
            yield from all_paths((*path, name))


class Completions:
    """For each shell."""

    @classmethod
    def setUpClass(cls):
        if not shutil.which(cls.SHELL):
            raise unittest.SkipTest(f"{cls.SHELL} is not installed")
        cls.home = pathlib.Path(tempfile.mkdtemp(prefix="tarvel-completions-"))
        cls.addClassCleanup(shutil.rmtree, cls.home)
        (cls.home / "Bookmarks.plist").touch()
        cls.shell = cls.MAKER(cls.home)
        if hasattr(cls.shell, "close"):
            cls.addClassCleanup(cls.shell.close)

    def offers(self, line):
        return self.shell.offers(line)

    def test_the_shell_can_read_the_file(self):
        subprocess.run([self.SHELL, "-n", shells.FILES[self.SHELL]], check=True)

    def test_every_command_is_known(self):
        seen = 0
        for path in all_paths():
            names = commands_below(path)
            if names:
                seen += len(names)
                offered = self.offers(" ".join(("tarvel", *path, "")))
                self.assertLessEqual(set(names), offered, path)
                # A file may stand in the place of a command.
                for other in offered - set(names):
                    self.assertTrue((self.home / other).exists(), (path, other))
        self.assertGreater(seen, 10)

    def test_help_takes_the_words_of_every_command(self):
        self.assertEqual(self.offers("tarvel hel"), {"help"})
        self.assertEqual(self.offers("tarvel help "), set(commands_below(())) - {"help"})
        self.assertEqual(self.offers("tarvel help backup "), {"create", "list", "prune"})
        self.assertEqual(self.offers("tarvel help backup list "), set())

    def test_every_option_of_every_command_is_known(self):
        seen = 0
        for path in all_paths():
            offered = self.offers(" ".join(("tarvel", *path, "--")))
            names = options_of(path)
            seen += len(names)
            self.assertEqual({name for name in offered if name.startswith("--")}, names, path)
        self.assertGreater(seen, 40)

    def test_the_values_of_options(self):
        self.assertEqual(self.offers("tarvel sort --color "), {"always", "auto", "never"})
        self.assertEqual(self.offers("tarvel sort --color=a"), {"always", "auto"})
        self.assertEqual(self.offers("tarvel dump --format "), {"binary", "json", "xml"})
        self.assertEqual(self.offers("tarvel sort --backup-file Book"), {"Bookmarks.plist"})

    def test_values_that_are_offered_are_taken(self):
        for option in ("sort --color", "dump --format"):
            for value in self.offers(f"tarvel {option} "):
                done = subprocess.run([TARVEL, *option.split(), value, "/nonexistent"], capture_output=True, check=False)
                self.assertIn(done.returncode, (1, 5), value)

    def test_files_are_offered_where_a_file_belongs_and_only_there(self):
        for command in ("sort", "preview", "restore", "dump", "backup", "diff", "diff one", "sort --json --color never"):
            self.assertEqual(self.offers(f"tarvel {command} Book"), {"Bookmarks.plist"}, command)
        for command in ("status", "sort one.plist", "settings"):
            self.assertEqual(self.offers(f"tarvel {command} Book"), set(), command)

    def back_up(self, file):
        """The name of a backup of a file of this name."""
        file.parent.mkdir(parents=True, exist_ok=True)
        child = {"WebBookmarkType": "WebBookmarkTypeList", "WebBookmarkUUID": "x", "Title": "BookmarksBar", "Children": []}
        file.write_bytes(plistlib.dumps({"WebBookmarkType": "WebBookmarkTypeList", "WebBookmarkFileVersion": 1,
                                         "WebBookmarkUUID": "r", "Title": "", "Children": [child]}))
        environment = {"HOME": str(self.home), "XDG_DATA_HOME": str(self.home)}
        made = subprocess.run([TARVEL, "backup", "--json", file], env=environment, check=True, capture_output=True)
        return pathlib.Path(json.loads(made.stdout)["backup"]).name

    def test_names_of_backups_are_offered(self):
        default = self.back_up(self.home / "Library/Safari/Bookmarks.plist")
        other = self.back_up(self.home / "Library/other one.plist")
        self.addCleanup(shutil.rmtree, self.home / "Library")
        self.addCleanup(shutil.rmtree, self.home / "Tarvel")
        for file, backup, absent in (("", default, other), ("'Library/other one.plist' ", other, default),
                                     ("Library/other\\ one.plist ", other, default), ("~/Library/Safari/Bookmarks.plist ", default, other)):
            with self.subTest(file):
                offered = {name.replace("\\ ", " ") for name in self.offers(f"tarvel restore {file}--from ")}
                self.assertIn(backup, offered)
                self.assertIn("Bookmarks.plist", offered)
                self.assertNotIn(absent, offered)

    def test_settings_and_their_values(self):
        for action in ("get", "set", "unset"):
            keys = self.offers(f"tarvel settings {action} ")
            self.assertLessEqual({"auto-sort-mode", "bookmarks-filename", "sort-bookmarks-bar"}, keys)
            for key in keys:
                done = subprocess.run([TARVEL, "settings", "get", key], env={"HOME": str(self.home)}, check=False,
                                      capture_output=True)
                self.assertEqual(done.returncode, 0, key)
        self.assertEqual(self.offers("tarvel settings set auto-sort-mode "), {"yes", "no"})
        self.assertEqual(self.offers("tarvel settings set bookmarks-filename Book"), {"Bookmarks.plist"})
        self.assertEqual(self.offers("tarvel settings set bookmarks-update-latency "), set())


class InBash(Completions, unittest.TestCase):
    SHELL = "bash"
    MAKER = shells.Bash


class InZsh(Completions, unittest.TestCase):
    SHELL = "zsh"
    MAKER = shells.Zsh


class InFish(Completions, unittest.TestCase):
    SHELL = "fish"
    MAKER = shells.Fish


if __name__ == "__main__":
    runner.main()
