"""A sort without enough memory ends with an error code and a message, never a signal, and leaves the file."""

import os
import pathlib
import plistlib
import resource
import subprocess
import unittest

import runner
from bookmark_trees import leaf
from home import SANITIZED, TARVEL, HomeTest
from machine import Machine, wait_for

MIB = 1 << 20
SHORTAGE = "There is not enough memory to sort the bookmarks file"
COUNT = 30_000


def large_root():
    menu = [leaf(f"title {i * 7919 % COUNT}", f"http://{i}/") for i in range(COUNT)]
    node = {"WebBookmarkType": "WebBookmarkTypeList", "WebBookmarkUUID": "M", "Title": "BookmarksMenu", "Children": menu}
    return {"WebBookmarkType": "WebBookmarkTypeList", "WebBookmarkFileVersion": 1, "WebBookmarkUUID": "R",
            "Children": [{**node, "WebBookmarkUUID": "B", "Title": "BookmarksBar", "Children": []}, node]}


def soft_data_limit(pid):
    for line in pathlib.Path(f"/proc/{pid}/limits").read_text().splitlines():
        if line.startswith("Max data size"):
            return line.split()[3]
    raise AssertionError("no limit is shown")


def resident(pid):
    pages = int(pathlib.Path(f"/proc/{pid}/statm").read_text().split()[1])
    return pages * os.sysconf("SC_PAGESIZE")


@unittest.skipIf(SANITIZED, "a sanitized program has more memory than any limit from its start")
class Memory(HomeTest):
    def test_at_every_limit_the_command_reports_the_shortage(self):
        self.write(large_root())
        before = self.file.read_bytes()
        statuses = set()
        for limit in range(4, 60, 8):
            confine = lambda limit=limit: resource.setrlimit(resource.RLIMIT_DATA, (limit * MIB, limit * MIB))
            done = subprocess.run([TARVEL, "sort", self.file], env=self.environment, stdin=subprocess.DEVNULL,
                                  capture_output=True, text=True, check=False, preexec_fn=confine)
            statuses.add(done.returncode)
            self.assertIn(done.returncode, (0, 5, 6, 7), f"{limit} MiB: {done.stderr}")
            if done.returncode == 0:
                self.assertEqual(len(plistlib.loads(self.file.read_bytes())["Children"][1]["Children"]), COUNT)
                self.file.write_bytes(before)
            else:
                self.assertIn("emory", done.stderr, f"{limit} MiB")
                self.assertEqual(self.file.read_bytes(), before)
        self.assertIn(0, statuses)
        self.assertIn(5, statuses)

    def test_the_agent_hands_over_the_code_and_logs_the_reason(self):
        with Machine() as machine:
            machine.write({**large_root(), "Children": []})
            machine.set(AutoSortMode=True, BookmarksUpdateLatency=1)
            machine.start(before=("prlimit", f"--data={12 * MIB}")).wait_until_watching()
            machine.write(large_root())
            before = machine.file.read_bytes()
            wait_for(lambda: machine.process.poll() is not None, "the agent to end")
            self.assertEqual(machine.process.returncode, 0)
            self.assertEqual(machine.stored()["LastHelperError"], 5)
            self.assertRegex(machine.log(), f"{SHORTAGE}|Out of memory")
            self.assertEqual(machine.file.read_bytes(), before)

    def test_an_idle_agent_keeps_little_resident_after_a_sort(self):
        with Machine() as machine:
            machine.write({**large_root(), "Children": []})
            machine.set(AutoSortMode=True, BookmarksUpdateLatency=1)
            machine.start().wait_until_watching()
            machine.write(large_root())
            before = machine.file.read_bytes()
            wait_for(lambda: machine.file.read_bytes() != before, "the sort")
            wait_for(lambda: resident(machine.process.pid) < 5 * MIB, "the agent to return its memory")

    def test_the_agent_and_the_command_limit_their_memory_below_the_machines(self):
        machine_memory = os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGESIZE")
        with Machine() as machine:
            machine.set(AutoSortMode=True)
            machine.start().wait_until_watching()
            self.assertLess(int(soft_data_limit(machine.process.pid)), machine_memory)
        reading, writing = os.pipe()
        process = subprocess.Popen([TARVEL, "dump", "-"], env=self.environment, stdin=reading, stdout=subprocess.DEVNULL)
        os.close(reading)
        # It waits for its input.
        wait_for(lambda: soft_data_limit(process.pid) != "unlimited", "the command to limit itself")
        self.assertLess(int(soft_data_limit(process.pid)), machine_memory)
        os.close(writing)
        process.wait()


if __name__ == "__main__":
    runner.main()
