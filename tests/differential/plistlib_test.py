#!/usr/bin/env python3
"""Python's plistlib and this project's readers and writers on the same files: samples, and made ones of every kind.

plistlib_test.py DUMP    DUMP is the program plist_dump.
"""

import base64
import datetime
import json
import os
import pathlib
import plistlib
import random
import struct
import subprocess
import sys
import tempfile

DUMP = sys.argv[1]
# The samples that we read as the original platform does and plistlib does not.
KNOWN_DIFFERENCES = {
    "empty_keys.plist": "a comment in a key is refused",
    "recursion.bplist": "a container that holds itself is refused",
    "clusterfuzz-testcase-4663876528373760": "padding within base 64 counts as a zero digit",
}
EPOCH = datetime.datetime(2001, 1, 1)
TEXTS = ["", "Title", "a & <b> \"c\" 'd'", "é", "日本語", "😀x", "\t\r\n", "x" * 14, "x" * 15, "ü" * 300, "\x01\x7f"]
INTEGERS = [0, 1, 127, 128, 255, 256, 65535, 65536, 2**31, 2**32 - 1, 2**32]
INTEGERS += [2**63 - 1, 2**63, 2**64 - 1, -1, -128, -(2**63)]


def described(paths):
    """What ours makes of each file."""
    lines = []
    for start in range(0, len(paths), 200):
        command = [DUMP, *map(str, paths[start : start + 200])]
        lines += subprocess.run(command, check=True, capture_output=True, text=True).stdout.splitlines()
    assert len(lines) == len(paths), "plist_dump answers one line for each file"
    return [json.loads(line) for line in lines]


def dictionary(entries):
    return {"t": "dict", "v": sorted(entries, key=lambda entry: json.dumps(entry[0]))}


def plain(value):
    """A value of plistlib's in the notation of the trees, as far as it tells types apart: no widths."""
    if isinstance(value, bool):
        return {"t": "bool", "v": value}
    if isinstance(value, int):
        return {"t": "int", "v": str(value)}
    if isinstance(value, float):
        return {"t": "real", "v": struct.pack("<d", value).hex() if value == value else "nan"}
    if isinstance(value, str):
        return {"t": "string", "v": value}
    if isinstance(value, bytes):
        return {"t": "data", "v": base64.b64encode(value).decode()}
    if isinstance(value, datetime.datetime):
        return {"t": "date", "v": int((value - EPOCH).total_seconds() // 1)}
    if isinstance(value, plistlib.UID):
        return {"t": "uid", "v": str(value.data)}
    if isinstance(value, list):
        return {"t": "array", "v": [plain(element) for element in value]}
    if isinstance(value, dict):
        if list(value) == ["CF$UID"] and isinstance(value["CF$UID"], int):
            return {"t": "uid", "v": str(value["CF$UID"])}
        return dictionary([key if isinstance(key, str) else plain(key), plain(value[key])] for key in value)
    return {"t": "other", "v": repr(value)}


def ours(tree):
    """Our tree in the same terms."""
    kind, value = tree["t"], tree.get("v")
    if kind == "real":
        number = float(value) if value in ("nan", "inf", "-inf") else float.fromhex(value)
        return plain(number)
    if kind == "date":
        return {"t": kind, "v": int(float.fromhex(value) // 1)}
    if kind == "array":
        return {"t": kind, "v": [ours(element) for element in value]}
    if kind == "dict":
        return dictionary([key if isinstance(key, str) else ours(key), ours(element)] for key, element in value)
    return {"t": kind, "v": value}


def random_value(rng, depth):
    if depth < 5 and rng.random() < (0.9 if depth == 0 else 0.35):
        if rng.random() < 0.6:
            keys = [rng.choice(TEXTS) + str(rng.randrange(20)) for _ in range(rng.randrange(9))]
            return {key: random_value(rng, depth + 1) for key in keys}
        return [random_value(rng, depth + 1) for _ in range(rng.randrange(9))]
    return rng.choice(
        [
            lambda: rng.choice(TEXTS),
            lambda: rng.choice(INTEGERS),
            lambda: rng.choice([0.0, 1.5, -2.5e-10, 1e300, 5e-324, float("inf"), float("-inf"), 0.1]),
            lambda: rng.random() < 0.5,
            lambda: EPOCH + datetime.timedelta(seconds=rng.randrange(-6 * 10**10, 2 * 10**11)),
            lambda: rng.randbytes(rng.choice([0, 1, 2, 3, 14, 15, 60, 300])),
        ]
    )()


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
    for path, value, answer in zip(paths, expected, described(paths)):
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
    for path, answer in zip(paths, described(paths)):
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
