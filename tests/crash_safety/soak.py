"""Agents and writers that save as a browser does, in real time, with faults on both sides.

Whenever the agent is idle, the file is sorted, has the last save in it and was rewritten at most once, and the agent has no
more memory, descriptors or zombies than before.
"""

import argparse
import collections
import concurrent.futures
import os
import plistlib
import random
import shutil
import signal
import subprocess
import sys
import time
import traceback

from home import SANITIZED, TARVEL
from machine import AGENT_IDENTITY, Machine, is_running, long_ago, wait_for
from soak_support import Feed, FolderWatch, open_descriptors, private_kilobytes, wait_until_quiet, zombies_of
from soak_writer import Writer, entries_of

# Seconds in which nothing is sorted: the watcher's two and the shortest latency, less a margin.
UNTIL_SORTING = 2.9
# Seconds that the agent may take on a busy machine.
PATIENCE = 180
# Kilobytes that an agent may grow between its first and its last sort.
MEMORY_ALLOWANCE = 1024
# The number of bookmarks in the largest tree.
LARGEST = 400
OPTIONS = {
    "FoldersAtTop": "folders-at-top",
    "RemoveDuplicates": "remove-duplicates",
    "RenameSamenamed": "rename-samenamed",
    "SortBookmarksBar": "sort-bookmarks-bar",
}


class Life:
    """One machine with a writer and a sequence of agents. A gentle life has only one agent."""

    def __init__(self, machine, feed, chance, number):
        self.machine = machine
        self.feed = feed
        self.chance = chance
        self.is_gentle = number == 0
        # Every happening occurs before any is repeated; each machine begins with another.
        self.deck = [self.happenings()[number % len(self.happenings())]]
        self.writer = Writer(machine, chance)
        self.options = dict.fromkeys(OPTIONS, True)
        self.counts = collections.Counter()
        self.most_memory = self.most_growth = self.descriptors = 0
        self.base_memory = self.base_descriptors = None
        self.backup = None
        self.has_sorted = self.may_have_left_something = self.was_opened_again = False
        self.began = self.saved_until = None
        self.story = []
        self.watch = FolderWatch(machine.folder, machine.file.name)
        # Where the agent's user can execute it.
        self.tarvel = machine.home / "tarvel"
        shutil.copy2(TARVEL, self.tarvel)

    def start(self):
        self.machine.information["SUFeedURL"] = self.feed.renew()
        self.base_memory = self.base_descriptors = None
        self.has_sorted = False
        self.machine.start().wait_until_watching()
        self.counts["launches"] += 1

    def prepare_settings(self):
        self.machine.set(AutoSortMode=True, BookmarksUpdateLatency=1, SUEnableAutomaticChecks=True,
                         SULastCheckTime=long_ago(), **self.options)

    def change_setting(self):
        """The agent may write the settings at the same time."""
        key = self.chance.choice(list(OPTIONS))
        self.options[key] = self.chance.random() < 0.5
        subprocess.run([self.tarvel, "settings", "set", key, "yes" if self.options[key] else "no"], check=True,
                       env=self.machine.environment, stdout=subprocess.DEVNULL, **AGENT_IDENTITY)
        self.counts["settings"] += 1

    def dismiss_main_applications(self):
        """Makes the main applications quit, and removes their notes."""
        quit_file = self.machine.notes / "quit"
        quit_file.touch()
        for launch in self.machine.launches():
            wait_for(lambda pid=launch["pid"]: not is_running(pid), "the main application to quit")
        for note in self.machine.notes.glob("launch-*.plist"):
            note.unlink()
        quit_file.unlink()

    def restart_after(self, codes):
        """Waits until the agent hands over one of `codes` and exits, and starts it again."""
        status = self.machine.wait_for_end(PATIENCE)
        assert status == 0, f"exit status {status}"
        wait_for(lambda: [one for one in self.machine.launches() if one["code"] in codes], f"one of {codes} reported")
        self.dismiss_main_applications()
        self.counts["errors reported"] += 1
        self.prepare_settings()
        self.start()

    def preview(self, path):
        arguments = [f"--{'' if value else 'no-'}{OPTIONS[key]}" for key, value in self.options.items()]
        answer = subprocess.run([TARVEL, "preview", *arguments, str(path)], env=self.machine.environment,
                                capture_output=True, check=False)
        assert answer.returncode in (0, 10), f"preview ended with {answer.returncode}: {answer.stderr.decode()}"
        return answer.returncode == 10

    def settle(self):
        wait_until_quiet(self.machine.process, PATIENCE)
        self.watch.read()
        self.was_opened_again = self.watch.is_opened
        return self.machine.process.poll() is None

    def rewrites(self):
        """The number of the agent's rewrites since the last call."""
        self.watch.read()
        total = self.watch.renames - self.writer.renames
        fresh, self.counts["rewrites"] = total - self.counts["rewrites"], total
        return fresh

    def check_file(self):
        """The saved file was sorted by one rewrite, or left as it was."""
        data = self.machine.file.read_bytes()
        saved = self.machine.home / "saved.plist"
        saved.write_bytes(self.writer.saved)
        needs_sorting = self.preview(saved)
        counted = self.rewrites()
        assert counted == int(needs_sorting), f"rewritten {counted} times, saved {self.writer.renames} times in all"
        if needs_sorting:
            self.has_sorted, self.may_have_left_something = True, False
            assert not self.was_opened_again, "sorted again after the rewrite"
            assert not self.preview(self.machine.file), "the file is not in order"
            before, after = (entries_of(plistlib.loads(one)) for one in (self.writer.saved, data))
            assert before == after, f"saved: {set(before) - set(after)}, in the file: {set(after) - set(before)}"
        else:
            assert data == self.writer.saved, "a file in order was changed"

    def check_surroundings(self):
        names = set(os.listdir(self.machine.folder)) - {self.machine.file.name, "History.plist", "lock"}
        # A killed agent may leave a temporary file, which the next write removes.
        assert not names or self.may_have_left_something, f"left behind: {names}"
        if self.machine.backup.exists():
            self.backup = self.backup or self.machine.backup.read_bytes()
            assert self.machine.backup.read_bytes() == self.backup, "the backup was changed"

    def check_agent(self):
        pid = self.machine.process.pid
        offers = self.feed.offers
        wait_for(lambda: [one["code"] for one in self.machine.launches()].count(103) >= offers, "the updates to be handed over")
        if offers:
            self.dismiss_main_applications()
            self.counts["updates offered"] += offers
            self.feed.offers -= offers
        wait_for(lambda: not zombies_of(pid), "zombies to be reaped", 30)
        memory = private_kilobytes(pid)
        if self.has_sorted and self.base_memory is None:
            self.base_memory, self.base_descriptors = memory, open_descriptors(pid)
        self.most_memory = max(self.most_memory, memory)
        # The first sort opens files that stay open.
        if self.base_memory is None:
            return
        wait_for(lambda: open_descriptors(pid) <= self.base_descriptors, "descriptors to be closed", 30)
        self.descriptors = max(self.descriptors, self.base_descriptors)
        self.most_growth = max(self.most_growth, memory - self.base_memory)
        # Sanitizers keep freed memory.
        if not SANITIZED:
            assert self.most_growth <= MEMORY_ALLOWANCE, f"grown by {self.most_growth} kB to {memory} kB"

    def check_all(self):
        assert self.settle(), "the agent ended"
        self.check_file()
        self.check_surroundings()
        self.check_agent()

    # The happenings, each from one idle agent to the next.

    def plain(self):
        self.writer.burst()

    def under_lock(self):
        self.machine.lock.touch()
        self.writer.burst(0.6)
        self.writer.pause(9)
        assert self.rewrites() == 0, "rewritten under the browser's lock"
        self.machine.lock.unlink()

    def flickering_lock(self):
        """A lock that appears and disappears while the agent checks for it."""
        self.writer.burst()
        self.saved_until = time.monotonic()
        time.sleep(max(0, self.began + UNTIL_SORTING - time.monotonic()))
        end = time.monotonic() + self.chance.uniform(0.5, 4)
        while time.monotonic() < end:
            self.machine.lock.touch()
            self.writer.pause(0.4)
            self.machine.lock.unlink()
            self.writer.pause(0.1)

    def stopped_meanwhile(self):
        self.machine.process.send_signal(signal.SIGSTOP)
        self.writer.burst(0.6)
        self.writer.pause(3)
        self.machine.process.send_signal(signal.SIGCONT)

    def stopped_at_work(self):
        self.writer.burst()
        self.saved_until = time.monotonic()
        self.writer.pause(5)
        self.machine.process.send_signal(signal.SIGSTOP)
        self.writer.pause(2)
        self.machine.process.send_signal(signal.SIGCONT)

    def folder_away(self):
        self.writer.burst()
        away = self.machine.folder.with_name("Elsewhere")
        self.machine.folder.rename(away)
        self.writer.pause(0.4)
        away.rename(self.machine.folder)
        if self.chance.random() < 0.7:
            self.writer.save()

    def unreadable(self):
        self.writer.burst()
        self.machine.file.chmod(0)
        self.writer.pause(0.5)
        self.machine.file.chmod(0o644)

    def killed(self):
        """At any moment. The last save is in the file, sorted or not."""
        self.writer.burst()
        self.saved_until = time.monotonic()
        self.writer.pause(4)
        number = self.chance.choice((signal.SIGTERM, signal.SIGKILL))
        self.machine.process.send_signal(number)
        status = self.machine.wait_for_end(PATIENCE)
        assert status == (0 if number == signal.SIGTERM else -number), f"exit status {status}"
        saved, there = plistlib.loads(self.writer.saved), plistlib.loads(self.machine.file.read_bytes())
        assert entries_of(saved) == entries_of(there)
        rewrites = self.rewrites()
        assert rewrites <= 1 or self.is_late(), f"rewritten {rewrites} times"
        self.may_have_left_something = True
        # Drops an update that was being checked for.
        self.dismiss_main_applications()
        self.prepare_settings()
        self.start()
        self.counts["kills"] += 1

    def ended_by_an_error(self):
        data, mode, codes = self.chance.choice((
            (None, 0o644, {1}),
            (b"bplist00 and nothing more", 0o644, {5}),
            (plistlib.dumps({"some": "settings"}), 0o644, {3}),
            (plistlib.dumps({"WebBookmarkType": "WebBookmarkTypeList", "WebBookmarkFileVersion": 2}), 0o644, {4}),
            (self.writer.saved, 0, {5}),
        ))
        if data is None:
            self.machine.file.unlink()
        else:
            self.writer.put(data)
            self.machine.file.chmod(mode)
        self.restart_after(codes)
        self.rewrites()
        self.writer.put(self.writer.saved)

    def perform(self, happening):
        self.counts[happening.__name__.replace("_", " ")] += 1
        self.counts["bursts"] += 1
        self.began = time.monotonic()
        self.saved_until = None
        happening()
        self.saved_until = self.saved_until or time.monotonic()

    def is_late(self):
        """Whether a save may have overlapped a sort."""
        return self.saved_until - self.began >= UNTIL_SORTING

    def recover(self):
        """On a busy machine a save may overlap a sort; the checks resume after the next burst."""
        self.counts["late"] += 1
        if not self.settle():
            self.restart_after({1, 5, 6, 8})
        self.rewrites()

    def happenings(self):
        gentle = (self.under_lock, self.stopped_meanwhile, self.flickering_lock, self.folder_away, self.stopped_at_work,
                  self.unreadable, self.plain)
        return gentle if self.is_gentle else (*gentle, self.killed, self.ended_by_an_error)

    def round(self):
        if self.chance.random() < 0.2:
            self.change_setting()
        if not self.deck:
            self.deck = self.chance.sample(self.happenings(), len(self.happenings()))
        happening = self.deck.pop()
        self.story.append(happening.__name__)
        self.perform(happening)
        if happening == self.killed:
            self.perform(self.plain)
        # While the agent cannot sort, a burst may take any time.
        if self.is_late() and happening not in (self.under_lock, self.stopped_meanwhile, self.ended_by_an_error):
            self.recover()
        else:
            self.check_all()

    def run(self, deadline, progress):
        self.prepare_settings()
        self.writer.save()
        self.start()
        # The largest tree first, so that later ones need no more memory.
        for _ in range(2):
            self.writer.save(LARGEST)
            self.check_all()
        while True:
            self.round()
            progress()
            if time.monotonic() > deadline:
                break
        assert self.machine.terminate() == 0
        self.watch.close()


def run_life(number, arguments, deadline, progress):
    chance = random.Random(f"{arguments.seed} {number}")
    feed = Feed(random.Random(f"feed {arguments.seed} {number}"))
    life = None
    try:
        with Machine() as machine:
            life = Life(machine, feed, chance, number)
            try:
                life.run(deadline, lambda: progress(life))
            except BaseException:
                return life, f"{traceback.format_exc()}\nso far: {life.story[-5:]}\nlog of the agent:\n{machine.log()}"
            return life, None
    except BaseException:
        return life, traceback.format_exc()
    finally:
        feed.close()


def report(lives, arguments, seconds):
    """Prints a line for each life, and the totals."""
    columns = ("bursts", "rewrites", "launches", "errors reported", "kills", "updates offered", "settings", "late")
    print(f"{seconds:.0f} s, seed {arguments.seed}")
    print("  ".join(["agent", *columns, "memory kB", "growth kB", "descriptors"]))
    total = collections.Counter()
    for number, life in enumerate(lives):
        total += life.counts
        figures = [life.counts[column] for column in columns]
        figures += [life.most_memory, life.most_growth, life.descriptors]
        names = ["agent", *columns, "memory kB", "growth kB", "descriptors"]
        print("  ".join(str(value).rjust(len(name)) for value, name in zip([number, *figures], names)))
    print(", ".join(f"{total[name]} {name}" for name in sorted(total)))


def main():
    is_long = os.environ.get("TARVEL_PROOF") == "long"
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--seconds", type=float, default=900 if is_long else 20)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--agents", type=int, default=10, help="each with its own machine")
    arguments = parser.parse_args()
    began = time.monotonic()
    bursts = collections.Counter()

    def progress(life):
        bursts[id(life)] = life.counts["bursts"]
        if sys.stdout.isatty():
            print(f"\r{time.monotonic() - began:.0f} s, {sum(bursts.values())} bursts ", end="", flush=True)

    with concurrent.futures.ThreadPoolExecutor(max_workers=arguments.agents) as pool:
        answers = list(pool.map(lambda number: run_life(number, arguments, began + arguments.seconds, progress),
                                range(arguments.agents)))
    if sys.stdout.isatty():
        print("\r", end="")
    report([life for life, _ in answers if life], arguments, time.monotonic() - began)
    failures = [failure for _, failure in answers if failure]
    print("\n".join(failures))
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
