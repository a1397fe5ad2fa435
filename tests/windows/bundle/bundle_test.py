#!/usr/bin/env python3
"""The bundle for a real Windows is complete, and its runner tells the truth: it is made, moved elsewhere, and a few of its
programs are run there.

bundle_test.py --report FILE --build FOLDER --run-wine PROGRAM
"""

import argparse
import importlib.machinery
import importlib.util
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
OPTIONS = argparse.Namespace()


def load_script():
    """scripts/windows-bundle as a module."""
    loader = importlib.machinery.SourceFileLoader("windows_bundle", str(ROOT / "scripts" / "windows-bundle"))
    loader_description = importlib.util.spec_from_loader("windows_bundle", loader)
    module = importlib.util.module_from_spec(loader_description)
    loader.exec_module(module)
    return module


class Bundle(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.script = load_script()
        cls.scratch = tempfile.TemporaryDirectory(prefix="kfw bundle ")
        cls.folder = Path(cls.scratch.name) / "w\u00fcnsche"
        cls.found = cls.script.make_bundle(OPTIONS.build, cls.folder)
        cls.plan = json.loads((cls.folder / "bundle.json").read_text(encoding="utf-8"))

    @classmethod
    def tearDownClass(cls):
        cls.scratch.cleanup()

    def problems(self):
        return list(self.script.problems(self.folder, self.plan, [str(ROOT)]))

    def run_tests(self, *names, more=()):
        """Runs programs of the plan, and more; the exit status, the report, and its programs by name."""
        (self.folder / "bundle.json").write_text(
            json.dumps(dict(self.plan, programs=self.plan["programs"] + list(more))), encoding="utf-8")
        words = [word for name in [*names, *(program["name"] for program in more)] for word in ("--only", name)]
        done = subprocess.run([OPTIONS.run_wine, self.folder / "bin" / "run_tests.exe", *words], timeout=200,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, cwd=self.folder, check=False,
                              env=dict(os.environ, WINEPREFIX=str(OPTIONS.build / "wineprefix")))
        report = json.loads((self.folder / "results" / "report.json").read_text(encoding="utf-8"))
        return done, report, {program["name"]: program for program in report["sections"][0]["programs"]}

    def test_is_complete_and_knows_nothing_of_this_machine(self):
        self.assertEqual(self.found, [])
        names = {program["name"] for program in self.plan["programs"]}
        for name in ("kpr_file_test", "storm_test", "kom-validate-kfw", "abi_microsoft_client", "real_windows_test",
                     "seeds_fuzz_uri_test", "run_time_win_test", "older_host_test", "older_host_client"):
            self.assertIn(name, names)
        self.assertGreater(len(names), 80)
        self.assertIn("khost_cache", [name for name, reason in self.plan["left_out"]])
        self.assertTrue(any((self.folder / "data" / "fuzz_uri").iterdir()))
        for file in ("bin/drivers/sqldrv_sqlite.dll", "bin/kosstdc++-6.dll", "share/doc/kfw/run-time/GPL-3.txt"):
            self.assertTrue((self.folder / file).exists(), file)

    def test_what_is_missing_is_told(self):
        library, program = self.folder / "bin" / "libgtest.dll", self.folder / "bin" / "kpr_md5_test.exe"
        for file in (library, program):
            file.rename(file.with_suffix(".away"))
        (self.folder / "note.txt").write_text(f"see {ROOT}/README", encoding="utf-8")
        try:
            found = self.problems()
            done, report, programs = self.run_tests("kpr_error_test", "kpr_md5_test")
        finally:
            for file in (library, program):
                file.with_suffix(".away").rename(file)
            (self.folder / "note.txt").unlink()
        self.assertIn("bin/kpr_error_test.exe needs libgtest.dll, which is not in the bundle", found)
        self.assertIn("kpr_md5_test is to be run, but bin/kpr_md5_test.exe is not in the bundle", found)
        self.assertIn(f"note.txt holds {ROOT}, a path of this machine", found)
        self.assertEqual((done.returncode, report["status"], report["passed"], report["failed"]), (1, 1, 0, 2))
        self.assertEqual(programs["kpr_error_test"]["result"], "a library that it needs is missing")
        self.assertRegex(programs["kpr_md5_test"]["result"], "^was not started: error 2 ")

    def test_runs_elsewhere(self):
        slow = {"name": "slow", "seconds": 3, "command": ["{bundle}\\bin\\real_windows_test.exe", "--host", "{work}"]}
        failing = {"name": "failing", "command": ["{bundle}\\bin\\kom-validate.exe", "--frob"]}
        done, report, programs = self.run_tests("real_windows_test", "kpr_error_test", "seeds_fuzz_uri_test",
                                                "abi_microsoft_client", "run_time_win_test", "older_host_test",
                                                "older_host_client", "foreign_module_test", more=(slow, failing))
        text = done.stdout.decode("utf-8")
        self.assertEqual({name: program["result"] for name, program in programs.items()}, {
            "real_windows_test": "passed", "kpr_error_test": "passed", "seeds_fuzz_uri_test": "passed",
            "abi_microsoft_client": "passed", "run_time_win_test": "passed", "older_host_test": "passed",
            "older_host_client": "passed", "foreign_module_test": "passed", "slow": "was stopped at its time limit",
            "failing": "ended with status 2"}, text)
        self.assertEqual((done.returncode, report["status"], report["failed"]), (1, 1, 2))
        self.assertEqual(programs["kpr_error_test"]["passed"], 4)
        reasons = [reason for name, reason in programs["real_windows_test"]["skipped"]]
        self.assertIn("not shown by Wine: locks are mandatory", reasons)
        self.assertIn("played by Wine", report["facts"]["system"])
        self.assertEqual(set(report["facts"]), {"system", "machine", "elevated", "volume", "long paths by policy",
                                                "antivirus", "code page of the system", "code page of the console"})
        self.assertIn("      | kom-validate: The following argument was not expected: --frob", text)
        self.assertEqual((self.folder / "results" / "report.txt").read_text(encoding="utf-8").splitlines()[-1],
                         text.splitlines()[-1])

    def test_status_0_when_nothing_failed(self):
        done, report, programs = self.run_tests("kpr_error_test")
        self.assertEqual((done.returncode, report["status"], list(programs)), (0, 0, ["kpr_error_test"]))
        self.assertFalse((self.folder / "work").exists(), "nothing is left but the results")
        (self.folder / "bundle.json").write_text("{", encoding="utf-8")
        shutil.rmtree(self.folder / "results")
        done = subprocess.run([OPTIONS.run_wine, self.folder / "bin" / "run_tests.exe"], timeout=100, check=False,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              env=dict(os.environ, WINEPREFIX=str(OPTIONS.build / "wineprefix")))
        self.assertEqual(done.returncode, 2)
        self.assertIn(b"bundle.json is missing or damaged", done.stdout)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--report", required=True)
    parser.add_argument("--build", required=True, type=Path)
    parser.add_argument("--run-wine", required=True)
    parser.parse_args(namespace=OPTIONS)
    suite = unittest.TestLoader().loadTestsFromTestCase(Bundle)
    result = unittest.TextTestRunner(verbosity=2, stream=sys.stdout).run(suite)
    bad = len(result.failures) + len(result.errors)
    with open(OPTIONS.report, "w", encoding="utf-8") as file:
        json.dump({"passed": result.testsRun - bad, "failed": bad, "skipped": 0, "reasons": []}, file)
    return 0 if result.wasSuccessful() and result.testsRun else 1


if __name__ == "__main__":
    sys.exit(main())
