"""Real disks that are full, or become so at any point of a sort: a file system in memory, and ext4 in a file.

The file and its backup are on the disk together. TARVEL_PROOF=long tries every block of room, else some.
"""

import os
import pathlib
import plistlib
import shutil
import subprocess
import sys
import tempfile

TARVEL = os.environ["TARVEL_BIN"]
IS_LONG = os.environ.get("TARVEL_PROOF") == "long"
SKIPPED = 77
BLOCK = 4096
SIZE = 16 << 20


def leaf(title):
    return {"WebBookmarkType": "WebBookmarkTypeLeaf", "URLString": f"http://{title}/", "URIDictionary": {"title": title}, "WebBookmarkUUID": title}


def folder(title, *children):
    return {"WebBookmarkType": "WebBookmarkTypeList", "Title": title, "WebBookmarkUUID": title, "Children": list(children)}


def unsorted():
    root = folder("Root", folder("BookmarksBar"), folder("BookmarksMenu", *(leaf(f"t{i * 7919 % 1000}") for i in range(1000))))
    root["Filler"] = bytes(300_000)
    return plistlib.dumps(root, fmt=plistlib.FMT_BINARY, sort_keys=False)


def titles(data):
    return [child["URIDictionary"]["title"] for child in plistlib.loads(data)["Children"][1]["Children"]]


def fill(disk, room):
    """Leaves about `room` bytes."""
    filler = disk / "filler"
    with filler.open("wb") as file:
        status = os.statvfs(disk)
        wanted = status.f_bavail * status.f_frsize - room
        try:
            if wanted > 0:
                os.posix_fallocate(file.fileno(), 0, wanted)
        except OSError:
            pass  # What room there is left then is as good as any.


def sort_with(disk, room, before):
    home = disk / "home"
    shutil.rmtree(home, ignore_errors=True)
    (disk / "filler").unlink(missing_ok=True)
    (home / "browser").mkdir(parents=True)
    file = home / "browser/Bookmarks.plist"
    file.write_bytes(before)
    fill(disk, room)
    environment = {"HOME": str(home), "XDG_DATA_HOME": str(home / "data"), "LC_ALL": "C.UTF-8"}
    backup = home / "data/Tarvel/Bookmarks (Initial Copy).plist"
    done = subprocess.run([TARVEL, "sort", "--backup-file", backup, file], env=environment, capture_output=True, stdin=subprocess.DEVNULL, check=False)
    after = file.read_bytes()
    what = f"{room} bytes of room, status {done.returncode}, {done.stderr.decode()}"
    assert done.returncode in (0, 6, 7), what
    if done.returncode == 0:
        assert titles(after) == sorted(titles(before)), what
        assert backup.read_bytes() == before, what
    else:
        assert after == before, what
        assert not backup.exists() or backup.read_bytes() == before, what
        assert done.stderr, what
    assert [p.name for p in (home / "browser").iterdir()] == ["Bookmarks.plist"], what
    return done.returncode


def prove(name, disk):
    before = unsorted()
    # From no room at all to room for both new files.
    rooms = range(0, 3 * len(before), BLOCK if IS_LONG else 17 * BLOCK)
    statuses = [sort_with(disk, room, before) for room in rooms]
    assert 0 in statuses and 7 in statuses, statuses
    counts = {status: statuses.count(status) for status in sorted(set(statuses))}
    print(f"{name}: {len(statuses)} fillings, by status {counts}")


def mounted(*arguments):
    return subprocess.run(["mount", *map(str, arguments)], capture_output=True, check=False).returncode == 0


def main():
    if "inside" not in sys.argv:
        # In mounts of its own, which end with it and which nobody else sees.
        command = ["unshare", "--mount", "--propagation", "private", sys.executable, __file__, "inside"]
        return subprocess.run(command, check=False).returncode
    with tempfile.TemporaryDirectory() as folder_name:
        disk = pathlib.Path(folder_name) / "disk"
        disk.mkdir()
        if not mounted("-t", "tmpfs", "-o", f"size={SIZE}", "tmpfs", disk):
            print("no file system may be mounted here")
            return SKIPPED
        prove("tmpfs", disk)
        subprocess.run(["umount", disk], check=True)
        image = pathlib.Path(folder_name) / "image"
        image.write_bytes(b"")
        os.truncate(image, SIZE)
        subprocess.run(["mkfs.ext4", "-q", "-F", "-m", "0", image], check=True)
        if not mounted("-o", "loop", image, disk):
            print("ext4: no loop device here, not tried")
            return 0
        prove("ext4", disk)
        subprocess.run(["umount", disk], check=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
