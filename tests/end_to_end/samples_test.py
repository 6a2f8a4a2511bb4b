"""Bookmarks files of other projects, sorted by the command and read by other programs."""

import sys
import unittest

from bookmarks_files import BookmarksFiles
from support import NO_SAMPLES, SAMPLES, SKIPPED, HomeTest

if SAMPLES is None:
    print(NO_SAMPLES)
    sys.exit(SKIPPED)


class Samples(BookmarksFiles, HomeTest):
    folder = SAMPLES / "bookmarks"


if __name__ == "__main__":
    unittest.main()
