#!/usr/bin/env python3
"""Makes copies of the compiler's run-time libraries for Windows under names of our own, and what links to them.

windows_run_time.py --compiler PROGRAM --libraries FOLDER --imports FOLDER

Windows takes a library that is in the process already for any other one of the same name, so a host with another
run-time of the same compiler would give us that one. The copies are called kos... instead of lib..., which is as long:
a name is exchanged where it stands, in the library's own exports, in the imports of the others, and in the import
libraries, and nothing moves. The same tool chain gives the same bytes; what is there already and the same is not
written again.
"""

import argparse
import struct
import subprocess
import sys
from array import array
from pathlib import Path

NAMES = {"libstdc++-6.dll": "kosstdc++-6.dll", "libgcc_s_seh-1.dll": "kosgcc_s_seh-1.dll",
         "libwinpthread-1.dll": "koswinpthread-1.dll"}
# What the compiler's driver asks the linker for, and which library it leads to.
IMPORTS = {"libstdc++.dll.a": "libstdc++-6.dll", "libgcc_s.a": "libgcc_s_seh-1.dll",
           "libpthread.dll.a": "libwinpthread-1.dll", "libwinpthread.dll.a": "libwinpthread-1.dll"}


def of_tool_chain(compiler, name):
    """A file of the tool chain, which it finds for its own programs."""
    found = subprocess.run([compiler, "-print-file-name=" + name], stdout=subprocess.PIPE, check=True, text=True)
    path = Path(found.stdout.strip())
    if not path.is_absolute() or not path.exists():
        sys.exit(f"windows_run_time: {compiler} has no {name}: it is not the compiler with POSIX threads that is needed")
    return path.resolve()


def renamed(content, name):
    """The content of a library or import library that says it is NAME, with all names exchanged."""
    if content.count(name.encode() + b"\0") != 1:
        sys.exit(f"windows_run_time: {name} does not stand once in what is to be renamed")
    for old, new in NAMES.items():
        content = content.replace(old.encode() + b"\0", new.encode() + b"\0")
    return content


def with_checksum(image):
    """A library with the checksum in its header made anew."""
    header, = struct.unpack_from("<I", image, 0x3C)
    signature, = struct.unpack_from("<I", image, header + 24 + 112 + 8 * 4)
    if image[header:header + 4] != b"PE\0\0" or signature:
        sys.exit("windows_run_time: a library is not of the kind that can be renamed, or is signed")
    place = header + 24 + 64
    bare = image[:place] + bytes(4) + image[place + 4:]
    words = array("H", bare + bytes(len(bare) % 2))
    if sys.byteorder == "big":
        words.byteswap()
    total = sum(words)
    while total > 0xFFFF:
        total = (total & 0xFFFF) + (total >> 16)
    return image[:place] + struct.pack("<I", total + len(image)) + image[place + 4:]


def write(path, content):
    path.parent.mkdir(parents=True, exist_ok=True)
    if not path.exists() or path.read_bytes() != content:
        path.write_bytes(content)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--compiler", required=True)
    parser.add_argument("--libraries", required=True, type=Path, help="where the libraries go")
    parser.add_argument("--imports", required=True, type=Path, help="where the import libraries go")
    options = parser.parse_args()
    for name, new in NAMES.items():
        content = of_tool_chain(options.compiler, name).read_bytes()
        write(options.libraries / new, with_checksum(renamed(content, name)))
    for name, library in IMPORTS.items():
        write(options.imports / name, renamed(of_tool_chain(options.compiler, name).read_bytes(), library))
    return 0


if __name__ == "__main__":
    sys.exit(main())
