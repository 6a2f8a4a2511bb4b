"""Every path argument of every command, when it is empty, the same file as another argument, or another file's backup. The
expected results are the table in docs/PATHS.md."""

import os
import plistlib
import re
import unittest

import runner
from bookmark_trees import folder, leaf, root
from home import SOURCE, HomeTest

# The words before and after the path, for each row of the table.
ARGUMENTS = {
    ("preview", "FILE"): (["preview"], []),
    ("preview", "--backup-file"): (["preview", "--backup-file"], ["{file}"]),
    ("preview", "-o"): (["preview", "-o"], ["{file}"]),
    ("sort", "FILE"): (["sort"], []),
    ("sort", "--backup-file"): (["sort", "--backup-file"], ["{file}"]),
    ("restore", "FILE"): (["restore", "--yes"], []),
    ("restore", "--from"): (["restore", "--from"], ["{file}"]),
    ("restore", "--backup-file"): (["restore", "--yes", "--backup-file"], ["{file}"]),
    ("backup", "FILE"): (["backup"], []),
    ("backup", "--backup-file"): (["backup", "--backup-file"], ["{file}"]),
    ("backup list", "FILE"): (["backup", "list"], []),
    ("backup list", "--backup-file"): (["backup", "list", "--backup-file"], ["{file}"]),
    ("backup prune", "FILE"): (["backup", "prune", "--keep", "9"], []),
    ("backup prune", "--backup-file"): (["backup", "prune", "--keep", "9", "--backup-file"], ["{file}"]),
    ("dump", "FILE"): (["dump"], []),
    ("diff", "OLD"): (["diff"], ["{file}"]),
    ("diff", "NEW"): (["diff", "{file}"], []),
    ("diff", "-o"): (["diff", "{file}", "{file}", "-o"], []),
    ("settings set", "bookmarks-filename"): (["settings", "set", "bookmarks-filename"], []),
}


def table():
    """The three results of each (command, argument)."""
    rows = {}
    for line in (SOURCE / "docs/PATHS.md").read_text().splitlines():
        cells = [cell.strip().replace("`", "") for cell in line.strip("|").split("|")]
        if len(cells) == 5 and cells[0] not in ("Command", "---"):
            rows[cells[0], cells[1]] = cells[2:]
    return rows


class Paths(HomeTest):
    def setUp(self):
        super().setUp()
        self.environment["XDG_CONFIG_HOME"] = str(self.home / "config")
        self.write(root(folder("BookmarksBar"), folder("BookmarksMenu", leaf("z"), leaf("a"))))
        self.other = self.home / "other.plist"
        self.other.write_bytes(plistlib.dumps(root(folder("BookmarksBar"), folder("BookmarksMenu", leaf("y"), leaf("b")))))
        # The default file, which an empty argument must not mean.
        self.default = self.home / "Library/Safari/Bookmarks.plist"
        self.default.parent.mkdir(parents=True)
        self.default.write_bytes(self.other.read_bytes())
        self.assertEqual(self.tarvel("sort", self.other).returncode, 0)
        self.others_backup = self.initial_backup_of(self.other)
        self.assertTrue(self.others_backup.is_file())

    def contents(self):
        return {name: (self.home / name).read_bytes() for name in self.files()}

    def run_with(self, argument, path):
        before, after = ARGUMENTS[argument]
        words = [word.format(path, file=self.file) if "{" in word else word for word in before]
        if not any("={}" in word for word in before):
            words.append(str(path))
        return self.tarvel(*words, *(word.format(file=self.file) for word in after))

    def check(self, argument, path, answer):
        """`answer` as in the table: an exit status, perhaps with "nothing changed"."""
        if answer == "-":
            return
        before = self.contents()
        result = self.run_with(argument, path)
        status = int(re.match(r"\d+", answer).group())
        with self.subTest(command=argument, path=str(path)):
            self.assertEqual(result.returncode, status, result.stdout + result.stderr)
            if status in (64, 10):
                self.assertEqual(self.contents(), before)
            if status == 64:
                self.assertEqual(result.stdout, b"")
                self.assertTrue(result.stderr)

    def names_of_the_file(self):
        """The file by each of its names."""
        link, hard = self.home / "link.plist", self.home / "hard.plist"
        link.symlink_to(self.file)
        os.link(self.file, hard)
        yield from (self.file, link, hard, self.home / "x/../Bookmarks.plist")

    def test_every_row_of_the_table_is_tested(self):
        self.assertEqual(set(table()), set(ARGUMENTS))

    def test_an_empty_path_is_refused(self):
        for argument, (empty, _, _) in table().items():
            self.check(argument, "", empty)

    def test_one_file_given_twice(self):
        (self.home / "x").mkdir()
        for name in self.names_of_the_file():
            for argument, (_, same, _) in table().items():
                # There is no other file argument.
                if argument[1] in ("FILE", "bookmarks-filename"):
                    self.assertEqual(same, "-", argument)
                    continue
                self.check(argument, name, same)

    def test_the_backup_of_another_file(self):
        for argument, (_, _, others) in table().items():
            self.check(argument, self.others_backup, others)


if __name__ == "__main__":
    runner.main()
