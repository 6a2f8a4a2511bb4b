"""Comparisons of two files and pages of previews: output, exit status, and what is written."""

import json
import os
import plistlib
import re
import unittest

import runner
from bookmark_trees import folder, leaf, proxy, root
from home import SOURCE, HomeTest

HOSTILE = "z\x1b[2J\u202e\x9b</title><script>\"'&\n\x07"
KINDS = ("moved", "removed", "added", "renamed", "named", "readdressed")


def tidy():
    return [
        proxy("History"),
        folder("BookmarksBar", leaf("z"), leaf("y")),
        folder("BookmarksMenu", folder("C", leaf("d"), leaf("e")), leaf("a"), leaf("b")),
    ]


def untidy():
    """A tree to which every rule of a sort applies."""
    return root(
        proxy("History"),
        folder("BookmarksBar", leaf("z"), leaf("y")),
        folder(
            "BookmarksMenu",
            leaf("b"),
            folder("C", leaf("e"), leaf("d")),
            leaf("twice", "http://same/"),
            leaf("blank", " "),
            folder("Empty"),
            leaf(None, "http://untitled/"),
            leaf("News", "http://n1/"),
            leaf("News", "http://n2/"),
            leaf("a", "http://same/"),
        ),
    )


class PairTest(HomeTest):
    def setUp(self):
        super().setUp()
        self.old = self.home / "old.plist"
        self.new = self.home / "new.plist"

    def put(self, path, tree, fmt=plistlib.FMT_BINARY):
        path.write_bytes(plistlib.dumps(tree, fmt=fmt, sort_keys=False))
        return path

    def put_pair(self):
        """Two trees with every kind of difference."""
        kept, moved, renamed, untitled, readdressed = (leaf(name) for name in ("kept", "moved", "was", None, "there"))
        menu = folder("BookmarksMenu", moved, kept, renamed, untitled, readdressed, leaf("gone", "http://gone/"))
        bar = folder("BookmarksBar", leaf("z"))
        self.put(self.old, root(bar, menu))
        later = [
            kept,
            renamed | {"URIDictionary": {"title": "is"}},
            untitled | {"URIDictionary": {"title": "named"}},
            readdressed | {"URLString": "http://elsewhere/"},
            leaf("fresh", "http://fresh/"),
        ]
        self.put(self.new, root(bar | {"Children": [*bar["Children"], moved]}, menu | {"Children": later}))

    def snapshot(self):
        """Bytes, mtime and inode of every file in the home folder."""
        found = {}
        for path in sorted(self.home.rglob("*")):
            status = path.lstat()
            content = path.read_bytes() if path.is_file() else None
            found[path.relative_to(self.home).as_posix()] = (content, status.st_mtime_ns, status.st_ino, status.st_mode)
        return found

    def diff(self, *arguments, old=None, new=None):
        return self.tarvel("diff", *arguments, old or self.old, new or self.new)


class Diff(PairTest):
    def test_text_names_each_difference_and_exits_with_10(self):
        self.put_pair()
        before = self.snapshot()
        result = self.diff()
        self.assertEqual(result.returncode, 10, result.stderr)
        self.assertEqual(result.stderr, b"")
        self.assertEqual(
            result.stdout.decode(),
            "From “~/old.plist” to “~/new.plist”:\n"
            "1 entry moved in 1 folder, 1 removed, 1 added, 1 renamed, 1 named, 1 with another address.\n\n"
            "Order of BookmarksBar (1 entry moves)\n"
            "*    2  moved (from BookmarksMenu)\n\n"
            "removed “gone” <http://gone/> from BookmarksMenu\n"
            "added   “fresh” <http://fresh/> to BookmarksMenu\n"
            "renamed “was” to “is” in BookmarksMenu\n"
            "named   “named”, which had no title, in BookmarksMenu\n"
            "address of “there” in BookmarksMenu: <http://there.example/> became <http://elsewhere/>\n",
        )
        self.assertEqual(self.diff("--text").stdout, result.stdout)
        self.assertEqual(self.snapshot(), before)

    def test_json_has_every_difference_once(self):
        self.put_pair()
        before = self.snapshot()
        result = self.diff("--json")
        self.assertEqual(result.returncode, 10)
        self.assertEqual(result.stderr, b"")
        answer = json.loads(result.stdout)
        self.assertEqual(list(answer), ["schema", "command", "exitStatus", "message", "old", "new", "same", "counts", *KINDS])
        self.assertEqual((answer["exitStatus"], answer["old"], answer["new"]), (10, str(self.old), str(self.new)))
        self.assertIs(answer["same"], False)
        for kind in KINDS:
            self.assertEqual(len(answer[kind]), 1, kind)
        self.assertEqual(
            answer["removed"],
            [
                {
                    "folder": ["BookmarksMenu"],
                    "place": 6,
                    "kind": "bookmark",
                    "title": "gone",
                    "address": "http://gone/",
                    "reason": None,
                    "kept": None,
                }
            ],
        )
        self.assertEqual(answer["moved"][0]["before"]["folder"], ["BookmarksMenu"])
        self.assertEqual(answer["moved"][0]["after"]["folder"], ["BookmarksBar"])
        self.assertIsNone(answer["named"][0]["before"]["title"])
        self.assertEqual(answer["readdressed"][0]["after"]["address"], "http://elsewhere/")
        self.assertEqual(self.snapshot(), before)

    def test_a_page_goes_to_standard_output_alone_or_into_its_file(self):
        self.put_pair()
        before = self.snapshot()
        shown = self.diff("--html")
        self.assertEqual(shown.returncode, 10)
        self.assertTrue(shown.stdout.startswith(b"<!DOCTYPE html>\n"))
        self.assertTrue(shown.stdout.endswith(b"</html>\n"))
        self.assertEqual(self.snapshot(), before)
        page = self.home / "page.html"
        written = self.diff(f"--html={page}")
        self.assertEqual(written.returncode, 10)
        self.assertEqual(page.read_bytes(), shown.stdout)
        self.assertIn("The page was written to “~/page.html”.".encode(), written.stdout)
        self.assertIn(b"1 entry moved in 1 folder, 1 removed, 1 added", written.stdout)
        after = self.snapshot()
        del after["page.html"]
        self.assertEqual(after, before)
        # A page replaces an earlier page.
        self.assertEqual(self.diff(f"--html={page}", new=self.old).returncode, 0)
        self.assertNotEqual(page.read_bytes(), shown.stdout)

    def test_0_for_one_file_twice_in_every_form(self):
        self.put_pair()
        before = self.snapshot()
        for form in ("--text", "--json", "--html"):
            with self.subTest(form=form):
                result = self.diff(form, new=self.old)
                self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIs(json.loads(self.diff("--json", new=self.old).stdout)["same"], True)
        self.assertIn(b"No difference", self.diff(new=self.old).stdout)
        self.assertEqual(self.snapshot(), before)

    def test_the_format_of_a_file_is_not_a_difference(self):
        tree = untidy()
        self.put(self.old, tree)
        self.put(self.new, tree, plistlib.FMT_XML)
        result = self.diff()
        self.assertEqual(result.returncode, 0, result.stdout)
        self.put(self.new, {"Extra": 1, **tree})
        self.assertEqual(self.diff().returncode, 0)

    def test_a_shared_node_is_two_entries(self):
        shared = leaf("shared")
        self.put(self.old, root(folder("BookmarksBar", shared), folder("BookmarksMenu", shared)))
        self.put(self.new, root(folder("BookmarksBar", shared), folder("BookmarksMenu")))
        self.assertEqual(self.diff(new=self.old).returncode, 0)
        answer = json.loads(self.diff("--json").stdout)
        self.assertEqual([entry["title"] for entry in answer["removed"]], ["shared"])
        self.assertEqual(answer["removed"][0]["folder"], ["BookmarksMenu"])

    def test_the_initial_backup_against_the_sorted_file(self):
        self.write(untidy())
        report = json.loads(self.tarvel("sort", "--json", self.file).stdout)
        answer = json.loads(self.diff("--json", old=self.backup, new=self.file).stdout)
        self.assertEqual(len(answer["moved"]), report["counts"]["moved"])
        for kind in ("removed", "renamed", "named"):
            self.assertEqual(len(answer[kind]), len(report[kind]), kind)
        self.assertEqual(
            {(entry["title"], entry["address"]) for entry in answer["removed"]},
            {(entry["title"], entry["address"]) for entry in report["removed"]},
        )
        self.assertEqual((answer["added"], answer["readdressed"]), ([], []))

    def test_paths_are_taken_from_the_working_folder_and_home(self):
        self.put_pair()
        self.assertEqual(self.tarvel("diff", "old.plist", "~/new.plist").returncode, 10)

    def test_titles_cannot_steer_the_terminal(self):
        self.put(self.old, root(folder("BookmarksBar"), folder(HOSTILE, leaf(HOSTILE, HOSTILE), leaf("k"))))
        self.put(self.new, root(folder("BookmarksBar"), folder(HOSTILE + "2", leaf("k"), leaf("x", HOSTILE + "3"))))
        shown = self.diff().stdout.decode()
        self.assertIn("\\u{001B}[2J\\u{202E}\\u{009B}", shown)
        self.assertNotRegex(shown, "[\x00-\x09\x0b-\x1f\x7f-\x9f\u202a-\u202e]")
        page = self.diff("--html").stdout.decode()
        self.assertEqual(page.count("<script>"), 1)
        self.assertNotRegex(page, "[\x00-\x08\x0b-\x1f\x7f-\x9f\u202a-\u202e]")


class Failures(PairTest):
    def check(self, code, *arguments, named=None, **files):
        before = self.snapshot()
        for form in ([], ["--html"], [f"--html={self.home / 'page.html'}"]):
            result = self.diff(*form, *arguments, **files)
            self.assertEqual(result.returncode, code, result.stderr)
            self.assertEqual(result.stdout, b"")
            self.assertIn(os.fsencode(self.shown(named)), result.stderr)
        told = self.diff("--json", *arguments, **files)
        self.assertEqual(told.returncode, code)
        answer = json.loads(told.stdout)
        self.assertEqual(list(answer), ["schema", "command", "exitStatus", "message", "old", "new"])
        self.assertEqual(answer["exitStatus"], code)
        self.assertIn(self.shown(named), answer["message"])
        self.assertEqual(self.snapshot(), before)

    def both_sides(self, code, bad):
        self.put(self.old, root(*tidy()))
        self.check(code, old=bad, new=self.old, named=bad)
        self.check(code, old=self.old, new=bad, named=bad)

    def test_1_no_file(self):
        self.both_sides(1, self.home / "none.plist")

    def test_3_not_a_bookmarks_file(self):
        self.both_sides(3, self.put(self.new, {"a": 1}))
        self.both_sides(3, self.put(self.new, ["a"]))

    def test_4_version_too_advanced(self):
        self.both_sides(4, self.put(self.new, root(*tidy(), WebBookmarkFileVersion=2)))

    def test_5_not_readable(self):
        for content in (b"", b"bplist00 torn", b"<plist><dict>"):
            with self.subTest(content=content):
                self.new.write_bytes(content)
                self.both_sides(5, self.new)
        self.new.unlink()
        self.new.mkdir()
        self.both_sides(5, self.new)

    def test_the_name_of_a_file_cannot_steer_the_terminal(self):
        strange = self.home / "x\x1b[2J\u202e.plist"
        self.put(self.old, root(*tidy()))
        for result in (self.diff(new=strange), self.tarvel("preview", strange), self.tarvel("sort", strange)):
            self.assertEqual(result.returncode, 1)
            self.assertNotIn(b"\x1b", result.stderr)
            self.assertIn(b"\\u{001B}[2J\\u{202E}", result.stderr)
        broken = os.fsencode(self.home) + b"/\xed\xc0\x1b.plist"
        self.assertNotIn(b"\x1b", self.tarvel("diff", self.old, os.fsdecode(broken)).stderr)

    def test_64_usage(self):
        self.put_pair()
        before = self.snapshot()
        for arguments in (
            ["diff"],
            ["diff", self.old],
            ["diff", self.old, self.new, self.new],
            ["diff", "--json", "--open", self.old, self.new],
            ["diff", "--json", f"--html={self.home}/x", self.old, self.new],
            ["preview", "--json", "--html", "x", self.old],
            ["preview", "--html=", self.old],
        ):
            with self.subTest(arguments=arguments):
                result = self.tarvel(*arguments)
                self.assertEqual(result.returncode, 64)
                if "--json" in arguments:
                    self.assertEqual(json.loads(result.stdout)["exitStatus"], 64)
                else:
                    self.assertIn(b"tarvel help ", result.stderr)
        self.assertEqual(self.snapshot(), before)


class Page(PairTest):
    def test_bookmarks_are_never_replaced_by_a_page(self):
        self.put_pair()
        (self.home / "link").symlink_to(self.new)
        os.link(self.old, self.home / "hard")
        (self.home / "d").mkdir()
        before = self.snapshot()
        for path in (self.old, self.new, self.home / "link", self.home / "hard", self.home / "d/../old.plist"):
            with self.subTest(path=path):
                result = self.diff(f"--html={path}")
                self.assertEqual(result.returncode, 64)
                self.assertIn(b"holds bookmarks", result.stderr)
                self.assertEqual(result.stdout, b"")
                for bookmarks in (self.old, self.new):
                    self.assertEqual(self.tarvel("preview", "-o", path, bookmarks).returncode, 64)
        self.assertEqual(self.snapshot(), before)

    def test_neither_is_the_initial_backup_nor_its_path(self):
        self.write(untidy())
        self.assertEqual(self.tarvel("preview", "-o", self.backup, self.file).returncode, 64)
        self.assertEqual(self.files(), ["Bookmarks.plist"])
        self.tarvel("sort", self.file)
        before = self.snapshot()
        self.assertEqual(self.tarvel("preview", "-o", self.backup, self.file).returncode, 64)
        self.assertEqual(self.diff(f"--html={self.backup}", old=self.file, new=self.file).returncode, 64)
        self.assertEqual(self.snapshot(), before)

    def test_neither_is_a_file_that_is_not_a_page(self):
        self.put_pair()
        mine = self.home / "mine.html"
        mine.write_text("<!DOCTYPE html>\n<p>mine</p>\n")
        os.mkfifo(self.home / "pipe")
        before = self.snapshot()
        for path in (mine, self.home / "pipe", self.home):
            with self.subTest(path=path):
                result = self.diff(f"--html={path}")
                self.assertEqual(result.returncode, 64)
                self.assertIn(b"Something else", result.stderr)
        self.assertEqual(self.snapshot(), before)

    def test_12_a_page_that_cannot_be_written(self):
        self.put_pair()
        before = self.snapshot()
        for result in (
            self.diff(f"--html={self.home}/none/page.html"),
            self.tarvel("preview", "-o", self.home / "none/page.html", self.old),
        ):
            self.assertEqual(result.returncode, 12)
            self.assertIn(b"none/page.html", result.stderr)
        self.assertEqual(self.snapshot(), before)

    def test_12_nothing_to_open_it_with_and_the_page_is_kept(self):
        self.put_pair()
        self.environment.update(PATH=str(self.home / "empty"), XDG_CACHE_HOME=str(self.home / "cache"))
        result = self.diff("--open")
        self.assertEqual(result.returncode, 12)
        self.assertIn(b"xdg-open", result.stderr)
        page = self.home / "cache/Tarvel/preview.html"
        self.assertEqual(page.read_bytes(), self.diff("--html").stdout)

    def test_a_page_to_be_opened_is_handed_to_the_desktop(self):
        self.put_pair()
        (self.home / "bin").mkdir()
        os.mkfifo(self.home / "given")
        opener = self.home / "bin/xdg-open"
        opener.write_text(f"#!/bin/sh\nprintf '%s|' \"$#\" \"$@\" >'{self.home}/given'\n")
        opener.chmod(0o755)
        self.environment.update(PATH=f"{self.home}/bin:{os.environ['PATH']}", XDG_CACHE_HOME=str(self.home / "cache"))
        page = self.home / "page.html"
        for arguments, expected, status in (
            (["diff", "--open", self.old, self.new], self.home / "cache/Tarvel/preview.html", 10),
            (["diff", f"--html={page}", "--open", self.old, self.new], page, 10),
            (["diff", "--html", "--open", self.old, self.old], self.home / "cache/Tarvel/preview.html", 0),
            (["preview", "--open", "-o", page, self.old], page, None),
        ):
            with self.subTest(arguments=arguments):
                result = self.tarvel(*arguments)
                # Reading the pipe waits for the opener.
                self.assertEqual((self.home / "given").read_text(), f"1|{expected}|")
                if status is not None:
                    self.assertEqual(result.returncode, status, result.stderr)
                self.assertTrue(expected.read_bytes().startswith(b"<!DOCTYPE html>"))

    def page_counts(self, page):
        """The number beside each filter."""
        return {kind: int(count) for kind, count in re.findall(r'id="only-(\w+)"[^>]*>[^<]*<b>(\d+)</b>', page)}

    def test_a_preview_page_shows_what_the_sort_then_does(self):
        self.write(untidy())
        before = self.snapshot()
        shown = self.tarvel("preview", "--html", self.file)
        self.assertEqual(shown.returncode, 10, shown.stderr)
        self.assertEqual(self.snapshot(), before)
        page = shown.stdout.decode()
        counts = self.page_counts(page)
        foretold = json.loads(self.tarvel("preview", "--json", self.file).stdout)
        done = json.loads(self.tarvel("sort", "--json", self.file).stdout)
        for report in (foretold, done):
            self.assertEqual(counts["moved"], report["counts"]["moved"])
            for kind in ("removed", "renamed", "named"):
                self.assertEqual(counts[kind], len(report[kind]), kind)
        self.assertGreater(min(counts[kind] for kind in ("moved", "removed", "renamed", "named")), 0)
        # The titles of the second tree are those that were written.
        later = page[page.index('<section id="after"') :]
        shown_titles = re.findall(r'<bdi class="t">([^<]*)</bdi>', later)

        def written_titles(node):
            for child in node.get("Children", []):
                yield child.get("Title", child.get("URIDictionary", {}).get("title"))
                yield from written_titles(child)

        self.assertEqual(shown_titles, list(written_titles(self.read())))

    def test_a_preview_page_of_a_file_in_order_says_so(self):
        self.write(root(*tidy()))
        page = self.home / "page.html"
        result = self.tarvel("preview", "--html", "-o", page, self.file)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn(b"in order already", result.stdout)
        counts = self.page_counts(page.read_text())
        self.assertEqual(set(counts), {"all"})

    def test_a_preview_that_fails_writes_no_page(self):
        page = self.home / "page.html"
        self.assertEqual(self.tarvel("preview", "--html", "-o", page, self.file).returncode, 1)
        self.write({"a": 1})
        self.assertEqual(self.tarvel("preview", "--html", "-o", page, self.file).returncode, 3)
        self.assertFalse(page.exists())

    def test_the_page_fetches_nothing(self):
        self.put_pair()
        page = self.diff("--html").stdout.decode()
        self.assertIn("default-src 'none'", page)
        self.assertNotRegex(page, r"\b(src|srcset|action|ping|background)=")
        for address in re.findall(r'href="([^"]*)"', page):
            self.assertTrue(address.startswith("#"), address)

if __name__ == "__main__":
    runner.main()
