#!/usr/bin/env python3
"""Whole processes side by side, doing the same job on the same files, in one run.

compare.py BUILD_FOLDER [--shapes shuffled,real] [--sizes 1000,10000,100000] [--rounds 7] [--timeout 120] [--growth] [--alone]

The programs take turns, so that what slows the machine down slows all of them. For each: the median processor time (user
and system), the median wall time, the largest memory, and the ratios to `tarvel sort` and to merely reading and writing
the same bytes. With --growth the growth cases are run too, by tarvel alone. Shapes: see generate_bookmarks.h.
"""

import argparse
import itertools
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

OWN_MEMORY = 32 << 20
#: What the ratios need.
KEPT = ["read and write the bytes", "tarvel sort"]
#: Runs of tarvel on a file that a sort has nothing to do with: objects stay where they were when a file is sorted, and
#: come in the order of the tree when the browser writes it anew.
IN_ORDER = {"tarvel sort (in order)": "sorted.plist", "tarvel sort (in order, rewritten)": "rewritten.plist"}
HERE = pathlib.Path(__file__).resolve().parent
GROWTH_CASES = {
    "same-named": [2000, 10000],
    "deep": [2000],
    "flat": [100000, 1000000],
    "identical-addresses": [100000, 1000000],
    "half-duplicates": [100000, 1000000],
    "common-prefix": [10000, 100000],
}


def programs(build):
    tarvel = str(build / "tools/tarvel")
    peers = {
        "read and write the bytes": [str(build / "bench/peer_copy")],
        "tarvel sort": [tarvel, "sort", "--no-backup"],
        "libplist + ICU": [str(build / "bench/peer_libplist")],
        "plistlib + PyICU": ["/usr/bin/python3", str(HERE / "peers/peer_plistlib.py")],
        "GNUstep Foundation": [str(build / "bench/peer_foundation")],
    }
    if subprocess.run(["/usr/bin/python3", "-c", "import icu"], capture_output=True, check=False).returncode != 0:
        peers.pop("plistlib + PyICU")
    return {name: command for name, command in peers.items() if shutil.which(command[0])}


def run(command, timeout):
    """(processor seconds, wall seconds, peak bytes), or None when it took too long."""
    start = time.monotonic()
    null = [(os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0)]
    child = os.posix_spawn(command[0], command, {**os.environ, "LC_ALL": "C.UTF-8"}, file_actions=null)
    while True:
        pid, status, usage = os.wait4(child, os.WNOHANG if timeout else 0)
        if pid:
            break
        if time.monotonic() - start > timeout:
            os.kill(child, 9)
            os.wait4(child, 0)
            return None
        time.sleep(0.0005)
    wall = time.monotonic() - start
    if status != 0:
        sys.exit(f"{command} failed with status {status >> 8}")
    return usage.ru_utime + usage.ru_stime, wall, usage.ru_maxrss * 1024


def measure(contenders, original, folder, rounds, timeout):
    results = {name: [] for name in contenders}
    given_up = set()
    for turn in range(rounds):
        names = list(contenders)
        for name in names if turn % 2 == 0 else reversed(names):
            if name in given_up:
                continue
            work = folder / "work.plist"
            shutil.copy(folder / IN_ORDER[name] if name in IN_ORDER else original, work)
            result = run([*contenders[name], str(work)], timeout)
            if result is None:
                given_up.add(name)
            else:
                results[name].append(result)
    return {n: [statistics.median(column) for column in zip(*r)] for n, r in results.items() if r}, given_up


def table(title, original, medians, given_up):
    bytes_ = original.stat().st_size
    print(f"\n### {title}, {bytes_ / 1e6:.1f} MB\n")
    print("| | CPU ms | wall ms | memory, times the file | CPU, times tarvel | CPU, times the bytes |")
    print("|---|---|---|---|---|---|")
    ours, floor = medians["tarvel sort"][0], medians["read and write the bytes"][0]
    for name, (cpu, wall, memory) in medians.items():
        # A child inherits the peak of its parent process, so smaller peaks cannot be measured.
        shown = f"{memory / bytes_:.2f}" if memory > OWN_MEMORY else "-"
        print(f"| {name} | {cpu * 1e3:.1f} | {wall * 1e3:.1f} | {shown} | {cpu / ours:.2f} | {cpu / floor:.1f} |")
    for name in given_up:
        print(f"| {name} | given up | | | | |")


def generate(build, folder, count, shape):
    path = folder / f"{shape}-{count}.plist"
    subprocess.run([build / "bench/generate_bookmarks", str(count), "1", path, shape], check=True)
    return path


def rewrite(source, target):
    # In a process of its own, so that this one stays small.
    code = ("import plistlib, sys; tree = plistlib.load(open(sys.argv[1], 'rb')); "
            "plistlib.dump(tree, open(sys.argv[2], 'wb'), fmt=plistlib.FMT_BINARY, sort_keys=False)")
    subprocess.run([sys.executable, "-c", code, source, target], check=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--shapes", default="shuffled,real")
    parser.add_argument("--sizes", default="1000,10000,100000")
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--timeout", type=float, default=120)
    parser.add_argument("--growth", action="store_true")
    parser.add_argument("--alone", action="store_true", help="without the peers")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        contenders = programs(options.build)
        tarvel = contenders["tarvel sort"]
        if options.alone:
            contenders = {name: contenders[name] for name in KEPT}
        for size, shape in itertools.product(map(int, options.sizes.split(",")), options.shapes.split(",")):
            original = generate(options.build, folder, size, shape)
            shutil.copy(original, folder / "sorted.plist")
            run([*tarvel, str(folder / "sorted.plist")], 0)
            rewrite(folder / "sorted.plist", folder / "rewritten.plist")
            medians, given_up = measure(
                {**contenders, **dict.fromkeys(IN_ORDER, tarvel)}, original, folder, options.rounds, options.timeout
            )
            table(f"{size:,} bookmarks, {shape}", original, medians, given_up)
        if options.growth:
            print("\n### Growth cases\n\n| case | entries | file MB | CPU ms | memory, times the larger file |\n|---|---|---|---|---|")
            for shape, counts in GROWTH_CASES.items():
                for count in counts:
                    original = generate(options.build, folder, count, shape)
                    before = original.stat().st_size
                    cpu, _, memory = run([*tarvel, str(original)], 0)
                    larger = max(before, original.stat().st_size)
                    shown = f"{memory / larger:.1f}" if memory > OWN_MEMORY else "-"
                    print(f"| {shape} | {count:,} | {before / 1e6:.1f} -> {original.stat().st_size / 1e6:.1f} "
                          f"| {cpu * 1e3:.0f} | {shown} |")
                    original.unlink()


main()
