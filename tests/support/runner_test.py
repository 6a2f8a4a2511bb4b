"""The exit status of a script of tests, by which ctest shows it as passed, failed or skipped."""

import os
import pathlib
import subprocess
import sys
import tempfile
import textwrap
import unittest

import runner


class Runner(unittest.TestCase):
    def run_script(self, tests, head=""):
        script = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory())) / "script.py"
        case = "class Case(unittest.TestCase):\n" + textwrap.indent(textwrap.dedent(tests), "    ")
        script.write_text(f"import runner\nimport unittest\n{head}\n{case}\nrunner.main()\n")
        folder = pathlib.Path(runner.__file__).parent
        done = subprocess.run([sys.executable, script], env={**os.environ, "PYTHONPATH": str(folder)}, capture_output=True,
                              text=True, check=False)
        self.output = done.stderr
        return done.returncode

    PASSES = "def test_a(self): pass\n"
    FAILS = "def test_b(self): self.fail('wrong')\n"
    SKIPS = "def test_c(self): self.skipTest('no disk')\n"

    def test_a_script_that_passes_exits_with_0(self):
        self.assertEqual(self.run_script(self.PASSES), 0)

    def test_a_script_with_a_failure_exits_with_1(self):
        self.assertEqual(self.run_script(self.PASSES + self.FAILS + self.SKIPS), 1)
        self.assertEqual(self.run_script(self.FAILS + self.SKIPS), 1)

    def test_a_script_without_tests_fails(self):
        self.assertEqual(self.run_script("pass\n"), 1)

    def test_a_script_whose_tests_are_all_skipped_exits_with_77(self):
        self.assertEqual(self.run_script(self.SKIPS), 77)
        self.assertEqual(self.output.splitlines()[-1], "skipped: Case.test_c: no disk")
        skipping_class = "@classmethod\ndef setUpClass(cls): raise unittest.SkipTest('no disk')\n"
        self.assertEqual(self.run_script(skipping_class + self.PASSES), 77)

    def test_each_skipped_test_is_listed(self):
        self.assertEqual(self.run_script(self.PASSES + self.SKIPS), 0)
        self.assertEqual(self.output.splitlines()[-1], "skipped: Case.test_c: no disk")

    def test_tests_in_threads_have_the_same_results(self):
        head = "load_tests = runner.load_concurrently"
        fails_partly = "def test_d(self):\n    with self.subTest(part=7): self.fail('wrong')\n"
        raises = "def test_e(self): raise OSError('lost')\n"
        for tests, status, words in (
            (self.PASSES, 0, "OK"),
            (self.PASSES + self.FAILS, 1, "wrong"),
            (self.SKIPS, 77, "no disk"),
            (self.PASSES + fails_partly, 1, "part=7"),
            (self.PASSES + raises, 1, "lost"),
            ("pass\n", 1, "no tests"),
        ):
            with self.subTest(tests=tests):
                self.assertEqual(self.run_script(tests, head), status, self.output)
                self.assertIn(words, self.output)


if __name__ == "__main__":
    runner.main()
