#!/usr/bin/env python3
"""Python's plistlib and this project's readers on files of other projects.

samples_test.py DUMP    DUMP is the program plist_dump.
"""

import os
import pathlib
import sys

from files import compare_files

# The samples that we read as the original platform does and plistlib does not.
KNOWN_DIFFERENCES = {
    "empty_keys.plist": "a comment in a key is refused",
    "recursion.bplist": "a container that holds itself is refused",
    "clusterfuzz-testcase-4663876528373760": "padding within base 64 counts as a zero digit",
}


def main():
    if not os.environ.get("TARVEL_SAMPLES"):
        print("other projects' files: TARVEL_SAMPLES names no folder")
        sys.exit(77)
    compared, faults = compare_files(sys.argv[1], pathlib.Path(os.environ["TARVEL_SAMPLES"]), KNOWN_DIFFERENCES)
    if compared < 30:
        faults.append(f"only {compared} samples were compared")
    if faults:
        sys.exit("\n".join(faults))
    print(f"{compared} samples agree")


main()
