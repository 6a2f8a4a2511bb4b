"""The built agent stores an error code, launches the main application and exits."""

import subprocess

import runner
from agent_test_case import AgentTestCase, unsorted_root

load_tests = runner.load_concurrently


class SortErrors(AgentTestCase):
    def unreadable(self):
        return f"The bookmarks file “{self.machine.file}” could not be read."

    def test_4_for_a_newer_file_version(self):
        self.start_agent()
        self.machine.write(unsorted_root(WebBookmarkFileVersion=2))
        before = self.machine.fingerprint()
        self.assert_hands_over(4, f"The file “{self.machine.file}” is a bookmarks file, but the version is too advanced.")
        self.assertEqual(self.machine.fingerprint(), before)

    def test_5_for_a_file_without_read_permission(self):
        self.start_agent()
        self.machine.write(unsorted_root("d", "c"))
        self.machine.file.chmod(0)
        self.assert_hands_over(5, f"{self.unreadable()} Please verify that you have read and write access")

    def test_5_for_a_file_that_is_not_a_property_list(self):
        self.start_agent()
        self.machine.file.write_bytes(b"bplist00 and nothing more")
        self.assert_hands_over(5, self.unreadable())
        self.assertEqual(self.machine.file.read_bytes(), b"bplist00 and nothing more")

    def test_5_for_a_million_open_parentheses(self):
        self.start_agent()
        nested = b"(" * 1_000_000
        self.machine.file.write_bytes(nested)
        self.assert_hands_over(5, self.unreadable())
        self.assertEqual(self.machine.file.read_bytes(), nested)

    def test_3_for_a_property_list_without_bookmarks(self):
        self.start_agent()
        self.machine.write({"some": "settings"})
        self.assert_hands_over(3, f"The file “{self.machine.file}” is not a bookmarks file.")

    def test_6_for_a_file_without_write_permission(self):
        self.start_agent()
        self.machine.write(unsorted_root("d", "c"))
        self.machine.file.chmod(0o444)
        before = self.machine.fingerprint()
        self.assert_hands_over(6, f"The bookmarks file “{self.machine.file}” could not be saved.")
        self.assertEqual(self.machine.fingerprint(), before)

    def test_7_when_the_backup_cannot_be_made(self):
        (self.machine.home / "data/Tarvel").write_text("a file")
        self.start_agent()
        self.machine.write(unsorted_root("d", "c"))
        before = self.machine.fingerprint()
        self.assert_hands_over(7, f"A backup for the bookmarks file “{self.machine.backup}” could not be created.")
        self.assertEqual(self.machine.fingerprint(), before)

    def test_1_for_a_deleted_file(self):
        self.start_agent()
        self.machine.file.unlink()
        self.assert_hands_over(1, f"The bookmarks file “{self.machine.file}” could not be located.")
        self.assertIn("Could not read the file‘s modification date: ", self.machine.log())


class WatchErrors(AgentTestCase):
    def assert_hands_over_101(self):
        self.assert_hands_over(101, "Could not begin watching bookmarks file.")
        log = self.machine.log()
        first = log.index("Could not begin watching the bookmarks file for file system events.")
        self.assertGreater(log.index("Could not begin watching bookmarks file."), first)

    def test_101_without_inotify_watches(self):
        no_watches = "echo 0 > /proc/sys/user/max_inotify_watches"
        in_namespace = ("unshare", "-U", "-r", "sh", "-c")
        probe = subprocess.run([*in_namespace, no_watches], capture_output=True, text=True, check=False)
        if probe.returncode != 0:
            self.skipTest(f"this system has no user namespaces with limits: {probe.stderr}")
        self.machine.write(unsorted_root())
        self.machine.set(AutoSortMode=True, BookmarksUpdateLatency=1)
        self.machine.start(before=(*in_namespace, f'{no_watches} && exec "$0"'))
        self.assert_hands_over_101()

    def test_101_for_a_folder_without_search_permission(self):
        self.machine.write(unsorted_root())
        self.machine.set(AutoSortMode=True)
        self.machine.folder.chmod(0)
        self.addCleanup(self.machine.folder.chmod, 0o755)
        self.machine.start()
        self.assert_hands_over_101()


if __name__ == "__main__":
    runner.main()
