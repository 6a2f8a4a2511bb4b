"""A home folder of its own for each test, and the built command in it."""

import os
import pathlib
import plistlib
import shutil
import subprocess
import tempfile
import unittest

TARVEL = os.environ["TARVEL_BIN"]
SOURCE = pathlib.Path(os.environ["TARVEL_SOURCE_DIR"])
BOOKMARKS = SOURCE / "tests/data/bookmarks"
# Files of other projects, if there are any.
SAMPLES = pathlib.Path(os.environ["TARVEL_SAMPLES"]) if os.environ.get("TARVEL_SAMPLES") else None
NO_SAMPLES = "other projects' files: TARVEL_SAMPLES names no folder"
SANITIZED = bool(os.environ.get("TARVEL_SANITIZERS"))
# Seconds that anything may take on a machine that is busy with other tests.
PATIENCE = 60


def environment_of(home, **more):
    """Nothing of the user's environment except what configures sanitizers."""
    names = ("PATH", "ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS")
    inherited = {name: os.environ[name] for name in names if name in os.environ}
    return {**inherited, "HOME": str(home), "LC_ALL": "C.UTF-8", "XDG_DATA_HOME": str(home / "data"), **more}


class HomeTest(unittest.TestCase):
    """Each test has an empty home folder."""

    def setUp(self):
        self.home = pathlib.Path(tempfile.mkdtemp(prefix="tarvel-test-"))
        self.addCleanup(shutil.rmtree, self.home)
        # Without it the user's own runtime folder would be found.
        self.environment = environment_of(self.home, XDG_RUNTIME_DIR=str(self.home / "nothing"))
        self.file = self.home / "Bookmarks.plist"
        self.backup = self.initial_backup_of(self.file)

    def initial_backup_of(self, path):
        """The path of the initial backup of a file that is not the one in the settings."""
        digits = 2166136261
        for byte in os.fsencode(path.resolve()):
            digits = (digits ^ byte) * 16777619 % 2**32
        return self.home / f"data/Tarvel/Bookmarks (Initial Copy) {digits:08x}.plist"

    def tarvel(self, *arguments, **options):
        return subprocess.run(
            [TARVEL, *map(str, arguments)],
            env=self.environment,
            cwd=self.home,
            stdin=subprocess.DEVNULL if "input" not in options else None,
            capture_output=True,
            check=False,
            **options,
        )

    def shown(self, path):
        """A path of the home folder as messages show it."""
        return f"~/{path.relative_to(self.home)}"

    def write(self, root, fmt=plistlib.FMT_BINARY):
        self.file.write_bytes(plistlib.dumps(root, fmt=fmt, sort_keys=False))
        return self.file.read_bytes()

    def read(self):
        return plistlib.loads(self.file.read_bytes())

    def files(self):
        """The relative path of every file in the home folder."""
        return sorted(p.relative_to(self.home).as_posix() for p in self.home.rglob("*") if not p.is_dir())
