#!/usr/bin/env python3
"""Lists the skipped tests of a ctest run with their reasons: skipped_tests.py JUNIT_FILE"""

import re
import sys
import xml.etree.ElementTree


def skipped_in_script(lines):
    """(test, reason) of each line that tests/support/python/runner.py prints, also for scripts that passed."""
    return re.findall(r"^skipped: (.+?): (.*)$", "\n".join(lines), re.M)


def skipped_in_program(lines):
    """(test, reason) of each test that a GoogleTest program skipped."""
    reason = "NO REASON GIVEN"
    for at, line in enumerate(lines):
        if line.endswith(": Skipped") and at + 1 < len(lines):
            reason = lines[at + 1]
        found = re.match(r"\[  SKIPPED \] (.+?)(?:, where .*)? \(\d+ ms\)$", line)
        if found:
            yield found.group(1), reason


def reason_of(lines):
    for at, line in enumerate(lines):
        # GoogleTest prints the reason below the location.
        if line.endswith(": Skipped") and at + 1 < len(lines):
            return lines[at + 1]
    return lines[-1] if lines else "NO REASON GIVEN"


def main():
    by_reason = {}
    for case in xml.etree.ElementTree.parse(sys.argv[1]).iter("testcase"):
        name = case.get("name")
        lines = [line.strip() for line in (case.findtext("system-out") or "").splitlines() if line.strip()]
        tests = skipped_in_script(lines)
        if case.find("skipped") is None:
            tests += skipped_in_program(lines)
        if not tests and case.find("skipped") is not None:
            by_reason.setdefault(reason_of(lines), []).append(name)
        for test, reason in tests:
            by_reason.setdefault(reason, []).append(f"{name}: {test}")
    for reason, names in sorted(by_reason.items()):
        print(f"skipped: {reason}")
        for name in names:
            print(f"    {name}")


main()
