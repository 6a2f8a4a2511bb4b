#!/usr/bin/env python3
"""tarvel browser, and what the doctor says of browsers, in a home of its own."""

import json

import runner
from home import HomeTest

NAME = "org.tarvel.browser_host.json"


class BrowserCommandTest(HomeTest):
    def setUp(self):
        super().setUp()
        self.programs = self.home / "bin"
        self.programs.mkdir()
        # Nothing of this machine's own browsers.
        self.environment["PATH"] = str(self.programs)
        self.chromium = self.home / ".config/chromium/NativeMessagingHosts" / NAME
        self.firefox = self.home / ".mozilla/native-messaging-hosts" / NAME

    def install(self, program):
        path = self.programs / program
        path.write_text("#!/bin/sh\n")
        path.chmod(0o755)

    def browser(self, *arguments, status=0):
        run = self.tarvel("browser", *arguments)
        self.assertEqual(run.returncode, status, run.stderr)
        return (run.stdout or run.stderr).decode()

    def test_lists_every_known_browser_and_tells_which_are_found(self):
        self.install("firefox-esr")
        (self.home / ".config/BraveSoftware/Brave-Browser").mkdir(parents=True)
        facts = {one["browser"]: one for one in json.loads(self.browser("list", "--json"))["browsers"]}
        self.assertEqual(set(facts), {"chromium", "chrome", "brave", "edge", "vivaldi", "firefox"})
        self.assertEqual({name for name, one in facts.items() if one["found"]}, {"brave", "firefox"})
        self.assertIn("Vivaldi (vivaldi): not found, not set up.", self.browser("list"))

    def test_enable_sets_up_what_is_found_and_tells_what_is_left_to_do(self):
        self.install("chromium")
        (self.home / ".mozilla").mkdir()
        said = self.browser("enable")
        self.assertIn("Load unpacked", said)
        self.assertIn("about:debugging", said)
        chromium = json.loads(self.chromium.read_text())
        self.assertEqual(chromium["allowed_origins"], ["chrome-extension://hokgngcmbmadaepdokbpnpnfdkhajlil/"])
        self.assertTrue(chromium["path"].endswith("/tarvel-browser-host"))
        self.assertEqual(json.loads(self.firefox.read_text())["allowed_extensions"], ["tarvel@tarvel.org"])
        self.assertFalse((self.home / ".config/vivaldi").exists())
        self.assertIn("Chromium (chromium): found, set up.", self.browser("status"))
        self.assertIn("Set up for the extension: Chromium, Firefox.", self.tarvel("doctor").stdout.decode())

    def test_enable_and_disable_take_names(self):
        self.browser("enable", "vivaldi", "firefox")
        self.assertTrue(self.firefox.exists())
        self.assertTrue((self.home / ".config/vivaldi/NativeMessagingHosts" / NAME).exists())
        self.browser("disable", "firefox")
        self.assertFalse(self.firefox.exists())
        self.assertIn("was not set up", self.browser("disable", "firefox"))
        self.assertIn("no browser “netscape”", self.browser("enable", "netscape", status=64))
        self.assertIn("Did you mean “firefox”?", self.browser("disable", "fierfox", status=64))

    def test_without_browsers_nothing_is_changed(self):
        before = self.files()
        for action in ("enable", "disable"):
            self.assertTrue(self.browser(action).startswith("No browser was found.\n"))
        self.assertEqual(self.files(), before)

    def test_programs_get_a_word_for_each_state(self):
        def state():
            return json.loads(self.browser("status", "--json"))["browsers"][-1]

        self.assertEqual((state()["setUp"], state()["state"]), (False, "not-set-up"))
        self.browser("enable", "firefox")
        self.assertEqual((state()["setUp"], state()["state"]), (True, "set-up"))
        facts = json.loads(self.firefox.read_text())
        for host, word in (("/nowhere/host", "host-missing"), ("/bin/sh", "set-up-for-another-installation")):
            self.firefox.write_text(json.dumps({**facts, "path": host}))
            self.assertEqual(state()["state"], word)

    def test_status_says_how_to_set_up_what_is_found(self):
        self.install("chromium")
        self.assertTrue(self.browser().endswith("\n  tarvel browser enable\n"))
        self.browser("enable")
        self.assertNotIn("tarvel browser enable", self.browser())

    def test_a_folder_that_cannot_be_made_is_reported(self):
        (self.home / ".mozilla").write_text("in the way")
        self.assertRegex(self.browser("enable", "firefox", status=12), "^tarvel: Firefox was not set up.\n[^“]*[^.]\\.\n$")

    def test_a_missing_host_is_a_problem_that_enable_mends(self):
        self.browser("enable", "firefox")
        facts = json.loads(self.firefox.read_text())
        self.firefox.write_text(json.dumps({**facts, "path": "/nowhere/host"}))
        self.assertIn("for a host that is missing", self.tarvel("doctor").stdout.decode())
        self.browser("enable", "firefox")
        self.assertEqual(json.loads(self.firefox.read_text()), facts)

    def test_status_shows_whether_browsers_sort_automatically(self):
        self.assertIn("Automatic sorting in browsers is off.", self.browser())
        self.tarvel("settings", "set", "AutoSortBrowsers", "yes")
        self.assertIn("Automatic sorting in browsers is on.", self.browser("status"))
        self.assertIs(json.loads(self.browser("status", "--json"))["automatic"], True)
        self.assertIn("no browser is set up", self.tarvel("doctor").stdout.decode())


runner.main()
