#!/usr/bin/env python3
"""Runs every fuzz target of a folder for some seconds, two at a time, and writes a report.

Each target starts from the seeds in fuzz/corpus/<target> where there are any. A finding's input is kept in
the target's folder under <bin>/../findings, and its path is printed.
"""

import argparse
import concurrent.futures
import json
import os
import subprocess
import sys


def run(target, seconds, findings, seeds):
    os.makedirs(findings, exist_ok=True)
    corpus = os.path.join(findings, "corpus")
    os.makedirs(corpus, exist_ok=True)
    command = [target, f"-max_total_time={seconds}", f"-artifact_prefix={findings}/", "-rss_limit_mb=4096",
               "-print_final_stats=1", corpus] + ([seeds] if os.path.isdir(seeds) else [])
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                            errors="replace", timeout=seconds + 300)
    runs = [line.split()[-1] for line in result.stdout.splitlines() if "number_of_executed_units" in line]
    return result.returncode, runs[0] if runs else "no", result.stdout


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", required=True)
    parser.add_argument("--seconds", type=int, required=True)
    parser.add_argument("--report", required=True)
    options = parser.parse_args()

    names = sorted(name for name in os.listdir(options.bin) if name.startswith("fuzz_"))
    if not names:
        print("there are no fuzz targets in", options.bin)
        return 1
    report = {"passed": 0, "failed": 0, "skipped": 0, "reasons": []}
    root = os.path.dirname(os.path.abspath(options.bin))
    source = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "fuzz", "corpus")
    with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
        jobs = [pool.submit(run, os.path.join(options.bin, name), options.seconds,
                            os.path.join(root, "findings", name), os.path.join(source, name)) for name in names]
        for name, job in zip(names, jobs):
            status, runs, output = job.result()
            print(f"{name}: {runs} inputs, {'no finding' if status == 0 else 'FINDING'}")
            if status:
                print(output[-6000:])
            report["failed" if status else "passed"] += 1
    with open(options.report, "w", encoding="utf-8") as file:
        json.dump(report, file)
    return 1 if report["failed"] else 0


if __name__ == "__main__":
    sys.exit(main())
