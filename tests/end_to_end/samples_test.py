"""Bookmarks files of other projects, sorted by the command and read by other programs."""

import unittest

import runner
from bookmarks_files import BookmarksFiles
from home import NO_SAMPLES, SAMPLES, HomeTest


@unittest.skipIf(SAMPLES is None, NO_SAMPLES)
class Samples(BookmarksFiles, HomeTest):
    folder = SAMPLES and SAMPLES / "bookmarks"


if __name__ == "__main__":
    runner.main()
