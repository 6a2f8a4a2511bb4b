"""Trees of bookmarks as property list values."""

_serial = 0


def identifier():
    global _serial
    _serial += 1
    return f"00000000-0000-4000-8000-{_serial:012X}"


def leaf(title, address=None, **more):
    node = {"WebBookmarkType": "WebBookmarkTypeLeaf", "WebBookmarkUUID": identifier()}
    node["URLString"] = f"http://{title}.example/" if address is None else address
    node["URIDictionary"] = {} if title is None else {"title": title}
    return {**node, **more}


def folder(title, *children, **more):
    node = {"WebBookmarkType": "WebBookmarkTypeList", "WebBookmarkUUID": identifier(), "Title": title}
    return {**node, "Children": list(children), **more}


def proxy(title):
    return {"WebBookmarkType": "WebBookmarkTypeProxy", "WebBookmarkUUID": identifier(), "Title": title}


def root(*children, **more):
    node = folder("", *children)
    return {**node, "WebBookmarkFileVersion": 1, **more}


def title_of(node):
    return node.get("Title", node.get("URIDictionary", {}).get("title"))


def titles(node):
    """The titles in a folder, as nested lists."""
    return [[title_of(c), titles(c)] if "Children" in c else title_of(c) for c in node.get("Children", [])]


def nodes(node):
    """Every node of a tree except its root."""
    for child in node.get("Children", []):
        if isinstance(child, dict):
            yield child
            yield from nodes(child)
