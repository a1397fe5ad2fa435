#!/usr/bin/env python3
"""scripts/windows-sqlite compiles the source that it knows, and no other that comes under the same version.

windows_sqlite.py SCRIPT REPORT
"""

import hashlib
import io
import json
import os
import re
import subprocess
import sys
import tarfile
import tempfile
import unittest

SCRIPT = sys.argv.pop(1)
REPORT = sys.argv.pop(1)
PACKAGE = "better-sqlite3-11.5.0.tgz"
SOURCE = b"int sqlite3_libversion_number(void) { return 3; }\n"


class WindowsSqlite(unittest.TestCase):
    def setUp(self):
        # The temporary folder of everything that is started here.
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.trace = self.path("compiled")
        with tarfile.open(self.path(PACKAGE), "w:gz") as package:
            entry = tarfile.TarInfo("package/deps/sqlite3/sqlite3.c")
            entry.size = len(SOURCE)
            package.addfile(entry, io.BytesIO(SOURCE))
        self.program("npm", f'cp "{self.path(PACKAGE)}" .')
        # A compiler that only says that it was called.
        for name in ("x86_64-w64-mingw32-gcc-posix", "ccache"):
            self.program(name, f'touch "{self.trace}"; exit 1')

    def path(self, name):
        return os.path.join(self.folder, name)

    def program(self, name, commands):
        os.makedirs(self.path("bin"), exist_ok=True)
        with open(self.path(os.path.join("bin", name)), "w", encoding="utf-8") as file:
            file.write("#!/bin/sh\n" + commands + "\n")
        os.chmod(self.path(os.path.join("bin", name)), 0o755)

    def run_script(self, script):
        environment = dict(os.environ, PATH=self.path("bin") + os.pathsep + os.environ["PATH"], TMPDIR=self.folder)
        return subprocess.run(["bash", script, self.path("prefix")], env=environment, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, timeout=120, check=False)

    def test_another_source_is_not_compiled(self):
        done = self.run_script(SCRIPT)
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn("is not the one that is known", done.stdout)
        self.assertFalse(os.path.exists(self.trace))
        self.assertFalse(os.path.exists(self.path("prefix/drive_c/windows/system32/sqlite3.dll")))

    def test_the_known_source_is_compiled(self):
        """The same with the digest of this source: so that it is the digest that decides."""
        with open(SCRIPT, encoding="utf-8") as file:
            text, count = re.subn(r"(?m)^digest=\w+", "digest=" + hashlib.sha256(SOURCE).hexdigest(), file.read())
        self.assertEqual(count, 1)
        with open(self.path("script"), "w", encoding="utf-8") as file:
            file.write(text)
        self.run_script(self.path("script"))
        self.assertTrue(os.path.exists(self.trace))


if __name__ == "__main__":
    result = unittest.main(exit=False).result
    failed = len(result.failures) + len(result.errors)
    with open(REPORT, "w", encoding="utf-8") as report:
        json.dump({"passed": result.testsRun - failed, "failed": failed, "skipped": 0, "reasons": []}, report)
    sys.exit(1 if failed else 0)
