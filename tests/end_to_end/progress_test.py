"""Progress on a terminal, and Ctrl-C, which leaves the file as it was."""

import json
import os
import plistlib
import signal
import unittest

import runner
from bookmark_trees import folder, leaf, root
from home import HomeTest
from terminal import Terminal

ERASE = b"\r\x1b[K"


def large_file(count):
    """A file that is quick to make and slow to read."""
    head = plistlib.dumps(root(folder("BookmarksBar", leaf("b")), folder("BookmarksMenu", leaf("m"))), sort_keys=False)
    leaves = "".join(
        "<dict><key>WebBookmarkType</key><string>WebBookmarkTypeLeaf</string>"
        f"<key>WebBookmarkUUID</key><string>L{i}</string><key>URLString</key><string>http://e.example/{i}</string>"
        f"<key>URIDictionary</key><dict><key>title</key><string>title {i * 7919 % count}</string></dict></dict>"
        for i in range(count)
    )
    at = head.rindex(b"<dict>\n\t\t\t\t\t<key>WebBookmarkType</key>")
    return head[:at] + leaves.encode() + head[at:]


class Progress(HomeTest):
    def start(self, *arguments, **options):
        return Terminal(self.environment, *arguments, **options)

    def test_ctrl_c_while_waiting_leaves_everything_as_it_was(self):
        before = self.write(root(folder("BookmarksBar", leaf("b")), folder("BookmarksMenu", leaf("z"), leaf("a"))))
        (self.home / "lock").touch()
        files = self.files()
        run = self.start("sort", self.file)
        self.assertTrue(run.wait_for(b"Waiting for the browser"))
        run.press(b"\x03")
        self.assertEqual(run.end(), -signal.SIGINT)
        self.assertTrue(run.shown.endswith(ERASE), run.shown)
        self.assertEqual(run.after, run.before)
        self.assertEqual(self.file.read_bytes(), before)
        self.assertEqual(self.files(), files)

    def test_the_line_is_erased_before_the_output(self):
        self.write(root(folder("BookmarksBar", leaf("b")), folder("BookmarksMenu", leaf("z"), leaf("a"))))
        (self.home / "lock").touch()
        run = self.start("sort", self.file)
        self.assertTrue(run.wait_for(b"Waiting for the browser"))
        (self.home / "lock").unlink()
        self.assertEqual(run.end(), 0)
        answer = run.shown[run.shown.rindex(ERASE) + len(ERASE) :]
        self.assertTrue(answer.startswith("The bookmarks file was opened, sorted and saved.".encode()), run.shown)

    def test_json_output_has_no_progress(self):
        self.write(root(folder("BookmarksBar", leaf("b")), folder("BookmarksMenu", leaf("z"), leaf("a"))))
        (self.home / "lock").touch()
        reading, writing = os.pipe()
        run = self.start("sort", "--json", self.file, stdout=writing)
        os.close(writing)
        self.assertTrue(run.wait_for(b"Waiting for the browser"))
        (self.home / "lock").unlink()
        self.assertEqual(run.end(), 0)
        with open(reading, "rb") as answer:
            self.assertTrue(json.load(answer)["written"])
        self.assertTrue(run.shown.endswith(ERASE), run.shown)

    def test_nothing_is_drawn_on_a_dumb_terminal(self):
        self.write(root(folder("BookmarksBar", leaf("b")), folder("BookmarksMenu", leaf("z"), leaf("a"))))
        (self.home / "lock").touch()
        self.environment["TERM"] = "dumb"
        run = self.start("sort", self.file)
        self.assertEqual(run.end(), 8)
        self.assertNotIn(b"Waiting", run.shown)
        self.assertNotIn(b"\x1b", run.shown)

    def test_ctrl_c_at_each_stage_of_a_large_file_leaves_all_old_or_all_new(self):
        """The stage at the signal varies; the file is whole at each."""
        before = large_file(60_000)
        for stage in (b"Reading", b"Cleaning", b"Ordering", b"Writing"):
            self.file.write_bytes(before)
            run = self.start("sort", "--no-backup", self.file)
            if run.wait_for(stage):
                run.press(b"\x03")
            status = run.end()
            self.assertIn(status, (0, -signal.SIGINT), run.shown)
            now = self.file.read_bytes()
            if now == before:
                self.assertEqual(status, -signal.SIGINT)
            else:
                self.assertEqual(self.tarvel("preview", self.file).returncode, 0)
                menu = plistlib.loads(now)["Children"][1]["Children"]
                self.assertEqual(len(menu), 60_001)
            visible = [name for name in self.files() if not name.startswith(".tarvel-")]
            self.assertEqual(visible, ["Bookmarks.plist"])


if __name__ == "__main__":
    runner.main()
