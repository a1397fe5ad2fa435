"""Storing and reading objects."""

import hashlib
import json
import os
import shlex
import shutil
import subprocess

import host
from host import native, quoted

URI = "http://example.com/a/document"


class Objects(host.HostTest):
    def test_bytes_pass_unchanged_through_standard_input_and_output(self):
        data = bytes(range(256)) * 300 + b"\r\n\x1a\n\r\x00"
        stored = self.khost("cache", "put", URI, "-", stdin=data)
        self.assert_done(stored)
        self.assertRegex(stored.text, r"\A[0-9A-F]{32}\n\Z")
        got = self.khost("cache", "get", URI)
        self.assert_done(got)
        self.assertEqual(got.out, data)
        self.assertEqual(self.objects(), [stored.text.strip()])

    def test_put_get_attributes(self):
        source = self.write("Dokument \u00e4\u65e5.bin", b"\x00line\nno end")
        target = self.path("out \u00fc.bin")
        shell = self.shell()
        foreign = "gr\u00fc\u00df=\u65e5\u672c"
        stored = shell.run(f"cache put {URI} {quoted(native(source))} --attr name='a b' --attr empty= --attr name=c=d"
                           f" --attr {foreign}")
        self.assert_done(stored)
        self.assert_done(shell.run(f"cache get {URI} --output {quoted(native(target))}"), "")
        self.assertEqual(self.read(target), b"\x00line\nno end")
        self.assert_done(shell.run(f"cache attrs {URI}"), "name=a b\nempty=\nname=c=d\ngr\u00fc\u00df=\u65e5\u672c\n")
        self.assertEqual(json.loads(shell.run(f"cache attrs {URI} --json").text),
                         [["name", "a b"], ["empty", ""], ["name", "c=d"], ["gr\u00fc\u00df", "\u65e5\u672c"]])
        # What does not end its line is ended, so that the status has a line of its own.
        self.assertEqual(shell.run(f"cache get {URI}").out, b"\x00line\nno end\n")
        self.assertEqual(shell.close(), 0)

    def test_names_that_look_like_commands_options_and_lists(self):
        data = {}
        shell = self.shell()
        for name in ("info", "put", "[a,b]", "cache"):
            data[name] = name.encode()
            self.write(name, data[name])
        os.chdir(self.folder)
        self.addCleanup(os.chdir, "/")
        shell = self.shell()
        for name in data:
            self.assert_done(shell.run(f"cache put {quoted('http://h/' + name)} {quoted(name)} --attr {quoted(name + '=[x,y]')}"))
            self.assertEqual(shell.run(f"cache get {quoted('http://h/' + name)}").out, data[name] + b"\n")
            self.assert_done(shell.run(f"cache attrs {quoted('http://h/' + name)}"), name + "=[x,y]\n")

    def test_empty_object(self):
        source = self.write("empty", b"")
        shell = self.shell()
        stored = json.loads(shell.run(f"cache put {URI} {quoted(native(source))} --json").text)
        self.assertEqual(stored, {"id": self.objects()[0], "bytes": 28})
        self.assert_done(shell.run(f"cache get {URI}"), "")
        self.assert_done(shell.run(f"cache attrs {URI}"), "")
        self.assert_done(shell.run(f"cache attrs {URI} --json"), "[]\n")

    def test_put_tells_the_size_of_the_object_file(self):
        source = self.write("file", b"12345")
        shell = self.shell()
        stored = json.loads(shell.run(f"cache put {URI} {quoted(native(source))} --attr a= --json").text)
        self.assertEqual(stored["bytes"], 28 + 16 + 5)
        self.assertEqual(stored["bytes"], len(self.read("app", "cache", "objects", stored["id"])))
        # The first file stays.
        self.write("file", b"something longer")
        again = json.loads(shell.run(f"cache put {URI} {quoted(native(source))} --json").text)
        self.assertEqual(again, stored)

    def test_put_tells_of_another_object_that_is_kept(self):
        source = self.write("file", b"12345")
        shell = self.shell()
        line = f"cache put {URI} {quoted(native(source))} --attr a=b"
        stored = shell.run(line)
        self.assert_done(shell.run(line), stored.text)
        told = f"khost: cache put: the cache has another object of that URI, which is kept: {URI}\n"
        for other in (line + "c", line + " --attr c=", f"cache put {URI} {quoted(native(source))}"):
            again = shell.run(other)
            self.assertEqual((again.status, again.text, again.errors), (0, stored.text, told))
        self.write("file", b"12346")
        again = shell.run(line)
        self.assertEqual((again.status, again.text, again.errors), (0, stored.text, told))

    def test_id_needs_no_cache(self):
        self.assert_done(self.khost("cache", "id", URI + "/../%64ocument?query"),
                         hashlib.md5(URI.encode()).hexdigest().upper() + "\n")
        self.assertEqual(os.listdir(self.folder), [])

    def test_has_and_id(self):
        source = self.write("file", b"x")
        shell = self.shell()
        no = shell.run(f"cache has {URI}")
        self.assertEqual((no.status, no.text, no.errors), (1, "no\n", ""))
        identity = shell.run(f"cache put {URI} {quoted(native(source))}").text
        self.assert_done(shell.run(f"cache has {URI}"), "yes\n")
        self.assert_done(shell.run(f"cache has {URI}?query=1"), "yes\n")
        self.assert_done(shell.run(f"cache has HTTP://EXAMPLE.com:80/a/./b/../document"), "yes\n")
        self.assert_done(shell.run(f"cache has {URI} --json"), "true\n")
        self.assertEqual(shell.run("cache has http://h/other --json").text, "false\n")
        self.assert_done(shell.run(f"cache id {URI}?x"), identity)
        self.assertNotEqual(shell.run("cache id http://h/other").text, identity)

    def test_what_is_not_there(self):
        shell = self.shell()
        for command in ("get", "attrs"):
            self.assert_fails(shell.run(f"cache {command} {URI}"), f"cache {command}", "0x96230003", "KPR_E_NOT_FOUND",
                              URI)
        target = self.path("out")
        self.assertEqual(shell.run(f"cache get {URI} --output {quoted(native(target))}").status, 1)
        self.assertFalse(os.path.exists(target))

    def test_bad_uri(self):
        source = self.write("file", b"x")
        shell = self.shell()
        for uri in ("no-scheme", '""', "'not a uri'"):
            for command in ("get", "attrs", "has", "id", "pin", "unpin"):
                with self.subTest(uri=uri, command=command):
                    self.assert_fails(shell.run(f"cache {command} {uri}"), f"cache {command}", "0x80070057",
                                      "E_INVALIDARG")
            self.assert_fails(shell.run(f"cache put {uri} {quoted(native(source))}"), "cache put", "0x80070057",
                              "E_INVALIDARG")
        self.assertEqual(self.objects(), [])

    def test_unreadable_file(self):
        shell = self.shell()
        identity = "0" * 32
        for file, code, name in ((self.path("none"), "0x96230003", "KPR_E_NOT_FOUND"),
                                 (self.folder, "0x96230009", "KPR_E_IS_DIRECTORY")):
            self.assert_fails(shell.run(f"cache put {URI} {quoted(native(file))}"), "cache put", code, name,
                              os.path.basename(file))
            self.assert_fails(shell.run(f"cache put-file {identity} {quoted(native(file))}"), "cache put-file", code,
                              name, os.path.basename(file))
        self.assertEqual(self.objects(), [])

    def test_output_that_cannot_be_written(self):
        source = self.write("file", b"x")
        shell = self.shell()
        shell.run(f"cache put {URI} {quoted(native(source))}")
        self.assert_fails(shell.run(f"cache get {URI} --output {quoted(native(self.path('no', 'dir')))}"), "cache get",
                          "0x96230003", "KPR_E_NOT_FOUND", "dir")

    def test_bad_attribute(self):
        source = self.write("file", b"x")
        shell = self.shell()
        for attribute in ("nothing", "=value"):
            self.assert_usage(shell.run(f"cache put {URI} {quoted(native(source))} --attr {attribute}"),
                              f"--attr {attribute}: not KEY=VALUE")
        self.assertEqual(self.objects(), [])

    def test_object_files_whole(self):
        source = self.write("file", b"some data")
        whole = self.path("whole")
        shell = self.shell()
        identity = shell.run(f"cache put {URI} {quoted(native(source))} --attr a=b").text.strip()
        self.assert_done(shell.run(f"cache get-file {identity.lower()} --output {quoted(native(whole))}"), "")
        self.assertEqual(self.read("whole"), self.read("app", "cache", "objects", identity))
        other = "0123456789ABCDEF" * 2
        self.assert_done(shell.run(f"cache put-file {other} {quoted(native(whole))}"), other + "\n")
        self.assertEqual(self.read("app", "cache", "objects", other), self.read("whole"))
        self.assertEqual(json.loads(shell.run(f"cache put-file {other} {quoted(native(whole))} --json").text),
                         {"id": other, "bytes": len(self.read("whole"))})
        same = shell.run(f"cache put-file {other} {quoted(native(whole))}")
        self.assertEqual((same.status, same.errors), (0, ""))
        kept = self.read("whole")
        self.write("whole", kept + b"more")
        again = shell.run(f"cache put-file {other} {quoted(native(whole))}")
        self.assertEqual((again.status, again.text, again.errors), (0, other + "\n", "khost: cache put-file: the cache has "
                         f"another object of that identity, which is kept: {other}\n"))
        self.assertEqual(self.read("app", "cache", "objects", other), kept)
        self.assert_fails(shell.run(f"cache get-file {'F' * 32}"), "cache get-file", "0x96230003", "KPR_E_NOT_FOUND",
                          "F" * 32)

    def test_bad_id(self):
        source = self.write("file", b"x")
        shell = self.shell()
        for identity in ("0" * 31, "0" * 33, "G" * 32, '""', "../" + "0" * 29):
            text = "is not an object's identity (32 hexadecimal digits)"
            self.assert_usage(shell.run(f"cache get-file {identity}"), text)
            self.assert_usage(shell.run(f"cache put-file {identity} {quoted(native(source))}"), text)
        self.assertEqual(self.objects(), [])

    def test_pins_are_counted(self):
        source = self.write("file", b"x")
        shell = self.shell()
        self.assert_fails(shell.run(f"cache pin {URI}"), "cache pin", "0x96230003", "KPR_E_NOT_FOUND")
        shell.run(f"cache put {URI} {quoted(native(source))}")
        for line in ("pin", "pin", "unpin", "unpin"):
            self.assert_done(shell.run(f"cache {line} {URI}"), "")
        self.assert_fails(shell.run(f"cache unpin {URI}"), "cache unpin", "0x80070057", "E_INVALIDARG", URI)


@host.posix_only("what a user may write is told by file modes here")
class ReadOnly(host.HostTest):
    """A cache that somebody else may read."""

    def setUp(self):
        super().setUp()
        source = self.write("file", b"some data")
        self.assert_done(self.khost("cache", "put", URI, source, "--attr", "a=b"))
        self.identity = self.objects()[0]
        self.whole = self.read("app", "cache", "objects", self.identity)
        os.chmod(self.classes, 0o644)
        for folder, _, names in os.walk(self.folder):
            os.chmod(folder, 0o555)
            for name in names:
                os.chmod(os.path.join(folder, name), 0o444)
        self.addCleanup(self.make_writable)
        self.before = self.tree()

    SAID = "the cache cannot be written (permission denied): it is read without taking part in it"

    def make_writable(self):
        for folder, _, _ in os.walk(self.folder):
            os.chmod(folder, 0o755)

    def ask(self, *arguments):
        return self.khost(command=host.other_user() + self.command(*arguments))

    def test_objects_are_read_and_it_is_said_how(self):
        for arguments, out in ((("get", URI), b"some data"), (("attrs", URI), b"a=b\n"), (("has", URI), b"yes\n"),
                               (("get-file", self.identity), self.whole)):
            with self.subTest(arguments=arguments):
                result = self.ask("cache", *arguments)
                self.assertEqual((result.status, result.out), (0, out), result.errors)
                self.assertEqual(result.errors, f"khost: cache {arguments[0]}: {self.SAID}\n")
        result = self.ask("cache", "has", URI + "/other")
        self.assertEqual((result.status, result.out), (1, b"no\n"))
        self.assertEqual(self.tree(), self.before)

    def test_what_is_not_there_or_bad(self):
        for arguments, code in ((("get", URI + "/other"), "0x96230003 KPR_E_NOT_FOUND"),
                                (("get-file", "F" * 32), "0x96230003 KPR_E_NOT_FOUND"),
                                (("attrs", "no-scheme"), "0x80070057 E_INVALIDARG"),
                                (("has", "no-scheme"), "0x80070057 E_INVALIDARG")):
            result = self.ask("cache", *arguments)
            self.assertEqual((result.status, result.out), (1, b""))
            self.assertIn(f"khost: cache {arguments[0]}: {code} ", result.errors.splitlines()[1])
        path = self.path("app", "cache", "objects", self.identity)
        os.chmod(path, 0o644)
        with open(path, "wb") as file:
            file.write(self.whole[:20])
        result = self.ask("cache", "get", URI)
        self.assertEqual(result.status, 1)
        self.assertIn(f"incomplete read of object header of {path} (got", result.errors.splitlines()[1])

    def test_looking(self):
        self.assert_done(self.ask("cache", "verify"), "1 checked, 0 bad\n")
        self.assertEqual([row["id"] for row in json.loads(self.ask("cache", "ls", "--json").text)], [self.identity])
        self.assertEqual(json.loads(self.ask("cache", "stat", "--json").text)["objects"], 1)
        self.assertEqual(self.tree(), self.before)

    def test_changing_fails(self):
        result = self.ask("cache", "put", "http://h/", self.path("file"))
        self.assertEqual(result.status, 1)
        self.assertIn("khost: cache put: 0x96230002 KPR_E_ACCESS_DENIED ", result.errors)
        self.assertEqual(self.tree(), self.before)

    def remove(self, *names):
        """From the cache, whose folders are written again afterwards."""
        self.make_writable()
        for name in names:
            path = self.path("app", "cache", *name.split("/"))
            os.remove(path) if os.path.isfile(path) else shutil.rmtree(path)
        for folder, _, _ in os.walk(self.folder):
            os.chmod(folder, 0o555)
        self.before = self.tree()

    def assert_read(self):
        for arguments, out in ((("get", URI), b"some data"), (("attrs", URI), b"a=b\n"), (("has", URI), b"yes\n"),
                               (("get-file", self.identity), self.whole)):
            result = self.ask("cache", *arguments)
            self.assertEqual((result.status, result.out, result.errors),
                             (0, out, f"khost: cache {arguments[0]}: {self.SAID}\n"))

    def test_an_empty_folder_holds_nothing(self):
        for gone in ("objects", ""):
            self.remove(gone)
            result = self.ask("cache", "has", URI)
            self.assertEqual((result.status, result.text, result.errors), (1, "no\n", f"khost: cache has: {self.SAID}\n"))
            for arguments in (("get", URI), ("attrs", URI), ("get-file", self.identity)):
                result = self.ask("cache", *arguments)
                lines = result.errors.splitlines()
                self.assertEqual((result.status, result.out, len(lines)), (1, b"", 2), result.errors)
                self.assertEqual(lines[0], f"khost: cache {arguments[0]}: {self.SAID}")
                self.assertIn("KPR_E_NOT_FOUND", lines[1])
            self.assertEqual(self.tree(), self.before)

    def test_a_copy_without_counters(self):
        for gone in ("inserted", "cleaned"):
            self.remove(gone)
            self.assert_read()
        self.assert_done(self.ask("cache", "verify"), "1 checked, 0 bad\n")
        result = self.ask("cache", "stat", "--json")
        facts = json.loads(result.text)
        self.assertEqual((facts["objects"], facts["inserted_kb"], facts["cleaned_kb"], facts["growth_kb"],
                          facts["cleaner"]), (1, None, None, None, "none"))
        self.assertEqual((result.status, result.errors),
                         (0, "khost: cache stat: the cache has no counters: it is a copy, or was never used\n"))
        self.assertEqual(self.tree(), self.before)

    def test_a_volume_that_is_read_only(self):
        if os.getuid() != 0:
            self.skipTest("only root may mount")
        inner = shlex.join(self.command("cache", "get", URI))
        script = f"mount --bind {self.app_dir} {self.app_dir} && mount -o remount,bind,ro {self.app_dir} && {inner}"
        if subprocess.run(["unshare", "-m", "true"], stderr=subprocess.DEVNULL, check=False).returncode:
            self.skipTest("no mounts of its own are allowed here")
        for gone in ((), ("inserted", "cleaned")):
            self.remove(*gone)
            result = self.khost(command=["unshare", "-m", "sh", "-c", script])
            self.assertEqual((result.status, result.out), (0, b"some data"), result.errors)
            self.assertEqual(result.errors, "khost: cache get: the cache cannot be written (the volume is read-only): it "
                                            "is read without taking part in it\n")

    def test_a_shell_says_it_once_and_goes_on(self):
        result = self.khost(command=host.other_user() + self.command("shell"), stdin=f"cache has {URI}\n".encode())
        self.assertEqual((result.status, result.text), (0, "yes\n= 0\n"))
        self.assertEqual(result.errors, f"khost: shell: {self.SAID}\nkhost: cache has: {self.SAID}\n")

    def test_objects_of_another_owner(self):
        """The counters may be written; what is there belongs to somebody else, and is old."""
        self.make_writable()
        path = self.path("app", "cache", "objects", self.identity)
        os.utime(path, (1000000000, 1000000000))
        for name in ("cache", "cache/objects"):
            os.chmod(self.path("app", name), 0o777)
        for name in ("inserted", "cleaned"):
            os.chmod(self.path("app", "cache", name), 0o666)
        result = self.ask("cache", "has", URI)
        self.assertEqual((result.status, result.text), (0, "yes\n"), result.errors)
        self.assertEqual(result.errors, "khost: cache has: the object cannot be kept young (permission denied): it is there "
                                        f"all the same: {URI}\n")
        self.assert_done(self.ask("cache", "get", URI), "some data")
        self.assertEqual(os.stat(path).st_mtime, 1000000000)

    def test_a_folder_of_objects_that_cannot_be_searched(self):
        self.make_writable()
        os.chmod(self.path("app", "cache", "objects"), 0o744)
        path = self.path("app", "cache", "objects", self.identity)
        for command in ("ls", "stat", "verify"):
            self.assert_fails(self.ask("cache", command), f"cache {command}", "0x96230002", "KPR_E_ACCESS_DENIED", path)
        for command in (("has", URI), ("get", URI), ("attrs", URI), ("get-file", self.identity)):
            result = self.ask("cache", *command)
            lines = result.errors.splitlines()
            self.assertEqual((result.status, result.out, len(lines)), (1, b"", 2), result.errors)
            self.assertEqual(lines[0], f"khost: cache {command[0]}: {self.SAID}")
            self.assertTrue(lines[1].startswith(f"khost: cache {command[0]}: 0x96230002 KPR_E_ACCESS_DENIED "), lines[1])
