#!/usr/bin/env python3
"""Checks that programs are hardened and do not call forbidden functions.

check_hardening.py PROGRAM...
"""

import re
import subprocess
import sys

# Shells, predictable temporary names, and unbounded copies.
FORBIDDEN = {"system", "popen", "wordexp", "execlp", "execvp", "tmpnam", "tempnam", "mktemp", "gets", "strcpy", "strcat", "sprintf"}


def readelf(program, *options):
    return subprocess.run(["readelf", "-W", *options, program], capture_output=True, text=True, check=True).stdout


def imports_of(program):
    return {m.group(1) for m in re.finditer(r"UND\s+(\w+)", readelf(program, "--dyn-syms"))}


def faults(program):
    header = readelf(program, "-h")
    segments = readelf(program, "-l")
    dynamic = readelf(program, "-d")
    imports = imports_of(program)
    checks = {
        "is no position-independent executable": "DYN (Position-Independent Executable" in header and "(FLAGS_1)" in dynamic and "PIE" in dynamic,
        "keeps its relocations writable": "GNU_RELRO" in segments,
        "binds its calls late": "BIND_NOW" in dynamic or "NOW" in dynamic,
        "has an executable stack": bool(re.search(r"GNU_STACK\s.*\sRW\s", segments)),
        "has no stack protector": "__stack_chk_fail" in imports,
        "searches libraries where it was built": "RPATH" not in dynamic and "RUNPATH" not in dynamic,
    }
    yield from (words for words, holds in checks.items() if not holds)
    yield from (f"calls {name}()" for name in sorted(imports & FORBIDDEN))


def main():
    found = [f"{program}: {words}" for program in sys.argv[1:] for words in faults(program)]
    # Not every program has calls that can be fortified.
    if not any(name.endswith("_chk") for program in sys.argv[1:] for name in imports_of(program)):
        found.append("no copies are checked")
    print("\n".join(found) or f"{len(sys.argv) - 1} programs checked")
    return 1 if found or len(sys.argv) < 2 else 0


sys.exit(main())
