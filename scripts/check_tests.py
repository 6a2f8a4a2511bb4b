#!/usr/bin/env python3
"""Every test file is in a target, and none stands where no target looks."""

import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent


def main():
    faults = []
    found = 0
    for path in sorted((ROOT / "tests").rglob("*_test.*")):
        if path.suffix not in (".cpp", ".py"):
            continue
        found += 1
        lists = path.parent / "CMakeLists.txt"
        wanted = "tarvel_test(" if path.suffix == ".cpp" else "*_test.py"
        name = path.relative_to(ROOT)
        if not lists.is_file() or wanted not in lists.read_text():
            faults.append(f"{name}: no target in {lists.relative_to(ROOT)} takes it")
        folder = path.parent.relative_to(ROOT / "tests").as_posix()
        if f"add_subdirectory({folder})" not in (ROOT / "tests/CMakeLists.txt").read_text():
            faults.append(f"{name}: tests/CMakeLists.txt does not add {folder}")
    if found == 0:
        sys.exit("no tests found: the check looked in the wrong place")
    if faults:
        sys.exit("\n".join(faults))


main()
