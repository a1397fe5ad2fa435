"""What khost does where somebody else may write: see SECURITY.md."""

import os
import stat
import unittest

import host
from host import HostTest, native

NOBODY = 65534


class LogFile(HostTest):
    def log(self, path):
        return self.khost("--log-level", "debug", "--log-file", native(path), "cache", "get", "http://h/none")

    @unittest.skipIf(host.WINDOWS, "a file's rights come from its folder on Windows")
    def test_is_for_its_user_only(self):
        before = os.umask(0o022)
        self.addCleanup(os.umask, before)
        self.log(self.path("new.log"))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("new.log")).st_mode), 0o600)

    @unittest.skipIf(host.WINDOWS, "a file's rights come from its folder on Windows")
    def test_keeps_the_rights_that_a_file_has(self):
        self.write("old.log", b"first\n")
        os.chmod(self.path("old.log"), 0o660)
        self.log(self.path("old.log"))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("old.log")).st_mode), 0o660)
        self.assertTrue(self.read("old.log").startswith(b"first\n20"))

    @unittest.skipIf(host.WINDOWS, "Wine makes links that Windows programs do not see as such")
    def test_follows_no_link(self):
        self.write("victim", b"precious")
        for name, target in (("link.log", "victim"), ("dangling.log", "made")):
            os.symlink(self.path(target), self.path(name))
            self.assert_fails(self.log(self.path(name)), "cache get", "0x96230013", "KPR_E_NOT_REGULAR", name)
        self.assertEqual(self.read("victim"), b"precious")
        self.assertFalse(os.path.exists(self.path("made")))

    @unittest.skipIf(host.WINDOWS, "Windows keeps pipes apart from files")
    def test_does_not_wait_for_a_fifo(self):
        os.mkfifo(self.path("fifo.log"))
        self.assert_fails(self.log(self.path("fifo.log")), "cache get", "0x96230013", "KPR_E_NOT_REGULAR", "fifo.log")

    @unittest.skipIf(host.WINDOWS, "Wine maps every owner to the user")
    @unittest.skipIf(not hasattr(os, "geteuid") or os.geteuid() != 0, "only root can make a file of somebody else")
    def test_tells_nothing_to_another_user(self):
        path = self.write("planted.log", b"")
        os.chown(path, NOBODY, NOBODY)
        os.chmod(path, 0o666)
        self.assert_fails(self.log(path), "cache get", "0x9623001C", "KPR_E_NOT_TRUSTED", "planted.log")
        self.assertEqual(self.read("planted.log"), b"")


class Folder(HostTest):
    """The user application directory decides what is cached, set and loaded."""

    def assert_told(self):
        result = self.khost("cache", "has", "http://h/")
        self.assertEqual((result.status, result.text), (1, "no\n"))
        self.assertEqual(result.errors.count("\n"), 1, result.errors)
        self.assertRegex(result.errors, r"\AWARNING khost: [^\n]*app: others may change what lies there\n\Z")

    def test_that_others_may_change_is_told_of(self):
        os.mkdir(self.app_dir, 0o700)
        self.assertEqual(self.khost("cache", "has", "http://h/").errors, "")
        os.chmod(self.app_dir, 0o777)
        self.assert_told()

    @unittest.skipIf(host.WINDOWS, "Wine maps every owner to the user")
    @unittest.skipIf(not hasattr(os, "geteuid") or os.geteuid() != 0, "only root can make a folder of somebody else")
    def test_of_somebody_else_is_told_of(self):
        os.mkdir(self.app_dir)
        os.chown(self.app_dir, NOBODY, NOBODY)
        self.assert_told()


class Passwords(HostTest):
    """A password in the description of a database is repeated nowhere: not on the standard streams, not in the log
    file at its finest level, not in anything that is left in the folders."""

    MARKER = "s3cr3t-Marker"

    DESCRIPTIONS = (
        "type=postgresql;host=127.0.0.1;port=1;user=u;dbname=d;password={}",             # nobody listens there
        "type=postgresql;host=127.0.0.1;port=none;password={}",                          # no port
        "type=postgresql;host=127.0.0.1;password={};nothing=known",                      # no such key
        "type=postgresql;passwort={}",                                                   # a slip of the finger
        "type=postgresql;host=no.host.invalid;password={}",                              # no such host
        "type=postgresql;host=127.0.0.1;port=1;password=\"{}",                           # a quote that stays open
        "type=postgresql;host=127.0.0.1;port=1;password=\"{}\"x",                        # more behind a quote
        "type=postgresql;password={};password={}",                                       # twice
        "type=postgresql;{}",                                                            # no key at all
        "type=sqlite;file=missing/x.db;password={}",
        "type=sqlite;mode=ro;file=:memory:;key={}",
        "type=oracle;password={}",                                                       # nobody's
        "password={}",
        "{}",
    )

    def setUp(self):
        super().setUp()
        self.log = self.path("log")
        self.options = ("--log-level", "debug", "--log-file", native(self.log))

    def assert_silent(self, result, about):
        for where, data in (("output", result.out), ("errors", result.err)):
            self.assertNotIn(self.MARKER.encode(), data, f"{where} of {about}")

    def assert_nothing_left(self):
        self.assertGreater(os.path.getsize(self.log), 0)
        for folder, _, names in os.walk(self.folder):
            for name in names:
                self.assertNotIn(self.MARKER.encode(), self.read(folder, name), name)

    def test_in_a_description(self):
        # Something that is logged for certain, so that the log is one.
        self.khost(*self.options, "cache", "get", "http://h/none")
        for description in self.DESCRIPTIONS:
            with self.subTest(description=description):
                description = description.replace("{}", self.MARKER)
                for command in ((), ("--json",)):
                    result = self.khost(*self.options, "sql", "query", description, "select 1", *command)
                    self.assertEqual(result.status, 1)
                    self.assert_silent(result, description)
        self.assert_nothing_left()

    def test_in_words_that_are_too_many(self):
        """A description that was not quoted, or stands where none belongs."""
        for words in (("sql", "query", "type=postgresql", "select 1", "password={}"),
                      ("sql", "query", "type=postgresql;password={}", "select", "1", "type=x;password={}"),
                      ("sql", "query", "--password={}", "x", "y"),
                      ("sql", "types", "type=postgresql;password={}"),
                      ("sql", "password={}"), ("type=postgresql;password={}",), ("cache", "id", "u", "password={}")):
            with self.subTest(words=words):
                result = self.khost(*(word.replace("{}", self.MARKER) for word in words))
                self.assert_usage(result, "=...")
                self.assert_silent(result, words)

    def test_in_a_line_of_the_shell(self):
        shell = self.shell(*self.options)
        shell.run("cache get http://h/none")
        for description in self.DESCRIPTIONS:
            with self.subTest(description=description):
                line = "sql query " + host.quoted(description.replace("{}", self.MARKER))
                for rest in (' "select 1"', "", ' "select 1" --nothing', ' "select 1'):
                    result = shell.run(line + rest)
                    self.assertNotEqual(result.status, 0)
                    self.assert_silent(result, line + rest)
        self.assertEqual(shell.close(), 0)
        self.assert_nothing_left()
