#!/usr/bin/env python3
"""Lists the skipped tests of a ctest run with their reasons: skipped_tests.py JUNIT_FILE"""

import sys
import xml.etree.ElementTree


def reason_of(case):
    lines = [line.strip() for line in (case.findtext("system-out") or "").splitlines()]
    for at, line in enumerate(lines):
        # GoogleTest puts the reason below the place in the source.
        if line.endswith(": Skipped") and at + 1 < len(lines):
            return lines[at + 1]
    said = [line for line in lines if line]
    return said[-1] if said else "NO REASON GIVEN"


def main():
    by_reason = {}
    for case in xml.etree.ElementTree.parse(sys.argv[1]).iter("testcase"):
        if case.find("skipped") is not None:
            by_reason.setdefault(reason_of(case), []).append(case.get("name"))
    for reason, names in sorted(by_reason.items()):
        print(f"skipped: {reason}")
        for name in names:
            print(f"    {name}")


main()
