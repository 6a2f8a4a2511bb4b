"""Tests of any folder of bookmarks files, which the command sorts and other programs read."""

import json
import plistlib
import shutil
import subprocess

from bookmark_trees import nodes


def mark(node):
    """A node without its children."""
    return json.dumps({k: v for k, v in node.items() if k != "Children"}, sort_keys=True, default=repr)


def without_titles(node):
    rest = {k: v for k, v in node.items() if k not in ("Children", "Title")}
    if "URIDictionary" in rest:
        rest["URIDictionary"] = {k: v for k, v in rest["URIDictionary"].items() if k != "title"}
    return json.dumps(rest, sort_keys=True, default=repr)


def is_sortable(tree):
    """Some samples have no bar or no menu and are refused."""
    top = [child.get("Title") for child in tree["Children"]]
    return "BookmarksBar" in top and "BookmarksMenu" in top


def other_readers(path):
    """The file as read by each other reader on this machine."""
    yield "plistlib", plistlib.loads(path.read_bytes())
    if shutil.which("plistutil"):
        xml = subprocess.run(["plistutil", "-i", path, "-f", "xml"], check=True, capture_output=True).stdout
        yield "plistutil", plistlib.loads(xml)


class BookmarksFiles:
    """A mixin for a HomeTest with the folder of the files in `folder`."""

    def samples(self):
        found = sorted(self.folder.iterdir())
        self.assertTrue(found, f"no files in {self.folder}")
        return found

    def sortable_samples(self):
        sortable = [s for s in self.samples() if is_sortable(plistlib.loads(s.read_bytes()))]
        self.assertTrue(sortable)
        return sortable

    def test_a_sample_without_bar_or_menu_is_refused_and_left_alone(self):
        for sample in set(self.samples()) - set(self.sortable_samples()):
            with self.subTest(sample=sample.name):
                shutil.copy(sample, self.file)
                self.assertEqual(self.tarvel("sort", self.file).returncode, 3)
                self.assertEqual(self.file.read_bytes(), sample.read_bytes())

    def sort(self, *options):
        result = self.tarvel("sort", "--json", *options, self.file)
        self.assertEqual(result.returncode, 0, result.stderr)
        return json.loads(result.stdout)

    def test_every_reader_finds_the_nodes_that_survive_and_no_others(self):
        for sample in self.sortable_samples():
            for options in ([], ["--sort-bookmarks-bar"], ["--no-folders-at-top", "--sort-bookmarks-bar"]):
                with self.subTest(sample=sample.name, options=options):
                    shutil.copy(sample, self.file)
                    before = plistlib.loads(sample.read_bytes())
                    report = self.sort(*options)
                    if not report["written"]:
                        self.assertEqual(self.file.read_bytes(), sample.read_bytes())
                        continue
                    expected = sorted(map(without_titles, nodes(before)))
                    for reader, after in other_readers(self.file):
                        found = sorted(map(without_titles, nodes(after)))
                        self.assertEqual(len(found), len(expected) - len(report["removed"]), reader)
                        for node in found:
                            self.assertIn(node, expected, reader)
                    self.assertTrue(self.file.read_bytes().startswith(b"bplist00"))

    def test_sorting_the_result_again_changes_nothing(self):
        for sample in self.sortable_samples():
            with self.subTest(sample=sample.name):
                shutil.copy(sample, self.file)
                self.sort("--sort-bookmarks-bar")
                once = self.file.read_bytes()
                tree = plistlib.loads(once)
                if any("WebBookmarkUUID" not in node for node in nodes(tree)):
                    continue
                report = self.sort("--sort-bookmarks-bar")
                self.assertFalse(report["written"])
                self.assertEqual(self.file.read_bytes(), once)

    def test_both_forms_of_one_tree_are_sorted_alike(self):
        for sample in self.sortable_samples():
            tree = plistlib.loads(sample.read_bytes())
            results = []
            for form in (plistlib.FMT_BINARY, plistlib.FMT_XML):
                self.write(tree, form)
                self.sort("--sort-bookmarks-bar")
                result = self.read()
                result.pop("WebBookmarkUUID")
                results.append(result)
            with self.subTest(sample=sample.name):
                self.assertEqual(results[0], results[1])

    def test_dump_agrees_with_the_other_readers_in_every_form(self):
        for sample in self.samples():
            with self.subTest(sample=sample.name):
                expected = plistlib.loads(sample.read_bytes())
                for form in ("xml", "binary"):
                    result = self.tarvel("dump", "--format", form, sample)
                    self.assertEqual(result.returncode, 0, result.stderr)
                    self.assertEqual(plistlib.loads(result.stdout), expected)
