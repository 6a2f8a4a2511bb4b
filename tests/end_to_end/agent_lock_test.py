"""The built agent and the browser's lock. Giving up takes 80 seconds, which is mostly waiting."""

import time

import runner
from agent_test_case import ONE_ROUND, AgentTestCase, unsorted_root

load_tests = runner.load_concurrently


class Lock(AgentTestCase):
    def lock_and_save(self):
        self.start_agent()
        self.machine.lock.touch()
        self.machine.write(unsorted_root("d", "c"))

    def test_waits_until_the_lock_is_gone(self):
        self.lock_and_save()
        time.sleep(ONE_ROUND + 3)
        self.assertFalse(self.is_sorted())
        self.machine.lock.unlink()
        self.wait_for_sort()
        self.assertEqual(self.machine.log(), "")
        self.assertEqual(self.machine.launches(), [])

    def test_gives_up_after_nine_retries_with_8(self):
        self.lock_and_save()
        before = self.machine.fingerprint()
        started = time.monotonic()
        line = "Safari is currently using the bookmarks file, please wait a while before sorting."
        self.assert_hands_over(8, line, patience=180)
        # Ten attempts of three seconds, nine pauses of five between them.
        self.assertGreaterEqual(time.monotonic() - started, ONE_ROUND + 10 * 3 + 9 * 5 - 1)
        self.assertEqual(self.machine.fingerprint(), before)

    def test_ends_in_order_while_it_waits_to_retry(self):
        self.lock_and_save()
        before = self.machine.fingerprint()
        # Into the pause after the first attempt.
        time.sleep(ONE_ROUND + 3 + 1.5)
        self.assertEqual(self.machine.terminate(), 0)
        self.assertEqual(self.machine.fingerprint(), before)
        self.assertEqual(self.machine.launches(), [])


if __name__ == "__main__":
    runner.main()
