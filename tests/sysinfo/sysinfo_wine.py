#!/usr/bin/env python3
"""Sets a Wine prefix of its own to one Windows version after the other, and compares what the module finds with
what RtlGetVersion says, named by the oracle's tables.

sysinfo_wine.py [--report FILE] RUN_WINE TOOL     RUN_WINE: scripts/run-wine; TOOL: sysinfo_version_tool.exe
"""

import argparse
import json
import os
import shutil
import subprocess
import sys
import tempfile

import sysinfo_oracle

USER_KEY = r"HKEY_CURRENT_USER\Software\Wine"
SYSTEM_KEY = r"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows NT\CurrentVersion"
# Wine's name of a version, and the version that it has to stand for. Which of two names of one version is the
# server, RtlGetVersion tells.
VERSIONS = (("winxp64", "5.2."), ("win2003", "5.2."), ("vista", "6.0."), ("win2008r2", "6.1."), ("win7", "6.1."),
            ("win8", "6.2."), ("win81", "6.3."), ("win10", "10.0."))
# Builds of the 10.0 family, set in the system's own key.
BUILDS = ("14393", "19045", "22631")


def settings(version=None, build=None):
    """The text of a .reg file that makes the prefix a system of the given version or build."""
    text = f"REGEDIT4\n\n[{USER_KEY}]\n" + (f'"Version"="{version}"\n' if version else '"Version"=-\n')
    if build:
        text += (f'\n[{SYSTEM_KEY}]\n"CurrentVersion"="10.0"\n"CSDVersion"=""\n"CurrentBuild"="{build}"\n'
                 f'"CurrentBuildNumber"="{build}"\n')
    return text


def compare(lines, wanted):
    """What is wrong with the tool's three lines; None when nothing is."""
    major, minor, build, platform, kind, suites, pack = lines[0].split("\t")
    name = sysinfo_oracle.expected((int(major), int(minor)), int(platform), int(kind), True, [int(suites)])[0]
    expected = f"{major}.{minor}.{build}\t{name}\t{pack}"
    if not expected.startswith(wanted):
        return f"Wine is not the system asked for ({wanted}): {lines[0]}"
    for line, source in zip(lines[1:], ("RtlGetVersion", "GetVersionExW"), strict=True):
        if line != expected:
            return f"with {source}: expected {expected!r}, got {line!r}"
    return None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--report")
    parser.add_argument("run_wine")
    parser.add_argument("tool")
    options = parser.parse_args()

    prefix = tempfile.mkdtemp(prefix="kfw-sysinfo-wine-")
    environment = dict(os.environ, WINEPREFIX=os.path.join(prefix, "wine"))

    def run(*arguments):
        return subprocess.run([options.run_wine, *arguments], env=environment, stdout=subprocess.PIPE, text=True,
                              check=True).stdout.splitlines()

    passed, failed = 0, 0
    try:
        for text, wanted, title in [(settings(version), start, version) for version, start in VERSIONS] + [
                (settings(build=build), "10.0." + build, "build " + build) for build in BUILDS]:
            file = os.path.join(prefix, "settings.reg")
            with open(file, "w", encoding="ascii") as stream:
                stream.write(text)
            run("regedit", "/S", "Z:" + file.replace("/", "\\"))
            lines = run(options.tool)
            problem = compare(lines, wanted)
            print(f"{title}: {problem or lines[1]}", flush=True)
            passed, failed = passed + (not problem), failed + bool(problem)
    finally:
        server = shutil.which("wineserver") or "/usr/lib/wine/wineserver64"
        subprocess.run([server, "-k"], env=environment, check=False)
        subprocess.run([server, "-w"], env=environment, check=False)
        shutil.rmtree(prefix, ignore_errors=True)
    if options.report:
        with open(options.report, "w", encoding="utf-8") as stream:
            json.dump({"passed": passed, "failed": failed, "skipped": 0, "reasons": []}, stream)
    return 1 if failed or not passed else 0


if __name__ == "__main__":
    sys.exit(main())
