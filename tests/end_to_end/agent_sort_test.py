"""The built agent sorts: when, which changes it sees, and what it ignores."""

import plistlib
import subprocess
import time

import runner
from agent_test_case import ONE_ROUND, AgentTestCase, menu, unsorted_root
from bookmark_trees import folder, leaf, root, titles
from machine import make_owned, wait_for

load_tests = runner.load_concurrently


class Sorting(AgentTestCase):
    def test_sorts_once_after_a_burst_of_saves(self):
        self.start_agent()
        for i in range(5):
            self.machine.lock.touch()
            self.machine.write(unsorted_root("d", "c", "b", f"a{i}"))
            self.machine.lock.unlink()
            time.sleep(0.1)
        started = time.monotonic()
        self.wait_for_sort()
        self.assertLess(time.monotonic() - started, 30)
        self.assertEqual(menu(self.machine.read()), ["a4", "b", "c", "d"])
        self.assertTrue(self.machine.backup.exists())
        # Its own rewrite does not wake it.
        self.assert_unchanged_for(3 * ONE_ROUND)
        self.assert_running()
        self.assertEqual(self.machine.log(), "")
        self.assertNotIn("LastHelperError", self.machine.stored())

    def test_does_not_sort_before_the_latency_is_over(self):
        self.start_agent(latency=3)
        changed = time.monotonic()
        self.machine.write(unsorted_root())
        self.wait_for_sort()
        self.assertGreaterEqual(time.monotonic() - changed, 5.0)

    def test_leaves_an_unchanged_file_alone_at_launch(self):
        self.start_agent()
        self.assert_unchanged_for(2 * ONE_ROUND)
        self.assertEqual(self.machine.log(), "")

    def test_ignores_other_files_of_the_folder(self):
        self.start_agent()
        for i in range(3):
            (self.machine.folder / f"History{i}.plist").write_bytes(b"x")
            time.sleep(0.2)
        self.assert_unchanged_for(2 * ONE_ROUND)
        self.assertFalse(self.is_sorted())

    def test_sorts_every_time_the_file_changes(self):
        self.start_agent()
        for names in (("b", "a"), ("d", "c", "a"), ("z", "y", "x", "w")):
            self.machine.write(unsorted_root(*names))
            self.wait_for_sort(f"the sort of {names}")
            self.assertEqual(menu(self.machine.read()), sorted(names))

    def test_sorts_a_save_that_comes_right_after_its_own_write(self):
        self.start_agent()
        self.machine.write(unsorted_root())
        for names in (("d", "c"), ("f", "e"), ("h", "g"), ("j", "i")):
            # While the agent syncs the folder, before it reads the date.
            while not self.is_sorted():
                pass
            self.machine.write(unsorted_root(*names))
            wait_for(lambda names=names: menu(self.machine.read()) == sorted(names), f"the sort of {names}")
        self.assert_unchanged_for(2 * ONE_ROUND)

    def test_uses_the_settings_at_the_time_of_the_sort(self):
        self.start_agent()
        self.machine.write(unsorted_root("b", "a"))
        self.wait_for_sort("the first sort")
        self.machine.set(AutoSortMode=True, BookmarksUpdateLatency=1, SortBookmarksBar=True)
        self.machine.write(root(folder("BookmarksBar", leaf("z"), leaf("y")), folder("BookmarksMenu", leaf("a"))))
        wait_for(lambda: titles(self.machine.read())[0][1] == ["y", "z"], "the bar to be sorted")


class Watching(AgentTestCase):
    def make_folder(self):
        self.machine.folder.mkdir()
        make_owned(self.machine.folder)

    def test_sees_a_file_written_in_place(self):
        self.start_agent()
        with self.machine.file.open("r+b") as file:
            data = plistlib.dumps(unsorted_root("d", "c"), fmt=plistlib.FMT_BINARY, sort_keys=False)
            file.write(data)
            file.truncate(len(data))
        self.wait_for_sort()

    def test_sees_a_file_behind_a_symbolic_link(self):
        target = self.machine.home / "elsewhere/Real.plist"
        target.parent.mkdir()
        self.machine.write(unsorted_root(), target)
        self.machine.file.symlink_to(target)
        self.machine.set(AutoSortMode=True, BookmarksUpdateLatency=1)
        self.machine.start().wait_until_watching()
        self.machine.write(unsorted_root("d", "c"), target)
        self.wait_for_sort()
        self.assertTrue(self.machine.file.is_symlink())
        self.assertEqual(menu(plistlib.loads(target.read_bytes())), ["c", "d"])

    def test_waits_for_a_folder_that_does_not_exist_yet(self):
        self.machine.folder.rmdir()
        self.machine.set(AutoSortMode=True, BookmarksUpdateLatency=1)
        self.machine.start()
        line = "Could not read the file‘s modification date: "
        wait_for(lambda: line in self.machine.log(), "the line about the date")
        time.sleep(0.5)
        self.assert_running()
        self.make_folder()
        self.machine.write(unsorted_root())
        self.wait_for_sort()

    def test_survives_its_folder_being_replaced(self):
        self.start_agent()
        self.machine.folder.rename(self.machine.home / "Library/Old")
        self.make_folder()
        self.machine.write(unsorted_root("d", "c"))
        self.wait_for_sort()
        self.assertEqual(menu(self.machine.read()), ["c", "d"])

    def test_survives_its_folder_being_recreated_while_it_is_another_process_working_directory(self):
        self.start_agent()
        with subprocess.Popen(["sleep", "1000"], cwd=self.machine.folder) as inside:
            try:
                self.machine.file.unlink()
                self.machine.folder.rmdir()
                self.make_folder()
                for names in (("b", "a"), ("d", "c")):
                    self.machine.write(unsorted_root(*names))
                    self.wait_for_sort(f"the sort of {names}")
            finally:
                inside.kill()


if __name__ == "__main__":
    runner.main()
