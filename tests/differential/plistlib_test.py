"""Python's plistlib and this project's readers and writers on the same files: bookmarks files, and generated ones."""

import base64
import json
import pathlib
import plistlib
import random
import tempfile
import unittest

import runner
from files import differences
from home import BOOKMARKS
from trees import INTEGERS, TEXTS, described, ours, plain, random_value


def with_xml_lines(value):
    """The value after XML's normalisation of line ends, which plistlib applies and property lists do not."""
    if isinstance(value, str):
        return value.replace("\r\n", "\n").replace("\r", "\n")
    if isinstance(value, list):
        return [with_xml_lines(element) for element in value]
    if isinstance(value, dict):
        return {with_xml_lines(key): with_xml_lines(element) for key, element in value.items()}
    return value


def generated_files(folder):
    """(path, value) of each file that plistlib wrote."""
    rng = random.Random(7)
    values = [random_value(rng, 0) for _ in range(400)] + TEXTS + INTEGERS
    values += [[plistlib.UID(n) for n in (0, 255, 256, 65536, 2**32 - 1)]]
    for number, value in enumerate(values):
        for form in (plistlib.FMT_XML, plistlib.FMT_BINARY):
            try:
                data = plistlib.dumps(value, fmt=form)
            except (ValueError, TypeError):
                continue  # Its XML writer refuses control characters and UIDs.
            path = folder / f"{number}-{form.name}"
            path.write_bytes(data)
            yield path, with_xml_lines(value) if form == plistlib.FMT_XML else value


class Plistlib(unittest.TestCase):
    def compare(self, value, answer):
        self.assertTrue(answer["ok"], answer)
        self.assertEqual(ours(answer["tree"]), plain(value), json.dumps(answer)[:300])
        self.assertEqual(plain(plistlib.loads(base64.b64decode(answer["binary"]))), plain(value))
        xml = base64.b64decode(answer["xml"])
        # plistlib cannot read this control character in XML.
        if b"\x01" not in xml:
            self.assertEqual(plain(plistlib.loads(xml)), plain(with_xml_lines(value)))

    def test_generated_files_are_read_and_written_alike(self):
        with tempfile.TemporaryDirectory() as folder:
            files = list(generated_files(pathlib.Path(folder)))
            answers = described([path for path, _ in files])
        self.assertGreaterEqual(len(files), 600)
        for (path, value), answer in zip(files, answers):
            with self.subTest(file=path.name):
                self.compare(value, answer)

    def test_bookmarks_files_are_read_alike(self):
        compared, found = differences(BOOKMARKS)
        self.assertEqual(found, [])
        self.assertEqual(compared, len(list(BOOKMARKS.iterdir())))


if __name__ == "__main__":
    runner.main()
