"""Files as this project and Python's plistlib read them."""

import plistlib

from trees import described, ours, plain


def differences(folder, known=()):
    """Compares every file below `folder` that plistlib can read: (number of files compared, differences not in `known`)."""
    paths = [p for p in sorted(folder.rglob("*")) if p.is_file()]
    found = []
    compared = 0
    for path, answer in zip(paths, described(paths)):
        try:
            value = plistlib.loads(path.read_bytes())
        except Exception:  # A hostile file may raise anything.
            continue
        compared += 1
        name = path.name
        if name in known:
            if answer["ok"] and ours(answer["tree"]) == plain(value):
                found.append(f"{name} agrees now: remove it from the list")
            continue
        if not answer["ok"]:
            found.append(f"{name}: refused ({answer['error']}), plistlib reads it")
        elif ours(answer["tree"]) != plain(value):
            found.append(f"{name}: ours {ours(answer['tree'])!r:.400}, plistlib's {plain(value)!r:.400}")
    return compared, found
