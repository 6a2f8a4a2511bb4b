"""Turning sorting on and off with one command, on a desktop without a service manager."""

import json
import os
import pathlib
import plistlib
import time
import unittest

import runner
from bookmark_trees import folder, leaf, root, titles
from home import HomeTest

IDENTIFIER = "org.tarvel.Tarvel"
PATIENCE = 20


class AgentCommand(HomeTest):
    def setUp(self):
        super().setUp()
        self.runtime = self.home / "runtime"
        self.runtime.mkdir()
        self.environment["XDG_CONFIG_HOME"] = str(self.home / "config")
        self.environment["XDG_RUNTIME_DIR"] = str(self.runtime)
        self.autostart = self.home / "config/autostart/org.tarvel.TarvelHelper.desktop"
        self.settings = self.home / "config" / IDENTIFIER / "preferences.plist"
        # Cleanups run in reverse order.
        self.addCleanup(lambda: self.tarvel("agent", "stop"))

    def agent(self, *arguments, status=0):
        result = self.tarvel("agent", *arguments)
        self.assertEqual(result.returncode, status, result.stdout + result.stderr)
        return (result.stdout if status == 0 else result.stderr).decode()

    def wait_for(self, condition):
        end = time.monotonic() + PATIENCE
        while not condition():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.02)

    def test_one_command_turns_sorting_on_and_one_turns_it_off(self):
        self.write(root(folder("BookmarksBar"), folder("BookmarksMenu", leaf("b"), leaf("a"))))
        self.assertEqual(self.tarvel("settings", "set", "BookmarksFilename", self.file).returncode, 0)
        self.assertEqual(self.tarvel("settings", "set", "BookmarksUpdateLatency", "1").returncode, 0)
        told = self.agent("enable")
        self.assertIn("Automatic sorting is on.\nThe agent is running, process ", told)
        self.assertIn("To see what it would do:\n  tarvel preview\n", told)
        self.assertIn("tarvel agent disable", told)
        self.assertIs(plistlib.loads(self.settings.read_bytes())["AutoSortMode"], True)
        self.assertIn(f'Exec="{os.environ["TARVEL_HELPER"]}"\n', self.autostart.read_text())
        self.assertEqual(self.tarvel("status").returncode, 0)
        before = self.files()
        self.assertIn("Automatic sorting is already on.", self.agent("enable"))
        self.assertEqual(self.files(), before)
        # The first sort follows the first change.
        unsorted = ["BookmarksMenu", ["b", "a"]]
        self.assertIn(unsorted, titles(self.read()))

        def is_sorted():
            self.file.touch()
            return ["BookmarksMenu", ["a", "b"]] in titles(self.read())

        self.wait_for(is_sorted)
        restored = self.tarvel("restore", self.file).stdout.decode()
        self.assertIn("The agent is running, and is about to sort this file again.", restored)
        self.assertIn("does not start when you log in", self.agent("disable"))
        self.assertFalse(self.autostart.exists())
        self.assertIs(plistlib.loads(self.settings.read_bytes())["AutoSortMode"], False)
        self.assertIn(b"not running", self.tarvel("status").stdout)
        self.assertIn("Automatic sorting is already off.", self.agent("disable"))
        self.tarvel("sort", self.file)
        restored = self.tarvel("restore", self.file)
        self.assertEqual(restored.returncode, 0)
        self.assertNotIn(b"agent", restored.stdout)

    def test_the_agent_outlives_the_command_and_ends_on_request(self):
        self.agent("enable")
        lock = self.settings.parent / "helper.lock"
        pid = int(lock.read_text())
        own = pathlib.Path(f"/proc/{pid}")
        self.assertEqual(os.readlink(own / "exe"), os.path.realpath(os.environ["TARVEL_HELPER"]))
        # In a new session, without the terminal.
        self.assertEqual(os.getsid(pid), pid)
        for number in (0, 1, 2):
            self.assertEqual(os.readlink(own / f"fd/{number}"), "/dev/null")
        self.assertIn("The agent has stopped.", self.agent("stop"))
        self.assertEqual(self.agent("stop").splitlines()[0], "The agent is not running.")
        self.assertTrue(self.autostart.exists())
        self.assertIn("The agent is running", self.agent("start"))
        self.assertIn("The agent is already running", self.agent("start"))

    def test_starting_what_is_turned_off_is_refused(self):
        self.assertIn("tarvel agent enable", self.agent("start", status=12))
        self.assertEqual(self.files(), [])

    def test_a_status_query_changes_nothing(self):
        self.assertIn("Automatic sorting is off.", self.agent())
        self.assertEqual(self.agent(), self.agent("status"))
        self.assertIn("Automatic sorting is already off.", self.agent("disable"))
        self.assertEqual(self.files(), [])

    def test_an_autostart_file_of_another_program_is_left_alone(self):
        self.autostart.parent.mkdir(parents=True)
        self.autostart.write_text("somebody's")
        self.assertIn("was not made by this command", self.agent("enable", status=12))
        self.assertEqual(self.autostart.read_text(), "somebody's")
        self.assertFalse(self.settings.exists())

    def test_enabling_warns_of_what_would_make_the_first_sort_fail(self):
        self.file.write_bytes(b"no bookmarks")
        self.tarvel("settings", "set", "BookmarksFilename", self.file)
        told = self.agent("enable")
        self.assertIn("The first sort would fail:\n", told)
        self.assertIn("tarvel agent disable", told)

    def doctor(self, status):
        result = self.tarvel("doctor", "--json")
        self.assertEqual(result.returncode, status, result.stdout)
        return {(f["check"], f["state"]): f for f in json.loads(result.stdout)["findings"]}

    def test_the_doctor_finds_problems_and_writes_nothing(self):
        found = self.doctor(11)
        self.assertIn("tarvel settings set bookmarks-filename", found["bookmarks-file", "problem"]["command"])
        self.assertIn("tarvel agent enable", found["agent", "note"]["command"])
        self.assertEqual(self.files(), [])
        self.file.write_bytes(b"no bookmarks")
        self.tarvel("settings", "set", "BookmarksFilename", self.file)
        self.assertIn(("bookmarks-contents", "problem"), self.doctor(11))
        self.settings.write_bytes(b"<plist><dict><key>")
        self.assertIn(("settings-file", "problem"), self.doctor(11))

    def test_the_doctor_finds_no_problem_after_enable(self):
        self.write(root(folder("BookmarksBar"), folder("BookmarksMenu", leaf("b"), leaf("a"))))
        self.tarvel("settings", "set", "BookmarksFilename", self.file)
        self.agent("enable")
        before = {name: (self.home / name).stat().st_mtime_ns for name in self.files()}
        found = self.doctor(0)
        for check in ("bookmarks-file", "settings-file", "settings-values", "watches", "agent", "login", "version"):
            self.assertIn((check, "ok"), found)
        self.assertIn("tarvel preview", found["bookmarks-contents", "note"]["command"])
        self.assertEqual({name: (self.home / name).stat().st_mtime_ns for name in self.files()}, before)
        plain = self.tarvel("doctor")
        self.assertEqual((plain.returncode, plain.stderr), (0, b""))
        self.assertIn(b"No problems found.", plain.stdout)
        self.assertNotIn(b"\x1b", plain.stdout)
        self.assertIn(b"\x1b[32m", self.tarvel("doctor", "--color", "always").stdout)
        (self.home / "lock").touch()
        os.utime(self.home / "lock", (0, 0))
        self.assertIn("remove it", self.doctor(11)["lock", "problem"]["advice"])


if __name__ == "__main__":
    runner.main()
