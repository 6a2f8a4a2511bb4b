#!/usr/bin/env python3
"""Measures how long a new bookmark among 10,000 takes to its place, beyond the latency, and a first sort of all. Not a
test: speed.py chromium|firefox [COUNT], with the environment of the tests."""

import json
import os
import sys
import tempfile
import time

os.environ["TARVEL_FAMILY"] = sys.argv[1]
COUNT = int(sys.argv[2]) if len(sys.argv) > 2 else 10_000

import subprocess  # noqa: E402

from browser_case import EXTENSION, FAMILY, HOST, TARVEL  # noqa: E402
from chromium import CHROMIUM_ID  # noqa: E402
from running_browser import wait_for  # noqa: E402

LATENCY = 1
PER_FOLDER = 100
CHROMIUM = """new Promise(async (resolve) => {
  const begun = Date.now();
  chrome.bookmarks.onMoved.addListener(() => resolve(Date.now() - begun));
  await chrome.bookmarks.create({ parentId: FOLDER, title: "00000 new", url: "https://example.org/new" });
})"""
FIREFOX = """const begun = Date.now();
return new Promise(async (resolve) => {
  const heard = () => { PlacesObservers.removeListener(["bookmark-moved"], heard); resolve(Date.now() - begun); };
  PlacesObservers.addListener(["bookmark-moved"], heard);
  await PlacesUtils.bookmarks.insert({ parentGuid: FOLDER, title: "00000 new", url: "https://example.org/new" });
});"""


def main():
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as home:
        browser = FAMILY(home, EXTENSION, HOST).start()
        try:
            browser.open_page()
            if browser.family == "chromium":
                # The browser's own manager takes its time for each change; a bare page of the extension takes none.
                browser.foreign = browser.open_tab(f"chrome-extension://{CHROMIUM_ID}/manifest.json")
                browser.close_page()
            folders = COUNT // PER_FOLDER
            titles = [f"{number:05}" for number in range(1, PER_FOLDER + 1)]
            if browser.family == "chromium":
                # Firefox would move these for a minute.
                titles.reverse()
            first = None
            for folder in range(folders, 0, -1):
                first = browser.add("other", [(f"Folder {folder:05}", titles)])[0]
            settings = [("AutoSortBrowsers", "no"), ("BookmarksUpdateLatency", str(LATENCY))]
            for key, value in settings:
                subprocess.run([TARVEL, "settings", "set", key, value], env=browser.environment, check=True, stdout=subprocess.DEVNULL)
            browser.open_page()
            wait_for(lambda: browser.text("counts"), "the list")
            begun = time.monotonic()
            if browser.is_enabled("sort"):
                print(browser.family, COUNT, browser.run("sort"), f"{time.monotonic() - begun:.1f} s for all")
            subprocess.run([TARVEL, "settings", "set", "AutoSortBrowsers", "yes"], env=browser.environment, check=True, stdout=subprocess.DEVNULL)
            browser.close_page()
            for _ in range(3):
                time.sleep(LATENCY + 2)
                code = (CHROMIUM if browser.family == "chromium" else FIREFOX).replace("FOLDER", json.dumps(first))
                taken = browser.others(code) if browser.family == "chromium" else browser.system(code)
                print(f"a new one in its place after {taken / 1000 - LATENCY:.2f} s beyond the latency")
                time.sleep(1)
                tree = browser.tree()
                root = next(node for node in tree if node["id"] == browser.roots["other"])
                folder = next(node for node in root["children"] if node["id"] == first)
                browser.remove(folder["children"][0]["id"])
        finally:
            browser.stop()


main()
