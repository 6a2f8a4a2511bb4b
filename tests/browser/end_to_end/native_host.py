"""Sends messages to the host as a browser does, and applies its plans to a tree."""

import copy
import json
import struct
import subprocess

from chromium import CHROMIUM_ID


def answers(host, environment, messages):
    """All answers to a greeting and these messages."""
    greeting = {"type": "hello", "protocol": 1, "profile": "test"}
    process = subprocess.run(
        [str(host), f"chrome-extension://{CHROMIUM_ID}/"],
        env=environment,
        input=b"".join(framed(message) for message in (greeting, *messages)),
        capture_output=True,
        check=True,
    )
    return unframed(process.stdout)


def framed(message):
    content = message if isinstance(message, bytes) else json.dumps(message).encode()
    return struct.pack("=I", len(content)) + content


def unframed(output):
    messages = []
    while output:
        (length,) = struct.unpack("=I", output[:4])
        messages.append(json.loads(output[4 : 4 + length]))
        output = output[4 + length :]
    return messages


def plan(host, environment, tree, task="sort"):
    """The operations of a plan. Writes an undo record, so it needs a data folder of its own."""
    request = {"type": "plan", "task": task, "preview": False, "tree": as_the_api_gives(tree)}
    operations = []
    for answer in answers(host, environment, [request])[1:]:
        operations += answer["list"]
    return operations


def as_the_api_gives(tree):
    def node(entry, index):
        made = {"id": entry["id"], "title": entry["title"], "index": index, "type": entry["type"]}
        if entry["type"] == "folder":
            made["children"] = [node(child, place) for place, child in enumerate(entry["children"])]
        else:
            made["url"] = entry["url"] or "data:"
        return made

    return [{"id": "root", "title": "", "children": [node(root, place) for place, root in enumerate(tree)]}]


def states(tree, operations):
    """The children of each folder after none, one, two and so on of the operations, which are moves."""
    children = {entry["id"]: [child["id"] for child in entry["children"]] for entry in every(tree)}
    parents = {child: parent for parent, ids in children.items() for child in ids}
    yield copy.deepcopy(children)
    for kind, identifier, parent, index, _ in operations:
        assert kind == "move"
        children[parents[identifier]].remove(identifier)
        children[parent].insert(index, identifier)
        parents[identifier] = parent
        yield copy.deepcopy(children)


def shape(tree):
    """The children of each folder, by id."""
    return {entry["id"]: [child["id"] for child in entry["children"]] for entry in every(tree)}


def every(tree):
    for entry in tree:
        yield entry
        yield from every(entry["children"])
