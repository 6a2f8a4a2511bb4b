"""What the agent writes to a real journal, read back by the command."""

import os
import subprocess
import unittest

import runner
from home import SOURCE, TARVEL, HomeTest

JOURNAL = SOURCE / "tests/support/real_journal.sh"
# With sorting off the agent logs one message and exits.
WRITE = '"$TARVEL_HELPER" > /dev/null 2>&1'


class AgentLog(HomeTest):
    def setUp(self):
        super().setUp()
        runtime = self.home / "runtime"
        runtime.mkdir()
        self.environment["XDG_CONFIG_HOME"] = str(self.home / "config")
        self.environment["XDG_RUNTIME_DIR"] = str(runtime)
        self.environment["TARVEL_BIN"] = TARVEL
        self.environment["TARVEL_HELPER"] = os.environ["TARVEL_HELPER"]

    def beside_journal(self, script):
        """Runs a shell script with a separate journal."""
        result = subprocess.run(
            ["sh", JOURNAL, "sh", "-c", script], env=self.environment, capture_output=True, text=True, check=False
        )
        if result.returncode == 77:
            self.skipTest(f"no journal can be run here: {result.stderr}")
        return result

    # Messages reach the journal with a delay.
    READ = 'for i in $(seq 200); do "$TARVEL_BIN" agent log {} > log; [ "$(wc -l < log)" -ge {} ] && break; sleep 0.1; done; cat log'

    def test_only_messages_of_the_agent_are_shown(self):
        script = f'{WRITE}; echo other | systemd-cat -t Other; {WRITE}; {self.READ.format("", 2)}'
        result = self.beside_journal(f"cd {self.home}; {script}")
        lines = result.stdout.splitlines()
        self.assertEqual(len(lines), 2, result.stdout + result.stderr)
        for line in lines:
            self.assertRegex(line, r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d TarvelHelper: ")
            self.assertTrue(line.endswith("Automatic sorting is not set, terminating."), line)

    def test_the_number_of_lines_is_limited_on_request(self):
        script = f'{WRITE}; {WRITE}; {WRITE}; {self.READ.format("", 3)}; echo; "$TARVEL_BIN" agent log --lines 1'
        result = self.beside_journal(f"cd {self.home}; {script}")
        all_of_them, last = result.stdout.split("\n\n")
        self.assertEqual(len(all_of_them.splitlines()), 3, result.stdout + result.stderr)
        self.assertEqual(last.splitlines(), all_of_them.splitlines()[-1:])

    def test_follow_shows_new_messages_and_ends_on_a_signal(self):
        script = f"""cd {self.home}; "$TARVEL_BIN" agent log --follow > followed & follower=$!
            until grep -q inotify /proc/$follower/fdinfo/* 2> /dev/null; do sleep 0.05; done
            {WRITE}; for i in $(seq 200); do [ -s followed ] && break; sleep 0.1; done
            kill -TERM $follower; wait $follower; cat followed"""
        result = self.beside_journal(script)
        self.assertIn("TarvelHelper: ", result.stdout, result.stderr)
        self.assertEqual(len(result.stdout.splitlines()), 1)

    def test_follow_on_an_empty_journal_misses_no_burst(self):
        script = f"""cd {self.home}; "$TARVEL_BIN" agent log --follow > followed & follower=$!
            until grep -q inotify /proc/$follower/fdinfo/* 2> /dev/null; do sleep 0.05; done
            kill -STOP $follower; {WRITE}; {WRITE}; {WRITE}; {self.READ.format("", 3)} > /dev/null; kill -CONT $follower
            for i in $(seq 200); do [ "$(wc -l < followed)" -ge 3 ] && break; sleep 0.1; done
            kill -TERM $follower; wait $follower; cat followed"""
        result = self.beside_journal(script)
        self.assertEqual(len(result.stdout.splitlines()), 3, result.stdout + result.stderr)

    def test_an_empty_log_is_reported(self):
        result = self.beside_journal('"$TARVEL_BIN" agent log')
        self.assertEqual(result.stdout, "The journal has no messages of the agent.\n", result.stderr)

    def test_without_a_journal_it_says_where_to_look(self):
        result = self.beside_journal('mount -t tmpfs none /run; "$TARVEL_BIN" agent log')
        self.assertEqual((result.returncode, result.stdout), (12, ""))
        self.assertIn("/var/log/syslog", result.stderr)

    def test_invalid_numbers_of_lines_are_refused(self):
        for number in ("0", "-1", "many", ""):
            with self.subTest(number=number):
                self.assertEqual(self.tarvel("agent", "log", "--lines", number).returncode, 64, number)


if __name__ == "__main__":
    runner.main()
