#!/usr/bin/env python3
"""The site can be built without a broken link, every page is in its menu, and no page fetches anything from elsewhere."""

import pathlib
import re
import subprocess
import tempfile
import unittest

import runner

SOURCE = pathlib.Path(__file__).resolve().parents[2]
# Links may lead elsewhere; what a page needs to be shown may not.
FETCHED = re.compile(r"""<(?:script|img|iframe|source)\b[^>]*\bsrc=["']?((?:https?:)?//[^"' >]+)|<link\b[^>]*\bhref=["']?((?:https?:)?//[^"' >]+)""")
STYLE = re.compile(r"""url\(["']?((?:https?:)?//[^"')]+)""")


class Site(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="tarvel-test-")
        cls.addClassCleanup(folder.cleanup)
        cls.site = pathlib.Path(folder.name) / "site"
        command = ["mkdocs", "build", "--strict", "--site-dir", str(cls.site)]
        cls.made = subprocess.run(command, cwd=SOURCE, capture_output=True, text=True, check=False, timeout=120)

    def test_it_is_built_without_a_warning(self):
        self.assertEqual(self.made.returncode, 0, self.made.stderr)
        self.assertTrue((self.site / "index.html").is_file())

    def test_every_page_is_in_the_menu(self):
        menu = (SOURCE / "mkdocs.yml").read_text()
        for page in sorted((SOURCE / "docs").rglob("*.md")):
            name = page.relative_to(SOURCE / "docs").as_posix()
            self.assertIn(f": {name}\n", menu)
            self.assertTrue((self.site / name).with_suffix(".html").is_file(), name)

    def test_no_page_fetches_anything_from_elsewhere(self):
        pages = list(self.site.rglob("*.html"))
        self.assertGreater(len(pages), 10)
        for page in pages:
            self.assertEqual(FETCHED.findall(page.read_text()), [], page.name)
        for style in self.site.rglob("*.css"):
            self.assertEqual(STYLE.findall(style.read_text()), [], style.name)

    def test_a_page_that_fetches_is_noticed(self):
        self.assertTrue(FETCHED.search('<script async src="https://cdn.example/a.js">'))
        self.assertTrue(FETCHED.search('<link rel="stylesheet" href="//fonts.example/a.css">'))
        self.assertTrue(STYLE.search("src: url('https://fonts.example/a.woff')"))
        self.assertFalse(FETCHED.search('<a href="https://github.com/">'))


if __name__ == "__main__":
    runner.main()
