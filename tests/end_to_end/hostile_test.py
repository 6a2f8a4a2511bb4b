"""Hostile files: the command ends with an error code, in time and memory in proportion to the file."""

import os
import plistlib
import resource
import socket
import struct
import subprocess
import threading
import unittest

import runner
from home import SANITIZED, TARVEL, HomeTest

MIB = 1 << 20
# Seconds; far more than any of these needs.
PATIENCE = 300
DEPTH = 100_000
# Sizes to compare. Sanitizers slow down some code more than other, so that under them only a small one is tried.
GROWTH = (1,) if SANITIZED else (4, 16)
# The kernel counts the memory of the forked Python process too.
LITTLE = 256 * MIB


def leaf(title, address):
    return {"WebBookmarkType": "WebBookmarkTypeLeaf", "URLString": address, "URIDictionary": {"title": title}, "WebBookmarkUUID": title[:40] + address}


def folder(title, *children):
    return {"WebBookmarkType": "WebBookmarkTypeList", "Title": title, "Children": list(children), "WebBookmarkUUID": title}


def root(*children):
    return {
        "WebBookmarkType": "WebBookmarkTypeList",
        "WebBookmarkFileVersion": 1,
        "Children": [folder("BookmarksBar"), folder("BookmarksMenu", *children)],
    }


def encoded(tree):
    return plistlib.dumps(tree, fmt=plistlib.FMT_BINARY, sort_keys=False)


def binary(objects, count=None, top=0):
    """A binary property list of encoded objects, with a trailer that may be wrong."""
    body = bytearray(b"bplist00")
    offsets = []
    for item in objects:
        offsets.append(len(body))
        body += item
    table = b"".join(struct.pack(">I", offset) for offset in offsets)
    trailer = struct.pack(">6xBBQQQ", 4, 4, len(objects) if count is None else count, top, len(body))
    return body + table + trailer


def array_of(*references):
    return b"\xaf\x12" + struct.pack(">I", len(references)) + b"".join(struct.pack(">I", r) for r in references)


def many(count, **values):
    """`count` bookmarks ordered by title. `values` overrides their keys."""
    return [{**leaf(f"t{i:08}", f"http://{i}/"), **values} for i in range(count)]


def without_title(bookmark):
    return {key: value for key, value in bookmark.items() if key != "URIDictionary"}


# Files whose references to one long text expand to the square of their size. plistlib stores equal texts once.
LONG_TEXTS = {
    "addresses": lambda n, text: root(*many(n, URLString="http://" + text)),
    "blank addresses": lambda n, text: root(*many(n, URLString=" " * len(text))),
    "titles": lambda n, text: root(*(folder(f"f{i:08}", leaf(text, f"http://{i}/")) for i in range(n))),
    "addresses for titles": lambda n, text: root(*map(without_title, many(n, URLString="http://" + text))),
    "identifiers": lambda n, text: root(*({**folder(f"f{i:08}", leaf("t", f"http://{i}/")), "WebBookmarkUUID": text} for i in range(n))),
    # Read as a number.
    "hidden marks": lambda n, text: root(*({**folder(f"f{i:08}", leaf("t", f"http://{i}/")), "ShouldOmitFromUI": text} for i in range(n))),
    "unknown keys": lambda n, text: root(*({**bookmark, text: "x", f"k{i}": "y"} for i, bookmark in enumerate(many(n)))),
}


class HostileTest(HomeTest):
    def run_measured(self, *arguments, limit=None, stdin=subprocess.DEVNULL):
        """Exit status, negative for a signal, and peak memory in bytes. Sets `seconds`, the processor time, and `words`."""

        def confine():
            if limit is not None:
                resource.setrlimit(resource.RLIMIT_AS, (limit, limit))

        process = subprocess.Popen(
            [TARVEL, *map(str, arguments)],
            env=self.environment,
            cwd=self.home,
            stdin=stdin,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
            preexec_fn=confine,
        )
        killer = threading.Timer(PATIENCE, process.kill)
        killer.start()
        self.words = process.stderr.read().decode(errors="replace")
        process.stderr.close()
        _, status, usage = os.wait4(process.pid, 0)
        killer.cancel()
        self.seconds = usage.ru_utime + usage.ru_stime
        process.returncode = os.waitstatus_to_exitcode(status)
        return process.returncode, usage.ru_maxrss * 1024

    def expect(self, codes, most, content=None):
        """Sorts the file, or `content`: exits with one of `codes`, uses less than `most` bytes, and an error leaves the file."""
        if content is not None:
            self.file.write_bytes(content)
        before = self.file.read_bytes() if self.file.is_file() and self.file.stat().st_size < 64 * MIB else None
        status, memory = self.run_measured("sort", self.file)
        self.assertIn(status, codes, self.words)
        self.assertNotEqual(self.words if status else "words", "")
        if before is not None and status != 0:
            self.assertEqual(self.file.read_bytes(), before)
        if not SANITIZED:
            self.assertLess(memory, most)

    def expect_growth(self, arguments, files):
        """Files of the sizes in GROWTH: four times the size takes less than eight times the time, and memory in proportion.

        Quadratic work would take sixteen times as long."""
        seconds = []
        for content in files:
            self.file.write_bytes(content)
            status, memory = self.run_measured(*arguments, self.file)
            # 0: nothing to sort, 10: something to sort.
            self.assertIn(status, (0, 10), self.words)
            seconds.append(self.seconds)
            # Reports hold up to 1000 bytes of each text.
            if not SANITIZED:
                self.assertLess(memory, 256 * MIB + 20 * self.file.stat().st_size)
        if not SANITIZED:
            self.assertLess(seconds[-1], 8 * seconds[0] + 0.5, arguments)

    def test_duplicates_of_one_address_take_time_in_proportion(self):
        def top(count):
            tree = root()
            tree["Children"] += many(count, URLString="http://one/")
            return encoded(tree)

        files = [top(1_250 * factor) for factor in GROWTH]
        for arguments in (("preview",), ("preview", "--html=-"), ("sort", "--no-backup")):
            self.expect_growth(arguments, files)

    def test_a_long_shared_text_takes_time_in_proportion(self):
        for name, make in LONG_TEXTS.items():
            letter = "0" if name == "hidden marks" else "x"
            files = [encoded(make(500 * factor, letter * (125_000 * factor))) for factor in GROWTH]
            for arguments in (("preview",), ("preview", "--html=-"), ("sort", "--no-backup")):
                with self.subTest(name, arguments=arguments):
                    self.expect_growth(arguments, files)

    def test_a_shared_folder_takes_time_in_proportion(self):
        def shared(count):
            # plistlib stores a shared list once.
            children = many(100)
            return encoded(root(*(dict(folder(f"f{i:08}"), Children=children) for i in range(count))))

        self.expect_growth(("preview",), [shared(25 * factor) for factor in GROWTH])

    def test_text_without_references_is_written_piece_by_piece(self):
        # Under the sanitizers memory is not measured.
        self.write(root(*many(30 if SANITIZED else 300, URLString="x" * 500_000)))
        for form in ("json", "xml"):
            with self.subTest(form=form):
                status, memory = self.run_measured("dump", f"--format={form}", self.file)
                self.assertEqual(status, 0, self.words)
                if not SANITIZED:
                    self.assertLess(memory, 128 * MIB)

    def test_text_out_of_proportion_to_the_file_is_refused(self):
        self.write(root(*many(5_000, URLString="x" * 500_000)))
        for form in ("json", "xml"):
            with self.subTest(form=form):
                status, memory = self.run_measured("dump", f"--format={form}", self.file)
                self.assertEqual(status, 6)
                self.assertIn("out of proportion", self.words)
                if not SANITIZED:
                    self.assertLess(memory, 128 * MIB)
        self.assertEqual(self.run_measured("dump", "--format=binary", self.file)[0], 0)

    def test_a_file_beyond_the_limit_is_refused_before_it_is_read(self):
        with self.file.open("wb") as file:
            file.truncate(3 << 30)
        for command in ("sort", "preview", "dump"):
            with self.subTest(command=command):
                status, memory = self.run_measured(command, self.file)
                self.assertEqual(status, 5)
                self.assertIn("larger than 512 MiB", self.words)
                self.assertIn("TARVEL_MAX_FILE_SIZE", self.words)
                if not SANITIZED:
                    self.assertLess(memory, 128 * MIB)
        self.write(root(leaf("a", "http://a/")))
        self.environment["TARVEL_MAX_FILE_SIZE"] = "100"
        self.expect((5,), LITTLE)
        self.environment["TARVEL_MAX_FILE_SIZE"] = "1M"
        self.expect((0,), LITTLE)

    def test_input_without_end_is_refused_at_the_limit(self):
        self.environment["TARVEL_MAX_FILE_SIZE"] = "10M"
        with open("/dev/zero", "rb") as zero:
            status, memory = self.run_measured("dump", "-", stdin=zero)
        self.assertEqual(status, 5)
        self.assertIn("larger than 10 MiB", self.words)
        if not SANITIZED:
            self.assertLess(memory, 128 * MIB)

    def test_nesting_a_hundred_thousand_deep_is_refused_in_every_form(self):
        # Each array contains the next.
        nested = [array_of(i + 1) for i in range(DEPTH)] + [b"\x08"]
        for content in (
            binary(nested),
            b"<plist version='1.0'>" + b"<array>" * DEPTH + b"</array>" * DEPTH + b"</plist>",
            b"(" * DEPTH + b")" * DEPTH,
            b"{a=" * DEPTH + b"b" + b";}" * DEPTH,
        ):
            with self.subTest(content=content[:60]):
                self.expect((5,), LITTLE, content)

    def test_arrays_that_expand_exponentially_take_no_memory(self):
        for references, levels in ((2, 64), (1000, 8)):
            with self.subTest(references=references, levels=levels):
                self.expect((3, 5), LITTLE, binary([array_of(*[i + 1] * references) for i in range(levels)] + [b"\x08"]))

    def test_a_container_within_itself_is_refused(self):
        self.expect((3, 5), LITTLE, binary([array_of(0)]))
        self.expect((3, 5), LITTLE, binary([array_of(1), array_of(0)]))

    def test_entities_that_expand_exponentially_are_refused(self):
        entities = "".join(f'<!ENTITY a{i + 1} "{f"&a{i};" * 10}">' for i in range(20))
        text = f'<?xml version="1.0"?><!DOCTYPE plist [<!ENTITY a0 "lol">{entities}]><plist><string>&a20;</string></plist>'
        self.expect((3, 5), LITTLE, text.encode())

    def test_counts_beyond_the_file_are_refused(self):
        huge = struct.pack(">Q", 1 << 60)
        for content in (
            binary([b"\x08"], count=1 << 60),
            binary([b"\x08"], top=1 << 60),
            binary([b"\xaf\x13" + huge]),
            binary([b"\xdf\x13" + huge]),
            binary([b"\x5f\x13" + huge]),
            binary([b"\x6f\x13" + huge]),
            binary([b"\x4f\x13" + huge]),
            binary([b"\xaf\x13" + b"\xff" * 8]),
        ):
            with self.subTest(content=content[:60]):
                self.expect((5,), LITTLE, content)

    def test_zeros_up_to_the_limit_are_refused(self):
        size = (16 if SANITIZED else 64) * MIB
        self.environment["TARVEL_MAX_FILE_SIZE"] = str(size)
        for head, tail in ((b"", b""), (b"bplist00", b""), (b"bplist00\x08", binary([b"\x08"])[-32:])):
            with self.subTest(head=head, tail=tail):
                with self.file.open("wb") as file:
                    file.write(head)
                    file.truncate(size)
                    if tail:
                        file.seek(size - len(tail))
                        file.write(tail)
                self.expect((3, 5), 2 * size)

    def test_pipes_sockets_folders_and_devices_are_refused_without_waiting(self):
        os.mkfifo(self.file)
        self.expect((5,), LITTLE)
        self.file.unlink()
        listener = socket.socket(socket.AF_UNIX)
        listener.bind(str(self.file))
        self.expect((5,), LITTLE)
        listener.close()
        self.file.unlink()
        self.file.mkdir()
        self.expect((5,), LITTLE)
        self.file.rmdir()
        for device in ("/dev/zero", "/dev/null", "/dev/tty"):
            self.file.symlink_to(device)
            self.expect((5,), LITTLE)
            self.file.unlink()

    def test_titles_of_ten_megabytes_are_sorted(self):
        titles = [letter * (10 * MIB) for letter in "ba"]
        self.write(root(*(leaf(title, f"http://{title[0]}/") for title in titles)))
        self.expect((0,), 1024 * MIB)
        menu = self.read()["Children"][1]["Children"]
        self.assertEqual([child["URIDictionary"]["title"][0] for child in menu], ["a", "b"])

    @unittest.skipIf(SANITIZED, "the memory of a sanitized program is not measured; engine_tests sort such titles")
    def test_fifty_thousand_equal_titles_are_sorted_in_the_agents_memory(self):
        # Unique titles for all would take gigabytes. Cyrillic titles take the most memory.
        self.write(root(leaf("z", "http://z/"), *(leaf("Я", f"http://{i}/") for i in range(50_000)), leaf("a", "http://a/")))
        self.expect((0,), 400 * MIB)
        self.assertIn("WARNING: some entries keep the title of a sibling", self.words)
        menu = self.read()["Children"][1]["Children"]
        self.assertEqual(len(menu), 50_002)
        self.assertEqual(menu[0]["URIDictionary"]["title"], "a")
        self.write(root(*(leaf("News", f"http://{i}/") for i in range(2_000))))
        self.expect((0,), 256 * MIB)
        menu = self.read()["Children"][1]["Children"]
        self.assertEqual(len({child["URIDictionary"]["title"] for child in menu}), 2_000)

    @unittest.skipIf(SANITIZED, "a sanitized program needs addresses without end")
    def test_too_little_memory_is_an_error(self):
        count = 40_000
        self.write(root(*(leaf(f"title {i * 7919 % count}", f"http://{i}/") for i in range(count))))
        before = self.file.read_bytes()
        statuses = set()
        sizes = set()
        for limit in range(40, 136, 8):
            status, _ = self.run_measured("sort", self.file, "--no-backup", limit=limit * MIB)
            # 127: the loader failed.
            self.assertIn(status, (0, 5, 6, 70, 127), f"{limit} MiB: {self.words}")
            statuses.add(status)
            if status != 0:
                self.assertEqual(self.file.read_bytes(), before)
            else:
                if not sizes:
                    self.assertEqual(len(self.read()["Children"][1]["Children"]), count)
                # All of one size: none lacks an entry.
                sizes.add(self.file.stat().st_size)
                self.assertEqual(len(sizes), 1)
                self.file.write_bytes(before)
        self.assertIn(0, statuses)
        self.assertTrue(statuses & {5, 6, 70}, statuses)


if __name__ == "__main__":
    runner.main()
