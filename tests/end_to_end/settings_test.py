"""The commands settings, status and report."""

import json
import os
import pathlib
import plistlib
import subprocess
import unittest

import runner
from home import HomeTest

IDENTIFIER = "org.tarvel.Tarvel"
HELPER = pathlib.Path(os.environ["TARVEL_HELPER"])


class AgentTest(HomeTest):
    def setUp(self):
        super().setUp()
        self.environment["XDG_CONFIG_HOME"] = str(self.home / "config")
        self.environment["XDG_RUNTIME_DIR"] = str(self.home)
        self.settings = self.home / "config" / IDENTIFIER / "preferences.plist"

    def stored(self):
        return plistlib.loads(self.settings.read_bytes())

    def store(self, **values):
        self.settings.parent.mkdir(parents=True, exist_ok=True)
        self.settings.write_bytes(plistlib.dumps(values))


class Settings(AgentTest):
    def test_a_setting_is_set_read_and_unset(self):
        result = self.tarvel("settings", "set", "AutoSortMode", "yes")
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        self.assertEqual(result.stdout.splitlines()[0], b"auto-sort-mode is now yes, from the agent's next start.")
        self.assertEqual(self.stored(), {"AutoSortMode": True})
        self.assertEqual(self.tarvel("settings", "get", "AutoSortMode").stdout, b"yes\n")
        self.assertEqual(self.tarvel("settings", "unset", "AutoSortMode").returncode, 0)
        self.assertEqual(self.tarvel("settings", "get", "AutoSortMode").stdout, b"no\n")

    def test_listing_is_the_default_and_writes_nothing(self):
        plain = self.tarvel("settings")
        self.assertEqual(plain.returncode, 0)
        self.assertEqual(plain.stdout, self.tarvel("settings", "list").stdout)
        self.assertEqual(self.files(), [])
        listed = json.loads(self.tarvel("settings", "--json").stdout)
        self.assertEqual(listed, json.loads(self.tarvel("settings", "list", "--json").stdout))
        self.assertEqual([s["key"] for s in listed["settings"]][:3], ["AutoSortMode", "BookmarksFilename", "BookmarksUpdateLatency"])

    def test_unknown_keys_and_unusable_values_change_nothing(self):
        for arguments in (("set", "AutoSortMod", "yes"), ("set", "AutoSortMode", "maybe"), ("get", "Nonsense"),
                          ("set", "BookmarksUpdateLatency", "1000"), ("set", "BookmarksFilename", "~/x"), ("set",),
                          ("set", "AutoSortMode"), ("frobnicate",)):
            with self.subTest(arguments=arguments):
                result = self.tarvel("settings", *arguments)
                self.assertEqual(result.returncode, 64, arguments)
                self.assertEqual(result.stdout, b"", arguments)
                self.assertNotEqual(result.stderr, b"", arguments)
        self.assertEqual(self.files(), [])

    def test_concurrent_changes_are_all_kept(self):
        running = [
            subprocess.Popen([os.environ["TARVEL_BIN"], "settings", "set", key, "no"], env=self.environment,
                             stdout=subprocess.DEVNULL)
            for key in ("FoldersAtTop", "RemoveDuplicates", "RenameSamenamed", "SortBookmarksBar") * 3
        ]
        self.assertEqual([process.wait() for process in running], [0] * 12)
        self.assertEqual(set(self.stored()), {"FoldersAtTop", "RemoveDuplicates", "RenameSamenamed", "SortBookmarksBar"})

    def test_a_corrupt_file_is_reported_and_kept(self):
        self.settings.parent.mkdir(parents=True)
        self.settings.write_bytes(b"<plist><dict><key>")
        result = self.tarvel("settings", "get", "AutoSortMode")
        self.assertEqual((result.returncode, result.stdout), (0, b"no\n"))
        self.assertIn("cannot be read, defaults are used".encode(), result.stderr)
        self.assertEqual(self.tarvel("settings", "set", "AutoSortMode", "yes").returncode, 0)
        self.assertEqual(self.stored(), {"AutoSortMode": True})
        aside = [name for name in self.files() if ".corrupt-" in name]
        self.assertEqual(len(aside), 1)
        self.assertEqual((self.home / aside[0]).read_bytes(), b"<plist><dict><key>")

    def test_settings_that_cannot_be_written_are_an_error(self):
        (self.home / "config").write_text("in the way")
        result = self.tarvel("settings", "set", "AutoSortMode", "yes")
        self.assertEqual(result.returncode, 12)
        self.assertIn(b"could not be written", result.stderr)
        self.assertEqual(result.stdout, b"")


class Status(AgentTest):
    def test_nothing_set_up_is_not_an_error_and_says_how_to_begin(self):
        result = self.tarvel("status")
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        self.assertIn(b"Agent:             not running", result.stdout)
        self.assertIn(b"tarvel agent enable", result.stdout)
        self.assertEqual(self.files(), [])

    def test_a_running_agent_is_shown_with_its_process(self):
        self.store(AutoSortMode=True)
        (self.home / "Library/Safari").mkdir(parents=True)
        self.assertEqual(self.tarvel("status").returncode, 11)
        agent = subprocess.Popen([HELPER], env=self.environment, stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            while b"running, process" not in (answer := self.tarvel("status").stdout):
                self.assertIsNone(agent.poll())
            self.assertIn(f"running, process {agent.pid}\n".encode(), answer)
            self.assertEqual(self.tarvel("status").returncode, 0)
            self.assertEqual(json.loads(self.tarvel("status", "--json").stdout)["process"], agent.pid)
        finally:
            agent.terminate()
            self.assertEqual(agent.wait(), 0)
        self.assertEqual(self.tarvel("status").returncode, 11)

    def test_an_error_is_described_and_kept(self):
        self.store(LastHelperError=8)
        result = self.tarvel("status")
        self.assertEqual(result.returncode, 11)
        self.assertIn(b"8: Safari is currently using the bookmarks file", result.stdout)
        self.assertEqual(self.stored(), {"LastHelperError": 8})


class Report(AgentTest):
    def test_each_code_is_reported_once(self):
        for code, words in ((1, "could not be located"), (4, "too advanced"), (7, "backup"), (101, "could not be watched"),
                            (103, "newer version"), (77, "unknown error: 77")):
            with self.subTest(code=code, words=words):
                self.store(LastHelperError=code, FoldersAtTop=True)
                result = self.tarvel("report")
                self.assertEqual((result.returncode, result.stderr), (0, b""), code)
                self.assertIn(words, result.stdout.decode())
                self.assertEqual(set(self.stored()), {"FoldersAtTop", "LastReportedError", "LastReportedErrorTime"})
                self.assertEqual(self.stored()["LastReportedError"], code)
                self.assertIn(f"Last error:        {code}, reported 20".encode(), self.tarvel("status").stdout)
                self.assertEqual(self.tarvel("report").stdout, b"No pending error.\n")

    def test_messages_come_in_the_users_language(self):
        self.store(LastHelperError=8)
        self.environment["LC_ALL"] = "de_DE.UTF-8"
        self.assertIn("Safari", (german := self.tarvel("report").stdout.decode()))
        self.assertNotIn("currently", german)

    def test_the_application_clears_the_code_and_is_silent(self):
        application = HELPER.parents[4] / "Linux/Tarvel"
        self.store(LastHelperError=8)
        for _ in range(2):
            result = subprocess.run([application], env=self.environment, capture_output=True, check=False)
            self.assertEqual((result.returncode, result.stdout, result.stderr), (0, b"", b""))
            self.assertNotIn("LastHelperError", self.stored())
            self.assertEqual(self.stored()["LastReportedError"], 8)


if __name__ == "__main__":
    runner.main()
