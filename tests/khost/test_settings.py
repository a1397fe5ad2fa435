"""user get, user set, mail get, mail set: what one process changes, the next one finds."""

import contextlib
import json
import os
import signal
import sqlite3
import stat
import subprocess
import unittest

import host

USER_FIELDS = ["Salutation", "FirstName", "SecondName", "LastName", "EmailAddr", "Company", "JobFunction",
               "Organization", "Street", "City", "StateOrProvince", "CityCode", "POBox", "PostalCode",
               "POBoxPostalCode", "Country", "Language", "PrivatePhone", "BusinessPhone", "Pager", "Mobile", "Fax",
               "WebPage", "Custom1", "Custom2", "Custom3", "Custom4", "Notes"]
MAIL_LINES = "MailSubject=\nSenderAddress=\nDefRecipAddress=\nSendCC=0\nSendBCC=1\n"
KEY = r"HKEY_CURRENT_USER\Software\khost\KOS\KFW"


def reg(*arguments):
    """The registry tool of the Windows target."""
    tool = r"C:\windows\system32\reg.exe"
    return subprocess.run([*host.KHOST[:-1], tool, *arguments], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          env=dict(os.environ, WINEPREFIX=prefix()))


def prefix():
    build = os.path.join(os.path.dirname(os.path.abspath(host.KHOST[-1])), "..")
    return os.environ.get("WINEPREFIX") or os.path.join(os.path.normpath(build), "wineprefix")


class Settings(host.HostTest):
    def setUp(self):
        super().setUp()
        if host.WINDOWS:
            # There the settings are the user's, whatever the application directory.
            # The module's own node stays, for whoever else is running.
            for node in ("UserData", "SendMailConfig"):
                reg("delete", KEY + "\\" + node, "/f")
                self.addCleanup(reg, "delete", KEY + "\\" + node, "/f")

    def seen(self, node):
        """The names and values of a node as the platform's own tool shows them."""
        if host.WINDOWS:
            text = reg("query", KEY + "\\" + node).stdout.decode("utf-8", "replace")
            rows = [line[4:].split("    ", 2) for line in text.replace("\r", "").splitlines() if line[:4] == "    "]
            return {row[0]: str(int(row[2], 0)) if row[1] == "REG_DWORD" else row[2] for row in rows}
        done = subprocess.run(["sqlite3", "-readonly", "-separator", "\t", self.path("app", "settings"),
                               f"SELECT name, value FROM setting WHERE node = 'khost/KOS/KFW/{node}' AND name <> ''"],
                              stdout=subprocess.PIPE, check=True)
        return dict(line.split("\t") for line in done.stdout.decode().splitlines())

    def test_starts_empty(self):
        self.assert_done(self.khost("user", "get"), "".join(name + "=\n" for name in USER_FIELDS))
        self.assert_done(self.khost("mail", "get"), MAIL_LINES)
        self.assertEqual(self.seen("UserData"), dict.fromkeys(USER_FIELDS, ""))
        self.assertEqual(self.seen("SendMailConfig"), {"MailSubject": "", "SenderAddress": "", "DefRecipAddress": "",
                                                       "SendCC": "0", "SendBCC": "1"})

    def test_what_is_set_is_found_by_the_next_process(self):
        shell = self.shell()
        for name in USER_FIELDS:
            self.assert_done(shell.run(f"user set {name} \"the {name}\""), "")
        for line in ("MailSubject Hello", "SenderAddress a@b", "DefRecipAddress c@d", "SendCC 1", "SendBCC false"):
            self.assert_done(shell.run("mail set " + line), "")
        self.assert_done(shell.run("user get City"), "City=the City\n")
        self.assertNotIn("the City", self.seen("UserData").values(), "saved at the end only")
        self.assertEqual(shell.close(), 0)
        self.assertEqual(self.seen("UserData"), {name: "the " + name for name in USER_FIELDS})
        self.assert_done(self.khost("user", "get"), "".join(f"{name}=the {name}\n" for name in USER_FIELDS))
        self.assert_done(self.khost("user", "get", "Notes"), "Notes=the Notes\n")
        self.assert_done(self.khost("mail", "get"), "MailSubject=Hello\nSenderAddress=a@b\nDefRecipAddress=c@d\n"
                                                    "SendCC=1\nSendBCC=0\n")

    def test_json(self):
        self.assert_done(self.khost("user", "set", "City", "Gr\u00f6\u00dfe"), "")
        fields = json.loads(self.khost("user", "get", "--json").out)
        self.assertEqual(list(fields), USER_FIELDS)
        self.assertEqual(fields["City"], "Gr\u00f6\u00dfe")
        self.assertEqual(json.loads(self.khost("mail", "get", "SendBCC", "--json").out), {"SendBCC": True})

    def test_usage(self):
        self.assert_usage(self.khost("user", "get", "city"), "there is no field \"city\"")
        self.assert_usage(self.khost("mail", "set", "City", "x"), "there is no field \"City\"")
        self.assert_usage(self.khost("mail", "set", "SendCC", "maybe"), "SendCC is 0 or 1")
        self.assert_usage(self.khost("user", "set", "City"), "VALUE")

    def test_a_killed_process_saves_nothing(self):
        self.assert_done(self.khost("user", "set", "City", "kept"))
        shell = self.shell()
        self.assert_done(shell.run("user set City lost"))
        shell.kill()
        self.assert_done(self.khost("user", "get", "City"), "City=kept\n")

    @host.signals_arrive
    @unittest.skipIf(host.WINDOWS, "Wine ends a process on SIGTERM without asking it")
    def test_a_process_that_is_asked_to_end_saves(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(signal=number):
                shell = self.shell()
                self.assert_done(shell.run(f"user set City \"saved at {number}\""))
                shell.process.send_signal(number)
                shell.process.wait(host.TIMEOUT)
                self.assert_done(self.khost("user", "get", "City"), f"City=saved at {number}\n")
                shell.close()

    @unittest.skipUnless(host.WINDOWS, "the registry is Windows'")
    def test_settings_are_the_users_whatever_the_directory(self):
        self.assert_done(self.khost("user", "set", "City", "here"))
        self.app_dir = self.path("other")
        self.assert_done(self.khost("user", "get", "City"), "City=here\n")

    @unittest.skipIf(host.WINDOWS, "there the store is the registry")
    def test_the_store_can_be_given(self):
        store = self.path("deep", "store")
        self.assert_done(self.khost("--settings", store, "user", "set", "City", "there"))
        self.assertEqual(stat.S_IMODE(os.stat(store).st_mode), 0o600)
        self.assert_done(self.khost("--settings", store, "user", "get", "City"), "City=there\n")
        self.assert_done(self.khost("user", "get", "City"), "City=\n")

    @unittest.skipIf(host.WINDOWS, "there the store is the registry")
    def test_a_change_that_could_not_be_saved(self):
        self.assert_done(self.khost("user", "set", "City", "old"))
        shell = self.shell()
        self.assert_done(shell.run("user set City new"))
        self.assert_done(shell.run("mail set SendCC 1"))
        with contextlib.closing(sqlite3.connect(self.path("app", "settings"), isolation_level=None)) as store:
            store.execute("BEGIN IMMEDIATE")  # nobody else writes
            shell.process.stdin.close()
            self.assertEqual(shell.process.wait(host.TIMEOUT), 1)
            errors = shell.read_errors().decode()
        self.assertIn(" 0x80004005 E_FAIL operation failed: City was not saved\n", errors)
        self.assertIn(" 0x80004005 E_FAIL operation failed: SendCC was not saved\n", errors)
        shell.close()
        self.assert_done(self.khost("user", "get", "City"), "City=old\n")

    @unittest.skipIf(host.WINDOWS, "there the store is the registry")
    def test_a_store_that_is_locked_cannot_be_read(self):
        self.assert_done(self.khost("user", "set", "City", "old"))
        with contextlib.closing(sqlite3.connect(self.path("app", "settings"), isolation_level=None)) as store:
            store.execute("BEGIN EXCLUSIVE")
            result = self.khost("user", "get", "City")
        self.assertEqual((result.status, result.out), (1, b""))
        self.assertIn("khost: user get: 0x80004005 E_FAIL operation failed: the settings store cannot be read\n",
                      result.errors)

    @unittest.skipIf(host.WINDOWS, "there the store is the registry")
    def test_a_damaged_store_is_kept(self):
        self.write("app/settings", b"x" * 5000)
        result = self.khost("user", "set", "City", "new")
        self.assertEqual((result.status, result.out), (1, b""))
        self.assertIn("khost: user set: 0x80004005 E_FAIL ", result.errors)
        self.assertIn("is damaged and stays as it is", result.errors)
        self.assertEqual(self.read("app", "settings"), b"x" * 5000)
        copies = [name for name in os.listdir(self.app_dir) if name.startswith("settings.damaged-")]
        self.assertEqual(len(copies), 1)
        for arguments in (("user", "get", "City"), ("mail", "get"), ("mail", "set", "SendCC", "1")):
            result = self.khost(*arguments)
            self.assertEqual((result.status, result.out), (1, b""))
            self.assertIn("the settings store cannot be read", result.errors)


if __name__ == "__main__":
    unittest.main()
