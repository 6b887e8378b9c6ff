"""Runs the tests of an emulated machine: run_tests.py [--quick] [--jobs N] [PATTERN]..."""

import argparse
import concurrent.futures
import os
import subprocess
import sys
import time
import unittest
from pathlib import Path

import harness
from guest import WITH_THIS_PROGRAM

HERE = Path(__file__).parent


def names(suite, quick, patterns):
    for test in suite:
        if isinstance(test, unittest.TestSuite):
            yield from names(test, quick, patterns)
            continue
        method = getattr(test, test._testMethodName)
        name = test.id()
        if quick and getattr(method, "is_long", False):
            continue
        if not patterns or any(pattern in name for pattern in patterns):
            yield name


def run(name):
    begin = time.monotonic()
    command = [*WITH_THIS_PROGRAM, sys.executable, "-B", "-m", "unittest", name]
    done = subprocess.run(command, cwd=HERE, text=True, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    print(f"{'failed' if done.returncode else 'passed'}  {time.monotonic() - begin:4.0f} s  {name}",
          flush=True)
    if done.returncode:
        print(done.stdout, flush=True)
    return not done.returncode


def main():
    parser = argparse.ArgumentParser(description="Runs the tests of an emulated machine.")
    parser.add_argument("--quick", action="store_true", help="without those that take minutes")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="machines at once")
    parser.add_argument("pattern", nargs="*", help="a part of the names of the tests that are run")
    options = parser.parse_args()
    tests = list(names(unittest.defaultTestLoader.discover(HERE), options.quick, options.pattern))
    harness.Installed.from_environment()  # made once, for all of them
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        passed = sum(pool.map(run, tests))
    print(f"{passed} passed, {len(tests) - passed} failed")
    sys.exit(passed != len(tests) or not tests)


if __name__ == "__main__":
    main()
