#!/usr/bin/env python3
"""Runs a client of the binary contract on the module: in a folder of its own, with settings of its own, whose node the
host makes beforehand, as a host does. What the client saves is read back from outside.

A client is called with MODULE FOLDER SETTINGS-NAME, prints "<class>: ok, <count> checks" for each class, and
"client: done" in the end.
"""

import argparse
import json
import os
import re
import subprocess
import sys
import tempfile

CLASSES = ("EventDispatcher", "RegDbUserData", "RegDbSendMailConfig", "SqlDbFactoryReg", "FSCache", "SystemInfo",
           "FeatureSet")
SAVED = {"UserData": {"City": "1: City", "Custom4": "1: Custom4"}, "SendMailConfig": {"MailSubject": "a subject"}}
TIMEOUT = 120


class Settings:
    """The settings of a name of their own: a file, or a key of the Windows registry."""

    def __init__(self, options, folder):
        self.options = options
        self.file = os.path.join(folder, "settings")
        # khost makes its node in the file; keys of the registry are made directly, for khost's own is everybody's.
        self.name = f"kfw-abi-{os.getpid()}" if options.emulator else "khost"
        self.key = rf"HKCU\Software\{self.name}"

    def run(self, *command):
        """Its output; "" for a failure, which the caller finds out by what is missing then."""
        command = ([self.options.emulator] if self.options.emulator else []) + list(command)
        return subprocess.run(command, stdout=subprocess.PIPE, timeout=TIMEOUT, cwd=self.options.folder,
                              text=True).stdout

    def khost(self, *command):
        folder = os.path.dirname(self.file)
        return self.run(self.options.khost, "--app-dir", folder, "--classes", os.path.join(folder, "classes"), "--settings",
                        self.file, *command)

    def reg(self, *arguments):
        """The registry tool of the Windows target."""
        return self.run(r"C:\windows\system32\reg.exe", *arguments)

    def make(self):
        if self.options.emulator:
            self.reg("add", self.key + r"\KOS\KFW", "/f")
        else:
            self.khost("user", "get", "City")

    def remove(self):
        if self.options.emulator:
            self.reg("delete", self.key, "/f")

    def read(self, node, name):
        if self.options.emulator:
            text = self.reg("query", rf"{self.key}\KOS\KFW\{node}", "/v", name)
            found = re.search(r"REG_SZ    (.*)", text)
        else:
            text = self.khost("user" if node == "UserData" else "mail", "get", name)
            found = re.search(rf"{name}=(.*)", text)
        return found.group(1).strip() if found else text


def drive(options, folder):
    """The lines of what went wrong, and how many classes did not."""
    settings = Settings(options, folder)
    settings.make()
    try:
        result = subprocess.run(([options.emulator] if options.emulator else []) + options.client +
                                [options.native(options.module), options.native(folder), settings.name],
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=TIMEOUT, text=True,
                                cwd=options.folder, errors="replace")
        sys.stdout.write(result.stdout)
        good = set(re.findall(r"^(\w+): ok, [1-9]\d* checks\r?$", result.stdout, re.MULTILINE))
        problems = [f"{name} has not been driven, or failed" for name in CLASSES if name not in good]
        if result.returncode or "client: done" not in result.stdout:
            problems.append(f"the client ended with status {result.returncode}")
        for node, values in SAVED.items():
            for name, value in values.items():
                found = settings.read(node, name)
                if found != value:
                    problems.append(f"{node}/{name} was saved as {found!r}, not {value!r}")
        return problems, len([name for name in CLASSES if name in good])
    finally:
        settings.remove()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("client", nargs="+", help="the program, and arguments that come first")
    parser.add_argument("--module", required=True)
    parser.add_argument("--khost", required=True, help="makes and reads the settings where they are a file")
    parser.add_argument("--emulator", default="", help="runs the programs of the other target")
    parser.add_argument("--report", help="writes a report of the counts")
    options = parser.parse_args()
    options.folder = os.path.dirname(os.path.abspath(options.module))
    os.environ.setdefault("WINEPREFIX", os.path.join(os.path.dirname(options.folder), "wineprefix"))
    # Wine shows the root of the file system as drive Z:.
    options.native = lambda path: "Z:" + path.replace("/", "\\") if options.emulator else path
    with tempfile.TemporaryDirectory(prefix="kfw-abi-", ignore_cleanup_errors=True) as folder:
        os.mkdir(os.path.join(folder, "app"))
        problems, passed = drive(options, folder)
    for line in problems:
        print("client:", line)
    if options.report:
        with open(options.report, "w", encoding="utf-8") as file:
            json.dump({"passed": passed, "failed": len(problems), "skipped": 0, "reasons": []}, file)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
