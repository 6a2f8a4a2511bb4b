"""docs/TESTING.md names only folders, files and scripts that exist, and its figures of mutants and corpora are current."""

import re
import subprocess
import sys
import tarfile
import unittest

import runner
from home import SOURCE

PAGE = (SOURCE / "docs/TESTING.md").read_text()


def rules(*words):
    done = subprocess.run([sys.executable, SOURCE / "scripts/rules", *words], capture_output=True, text=True, check=True)
    return done.stdout


class Testing(unittest.TestCase):
    def test_every_path_of_the_page_exists(self):
        paths = set(re.findall(r"(?<![\w/])(?:tests|scripts|fuzz)/[\w./-]*\w", PAGE))
        self.assertGreater(len(paths), 20, "the page was not read")
        for path in sorted(paths):
            self.assertTrue((SOURCE / path).exists(), path)

    def test_every_folder_of_tests_is_on_the_page(self):
        for lists in (SOURCE / "tests").glob("*/CMakeLists.txt"):
            name = lists.parent.name
            if name not in ("support", "platform"):
                self.assertIn(f"tests/{name}", PAGE)

    def test_the_number_of_mutants_is_current(self):
        count = len(list((SOURCE / "tests/mutants").rglob("*.patch")))
        self.assertIn(f"each of {count} defects", PAGE)

    def test_the_number_of_fuzz_inputs_is_current(self):
        count = 0
        for archive in (SOURCE / "fuzz/corpus").iterdir():
            with tarfile.open(archive) as inputs:
                count += sum(member.isfile() for member in inputs)
        self.assertIn(f"{count:,} inputs", PAGE)

    def test_rules_are_listed_as_sentences(self):
        self.assertGreater(len(rules().splitlines()), 1000)
        self.assertIn("    every folder of tests is on the page\n", rules("FOLDER", "page"))
        self.assertIn("    digits are compared one by one\n", rules("ordering", "digits"))


if __name__ == "__main__":
    runner.main()
