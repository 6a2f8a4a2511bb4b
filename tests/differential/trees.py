"""Values of plistlib and of this project in one notation, and random values."""

import base64
import datetime
import json
import os
import plistlib
import struct
import subprocess

EPOCH = datetime.datetime(2001, 1, 1)
TEXTS = ["", "Title", "a & <b> \"c\" 'd'", "é", "日本語", "😀x", "\t\r\n", "x" * 14, "x" * 15, "ü" * 300, "\x01\x7f"]
INTEGERS = [0, 1, 127, 128, 255, 256, 65535, 65536, 2**31, 2**32 - 1, 2**32]
INTEGERS += [2**63 - 1, 2**63, 2**64 - 1, -1, -128, -(2**63)]


def described(paths):
    """What plist_dump prints about each file."""
    lines = []
    for start in range(0, len(paths), 200):
        command = [os.environ["TARVEL_PLIST_DUMP"], *map(str, paths[start : start + 200])]
        lines += subprocess.run(command, check=True, capture_output=True, text=True).stdout.split("\n")[:-1]
    assert len(lines) == len(paths), "plist_dump prints one line for each file"
    return [json.loads(line) for line in lines]


def dictionary(entries):
    return {"t": "dict", "v": sorted(entries, key=lambda entry: json.dumps(entry[0]))}


def plain(value):
    """A value of plistlib, without the widths of numbers, which plistlib does not keep."""
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
    """A tree that plist_dump printed, in the same notation."""
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
