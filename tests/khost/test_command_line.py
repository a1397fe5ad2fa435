"""Help, wrong usage, global options."""

import json
import os
import re
import shutil
import subprocess
import time
import unittest

import host
from host import native


class CommandLine(host.HostTest):
    def test_help_and_version(self):
        result = self.khost("--help")
        self.assert_done(result)
        self.assertIn("--app-dir", result.text)
        self.assertIn("Usage: khost [OPTIONS]", result.text)
        version = self.khost("--version")
        self.assert_done(version)
        self.assertRegex(version.text, r"\Akhost \d+\.\d+\.\d+(\.\d+)?\n\Z")
        self.assertEqual(os.listdir(self.folder), [])
        shell = self.shell()
        self.assertIn("Usage: khost cache [OPTIONS]", shell.run("cache --help").text)
        self.assertIn("Usage: khost cache put [OPTIONS] URI FILE", shell.run("cache put --help").text)

    def test_wrong_usage(self):
        for arguments, text in (((), "a command is missing"),
                                (("frob",), 'unknown command "frob"'),
                                (("--frob", "classes"), "--frob"),
                                (("-D", "nothing", "classes"), "-D nothing: not NAME=VALUE"),
                                (("--log-level", "loud", "classes"), "--log-level loud"),
                                (("sleep", "1"), 'unknown command "sleep"')):
            with self.subTest(arguments=arguments):
                self.assert_usage(self.khost(*arguments), text)
        self.assertEqual(os.listdir(self.folder), [])

    def test_wrong_usage_of_a_command(self):
        shell = self.shell()
        for line, text in (("cache", "cache: a command is missing"),
                           ("cache frob", 'cache: unknown command "frob"'),
                           ("cache put http://h/", "cache put: FILE is required"),
                           ("cache id", "cache id: URI is required"),
                           ("cache id http://h/ more", "more"),
                           ("cache has --frob http://h/", "--frob")):
            with self.subTest(line=line):
                self.assert_usage(shell.run(line), text)
        self.assertEqual(os.listdir(self.folder), ["app"])
        self.assertNotIn("cache", os.listdir(self.app_dir))

    def test_app_dir_that_cannot_be_made(self):
        self.write("app", b"a file")
        result = self.khost("cache", "has", "http://h/")
        self.assertEqual(result.status, 1)
        self.assertRegex(result.errors, r"\Akhost: cache has: 0x9623000[AB] KPR_E_\w+ [^\n]*app\n\Z")
        self.assertEqual(os.listdir(self.folder), ["app"])

    def test_log_file(self):
        log = self.path("kh\u00f6st.log")
        result = self.khost("--log-level", "debug", "--log-file", native(log), "cache", "get", "http://h/none")
        self.assertEqual(result.status, 1)
        told = [line for line in result.errors.splitlines() if line.startswith("DEBUG kos:kfw: FS cache: can't open ")]
        self.assertEqual(len(told), 1, result.errors)
        with open(log, encoding="utf-8") as file:
            self.assertRegex(file.read(), r"(?m)^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \d+:\d+ " + re.escape(told[0]) + "$")

    def test_log_file_that_cannot_be_opened(self):
        self.write("file", b"")
        result = self.khost("--log-file", native(self.path("file", "log")), "cache", "has", "http://h/")
        self.assertEqual(result.status, 1)
        self.assertRegex(result.errors, r"\Akhost: cache has: 0x962300(03|0A) KPR_E_NOT_\w+ [^\n]*log\n\Z")

    def test_malformed_properties_are_reported_and_stop_nothing(self):
        self.write("app/properties.ini", b"good = 1\nbad line\n= 2\n")
        result = self.khost("cache", "has", "http://h/none")
        self.assertEqual((result.status, result.text), (1, "no\n"))
        self.assertEqual([line.split("properties.ini")[1] for line in result.errors.splitlines()],
                         [', line 2: the line is not "name = value"', ", line 3: the name is missing"])

    def test_looking_makes_nothing(self):
        for line in ("classes", "info", "errors", "sysinfo os", "modules", "module kfw", "version kfw", "product KOS",
                     "feature a", "cache id http://h/", "cache ls", "cache stat", "cache verify", "sql types"):
            with self.subTest(line=line):
                result = self.khost(*line.split())
                if line.split()[-1] in ("ls", "stat", "verify"):
                    self.assertEqual(result.status, 1)
                else:
                    self.assertEqual((result.status, result.errors), (0, ""))
                self.assertEqual(os.listdir(self.folder), [])

    def test_looking_leaves_what_is_there(self):
        os.mkdir(self.app_dir)
        self.assert_done(self.khost("feature", "a"))
        self.assert_done(self.khost("sysinfo", "os"))
        self.assertEqual(os.listdir(self.folder), ["app"])
        self.assertEqual(os.listdir(self.app_dir), [], "neither cache nor settings")

    def test_error_lines_hold_no_control_characters(self):
        result = self.khost("errors", "a\x1b[2J\nkhost: forged\x7f\u009b")
        self.assert_usage(result, 'errors: "a\\x1b[2J\\nkhost: forged\\x7f\\u009b" is neither')
        self.assertNotIn("\x1b", self.khost("--frob\x1b").errors)

    def test_json_escapes_every_control_character(self):
        result = self.khost("--json", "feature", "a\x7f\u0080\u009f\u00a0\x1b\u00e4")
        self.assert_done(result)
        self.assertIn('"a\\u007f\\u0080\\u009f\u00a0\\u001b\u00e4"', result.text)
        self.assertEqual(json.loads(result.text)[0]["name"], "a\x7f\u0080\u009f\u00a0\x1b\u00e4")

    def test_json_before_or_after_the_command(self):
        before = self.khost("--json", "cache", "id", "http://h/")
        self.assert_done(before)
        self.assertEqual(before.text, self.khost("cache", "id", "http://h/", "--json").text)
        self.assertRegex(before.text, r'\A"[0-9A-F]{32}"\n\Z')

    def test_words_that_end_in_an_equals_sign(self):
        self.assert_usage(self.khost("cache", "stat", "a=", "="), "not expected here: a=... =... (see")

    @unittest.skipIf(host.WINDOWS, "no folder can be the standard input of a Windows program")
    def test_input_that_cannot_be_read(self):
        for command in ("events", "shell"):
            folder = os.open(self.folder, os.O_RDONLY)
            done = subprocess.run(self.command(command), stdin=folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                  env=self.environment(), timeout=host.TIMEOUT, check=False)
            os.close(folder)
            self.assert_fails(host.Result(done.returncode, done.stdout, done.stderr), command, "0x96230001", "KPR_E_IO",
                              "standard input")


@host.posix_only("Wine has no pseudo terminals")
class OnATerminal(host.HostTest):
    def shown(self, *arguments, **streams):
        terminal = host.Terminal(self.command(*arguments), self.environment(), **streams)
        shown = terminal.read()
        self.status = terminal.status
        return shown

    def test_control_characters_are_shown_as_escapes(self):
        data = b"text\x1b[2J\tmore\nnext \xc3\xa4\xc2\x9b\x9b\x7f\n"
        source = self.write("file", data)
        self.assert_done(self.khost("cache", "put", "http://h/", source, "--attr", "a=b\nc=d\x1b[0m"))
        self.assertEqual(self.shown("cache", "get", "http://h/"),
                         b"text\\x1b[2J\tmore\nnext \xc3\xa4\\u009b\\x9b\\x7f\n")
        self.assertEqual(self.shown("cache", "attrs", "http://h/"), b"a=b\\nc=d\\x1b[0m\n")
        self.assertEqual(self.shown("feature", "x\ny\x07"), b"x\\ny\\x07 disabled\n")
        shown = self.shown("sql", "query", "type=sqlite;file=:memory:", "select char(27) || '[2J' as t")
        self.assertEqual(shown.splitlines()[:3], [b"t", b"-------", b"\\x1b[2J"])
        # A pipe gets what there is.
        self.assertEqual(self.khost("cache", "get", "http://h/").out, data)
        self.assertEqual(self.khost("cache", "attrs", "http://h/").out, b"a=b\nc=d\x1b[0m\n")

    def test_what_a_module_says_of_itself(self):
        """On one line, whatever it holds."""
        module = os.path.join(os.path.dirname(host.KHOST[-1]), "libkfw.so")
        with open(module, "rb") as file:
            data = file.read()
        version = self.khost("version", "kfw").text.strip().encode()
        self.assertIn(version + b"\0", data)
        forged = self.write("libkfw.so", data.replace(version + b"\0", version[:-2] + b"\n\x1b\0"))
        self.assert_done(self.khost("register", forged), None)
        shown = version[:-2] + b"\\n\\x1b"
        self.assertEqual(self.shown("version", "kfw"), shown + b"\n")

    def test_comma_separated_values(self):
        shown = self.shown("sql", "query", "type=sqlite;file=:memory:", "select 'a\nb' as \"x\ny\", 'c' as z", "--csv")
        self.assertEqual(shown, b'"x\\ny",z\n"a\\nb",c\n')

    def test_values_of_settings(self):
        self.assert_done(self.khost("user", "set", "City", "one\ntwo\x1b"))
        self.assertEqual(self.shown("user", "get", "City"), b"City=one\\ntwo\\x1b\n")

    def test_progress_is_drawn_by_time(self):
        source = self.write("file", b"x")
        self.assert_done(self.khost("cache", "put", "http://h/", source))
        folder = self.path("app", "cache", "objects")
        first = os.path.join(folder, self.objects()[0])
        for number in range(3000):
            shutil.copy(first, os.path.join(folder, f"{number:032X}"))
        start = time.monotonic()
        shown = self.shown("cache", "verify", out=False, err=True)
        seconds = time.monotonic() - start
        self.assertEqual(self.status, 0)
        self.assertIn(b"verify [", shown)
        drawn = shown.count(b"verify [")
        self.assertLessEqual(drawn, 10 * seconds + 2, f"{len(shown)} bytes in {seconds:.1f} s")
        self.assertTrue(shown.endswith(b" \r"), "the line is wiped")
