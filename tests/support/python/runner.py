"""Runs the tests of a script under ctest: `runner.main()` in place of `unittest.main()`.

The exit status is 77 when every test was skipped: ctest then shows the script as skipped. A script without tests fails. Each
skipped test is printed once more at the end as "skipped: TEST: REASON", which scripts/skipped_tests.py lists.
"""

import concurrent.futures
import sys
import threading
import unittest

SKIPPED = 77
AT_ONCE = 6


class Result(unittest.TextTestResult):
    def __init__(self, *arguments, **options):
        super().__init__(*arguments, **options)
        self.passed = 0

    def addSuccess(self, test):
        super().addSuccess(test)
        self.passed += 1


class Runner(unittest.TextTestRunner):
    resultclass = Result


def exit_status(result):
    if not result.wasSuccessful():
        return 1
    if result.passed:
        return 0
    return SKIPPED if result.skipped else "no tests"


def main():
    result = unittest.main(testRunner=Runner, verbosity=2, exit=False).result
    for test, reason in result.skipped:
        print(f"skipped: {test.id().removeprefix('__main__.')}: {' '.join(reason.split())}", file=sys.stderr)
    sys.exit(exit_status(result))


class _Recording(unittest.TestResult):
    """Keeps the events of one test, to be replayed."""

    def __init__(self):
        super().__init__()
        self.events = []

    def startTest(self, test):
        self.events.append(("startTest", test))

    def addSuccess(self, test):
        self.events.append(("addSuccess", test))

    def addError(self, test, err):
        self.events.append(("addError", test, err))

    def addFailure(self, test, err):
        self.events.append(("addFailure", test, err))

    def addSkip(self, test, reason):
        self.events.append(("addSkip", test, reason))

    def addSubTest(self, test, subtest, err):
        self.events.append(("addSubTest", test, subtest, err))

    def stopTest(self, test):
        self.events.append(("stopTest", test))


def _single_tests(suite):
    for test in suite:
        if isinstance(test, unittest.TestSuite):
            yield from _single_tests(test)
        else:
            yield test


class _ConcurrentSuite(unittest.TestSuite):
    def run(self, result, debug=False):
        lock = threading.Lock()

        def run_one(test):
            recording = _Recording()
            test(recording)
            with lock:
                for event, *arguments in recording.events:
                    getattr(result, event)(*arguments)

        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
            # The list passes on what a thread raised.
            list(pool.map(run_one, self))
        return result


def load_concurrently(_loader, tests, _pattern):
    """`load_tests = runner.load_concurrently` runs the tests of a script in threads, six at a time, for tests that mostly
    wait. Fixtures of classes and modules are not run."""
    return _ConcurrentSuite(_single_tests(tests))
