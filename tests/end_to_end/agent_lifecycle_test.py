"""The built agent from start to end: settings that stop it, signals, a second agent, updates, and its idle time."""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import time

import runner
from agent_test_case import AgentTestCase, unsorted_root
from home import SANITIZED
from local_server import LocalServer, feed_of, send
from machine import children, long_ago, wait_for

load_tests = runner.load_concurrently


class Ending(AgentTestCase):
    def assert_quits_because_sorting_is_off(self):
        self.machine.start()
        self.assertEqual(self.machine.wait_for_end(), 0)
        self.assertIn("Automatic sorting is not set, terminating.", self.machine.log())
        self.assertEqual(self.machine.launches(), [])

    def test_quits_when_automatic_sorting_is_not_set(self):
        self.machine.set(LastHelperError=5, FoldersAtTop=False)
        self.assert_quits_because_sorting_is_off()
        self.assertEqual(self.machine.stored(), {"FoldersAtTop": False})

    def test_quits_when_there_are_no_settings(self):
        self.assert_quits_because_sorting_is_off()

    def test_ends_in_order_before_the_latency_is_over(self):
        self.start_agent(latency=300)
        self.machine.write(unsorted_root("d", "c"))
        before = self.machine.fingerprint()
        # The events arrive after two seconds; from then on the sort is pending.
        time.sleep(2.5)
        self.assertEqual(self.machine.terminate(), 0)
        self.assertEqual(self.machine.fingerprint(), before)
        self.assertEqual(self.machine.launches(), [])
        self.assertNotIn("LastHelperError", self.machine.stored())

    def test_ends_in_order_at_an_interrupt_and_a_hangup(self):
        for number in (signal.SIGINT, signal.SIGHUP):
            with self.subTest(signal=number):
                self.start_agent()
                self.machine.process.send_signal(number)
                self.assertEqual(self.machine.wait_for_end(), 0)


class SecondAgent(AgentTestCase):
    def start_first(self):
        self.start_agent()
        first, self.machine.process = self.machine.process, None
        self.addCleanup(first.wait)
        self.addCleanup(first.kill)
        return first

    def assert_quits_beside(self, first):
        self.machine.start()
        self.assertEqual(self.machine.wait_for_end(), 0)
        self.assertIn("already running", self.machine.log())
        self.assertIsNone(first.poll())

    def test_quits(self):
        self.assert_quits_beside(self.start_first())

    def test_quits_in_an_environment_without_the_runtime_folder(self):
        first = self.start_first()
        # The end of a login session removes the folder.
        shutil.rmtree(self.machine.runtime)
        self.machine.runtime.mkdir(mode=0o700)
        del self.machine.environment["XDG_RUNTIME_DIR"]
        self.assert_quits_beside(first)


class UpdateServer(LocalServer):
    def answer(self, request):
        send(request, feed_of("2.0"))


class Launching(AgentTestCase):
    def test_hands_over_103_for_an_update_and_keeps_running(self):
        server = UpdateServer()
        self.addCleanup(server.close)
        self.machine.information["SUFeedURL"] = server.address("/feed.xml")
        self.start_agent(SUEnableAutomaticChecks=True, SUScheduledCheckInterval=86400, SULastCheckTime=long_ago())
        self.assertEqual(self.machine.wait_for_launch()[0]["code"], 103)
        self.assert_running()
        self.machine.write(unsorted_root("d", "c"))
        self.wait_for_sort("a sort after the update was found")
        self.assertEqual(len(self.machine.launches()), 1)
        self.assertEqual(self.machine.stored()["LastHelperError"], 103)
        self.assertGreater(self.machine.stored()["SULastCheckTime"].year, 2020)

    def test_launches_through_the_user_manager_or_without_one(self):
        runtime = os.environ.get("XDG_RUNTIME_DIR", f"/run/user/{os.getuid()}")
        answer = subprocess.run(["systemctl", "--user", "show-environment"], capture_output=True, check=False,
                                env={**os.environ, "XDG_RUNTIME_DIR": runtime})
        has_manager = answer.returncode == 0 and os.getuid() != 0
        if has_manager:
            self.machine.environment["XDG_RUNTIME_DIR"] = runtime
        self.start_agent()
        self.machine.write({"not": "bookmarks"})
        self.assert_hands_over(3, "is not a bookmarks file.")
        group = pathlib.Path(f"/proc/{self.machine.launches()[0]['pid']}/cgroup").read_text()
        if has_manager:
            self.assertIn("app.slice", group)
        print("launched by", "the user manager" if has_manager else "posix_spawn: no user manager is running")


class Idle(AgentTestCase):
    def start_traced(self, trace):
        # In a mount namespace of its own the agent does not see mounts of other tests, which are events too.
        alone = ("unshare", "-r", "-m", "--propagation", "private")
        can_be_alone = subprocess.run([*alone, "true"], capture_output=True, check=False).returncode == 0
        tracer = ("strace", "-f", "-qq", "-o", trace)
        # A leak check cannot run under a tracer.
        self.machine.start(before=(*(alone if can_be_alone else ()), *tracer), ASAN_OPTIONS="detect_leaks=0")
        self.machine.wait_until_watching()
        return wait_for(lambda: children(self.machine.process.pid), "the traced agent")[0]

    def test_makes_no_system_call_and_stays_small(self):
        self.machine.write(unsorted_root())
        self.machine.set(AutoSortMode=True, BookmarksUpdateLatency=1)
        trace = self.machine.home / "trace"
        pid = self.start_traced(trace)
        status = pathlib.Path(f"/proc/{pid}/status")

        def wakeups():
            return re.findall(r"ctxt_switches:\s*(\d+)", status.read_text())

        def is_silent():
            size = trace.stat().st_size
            # Longer than the second after which the agent returns memory.
            time.sleep(2)
            return trace.stat().st_size == size

        wait_for(is_silent, "the launch to be over")
        quiet, wakeups_before = trace.read_bytes(), wakeups()
        time.sleep(30)
        self.assertEqual(trace.read_bytes()[len(quiet):].decode(), "")
        self.assertEqual(trace.read_bytes(), quiet)
        self.assertEqual(wakeups(), wakeups_before)
        resident = int(re.search(r"VmRSS:\s*(\d+) kB", status.read_text()).group(1))
        # A sanitizer needs more memory than the agent.
        if not SANITIZED:
            self.assertLess(resident, 5 * 1024, "kB resident")
        os.kill(pid, signal.SIGTERM)
        self.assertEqual(self.machine.wait_for_end(), 0)
        print(f"{resident} kB resident before the first sort")


if __name__ == "__main__":
    runner.main()
