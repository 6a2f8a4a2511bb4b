"""Text from files cannot control a terminal or disguise itself, in output to a terminal and in all JSON."""

import json
import plistlib
import re
import unittest

import runner
from bookmark_trees import folder, leaf
from home import HomeTest
from terminal import Terminal

# Escape, delete, CSI as one character, direction override, isolate, marks, line and paragraph separators.
HOSTILE = "a\x1b[2J\x7f\x9b\u202e\u2066\u200e\u200f\u061c\u2028\u2029z"
DANGEROUS = re.compile("[\x00-\x08\x0b-\x1f\x7f-\x9f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069\ufeff]")
# The colours of reports.
COLOURS = re.compile("\x1b\\[[0-9]*m")
SETTINGS = "org.tarvel.Tarvel"


def root(*children):
    return {
        "WebBookmarkType": "WebBookmarkTypeList",
        "WebBookmarkFileVersion": 1,
        "Children": [folder("BookmarksBar"), folder("BookmarksMenu", *children)],
    }


class SafeOutput(HomeTest):
    def setUp(self):
        super().setUp()
        self.file = self.home / f"{HOSTILE}.plist"
        self.write(root(leaf("x " + HOSTILE, "http://" + HOSTILE), leaf(HOSTILE, "http://1/"), folder(HOSTILE)))
        self.other = self.home / "other.plist"
        self.other.write_bytes(plistlib.dumps(root(leaf(HOSTILE + "2", "http://1/" + HOSTILE)), fmt=plistlib.FMT_BINARY))
        self.environment["XDG_CONFIG_HOME"] = str(self.home / "config")
        settings = self.home / "config" / SETTINGS / "preferences.plist"
        settings.parent.mkdir(parents=True)
        values = {"AutoSortMode": HOSTILE, "BookmarksFilename": str(self.file), "BookmarksUpdateLatency": HOSTILE}
        settings.write_bytes(plistlib.dumps(values, fmt=plistlib.FMT_BINARY))

    def assert_harmless(self, text, arguments):
        found = DANGEROUS.search(text)
        if found:
            around = text[max(0, found.start() - 60) : found.end() + 20]
            self.fail(f"{' '.join(map(ascii, arguments))}: {around!a}")

    def commands(self):
        yield "preview", self.file
        yield "diff", self.file, self.other
        yield "diff", self.other, self.file
        yield "backup", "list", self.file
        yield "status",
        yield "settings",
        yield "doctor",

    def test_json_has_no_dangerous_character_and_the_same_values(self):
        for arguments in (*self.commands(), ("sort", self.file)):
            with self.subTest(arguments=arguments):
                result = self.tarvel(*arguments, "--json")
                self.assert_harmless(result.stdout.decode(), arguments)
                self.assertEqual(result.stderr, b"")
                values = self.flattened(json.loads(result.stdout))
                if self.file in arguments:
                    self.assertIn(HOSTILE, values)

    def flattened(self, value):
        if isinstance(value, dict):
            return " ".join(self.flattened(item) for pair in value.items() for item in pair)
        if isinstance(value, list):
            return " ".join(map(self.flattened, value))
        return str(value)

    def test_a_dump_as_json_has_none(self):
        result = self.tarvel("dump", "--format", "json", self.file)
        self.assert_harmless(result.stdout.decode(), ("dump",))
        menu = json.loads(result.stdout)["Children"][1]["Children"]
        self.assertEqual(menu[1]["URIDictionary"]["title"], HOSTILE)

    def shown(self, *arguments):
        terminal = Terminal(self.environment, *arguments)
        terminal.end()
        return terminal.shown.decode().replace("\r\n", "\n")

    def test_text_on_a_terminal_has_none(self):
        commands = (
            *self.commands(),
            ("sort", self.file),
            ("settings", "get", "BookmarksFilename"),
            ("settings", "set", "BookmarksFilename", f"/{HOSTILE}"),
            ("status",),
            ("doctor",),
            ("settings", "unset", "BookmarksFilename"),
            ("settings", "get", HOSTILE),
            ("preview", "--" + HOSTILE),
            (HOSTILE,),
            ("dump", self.home / HOSTILE),
            ("restore", "--from", HOSTILE, self.file),
        )
        for arguments in commands:
            self.assert_harmless(COLOURS.sub("", self.shown(*arguments)), arguments)

    def test_an_inaccessible_path_is_shown_safely(self):
        (self.home / "file").write_text("x")
        self.tarvel("settings", "set", "BookmarksFilename", self.home / "file" / HOSTILE)
        for command in ("status", "doctor"):
            with self.subTest(command=command):
                self.assert_harmless(COLOURS.sub("", self.shown(command)), (command,))

    def test_a_dump_escapes_them_on_a_terminal_and_is_exact_in_a_file(self):
        exact = self.tarvel("dump", "--format", "xml", self.file).stdout
        self.assertEqual(plistlib.loads(exact.replace(b"\x1b", b"?"))["WebBookmarkFileVersion"], 1)
        self.assertIn(HOSTILE, exact.decode())
        shown = self.shown("dump", "--format", "xml", self.file)
        self.assert_harmless(shown, ("dump",))
        self.assertIn("a&#x1B;[2J&#x7F;&#x9B;&#x202E;", shown)
        self.assert_harmless(self.shown("dump", "--format", "json", self.file), ("dump",))


if __name__ == "__main__":
    runner.main()
