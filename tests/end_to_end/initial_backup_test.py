"""Each file keeps its own initial backup, and another file's backup is restored only after confirmation."""

import os
import plistlib
import unittest

import runner
from bookmark_trees import folder, leaf, root
from home import HomeTest

AGENTS = "data/Tarvel/Bookmarks (Initial Copy).plist"


def bookmarks(name):
    """An unsorted file that is different for each name."""
    return plistlib.dumps(
        root(folder("BookmarksBar"), folder("BookmarksMenu", leaf(f"z {name}"), leaf(f"a {name}"))),
        fmt=plistlib.FMT_BINARY,
    )


class InitialBackups(HomeTest):
    def setUp(self):
        super().setUp()
        self.environment["XDG_CONFIG_HOME"] = str(self.home / "config")
        self.a = self.home / "a.plist"
        self.b = self.home / "b.plist"
        self.default = self.home / "Library/Safari/Bookmarks.plist"
        self.default.parent.mkdir(parents=True)
        self.originals = {}
        for path in (self.a, self.b, self.default):
            self.originals[path] = bookmarks(path.name)
            path.write_bytes(self.originals[path])

    def done(self, *arguments):
        result = self.tarvel(*arguments)
        self.assertEqual(result.returncode, 0, result.stderr)
        return result

    def is_original(self, path):
        return path.read_bytes() == self.originals[path]

    def test_each_of_two_files_gets_its_own_original_back(self):
        self.done("sort", self.a)
        self.done("sort", self.b)
        self.assertFalse(self.is_original(self.a) or self.is_original(self.b))
        self.done("restore", self.b)
        self.assertTrue(self.is_original(self.b))
        self.done("restore", self.a)
        self.assertTrue(self.is_original(self.a))

    def test_the_default_file_always_uses_the_agents_backup(self):
        self.done("sort", self.a)
        self.assertFalse((self.home / AGENTS).exists())
        self.done("sort")
        self.assertEqual((self.home / AGENTS).read_bytes(), self.originals[self.default])
        self.done("restore")
        self.assertTrue(self.is_original(self.default))

    def test_a_file_named_by_a_link_has_the_backup_of_the_file(self):
        link = self.home / "link.plist"
        link.symlink_to(self.a)
        self.done("sort", self.a)
        self.assertIn(b"nothing was written", self.done("sort", link).stdout)
        self.done("restore", link)
        self.assertTrue(self.is_original(self.a))

    def test_the_backup_option_does_not_restore_another_files_backup(self):
        backup = self.home / "mine/backup.plist"
        self.done("sort", "--backup-file", backup, self.a)
        self.assertEqual(backup.read_bytes(), self.originals[self.a])
        for command in ("sort", "restore", "preview", "backup"):
            with self.subTest(command=command):
                result = self.tarvel(command, "--backup-file", backup, self.b)
                self.assertEqual(result.returncode, 64, command)
                self.assertIn(f"is the backup of “{self.shown(self.a)}”, not of “{self.shown(self.b)}”".encode(), result.stderr)
                self.assertTrue(self.is_original(self.b))
        self.assertEqual(backup.read_bytes(), self.originals[self.a])

    def test_another_files_backup_needs_confirmation(self):
        self.done("sort", self.a)
        backup = self.initial_backup_of(self.a)
        result = self.tarvel("restore", "--from", backup, self.b)
        self.assertEqual(result.returncode, 10)
        self.assertIn(f"This backup was made of another file, “{self.shown(self.a)}”".encode(), result.stdout)
        self.assertTrue(self.is_original(self.b))
        self.done("restore", "--yes", "--from", backup, self.b)
        self.assertEqual(self.b.read_bytes(), self.originals[self.a])

    def test_a_backup_without_a_recorded_file_needs_confirmation(self):
        self.done("sort")
        backup = self.home / AGENTS
        backup.write_bytes(self.originals[self.a])
        os.removexattr(backup, "user.tarvel.copied-from")
        sorted_bytes = self.default.read_bytes()
        result = self.tarvel("restore")
        self.assertEqual(result.returncode, 10)
        self.assertIn(b"does not record which file it was made of", result.stdout)
        self.assertEqual(self.default.read_bytes(), sorted_bytes)
        self.done("restore", "--yes")
        self.assertEqual(self.default.read_bytes(), self.originals[self.a])

    def test_a_hint_names_the_agents_backup_when_it_may_be_the_files(self):
        (self.home / "data/Tarvel").mkdir(parents=True)
        (self.home / AGENTS).write_bytes(self.originals[self.a])
        result = self.tarvel("restore", self.a)
        self.assertEqual(result.returncode, 1)
        self.assertIn(f"tarvel restore --dry-run --from '{self.home / AGENTS}' '{self.a}'".encode(), result.stderr)

    def test_a_new_file_in_the_settings_gets_its_own_backup(self):
        self.done("sort")
        self.done("settings", "set", "BookmarksFilename", self.a)
        # As the agent's first sort of the file: makes a backup with its name unless there is one.
        self.assertFalse((self.home / AGENTS).exists())
        self.done("sort")
        self.assertEqual((self.home / AGENTS).read_bytes(), self.originals[self.a])
        self.done("restore")
        self.assertTrue(self.is_original(self.a))
        self.done("restore", self.default)
        self.assertTrue(self.is_original(self.default))

    def test_returning_to_the_default_file_returns_its_backup(self):
        self.done("sort")
        self.done("settings", "set", "BookmarksFilename", self.a)
        self.done("sort")
        self.done("settings", "unset", "BookmarksFilename")
        self.assertEqual((self.home / AGENTS).read_bytes(), self.originals[self.default])
        self.done("restore")
        self.assertTrue(self.is_original(self.default))
        self.done("restore", self.a)
        self.assertTrue(self.is_original(self.a))

    def test_a_setting_that_cannot_be_stored_leaves_the_backups_as_they_are(self):
        self.done("sort")
        (self.home / "config").write_bytes(b"in the way")
        result = self.tarvel("settings", "set", "BookmarksFilename", self.a)
        self.assertEqual(result.returncode, 12)
        self.assertEqual((self.home / AGENTS).read_bytes(), self.originals[self.default])
        self.done("restore", "--no-settings")
        self.assertTrue(self.is_original(self.default))

    def test_a_file_set_by_another_program_keeps_its_original(self):
        self.done("sort")
        settings = self.home / "config/org.tarvel.Tarvel/preferences.plist"
        settings.parent.mkdir(parents=True)
        settings.write_bytes(plistlib.dumps({"BookmarksFilename": str(self.b)}))
        self.done("sort")
        self.assertEqual((self.home / AGENTS).read_bytes(), self.originals[self.default])
        self.done("restore")
        self.assertTrue(self.is_original(self.b))

    def test_the_doctor_finds_another_files_backup(self):
        self.done("sort")
        settings = self.home / "config/org.tarvel.Tarvel/preferences.plist"
        settings.parent.mkdir(parents=True)
        settings.write_bytes(plistlib.dumps({"BookmarksFilename": str(self.b)}))
        shown = self.tarvel("doctor").stdout
        self.assertIn(f"is the backup of “{self.shown(self.default)}”".encode(), shown)
        advice = f"tarvel settings set bookmarks-filename '{self.b}'"
        self.assertIn(advice.encode(), shown)
        self.done("settings", "set", "BookmarksFilename", self.b)
        self.assertNotIn(b"is the backup of", self.tarvel("doctor").stdout)


if __name__ == "__main__":
    runner.main()
