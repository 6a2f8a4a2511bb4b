#!/usr/bin/env python3
"""No file mentions documents, trackers or paths outside the project."""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# In pieces, so that this file passes its own check.
FORBIDDEN = re.compile(
    "|".join(
        [
            r"\bspe" + r"cs?\b",
            r"\bspecific" + r"ation",
            r"\b[Pp]ar" + r"ts? [1-4]\.[1-5]\b",
            r"\bissu" + r"e #?[0-9]+",
            "/wor" + "k/",
            "/far" + "m/",
        ]
    )
)
EXEMPT = re.compile(r"^(LICENSE|fuzz/(corpus|crashes)/.*|.*\.plist)$")


def main():
    listing = ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"]
    names = subprocess.run(listing, cwd=ROOT, check=True, capture_output=True).stdout.decode().split("\0")
    faults = []
    read = 0
    for name in filter(None, names):
        path = ROOT / name
        if EXEMPT.match(name) or not path.is_file():
            continue
        read += 1
        for number, line in enumerate(path.read_text(errors="replace").splitlines(), 1):
            if FORBIDDEN.search(line):
                faults.append(f"{name}:{number}: {line.strip()[:120]}")
    if read == 0:
        sys.exit("no files found: the check looked in the wrong place")
    if faults:
        sys.exit("These lines speak of something outside the project:\n" + "\n".join(faults))


main()
