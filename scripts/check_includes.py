#!/usr/bin/env python3
"""Who may include whom, as the table in docs/ARCHITECTURE.md says."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# Folder of a file -> its row in the table; the longest prefix counts.
FOLDERS = {
    "platform": "platform",
    "platform/plist": "plist",
    "platform/linux": "linux",
    "platform/memory": "memory",
    "document": "document",
    "engine": "engine",
    "watcher": "watcher",
    "agent": "agent",
    "agent/main.cpp": "main",
    "update_check": "checker",
    "tools": "tools",
    "tests": "tests",
    "fuzz": "fuzz",
    "bench": "bench",
}


def layer_of(path):
    return FOLDERS[max((f for f in FOLDERS if path == f or path.startswith(f + "/")), key=len)]


def allowed_from_table():
    """Row name -> the names it may include, or None for anything."""
    allowed = {}
    for line in (ROOT / "docs/ARCHITECTURE.md").read_text().splitlines():
        cells = [cell.strip().strip("`") for cell in line.strip().strip("|").split("|")]
        if len(cells) != 2 or cells[0] not in FOLDERS.values():
            continue
        names = re.findall(r"[a-z]+", cells[1])
        known = {*names} & set(FOLDERS.values())
        allowed[cells[0]] = None if names == ["anything"] else {*known, cells[0]}
    return allowed


def main():
    allowed = allowed_from_table()
    missing = set(FOLDERS.values()) - set(allowed)
    if missing:
        sys.exit(f"docs/ARCHITECTURE.md has no row for: {', '.join(sorted(missing))}")
    faults = []
    checked = 0
    for folder in {f.split("/")[0] for f in FOLDERS}:
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix not in (".h", ".cpp"):
                continue
            name = path.relative_to(ROOT).as_posix()
            layer = layer_of(name)
            for number, line in enumerate(path.read_text().splitlines(), 1):
                system = re.match(r"\s*#\s*include\s+<([^>]+)>", line)
                if system and layer == "platform" and re.search(r"[./]", system.group(1)):
                    faults.append(f"{name}:{number}: <{system.group(1)}> is no header of the C++ library")
                include = re.match(r'\s*#\s*include\s+"([^"]+)"', line)
                if not include:
                    continue
                checked += 1
                target = include.group(1)
                if not (ROOT / target).is_file():
                    faults.append(f"{name}:{number}: {target} is no file of the tree (paths start at its root)")
                elif allowed[layer] is not None and layer_of(target) not in allowed[layer]:
                    faults.append(f"{name}:{number}: {layer} may not include {target}")
    if checked == 0:
        sys.exit("no includes found: the check looked in the wrong place")
    if faults:
        sys.exit("\n".join(faults))


main()
