"""Help, wrong usage, global options."""

import os
import re

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
        self.assert_fails(result, "cache has", "0x96230001", "KPR_E_IO", "log")

    def test_malformed_properties_are_reported_and_stop_nothing(self):
        self.write("app/properties.ini", b"good = 1\nbad line\n= 2\n")
        result = self.khost("cache", "has", "http://h/none")
        self.assertEqual((result.status, result.text), (1, "no\n"))
        self.assertEqual([line.split("properties.ini")[1] for line in result.errors.splitlines()],
                         [', line 2: the line is not "name = value"', ", line 3: the name is missing"])

    def test_json_before_or_after_the_command(self):
        before = self.khost("--json", "cache", "id", "http://h/")
        self.assert_done(before)
        self.assertEqual(before.text, self.khost("cache", "id", "http://h/", "--json").text)
        self.assertRegex(before.text, r'\A"[0-9A-F]{32}"\n\Z')
