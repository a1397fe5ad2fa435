#!/usr/bin/env python3
"""Builds and tests variants of the project, and ends with the sum of all counts.

run_variants.py [VARIANT...]

checks     rules of the source tree
abi        the published contract, and that its checks notice
native     Linux, GCC
asan       the same with the address and undefined-behaviour sanitizers
tsan       the same with the thread sanitizer
windows    Windows programs, tested under Wine
clang      the product with Clang's thread-safety analysis, and the benchmarks, both only built
tidy       clang-tidy over the sources that changed last, for a minute; only when it is named
fuzz       a short run of each fuzz target: KFW_FUZZ_SECONDS each (5)

Without names it runs all others; "all" stands for them. Two lanes work at once: one tests what is built, and one at low priority builds what comes
next, so that the processors are busy while tests wait. A variant ends with a line of its counts and of the seconds
that each step took. Logs are build/<variant>/<step>.log.
"""

import json
import os
import shutil
import subprocess
import sys
import threading
import time

SUPPORT = os.path.dirname(os.path.abspath(__file__))
REPORT = [sys.executable, os.path.join(SUPPORT, "report.py")]
JOBS = os.cpu_count() or 1
# Tests wait for processes, locks and time more than they compute.
TEST_JOBS = 2 * JOBS
BUILD_PRIORITY = 10
TIDY_SECONDS = 60  # and what has begun by then is finished
LOG_LINES = 60


class Variant:
    """One variant: its steps in the lane that builds, then those in the lane that tests, and its reports."""

    def __init__(self, name, prepare, test=(), reports=("report.json",)):
        self.name, self.prepare, self.test = name, prepare, test
        self.reports = [f"build/{name}/{report}" for report in reports]
        self.seconds = []
        self.is_whole = True
        self.is_prepared = threading.Event()

    def clear(self):
        """Removes what a run before left to be counted."""
        os.makedirs(f"build/{self.name}", exist_ok=True)
        shutil.rmtree(f"build/{self.name}/test-results", ignore_errors=True)
        for report in self.reports:
            if os.path.exists(report):
                os.remove(report)

    def run(self, steps, priority, output):
        """Runs steps until one fails."""
        for step, command in steps:
            if not self.is_whole:
                return
            began = time.monotonic()
            log = f"build/{self.name}/{step}.log"
            with open(log, "wb") as file:
                done = subprocess.run(["nice", "-n", str(priority), *command] if priority else command, stdout=file,
                                      stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL, check=False)
            seconds = round(time.monotonic() - began)
            if seconds:
                self.seconds.append(f"{step} {seconds} s")
            if done.returncode:
                self.is_whole = False
                output.tell_failure(self.name, step, log)

    def write_test_report(self):
        """The counts of a ctest run, also of one that failed."""
        if self.test and os.path.exists(f"build/{self.name}/test-results/ctest.xml"):
            with open(self.reports[0], "wb") as file:
                subprocess.run([*REPORT, f"build/{self.name}/test-results"], stdout=file, check=True)


class Output:
    """What both lanes print, one block at a time."""

    def __init__(self):
        self.mutex = threading.Lock()

    def tell_failure(self, name, step, log):
        with self.mutex, open(log, encoding="utf-8", errors="replace") as file:
            print(f"test: {name}: {step} failed; the end of {log}:", *file.read().splitlines()[-LOG_LINES:], sep="\n",
                  file=sys.stderr, flush=True)

    def tell_counts(self, variant):
        with self.mutex:
            for report in variant.reports:
                if os.path.exists(report):
                    subprocess.run([*REPORT, "--line", variant.name, ", ".join(variant.seconds), report], check=False)
                else:
                    print(f"{variant.name}: did not run", flush=True)


def cmake_steps(preset, target=None, suffix=""):
    build = ["cmake", "--build", "--preset", preset, "-j", str(JOBS)]
    return [("configure" + suffix, ["cmake", "--preset", preset]),
            ("build" + suffix, build + (["--target", target] if target else []))]


def tested(preset, *prepare):
    """A variant that ctest tests."""
    return Variant(preset, [*cmake_steps(preset), *prepare],
                   [("test", ["ctest", "--preset", preset, "-j", str(TEST_JOBS), "--output-junit",
                              "test-results/ctest.xml", "--test-output-size-passed", "1000000"])])


def all_variants():
    python = sys.executable
    def counted(name, number):
        report = json.dumps({"passed": number, "failed": 0, "skipped": 0, "reasons": []})
        return ("report", ["sh", "-c", f"echo '{report}' >build/{name}/report.json"])
    return [
        tested("native"),
        Variant("checks", [("run", [python, "tests/checks/run.py", "--report", "build/checks/report.json"])]),
        Variant("abi", [("check", [python, "abi/check.py", "--report", "build/abi/report.json"]),
                        ("self-test", [python, "abi/self_test.py", "--report", "build/abi/self-test.json"])],
                reports=("report.json", "self-test.json")),
        tested("asan"),
        tested("tsan"),
        # Without SQLite's library the tests of its driver are skipped, and say why.
        tested("windows", ("sqlite", ["sh", "-c", "scripts/windows-sqlite build/windows/wineprefix || true"])),
        Variant("clang", [*cmake_steps("clang", "products"), *cmake_steps("bench", "benches", "-bench"),
                          counted("clang", 2)]),
        Variant("tidy", [("run", ["scripts/tidy", "--changed", "--seconds", str(TIDY_SECONDS)]), counted("tidy", 1)]),
        Variant("fuzz", [*cmake_steps("fuzz", "fuzzers"),
                         ("run", [python, "tests/support/run_fuzzers.py", "--bin", "build/fuzz/bin", "--seconds",
                                  os.environ.get("KFW_FUZZ_SECONDS", "5"), "--report", "build/fuzz/report.json"])]),
    ]


def prepare_all(variants, output):
    """The lane that builds; variants without tests end here."""
    for variant in variants:
        try:
            variant.run(variant.prepare, BUILD_PRIORITY, output)
        except OSError as error:
            variant.is_whole = False
            print(f"test: {variant.name}: {error}", file=sys.stderr, flush=True)
        finally:
            variant.is_prepared.set()
        if not variant.test:
            output.tell_counts(variant)


def main(names):
    variants = all_variants()
    known = [variant.name for variant in variants]
    if not names or "all" in names:
        names = {*known} - {"tidy"} | {*names} - {"all"}
    for name in names:
        if name not in known:
            print(f"test: unknown variant {name} ({', '.join(known)})", file=sys.stderr)
            return 2
    variants = [variant for variant in variants if variant.name in names]
    os.chdir(os.path.join(SUPPORT, "..", ".."))
    output = Output()
    for variant in variants:
        variant.clear()
    lane = threading.Thread(target=prepare_all, args=(variants, output), daemon=True)
    lane.start()
    for variant in variants:
        if variant.test:
            variant.is_prepared.wait()
            variant.run(variant.test, 0, output)
            variant.write_test_report()
            output.tell_counts(variant)
    lane.join()
    reports = [report for variant in variants for report in variant.reports if os.path.exists(report)]
    total = subprocess.run([*REPORT, "--total", *reports], check=False)
    return 0 if total.returncode == 0 and all(variant.is_whole for variant in variants) else 1


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv[1:]))
    except KeyboardInterrupt:
        sys.exit(130)
