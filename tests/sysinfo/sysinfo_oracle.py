#!/usr/bin/env python3
"""Names Windows systems a second time, from tables of its own, and compares.

sysinfo_oracle.py [--quick] [--report FILE] TOOL...     TOOL: the command line of sysinfo_names_tool

Every version near a known one, every product type and platform, whole and plain records: with all 65536 suite
masks where suites count, elsewhere (and everywhere with --quick) with every mask of at most two bits.
"""

import argparse
import json
import subprocess
import sys
import threading

# Per version: the names by key suite for servers, and for everybody; None is the name without a key suite.
NAMES = {
    (5, 0): ({0x80: "2000 Datacenter Server", 0x02: "2000 Advanced Server"}, {None: "2000"}),
    (5, 1): ({}, {0x40: "XP Embedded", 0x200: "XP Home Edition", None: "XP"}),
    (5, 2): ({0x400: "Server 2003, Web Edition", 0x4000: "Server 2003, Compute Cluster Edition",
              0x80: "Server 2003, Datacenter Edition", 0x02: "Server 2003, Enterprise Edition",
              0x2000: "Storage Server 2003", None: "Server 2003"}, {None: "XP 64-Bit Edition"}),
    (6, 0): ({0x80: "Server 2008 Datacenter", 0x02: "Server 2008 Enterprise", None: "Server 2008"},
             {0x200: "Vista Home Premium/Basic", None: "Vista"}),
    (6, 1): ({None: "Server 2008 R2"}, {None: "7"}),
    (6, 2): ({None: "Server 2012"}, {None: "8"}),
    (6, 3): ({None: "Server 2012 R2"}, {None: "8.1"}),
    (10, 0): ({None: "Server 2016"}, {None: "10"}),
}
SUITES = ((1, "Small Business"), (2, "Enterprise"), (4, "BackOffice"), (16, "Terminal Services"),
          (32, "Small Business Restricted"), (64, "Embedded NT"), (128, "Datacenter"), (256, "Single User TS"),
          (512, "Personal"), (1024, "Blade"), (8192, "Storage Server"), (16384, "Compute Server"),
          (32768, "Home Server"))
KEYS = (0x02, 0x40, 0x80, 0x200, 0x400, 0x2000, 0x4000)
PLATFORM_NT, WORKSTATION, SERVER = 2, 1, 3
VERSIONS = sorted(set(NAMES) | {(0, 0), (3, 51), (4, 0), (4, 1), (4, 10), (5, 3), (6, 4), (7, 0), (10, 1), (11, 0)})
ALL_MASKS = range(65536)
FEW_MASKS = sorted({1 << a | 1 << b for a in range(16) for b in range(16)} | {0, 0xFFFF})

SUITE_LISTS = []
for mask in ALL_MASKS:
    present = [name for bit, name in SUITES if mask & bit]
    SUITE_LISTS.append(f" ({', '.join(present)})" if present else "")
KEY_OF = []
for mask in ALL_MASKS:
    keys = [bit for bit in KEYS if mask & bit]
    KEY_OF.append(keys[0] if len(keys) == 1 else 0)


def named(version, server, key):
    """The name from the table, or None; the rows for servers come before those for everybody."""
    rows = NAMES.get(version)
    if rows is None:
        return None
    for_servers, for_all = rows
    for names in (for_servers, for_all) if server else (for_all,):
        for wanted in (key, None):
            if wanted in names:
                return "Windows " + names[wanted]
    return None


def expected(version, platform, product_type, extended, masks):
    major, minor = version
    if platform != PLATFORM_NT:
        return ["<unknown Microsoft Windows platform>"] * len(masks)
    plain = f"Windows NT {major}.{minor}"
    if not extended:
        return [plain] * len(masks)
    if major < 5:
        answers = []
        for mask in masks:
            kind = ""
            if major == 4 and product_type == WORKSTATION:
                kind = " Workstation"
            elif major == 4 and product_type == SERVER:
                kind = " Server, Enterprise Edition" if mask & 2 else " Server"
            answers.append(plain + kind + SUITE_LISTS[mask])
        return answers
    by_key = {key: named(version, product_type != WORKSTATION, key) for key in (0,) + KEYS}
    answers = []
    for mask in masks:
        name = by_key[KEY_OF[mask]]
        answers.append(name + SUITE_LISTS[mask & ~KEY_OF[mask]] if name else plain + SUITE_LISTS[mask])
    return answers


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--report")
    parser.add_argument("tool", nargs=argparse.REMAINDER)
    options = parser.parse_args()

    requests = []
    for version in VERSIONS:
        for product_type in (0, 1, 2, 3, 4):
            for platform in (0, 1, 2, 3):
                for extended in (1, 0):
                    suites_count = platform == PLATFORM_NT and extended and not options.quick
                    requests.append((version, platform, product_type, extended, ALL_MASKS if suites_count else FEW_MASKS))

    tool = subprocess.Popen(options.tool, stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def feed():
        for version, platform, product_type, extended, masks in requests:
            words = ["all"] if masks is ALL_MASKS else map(str, masks)
            tool.stdin.write((" ".join([f"{version[0]} {version[1]} {platform} {product_type} {extended}", *words]) +
                              "\n").encode())
        tool.stdin.close()

    threading.Thread(target=feed, daemon=True).start()
    end_of_line = "\r\n" if any(word.endswith(".exe") for word in options.tool) else "\n"
    compared = 0
    wrong = False
    for request in requests:
        version, platform, product_type, extended, masks = request
        prefix = f"{version[0]}.{version[1]}.77\t"
        names = expected(*request)
        text = prefix + (end_of_line + prefix).join(names) + end_of_line
        got = tool.stdout.read(len(text)).decode()
        compared += len(names)
        if got == text:
            continue
        wrong = True
        lines = [line for line in zip(masks, names, got.split(end_of_line)) if line[2] != prefix + line[1]]
        for mask, name, line in lines[:20]:
            print(f"version {version} platform {platform} type {product_type} extended {extended} suites {mask:#06x}:\n"
                  f"  expected {prefix + name!r}\n  got      {line!r}")
        tool.stdout.read()
        break  # the lines behind it do not stand where they are looked for
    status = tool.wait()
    rest = tool.stdout.read()
    print(f"{compared} records compared: {'one of the last block differs' if wrong else 'all as expected'}")
    failed = bool(wrong or status or rest or not compared)
    if options.report:
        with open(options.report, "w", encoding="utf-8") as file:
            json.dump({"passed": 0 if failed else 1, "failed": 1 if failed else 0, "skipped": 0, "reasons": []}, file)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
