#!/usr/bin/env python3
"""Desktop files, manual pages and packages: well-formed, complete, and each file in one package."""

import base64
import hashlib
import json
import os
import pathlib
import re
import shutil
import struct
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree

import runner

BUILD = pathlib.Path(os.environ["TARVEL_BUILD_DIR"])
SOURCE = pathlib.Path(os.environ["TARVEL_SOURCE_DIR"])
VERSION = os.environ["TARVEL_VERSION"]
LIBDIR = os.environ["TARVEL_LIBDIR"]
NAME = "org.tarvel.Tarvel"


def run(*arguments, **environment):
    variables = {name: value for name, value in os.environ.items() if name != "DESTDIR"} | environment
    return subprocess.run([str(a) for a in arguments], env=variables, capture_output=True, text=True, check=False)


def files_of(folder):
    return {path.relative_to(folder).as_posix() for path in folder.rglob("*") if not path.is_dir()}


class Packaging(unittest.TestCase):
    def setUp(self):
        if os.path.isabs(LIBDIR):
            self.skipTest("this build installs its library folder outside of any prefix")
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="tarvel-packaging-"))
        self.addCleanup(shutil.rmtree, self.root)

    def install(self, prefix, *options, **environment):
        done = run(os.environ["TARVEL_CMAKE"], "--install", BUILD, "--prefix", prefix, *options, **environment)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def check(self, *arguments):
        if not shutil.which(arguments[0]):
            self.skipTest(f"{arguments[0]} is not installed")
        done = run(*arguments, LC_ALL="C.UTF-8")
        self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)
        return done.stdout

    def test_every_file_is_in_one_package(self):
        self.install(self.root / "all")
        parts = {}
        # The components of cmake/TarvelPackages.cmake.
        for component in ("application", "updates", "browsers", "library", "development"):
            self.install(self.root / component, "--component", component)
            folder = self.root / component
            parts[component] = files_of(folder) if folder.exists() else set()
        names = [name for part in parts.values() for name in part]
        self.assertEqual(sorted(names), sorted(files_of(self.root / "all")))
        self.assertEqual({pathlib.Path(name).name for name in parts["updates"]},
                         {"tarvel-update-check", "tarvel-update-check.1"})
        self.assertIn("bin/tarvel", parts["application"])
        extension = {f"share/webext/tarvel/{name}" for name in files_of(SOURCE / "browser/extension")}
        self.assertEqual(parts["browsers"], extension)
        packages = (SOURCE / "cmake/TarvelPackages.cmake").read_text()
        self.assertIn("set(CPACK_COMPONENTS_ALL application updates browsers library development)", packages)

    def test_everything_knows_the_extension_by_the_same_ids(self):
        manifest = json.loads((SOURCE / "browser/extension/manifest.json").read_text())
        self.assertEqual(manifest["version"], VERSION)
        # Chromium's id is made of the key: its hash, in letters from a to p.
        digest = hashlib.sha256(base64.b64decode(manifest["key"])).hexdigest()[:32]
        chromium = "".join(chr(ord("a") + int(digit, 16)) for digit in digest)
        firefox = manifest["browser_specific_settings"]["gecko"]["id"]
        for name in ("tools/browsers/extension_identity.h", "packaging/debian/prepare.cmake"):
            text = (SOURCE / name).read_text()
            self.assertIn(chromium, text, name)
            self.assertIn(firefox, text, name)

    def test_files_are_below_the_destination_and_not_writable_by_others(self):
        self.install("/usr", DESTDIR=str(self.root))
        self.assertEqual({path.name for path in self.root.iterdir()}, {"usr"})
        for path in self.root.rglob("*"):
            if not path.is_symlink():
                self.assertEqual(path.stat().st_mode & 0o022, 0, path)
        for path in (self.root / "usr").rglob("*"):
            if path.is_file() and path.suffix in (".desktop", ".service", ".pc", ".cmake", ".xml"):
                self.assertNotIn(str(BUILD), path.read_text(), path)
                self.assertNotIn(str(self.root), path.read_text(), path)

    def test_the_desktop_file_starts_the_application_from_any_prefix(self):
        for name in ("plain", "a %n b$HOME"):
            prefix = self.root / name
            self.install(prefix, "--component", "application")
            program = prefix / LIBDIR / "tarvel/Tarvel.app/Contents/Linux/Tarvel"
            self.assertTrue(os.access(program, os.X_OK))
            desktop = prefix / f"share/applications/{NAME}.desktop"
            line = re.search(r"(?m)^Exec=(.*)$", desktop.read_text()).group(1)
            # Escapes of values first, then quotes, then field codes.
            word = line.replace("\\\\", "\\")
            if word.startswith('"'):
                word = re.sub(r"\\(.)", r"\1", word[1:-1])
            self.assertEqual(word.replace("%%", "%"), str(program))
            self.check("desktop-file-validate", desktop)

    def test_the_appstream_metadata_is_valid(self):
        self.install(self.root, "--component", "application")
        file = self.root / f"share/metainfo/{NAME}.metainfo.xml"
        component = xml.etree.ElementTree.parse(file).getroot()
        self.assertTrue((self.root / "share/applications" / component.findtext("launchable")).is_file())
        self.assertTrue((self.root / "bin" / component.findtext("provides/binary")).is_file())
        self.assertEqual(component.find("releases/release").get("version"), VERSION)
        self.check("appstreamcli", "validate", "--no-net", file)

    def test_the_icon_exists_in_every_size(self):
        self.install(self.root, "--component", "application")
        icons = self.root / "share/icons/hicolor"
        self.assertIn("<svg", (icons / f"scalable/apps/{NAME}.svg").read_text())
        sizes = {path.name for path in icons.iterdir()} - {"scalable"}
        self.assertEqual(sizes, {f"{size}x{size}" for size in (16, 24, 32, 48, 64, 128, 256)})
        for size in sizes:
            head = (icons / size / f"apps/{NAME}.png").read_bytes()[:24]
            self.assertEqual(head[:8], b"\x89PNG\r\n\x1a\n")
            self.assertEqual("{}x{}".format(*struct.unpack(">II", head[16:24])), size)

    def test_the_manuals_are_well_formed(self):
        manuals = sorted((SOURCE / "packaging/man").iterdir())
        self.assertEqual(len(manuals), 3)
        for manual in manuals:
            self.check("groff", "-man", "-Tutf8", "-ww", "-z", manual)

    def test_the_changelog_of_the_packages_names_this_version(self):
        first = (SOURCE / "packaging/debian/changelog").read_text().splitlines()[0]
        self.assertRegex(first, rf"^tarvel \({re.escape(VERSION)}-0tarvel\d+\) ")


if __name__ == "__main__":
    runner.main()
