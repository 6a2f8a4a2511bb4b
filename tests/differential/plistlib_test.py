#!/usr/bin/env python3
"""Python's plistlib and this project's readers and writers on the same files: samples, and made ones of every kind.

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

from trees import INTEGERS, TEXTS, described, ours, plain, random_value

DUMP = sys.argv[1]
# The samples that we read as the original platform does and plistlib does not.
KNOWN_DIFFERENCES = {
    "empty_keys.plist": "a comment in a key is refused",
    "recursion.bplist": "a container that holds itself is refused",
    "clusterfuzz-testcase-4663876528373760": "padding within base 64 counts as a zero digit",
}
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


def compare_samples():
    """Every sample that plistlib reads to the end is read by us as the same."""
    paths = [p for p in sorted(pathlib.Path(os.environ["TARVEL_SAMPLES"]).rglob("*")) if p.is_file()]
    faults = []
    compared = 0
    for path, answer in zip(paths, described(DUMP, paths)):
        try:
            value = plistlib.loads(path.read_bytes())
        except Exception:  # Whatever a hostile file makes of a parser.
            continue
        compared += 1
        name = path.name
        if name in KNOWN_DIFFERENCES:
            if answer["ok"] and ours(answer["tree"]) == plain(value):
                faults.append(f"{name} agrees now: take it from the list")
            continue
        if not answer["ok"]:
            faults.append(f"{name}: refused ({answer['error']}), plistlib reads it")
        elif ours(answer["tree"]) != plain(value):
            faults.append(f"{name}: ours {ours(answer['tree'])!r:.400}, plistlib's {plain(value)!r:.400}")
    return compared, faults


def main():
    with tempfile.TemporaryDirectory() as folder:
        made, faults = compare_made(pathlib.Path(folder))
    compared, more = compare_samples()
    faults += more
    if made < 600 or compared < 30:
        faults.append(f"only {made} made files and {compared} samples were compared")
    if faults:
        sys.exit("\n".join(faults))
    print(f"{made} made files and {compared} samples agree")


main()
