#!/usr/bin/env python3
"""The extension's page: keyboard, names for screen readers, both themes, a phone's width, every language."""

import json
import re
import unittest

from browser_case import EXTENSION, IS_FIREFOX, SOURCE, BrowserCase, main
from running_browser import wait_for

LANGUAGES = ["de", "en", "es", "fr", "ja", "sv"]

#: The contrast of each text of the page with its background.
CONTRASTS = """Array.from(document.querySelectorAll("h1, p, button:not(:disabled), label, summary, .t, .k, .why, .u, h2"), (e) => {
  const numbers = (color) => color.match(/[0-9.]+/g).map(Number);
  const light = ([r, g, b]) => [r, g, b].map((v) => v / 255).map((v) => (v <= 0.03928 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4))
    .reduce((sum, v, i) => sum + v * [0.2126, 0.7152, 0.0722][i], 0);
  let around = e;
  while (around && numbers(getComputedStyle(around).backgroundColor)[3] === 0) around = around.parentElement;
  const [a, b] = [light(numbers(getComputedStyle(e).color)), light(numbers(getComputedStyle(around).backgroundColor))];
  return [e.textContent.slice(0, 30), (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05)];
})"""


def messages(language):
    return json.loads((EXTENSION / "_locales" / language / "messages.json").read_text())


class TextsTest(unittest.TestCase):
    def test_every_language_has_every_text_with_the_same_places_to_fill(self):
        self.assertEqual(sorted(path.name for path in (EXTENSION / "_locales").iterdir()), LANGUAGES)
        english = messages("en")
        for language in LANGUAGES:
            texts = messages(language)
            self.assertEqual(list(texts), list(english), language)
            for key, text in texts.items():
                places = sorted(set(re.findall(r"\$[0-9]", text["message"])))
                self.assertEqual(places, sorted(set(re.findall(r"\$[0-9]", english[key]["message"]))), (language, key))

    def test_every_text_that_the_page_names_is_there_and_no_other(self):
        page = (EXTENSION / "page.html").read_text()
        script = (EXTENSION / "page.js").read_text()
        named = set(re.findall(r'data-text="(\w+)"', page)) | {"name", "description", "language"}
        named |= set(re.findall(r'text\("(\w+)"', script)) | set(re.findall(r'\? "(\w+)" : "(?:\w+)"\)', script))
        named |= set(re.findall(r'\? "(?:\w+)" : "(\w+)"\)', script)) | {"moved", "removed", "renamed", "named"}
        listed = re.search(r"PROBLEMS = \[(.*?)\]", script, re.DOTALL).group(1)
        named |= {f"problem_{code}" for code in re.findall(r'"(\w+)"', listed)} | {"problem_failed"}
        self.assertEqual(named, set(messages("en")))

    def test_the_host_knows_the_folder_of_removed_entries_in_every_language(self):
        source = (SOURCE / "browser/host/removed_title.cpp").read_text()
        prefixes = dict(re.findall(r'\{"(\w+)", "(.+?)"\}', source))
        self.assertEqual(sorted(prefixes), LANGUAGES)
        for language, prefix in prefixes.items():
            self.assertIn(prefix.rstrip(", 、"), messages(language)["cleanQuestion"]["message"])

    def test_the_extension_stays_small(self):
        lines = sum(len((EXTENSION / name).read_text().splitlines()) for name in ("background.js", "page.js"))
        self.assertLess(lines, 500)


class PageTest(BrowserCase):
    def setUp(self):
        super().setUp()
        self.browser.add("other", [("Folder", ["c", "a", "b", "x" * 200]), ("Empty", [])])
        self.reload()

    def test_every_control_has_a_name_and_can_be_reached_by_the_keyboard(self):
        controls = self.browser.evaluate(
            """Array.from(document.querySelectorAll("button, input, summary"), (e) => [
                 (e.labels?.[0] ?? e).textContent.trim(), e.tabIndex])"""
        )
        self.assertGreater(len(controls), 6)
        for name, index in controls:
            self.assertTrue(name)
            self.assertEqual(index, 0, name)
        self.assertEqual(self.browser.evaluate("document.getElementById('status').getAttribute('role')"), "status")
        self.assertEqual(self.browser.evaluate("document.getElementById('problem').getAttribute('role')"), "alert")
        self.assertEqual(self.browser.evaluate("document.documentElement.lang"), "en")

    def test_the_question_gets_the_focus_and_gives_it_back(self):
        self.browser.click("clean")
        self.wait("document.activeElement.id === 'agree'")
        self.browser.click("decline")
        self.wait("document.activeElement.id === 'clean'")

    def wait(self, expression):
        wait_for(lambda: self.browser.evaluate(expression), expression)

    def test_titles_are_texts_and_nothing_else(self):
        self.browser.add("other", [("<b>bold</b>", "javascript:alert(1)"), ("<img src=x onerror=alert(1)>", "https://z")])
        self.reload()
        self.assertEqual(self.browser.evaluate("document.querySelectorAll('main b, main img, main a').length"), 0)

    if not IS_FIREFOX:

        def emulate(self, scheme, width):
            media = [{"name": "prefers-color-scheme", "value": scheme}]
            self.browser.command("Emulation.setEmulatedMedia", self.browser.page, features=media)
            metrics = {"width": width, "height": 800, "deviceScaleFactor": 1, "mobile": False}
            self.browser.command("Emulation.setDeviceMetricsOverride", self.browser.page, **metrics)

        def test_texts_stand_out_in_both_themes(self):
            for scheme in ("light", "dark"):
                self.emulate(scheme, 1200)
                for text, contrast in self.browser.evaluate(CONTRASTS):
                    self.assertGreaterEqual(contrast, 4.5, (scheme, text))

        def test_nothing_is_wider_than_a_phone(self):
            for width in (320, 360, 1200):
                self.emulate("light", width)
                self.assertLessEqual(self.browser.evaluate("document.documentElement.scrollWidth"), width)


main()
