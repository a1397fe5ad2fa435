#!/usr/bin/env python3
"""Tries scripts/mutate on a small tree (tests/checks/mutate): which mutants it finds, what becomes of them, and that
neither the tree nor its copy is left changed."""

import fcntl
import filecmp
import json
import os
import re
import shutil
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.normpath(os.path.join(HERE, "..", ".."))
PLACE = os.path.join(ROOT, "build", "checks", "mutate")
SOURCE = os.path.join(PLACE, "example", "example.cpp")

# Line and kind of every mutant; for those that are tried, the result and what killed it (the beginning).
EXPECTED = [
    (12, "constant"),
    (20, "lock", "survived", ""),
    (21, "drop", "killed", "example_test: Example.Works"),
    (21, "operator"),
    (22, "comparison"),
    (22, "constant"),
    (22, "constant"),
    (22, "negate"),
    (22, "return", "killed", "example_test: Example.Works"),
    (28, "constant"),
    (29, "negate"),
    (30, "drop", "killed", "example_test: not done after"),
    (30, "operator"),
    (36, "drop"),
    (36, "swap", "survived", ""),
    (37, "drop"),
    (37, "operator"),
    (38, "drop"),
    (38, "logic"),
    (38, "negate"),
    (41, "constant", "not built", "example_test cannot be built"),
    (47, "comparison"),
    (47, "constant"),
    (47, "drop"),
    (47, "negate"),
]


def mutate(*arguments):
    done = subprocess.run([os.path.join(ROOT, "scripts", "mutate"), "example", "--root", PLACE, *arguments],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    return done.returncode, done.stdout


def listed(*arguments):
    """The lines of --list: an id, the line, what changes."""
    status, output = mutate("--list", *arguments)
    assert status == 0, output
    return output.splitlines()[:-1]


def check():
    os.makedirs(PLACE, exist_ok=True)
    shutil.copytree(os.path.join(HERE, "mutate"), PLACE, dirs_exist_ok=True)
    subprocess.run(["git", "init", "-q", PLACE], check=True)

    lines = listed()
    found = sorted((int(re.search(r'  line (\d+): ', line)[1]), line.split()[0].split(":")[2], line.split()[0])
                   for line in lines)
    assert len(lines) == len({name for _, _, name in found}), lines
    assert [mutant[:2] for mutant in found] == [mutant[:2] for mutant in EXPECTED], found
    sample = listed("--sample", "5", "--seed", "7")
    assert len(sample) == 5 and sample == listed("--sample", "5", "--seed", "7") and set(sample) < set(lines), sample
    assert sample != listed("--sample", "5", "--seed", "8")
    status, output = mutate("--list", "--only", "example/example.cpp:1:drop")
    assert status == 2 and "no mutant example/example.cpp:1:drop" in output, output

    tried = [(name, *expected[2:]) for (_, _, name), expected in zip(found, EXPECTED) if len(expected) > 2]
    results = os.path.join(PLACE, "build", "results.json")
    only = [word for name, _, _ in tried for word in ("--only", name)]
    status, output = mutate("--json", results, "--time", "1", "--jobs", "2", *only)
    assert status == 1, output
    with open(results, encoding="utf-8") as file:
        results = {mutant["id"]: mutant for mutant in json.load(file)["mutants"]}
    assert len(results) == len(tried), results
    for name, result, by in tried:
        assert results[name]["result"] == result and results[name]["by"].startswith(by), results[name]
    assert "\n-    const Lock tLock;\n+    ;\n" in output, output
    assert filecmp.cmp(SOURCE, os.path.join(HERE, "mutate", "example", "example.cpp"), shallow=False)
    for number in ("1", "2"):
        assert filecmp.cmp(SOURCE, os.path.join(PLACE, "build", "mutate", number, "tree", "example", "example.cpp"),
                           shallow=False)

    with open(os.path.join(PLACE, "build", "mutate", "lock"), encoding="utf-8") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        status, output = mutate("--list")
        assert status == 2 and "another scripts/mutate works in" in output, output

    # Tests that fail without any change say nothing about a mutant.
    with open(SOURCE, "a", encoding="utf-8") as file:
        file.write("const int gBroken = gCalls = 9;\n")
    status, output = mutate("--only", tried[0][0])
    assert status == 2 and "without any change example_test fails: Example.Works" in output, output


if __name__ == "__main__":
    try:
        check()
    except AssertionError as problem:
        print(f"mutate: {problem}")
        sys.exit(1)
