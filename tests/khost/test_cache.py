"""Storing and reading objects."""

import json
import os

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
