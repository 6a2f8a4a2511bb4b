"""Whole files, read by this project and by Python's plistlib."""

import plistlib

from trees import described, ours, plain


def compare_files(dump, folder, known_differences=()):
    """Every file below `folder` that plistlib reads to the end is read by us as the same. (how many, faults)"""
    paths = [p for p in sorted(folder.rglob("*")) if p.is_file()]
    faults = []
    compared = 0
    for path, answer in zip(paths, described(dump, paths)):
        try:
            value = plistlib.loads(path.read_bytes())
        except Exception:  # Whatever a hostile file makes of a parser.
            continue
        compared += 1
        name = path.name
        if name in known_differences:
            if answer["ok"] and ours(answer["tree"]) == plain(value):
                faults.append(f"{name} agrees now: take it from the list")
            continue
        if not answer["ok"]:
            faults.append(f"{name}: refused ({answer['error']}), plistlib reads it")
        elif ours(answer["tree"]) != plain(value):
            faults.append(f"{name}: ours {ours(answer['tree'])!r:.400}, plistlib's {plain(value)!r:.400}")
    return compared, faults
