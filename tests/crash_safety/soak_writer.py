"""Saves as a browser does, and trees that cleaning leaves unchanged."""

import os
import plistlib
import time

from bookmark_trees import folder, leaf, proxy, root, title_of
from machine import make_owned

LETTERS = "abcdefzABCZäéÖß0129-"


class Trees:
    """Trees with unique titles and addresses, and without empty folders."""

    def __init__(self, chance):
        self._chance = chance
        self._serial = 0

    def title(self):
        self._serial += 1
        start = "".join(self._chance.choice(LETTERS) for _ in range(self._chance.randint(1, 4)))
        return f"{start} {self._serial}"

    def entries(self, count, depth):
        nodes = []
        while len(nodes) < count:
            if depth > 0 and self._chance.random() < 0.2:
                nodes.append(folder(self.title(), *self.entries(self._chance.randint(1, 6), depth - 1)))
            else:
                title = self.title()
                nodes.append(leaf(title, f"https://{len(title)}.example/{title}"))
        return nodes

    def make(self, count):
        bar = folder("BookmarksBar", *self.entries(1 + count // 4, 1))
        menu = folder("BookmarksMenu", *self.entries(1 + count // 2, 3))
        return root(proxy("History"), bar, menu, *self.entries(count // 4, 2))


def entries_of(node, path=()):
    """Every entry with its folders, independent of order."""
    found = []
    for child in node.get("Children", []):
        title = title_of(child)
        found.append((path, title, child.get("URLString", ""), child["WebBookmarkUUID"]))
        found += entries_of(child, (*path, title))
    return sorted(found)


class Writer:
    """Saves the file of a machine. `saved`: the last bytes. `renames`: how often it renamed."""

    def __init__(self, machine, chance):
        self._machine = machine
        self._chance = chance
        self._trees = Trees(chance)
        self.saved = b""
        self.renames = 0

    def pause(self, longest):
        time.sleep(self._chance.uniform(0, longest))

    def _prepare(self, count):
        tree = self._trees.make(count or self._chance.choice((3, 10, 40, 150)))
        self.saved = plistlib.dumps(tree, fmt=plistlib.FMT_BINARY, sort_keys=False)

    def put(self, data):
        self._machine.replace(data)
        self.renames += 1

    def save(self, count=None):
        self._prepare(count)
        self.put(self.saved)

    def save_in_place(self):
        self._prepare(None)
        with self._machine.file.open("r+b") as file:
            half = len(self.saved) // 2
            file.write(self.saved[:half])
            file.flush()
            self.pause(0.05)
            file.write(self.saved[half:])
            file.truncate()

    def save_anew(self):
        self._prepare(None)
        self._machine.file.unlink()
        self.pause(0.3)
        self._machine.file.write_bytes(self.saved)
        make_owned(self._machine.file)

    def save_what_is_there(self):
        self.saved = self._machine.file.read_bytes()
        self.put(self.saved)

    def touch(self):
        os.utime(self._machine.file)

    def save_neighbour(self):
        (self._machine.folder / "History.plist").write_bytes(b"x")

    def save_somehow(self):
        way = self._chance.choices(
            (self.save, self.save_in_place, self.save_anew, self.save_what_is_there), weights=(10, 4, 3, 1)
        )[0]
        way()

    def burst(self, pause=0.15):
        """Several saves within one or two seconds, with writes to another file and touches in between."""
        for _ in range(self._chance.randint(1, 5)):
            self.save_somehow()
            if self._chance.random() < 0.3:
                self.save_neighbour()
            self.pause(pause)
        if self._chance.random() < 0.2:
            self.touch()
