#!/usr/bin/env python3
"""Runs test programs in a Wine prefix whose heap checks itself, as Windows' does under a debugger: freed memory is
filled, freed late, and looked at. A program fails that does not pass, or of which the heap says something.

heap_check.py --report FILE --run-wine PROGRAM --probe PROGRAM PROGRAM...

First the probe does what the heap has to notice; where the heap notices nothing, nothing below would either.
"""

import argparse
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

SESSION_KEY = r"HKLM\System\CurrentControlSet\Control\Session Manager"
FLAGS = "0x70"  # tail checks, free checks, checks of parameters
NOTICED = {"none": "valid", "filled": "filled", "changed": "damaged", "beyond": "damaged"}
COMPLAINT = re.compile(r":heap:(?!allocate_region)")  # tests may ask for more than there is


class Prefix:
    """A Wine prefix of its own, for as long as it is needed."""

    def __init__(self, run_wine):
        self.run_wine = run_wine
        self.folder = tempfile.mkdtemp(prefix="kfw-heap-check-")
        self.environment = dict(os.environ, WINEPREFIX=os.path.join(self.folder, "wine"),
                                WINEDEBUG="-all,err+heap,warn+heap")

    def __enter__(self):
        # The flags are read when a process starts.
        self.run("reg", "add", SESSION_KEY, "/v", "GlobalFlag", "/t", "REG_DWORD", "/d", FLAGS, "/f")
        return self

    def __exit__(self, *_):
        server = shutil.which("wineserver") or "/usr/lib/wine/wineserver64"
        for option in ("-k", "-w"):
            subprocess.run([server, option], env=self.environment, check=False)
        shutil.rmtree(self.folder, ignore_errors=True)

    def run(self, *command):
        """Status and output of a program, errors too."""
        done = subprocess.run([self.run_wine, *command], env=self.environment, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, errors="replace", check=False,
                              cwd=os.path.dirname(command[0]) or None)
        return done.returncode, done.stdout


def probe_problem(prefix, probe):
    for what, wanted in NOTICED.items():
        status, output = prefix.run(probe, what)
        if status != 0 or output.split()[-1:] != [wanted]:
            return f"the heap does not check itself: {what} gave status {status} and {output.strip()!r}"
    if not COMPLAINT.search(prefix.run(probe, "twice")[1]):
        return "the heap says nothing of a block that is freed twice"
    return None


def main():
    parser = argparse.ArgumentParser()
    for option in ("report", "run-wine", "probe"):
        parser.add_argument("--" + option, required=True)
    parser.add_argument("programs", nargs="+")
    options = parser.parse_args()
    passed, failed = 0, 0
    with Prefix(options.run_wine) as prefix:
        problem = probe_problem(prefix, options.probe)
        print(f"probe: {problem or 'ok'}", flush=True)
        passed, failed = passed + (not problem), failed + bool(problem)
        for program in options.programs:
            began = time.monotonic()
            status, output = prefix.run(program, "--gtest_brief=1")
            good = status == 0 and not COMPLAINT.search(output)
            print(f"{os.path.basename(program)}: {time.monotonic() - began:.1f} s, "
                  + ("ok" if good else f"status {status}\n{output[-4000:]}"), flush=True)
            passed, failed = passed + good, failed + (not good)
    with open(options.report, "w", encoding="utf-8") as file:
        json.dump({"passed": passed, "failed": failed, "skipped": 0, "reasons": []}, file)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
