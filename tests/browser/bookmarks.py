"""Bookmarks to show: made at random, and what a page has to say about them, found out in another way."""

import bisect

from bookmark_trees import folder, leaf, proxy, root, title_of

TITLES = ["Zebra", "apple", "Äpfel", "éclair", "10 things", "9 things", "日本語", "שלום", "😀", "a & b <i>", "News", "x" * 90]


def generated(random, size):
    """A tree with something for every rule to do."""
    addresses = [f"https://{word}.example/" for word in "abcdefgh"]

    def some(count, depth):
        children = []
        for _ in range(count):
            kind = random.random()
            title = random.choice(TITLES)
            if kind < 0.2 and depth < 4:
                children.append(folder(title, *some(random.randrange(0, 5), depth + 1)))
            elif kind < 0.25:
                children.append(leaf(None, random.choice(addresses) + str(random.randrange(10**6))))
            elif kind < 0.3:
                children.append(leaf(title, ""))
            elif kind < 0.4:
                children.append(leaf(title, random.choice(addresses)))
            else:
                children.append(leaf(f"{title} {random.randrange(100)}", f"https://n{random.randrange(10**6)}.example/"))
        return children

    return root(
        proxy("History"),
        folder("BookmarksBar", *some(size // 3, 0)),
        folder("BookmarksMenu", *some(size // 3, 0)),
        *some(size // 3, 0),
    )


def plain(node):
    """A file's tree as a page shows it."""
    return [
        {
            "title": title_of(child) or None,
            "address": child.get("URLString") or None,
            "folder": child.get("WebBookmarkType") == "WebBookmarkTypeList",
            "children": plain(child),
        }
        for child in node.get("Children", [])
    ]


def plainly(shown):
    """What a page shows, without what it says about it."""
    return [
        {**{key: entry[key] for key in ("title", "address", "folder")}, "children": plainly(entry["children"])}
        for entry in shown
    ]


def places(node, parent=None, around=()):
    """Each entry by its identifier: that of its folder (None for the root), the node, and the titles around it."""
    found = {}
    for child in node.get("Children", []):
        identifier = child["WebBookmarkUUID"]
        found[identifier] = (parent, child, around)
        found |= places(child, identifier, (*around, title_of(child) or None))
    return found


def longest_increasing(numbers):
    tails = []
    for number in numbers:
        at = bisect.bisect_left(tails, number)
        tails[at : at + 1] = [number]
    return len(tails)


def orders(node, own=None):
    """The identifiers in each folder, in order."""
    found = {own: [child["WebBookmarkUUID"] for child in node.get("Children", [])]}
    for child in node.get("Children", []):
        if "Children" in child:
            found |= orders(child, child["WebBookmarkUUID"])
    return found


def difference(before, after):
    """How often each kind of change is between two trees of the same identifiers: counted on the files themselves."""
    old, new = places(before), places(after)
    both = [identifier for identifier in old if identifier in new]
    moved = sum(1 for identifier in both if old[identifier][0] != new[identifier][0])
    was, now = orders(before), orders(after)
    for identifier, content in was.items():
        stayed = [c for c in content if c in new and new[c][0] == identifier]
        place = {c: i for i, c in enumerate(now.get(identifier, []))}
        moved += len(stayed) - longest_increasing([place[c] for c in stayed])
    titles = [(title_of(old[i][1]) or None, title_of(new[i][1]) or None) for i in both]
    return {
        "removed": len(old) - len(both),
        "moved": moved,
        "renamed": sum(1 for a, b in titles if a != b and a is not None),
        "named": sum(1 for a, b in titles if a != b and a is None),
    }


def gone(before, after):
    """What is in the old tree alone: titles around it, title, address."""
    left = places(after)
    return sorted(
        repr((around, title_of(node) or None, node.get("URLString") or None))
        for identifier, (_, node, around) in places(before).items()
        if identifier not in left
    )
