"""Sorts on real file systems that are full or become full at any point: tmpfs, and ext4 in a file.

The bookmarks file and its backup are on the same file system. TARVEL_PROOF=long tries every free block count, otherwise some.
"""

import ctypes
import os
import pathlib
import plistlib
import shutil
import subprocess
import tempfile
import unittest

import runner
from bookmark_trees import folder, leaf, root, titles
from home import TARVEL, environment_of

IS_LONG = os.environ.get("TARVEL_PROOF") == "long"
BLOCK = 4096
SIZE = 16 << 20
CLONE_NEWNS = 0x00020000


def unsorted():
    tree = root(folder("BookmarksBar"), folder("BookmarksMenu", *(leaf(f"t{i * 7919 % 1000}") for i in range(1000))))
    tree["Filler"] = bytes(300_000)
    return plistlib.dumps(tree, fmt=plistlib.FMT_BINARY, sort_keys=False)


def menu(data):
    return titles(plistlib.loads(data))[1][1]


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
            pass  # Any amount of room is as good as another.


class FullDisk(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        """A mount namespace, so that other processes do not see the mounts, and they end with this process."""
        libc = ctypes.CDLL(None, use_errno=True)
        if libc.unshare(CLONE_NEWNS) != 0:
            raise unittest.SkipTest(f"no mount namespace: {os.strerror(ctypes.get_errno())}")
        subprocess.run(["mount", "--make-rprivate", "/"], check=True)

    def setUp(self):
        self.home = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.disk = self.home / "disk"
        self.disk.mkdir()

    def mount(self, *arguments):
        done = subprocess.run(["mount", *map(str, arguments), self.disk], capture_output=True, text=True, check=False)
        if done.returncode != 0:
            self.skipTest(f"no mounts are permitted: {done.stderr}")
        self.addCleanup(subprocess.run, ["umount", self.disk], check=True)

    def sort_with(self, room, before):
        home = self.disk / "home"
        shutil.rmtree(home, ignore_errors=True)
        (self.disk / "filler").unlink(missing_ok=True)
        (home / "browser").mkdir(parents=True)
        file = home / "browser/Bookmarks.plist"
        file.write_bytes(before)
        fill(self.disk, room)
        backup = home / "data/Tarvel/Bookmarks (Initial Copy).plist"
        done = subprocess.run([TARVEL, "sort", "--backup-file", backup, file], env=environment_of(home), check=False,
                              capture_output=True, stdin=subprocess.DEVNULL)
        after = file.read_bytes()
        self.assertIn(done.returncode, (0, 6, 7), done.stderr)
        if done.returncode == 0:
            self.assertEqual(menu(after), sorted(menu(before)))
            self.assertEqual(backup.read_bytes(), before)
        else:
            self.assertEqual(after, before)
            self.assertTrue(not backup.exists() or backup.read_bytes() == before, "the backup is not whole")
            self.assertTrue(done.stderr)
        self.assertEqual([p.name for p in (home / "browser").iterdir()], ["Bookmarks.plist"])
        return done.returncode

    def sort_with_every_amount_of_room(self):
        before = unsorted()
        statuses = []
        # From no room to room for both new files.
        for room in range(0, 3 * len(before), BLOCK if IS_LONG else 17 * BLOCK):
            with self.subTest(room=room):
                statuses.append(self.sort_with(room, before))
        self.assertLessEqual({0, 7}, set(statuses))
        print(f"{len(statuses)} fillings, by status {({one: statuses.count(one) for one in sorted(set(statuses))})}")

    def test_tmpfs(self):
        self.mount("-t", "tmpfs", "-o", f"size={SIZE}", "tmpfs")
        self.sort_with_every_amount_of_room()

    def test_ext4(self):
        image = self.home / "image"
        image.write_bytes(b"")
        os.truncate(image, SIZE)
        subprocess.run(["mkfs.ext4", "-q", "-F", "-m", "0", image], check=True)
        self.mount("-o", "loop", image)
        self.sort_with_every_amount_of_room()


if __name__ == "__main__":
    runner.main()
