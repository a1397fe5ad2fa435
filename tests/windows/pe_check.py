#!/usr/bin/env python3
"""What the headers of the built Windows programs and libraries say, read from the files themselves.

pe_check.py --report FILE --libraries FILE... --programs FILE... --rest FOLDER --alone FILE...

Nothing that is shipped imports the window system, directly or through a library that lies beside it: once that is
in a process, the console's events for logoff and shutdown no longer come. Everything says the least version of
Windows that it runs on; programs have a manifest, and what is shipped has a version resource. The rest are the
programs and libraries in a folder that are not shipped: tests, examples.

The compiler's run-time libraries are the ones under names of our own: they lie beside the programs and know each other
by these names, and nothing imports them by the compiler's, but for what tests keep in the folders of somebody else.
Programs that are named to stand alone need no library that is built or copied here.
"""

import argparse
import json
import re
import struct
import sys
from pathlib import Path

WINDOW_SYSTEM = {"user32.dll", "gdi32.dll", "shell32.dll", "ole32.dll", "comctl32.dll", "comdlg32.dll"}
MANIFEST, VERSION = 24, 16  # kinds of resources
RUN_TIME = {"kosstdc++-6.dll", "kosgcc_s_seh-1.dll", "koswinpthread-1.dll"}  # copies of the compiler's, not built here
COMPILERS_RUN_TIME = re.compile(r"lib(stdc\+\+|gcc_s|winpthread|ssp|atomic|gomp|quadmath)[^/]*\.dll")
OTHERS = {"foreign", "older"}  # folders of what is linked, or called, as others do it
RELOCS_STRIPPED, DYNAMIC_BASE = 0x0001, 0x0040
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
        self.characteristics, = struct.unpack_from("<H", self.data, header + 22)
        self.checksum, = struct.unpack_from("<I", self.data, optional + 64)
        self.checksum_at = optional + 64
        self.dll_characteristics, = struct.unpack_from("<H", self.data, optional + 70)
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

    def exported_name(self):
        """What a library calls itself, in lower case."""
        address, length = self.directories[0]
        return self.text(struct.unpack_from("<I", self.data, self.at(address) + 12)[0]).lower() if length else None

    def sum(self):
        """What the checksum in its header has to be."""
        data = bytearray(self.data + bytes(len(self.data) % 2))
        data[self.checksum_at:self.checksum_at + 4] = bytes(4)
        # The sum of all words, with what is carried out of a word added to it, is what is left after a division.
        total = sum(struct.unpack(f"<{len(data) // 2}H", data))
        return ((total - 1) % 0xFFFF + 1 if total else 0) + len(self.data)

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


def run_time_problems(path):
    """A run-time library: it is what it is called, and can lie at any address, beside the one that it was made from."""
    image = Image(path)
    if image.exported_name() != path.name:
        yield f"it calls itself {image.exported_name()}"
    yield from (f"import of {name}" for name in image.imports() if COMPILERS_RUN_TIME.fullmatch(name))
    if image.checksum != image.sum():
        yield f"its checksum is {image.checksum:#x}, not {image.sum():#x}"
    if image.characteristics & RELOCS_STRIPPED or not image.dll_characteristics & DYNAMIC_BASE:
        yield "it cannot be loaded at another address"


def problems(path, is_program, is_shipped, is_alone):
    image = Image(path)
    if is_alone:
        yield from (f"import of {name}, which lies beside it" for name in image.imports() if (path.parent / name).exists())
    if path.parent.name not in OTHERS:
        yield from (f"import of {name}" for name in image.imports() if COMPILERS_RUN_TIME.fullmatch(name))
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
    for group in ("libraries", "programs", "alone"):
        parser.add_argument("--" + group, nargs="+", type=Path, default=[])
    parser.add_argument("--rest", type=Path, required=True)
    options = parser.parse_args()
    shipped = options.libraries + options.programs
    run_time = [options.rest / name for name in sorted(RUN_TIME)]
    # The compiler's own lie with what others link to them.
    rest = [path for path in sorted(options.rest.rglob("*"))
            if path.suffix in (".exe", ".dll") and path not in shipped + run_time
            and not (path.parent.name == "foreign" and COMPILERS_RUN_TIME.fullmatch(path.name))]
    report = {"passed": 0, "failed": 0, "skipped": 0, "reasons": []}
    for path in shipped + rest + run_time:
        if path in run_time:
            found = list(run_time_problems(path))
        else:
            found = list(problems(path, path.suffix == ".exe", path in shipped, path in options.alone))
        if found:
            print(f"{path}: {'; '.join(found)}")
        report["failed" if found else "passed"] += 1
    print(f"{report['passed']} files are as they should be, {report['failed']} are not")
    Path(options.report).write_text(json.dumps(report), encoding="utf-8")
    return 1 if report["failed"] else 0


if __name__ == "__main__":
    sys.exit(main())
