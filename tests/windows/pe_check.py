#!/usr/bin/env python3
"""What the headers of the built Windows programs and libraries say, read from the files themselves.

pe_check.py --report FILE --libraries FILE... --programs FILE... --rest FOLDER

Nothing that is shipped imports the window system, directly or through a library that lies beside it: once that is
in a process, the console's events for logoff and shutdown no longer come. Everything says the least version of
Windows that it runs on; programs have a manifest, and what is shipped has a version resource. The rest are the
programs and libraries in a folder that are not shipped: tests, examples.
"""

import argparse
import json
import re
import struct
import sys
from pathlib import Path

WINDOW_SYSTEM = {"user32.dll", "gdi32.dll", "shell32.dll", "ole32.dll", "comctl32.dll", "comdlg32.dll"}
MANIFEST, VERSION = 24, 16  # kinds of resources
RUN_TIME = {"libstdc++-6.dll", "libgcc_s_seh-1.dll", "libwinpthread-1.dll"}  # the compiler's, not built here
WINDOWS_10 = "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"


class Image:
    """The parts of a PE file that are looked at here."""

    def __init__(self, path):
        self.data = Path(path).read_bytes()
        header = struct.unpack_from("<I", self.data, 0x3C)[0]
        if self.data[header:header + 4] != b"PE\0\0":
            raise ValueError(f"{path} is no Windows program or library")
        sections, = struct.unpack_from("<H", self.data, header + 6)
        size, = struct.unpack_from("<H", self.data, header + 20)
        optional = header + 24
        self.system = struct.unpack_from("<HH", self.data, optional + 40)
        self.subsystem = struct.unpack_from("<HH", self.data, optional + 48)
        self.directories = [struct.unpack_from("<II", self.data, optional + 112 + 8 * i) for i in range(16)]
        self.sections = [struct.unpack_from("<IIII", self.data, optional + size + 40 * i + 8) for i in range(sections)]

    def at(self, address):
        for length, start, stored, offset in self.sections:
            if start <= address < start + max(length, stored):
                return address - start + offset
        raise ValueError(f"address {address:#x} lies in no section")

    def text(self, address):
        start = self.at(address)
        return self.data[start:self.data.index(b"\0", start)].decode("ascii")

    def imports(self):
        """The libraries that are imported, also those loaded with delay, in lower case."""
        names = []
        for directory, size, name in ((1, 20, 12), (13, 32, 4)):
            address, length = self.directories[directory]
            while length:
                entry, = struct.unpack_from("<I", self.data, self.at(address) + name)
                if not entry:
                    break
                names.append(self.text(entry).lower())
                address += size
        return names

    def resource(self, kind):
        """The first resource of a kind; None when there is none."""
        root, length = self.directories[2]
        if not length:
            return None
        base, offset = self.at(root), 0
        for wanted in (kind, None, None):  # kind, name, language
            named, numbered = struct.unpack_from("<HH", self.data, base + offset + 12)
            entries = [struct.unpack_from("<II", self.data, base + offset + 16 + 8 * i) for i in range(named + numbered)]
            entries = [where for number, where in entries if wanted in (None, number)]
            if not entries:
                return None
            offset = entries[0] & 0x7FFFFFFF
        address, size = struct.unpack_from("<II", self.data, base + offset)
        return self.data[self.at(address):self.at(address) + size]


def window_imports(path, image, seen):
    """How the window system comes in: chains of imports through libraries that lie beside the file."""
    for name in image.imports():
        if name in WINDOW_SYSTEM:
            yield name
        beside = next((file for file in path.parent.iterdir() if file.name.lower() == name), None)
        if beside and name not in seen:
            seen.add(name)
            yield from (f"{name} > {rest}" for rest in window_imports(beside, Image(beside), seen))


def manifest_problems(image):
    text = (image.resource(MANIFEST) or b"").decode("utf-8", "replace")
    wanted = {
        "a manifest": text,
        "longPathAware in its manifest": re.search(r"<longPathAware[^>]*>\s*true\s*<", text),
        "the UTF-8 code page in its manifest": re.search(r"<activeCodePage[^>]*>\s*UTF-8\s*<", text),
        "Windows 10 in its manifest": WINDOWS_10 in text,
        "asInvoker in its manifest": 'level="asInvoker"' in text,
    }
    return [what for what, there in wanted.items() if not there]


def problems(path, is_program, is_shipped):
    image = Image(path)
    if is_shipped:
        yield from (f"import of {chain}" for chain in window_imports(path, image, set()))
        if not image.resource(VERSION):
            yield "no version resource"
        if b"\0SetConsoleOutputCP\0" in image.data:
            yield "a call that leaves the console's code page changed behind"
    for what, version in (("system", image.system), ("subsystem", image.subsystem)):
        if version != (10, 0):
            yield f"{what} version {version[0]}.{version[1]} instead of 10.0"
    if is_program:
        yield from (f"without {what}" for what in manifest_problems(image))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--report", required=True)
    for group in ("libraries", "programs"):
        parser.add_argument("--" + group, nargs="+", type=Path, default=[])
    parser.add_argument("--rest", type=Path, required=True)
    options = parser.parse_args()
    shipped = options.libraries + options.programs
    rest = [path for path in sorted(options.rest.rglob("*"))
            if path.suffix in (".exe", ".dll") and path.name not in RUN_TIME and path not in shipped]
    report = {"passed": 0, "failed": 0, "skipped": 0, "reasons": []}
    for path in shipped + rest:
        found = list(problems(path, path.suffix == ".exe", path in shipped))
        if found:
            print(f"{path}: {'; '.join(found)}")
        report["failed" if found else "passed"] += 1
    print(f"{report['passed']} files are as they should be, {report['failed']} are not")
    Path(options.report).write_text(json.dumps(report), encoding="utf-8")
    return 1 if report["failed"] else 0


if __name__ == "__main__":
    sys.exit(main())
