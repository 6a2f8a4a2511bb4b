#!/usr/bin/python3
"""The same job on Python's plistlib and PyICU, written the straightforward way. peer_plistlib.py FILE"""

import plistlib
import sys
import uuid

import icu

COLLATOR = icu.Collator.createInstance(icu.Locale(""))
COLLATOR.setStrength(icu.Collator.SECONDARY)
COLLATOR.setAttribute(icu.UCollAttribute.ALTERNATE_HANDLING, icu.UCollAttributeValue.NON_IGNORABLE)

KIND = "WebBookmarkType"
FOLDER, LEAF, PROXY = "WebBookmarkTypeList", "WebBookmarkTypeLeaf", "WebBookmarkTypeProxy"
RANK = {PROXY: 0, FOLDER: 1, LEAF: 2}


def title_of(node):
    return node.get("Title", node.get("URIDictionary", {}).get("title"))


def set_title(node, title):
    if "URIDictionary" in node:
        node["URIDictionary"]["title"] = title
    else:
        node["Title"] = title


def is_faulty(node, addresses):
    if node.get(KIND) == FOLDER:
        clean(node, addresses)
        return not node.get("Children")
    if node.get(KIND) == LEAF:
        address = node.get("URLString", "")
        if not address.strip(" \t") or address in addresses:
            return True
        addresses.add(address)
    return False


def clean(folder, addresses):
    titles = set()
    kept = []
    for node in reversed(folder.get("Children", [])):
        if is_faulty(node, addresses):
            continue
        kept.append(node)
        title = title_of(node)
        if title is None:
            set_title(node, node.get("URLString", "No Name"))
            continue
        candidate, number = title, 2
        while candidate in titles:
            candidate, number = f"{candidate} {number}", number + 1
        titles.add(candidate)
        set_title(node, candidate)
    folder["Children"] = kept[::-1]


def ordered(node, sort_this=True):
    if "Children" not in node or node.get("ShouldOmitFromUI"):
        return node
    children = [ordered(child) for child in node["Children"]]
    if title_of(node) != "BookmarksBar":
        children.sort(key=lambda c: (RANK.get(c.get(KIND), 3), COLLATOR.getSortKey(title_of(c) or "")))
    return {**node, "Children": children}


def same(a, b):
    if a.get("WebBookmarkUUID") != b.get("WebBookmarkUUID"):
        return False
    first, second = a.get("Children", []), b.get("Children", [])
    return len(first) == len(second) and all(same(x, y) for x, y in zip(first, second))


def main(path):
    with open(path, "rb") as file:
        root = plistlib.load(file)
    changed = False
    for i, child in enumerate(root["Children"]):
        if child.get("Title") in ("BookmarksBar", "BookmarksMenu"):
            clean(child, set())
            root["Children"][i] = ordered(child)
            changed = changed or not same(child, root["Children"][i])
    if changed:
        root["WebBookmarkUUID"] = str(uuid.uuid4()).upper()
        with open(path, "wb") as file:
            plistlib.dump(root, file, fmt=plistlib.FMT_BINARY, sort_keys=False)


main(sys.argv[1])
