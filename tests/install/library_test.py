#!/usr/bin/env python3
"""The installed library: found, linked and run by another program, with only the recorded symbols."""

import os
import pathlib
import plistlib
import re
import shutil
import subprocess
import tempfile
import unittest

import runner

BUILD = pathlib.Path(os.environ["TARVEL_BUILD_DIR"])
SOURCE = pathlib.Path(os.environ["TARVEL_SOURCE_DIR"])
LIBDIR = os.environ["TARVEL_LIBDIR"]
VERSION = os.environ["TARVEL_VERSION"]
CMAKE = os.environ["TARVEL_CMAKE"]
COMPILER = os.environ["TARVEL_COMPILER"]
CACHE = [tool for tool in [shutil.which("ccache")] if tool]
EXAMPLE = SOURCE / "examples/sort_file"


def run(*arguments, cwd=None, **environment):
    variables = {**os.environ, "LC_ALL": "C.UTF-8", **{name: str(value) for name, value in environment.items()}}
    done = subprocess.run([str(a) for a in arguments], env=variables, cwd=cwd, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise AssertionError(f"{arguments[0]} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
    return done.stdout


def content_of(path):
    """The tree without the root's identifier, which is new after every sort."""
    content = plistlib.loads(path.read_bytes())
    return {key: value for key, value in content.items() if key != "WebBookmarkUUID"}


def bookmark(title):
    return {"WebBookmarkType": "WebBookmarkTypeLeaf", "WebBookmarkUUID": f"U-{title}", "URIDictionary": {"title": title},
            "URLString": f"https://example.org/{title}"}


def folder(title, *children):
    return {"WebBookmarkType": "WebBookmarkTypeList", "WebBookmarkUUID": f"U-{title}", "Title": title,
            "Children": list(children)}


UNSORTED = plistlib.dumps({
    **folder("", folder("BookmarksBar"), folder("BookmarksMenu", bookmark("b"), bookmark("a"), folder("c", bookmark("d")))),
    "WebBookmarkFileVersion": 1,
})


class Library(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        if os.path.isabs(LIBDIR):
            raise unittest.SkipTest("this build installs its library folder outside of any prefix")
        cls.root = pathlib.Path(tempfile.mkdtemp(prefix="tarvel-library-"))
        cls.addClassCleanup(shutil.rmtree, cls.root)
        # Installed and then moved: nothing may depend on the first path.
        for component in ("library", "development"):
            run(CMAKE, "--install", BUILD, "--prefix", cls.root / "first", "--component", component)
        cls.prefix = cls.root / "moved"
        (cls.root / "first").rename(cls.prefix)
        cls.library = cls.prefix / LIBDIR / "libtarvel.so.0"

    def check_example(self, program, **environment):
        """The program sorts a file as the command does."""
        ours, commands = self.root / f"{program.name}.plist", self.root / "command.plist"
        for file in (ours, commands):
            file.write_bytes(UNSORTED)
        run(program, ours, HOME=self.root, **environment)
        run(os.environ["TARVEL_BIN"], "sort", "--backup-file", self.root / "command.bak", commands, HOME=self.root)
        menu = content_of(ours)["Children"][1]["Children"]
        self.assertEqual([child["WebBookmarkUUID"] for child in menu], ["U-c", "U-a", "U-b"])
        self.assertEqual(content_of(ours), content_of(commands))
        self.assertEqual(pathlib.Path(f"{ours}.bak").read_bytes(), UNSORTED)

    def test_the_example_finds_the_library_by_cmake(self):
        folder = self.root / "by-cmake"
        run(CMAKE, "-S", EXAMPLE, "-B", folder, "-G", os.environ["TARVEL_GENERATOR"],
            f"-DCMAKE_CXX_COMPILER={COMPILER}", f"-DCMAKE_PREFIX_PATH={self.prefix}")
        run(CMAKE, "--build", folder)
        self.check_example(folder / "sort_file")

    def test_the_example_finds_the_library_by_pkg_config(self):
        program = self.root / "by-pkg-config"
        folder = self.prefix / LIBDIR / "pkgconfig"
        flags = run("pkg-config", "--cflags", "--libs", "tarvel", PKG_CONFIG_PATH=folder).split()
        self.assertEqual(run("pkg-config", "--modversion", "tarvel", PKG_CONFIG_PATH=folder).strip(), VERSION)
        # The headers compile without warnings.
        run(COMPILER, "-std=c++20", "-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Wconversion", "-Werror",
            EXAMPLE / "main.cpp", *flags, "-o", program)
        self.check_example(program, LD_LIBRARY_PATH=self.prefix / LIBDIR)

    def test_the_example_is_short(self):
        lines = [line for line in (EXAMPLE / "main.cpp").read_text().splitlines() if line.strip()]
        self.assertLessEqual(len(lines), 22)

    def test_each_header_compiles_alone(self):
        headers = sorted(path.relative_to(self.prefix / "include/tarvel") for path in self.prefix.rglob("*.h"))
        self.assertIn(pathlib.Path("engine/tarvel.h"), headers)
        for header in headers:
            source = self.root / "header.cpp"
            source.write_text(f"#include <{header}>\n#include <{header}>\n")
            # Relative, so that the cache of the compiler knows the files again in another folder.
            run(*CACHE, COMPILER, "-std=c++20", "-Wall", "-Werror", "-Imoved/include/tarvel", "-c", source.name, "-o", "header.o",
                cwd=self.root)

    def symbols(self):
        """(kind, name, version) of each exported symbol."""
        for line in run("nm", "-DC", "--defined-only", self.library).splitlines():
            kind, name = line.split(" ", 2)[1:]
            yield kind, *re.fullmatch(r"(.*?)(?:@@(\w+))?", name).groups()

    def test_every_symbol_has_a_version_and_is_recorded(self):
        names = [name for kind, name, version in self.symbols() if kind == "T"]
        recorded = (SOURCE / "library/symbols").read_text().splitlines()
        # A missing symbol breaks existing programs; a new one must be intended.
        self.assertEqual(sorted(set(names)), [line for line in recorded if not line.startswith("#")])
        for kind, name, version in self.symbols():
            if kind != "A":
                self.assertEqual(version, "TARVEL_0", name)
                self.assertRegex(name, r"^((vtable|typeinfo|typeinfo name) for )?tarvel::")

    def test_the_library_has_a_soname_and_not_the_agents_dependencies(self):
        dynamic = run("readelf", "-dW", self.library)
        self.assertIn("soname: [libtarvel.so.0]", dynamic)
        self.assertNotRegex(dynamic, "RPATH|RUNPATH|TEXTREL")
        # A program that sorts a file does not link the agent's dependencies.
        self.assertNotIn("libsystemd", dynamic)

    def test_the_reference_is_complete(self):
        if not shutil.which("doxygen"):
            self.skipTest("doxygen is not installed")
        settings = (BUILD / "library/Doxyfile").read_text()
        settings = re.sub(r"(?m)^OUTPUT_DIRECTORY = .*", f"OUTPUT_DIRECTORY = {self.root}", settings)
        done = subprocess.run(["doxygen", "-"], input=settings, cwd=self.root, capture_output=True, text=True, check=False)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertTrue((self.root / "html/classtarvel_1_1Tarvel.html").is_file())


if __name__ == "__main__":
    runner.main()
