#!/usr/bin/env python3
"""Every test file belongs to a target."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent


def commands_of(lists):
    return re.sub(r"#.*", "", lists.read_text()) if lists.is_file() else ""


def main():
    faults = []
    found = 0
    for path in sorted((ROOT / "tests").rglob("*_test.*")):
        if path.suffix not in (".cpp", ".py"):
            continue
        found += 1
        # A program includes the sources of its folder and the folders below.
        lists = next(folder / "CMakeLists.txt" for folder in path.parents if (folder / "CMakeLists.txt").is_file())
        wanted = r"tarvel_test\(" if path.suffix == ".cpp" else r"tarvel_script_tests?\("
        name = path.relative_to(ROOT)
        if not re.search(wanted, commands_of(lists)):
            faults.append(f"{name}: no target in {lists.relative_to(ROOT)} includes it")
        folder = lists.parent.relative_to(ROOT / "tests").as_posix()
        if f"add_subdirectory({folder})" not in commands_of(ROOT / "tests/CMakeLists.txt"):
            faults.append(f"{name}: tests/CMakeLists.txt does not add {folder}")
    if found == 0:
        sys.exit("no tests found: the check looked in the wrong place")
    if faults:
        sys.exit("\n".join(faults))


main()
