"""Python's plistlib and this project's readers on files of other projects."""

import unittest

import runner
from files import differences
from home import NO_SAMPLES, SAMPLES

# Files that this project reads as the original platform does and plistlib does not.
KNOWN_DIFFERENCES = {
    "empty_keys.plist": "a comment in a key is refused",
    "recursion.bplist": "a container that contains itself is refused",
    "clusterfuzz-testcase-4663876528373760": "padding within base 64 counts as a zero digit",
}


@unittest.skipIf(SAMPLES is None, NO_SAMPLES)
class Samples(unittest.TestCase):
    def test_plistlib_reads_the_same_values_except_for_known_differences(self):
        compared, found = differences(SAMPLES, KNOWN_DIFFERENCES)
        self.assertEqual(found, [])
        self.assertGreaterEqual(compared, 30)


if __name__ == "__main__":
    runner.main()
