#!/usr/bin/env python3
"""The installed files, and that the installed programs find each other."""

import os
import pathlib
import plistlib
import shutil
import subprocess
import tempfile
import unittest

import runner

BUILD = pathlib.Path(os.environ["TARVEL_BUILD_DIR"])
SOURCE = pathlib.Path(os.environ["TARVEL_SOURCE_DIR"])
VERSION = os.environ["TARVEL_VERSION"]
LIBDIR = os.environ["TARVEL_LIBDIR"]
FEED = os.environ["TARVEL_UPDATE_FEED_URL"]

HELPER = "Tarvel.app/Contents/Library/TarvelHelper.app"
LANGUAGES = sorted(table.stem for table in (SOURCE / "packaging/Resources").glob("*.lproj"))
PROGRAMS = {
    "Tarvel.app/Contents/Linux/Tarvel",
    f"{HELPER}/Contents/Linux/TarvelHelper",
    f"{HELPER}/Contents/Linux/tarvel-update-check",
}
HOST = "tarvel-browser-host"
LISTS = {"Tarvel.app/Contents/Info.plist", f"{HELPER}/Contents/Info.plist"}
TABLES = {f"{HELPER}/Contents/Resources/{language}.lproj/Localizable.strings" for language in LANGUAGES}


def files_of(folder):
    """The relative path of every file below a folder."""
    return {path.relative_to(folder).as_posix() for path in folder.rglob("*") if not path.is_dir()}


class Tree(unittest.TestCase):
    """A folder with the bundles, and the command beside it."""

    def check_bundles(self, folder):
        programs = {folder / name for name in PROGRAMS}
        for name in PROGRAMS:
            self.assertTrue(os.access(folder / name, os.X_OK), name)
            self.assertEqual((folder / name).read_bytes()[:4], b"\x7fELF", name)
        for name in TABLES:
            language = pathlib.Path(name).parent.name
            written = SOURCE / "packaging/Resources" / language / "Localizable.strings"
            self.assertEqual((folder / name).read_bytes(), written.read_bytes(), name)
        self.check_information(folder / "Tarvel.app", "Tarvel", programs, {"SUFeedURL": FEED} if FEED else {})
        self.check_information(folder / HELPER, "TarvelHelper", programs, {"LSUIElement": True})
        # The main application is three folders above the agent's bundle.
        self.assertEqual((folder / HELPER).parents[2], folder / "Tarvel.app")

    def check_information(self, bundle, name, programs, extra):
        information = plistlib.loads((bundle / "Contents/Info.plist").read_bytes())
        wanted = {
            "CFBundleDevelopmentRegion": "en",
            "CFBundleExecutable": name,
            "CFBundleIdentifier": f"org.tarvel.{name}",
            "CFBundleInfoDictionaryVersion": "6.0",
            "CFBundleName": name,
            "CFBundlePackageType": "APPL",
            "CFBundleShortVersionString": VERSION,
            "CFBundleVersion": VERSION,
            **extra,
        }
        self.assertEqual(information, wanted)
        self.assertIn(bundle.joinpath("Contents/Linux", information["CFBundleExecutable"]), programs, bundle)

    def message(self, command, **variables):
        """The command's message about a missing file."""
        environment = {"HOME": "/no-home", "PATH": os.environ["PATH"], **variables}
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"):
            if name in os.environ:
                environment[name] = os.environ[name]
        arguments = [command, "sort", "/nonexistent/B.plist"]
        return subprocess.run(arguments, env=environment, capture_output=True, check=False).stderr.decode()

    def check_messages(self, command):
        english = self.message(command, LC_ALL="C.UTF-8")
        self.assertIn("The bookmarks file “/nonexistent/B.plist” could not be located.", english)
        for variables in ({}, {"LANG": "en_GB.UTF-8", "LANGUAGE": "en:de"}, {"LANG": "xx_XX.UTF-8"}):
            self.assertEqual(self.message(command, **variables), english)
        german = self.message(command, LANG="de_AT.UTF-8")
        self.assertIn("Die Lesezeichendatei „/nonexistent/B.plist“ wurde nicht gefunden.", german)
        self.assertEqual(self.message(command, LANG="fr_FR.UTF-8", LANGUAGE="xx:de:fr"), german)
        for language in LANGUAGES:
            self.assertNotEqual(self.message(command, LANG=f"{language}.UTF-8"), english, language)


class InstalledTree(Tree):
    def setUp(self):
        if os.path.isabs(LIBDIR):
            self.skipTest("this build installs its library folder outside of any prefix")
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="tarvel-install-"))
        self.addCleanup(shutil.rmtree, self.root)

    def install(self, prefix, destination=None):
        environment = {name: value for name, value in os.environ.items() if name != "DESTDIR"}
        if destination:
            environment["DESTDIR"] = str(destination)
        arguments = [os.environ["TARVEL_CMAKE"], "--install", str(BUILD), "--prefix", str(prefix)]
        done = subprocess.run(arguments, env=environment, capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def library(self, prefix):
        return prefix / LIBDIR / "tarvel"

    def test_the_bundles_have_exactly_the_expected_files(self):
        self.install(self.root)
        self.assertEqual(files_of(self.library(self.root)), PROGRAMS | LISTS | TABLES | {HOST})
        self.assertEqual(files_of(self.root / "bin"), {"tarvel"})
        self.check_bundles(self.library(self.root))

    def test_the_command_finds_its_translations_in_any_folder(self):
        self.install(self.root)
        self.check_messages(self.root / "bin/tarvel")
        # Also with another name in another folder.
        link = self.root / "tarvel-link"
        link.symlink_to("bin/tarvel")
        self.check_messages(link)

    def test_english_reads_no_translations(self):
        self.install(self.root)
        if not shutil.which("strace"):
            self.skipTest("strace is not installed")
        trace = [shutil.which("strace"), "-f", "-e", "trace=file", self.root / "bin/tarvel", "sort", "/nonexistent/B.plist"]
        calls = {}
        for language in ("en_US.UTF-8", "C.UTF-8", "sv_SE.UTF-8"):
            # LeakSanitizer cannot run under another tracer.
            environment = {"HOME": "/no-home", "LANG": language, "ASAN_OPTIONS": "detect_leaks=0"}
            done = subprocess.run(trace, env=environment, capture_output=True, text=True, check=False)
            if "PTRACE_TRACEME" in done.stderr or "ptrace" in done.stderr:
                self.skipTest("this machine does not permit tracing")
            calls[language] = [line for line in done.stderr.splitlines() if "Tarvel.app" in line]
        # Ensures that the names above are spelled correctly.
        self.assertIn("sv.lproj/Localizable.strings", "".join(calls["sv_SE.UTF-8"]))
        self.assertEqual(calls["en_US.UTF-8"], [])
        self.assertEqual(calls["C.UTF-8"], [])

    def test_without_translations_the_command_speaks_english(self):
        self.install(self.root)
        english = self.message(self.root / "bin/tarvel", LC_ALL="C.UTF-8")
        shutil.rmtree(self.library(self.root))
        self.assertEqual(self.message(self.root / "bin/tarvel", LANG="de_DE.UTF-8"), english)

    def unit(self, prefix):
        return prefix / "lib/systemd/user/TarvelHelper.service"

    def check_unit(self, prefix):
        """The unit as systemd parses it."""
        if not shutil.which("systemd-analyze"):
            self.skipTest("systemd-analyze is not installed")
        environment = {"HOME": str(self.root), "PATH": os.environ["PATH"], "XDG_RUNTIME_DIR": str(self.root)}
        # systemd-analyze looks for manual pages on this machine.
        arguments = ["systemd-analyze", "--user", "--man=no", "verify", self.unit(prefix)]
        return subprocess.run(arguments, env=environment, capture_output=True, text=True, check=False)

    def test_the_unit_names_the_installed_agent(self):
        # The unit escapes unusual names for systemd.
        prefix = self.root / "a %n b$HOME"
        self.install(prefix)
        agent = self.library(prefix) / f"{HELPER}/Contents/Linux/TarvelHelper"
        unit = self.unit(prefix).read_text()
        self.assertIn(f'\nExecStart=:"{str(agent).replace("%", "%%")}"\n', unit)
        self.assertNotIn("@TARVEL", unit)
        self.assertEqual(self.unit(prefix).stat().st_mode & 0o777, 0o644)
        done = self.check_unit(prefix)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
        agent.unlink()
        self.assertIn("is not executable", self.check_unit(prefix).stderr)

    def test_destdir_stages_a_package(self):
        self.install("/usr", self.root)
        self.assertEqual({path.name for path in self.root.iterdir()}, {"usr"})
        agent = f"/usr/{LIBDIR}/tarvel/{HELPER}/Contents/Linux/TarvelHelper"
        self.assertIn(f'\nExecStart=:"{agent}"\n', self.unit(self.root / "usr").read_text())
        self.assertEqual(files_of(self.library(self.root / "usr")), PROGRAMS | LISTS | TABLES | {HOST})
        self.check_bundles(self.library(self.root / "usr"))


class BuildTree(Tree):
    def test_the_build_folder_has_the_same_bundles(self):
        names = {f"Tarvel.app/{name}" for name in files_of(BUILD / "Tarvel.app")}
        self.assertEqual(names, PROGRAMS | LISTS | TABLES)
        self.check_bundles(BUILD)

    def test_the_command_of_the_build_finds_its_translations(self):
        self.check_messages(pathlib.Path(os.environ["TARVEL_BIN"]))


class Configuration(unittest.TestCase):
    def test_the_bundle_names_the_feed_of_the_build(self):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="tarvel-configure-"))
        self.addCleanup(shutil.rmtree, folder)
        feed = "https://updates.example/feed.xml?a=<b>&c=d"
        settings = {
            "CMAKE_CXX_COMPILER": os.environ["TARVEL_COMPILER"],
            "TARVEL_TESTS": "OFF",
            "TARVEL_UPDATE_FEED_URL": feed,
        }
        arguments = [os.environ["TARVEL_CMAKE"], "-S", str(SOURCE), "-B", str(folder)]
        arguments += ["-G", os.environ["TARVEL_GENERATOR"], *(f"-D{key}={value}" for key, value in settings.items())]
        done = subprocess.run(arguments, capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        main = plistlib.loads((folder / "Tarvel.app/Contents/Info.plist").read_bytes())
        self.assertEqual(main["SUFeedURL"], feed)
        self.assertNotIn("SUFeedURL", plistlib.loads((folder / HELPER / "Contents/Info.plist").read_bytes()))


if __name__ == "__main__":
    runner.main()
