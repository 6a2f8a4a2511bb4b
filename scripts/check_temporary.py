#!/usr/bin/env python3
"""No script or test creates files with predictable names in world-writable folders.

A link planted there beforehand would lead the write to a file of this user's own. Temporary names come from mktemp,
mkdtemp or tempfile, and what belongs beside them goes into a folder made so.
"""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LOOKED_AT = ["scripts", ".ci", "tests", "bench", "examples", "cmake"]
SHARED = r"/(?:tmp|var/tmp|dev/shm)/"
# These create a random name.
GUESSABLE = re.compile(SHARED + r"(?![\w.-]*X{6})")
MADE = re.compile(r"\b(\w+)=\"?\$\(mktemp\b")


def faults_in(text):
    """Line numbers and reasons."""
    made = set(MADE.findall(text))
    beside = re.compile("|".join(rf"\${name}[.-]|\$\{{{name}\}}[.\w-]" for name in made)) if made else None
    for number, line in enumerate(text.splitlines(), 1):
        if GUESSABLE.search(line):
            yield number, "a name that can be guessed"
        elif beside and beside.search(line):
            yield number, "a name beside a temporary one, not within it"


def check_itself():
    bad = ["cmd >/tmp/log", 'log="/var/tmp/x-$$.log"', '"/dev/shm/test-" + id', 'r=$(mktemp -d)\nrm "$r.log"', "r=$(mktemp)\nrm ${r}x"]
    good = ["f=$(mktemp -d /var/tmp/x.XXXXXX)", "[ -w /dev/shm ]", 'r=$(mktemp -d)\nrm "$r/log" "$root.log"', "-path /tmp -o"]
    assert all(list(faults_in(text)) for text in bad) and not any(list(faults_in(text)) for text in good)


def main():
    check_itself()
    listing = ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard", "--", *LOOKED_AT]
    names = subprocess.run(listing, cwd=ROOT, check=True, capture_output=True).stdout.decode().split("\0")
    found = []
    read = 0
    for name in filter(None, names):
        path = ROOT / name
        # Recorded answers contain paths but create no files.
        if not path.is_file() or path.samefile(__file__) or name.startswith("tests/data/vectors/"):
            continue
        try:
            text = path.read_text()
        except UnicodeDecodeError:
            continue
        read += 1
        found += [f"{name}:{number}: {reason}" for number, reason in faults_in(text)]
    if read == 0:
        sys.exit("no files found: the check looked in the wrong place")
    if found:
        sys.exit("Made where other users write:\n" + "\n".join(found))


main()
