"""Storing a folder."""

import json
import os
import re
import urllib.parse

import host
from host import native, quoted

FILES = {
    "a.txt": b"first",
    "b/c.txt": b"",
    "b/d e%20#?.txt": b"third",
    "b/\u00e4\u65e5.txt": b"fourth",
    "z/y/x": b"\x00" * 5000,
}
# Windows allows no "?" in names.
WINDOWS_FILES = {name.replace("?", ""): data for name, data in FILES.items()}


class Import(host.HostTest):
    def fill(self):
        files = WINDOWS_FILES if host.WINDOWS else FILES
        for name, data in files.items():
            self.write("tree/" + name, data)
        os.makedirs(self.path("tree", "empty folder"))
        return files

    def test_stores_every_file_under_the_folders_uri(self):
        files = self.fill()
        shell = self.shell()
        result = shell.run(f"cache import {quoted(native(self.path('tree')))}")
        self.assert_done(result)
        stored = dict(reversed(line.split(" ", 1)) for line in result.text.splitlines())
        self.assertEqual(set(stored), set(files))
        self.assertEqual(sorted(stored.values()), self.objects())
        root = os.path.realpath(self.path("tree"))
        base = "file:///Z:" if host.WINDOWS else "file://"
        for name, data in files.items():
            uri = base + urllib.parse.quote(root + "/" + name)
            self.assert_done(shell.run(f"cache id {quoted(uri)}"), stored[name] + "\n")
            target = self.path("out")
            self.assert_done(shell.run(f"cache get {quoted(uri)} -o {quoted(native(target))}"))
            self.assertEqual(self.read("out"), data)

    def test_base_and_json(self):
        files = self.fill()
        shell = self.shell()
        answer = shell.run(f"cache import {quoted(native(self.path('tree')))} --base http://h/x/ --json")
        self.assert_done(answer)
        stored = {entry["name"]: entry["id"] for entry in json.loads(answer.text)}
        self.assertEqual(set(stored), set(files))
        for name in files:
            uri = "http://h/x/" + urllib.parse.quote(name)
            self.assert_done(shell.run(f"cache id {quoted(uri)}"), stored[name] + "\n")

    def test_base_and_path_are_joined_with_a_slash(self):
        self.write("tree/a.txt", b"x")
        shell = self.shell()
        stored = shell.run(f"cache import {quoted(native(self.path('tree')))} --base http://h/x")
        self.assert_done(stored)
        self.assertEqual(shell.run("cache id http://h/x/a.txt").text.strip(), stored.text.split()[0])

    def test_two_files_of_one_object(self):
        """All that follows a "?" in the base names the same object."""
        self.write("tree/a.txt", b"first")
        self.write("tree/b.txt", b"second")
        shell = self.shell()
        result = shell.run(f"cache import {quoted(native(self.path('tree')))} --base http://h/x?file=")
        self.assertEqual((result.status, len(result.text.splitlines())), (1, 1))
        self.assertRegex(result.errors, r"\Akhost: cache import: 0x9623000B KPR_E_EXISTS [^\n]*b\.txt: the same "
                                        r"object as a\.txt\n\Z")
        self.assertEqual(len(self.objects()), 1)

    def test_another_object_that_is_there_is_kept(self):
        self.write("tree/a.txt", b"first")
        shell = self.shell()
        line = f"cache import {quoted(native(self.path('tree')))} --base http://h/x"
        self.assert_done(shell.run(line))
        self.assert_done(shell.run(line))
        self.write("tree/a.txt", b"changed")
        result = shell.run(line)
        self.assertEqual((result.status, result.errors),
                         (0, "khost: cache import: the cache has another object of that URI, which is kept: "
                             "http://h/x/a.txt\n"))

    @host.posix_only("Wine shows a link as what it leads to")
    def test_links_are_not_followed(self):
        self.fill()
        self.write("outside/secret", b"x")
        os.symlink(self.path("outside"), self.path("tree", "folder link"))
        os.symlink(self.path("outside", "secret"), self.path("tree", "file link"))
        result = self.khost("cache", "import", native(self.path("tree")))
        self.assert_done(result)
        self.assertNotIn("link", result.text)
        self.assertNotIn("secret", result.text)

    def test_bad_folder_and_bad_base(self):
        self.fill()
        shell = self.shell()
        self.assert_fails(shell.run(f"cache import {quoted(native(self.path('none')))}"), "cache import",
                          "0x96230003", "KPR_E_NOT_FOUND", "none")
        self.assert_fails(shell.run(f"cache import {quoted(native(self.path('tree', 'a.txt')))}"), "cache import",
                          "0x9623000A", "KPR_E_NOT_DIRECTORY", "a.txt")
        self.write("one/file", b"x")
        self.assert_fails(shell.run(f"cache import {quoted(native(self.path('one')))} --base nothing/"), "cache import",
                          "0x80070057", "E_INVALIDARG", "nothing/file")
        self.assertEqual(self.objects(), [])

    def test_empty_folder(self):
        os.mkdir(self.path("tree"))
        shell = self.shell()
        command = f"cache import {quoted(native(self.path('tree')))}"
        self.assert_done(shell.run(command), "")
        self.assert_done(shell.run(command + " --json"), "[]\n")

    @host.posix_only("a file that may not be read is made with file modes")
    def test_a_file_that_cannot_be_read_stops_nothing(self):
        self.fill()
        os.chmod(self.path("tree", "a.txt"), 0)
        for folder, _, _ in os.walk(self.folder):
            os.chmod(folder, 0o777)
        # File modes do not count for root.
        command = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "--"] if os.getuid() == 0 else []
        os.chmod(self.folder, 0o777)
        result = self.khost(command=command + self.command("cache", "import", self.path("tree"), "--base", "http://h/"))
        self.assertEqual(result.status, 1, result.errors)
        self.assertRegex(result.errors, r"\Akhost: cache import: 0x96230002 KPR_E_ACCESS_DENIED [^\n]*a\.txt\n\Z")
        self.assertEqual(len(result.text.splitlines()), len(FILES) - 1)

    @host.posix_only("a folder whose entries may not be looked at is made with file modes")
    def test_an_entry_that_cannot_be_looked_at_is_told(self):
        self.fill()
        for folder, _, _ in os.walk(self.folder):
            os.chmod(folder, 0o777)
        os.makedirs(self.path("tree", "closed"))
        for name in ("one", "two"):
            with open(self.path("tree", "closed", name), "wb"):
                pass
        os.chmod(self.path("tree", "closed"), 0o744)  # its names may be read, but nothing about them
        result = self.khost(command=host.other_user() +
                            self.command("cache", "import", self.path("tree"), "--base", "http://h/"))
        os.chmod(self.path("tree", "closed"), 0o755)
        self.assertEqual(result.status, 1, result.errors)
        self.assertEqual(sorted(re.findall(r"khost: cache import: 0x96230002 KPR_E_ACCESS_DENIED [^\n]*closed/(\w+)\n",
                                           result.errors)), ["one", "two"], result.errors)
        self.assertEqual(len(result.text.splitlines()), len(FILES))
