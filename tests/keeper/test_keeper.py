#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests what runs every test: tests/keeper/test_keeper.py KEEPER [unittest's option]...

A small project has tests that leave processes behind in each way. Its ctest is ended, or comes to a time limit; what is
left is found by a variable of the environment that all have.
"""
import os
import pathlib
import resource
import signal
import subprocess
import sys
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
KEEPER = pathlib.Path(sys.argv.pop(1)).resolve() if len(sys.argv) > 1 else None
DEADLINE = 120  # seconds
MARK = "SRCWATCH_KEEPER_TEST"

# Each starts processes, says so with a file named like itself, and waits for ever.
TESTS = {
    "plain": 'touch "$0.started"; sleep 1000',
    "background": 'sleep 1000 & touch "$0.started"; wait',
    "session": 'setsid sh -c \'touch "$0.started"; sleep 1000\' "$0"; sleep 1000',
    "orphan": '(setsid sh -c \'touch "$0.started"; sleep 1000\' "$0" &); sleep 1000',
    "deaf": 'trap "" HUP INT QUIT TERM; setsid sh -c \'touch "$0.started"; sleep 1000; sleep 1000\' "$0"; sleep 1000',
    "stopped": 'setsid sh -c \'touch "$0.started"; kill -STOP $$\' "$0"; sleep 1000',
    "bus": 'dbus-run-session -- sh -c \'touch "$0.started"; sleep 1000\' "$0"',
}

PROJECT = f"""cmake_minimum_required(VERSION 3.25)
project(kept LANGUAGES NONE)
enable_testing()
include("{ROOT}/cmake/SrcwatchTests.cmake")
add_executable(srcwatch-test-keeper IMPORTED)
set_target_properties(srcwatch-test-keeper PROPERTIES IMPORTED_LOCATION "{KEEPER}")
"""


def eventually(what, condition):
    end = time.monotonic() + DEADLINE
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"not within {DEADLINE} seconds: {what}")
        time.sleep(0.01)


class KeeperTest(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory(prefix="srcwatch-keeper-")
        self.addCleanup(place.cleanup)
        self.addCleanup(self.kill_survivors)
        self.place = pathlib.Path(place.name)
        self.mark = f"{MARK}={self.place}"
        self.environment = {**os.environ, MARK: str(self.place), "CTEST_OUTPUT_ON_FAILURE": "1"}

    def survivors(self):
        """What of this test's processes there is, ended ones not counted: their environment is empty."""
        found = {}
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if self.mark.encode() in (process / "environ").read_bytes().split(b"\0"):
                    found[int(process.name)] = (process / "cmdline").read_text().replace("\0", " ")
            except OSError:  # it has ended, or is another user's
                continue
        return found

    def kill_survivors(self):
        for process in self.survivors():
            try:
                os.kill(process, signal.SIGKILL)
            except ProcessLookupError:
                continue

    def configure(self, tests, command="srcwatch_register_test", more=""):
        """Makes the project with these tests. @return what cmake has done."""
        lines = [PROJECT]
        for name, script in tests.items():
            path = self.place / name
            path.write_text(script + "\n")
            lines.append(f'{command}(NAME {name} COMMAND sh "{path}")\n')
        (self.place / "CMakeLists.txt").write_text("".join(lines) + more)
        return subprocess.run(["cmake", "-S", self.place, "-B", self.place / "build"], env=self.environment,
                              capture_output=True, text=True, timeout=DEADLINE, check=False)

    def ctest(self, *options):
        return subprocess.Popen(["ctest", *options], cwd=self.place / "build", env=self.environment, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)

    def run_all_and_end(self, number, end=os.kill):
        """Ends ctest by a signal while all tests wait."""
        ctest = self.ctest(f"-j{len(TESTS)}")
        for name in TESTS:
            eventually(f"{name} runs", (self.place / f"{name}.started").exists)
        end(ctest.pid, number)
        ctest.communicate(timeout=DEADLINE)
        self.assertEqual(ctest.returncode, -number)

    def test_nothing_outlives_ctest(self):
        self.assertEqual(self.configure(TESTS).returncode, 0)

        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL):
            with self.subTest(number.name):
                for name in TESTS:
                    (self.place / f"{name}.started").unlink(missing_ok=True)
                self.run_all_and_end(number)
                eventually("nothing is left", lambda: not self.survivors())

    def test_nothing_outlives_the_process_group_of_ctest(self):
        self.assertEqual(self.configure(TESTS).returncode, 0)

        self.run_all_and_end(signal.SIGKILL, os.killpg)

        eventually("nothing is left", lambda: not self.survivors())

    def test_a_test_that_is_not_kept_is_outlived(self):
        """What the other tests look for is there without the keeper."""
        self.assertEqual(self.configure(TESTS, command="add_test").returncode, 0)

        self.run_all_and_end(signal.SIGTERM)

        lines = self.survivors().values()
        for name in TESTS:
            self.assertTrue(any(f"{self.place}/{name}" in line for line in lines), f"{name} not in {lines}")

    def test_nothing_outlives_a_time_limit(self):
        limits = "".join(f"set_tests_properties({name} PROPERTIES TIMEOUT 3)\n" for name in TESTS)
        self.assertEqual(self.configure(TESTS, more=limits).returncode, 0)

        ctest = self.ctest(f"-j{len(TESTS)}")
        output, _ = ctest.communicate(timeout=DEADLINE)

        self.assertEqual((ctest.returncode, output.count("***Timeout")), (8, len(TESTS)), output)
        eventually("nothing is left", lambda: not self.survivors())

    def test_nothing_outlives_a_test_that_ends(self):
        self.assertEqual(self.configure({"ends": "(setsid sleep 1000 &); (sleep 1000 >&- 2>&- &); exit 0"}).returncode, 0)

        output, _ = self.ctest().communicate(timeout=DEADLINE)

        self.assertIn("100% tests passed", output)
        self.assertEqual(self.survivors(), {})

    def test_ends_as_the_program_does(self):
        for words, code in [
            (["true"], 0), (["sh", "-c", "exit 77"], 77), (["sh", "-c", "kill -SEGV $$"], -signal.SIGSEGV),
            (["sh", "-c", "kill -KILL $$"], -signal.SIGKILL), (["sh", "-c", "sleep 0.1 & kill -TERM $$"], -signal.SIGTERM),
            (["/nowhere"], 127), (["/dev/null"], 126), ([], 2),
        ]:
            with self.subTest(words=words):
                self.assertEqual(self.keep(*words).returncode, code)

    def test_leaves_no_core_of_its_own(self):
        _, most = resource.getrlimit(resource.RLIMIT_CORE)

        result = subprocess.run([KEEPER, "sh", "-c", "ulimit -c 0; kill -QUIT $$"], cwd=self.place, check=False,
                                preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_CORE, (most, most)))

        self.assertEqual(result.returncode, -signal.SIGQUIT)
        self.assertEqual(list(self.place.iterdir()), [])

    def test_passes_input_and_output_through(self):
        result = self.keep("sh", "-c", "cat; echo error >&2", stdin="some\nlines\n")

        self.assertEqual((result.stdout, result.stderr), ("some\nlines\n", "error\n"))

    def test_changes_nothing_for_the_program(self):
        script = "ls /proc/self/fd; grep -E '^(Sig|Shd)(Blk|Ign|Pnd)' /proc/self/status"
        before = "trap '' INT HUP; exec 7>/dev/null;"

        plain, kept = (
            subprocess.run(["sh", "-c", f'{before} exec "$@"', "sh", *launcher, "sh", "-c", script], check=True,
                           stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=DEADLINE).stdout
            for launcher in ([], [KEEPER]))

        self.assertEqual(kept, plain)

    def test_takes_in_what_loses_its_parent(self):
        script = "(sh -c 'exit 0' & echo $! >pid); while kill -0 $(cat pid) 2>/dev/null; do sleep 0.01; done"

        self.assertEqual(self.keep("sh", "-c", script).returncode, 0)

    def test_does_not_start_for_a_ctest_that_is_gone(self):
        read, write = os.pipe()
        os.close(read)

        result = subprocess.run([KEEPER, "touch", self.place / "started"], stdout=write, check=False, timeout=DEADLINE)

        os.close(write)
        self.assertEqual(result.returncode, 125)
        self.assertFalse((self.place / "started").exists())

    def test_every_test_of_a_project_is_to_be_kept(self):
        check = 'add_subdirectory(below)\nsrcwatch_require_registered_tests("${CMAKE_CURRENT_SOURCE_DIR}")\n'
        (self.place / "below").mkdir()
        for below, code, message in [("", 0, ""), ("add_test(NAME bare COMMAND true)\n", 1, "the test 'bare' may leave")]:
            with self.subTest(below):
                (self.place / "below/CMakeLists.txt").write_text(below)
                result = self.configure({"kept": "true"}, more=check)
                self.assertEqual(result.returncode, code)
                self.assertIn(message, result.stderr.replace("\n ", ""))

    def keep(self, *words, stdin=""):
        return subprocess.run([KEEPER, *words], input=stdin, capture_output=True, text=True, timeout=DEADLINE,
                              cwd=self.place, check=False)


if __name__ == "__main__":
    unittest.main()
