#!/usr/bin/env python3
"""Black-box tests of khost.

run.py [--emulator PROGRAM] [--report FILE] KHOST [TEST...]

KHOST is the program; a name that ends with ".exe" is a Windows program, run with the emulator. TEST is a module,
class or test as unittest names it ("test_cache", "test_cache.Objects.test_has"); default: all.
"""

import argparse
import os
import sys
import unittest

FOLDER = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [FOLDER, os.path.join(FOLDER, "..", "support")]

import host  # noqa: E402
import suite as suite_runner  # noqa: E402


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--emulator")
    parser.add_argument("--report")
    parser.add_argument("khost")
    parser.add_argument("tests", nargs="*")
    options = parser.parse_args()
    host.KHOST[:] = ([os.path.abspath(options.emulator)] if options.emulator else []) + [os.path.abspath(options.khost)]
    host.WINDOWS = options.khost.endswith(".exe")

    loader = unittest.TestLoader()
    suite = loader.loadTestsFromNames(options.tests) if options.tests else loader.discover(FOLDER)
    return suite_runner.run(suite, options.report)


if __name__ == "__main__":
    sys.exit(main())
