#!/usr/bin/env python3
"""cmake/windows_run_time.py: the same libraries each time, with no name of the compiler's left, and no others than it knows.

make_test.py --report FILE --script FILE --compiler PROGRAM
"""

import argparse
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "support"))

import suite  # noqa: E402

OPTIONS = argparse.Namespace()
PLAIN = (b"libstdc++-6.dll", b"libgcc_s_seh-1.dll", b"libwinpthread-1.dll")


class Make(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="kfw-run-time-")
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)

    def make(self, name, compiler=None):
        """What a run leaves: contents by path; and what it printed."""
        folder = self.folder / name
        done = subprocess.run([sys.executable, OPTIONS.script, "--compiler", compiler or OPTIONS.compiler,
                               "--libraries", folder / "bin", "--imports", folder / "lib"],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, text=True)
        files = {str(path.relative_to(folder)): path for path in sorted(folder.rglob("*")) if path.is_file()}
        return done, files

    def compiler(self, answer):
        """A compiler whose files are those that a shell command names, of the file $name."""
        path = self.folder / "compiler"
        path.write_text(f"#!/bin/sh\nname=${{1#-print-file-name=}}\n{answer}\n", encoding="utf-8")
        path.chmod(0o755)
        return path

    def test_the_same_each_time_and_written_once(self):
        done, files = self.make("a")
        self.assertEqual((done.returncode, done.stdout), (0, ""))
        self.assertEqual(sorted(files), ["bin/kosgcc_s_seh-1.dll", "bin/kosstdc++-6.dll", "bin/koswinpthread-1.dll",
                                         "lib/libgcc_s.a", "lib/libpthread.dll.a", "lib/libstdc++.dll.a",
                                         "lib/libwinpthread.dll.a"])
        for path in files.values():
            self.assertEqual([name for name in PLAIN if name + b"\0" in path.read_bytes()], [], path)
        times = {name: path.stat().st_mtime_ns for name, path in files.items()}
        again = self.make("a")[1]
        self.assertEqual({name: path.stat().st_mtime_ns for name, path in again.items()}, times)
        other = self.make("b")[1]
        self.assertEqual({name: path.read_bytes() for name, path in other.items()},
                         {name: path.read_bytes() for name, path in files.items()})

    def test_a_compiler_without_them(self):
        done, files = self.make("a", self.compiler("echo $name"))  # as it says that it has no such file
        self.assertEqual((done.returncode, files), (1, {}))
        self.assertIn("has no libstdc++-6.dll", done.stdout)

    def test_libraries_that_are_not_known(self):
        file = self.folder / "file"
        file.write_bytes(b"MZ without any name")
        done, files = self.make("a", self.compiler(f"echo {file}"))
        self.assertEqual((done.returncode, files), (1, {}))
        self.assertIn("libstdc++-6.dll does not stand once", done.stdout)
        file.write_bytes(b"MZ libstdc++-6.dll\0" + bytes(1000))
        done, files = self.make("a", self.compiler(f"echo {file}"))
        self.assertEqual((done.returncode, files), (1, {}))
        self.assertIn("not of the kind that can be renamed", done.stdout)


def main():
    parser = argparse.ArgumentParser()
    for option in ("--report", "--script", "--compiler"):
        parser.add_argument(option, required=True)
    parser.parse_args(namespace=OPTIONS)
    return suite.run(unittest.TestLoader().loadTestsFromTestCase(Make), OPTIONS.report)


if __name__ == "__main__":
    sys.exit(main())
