#!/usr/bin/env python3
"""The module's build date is made anew whenever anything that the module is linked from has changed.

Asks the build what it knows: every input of the module's link has to be an input of the build date as well, directly or
because all that it is made of is. Inputs that only set an order do not count."""

import argparse
import json
import os
import subprocess
import sys


class Build:
    def __init__(self, ninja, folder):
        self.command = [ninja, "-C", folder, "-t", "query"]
        self.known = {}

    def load(self, names):
        """Asks for the inputs of files in one go."""
        names = [name for name in names if name not in self.known]
        for first in range(0, len(names), 200):
            text = subprocess.run(self.command + names[first:first + 200], check=True, stdout=subprocess.PIPE,
                                  text=True).stdout
            name, inside = None, False
            for line in text.splitlines():
                if not line.startswith(" "):
                    name, inside = line.rstrip(":"), False
                    self.known[name] = []
                elif not line.startswith("    "):
                    inside = line.startswith("  input:")
                elif inside and not line.startswith("    || "):
                    self.known[name].append(line.strip().removeprefix("| "))

    def inputs(self, name):
        self.load([name])
        return self.known[name]

    def closure(self, name):
        """All that a file depends on."""
        found, fresh = set(), [name]
        while fresh:
            self.load(fresh)
            fresh = list({source for made in fresh for source in self.known[made]} - found)
            found.update(fresh)
        return found


def uncovered(build, name, covered):
    """The first of a file's sources that is not covered; None when all are."""
    if name in covered:
        return None
    inputs = build.inputs(name)
    if not inputs:
        return name
    for source in inputs:
        missing = uncovered(build, source, covered)
        if missing:
            return missing
    covered.add(name)
    return None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--ninja", required=True)
    parser.add_argument("--build", required=True, help="the build folder")
    parser.add_argument("--date", required=True, help="the source with the date, from there")
    parser.add_argument("--module", required=True, help="the module's file, from there")
    parser.add_argument("--report", required=True)
    options = parser.parse_args()
    build = Build(options.ninja, options.build)
    linked = build.inputs(options.module)
    covered = build.closure(options.date) | {options.date}
    # The build knows some of its own files by two names.
    covered |= {os.path.join(options.build, name) for name in covered}
    failed = 0
    for name in linked:
        missing = uncovered(build, name, covered)
        if missing:
            failed += 1
            print(f"{name} is linked, but a change of {missing} makes no new build date")
    if len(linked) < 10:
        failed += 1
        print(f"only {len(linked)} inputs of the link were found")
    print(f"{len(linked)} inputs of the link, {len(covered)} files that the date depends on")
    with open(options.report, "w", encoding="utf-8") as file:
        json.dump({"passed": 0 if failed else 1, "failed": 1 if failed else 0, "skipped": 0, "reasons": []}, file)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
