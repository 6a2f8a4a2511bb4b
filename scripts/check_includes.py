#!/usr/bin/env python3
"""Checks includes against the table in docs/ARCHITECTURE.md, and that there are no cycles."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# Folders that the table does not restrict.
FREE = ["bench", "fuzz", "tests"]


def rooms_from_table():
    """Room -> the rooms it may include, itself among them. A room is a folder, or a file that differs from its folder."""
    rooms = {}
    for line in (ROOT / "docs/ARCHITECTURE.md").read_text().splitlines():
        cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
        room = cells[0].strip("`")
        if len(cells) == 2 and re.fullmatch(r"`[a-z_./]+`", cells[0]) and (ROOT / room).exists():
            rooms[room] = {room, *re.findall(r"[a-z_]+(?:/[a-z_]+)*", cells[1])}
    return rooms


def room_of(name, rooms):
    if name in rooms:
        return name
    folder = pathlib.PurePosixPath(name).parent.as_posix()
    return folder if folder in rooms else None


def cycle_in(graph):
    """The nodes of one cycle, or none."""
    state = {}

    def visit(node, path):
        state[node] = "open"
        for target in sorted(graph.get(node, ())):
            if state.get(target) == "open":
                return [*path[path.index(target) :], target]
            if target not in state:
                found = visit(target, [*path, target])
                if found:
                    return found
        state[node] = "closed"
        return None

    for node in sorted(graph):
        if node not in state:
            found = visit(node, [node])
            if found:
                return found
    return None


def main():
    rooms = rooms_from_table()
    faults = []
    checked = 0
    units = {}
    between = {}
    sources = [path for folder in sorted({room.split("/")[0] for room in rooms} | set(FREE))
               for path in sorted((ROOT / folder).rglob("*")) if path.suffix in (".h", ".cpp")]
    for path in sources:
        name = path.relative_to(ROOT).as_posix()
        is_free = name.split("/")[0] in FREE
        room = room_of(name, rooms)
        if room is None and not is_free:
            faults.append(f"{name}: docs/ARCHITECTURE.md has no row for its folder")
            continue
        for number, line in enumerate(path.read_text().splitlines(), 1):
            system = re.match(r"\s*#\s*include\s+<([^>]+)>", line)
            if system and room == "platform" and re.search(r"[./]", system.group(1)):
                faults.append(f"{name}:{number}: <{system.group(1)}> is no header of the C++ library")
            include = re.match(r'\s*#\s*include\s+"([^"]+)"', line)
            if not include:
                continue
            checked += 1
            target = include.group(1)
            if not (ROOT / target).is_file():
                faults.append(f"{name}:{number}: {target} is no file of the tree (paths start at its root)")
                continue
            unit, included = name.rpartition(".")[0], target.rpartition(".")[0]
            if unit != included:
                units.setdefault(unit, set()).add(included)
            if is_free:
                continue
            to = room_of(target, rooms)
            if to != room:
                between.setdefault(room, set()).add(to)
            if to not in rooms[room]:
                faults.append(f"{name}:{number}: {room} may not include {target}")
    for what, graph in (("rooms", between), ("files", units)):
        cycle = cycle_in(graph)
        if cycle:
            faults.append(f"cycle of {what}: {' -> '.join(cycle)}")
    unknown = {target for targets in rooms.values() for target in targets} - set(rooms)
    faults += [f"docs/ARCHITECTURE.md names {name}, which is no room" for name in sorted(unknown)]
    if checked == 0:
        sys.exit("no includes found: the check looked in the wrong place")
    if faults:
        sys.exit("\n".join(faults))


main()
