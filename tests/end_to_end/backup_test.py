"""Dated backups: made, listed, pruned, restored."""

import datetime
import json
import os
import re
import shlex
import stat
import subprocess
import unittest

import runner
from bookmark_trees import folder, leaf, root
from home import PATIENCE, TARVEL, HomeTest
from terminal import Terminal

NAME = re.compile(r"^Bookmarks \d{4}-\d\d-\d\d \d{6}\.\d{3}Z [0-9a-f]{8}\.plist$")


def bookmarks(*titles):
    return root(folder("BookmarksBar", *(leaf(title) for title in titles)), folder("BookmarksMenu", leaf("m")))


class BackupTest(HomeTest):
    def setUp(self):
        super().setUp()
        self.folder = self.backup.parent

    def copies(self):
        """The dated backups, oldest first."""
        if not self.folder.exists():
            return []
        return sorted(path for path in self.folder.iterdir() if NAME.match(path.name))

    def keep(self, *titles):
        """Writes a file, makes a backup of it and returns its path."""
        bytes_ = self.write(bookmarks(*titles))
        result = self.tarvel("backup", self.file)
        self.assertEqual(result.returncode, 0, result.stderr)
        newest = self.copies()[-1]
        self.assertEqual(newest.read_bytes(), bytes_)
        return newest


class Make(BackupTest):
    def test_a_backup_has_the_exact_bytes_and_is_private(self):
        os.umask(0)
        self.addCleanup(os.umask, 0o022)
        before = datetime.datetime.now(datetime.timezone.utc) - datetime.timedelta(seconds=1)
        copy = self.keep("b", "a")
        self.assertEqual(stat.S_IMODE(copy.stat().st_mode), 0o600)
        self.assertEqual(stat.S_IMODE(self.folder.stat().st_mode), 0o700)
        made = datetime.datetime.strptime(copy.name[10:31], "%Y-%m-%d %H%M%S.%f").replace(tzinfo=datetime.timezone.utc)
        self.assertLess(before, made)
        self.assertLess(made, datetime.datetime.now(datetime.timezone.utc))
        self.assertEqual(self.files(), ["Bookmarks.plist", f"data/Tarvel/{copy.name}"])

    def test_the_same_bytes_are_not_kept_twice_in_a_row(self):
        self.keep("a")
        result = self.tarvel("backup", self.file)
        self.assertEqual(result.returncode, 0)
        self.assertIn("no other was made".encode(), result.stdout)
        self.assertEqual(len(self.copies()), 1)
        self.keep("b")
        self.keep("a")
        self.assertEqual(len(self.copies()), 3)

    def test_only_a_bookmarks_file_is_backed_up(self):
        self.assertEqual(self.tarvel("backup", self.file).returncode, 1)
        self.file.write_bytes(b"{ a = b; }")
        result = self.tarvel("backup", self.file)
        self.assertEqual(result.returncode, 3)
        self.assertIn(b"is not a bookmarks file", result.stderr)
        self.file.unlink()
        self.file.mkdir()
        self.assertEqual(self.tarvel("backup", self.file).returncode, 5)
        self.assertEqual(self.copies(), [])

    def test_a_file_in_place_of_the_folder_is_an_error(self):
        self.write(bookmarks("a"))
        self.folder.parent.mkdir()
        self.folder.write_bytes(b"")
        result = self.tarvel("backup", self.file)
        self.assertEqual(result.returncode, 7)
        self.assertEqual(result.stdout, b"")

    def test_backups_of_two_files_are_separate(self):
        self.keep("a")
        other = self.home / "other.plist"
        other.write_bytes(self.write(bookmarks("b")))
        self.assertEqual(self.tarvel("backup", other).returncode, 0)
        self.assertEqual(len(self.copies()), 2)
        for file in (self.file, other, "./other.plist"):
            listed = json.loads(self.tarvel("backup", "list", "--json", file).stdout)["backups"]
            self.assertEqual(len(listed), 1)
        self.assertEqual(self.tarvel("backup", "prune", "--keep", "1", other).returncode, 0)
        self.assertEqual(len(self.copies()), 2)

    def test_the_folder_of_the_initial_backup_is_that_of_all(self):
        self.write(bookmarks("a"))
        self.assertEqual(self.tarvel("backup", "--backup-file", "here/first.plist", self.file).returncode, 0)
        self.assertEqual(len([name for name in self.files() if name.startswith("here/Bookmarks ")]), 1)


class List(BackupTest):
    def test_lists_backups_newest_first_and_the_initial_backup_last(self):
        first = self.write(bookmarks("b"))
        self.folder.mkdir(parents=True)
        self.backup.write_bytes(first)
        old, new = self.keep("a"), self.keep("b", "a", "c")
        answer = json.loads(self.tarvel("backup", "list", "--json", self.file).stdout)
        self.assertEqual(answer["file"], str(self.file))
        self.assertEqual(answer["folder"], str(self.folder))
        self.assertEqual([copy["name"] for copy in answer["backups"]], [new.name, old.name, self.backup.name])
        self.assertEqual([copy["path"] for copy in answer["backups"]], [str(new), str(old), str(self.backup)])
        self.assertEqual([copy["bookmarks"] for copy in answer["backups"]], [4, 2, 2])
        self.assertEqual([copy["initial"] for copy in answer["backups"]], [False, False, True])
        self.assertEqual([copy["sameAsFile"] for copy in answer["backups"]], [True, False, False])
        self.assertEqual([copy["size"] for copy in answer["backups"]], [p.stat().st_size for p in (new, old, self.backup)])
        for copy in answer["backups"]:
            self.assertRegex(copy["date"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")
        text = self.tarvel("backup", "list", self.file).stdout.decode()
        self.assertLess(text.index(new.name), text.index(old.name))
        self.assertIn("the initial backup", text)
        self.assertEqual(text.count("same as the file now"), 1)

    def test_no_backups_are_not_an_error(self):
        result = self.tarvel("backup", "list", self.file)
        self.assertEqual(result.returncode, 0)
        self.assertIn(b"There is no backup", result.stdout)
        self.assertEqual(json.loads(self.tarvel("backup", "list", "--json", self.file).stdout)["backups"], [])
        self.assertEqual(self.files(), [])


class Prune(BackupTest):
    def test_removes_the_oldest_and_never_the_newest(self):
        copies = [self.keep(title) for title in "abcd"]
        foreign = self.folder / "Bookmarks 2020-01-01 000000.000Z.plist"
        foreign.write_bytes(copies[0].read_bytes())
        linked = self.folder / copies[0].name.replace("Bookmarks 20", "Bookmarks 19")
        linked.symlink_to(copies[3])
        result = self.tarvel("backup", "prune", "--keep", "2", "--dry-run", self.file)
        self.assertEqual(result.returncode, 0)
        self.assertIn(b"2 backups would be removed, 2 would stay.", result.stdout)
        self.assertTrue(all(copy.exists() for copy in copies))
        result = self.tarvel("backup", "prune", "--keep", "2", self.file)
        self.assertEqual(result.returncode, 0)
        self.assertIn(copies[0].name.encode(), result.stdout)
        self.assertEqual([copy.exists() for copy in copies], [False, False, True, True])
        self.assertEqual(self.tarvel("backup", "prune", "--older-than", "0h", "--keep", "0", self.file).returncode, 0)
        self.assertTrue(copies[3].exists())
        self.assertTrue(foreign.exists())
        self.assertTrue(linked.is_symlink())

    def test_a_count_is_decimal_with_leading_zeros_too(self):
        copies = [self.keep(str(i)) for i in range(10)]
        self.assertEqual(self.tarvel("backup", "prune", "--keep", "010", self.file).returncode, 0)
        self.assertEqual(self.tarvel("backup", "prune", "--keep", "9" * 30, self.file).returncode, 0)
        self.assertTrue(all(copy.exists() for copy in copies))

    def test_concurrent_prunes_all_succeed(self):
        copies = [self.keep(str(i)) for i in range(10)]
        command = [TARVEL, "backup", "prune", "--keep", "1", str(self.file)]
        runs = [subprocess.Popen(command, env=self.environment, stdout=subprocess.DEVNULL) for _ in range(4)]
        self.assertEqual([run.wait(PATIENCE) for run in runs], [0, 0, 0, 0])
        self.assertEqual(self.copies(), copies[-1:])

    def test_older_than_removes_only_older_backups(self):
        copies = [self.keep(title) for title in "abc"]
        ancient = self.folder / re.sub(r" \d{4}-", " 2001-", copies[0].name)
        copies[0].rename(ancient)
        result = self.tarvel("backup", "prune", "--older-than", "90d", self.file)
        self.assertEqual(result.returncode, 0)
        self.assertFalse(ancient.exists())
        self.assertTrue(copies[1].exists() and copies[2].exists())

    def test_files_that_are_not_bookmarks_are_left_alone(self):
        copies = [self.keep(title) for title in "abc"]
        copies[0].write_bytes(b"something else by now")
        result = self.tarvel("backup", "prune", "--keep", "1", self.file)
        self.assertEqual([copy.exists() for copy in copies], [True, False, True])
        self.assertIn(b"not a readable bookmarks file", result.stdout)

    def test_without_a_rule_nothing_is_removed(self):
        self.keep("a")
        for arguments in ([], ["--keep", "-1"], ["--older-than", "soon"], ["--keep", "many"]):
            with self.subTest(arguments=arguments):
                result = self.tarvel("backup", "prune", *arguments, self.file)
                self.assertEqual(result.returncode, 64, arguments)
        self.assertEqual(len(self.copies()), 1)


class RestoreFrom(BackupTest):
    def test_shows_the_difference_and_needs_yes(self):
        old = self.keep("a", "b")
        now = self.write(bookmarks("a", "c"))
        result = self.tarvel("restore", "--from", old.name, self.file)
        self.assertEqual(result.returncode, 10)
        self.assertIn("“c”".encode(), result.stdout)
        self.assertIn(b"--yes", result.stdout)
        self.assertEqual(self.file.read_bytes(), now)
        self.assertEqual(self.copies(), [old])
        result = self.tarvel("restore", "--from", old.name, "--yes", self.file)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(self.file.read_bytes(), old.read_bytes())
        self.assertEqual(len(self.copies()), 2)
        kept = self.copies()[1]
        self.assertEqual(kept.read_bytes(), now)
        self.assertIn(self.shown(kept).encode(), result.stdout)

    def test_asks_at_a_terminal(self):
        for answer, status in ((b"n\n", 10), (b"\n", 10), (b"\x04", 10), (b"y\n", 0)):
            with self.subTest(answer=answer, status=status):
                old = self.keep("a", "b")
                now = self.write(bookmarks("a", answer.hex()))
                run = Terminal(self.environment, "restore", "--from", old.name, self.file)
                self.assertTrue(run.wait_for(b"[y/N]"))
                self.assertLess(run.shown.index("“b”".encode()), run.shown.index(b"[y/N]"))
                run.press(answer)
                self.assertEqual(run.end(), status, answer)
                self.assertEqual(self.file.read_bytes(), now if status else old.read_bytes())

    def test_any_file_can_be_restored_and_is_kept(self):
        first = self.write(bookmarks("b", "a"))
        self.folder.mkdir(parents=True)
        self.backup.write_bytes(first)
        elsewhere = self.home / "elsewhere.plist"
        elsewhere.write_bytes(self.write(bookmarks("x")))
        for copy in (elsewhere, "elsewhere.plist", "./elsewhere.plist", self.backup.name, "Initial", self.backup):
            now = self.write(bookmarks(str(copy)))
            result = self.tarvel("restore", "--from", copy, "--yes", self.file)
            self.assertEqual(result.returncode, 0, result.stderr)
            expected = first if "Init" in str(copy) else elsewhere.read_bytes()
            self.assertEqual(self.file.read_bytes(), expected)
            self.assertEqual(self.copies()[-1].read_bytes(), now)
        self.assertEqual(self.backup.read_bytes(), first)

    def test_mode_and_link_of_the_file_are_kept(self):
        old = self.keep("a")
        real = self.home / "real.plist"
        self.file.rename(real)
        real.write_bytes(self.write(bookmarks("b")))
        real.chmod(0o640)
        self.file.unlink()
        self.file.symlink_to(real.name)
        self.assertEqual(self.tarvel("restore", "--from", old, "--yes", self.file).returncode, 0)
        self.assertTrue(self.file.is_symlink())
        self.assertEqual(real.read_bytes(), old.read_bytes())
        self.assertEqual(stat.S_IMODE(real.stat().st_mode), 0o640)

    def test_a_missing_or_broken_file_is_restored(self):
        old = self.keep("a")
        self.file.unlink()
        self.assertEqual(self.tarvel("restore", "--from", old, "--yes", self.file).returncode, 0)
        self.assertEqual(self.file.read_bytes(), old.read_bytes())
        self.file.write_bytes(b"torn")
        result = self.tarvel("restore", "--from", old, "--yes", self.file)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(self.file.read_bytes(), old.read_bytes())
        self.assertEqual(self.copies()[-1].read_bytes(), b"torn")

    def test_a_pipe_folder_or_dangling_link_is_neither_opened_nor_restored(self):
        now = self.write(bookmarks("a"))
        self.folder.mkdir(parents=True)
        for make in (os.mkfifo, os.mkdir, lambda path: os.symlink("/nowhere", path), lambda path: open(path, "w").close()):
            make(self.backup)
            for arguments in (["restore"], ["restore", "--from", self.backup, "--yes"]):
                result = self.tarvel(*arguments, self.file, timeout=60)
                self.assertIn(result.returncode, (1, 3, 5), result.stdout)
                self.assertIn(b"Nothing was changed" if result.returncode != 1 else b"o", result.stderr)
            listed = self.tarvel("backup", "list", self.file, timeout=60)
            self.assertEqual(listed.returncode, 0)
            self.assertEqual(self.tarvel("backup", "prune", "--keep", "0", self.file, timeout=60).returncode, 0)
            self.assertTrue(os.path.lexists(self.backup))
            self.assertEqual(self.file.read_bytes(), now)
            self.assertEqual(self.copies(), [])
            os.rmdir(self.backup) if self.backup.is_dir() else os.unlink(self.backup)

    def test_the_initial_backup_is_restored_to_a_file_with_two_names(self):
        first = self.write(bookmarks("b", "a"))
        self.folder.mkdir(parents=True)
        self.backup.write_bytes(first)
        second = self.home / "second.plist"
        os.link(self.file, second)
        os.chmod(self.file, 0o640)
        now = self.write(bookmarks("a", "b"))
        result = self.tarvel("restore", self.file)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(self.file.read_bytes(), first)
        self.assertEqual(second.read_bytes(), first)
        self.assertEqual(stat.S_IMODE(self.file.stat().st_mode), 0o640)
        self.assertFalse(self.backup.exists())
        self.assertEqual(self.copies()[-1].read_bytes(), now)

    def test_the_file_by_another_name_is_not_a_backup(self):
        now = self.write(bookmarks("b", "a"))
        self.folder.mkdir(parents=True)
        os.link(self.file, self.backup)
        self.assertEqual(self.tarvel("restore", self.file).returncode, 64)
        self.backup.unlink()
        self.backup.symlink_to(self.file)
        self.assertEqual(self.tarvel("restore", self.file).returncode, 64)
        self.assertEqual(self.tarvel("restore", "--backup-file", self.file, self.file).returncode, 64)
        self.assertEqual(self.file.read_bytes(), now)

    def test_the_suggested_command_restores_the_backup(self):
        self.write(bookmarks("a"))
        for arguments in ([self.file], ["--backup-file", self.home / "it's here" / "first.plist", self.file]):
            with self.subTest(arguments=arguments):
                told = self.tarvel("backup", *arguments).stdout.decode()
                kept = self.file.read_bytes()
                self.write(bookmarks("b"))
                words = shlex.split(told[told.index("tarvel restore") :])
                result = self.tarvel(*words[1:], "--yes")
                self.assertEqual(result.returncode, 0, result.stderr)
                self.assertEqual(self.file.read_bytes(), kept)

    def test_an_empty_name_is_refused(self):
        now = self.write(bookmarks("a"))
        self.folder.mkdir(parents=True)
        self.backup.write_bytes(now.replace(b"a", b"z"))
        self.assertEqual(self.tarvel("restore", "--from", "", self.file).returncode, 64)
        self.assertEqual(self.tarvel("restore", "--from=", self.file).returncode, 64)
        self.assertEqual(self.file.read_bytes(), now)
        self.assertTrue(self.backup.exists())

    def test_faults_change_nothing(self):
        old = self.keep("a")
        now = self.write(bookmarks("b"))
        junk = self.home / "junk.plist"
        junk.write_bytes(b"{ a = b; }")
        for arguments, status in (
            (["--from", "none"], 1),
            (["--from", self.home / "none"], 1),
            (["--from", junk, "--yes"], 3),
            (["--from", self.home, "--yes"], 5),
            (["--yes"], 1),
        ):
            with self.subTest(arguments=arguments, status=status):
                result = self.tarvel("restore", *arguments, self.file)
                self.assertEqual(result.returncode, status, arguments)
                self.assertNotEqual(result.stderr, b"")
        (self.home / "lock").touch()
        self.assertEqual(self.tarvel("restore", "--from", old, "--yes", self.file).returncode, 8)
        self.assertEqual(self.file.read_bytes(), now)
        self.assertEqual(self.copies(), [old])


if __name__ == "__main__":
    runner.main()
