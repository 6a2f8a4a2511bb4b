#!/usr/bin/env python3
"""Every file and folder of the source tree that a page names or links to exists."""

import pathlib
import re
import unittest

import runner

SOURCE = pathlib.Path(__file__).resolve().parents[2]
PAGES = sorted(path for pattern in ("*.md", "docs/**/*.md", "samples/*.md", "tests/data/**/*.md") for path in SOURCE.glob(pattern))
# build/ holds what a build makes; a page may name it before that.
FOLDERS = {path.name for path in SOURCE.iterdir() if path.is_dir()} - {".git", "build"}
# A path from the root of the tree. It may contain a wildcard, or LANGUAGE for any language.
NAMED = re.compile(rf"(?<![\w./~-])(?:{'|'.join(map(re.escape, FOLDERS))})/[\w./*-]*\w/?")
LINKED = re.compile(r"\]\(([^)#:]+)\)")


def missing(page, text):
    names = NAMED.findall(re.sub(r"\]\([^)]*\)", "]", text))
    patterns = {name: name.rstrip("/").replace("LANGUAGE", "*") for name in names}
    found = [name for name, pattern in patterns.items() if not any(SOURCE.glob(pattern))]
    return found + [link for link in LINKED.findall(text) if not (page.parent / link).exists()]


class NamedFiles(unittest.TestCase):
    def test_they_exist(self):
        self.assertGreater(len(PAGES), 20)
        for page in PAGES:
            with self.subTest(page=page.relative_to(SOURCE).as_posix()):
                self.assertEqual(missing(page, page.read_text()), [])

    def test_a_missing_file_is_noticed(self):
        page = SOURCE / "README.md"
        self.assertEqual(missing(page, "see `engine/none.cpp`, [that](docs/NONE.md)"), ["engine/none.cpp", "docs/NONE.md"])
        self.assertEqual(missing(page, "see `engine/tarvel.h`, `platform/plist/xml_*.cpp`, tests/data/"), [])


if __name__ == "__main__":
    runner.main()
