#!/usr/bin/env python3
"""docs/DEPENDENCIES.md names every package that is asked for, and what it is for; and none that nobody asks for."""

import pathlib
import re
import unittest

import runner

SOURCE = pathlib.Path(__file__).resolve().parents[2]
NAME = re.compile(r"[a-z][a-z0-9.+-]+")


def rows():
    """(packages, what they are for) of each line of the table."""
    lines = re.findall(r"^\| ([^|]+) \| ([^|]*) \| [^|]*\|$", (SOURCE / "docs/DEPENDENCIES.md").read_text(), re.M)
    return [(first.split(", "), purpose.strip()) for first, purpose in lines[1:]]


def needed():
    return {line for line in (SOURCE / "scripts/packages").read_text().splitlines() if NAME.fullmatch(line)}


class Dependencies(unittest.TestCase):
    def test_every_package_is_named_with_its_purpose(self):
        purposes = {package: purpose for packages, purpose in rows() for package in packages}
        self.assertGreater(len(needed()), 20, "the packages were not read")
        for package in sorted(needed()):
            self.assertTrue(purposes.get(package), package)

    def test_no_package_is_named_that_nobody_asks_for(self):
        scripts = " ".join(path.read_text() for path in (SOURCE / "scripts").iterdir() if path.is_file())
        asked = needed() | set(NAME.findall(scripts))
        for packages, purpose in rows():
            for package in packages:
                if NAME.fullmatch(package):
                    self.assertIn(package, asked, purpose)


if __name__ == "__main__":
    runner.main()
