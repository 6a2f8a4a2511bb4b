"""Output that cannot be written, and file size limits: exit status, and the state of the files."""

import os
import resource
import signal
import subprocess
import unittest

import runner
from bookmark_trees import folder, leaf, root
from home import TARVEL, HomeTest

CANNOT_ANSWER = 74


def unsorted_root():
    return root(folder("BookmarksBar", leaf("x")), folder("BookmarksMenu", leaf("b"), leaf("a")))


class OutputTest(HomeTest):
    def run_with(self, stdout, *arguments, before=None):
        return subprocess.run(
            [TARVEL, *map(str, arguments)],
            env=self.environment,
            cwd=self.home,
            stdin=subprocess.DEVNULL,
            stdout=stdout,
            stderr=subprocess.PIPE,
            preexec_fn=before,
            timeout=60,
        )

    def expect_no_answer(self, *arguments):
        """A full device, a closed pipe, and a closed standard output."""

        def close_output():
            os.close(1)

        def ignore_broken_pipes():
            signal.signal(signal.SIGPIPE, signal.SIG_IGN)

        with open("/dev/full", "wb") as full:
            results = [self.run_with(full, *arguments)]
        reader, writer = os.pipe()
        os.close(reader)
        try:
            results.append(self.run_with(writer, *arguments, before=ignore_broken_pipes))
        finally:
            os.close(writer)
        results.append(self.run_with(None, *arguments, before=close_output))
        for result in results:
            self.assertEqual(result.returncode, CANNOT_ANSWER, (arguments, result.stderr))
            self.assertIn(b"The answer could not be written", result.stderr)

    def test_output_that_cannot_be_written_is_status_74(self):
        self.write(unsorted_root())
        other = self.home / "Other.plist"
        other.write_bytes(self.file.read_bytes())
        before = self.file.read_bytes()
        for arguments in (
            ("preview", self.file),
            ("preview", "--json", self.file),
            ("preview", "--html=-", self.file),
            ("dump", self.file),
            ("diff", self.file, other),
            ("backup", "list", self.file),
            ("settings", "list"),
            ("status",),
            ("report",),
            ("--help",),
            ("sort", "--help"),
            ("--version",),
        ):
            with self.subTest(arguments=arguments):
                self.expect_no_answer(*arguments)
        self.assertEqual(self.file.read_bytes(), before)

    def test_a_sort_whose_output_cannot_be_written_is_done(self):
        for _ in range(2):
            self.write(unsorted_root())
            self.expect_no_answer("sort", self.file)
            self.assertEqual([node["URIDictionary"]["title"] for node in self.read()["Children"][1]["Children"]], ["a", "b"])
            self.assertTrue(self.backup.is_file())

    def test_a_failure_keeps_its_own_status(self):
        with open("/dev/full", "wb") as full:
            self.assertEqual(self.run_with(full, "sort", self.file).returncode, 1)
            self.assertEqual(self.run_with(full, "sort", "--json", self.file).returncode, 1)
            self.assertEqual(self.run_with(full, "sort", "--no-such-option").returncode, 64)

    def test_a_file_size_limit_is_an_error_and_leaves_the_file(self):
        self.write(unsorted_root())
        before = self.file.read_bytes()

        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (100, 100))

        for arguments, status in ((("sort", self.file), 7), (("sort", "--no-backup", self.file), 6)):
            with self.subTest(arguments=arguments, status=status):
                result = self.run_with(subprocess.PIPE, *arguments, before=limit)
                self.assertEqual(result.returncode, status, result.stderr)
                self.assertNotEqual(result.stderr, b"")
                self.assertEqual(self.file.read_bytes(), before)
                self.assertFalse(self.backup.exists())
        # Also when written in place.
        os.link(self.file, self.home / "second name")
        result = self.run_with(subprocess.PIPE, "sort", "--no-backup", self.file, before=limit)
        self.assertEqual(result.returncode, 6, result.stderr)
        self.assertEqual(self.file.read_bytes(), before)


if __name__ == "__main__":
    runner.main()
