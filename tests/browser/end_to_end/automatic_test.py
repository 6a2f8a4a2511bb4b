#!/usr/bin/env python3
"""Automatic sorting, some seconds after the last foreign change."""

import pathlib
import shutil
import tempfile
import time

from browser_case import HOST, BrowserCase, main
from running_browser import wait_for

LATENCY = 1
#: Seconds after which an unwanted run would have happened.
QUIET = LATENCY + 2


def counting_host():
    """A host that records each of its starts."""
    folder = pathlib.Path(tempfile.mkdtemp(prefix="tarvel-test-"))
    script = folder / "tarvel-browser-host"
    script.write_text(f'#!/bin/sh\necho started >>"$HOME/starts"\nexec "{HOST}" "$@"\n')
    script.chmod(0o755)
    return script


class AutomaticTest(BrowserCase):
    @classmethod
    def make_browser(cls, host=None):
        return super().make_browser(counting_host())

    def setUp(self):
        self.settings("set", "BookmarksUpdateLatency", str(LATENCY))
        super().setUp()

    def turn_on(self):
        self.settings("set", "AutoSortBrowsers", "yes")
        # The page greets the host, and the extension stores the latency of the answer.
        self.reload()

    def starts(self):
        path = self.browser.home / "starts"
        return path.read_text().count("started") if path.exists() else 0

    def test_is_off_unless_turned_on(self):
        self.browser.add("other", ["b", "a"])
        self.wait_until_settled(QUIET)
        self.assertEqual(self.titles(), ["b", "a"])

    def test_sorts_once_after_the_latency_and_ignores_its_own_events(self):
        self.turn_on()
        self.browser.close_page()
        self.browser.add("other", ["b", "c"])
        self.browser.add("other", ["a"])
        changed = time.monotonic()
        wait_for(lambda: self.titles() == ["a", "b", "c"], "the order")
        self.assertGreaterEqual(time.monotonic() - changed, LATENCY - 0.2)
        self.wait_until_settled(0.5)
        starts = self.starts()
        self.assertEqual(len(self.records()), 1)
        self.wait_until_settled(QUIET)
        self.assertEqual(self.starts(), starts)
        self.reload()
        self.browser.run("undo")
        self.assertEqual(self.titles(), ["b", "c", "a"])
        self.wait_until_settled(QUIET)
        self.assertEqual(self.titles(), ["b", "c", "a"])

    def test_an_open_page_shows_the_run_only_while_it_lasts(self):
        self.turn_on()
        self.browser.add("other", ["b", "a"])
        wait_for(lambda: self.titles() == ["a", "b"], "the order")
        wait_for(lambda: self.browser.text("counts") == "Everything is in order.", "the page to look again")
        # The page may look again before it hears of the end.
        wait_for(lambda: self.browser.text("status") == "", "the end of the run")

    def test_each_change_starts_the_latency_anew(self):
        # Longer than what a busy machine takes between two changes, and shorter than all of them.
        latency = 3 * LATENCY
        self.settings("set", "BookmarksUpdateLatency", str(latency))
        self.turn_on()
        titles = [str(number) for number in range(18, 10, -1)]
        for title in titles:
            self.browser.add("other", [title])
            time.sleep(latency / 6)
            self.assertEqual(self.titles(), titles[: titles.index(title) + 1])
        wait_for(lambda: self.titles() == sorted(titles), "the order")

    def test_a_bookmark_that_is_already_in_place_writes_no_record(self):
        self.turn_on()
        self.browser.add("other", ["a", "b"])
        self.wait_until_settled(QUIET)
        self.assertEqual(self.records(), [])

    def test_a_failed_run_is_reported_on_the_page_until_a_run_succeeds(self):
        self.turn_on()
        self.browser.close_page()
        records = self.browser.home / "data/Tarvel/Browsers"
        records.parent.mkdir(parents=True, exist_ok=True)
        shutil.rmtree(records, ignore_errors=True)
        records.write_text("no folder")
        self.browser.add("other", ["b", "a"])
        self.wait_until_settled(QUIET)
        self.assertEqual(self.titles(), ["b", "a"])
        self.browser.open_page()
        self.browser.wait_for_text("problem", "could not be saved")
        records.unlink()
        self.browser.run("sort")
        self.reload()
        self.assertEqual(self.browser.text("problem"), "")

    def test_a_host_that_was_missing_for_a_while_is_not_reported_afterwards(self):
        self.turn_on()
        self.browser.close_page()
        manifest = self.browser.manifest_path()
        text = manifest.read_text()
        manifest.unlink()
        self.browser.add("other", ["b", "a"])
        self.wait_until_settled(QUIET)
        manifest.write_text(text)
        self.reload()
        self.assertEqual(self.browser.text("problem"), "")
        self.browser.wait_for_text("counts", "Moved: 1")

    def test_is_turned_on_and_off_in_the_page(self):
        self.browser.click("automatic")
        wait_for(lambda: self.settings("get", "AutoSortBrowsers") == "yes\n", "the setting")
        box = 'document.getElementById("automatic")'
        wait_for(lambda: self.browser.evaluate(f"{box}.checked && !{box}.disabled"), "the checked box")
        self.browser.click("automatic")
        wait_for(lambda: self.settings("get", "AutoSortBrowsers") == "no\n", "the setting")


main()
