#!/usr/bin/env python3
"""Sums up test runs.

report.py DIR                        reads ctest.xml and the <test>.json files of DIR, writes a report
report.py --line NAME STEPS FILE     one line about a report, with what each step took
report.py --total FILE...            what the failed programs printed; then the sum of reports, as the last line;
                                     status 1 when anything failed

A report is {"passed", "failed", "skipped", "reasons": [[test, reason]...]}, with "failures": [[program, output]...]
where a program failed. A test program of ctest counts with the cases in its <test>.json (GoogleTest's format, or a
report of its own); without one it is one test.
"""

import json
import os
import re
import sys
import xml.etree.ElementTree as ElementTree


def skip_reason(output, name):
    """Why a case was skipped, from the program's output: the lines after the one that ends with "Skipped"."""
    said = re.search(r"\[ RUN      \] " + re.escape(name) + r"\r?\n(.*?)\[  SKIPPED \]", output, re.DOTALL)
    text = said.group(1).split("Skipped", 1)[-1] if said else ""
    return " ".join(text.split()) or "no reason given"


def read_cases(path, output):
    """The counts of one test program from its JSON file; reasons come from its output."""
    with open(path, encoding="utf-8") as file:
        data = json.load(file)
    if "testsuites" not in data:
        return data
    report = {"passed": 0, "failed": 0, "skipped": 0, "reasons": []}
    for suite in data["testsuites"]:
        for case in suite["testsuite"]:
            name = suite["name"] + "." + case["name"]
            if case.get("failures"):
                report["failed"] += 1
            elif case["result"] == "SKIPPED":
                report["skipped"] += 1
                report["reasons"].append([name, skip_reason(output, name)])
            elif case["result"] == "COMPLETED":
                report["passed"] += 1
            else:
                report["skipped"] += 1
                report["reasons"].append([name, "disabled"])
    return report


FAILURE = re.compile(r"^(?:FAIL: |ERROR: |.*: Failure$|.*(?:Address|Leak|UndefinedBehavior|Thread)Sanitizer|.*runtime error: )",
                     re.MULTILINE)
SHOWN_LINES = 60


def failure_output(output):
    """The part of a failed program's output that tells what failed: from the first failure on, or its end."""
    found = FAILURE.search(output)
    lines = output[found.start():].splitlines()[:SHOWN_LINES] if found else output.splitlines()[-SHOWN_LINES:]
    return "\n".join(lines)


def read_run(folder):
    """The counts of one ctest run."""
    total = {"passed": 0, "failed": 0, "skipped": 0, "reasons": [], "failures": []}
    for case in ElementTree.parse(os.path.join(folder, "ctest.xml")).getroot().iter("testcase"):
        name = case.get("name")
        path = os.path.join(folder, name + ".json")
        run = {"passed": 0, "failed": 0, "skipped": 0, "reasons": []}
        if os.path.exists(path) and os.path.getsize(path):
            run = read_cases(path, case.findtext("system-out") or "")
        elif case.get("status") == "run":
            run["passed"] = 1
        elif case.get("status") in ("notrun", "disabled"):
            run["skipped"] = 1
            skipped = case.find("skipped")
            run["reasons"].append([name, skipped.get("message", "") if skipped is not None else "not run"])
        if case.get("status") == "fail" and not run["failed"]:
            run["failed"] = 1  # it crashed, timed out or failed before or after its cases
        if run["failed"]:
            total["failures"].append([name, failure_output(case.findtext("system-out") or "")])
        for key in ("passed", "failed", "skipped"):
            total[key] += run[key]
        total["reasons"] += [[name + ": " + test, reason] for test, reason in run["reasons"]]
    return total


def read_reports(paths):
    reports = []
    for path in paths:
        with open(path, encoding="utf-8") as file:
            reports.append(json.load(file))
    return reports


def main(arguments):
    if arguments[0] == "--line":
        name, steps, path = arguments[1:]
        report = read_reports([path])[0]
        print(f"{name}: {report['passed']} passed, {report['failed']} failed, {report['skipped']} skipped"
              f" ({steps})")
        for test, reason in report["reasons"]:
            print(f"    skipped {test}: {reason}")
        return 0
    if arguments[0] == "--total":
        reports = read_reports(arguments[1:])
        for path, report in zip(arguments[1:], reports):
            for name, output in report.get("failures", []):
                print(f"failed {name} ({path}):")
                print("".join(f"    {line}\n" for line in output.splitlines()), end="")
        sums = [sum(report[key] for report in reports) for key in ("passed", "failed", "skipped")]
        print("{} passed, {} failed, {} skipped".format(*sums))
        return 1 if sums[1] or not sums[0] else 0
    json.dump(read_run(arguments[0]), sys.stdout)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
