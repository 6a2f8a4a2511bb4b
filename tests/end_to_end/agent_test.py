"""The built agent on real files, in real time: nothing here stands in for it or for what it stands on."""

import concurrent.futures
import http.server
import os
import pathlib
import plistlib
import re
import shutil
import signal
import subprocess
import sys
import threading
import time
import traceback

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from agent_support import Machine, is_running, long_ago, wait_for
from support import folder, leaf, root, titles

CASES = []


def case(function):
    """Each runs on a machine of its own. What it returns is printed beside its name."""
    CASES.append(function)
    return function


# The watcher's two seconds and the shortest latency there is.
ONE_ROUND = 3.0


def unsorted_root(*names, **more):
    names = names or ("b", "a")
    return root(folder("BookmarksBar", leaf("x")), folder("BookmarksMenu", *map(leaf, names)), **more)


def menu(tree):
    return titles(tree)[1][1]


def is_sorted(machine):
    try:
        return menu(machine.read()) == sorted(menu(machine.read()))
    except (OSError, plistlib.InvalidFileException):
        return False


def running_agent(machine, **settings):
    machine.write(unsorted_root())
    machine.set(AutoSortMode=True, BookmarksUpdateLatency=1, **settings)
    machine.start()
    machine.wait_until_watching()
    return machine


def watch_quietly(machine, seconds):
    """That the file stays as it is for so long: there is no event to wait for where nothing is to happen."""
    before = machine.fingerprint()
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        assert machine.fingerprint() == before, "the file was written again"
        time.sleep(0.05)


def ends_with(machine, code, line, launch_patience=60):
    """The agent reported `code`, launched the main application and is gone; the application lives on."""
    status = machine.wait_for_end(launch_patience)
    assert status == 0, f"exit status {status}, log: {machine.log()}"
    launch = machine.wait_for_launch()[0]
    assert launch["code"] == code, launch
    assert machine.stored()["LastHelperError"] == code
    assert line in machine.log(), machine.log()
    assert is_running(launch["pid"]), "the main application went down with the agent"
    assert launch["blocked"] == 0 and launch["ignored"] == 0, f"signals were left disturbed: {launch}"
    assert launch["session"] != os.getsid(0), "the main application is tied to the session"




@case
def sorts_once_after_a_burst_of_saves(machine):
    running_agent(machine)
    for i in range(5):
        machine.lock.touch()
        machine.write(unsorted_root("d", "c", "b", f"a{i}"))
        machine.lock.unlink()
        time.sleep(0.1)
    started = time.monotonic()
    wait_for(lambda: is_sorted(machine), "the sort")
    assert time.monotonic() - started < 30
    assert menu(machine.read()) == ["a4", "b", "c", "d"]
    assert machine.backup.exists()
    # Three latencies: its own rewrite wakes nobody.
    watch_quietly(machine, 3 * ONE_ROUND)
    assert machine.process.poll() is None
    assert machine.log() == "", machine.log()
    assert "LastHelperError" not in machine.stored()


@case
def sorts_not_before_the_latency_is_over(machine):
    machine.write(unsorted_root())
    machine.set(AutoSortMode=True, BookmarksUpdateLatency=3)
    machine.start().wait_until_watching()
    changed = time.monotonic()
    machine.write(unsorted_root())
    wait_for(lambda: is_sorted(machine), "the sort")
    assert time.monotonic() - changed >= 5.0


@case
def leaves_an_unchanged_file_alone_at_launch(machine):
    running_agent(machine)
    watch_quietly(machine, 2 * ONE_ROUND)
    assert machine.log() == ""


@case
def pays_no_heed_to_other_files_of_the_folder(machine):
    running_agent(machine)
    for i in range(3):
        (machine.folder / f"History{i}.plist").write_bytes(b"x")
        time.sleep(0.2)
    watch_quietly(machine, 2 * ONE_ROUND)
    assert not is_sorted(machine)


@case
def sorts_every_time_the_file_changes(machine):
    running_agent(machine)
    for names in (("b", "a"), ("d", "c", "a"), ("z", "y", "x", "w")):
        machine.write(unsorted_root(*names))
        wait_for(lambda: is_sorted(machine), "a sort")
        assert menu(machine.read()) == sorted(names)


@case
def sorts_a_save_that_comes_right_after_its_own_write(machine):
    running_agent(machine)
    machine.write(unsorted_root())
    for names in (("d", "c"), ("f", "e"), ("h", "g"), ("j", "i")):
        # While the agent syncs the folder, and before it looks at the date.
        while not is_sorted(machine):
            pass
        machine.write(unsorted_root(*names))
        wait_for(lambda: menu(machine.read()) == sorted(names), f"the sort of {names}")
    watch_quietly(machine, 2 * ONE_ROUND)


@case
def sees_a_file_written_in_place(machine):
    running_agent(machine)
    with machine.file.open("r+b") as file:
        data = plistlib.dumps(unsorted_root("d", "c"), fmt=plistlib.FMT_BINARY, sort_keys=False)
        file.write(data)
        file.truncate(len(data))
    wait_for(lambda: is_sorted(machine), "the sort")


@case
def sees_a_file_behind_a_symbolic_link(machine):
    target = machine.home / "elsewhere/Real.plist"
    target.parent.mkdir()
    machine.write(unsorted_root(), target)
    machine.file.symlink_to(target)
    machine.set(AutoSortMode=True, BookmarksUpdateLatency=1)
    machine.start().wait_until_watching()
    machine.write(unsorted_root("d", "c"), target)
    wait_for(lambda: is_sorted(machine), "the sort")
    assert machine.file.is_symlink()
    assert menu(plistlib.loads(target.read_bytes())) == ["c", "d"]


@case
def waits_for_a_folder_that_is_not_there_yet(machine):
    machine.folder.rmdir()
    machine.set(AutoSortMode=True, BookmarksUpdateLatency=1)
    machine.start()
    wait_for(lambda: "Could not read the file‘s modification date: " in machine.log(), "the line about the date")
    time.sleep(0.5)
    assert machine.process.poll() is None
    machine.folder.mkdir()
    if os.getuid() == 0:
        os.chown(machine.folder, 65534, 65534)
    machine.write(unsorted_root())
    wait_for(lambda: is_sorted(machine), "the sort")


@case
def survives_its_folder_being_replaced(machine):
    running_agent(machine)
    machine.folder.rename(machine.home / "Library/Old")
    machine.folder.mkdir()
    if os.getuid() == 0:
        os.chown(machine.folder, 65534, 65534)
    machine.write(unsorted_root("d", "c"))
    wait_for(lambda: is_sorted(machine), "the sort")
    assert menu(machine.read()) == ["c", "d"]


@case
def survives_its_folder_being_recreated_while_a_process_stands_in_it(machine):
    running_agent(machine)
    with subprocess.Popen(["sleep", "1000"], cwd=machine.folder) as standing:
        try:
            machine.file.unlink()
            machine.folder.rmdir()
            machine.folder.mkdir()
            if os.getuid() == 0:
                os.chown(machine.folder, 65534, 65534)
            for names in (("b", "a"), ("d", "c")):
                machine.write(unsorted_root(*names))
                wait_for(lambda: is_sorted(machine), f"the sort of {names}")
        finally:
            standing.kill()


@case
def waits_out_a_lock_of_three_seconds(machine):
    running_agent(machine)
    machine.lock.touch()
    machine.write(unsorted_root("d", "c"))
    time.sleep(ONE_ROUND + 3)
    assert not is_sorted(machine)
    machine.lock.unlink()
    wait_for(lambda: is_sorted(machine), "the sort")
    assert machine.log() == "", machine.log()
    assert machine.launches() == []


@case
def gives_up_on_a_lock_held_for_ever_after_nine_retries(machine):
    running_agent(machine)
    machine.lock.touch()
    machine.write(unsorted_root("d", "c"))
    before = machine.fingerprint()
    started = time.monotonic()
    line = "Safari is currently using the bookmarks file, please wait a while before sorting."
    ends_with(machine, 8, line, launch_patience=180)
    # Ten attempts of three seconds with nine pauses of five between them.
    assert time.monotonic() - started >= ONE_ROUND + 10 * 3 + 9 * 5 - 1
    assert machine.fingerprint() == before


@case
def hands_over_4_for_a_newer_file_version(machine):
    running_agent(machine)
    machine.write(unsorted_root(WebBookmarkFileVersion=2))
    before = machine.fingerprint()
    ends_with(machine, 4, f"The file “{machine.file}” is a bookmarks file, but the version is too advanced.")
    assert machine.fingerprint() == before


@case
def hands_over_5_for_a_file_that_cannot_be_read(machine):
    running_agent(machine)
    machine.write(unsorted_root("d", "c"))
    machine.file.chmod(0)
    line = f"The bookmarks file “{machine.file}” could not be read. Please verify that you have read and write access"
    ends_with(machine, 5, line)


@case
def hands_over_5_for_a_file_that_is_no_property_list(machine):
    running_agent(machine)
    machine.file.write_bytes(b"bplist00 and nothing more")
    ends_with(machine, 5, f"The bookmarks file “{machine.file}” could not be read.")
    assert machine.file.read_bytes() == b"bplist00 and nothing more"


@case
def hands_over_5_for_a_file_made_to_break_its_reader(machine):
    running_agent(machine)
    nested = b"(" * 1_000_000
    machine.file.write_bytes(nested)
    ends_with(machine, 5, f"The bookmarks file “{machine.file}” could not be read.")
    assert machine.file.read_bytes() == nested


@case
def hands_over_3_for_a_list_that_is_no_bookmarks_file(machine):
    running_agent(machine)
    machine.write({"some": "settings"})
    ends_with(machine, 3, f"The file “{machine.file}” is not a bookmarks file.")


@case
def hands_over_6_for_a_file_that_cannot_be_written(machine):
    running_agent(machine)
    machine.write(unsorted_root("d", "c"))
    machine.file.chmod(0o444)
    before = machine.fingerprint()
    ends_with(machine, 6, f"The bookmarks file “{machine.file}” could not be saved.")
    assert machine.fingerprint() == before


@case
def hands_over_7_where_no_backup_can_be_made(machine):
    (machine.home / "data/Tarvel").write_text("in the way")
    running_agent(machine)
    machine.write(unsorted_root("d", "c"))
    before = machine.fingerprint()
    ends_with(machine, 7, f"A backup for the bookmarks file “{machine.backup}” could not be created.")
    assert machine.fingerprint() == before


@case
def hands_over_1_for_a_deleted_file(machine):
    running_agent(machine)
    machine.file.unlink()
    ends_with(machine, 1, f"The bookmarks file “{machine.file}” could not be located.")
    assert "Could not read the file‘s modification date: " in machine.log()




def both_lines_about_watching(machine):
    first = machine.log().index("Could not begin watching the bookmarks file for file system events.")
    assert machine.log().index("Could not begin watching bookmarks file.") > first


@case
def hands_over_101_without_watches_left(machine):
    limited = "echo 0 > /proc/sys/user/max_inotify_watches && exec \"$0\""
    probe = subprocess.run(["unshare", "-U", "-r", "sh", "-c", "echo 0 > /proc/sys/user/max_inotify_watches"],
                           capture_output=True, check=False)
    if probe.returncode != 0:
        return f"skipped: no limits of its own can be set here: {probe.stderr.decode().strip()}"
    machine.write(unsorted_root())
    machine.set(AutoSortMode=True, BookmarksUpdateLatency=1)
    machine.start(before=("unshare", "-U", "-r", "sh", "-c", limited))
    ends_with(machine, 101, "Could not begin watching bookmarks file.")
    both_lines_about_watching(machine)


@case
def hands_over_101_for_a_folder_it_may_not_look_into(machine):
    machine.write(unsorted_root())
    machine.set(AutoSortMode=True)
    machine.folder.chmod(0)
    machine.start()
    try:
        ends_with(machine, 101, "Could not begin watching bookmarks file.")
        both_lines_about_watching(machine)
    finally:
        machine.folder.chmod(0o755)


@case
def quits_when_automatic_sorting_is_not_set(machine):
    machine.set(LastHelperError=5, FoldersAtTop=False)
    machine.start()
    assert machine.wait_for_end() == 0
    assert "Automatic sorting is not set, terminating." in machine.log()
    assert machine.stored() == {"FoldersAtTop": False}
    assert machine.launches() == []


@case
def quits_when_there_are_no_settings_at_all(machine):
    machine.start()
    assert machine.wait_for_end() == 0
    assert "Automatic sorting is not set, terminating." in machine.log()
    assert machine.launches() == []


@case
def ends_in_order_while_it_settles(machine):
    machine.write(unsorted_root())
    machine.set(AutoSortMode=True, BookmarksUpdateLatency=300)
    machine.start().wait_until_watching()
    machine.write(unsorted_root("d", "c"))
    before = machine.fingerprint()
    # The batch comes after two seconds; from then on the request is pending.
    time.sleep(2.5)
    assert machine.terminate() == 0
    assert machine.fingerprint() == before
    assert machine.launches() == [] and "LastHelperError" not in machine.stored()


@case
def ends_in_order_while_it_waits_to_retry(machine):
    running_agent(machine)
    machine.lock.touch()
    machine.write(unsorted_root("d", "c"))
    before = machine.fingerprint()
    # Into the pause after the first attempt.
    time.sleep(ONE_ROUND + 3 + 1.5)
    assert machine.terminate() == 0
    assert machine.fingerprint() == before
    assert machine.launches() == []


@case
def ends_in_order_at_an_interrupt_and_a_hangup(machine):
    for number in (signal.SIGINT, signal.SIGHUP):
        running_agent(machine)
        machine.process.send_signal(number)
        assert machine.wait_for_end() == 0


@case
def leaves_the_field_to_the_agent_that_runs_already(machine):
    running_agent(machine)
    first, machine.process = machine.process, None
    try:
        machine.start()
        assert machine.wait_for_end() == 0
        assert "already running" in machine.log(), machine.log()
        assert first.poll() is None
    finally:
        first.kill()
        first.wait()


@case
def leaves_the_field_to_an_agent_started_in_another_environment(machine):
    running_agent(machine)
    first, machine.process = machine.process, None
    try:
        # As the end of a session does.
        shutil.rmtree(machine.runtime)
        machine.runtime.mkdir(mode=0o700)
        del machine.environment["XDG_RUNTIME_DIR"]
        machine.start()
        assert machine.wait_for_end() == 0
        assert "already running" in machine.log(), machine.log()
        assert first.poll() is None
    finally:
        first.kill()
        first.wait()


@case
def sorts_by_the_settings_of_the_moment(machine):
    running_agent(machine)
    machine.write(unsorted_root("b", "a"))
    wait_for(lambda: is_sorted(machine), "the first sort")
    machine.set(AutoSortMode=True, BookmarksUpdateLatency=1, SortBookmarksBar=True)
    machine.write(root(folder("BookmarksBar", leaf("z"), leaf("y")), folder("BookmarksMenu", leaf("a"))))
    wait_for(lambda: titles(machine.read())[0][1] == ["y", "z"], "the bar to be sorted")


@case
def hands_over_103_for_an_update_and_stays(machine):
    feed = (
        b'<?xml version="1.0"?><rss version="2.0" '
        b'xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle"><channel><item><title>2.0</title>'
        b'<enclosure url="https://updates.example/Tarvel-2.0.tar.xz" sparkle:version="2.0" '
        b'sparkle:shortVersionString="2.0" length="1" type="application/octet-stream"/></item></channel></rss>'
    )

    class Feed(http.server.BaseHTTPRequestHandler):
        def do_GET(self):
            self.send_response(200)
            self.send_header("Content-Length", str(len(feed)))
            self.end_headers()
            self.wfile.write(feed)

        def log_message(self, *_):
            pass

    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Feed)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    try:
        machine.information["SUFeedURL"] = f"http://127.0.0.1:{server.server_address[1]}/feed.xml"
        running_agent(machine, SUEnableAutomaticChecks=True, SUScheduledCheckInterval=86400, SULastCheckTime=long_ago())
        launch = machine.wait_for_launch()[0]
        assert launch["code"] == 103, launch
        assert machine.process.poll() is None
        machine.write(unsorted_root("d", "c"))
        wait_for(lambda: is_sorted(machine), "a sort after the update was found")
        assert len(machine.launches()) == 1
        assert machine.stored()["LastHelperError"] == 103
        assert machine.stored()["SULastCheckTime"].year > 2020
    finally:
        server.shutdown()
        server.server_close()


@case
def sleeps_without_a_system_call_and_stays_small(machine):
    machine.write(unsorted_root())
    machine.set(AutoSortMode=True, BookmarksUpdateLatency=1)
    trace = machine.home / "trace"
    # Mounts of others are events too. In a name space of its own the agent sees none, where one can be had.
    alone = ("unshare", "-r", "-m", "--propagation", "private")
    can_be_alone = subprocess.run([*alone, "true"], capture_output=True, check=False).returncode == 0
    # A leak check cannot run under a tracer.
    machine.start(before=(*(alone if can_be_alone else ()), "strace", "-f", "-qq", "-o", trace), ASAN_OPTIONS="detect_leaks=0")
    machine.wait_until_watching()
    pid = wait_for(lambda: pathlib.Path(f"/proc/{machine.process.pid}/task/{machine.process.pid}/children").read_text(),
                   "the traced agent").split()[0]
    status = pathlib.Path(f"/proc/{pid}/status")

    def wakeups():
        return re.findall(r"ctxt_switches:\s*(\d+)", status.read_text())

    # What belongs to the launch is over when nothing new has been traced for a second.
    sizes = [-1]
    wait_for(lambda: sizes.append(trace.stat().st_size) or time.sleep(1) or trace.stat().st_size == sizes[-1],
             "the launch to be over")
    quiet, wakeups_before = trace.read_bytes(), wakeups()
    time.sleep(30)
    assert trace.read_bytes() == quiet, trace.read_bytes()[len(quiet):].decode()
    assert wakeups() == wakeups_before
    resident = int(re.search(r"VmRSS:\s*(\d+) kB", status.read_text()).group(1))
    # A sanitizer brings more of its own than the agent is large.
    if not os.environ.get("TARVEL_SANITIZERS"):
        assert resident < 8 * 1024, f"{resident} kB resident"
    os.kill(int(pid), signal.SIGTERM)
    assert machine.wait_for_end() == 0
    return f"{resident} kB resident before the first sort"


@case
def launches_beside_a_real_user_manager_or_without_one(machine):
    real = os.environ.get("XDG_RUNTIME_DIR", f"/run/user/{os.getuid()}")
    answer = subprocess.run(["systemctl", "--user", "show-environment"], capture_output=True, check=False,
                            env={**os.environ, "XDG_RUNTIME_DIR": real})
    managed = answer.returncode == 0 and os.getuid() != 0
    if managed:
        machine.environment["XDG_RUNTIME_DIR"] = real
    running_agent(machine)
    machine.write({"not": "bookmarks"})
    ends_with(machine, 3, "is not a bookmarks file.")
    launch = machine.launches()[0]
    group = pathlib.Path(f"/proc/{launch['pid']}/cgroup").read_text()
    if managed:
        assert "app.slice" in group, group
        return "by the user manager, as a unit of its own"
    return "by posix_spawn: no user manager runs here"


def main():
    names = sys.argv[1:]
    cases = [case for case in CASES if not names or case.__name__ in names]
    assert cases, "no case to run"
    # Longest first, so that the others run beside it. They mostly wait.
    cases.sort(key=lambda one: one is not gives_up_on_a_lock_held_for_ever_after_nine_retries)

    def run(one):
        try:
            with Machine() as machine:
                try:
                    return one, True, one(machine) or ""
                except BaseException:
                    return one, False, traceback.format_exc() + f"\nlog of the agent:\n{machine.log()}"
        except BaseException:
            return one, False, traceback.format_exc()

    failures = 0
    with concurrent.futures.ThreadPoolExecutor(max_workers=6) as pool:
        for one, passed, note in pool.map(run, cases):
            print(f"{'ok  ' if passed else 'FAIL'} {one.__name__.replace('_', ' ')}{': ' if note else ''}{note}", flush=True)
            failures += not passed
    print(f"{len(cases)} cases, {failures} failed")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
