#!/usr/bin/env python3
"""Python's plistlib and this project's readers and writers on the same files: bookmarks files, and made ones of every kind.

plistlib_test.py DUMP    DUMP is the program plist_dump.
"""

import base64
import json
import os
import pathlib
import plistlib
import random
import sys
import tempfile

from files import compare_files
from trees import INTEGERS, TEXTS, described, ours, plain, random_value

DUMP = sys.argv[1]


def compare_made(folder):
    """Files that plistlib writes: we read the same values, and it reads the same values in what we write."""
    rng = random.Random(7)
    values = [random_value(rng, 0) for _ in range(400)] + TEXTS + INTEGERS
    values += [[plistlib.UID(n) for n in (0, 255, 256, 65536, 2**32 - 1)]]
    paths = []
    expected = []
    for number, value in enumerate(values):
        for form in (plistlib.FMT_XML, plistlib.FMT_BINARY):
            try:
                data = plistlib.dumps(value, fmt=form)
            except (ValueError, TypeError):
                continue  # Its XML writer refuses control characters and knows no UIDs.
            paths.append(folder / f"{number}-{form.name}")
            paths[-1].write_bytes(data)
            expected.append(with_xml_lines(value) if form == plistlib.FMT_XML else value)
    faults = []
    for path, value, answer in zip(paths, expected, described(DUMP, paths)):
        if not answer["ok"] or ours(answer["tree"]) != plain(value):
            faults.append(f"{path.name}: read as {json.dumps(answer)[:300]}, is {value!r:.300}")
            continue
        if plain(plistlib.loads(base64.b64decode(answer["binary"]))) != plain(value):
            faults.append(f"{path.name}: written in binary as something else than {value!r:.300}")
        xml = base64.b64decode(answer["xml"])
        if b"\x01" not in xml and plain(plistlib.loads(xml)) != plain(with_xml_lines(value)):
            faults.append(f"{path.name}: written in XML as something else than {value!r:.300}")
    return len(paths), faults


def with_xml_lines(value):
    """What becomes of a value where XML's rule for line ends is kept, as plistlib does and property lists do not."""
    if isinstance(value, str):
        return value.replace("\r\n", "\n").replace("\r", "\n")
    if isinstance(value, list):
        return [with_xml_lines(element) for element in value]
    if isinstance(value, dict):
        return {with_xml_lines(key): with_xml_lines(element) for key, element in value.items()}
    return value


def main():
    with tempfile.TemporaryDirectory() as folder:
        made, faults = compare_made(pathlib.Path(folder))
    bookmarks = pathlib.Path(os.environ["TARVEL_SOURCE_DIR"]) / "tests/data/bookmarks"
    compared, more = compare_files(DUMP, bookmarks)
    faults += more
    if made < 600 or compared != len(list(bookmarks.iterdir())):
        faults.append(f"only {made} made files and {compared} bookmarks files were compared")
    if faults:
        sys.exit("\n".join(faults))
    print(f"{made} made files and {compared} bookmarks files agree")


main()
