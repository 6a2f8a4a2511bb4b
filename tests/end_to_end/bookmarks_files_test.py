"""The bookmarks files of tests/data, sorted by the command and read by other programs."""

import unittest

import runner
from bookmarks_files import BookmarksFiles
from home import BOOKMARKS, HomeTest


class OwnFiles(BookmarksFiles, HomeTest):
    folder = BOOKMARKS


if __name__ == "__main__":
    runner.main()
