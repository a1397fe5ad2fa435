#!/usr/bin/env python3
"""What the built programs, libraries and modules carry against attacks, read from the files themselves.

hardening.py [--sanitized] --readelf PROGRAM --objdump PROGRAM --nm PROGRAM --commands FILE --report FILE
    [--lacks WORDS FILE]... [FILE...]

Each FILE has to have everything. One behind --lacks has to lack what WORDS, with commas between them, name, and nothing else:
so this program itself is tested.
"""

import argparse
import json
import os
import re
import subprocess
import sys


def output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, errors="replace").stdout


def check_elf(tools, path, sanitized):
    """What is missing in a Linux program or library."""
    header, segments = output(tools.readelf, "-Wh", path), output(tools.readelf, "-Wl", path)
    dynamic, symbols = output(tools.readelf, "-Wd", path), output(tools.nm, "-D", "--undefined-only", path)
    code = output(tools.objdump, "-d", "--no-show-raw-insn", path)
    stack = re.search(r"GNU_STACK.*", segments)
    wanted = {
        "position-independent": re.search(r"Type:\s+DYN", header),
        "relocations read-only after start (RELRO)": "GNU_RELRO" in segments,
        "all bound at start (BIND_NOW)": re.search(r"\(FLAGS(_1)?\).*NOW", dynamic),
        "no executable stack": stack and "E" not in stack.group(0).split()[-2],
        "no text relocations": "TEXTREL" not in dynamic,
        "marks for indirect branches (endbr64)": has_branch_marks(tools, path, code),
        "stack protector": "__stack_chk_fail" in symbols,
    }
    if not sanitized and re.search(r" U (memcpy|memmove|memset|snprintf|read|realpath)(@|$)", symbols, re.M):
        # A call whose buffer has no known size stays as it is. Where all are such calls, the compiler's commands tell.
        wanted["checked calls of the C library (FORTIFY)"] = re.search(r" U __\w+_chk(@|$)", symbols, re.M) or \
            is_compiled_with(tools.commands, path, "-D_FORTIFY_SOURCE=2")
    return [what for what, there in wanted.items() if not there]


def has_branch_marks(tools, path, code):
    """Whether every function that a library exports, or a program's main, begins with the mark. The C library's start
    files bring functions with it into everything, whatever was compiled how."""
    names = set(re.findall(r" T (\S+?)(?:@.*)?$", output(tools.nm, "-D", "--defined-only", path), re.M)) - {"_init", "_fini"}
    main = re.search(r" T main$", output(tools.nm, "--defined-only", path), re.M)
    begins = dict(re.findall(r"^[0-9a-f]+ <([^>]+)>:\n\s*[0-9a-f]+:\s*(\S+)", code, re.M))
    wanted = {"main"} if main else {name for name in names if name in begins}
    return wanted and all(begins.get(name) == "endbr64" for name in wanted)


def is_compiled_with(commands, path, option):
    """Whether every source of the CMake target that a file is named after was compiled with an option."""
    target = re.sub(r"^lib|\.so$", "", os.path.basename(path))
    with open(commands, encoding="utf-8") as file:
        own = [entry["command"] for entry in json.load(file) if f"/{target}.dir/" in entry["command"]]
    return own and all(option in command for command in own)


def check_pe(tools, path):
    """What is missing in a Windows program or library."""
    headers, symbols = output(tools.objdump, "-p", path), output(tools.nm, path)
    wanted = {
        "random place (DYNAMIC_BASE)": "DYNAMIC_BASE" in headers,
        "random place in all 64 bits (HIGH_ENTROPY_VA)": "HIGH_ENTROPY_VA" in headers,
        "relocations, without which it is not moved": re.search(r"Entry 5 0*[1-9a-f][0-9a-f]* ", headers),
        "no executable data (NX_COMPAT)": "NX_COMPAT" in headers,
        "stack protector": re.search(r" T __stack_chk_fail$", symbols, re.M),
        "no library for the stack protector beside it": "libssp" not in headers,
    }
    return [what for what, there in wanted.items() if not there]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--sanitized", action="store_true")
    for tool in ("readelf", "objdump", "nm", "commands", "report"):
        parser.add_argument("--" + tool, required=True)
    parser.add_argument("--lacks", nargs=2, action="append", default=[], metavar=("WORDS", "FILE"))
    parser.add_argument("files", nargs="*")
    options = parser.parse_args()
    report = {"passed": 0, "failed": 0, "skipped": 0, "reasons": []}
    for words, path in [("", path) for path in options.files] + options.lacks:
        with open(path, "rb") as file:
            windows = file.read(2) == b"MZ"
        missing = check_pe(options, path) if windows else check_elf(options, path, options.sanitized)
        print(f"{path}: {'ok' if not missing else 'MISSING ' + '; '.join(missing)}")
        words = [word for word in words.split(",") if word]
        unseen = [word for word in words if not any(word in what for what in missing)]
        if unseen:
            print(f"  not noticed: {', '.join(unseen)}")
        unexpected = [what for what in missing if not any(word in what for word in words)]
        report["failed" if unseen or unexpected else "passed"] += 1
    if not report["passed"] + report["failed"]:
        sys.exit("hardening: no file to look at")
    with open(options.report, "w", encoding="utf-8") as file:
        json.dump(report, file)
    return 1 if report["failed"] else 0


if __name__ == "__main__":
    sys.exit(main())
