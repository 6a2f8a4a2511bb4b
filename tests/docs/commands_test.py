#!/usr/bin/env python3
"""Every command in the pages for users works, in the order of the page, and says what the page shows."""

import pathlib
import plistlib
import subprocess
import unittest

import runner
from bookmark_trees import folder, leaf
from home import SOURCE, TARVEL, HomeTest
from pages import commands_of, is_as_shown

NAMES = ("START", "PREVIEW", "RULES", "AGENT", "BROWSERS", "RECOVERING", "TRANSLATING", "PACKAGING", "LIBRARY")
PAGES = ["README.md", *(f"docs/{name}.md" for name in NAMES)]
# What a command may answer on a file that has something to say, where the page does not tell which.
ANSWERS = {"tarvel preview": {0, 10}, "tarvel diff": {0, 10}, "tarvel status": {0, 11}, "tarvel doctor": {0, 11}}
# Not every machine keeps a journal.
ANSWERS["tarvel agent log"] = {0, 12}
# Commands that no page needs to excuse.
ELSEWHERE = {
    "./scripts/run": "builds a release; needs no more than the build that this suite tests",
    "./scripts/test": "is this suite",
    "pkill": "ends programs that are not the test's",
}
MOST_NOT_RUN = 20


def bookmarks():
    """What every page starts from: a folder out of order, an address twice, and a folder with nothing in it."""
    return {
        "WebBookmarkType": "WebBookmarkTypeList",
        "WebBookmarkFileVersion": 1,
        "WebBookmarkUUID": "Root",
        "Title": "",
        "Children": [
            folder("BookmarksBar", leaf("News", "https://news.example/"), leaf("Weather", "https://weather.example/")),
            folder(
                "BookmarksMenu",
                leaf("Tea", "https://tea.example/"),
                leaf("apples", "https://apples.example/"),
                folder("Travel", leaf("Trains", "https://trains.example/"), leaf("Maps", "https://maps.example/")),
                leaf("Tea again", "https://tea.example/"),
                folder("Old things"),
            ),
        ],
    }


class Commands(HomeTest):
    def prepare(self):
        self.file = self.home / "Library/Safari/Bookmarks.plist"
        self.file.parent.mkdir(parents=True)
        self.write(bookmarks())
        (self.home / "Bookmarks.plist").write_bytes(plistlib.dumps(bookmarks(), fmt=plistlib.FMT_BINARY))
        (self.home / "bin").mkdir()
        (self.home / "bin/tarvel").symlink_to(TARVEL)
        self.environment["PATH"] = f"{self.home}/bin:{self.environment['PATH']}"
        # Where the pages say it is.
        del self.environment["XDG_DATA_HOME"]
        self.addCleanup(subprocess.run, [TARVEL, "agent", "disable"], env=self.environment, capture_output=True)

    def run_one(self, command):
        text = command.text.replace("/full/path/to", str(self.home))
        done = subprocess.run(
            ["bash", "-c", text],
            env=self.environment,
            cwd=self.home,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=60,
            check=False,
        )
        where = f"{command.page}:{command.line}: {command.text}"
        expected = {command.exits} if command.exits is not None else {0}
        for start, answers in ANSWERS.items():
            if command.exits is None and command.text.startswith(start):
                expected = answers
        self.assertIn(done.returncode, expected, f"{where}\n{done.stdout}{done.stderr}")
        if command.output:
            self.assertTrue(is_as_shown(command.output, done.stdout), f"{where}\nsays now:\n{done.stdout}")

    def run_page(self, page):
        self.prepare()
        for command in commands_of(page, (SOURCE / page).read_text()):
            for start, reason in ELSEWHERE.items():
                if command.text.startswith(start):
                    command.not_run = reason
            if not command.not_run:
                self.run_one(command)


def add_page(page):
    setattr(Commands, f"test_{pathlib.Path(page).stem}", lambda self: self.run_page(page))


class Marks(unittest.TestCase):
    def test_few_commands_are_not_run_and_each_for_a_reason(self):
        every = [c for page in PAGES if (SOURCE / page).exists() for c in commands_of(page, (SOURCE / page).read_text())]
        excused = [c for c in every if c.not_run or c.text.startswith(tuple(ELSEWHERE))]
        print(f"{len(every) - len(excused)} commands are run, {len(excused)} are not:")
        for command in excused:
            print(f"  {command.page}:{command.line}: {command.text}  ({command.not_run or 'see ELSEWHERE'})")
        self.assertGreater(len(every) - len(excused), 20, "the pages were not read")
        self.assertLessEqual(len(excused), MOST_NOT_RUN)

    def test_output_other_than_shown_is_noticed(self):
        self.assertTrue(is_as_shown(["a ... c", "...", "end"], "a b c\nx\ny\nend\n"))
        self.assertFalse(is_as_shown(["a ... c", "end"], "a b c\nx\nend\n"))
        self.assertFalse(is_as_shown(["end"], "ends\n"))

    def test_blocks_are_found(self):
        text = "Text\n\n<!-- not run: root -->\n    one   # why\n    two\n\n```sh\n$ three\nout\n```\n\n```text\nno\n```\n"
        found = commands_of("p", text)
        self.assertEqual([c.text for c in found], ["one   # why", "two", "three"])
        self.assertEqual([c.not_run for c in found], ["root", "root", ""])
        self.assertEqual(found[2].output, ["out"])


for one in PAGES:
    add_page(one)

if __name__ == "__main__":
    runner.main()
