#!/usr/bin/env python3
"""Runs kom-validate on sound modules and on those that are broken for one check each.

run.py [--emulator PROGRAM] [--quick] [--report FILE] KOM_VALIDATE

KOM_VALIDATE is the program, beside the modules that it is to check; a name that ends with ".exe" is a Windows program,
run with the emulator. --quick, for where processes are slow: on a broken module only its check and the next one are
made, and on the drivers only those that can be. The other sound modules are checked wholly everywhere.
"""

import argparse
import concurrent.futures
import fcntl
import json
import os
import re
import select
import shutil
import struct
import subprocess
import sys
import tempfile
import termios
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))

import suite as suite_runner  # noqa: E402

COMMAND = []   # the command that starts kom-validate, with an emulator before it where one is needed
BIN = ""       # the folder of the modules
WINDOWS = False
QUICK = False
TIMEOUT = 300

# The one check that each broken module (broken_module.cpp) fails.
BROKEN = {
    "hangs": "com-slots",  # takes longest, and so begins first
    "extra_export": "exports",
    "missing_export": "exports",
    "stays_loaded": "load",
    "heap_attributes": "strings",
    "names_itself_anew": "strings",
    "registers_on": "register",
    "unregisters_half": "unregister",
    "promises_class": "classes",
    "any_letter_case": "unknown-classes",
    "one_factory": "factories",
    "singleton_per_factory": "instances",
    "lets_singleton_go": "instances",
    "aggregates": "aggregation",
    "hides_interface": "interfaces",
    "tears_off": "identity",
    "any_version": "iid-variants",
    "keeps_out": "null-out",
    "answers_com": "com-slots",
    "races": "threads",
    "forgives": "over-release",
    "leaks_refused": "leaks",
    "crashes": "com-slots",
}
# What cannot be checked on some of them.
SKIPPED = {"missing_export": {"unregister"}, "stays_loaded": {"leaks"}}

USER_DATA, MAIL, SQL_REGISTRY = (
    "e3b9f51c-9ce5-11d6-9c21-00e029099a4b", "10b0ee48-8129-402e-8b9a-0566bc8c3a02",
    "71cc20fc-2fcd-11d8-9c22-00e029099a4b")
SINGLE = "b0b0b0b0-0000-4000-8000-00000000000b"  # of the broken modules

# What Wine now and then has for a process that is to be started on a busy machine.
NOT_STARTED = "the process could not be started: unexpected error of the operating system"


def native(path):
    """A path as the program under test takes it."""
    # Wine shows the root of the file system as drive Z:.
    return "Z:" + path.replace("/", "\\") if WINDOWS else path


def library(name, folder=""):
    return os.path.join(BIN, folder, name + ".dll" if WINDOWS else "lib" + name + ".so")


def broken(name):
    return os.path.join(BIN, "broken", name + (".dll" if WINDOWS else ".so"))


def validate(*arguments, **variables):
    env = dict(os.environ, **variables)
    if any("broken" in argument for argument in arguments):
        # Processes that run broken modules leak on purpose; the tool counts by itself.
        env["ASAN_OPTIONS"] = env.get("ASAN_OPTIONS", "") + ":detect_leaks=0"
    for _ in range(3):
        # Into files: what Wine has to start for a program inherits a pipe and may keep it open.
        with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as errors:
            done = subprocess.run([*COMMAND, *arguments], stdin=subprocess.DEVNULL, stdout=out, stderr=errors, env=env,
                                  timeout=TIMEOUT)
            out.seek(0)
            errors.seek(0)
            done.stdout, done.stderr = out.read(), errors.read()
        done.text, said = done.stdout.decode("utf-8"), done.stderr.decode("utf-8")
        # Wine's server ended with its last program just as this one began, or could not start a process: once more.
        if not (WINDOWS and ("wine client error" in said or NOT_STARTED in done.text)):
            break
    # A Wine service that crashes while Wine starts says so on the errors of whatever program started it.
    done.errors = "".join(line + "\n" for line in said.splitlines() if not (WINDOWS and line.startswith("wine: ")))
    return done


def shown_by(*arguments):
    """What a terminal shows of a run, line by line and without trailing blanks."""
    # Only POSIX has it; the tests of Windows programs run there too.
    import pty
    master, slave = pty.openpty()
    # Wide enough for every line. A console that Wine draws sends each character with movements of the cursor.
    fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 25, 250, 0, 0))
    process = subprocess.Popen([*COMMAND, *arguments], stdin=subprocess.DEVNULL, stdout=slave, stderr=slave)
    os.close(slave)
    shown = b""
    while select.select([master], [], [], TIMEOUT)[0]:
        try:
            piece = os.read(master, 65536)
        except OSError:  # how Linux says that nobody has the other end any more
            piece = b""
        if not piece:
            break
        shown += piece
    os.close(master)
    process.wait(TIMEOUT)
    text = shown.decode("utf-8", "replace")
    text = re.sub("\x1b\\[([0-9]*)C", lambda match: " " * int(match[1] or 1), text)
    text = re.sub("\x1b\\[[0-9;?]*[A-Za-z]", "", text)
    return [line.rstrip() for line in text.replace("\r", "").split("\n") if line.strip()]


def validate_all(calls):
    """The runs of several calls, two at a time; each call is a list of arguments."""
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        return list(pool.map(lambda call: validate(*call), calls))


def list_checks():
    return [check["name"] for check in json.loads(validate("list", "--json").text)]


def results_of(done):
    return {check["name"]: check for check in json.loads(done.text)["checks"]}


class BrokenModules(unittest.TestCase):
    """Each fails its check and no other."""

    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.checks = list_checks()
        cls.runs = dict(zip(BROKEN, validate_all([cls.call(name) for name in BROKEN])))

    @classmethod
    def call(cls, name):
        arguments = ["--json", native(broken(name))]
        if QUICK:
            own = cls.checks.index(BROKEN[name])
            for check in (cls.checks[own], cls.checks[(own + 1) % len(cls.checks)]):
                arguments += ["--only", check]
        if name == "hangs":
            arguments += ["--timeout", "5"]
        return arguments

    def check(self, name):
        done = self.runs[name]
        self.assertEqual((done.returncode, done.errors), (1, ""), done.text)
        results = results_of(done)
        self.assertEqual(len(results), 2 if QUICK else len(self.checks))
        self.assertEqual({check: result["reasons"] for check, result in results.items()
                          if result["result"] == "fail" and check != BROKEN[name]}, {})
        self.assertEqual(results[BROKEN[name]]["result"], "fail", done.text)
        skipped = {check for check, result in results.items() if result["result"] == "skip"}
        self.assertEqual(skipped, SKIPPED.get(name, set()) & set(results))
        return results[BROKEN[name]]["reasons"]

    def test_every_check_has_a_broken_module(self):
        self.assertEqual(set(BROKEN.values()), set(self.checks))

    def test_a_crash_is_told(self):
        reasons = self.check("crashes")
        self.assertEqual(len(reasons), 1)
        # The sanitizers end a process that crashes with a status of theirs.
        self.assertRegex(reasons[0], r"^the process (crashed \((signal 11|exception 0xC0000005)|ended with status (1|66),)"
                                     r".*, before the check was done$")

    def test_a_hang_is_told(self):
        self.assertEqual(len(self.check("hangs")), 1)
        self.assertRegex(self.check("hangs")[0], "^the process was still at it after 5 s")

    def test_an_export_is_named(self):
        self.assertEqual(self.check("extra_export"), ["it also exports alsoExported"])
        self.assertEqual(self.check("missing_export"), ["it does not export dsoUnregisterServer"])

    def test_the_release_that_was_taken_is_told(self):
        self.assertRegex(self.check("forgives")[0], "^class .*: release at count 0 returns 1 instead of stopping")

    def test_lost_references_are_counted(self):
        self.assertTrue(any("the count is" in reason for reason in self.check("races")), self.check("races"))


def add_broken_test(name):
    setattr(BrokenModules, "test_fails_" + name, lambda self: self.check(name))


for broken_name in BROKEN:
    add_broken_test(broken_name)


class SoundModules(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.checks = list_checks()

    def assert_sound(self, done, passed):
        self.assertEqual((done.returncode, done.errors), (0, ""), done.text)
        self.assertEqual([name for name, result in results_of(done).items() if result["result"] == "pass"], passed,
                         done.text)

    def test_modules_with_classes(self):
        fw = "IDL:vel/kos/fw/"
        for done in validate_all([
                ["--json", native(library("kfw")),
                 "--singleton", USER_DATA, "--singleton", MAIL, "--singleton", SQL_REGISTRY,
                 "--class", f"{USER_DATA}={fw}IUserData:1.0,{fw}IAddressData2:1.0,{fw}IRegDbUserData:1.0",
                 "--class", f"{MAIL}={fw}ISendMailConfig:1.0,{fw}IRegDbSendMailConfig:1.0"],
                ["--json", native(broken("none")), "--singleton", SINGLE]]):
            self.assert_sound(done, self.checks)

    def test_drivers(self):
        """They have no classes of their own, so what is left to check is little."""
        passed = ["exports", "load", "strings", "unknown-classes", "null-out", "leaks"]
        chosen = [word for name in passed + ["register"] for word in ("--only", name)] if QUICK else []
        drivers = [native(library(name, "drivers")) for name in ("sqldrv_sqlite", "sqldrv_postgresql", "sqldrv_odbc")]
        for done in validate_all([["--json", "--export", "sqlAnnounceFactories", driver, *chosen] for driver in drivers]):
            self.assert_sound(done, passed)
            self.assertEqual(results_of(done)["register"]["reasons"], ["the module registers no class"])


class CommandLine(unittest.TestCase):
    def test_report(self):
        done = validate(native(broken("extra_export")), "--only", "ex*", "--only", "?trings")
        self.assertEqual((done.returncode, done.errors), (1, ""))
        self.assertEqual(done.text.splitlines(), [
            native(broken("extra_export")),
            "FAIL  exports          it also exports alsoExported",
            "pass  strings          attributes and interface identities are static texts",
            "2 checks: 1 passed, 1 failed, 0 skipped"])

    def test_list(self):
        done = validate("list")
        self.assertEqual((done.returncode, done.errors), (0, ""))
        self.assertEqual([line.split()[0] for line in done.text.splitlines()], list_checks())

    def test_what_the_user_says_is_held_to(self):
        for arguments, check, reason in (
                (("--export", "other"), "exports", "it does not export other, which was named"),
                (("--singleton", USER_DATA), "instances", f"class {SINGLE}: it is a singleton, but was not named one"),
                (("--class", f"{SINGLE}=IDL:test/IMissing:1.0"), "interfaces",
                 f'class {SINGLE}: queryInterface returns 0x80004002 E_NOINTERFACE to "IDL:test/IMissing:1.0"')):
            with self.subTest(check=check):
                done = validate("--json", "--only", check, native(broken("none")), *arguments)
                self.assertEqual(done.returncode, 1, done.text)
                self.assertIn(reason, results_of(done)[check]["reasons"])

    def test_wrong_usage(self):
        with tempfile.TemporaryDirectory() as folder:
            text, cut = os.path.join(folder, "text"), os.path.join(folder, "cut")
            with open(text, "wb") as file:
                file.write(b"no module")
            with open(broken("none"), "rb") as module, open(cut, "wb") as file:
                file.write(module.read(1000))
            for arguments, problem in (
                    ((), "the module is missing"),
                    ((native(os.path.join(folder, "nowhere")),), "no such file or directory; give the path"),
                    ((native(folder),), "; give the path of a module's file"),
                    ((native(text),), "the file is not a loadable module; give the path"),
                    ((native(cut),), "the file is cut short or damaged; give the path"),
                    (("--only", "nothing", native(broken("none"))), "no check matches"),
                    (("--class", "x=y", native(broken("none"))), '"y" is not an interface identity'),
                    (("--frob",), "--frob"),
                    (("--frob\x1b[2J\nforged",), "--frob\\x1b[2J\\nforged"),
                    ((native(os.path.join(folder, "a\x1b[31m\x7f")),), "a\\x1b[31m\\x7f"),
                    (("--timeout", "0", native(broken("none"))), "--timeout")):
                with self.subTest(arguments=arguments):
                    done = validate(*arguments)
                    self.assertEqual((done.returncode, done.text), (2, ""))
                    self.assertRegex(done.errors, r"\Akom-validate: [^\n]*" + re.escape(problem) + r"[^\n]*\n\Z")

    def test_a_path_with_blanks_and_other_letters(self):
        with tempfile.TemporaryDirectory() as folder:
            module = os.path.join(folder, "m\u00f6dule fold\u00e9r \u65e5.so")
            shutil.copy(broken("extra_export"), module)
            done = validate(native(module), "--json", "--only", "strings", "--only", "exports", "--timeout", "30")
            self.assertEqual((done.returncode, done.errors), (1, ""))
            self.assertEqual([check["result"] for check in results_of(done).values()], ["fail", "pass"], done.text)

    def test_other_letters_on_a_terminal(self):
        with tempfile.TemporaryDirectory() as folder:
            module = os.path.join(folder, "m\u00f6dule \u65e5.so")
            shutil.copy(broken("extra_export"), module)
            self.assertEqual(shown_by(native(module), "--only", "exports"), [
                native(module), "FAIL  exports          it also exports alsoExported",
                "1 checks: 0 passed, 1 failed, 0 skipped"])
            self.assertEqual(shown_by("--only", "\u00df\u65e5", "--frob=\u00f6\u65e5"),
                             ["kom-validate: The following argument was not expected: --frob=\u00f6\u65e5 "
                              "(see kom-validate --help)"])

    def test_lines_end_alike_everywhere(self):
        for arguments in (["list"], ["--frob"], ["--help"], ["--version"],
                          [native(broken("extra_export")), "--child", "exports"]):
            done = validate(*arguments)
            self.assertNotIn(b"\r", done.stdout + done.stderr, arguments)
            self.assertTrue((done.stdout + done.stderr).endswith(b"\n"))

    def test_one_check_in_the_process_itself(self):
        done = validate(native(broken("extra_export")), "--child", "exports")
        self.assertEqual((done.returncode, done.errors), (0, ""))
        self.assertEqual(done.text.splitlines(), ["finding it also exports alsoExported", "done"])

    def test_nothing_is_left_behind(self):
        if WINDOWS:
            self.skipTest("Wine maps the folder for temporary files elsewhere")
        with tempfile.TemporaryDirectory() as folder:
            done = validate(broken("none"), "--only", "over-release", "--only", "load", TMPDIR=folder)
            self.assertEqual(done.returncode, 0, done.text)
            self.assertEqual(os.listdir(folder), [])


def main():
    global BIN, QUICK, WINDOWS
    parser = argparse.ArgumentParser()
    parser.add_argument("--emulator")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--report")
    parser.add_argument("program")
    options = parser.parse_args()
    program = os.path.abspath(options.program)
    COMMAND[:] = ([os.path.abspath(options.emulator)] if options.emulator else []) + [program]
    BIN = os.path.dirname(program)
    QUICK = options.quick
    WINDOWS = program.endswith(".exe")

    suite = unittest.TestLoader().loadTestsFromModule(sys.modules[__name__])
    return suite_runner.run(suite, options.report)


if __name__ == "__main__":
    sys.exit(main())
