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
