"""Randomly broken files, read by this project, Python's plistlib and plistutil. Every difference has a known reason.

TARVEL_PROOF=long breaks many more files.
"""

import collections
import os
import pathlib
import plistlib
import random
import re
import subprocess
import tempfile
import unittest

import runner
from trees import described, ours, plain, random_value

IS_LONG = os.environ.get("TARVEL_PROOF") == "long"
FILES = 40_000 if IS_LONG else 1_500
PLISTUTIL_FILES = 4_000 if IS_LONG else 150
SEED = int.from_bytes(os.urandom(4), "big") if IS_LONG else 1

# Files that only plistlib reads: a pattern of our message, and the reason.
ONLY_PLISTLIB = [
    (r"Encountered unknown tag", "plistlib skips elements that it does not know"),
    (r"Encountered unexpected character .* while looking for (open|close) tag", "plistlib skips text between elements"),
    (r"Encountered unexpected element at line \d+ \(plist can only include one object\)", "plistlib keeps the last of several roots"),
    (r"Encountered unexpected character .* while parsing DTD", "expat reads declarations within the document"),
    (r"Encountered empty plist tag", "plistlib makes None of a document without a value"),
    (r"Encountered improper CDATA", "a comment within a text is refused"),
    (r"ampersand-escape", "expat passes over entities that another document may declare"),
    (r"Encountered unknown encoding", "expat guesses at an encoding that it does not know"),
    (r"(Integer (over|under)flow|Encountered mis|Unknown character|Malformed|Encountered .*<(integer|real|date|data)>|Could not interpret)", "plistlib's numbers and dates have other limits"),
    (r"Found non-key inside <dict>|Missing key inside <dict>|Value missing for key|Found .*key", "plistlib takes keys and values as they come"),
    (r"Unexpected character|Missing ';'|Junk after plist|Malformed data byte group|Unexpected EOF|Expected terminating", "what begins with no known mark is the text form; plistlib looks for XML further on"),
    (r"Encountered unexpected EOF|EOF", "plistlib does not look behind the root"),
]
# Files that only we read: a pattern of plistlib's exception, and the reason.
ONLY_OURS = [
    (r"ExpatError", "expat wants well-formed XML everywhere, property lists only where they look"),
    (r"^InvalidFileException$", "plistlib knows no text form"),
    (r"UnicodeDecodeError", "a text that is not in its encoding is read as Latin-1 or with marks"),
    (r"OverflowError|year .* out of range|date value out of range|days=", "plistlib's dates end with the year 9999"),
    (r"binascii|Incorrect padding|Invalid base64|base64", "base 64 is read as far as it goes"),
    (r"unhashable", "keys may be of any type"),
    (r"invalid literal|could not convert|ValueError|AttributeError|KeyError|IndexError|TypeError|struct.error|RecursionError", "plistlib's readers of numbers, dates and elements take less"),
]


def seeds(rng):
    for _ in range(150):
        value = random_value(rng, 0)
        for form in (plistlib.FMT_XML, plistlib.FMT_BINARY):
            try:
                yield plistlib.dumps(value, fmt=form)
            except (ValueError, TypeError):
                continue  # Its XML writer refuses control characters.
    folders = [pathlib.Path(os.environ["TARVEL_SOURCE_DIR"]) / "tests/data/bookmarks"]
    if os.environ.get("TARVEL_SAMPLES"):
        folders.append(pathlib.Path(os.environ["TARVEL_SAMPLES"]) / "bookmarks")
    for path in sorted(path for folder in folders for path in folder.iterdir()):
        if path.is_file() and path.stat().st_size < 6000:
            yield path.read_bytes()


def is_binary(data):
    return data.startswith(b"bplist")


MARKERS = [0x00, 0x01, 0x08, 0x0F, 0x10, 0x50, 0x60, 0x7F, 0x80, 0xA0, 0xD0, 0xFF]
MARKUP = [b"<!-- c -->", b"&amp;", b"&#65;", b"<dict/>", b"<key>k</key>", b"\r\n", b"<true/>", b" ", b"<![CDATA[x]]>", b"<integer>0x1F</integer>", b"+"]


def broken(rng, seed):
    data = bytearray(seed)
    for _ in range(rng.choice([1, 1, 1, 2, 4])):
        place = rng.randrange(len(data))
        kind = rng.randrange(5 if is_binary(seed) else 6)
        if kind == 0:
            data[place] ^= 1 << rng.randrange(8)
        elif kind == 1:
            data[place] = rng.choice(MARKERS)
        elif kind == 2:
            del data[place : place + rng.choice([1, 1, 2, 8, 40])]
        elif kind == 3:
            data[place:place] = data[place : place + rng.choice([1, 4, 20])]
        elif kind == 4:
            other = rng.randrange(len(data))
            data[place], data[other] = data[other], data[place]
        else:
            data[place:place] = rng.choice(MARKUP)
        if not data:
            break
    return bytes(data)


def binary_fault(data):
    """Why a binary file is refused of which plistlib reads the valid part."""
    if len(data) < 40:
        return None
    size, count, table = data[-26], int.from_bytes(data[-24:-16], "big"), int.from_bytes(data[-8:], "big")
    if table + size * count != len(data) - 32:
        return "binary: the table of offsets does not end where the trailer begins"
    offsets = [int.from_bytes(data[table + i * size : table + (i + 1) * size], "big") for i in range(count)]
    if any(not 8 <= offset < table for offset in offsets):
        return "binary: an offset leads out of the objects"
    return "binary: an object does not fit, or is of a kind that is none"


def same_values(ours_tree, theirs):
    """None when alike, otherwise the reason; an empty string when there is no known reason."""
    if ours_tree == theirs:
        return None
    if ours_tree["t"] == "null" and theirs == {"t": "other", "v": "None"}:
        return None
    if ours_tree["t"] == "int" and theirs["t"] == "int":
        wide = int(theirs["v"])
        return "integers of more than 64 bits keep the lower ones" if not -(2**63) <= wide < 2**64 else ""
    if ours_tree["t"] == "date" and theirs["t"] == "date":
        return "plistlib rounds dates to microseconds" if abs(ours_tree["v"] - theirs["v"]) == 1 else ""
    if ours_tree["t"] == "data" and theirs["t"] == "data":
        return "within base 64 each passes over other characters"
    if ours_tree["t"] == "string" and theirs["t"] == "string":
        if "\r" in ours_tree["v"]:
            return "expat makes every end of a line one character"
        return "half a pair of UTF-16 is kept by one, marked by the other" if re.search("[\ud800-\udfff\ufffd]", ours_tree["v"] + theirs["v"]) else ""
    if ours_tree["t"] != theirs["t"] or ours_tree["t"] not in ("array", "dict"):
        return ""
    if len(ours_tree["v"]) != len(theirs["v"]):
        return "keys that are no texts may be equal in one notation only" if ours_tree["t"] == "dict" else ""
    for one, other in zip(ours_tree["v"], theirs["v"]):
        if ours_tree["t"] == "array":
            reason = same_values(one, other)
        else:
            keys = [key if isinstance(key, dict) else {"t": "string", "v": key} for key in (one[0], other[0])]
            reason = same_values(*keys) or same_values(one[1], other[1])
        if reason is not None:
            return reason
    return None


def repeats_keys(data):
    """Whether a dictionary has a key twice: here the first counts in the binary format, in plistlib the last."""
    repeated = []

    class Noting(dict):
        def __setitem__(self, key, value):
            if key in self:
                repeated.append(key)
            super().__setitem__(key, value)

    plistlib.loads(data, dict_type=Noting)
    return bool(repeated)


def exception_text(error):
    inner = error.__context__ or error
    name = type(error).__name__ if inner is error else type(inner).__name__
    return name if name == "InvalidFileException" else f"{name}: {inner}"


def reason_for(data, answer):
    """Why this project and plistlib differ: None when they agree, an empty string when there is no known reason."""
    try:
        value = plistlib.loads(data)
    except Exception as error:  # A broken file may raise anything.
        if not answer["ok"]:
            return None
        text = exception_text(error)
        return next((why for pattern, why in ONLY_OURS if re.search(pattern, text)), "")
    if not answer["ok"]:
        if is_binary(data):
            return binary_fault(data)
        return next((why for pattern, why in ONLY_PLISTLIB if re.search(pattern, answer["error"])), "")
    reason = same_values(ours(answer["tree"]), plain(value))
    if reason == "" and is_binary(data) and repeats_keys(data):
        return "of equal keys the first counts in the binary format, and plistlib's last"
    return reason


def plistutil_reads(path):
    """The values in the binary file that plistutil converts a file to; None when it refuses."""
    done = subprocess.run(["plistutil", "-i", path, "-f", "bin", "-o", "-"], capture_output=True, check=False)
    if done.returncode != 0:
        return None
    return plain(plistlib.loads(done.stdout))


class Mutated(unittest.TestCase):
    def setUp(self):
        rng = random.Random(SEED)
        made = list(seeds(rng))
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.files = {}
        for number in range(FILES):
            data = broken(rng, rng.choice(made))
            path = self.folder / str(number)
            path.write_bytes(data)
            self.files[path] = data

    def compare_with_plistutil(self, path, answer):
        theirs = plistutil_reads(path)
        if theirs is None:
            return "refused"
        return "alike" if same_values(ours(answer["tree"]), theirs) is None else "other values"

    def test_every_difference_has_a_known_reason(self):
        reasons, plistutil = collections.Counter(), collections.Counter()
        unexplained = []
        for (path, data), answer in zip(self.files.items(), described(list(self.files))):
            reason = reason_for(data, answer)
            reasons[reason or "alike"] += 1
            if reason == "":
                unexplained.append(f"{data[:300]!r}: ours {str(answer)[:300]}")
            if reason is None and answer["ok"] and plistutil.total() < PLISTUTIL_FILES:
                plistutil[self.compare_with_plistutil(path, answer)] += 1
        for reason, count in reasons.most_common():
            print(f"{count:7}  {reason}")
        print("plistutil, on files that both others read alike:", dict(plistutil))
        self.assertEqual(unexplained[:20], [], f"seed {SEED}")
        self.assertGreaterEqual(reasons["alike"], FILES / 3)
        self.assertGreaterEqual(plistutil["alike"], plistutil.total() / 2)


if __name__ == "__main__":
    runner.main()
