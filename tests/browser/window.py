"""A real browser's window on a page of ours, through driver.mjs."""

import json
import os
import pathlib
import subprocess
import tempfile
import unittest

from home import SOURCE

# The entries of a column in the order of the document, each with how deep it is in it.
SHOWN = """
Array.from(document.querySelectorAll("#SECTION > .tree li"), (own) => {
  const line = own.querySelector(":scope > details > summary") ?? own;
  const part = (name) => line.querySelector(`:scope > ${name}`);
  const texts = (name) => Array.from(line.querySelectorAll(`:scope > ${name}`), (e) => e.textContent);
  const title = part(".t");
  let depth = 0;
  for (let e = own.parentElement.closest("li"); e; e = e.parentElement.closest("li")) depth++;
  return {
    depth,
    title: title.classList.contains("untitled") ? null : title.textContent,
    address: part(".u")?.textContent ?? null,
    folder: own.classList.contains("folder"),
    flat: own.classList.contains("flat"),
    kinds: texts(".k"),
    why: texts(".why"),
    visible: own.checkVisibility(),
  };
})
"""

# Makes "told" a promise of the next answer to a search.
ANSWER = """
(() => {
  const found = document.getElementById("found");
  found.textContent = "?";
  window.told = new Promise((resolve) => {
    const observer = new MutationObserver(() => found.textContent !== "?" && resolve(null));
    observer.observe(found, { childList: true });
  });
})()
"""


class Browser:
    """The browser, started once for all tests."""

    def __init__(self):
        self.home = tempfile.TemporaryDirectory(prefix="tarvel-test-")
        self.process = subprocess.Popen(
            [os.environ["TARVEL_NODE"], str(SOURCE / "tests/browser/driver.mjs")],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
            env={**os.environ, "HOME": self.home.name},
        )

    def ask(self, op, **rest):
        self.process.stdin.write(json.dumps({"op": op, **rest}) + "\n")
        self.process.stdin.flush()
        answer = self.process.stdout.readline()
        if not answer:
            raise AssertionError("The browser ended.")
        answer = json.loads(answer)
        if "problem" in answer:
            raise AssertionError(answer["problem"])
        return answer["result"]

    def close(self):
        self.process.stdin.close()
        self.process.stdout.close()
        self.process.wait(60)
        self.home.cleanup()


class Window:
    """One window, on one page."""

    def __init__(self, browser, path, **options):
        self.browser = browser
        browser.ask("open", path=str(path), **options)

    def evaluate(self, code):
        return self.browser.ask("evaluate", code=code)

    def shown(self, section):
        """What a column has, whether it can be seen at present or not, each entry with those in it."""
        top = {"children": []}
        around = [top]
        for entry in self.evaluate(SHOWN.replace("SECTION", section)):
            entry["children"] = []
            del around[entry["depth"] + 1 :]
            around[-1]["children"].append(entry)
            around.append(entry)
        return top["children"]

    def count(self, selector):
        return self.evaluate(f"document.querySelectorAll({json.dumps(selector)}).length")

    def text(self, selector):
        return self.evaluate(f"document.querySelector({json.dumps(selector)}).textContent")

    def choose(self, word):
        self.browser.ask("click", selector=f"label:has(#only-{word})")

    def search(self, text):
        """Types, and waits for the answer: it comes when the typing pauses."""
        self.evaluate(ANSWER)
        self.browser.ask("fill", selector="#search", text=text)
        self.evaluate("told")
        return self.text("#found")

    def click(self, selector):
        self.browser.ask("click", selector=selector)

    def press(self, *keys):
        for key in keys:
            self.browser.ask("press", key=key)

    def noticed(self):
        return self.browser.ask("noticed")

    def picture(self, name, whole=False):
        """Kept for people to look at, where they asked for it."""
        folder = os.environ.get("TARVEL_PICTURES")
        if folder:
            self.browser.ask("picture", path=str(pathlib.Path(folder, name)), whole=whole)


def missing():
    """What is not there to run the tests with, in words; empty where nothing is missing."""
    if not os.environ["TARVEL_NODE"]:
        return "no node (Debian's nodejs)"
    if not os.environ["TARVEL_BROWSER"]:
        return "no chromium"
    if not pathlib.Path(os.environ["TARVEL_BROWSER_DRIVER"], "node_modules/playwright-core").is_dir():
        return "no driver: scripts/fetch_browser_driver build/browser_driver"
    return ""


def entries(shown):
    """Every entry of a column, with the titles of the folders around it."""

    def below(children, around):
        for entry in children:
            yield around, entry
            yield from below(entry["children"], (*around, entry["title"]))

    return list(below(shown, ()))


def visible(shown):
    return [entry["title"] for _, entry in entries(shown) if entry["visible"]]


class BrowserTest(unittest.TestCase):
    """For mixing in: one browser for the class."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)

    def window(self, path, **options):
        return Window(self.browser, path, **options)
