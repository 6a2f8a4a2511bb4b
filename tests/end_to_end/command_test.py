"""The command: output, exit status, and what it leaves unchanged."""

import json
import os
import plistlib
import unittest

import runner
from bookmark_trees import folder, leaf, proxy, root, titles
from home import HomeTest


def unsorted_root(**more):
    return root(
        proxy("History"),
        folder("BookmarksBar", leaf("z"), leaf("y")),
        folder("BookmarksMenu", leaf("b"), folder("C", leaf("e"), leaf("d")), leaf("a")),
        **more,
    )


class Sort(HomeTest):
    def test_sorts_and_makes_the_backup(self):
        before = self.write(unsorted_root())
        result = self.tarvel("sort", self.file)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertTrue(result.stdout.startswith(b"The bookmarks file was opened, sorted and saved.\n"))
        self.assertEqual(result.stderr, b"")
        self.assertEqual(
            titles(self.read()),
            ["History", ["BookmarksBar", ["z", "y"]], ["BookmarksMenu", [["C", ["d", "e"]], "a", "b"]]],
        )
        self.assertEqual(self.backup.read_bytes(), before)
        self.assertEqual(self.files(), ["Bookmarks.plist", f"data/Tarvel/{self.backup.name}"])

    def test_a_second_sort_writes_nothing(self):
        self.write(unsorted_root())
        self.tarvel("sort", self.file)
        before = (self.file.read_bytes(), self.file.stat().st_mtime_ns, self.file.stat().st_ino)
        result = self.tarvel("sort", self.file)
        self.assertEqual(result.returncode, 0)
        self.assertIn(b"nothing was written", result.stdout)
        self.assertNotIn(b"saved", result.stdout)
        self.assertEqual((self.file.read_bytes(), self.file.stat().st_mtime_ns, self.file.stat().st_ino), before)

    def test_default_file_is_the_browsers(self):
        self.file = self.home / "Library/Safari/Bookmarks.plist"
        self.file.parent.mkdir(parents=True)
        self.write(unsorted_root())
        self.assertEqual(self.tarvel("sort").returncode, 0)
        self.assertEqual(titles(self.read())[2], ["BookmarksMenu", [["C", ["d", "e"]], "a", "b"]])

    def test_relative_paths_are_taken_from_the_working_folder(self):
        self.write(unsorted_root())
        result = self.tarvel("sort", "Bookmarks.plist", "--backup-file", "here/first.plist")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(self.files(), ["Bookmarks.plist", "here/first.plist"])

    def test_options_reach_the_engine(self):
        self.write(
            root(
                folder("BookmarksBar", leaf("z"), leaf("y")),
                folder("BookmarksMenu", leaf("b", "u"), folder("C", leaf("e")), leaf("a", "u"), leaf("a", "v")),
            )
        )
        options = ["--sort-bookmarks-bar", "--no-folders-at-top", "--no-remove-duplicates", "--no-rename-samenamed"]
        self.assertEqual(self.tarvel("sort", "--no-backup", *options, self.file).returncode, 0)
        self.assertEqual(
            titles(self.read()), [["BookmarksBar", ["y", "z"]], ["BookmarksMenu", ["a", "a", "b", ["C", ["e"]]]]]
        )
        self.assertEqual(self.files(), ["Bookmarks.plist"])

    def test_report_names_what_was_removed_renamed_and_named(self):
        self.write(
            root(
                folder("BookmarksBar"),
                folder(
                    "BookmarksMenu",
                    leaf("b", "http://same/"),
                    leaf("News", "http://n1/"),
                    leaf("News", "http://n2/"),
                    leaf("blank", "  "),
                    folder("Empty"),
                    leaf(None, "http://untitled/"),
                    leaf("a", "http://same/"),
                ),
            )
        )
        report = json.loads(self.tarvel("sort", "--json", self.file).stdout)
        self.assertEqual(report["exitStatus"], 0)
        self.assertTrue(report["written"])
        removed = {(r["title"], r["address"], r["reason"]) for r in report["removed"]}
        self.assertEqual(
            removed,
            {("b", "http://same/", "duplicate"), ("blank", "  ", "no-address"), ("Empty", None, "empty-folder")},
        )
        duplicate = next(r for r in report["removed"] if r["reason"] == "duplicate")
        self.assertEqual((duplicate["kept"]["folder"], duplicate["kept"]["title"]), (["BookmarksMenu"], "a"))
        titles_of = lambda kind: [(pair["before"]["title"], pair["after"]["title"]) for pair in report[kind]]
        self.assertEqual(titles_of("renamed"), [("News", "News 2")])
        self.assertEqual(titles_of("named"), [(None, "http://untitled/")])
        self.assertEqual(report["counts"]["moved"], len(report["moved"]))

    def test_text_report_names_address_and_reason(self):
        self.write(root(folder("BookmarksBar"), folder("BookmarksMenu", leaf("b", "u"), leaf("c"), leaf("a", "u"))))
        text = self.tarvel("sort", self.file).stdout.decode()
        self.assertIn("removed “b” <u> from BookmarksMenu: same address as “a” in BookmarksMenu", text)

    def test_titles_cannot_steer_the_terminal(self):
        self.write(root(folder("BookmarksBar"), folder("BookmarksMenu", leaf("z\x1b[2J\u202e"), leaf("a"))))
        result = self.tarvel("preview", "-v", self.file)
        self.assertNotIn(b"\x1b", result.stdout)
        self.assertNotIn("\u202e".encode(), result.stdout)
        self.assertIn(b"z\\u{001B}[2J\\u{202E}", result.stdout)

    def test_colors_only_on_a_terminal_or_when_asked(self):
        self.write(unsorted_root())
        self.assertNotIn(b"\x1b", self.tarvel("preview", self.file).stdout)
        self.assertIn(b"\x1b[", self.tarvel("preview", "--color=always", self.file).stdout)
        self.environment["NO_COLOR"] = "1"
        self.assertNotIn(b"\x1b", self.tarvel("preview", self.file).stdout)


class Codes(HomeTest):
    def check(self, code, *arguments):
        before = self.file.read_bytes() if self.file.is_file() else None
        result = self.tarvel(*arguments)
        self.assertEqual(result.returncode, code, result.stderr)
        self.assertNotEqual(result.stderr, b"")
        self.assertEqual(self.file.read_bytes() if self.file.is_file() else None, before)
        self.assertEqual(self.files(), ["Bookmarks.plist"] if before is not None else [])
        return result.stderr.decode()

    def test_1_no_file(self):
        text = self.check(1, "sort", self.file)
        self.assertEqual(
            text,
            "tarvel: The bookmarks file “~/Bookmarks.plist” could not be located.\n"
            "Please locate the file and try again.\n"
            "Nothing was changed.\n",
        )

    def test_12_nothing_to_open_a_page_with(self):
        self.write(root(folder("BookmarksBar"), folder("BookmarksMenu")))
        self.environment["PATH"] = str(self.home)
        result = self.tarvel("preview", "--open", self.file)
        self.assertEqual(result.returncode, 12)
        self.assertIn("xdg-utils", result.stderr.decode())
        self.assertTrue((self.home / ".cache/Tarvel/preview.html").is_file())

    def test_64_no_command(self):
        result = self.tarvel()
        self.assertEqual(result.returncode, 64)
        self.assertIn("Give a command", result.stderr.decode())
        self.assertIn("tarvel preview", result.stderr.decode())

    def test_1_no_file_at_the_usual_place(self):
        for command in ("sort", "preview"):
            with self.subTest(command=command):
                text = self.check(1, command)
                self.assertIn("“~/Library/Safari/Bookmarks.plist” could not be located.", text)
                self.assertTrue(text.endswith(f"pass its path.\n  tarvel {command} PATH\n"), text)

    def test_1_no_backup(self):
        self.write(root(folder("BookmarksBar"), folder("BookmarksMenu")))
        text = self.check(1, "restore", self.file)
        self.assertIn("tarvel backup list", text)
        self.assertIn("--backup-file", text)

    def test_3_not_a_bookmarks_file(self):
        self.write({"a": 1})
        self.check(3, "sort", self.file)
        self.check(3, "preview", self.file)
        self.write(["a"])
        self.check(3, "sort", self.file)

    def test_3_bar_or_menu_missing(self):
        self.write(root(folder("BookmarksMenu", leaf("a"))))
        self.check(3, "sort", self.file)
        self.write(root(folder("BookmarksBar", leaf("a"))))
        self.check(3, "sort", self.file)

    def test_4_version_too_advanced(self):
        self.write(unsorted_root() | {"WebBookmarkFileVersion": 2})
        self.check(4, "sort", self.file)
        self.check(4, "preview", self.file)

    def test_5_unreadable_content(self):
        for content in (b"", b"bplist00 torn", b"<plist><dict>", b"{ a = b"):
            self.file.write_bytes(content)
            with self.subTest(content=content):
                self.check(5, "sort", self.file)
                self.check(5, "preview", self.file)
                self.check(5, "dump", self.file)

    def test_7_backup_impossible(self):
        self.write(unsorted_root())
        text = self.check(7, "sort", "--backup-file", self.file / "below" / "backup.plist", self.file)
        self.assertIn("“~/Bookmarks.plist/below”", text)

    def test_8_locked_all_the_time(self):
        self.write(unsorted_root())
        (self.home / "lock").mkdir()
        self.check(8, "sort", self.file)

    def test_64_usage_suggests_the_right_option(self):
        for arguments, hint in (
            (["sort", "--folder-at-top"], "--folders-at-top"),
            (["sort", "--no-remove-duplicate"], "--no-remove-duplicates"),
            (["srot"], "sort"),
            (["dump", "--format", "yaml"], "tarvel help dump"),
            ([], "tarvel help"),
            (["sort", "a", "b"], "tarvel help sort"),
        ):
            with self.subTest(arguments=arguments):
                self.assertIn(hint, self.check(64, *arguments))


class Preview(HomeTest):
    def test_writes_nothing_and_exits_with_10_then_0(self):
        before = self.write(unsorted_root())
        os.utime(self.file, ns=(1, 2))
        result = self.tarvel("preview", self.file)
        self.assertEqual(result.returncode, 10, result.stderr)
        self.assertIn(b"Order of BookmarksMenu", result.stdout)
        self.assertIn(b"Order of BookmarksMenu / C", result.stdout)
        self.assertEqual(self.file.read_bytes(), before)
        self.assertEqual(self.file.stat().st_mtime_ns, 2)
        self.assertEqual(self.files(), ["Bookmarks.plist"])
        self.tarvel("sort", self.file)
        self.assertEqual(self.tarvel("preview", self.file).returncode, 0)

    def test_predicts_what_the_sort_does(self):
        self.write(unsorted_root())
        foretold = json.loads(self.tarvel("preview", "--json", self.file).stdout)
        done = json.loads(self.tarvel("sort", "--json", self.file).stdout)
        for part in ("counts", "moved", "removed", "renamed", "named", "orderChanged"):
            self.assertEqual(foretold[part], done[part])
        self.assertFalse(foretold["written"])
        self.assertTrue(done["written"])

    def test_cleaning_alone_is_not_a_change(self):
        self.write(root(folder("BookmarksBar"), folder("BookmarksMenu", leaf("a", "u"), leaf("b", "u"))))
        result = self.tarvel("preview", self.file)
        self.assertEqual(result.returncode, 0)
        self.assertIn(b"removed", result.stdout)

    def test_does_not_wait_for_the_browser(self):
        self.write(unsorted_root())
        (self.home / "lock").touch()
        self.assertEqual(self.tarvel("preview", self.file, timeout=30).returncode, 10)


class Restore(HomeTest):
    def test_puts_the_backup_back(self):
        before = self.write(unsorted_root())
        self.tarvel("sort", self.file)
        sorted_ = self.file.read_bytes()
        self.assertNotEqual(sorted_, before)
        result = self.tarvel("restore", self.file)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(self.file.read_bytes(), before)
        self.assertFalse(self.backup.exists())
        # The output names the backup of what was replaced.
        (kept,) = [name for name in self.files() if name != "Bookmarks.plist"]
        self.assertEqual((self.home / kept).read_bytes(), sorted_)
        self.assertIn(self.shown(self.home / kept).encode(), result.stdout)

    def test_a_backup_behind_a_link_is_restored(self):
        before = self.write(unsorted_root())
        self.tarvel("sort", self.file)
        elsewhere = self.home / "elsewhere/real.plist"
        elsewhere.parent.mkdir()
        self.backup.rename(elsewhere)
        self.backup.symlink_to(os.path.relpath(elsewhere, self.backup.parent))
        result = self.tarvel("restore", self.file)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertFalse(self.file.is_symlink())
        self.assertEqual(self.file.read_bytes(), before)
        self.assertFalse(self.backup.is_symlink())

    def test_1_without_a_backup_and_2_without_a_file(self):
        before = self.write(unsorted_root())
        self.assertEqual(self.tarvel("restore", self.file).returncode, 1)
        self.assertEqual(self.file.read_bytes(), before)
        self.tarvel("sort", self.file)
        self.file.unlink()
        self.assertEqual(self.tarvel("restore", self.file).returncode, 2)
        self.assertTrue(self.backup.exists())


class Dump(HomeTest):
    VALUES = {"z": 1, "a": [True, 1.5, b"data", "text"], "m": {"n": "ü"}}

    def test_converts_between_all_forms(self):
        self.write(self.VALUES)
        xml = self.tarvel("dump", self.file).stdout
        self.assertTrue(xml.startswith(b"<?xml"))
        self.assertEqual(plistlib.loads(xml), self.VALUES)
        binary = self.tarvel("dump", "--format", "binary", "-", input=xml).stdout
        self.assertTrue(binary.startswith(b"bplist00"))
        self.assertEqual(plistlib.loads(binary), self.VALUES)
        values = json.loads(self.tarvel("dump", "--format", "json", self.file).stdout)
        self.assertEqual(values, {"z": 1, "a": [True, 1.5, "ZGF0YQ==", "text"], "m": {"n": "ü"}})
        self.assertEqual(list(values), ["z", "a", "m"])

    def test_reads_the_old_text_form(self):
        self.file.write_bytes(b'{ key = "value"; list = (a, b); }')
        self.assertEqual(
            json.loads(self.tarvel("dump", "--format", "json", self.file).stdout), {"key": "value", "list": ["a", "b"]}
        )

    def test_unreadable_input_gets_line_and_reason(self):
        self.file.write_bytes(b"<plist>\n<dict>\n<key>a</key><foo/>\n</dict></plist>")
        result = self.tarvel("dump", self.file)
        self.assertEqual(result.returncode, 5)
        self.assertIn(b"line 3", result.stderr)
        self.assertIn(b"foo", result.stderr)
        self.assertEqual(result.stdout, b"")

    def test_missing_file_and_folder(self):
        self.assertEqual(self.tarvel("dump", self.home / "none").returncode, 1)
        self.assertEqual(self.tarvel("dump", self.home).returncode, 5)


class Help(HomeTest):
    def test_help_and_version(self):
        for arguments in (["--help"], ["sort", "--help"], ["preview", "--help"], ["restore", "--help"], ["dump", "--help"]):
            with self.subTest(arguments=arguments):
                result = self.tarvel(*arguments)
                self.assertEqual(result.returncode, 0)
                self.assertIn(b"--", result.stdout)
        self.assertRegex(self.tarvel("--version").stdout, rb"^tarvel \d+\.\d+\.\d+\n$")


if __name__ == "__main__":
    runner.main()
