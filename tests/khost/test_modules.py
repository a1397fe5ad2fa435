"""The class registry, the module's own description, result codes."""

import json
import os

import host
from host import MODULE_CLASSES, native


def module_path():
    name = "kfw.dll" if host.WINDOWS else "libkfw.so"
    return os.path.join(os.path.dirname(host.KHOST[-1]), name)


class Registry(host.HostTest):
    def listed(self, result):
        self.assert_done(result)
        return dict(line.split(" ", 1) for line in result.text.splitlines())

    def test_first_use_registers_the_module_beside_khost(self):
        classes = self.listed(self.khost("classes"))
        self.assertEqual(os.listdir(self.folder), [], "looking registers nothing")
        self.khost("cache", "has", "http://h/")
        self.assertEqual(classes[MODULE_CLASSES["file-system cache"]].lower(), native(module_path()).lower())
        self.assertEqual(list(classes), sorted(classes))
        self.assertTrue(os.path.exists(self.classes))
        self.assertEqual(self.listed(self.khost("classes")), classes)

    def test_register_and_unregister(self):
        shell = self.shell()
        self.assert_done(shell.run("register"), "")
        classes = self.listed(shell.run("classes"))
        self.assertIn(MODULE_CLASSES["file-system cache"], classes)
        answer = shell.run("classes --json")
        self.assertEqual(json.loads(answer.text), [{"class": key, "module": value} for key, value in classes.items()])
        self.assert_done(shell.run("unregister"), "")
        self.assert_done(shell.run("classes"), "")
        self.assert_done(shell.run("classes --json"), "[]\n")
        self.assert_fails(shell.run("unregister"), "unregister", "0x96240003", "KOM_E_CLASSNOTREGISTERED")
        self.assert_fails(shell.run("cache has http://h/"), "cache has", "0x96240003", "KOM_E_CLASSNOTREGISTERED",
                          MODULE_CLASSES["file-system cache"])
        self.assert_done(shell.run("register " + host.quoted(native(module_path()))), "")
        self.assertEqual(self.listed(shell.run("classes")), classes)
        self.assertEqual(shell.close(), 0)

    def test_missing_module_and_what_is_none(self):
        self.assert_done(self.khost("register"))
        before = self.read("classes")
        text = self.write("text.so", b"this is no module\n")
        other = os.path.join(os.path.dirname(module_path()), "kpr.dll" if host.WINDOWS else "libkpr.so")
        shell = self.shell()
        for command in ("register", "unregister", "info"):
            for path, code, name in ((self.path("none"), "0x96230003", "KPR_E_NOT_FOUND"),
                                     (text, "0x96230019", "KPR_E_NOT_A_DSO"),
                                     (other, "0x96240002", "KOM_E_NOT_A_MODULE")):
                with self.subTest(command=command, path=path):
                    self.assert_fails(shell.run(f"{command} {host.quoted(native(path))}"), command, code, name,
                                      os.path.basename(path))
        self.assertEqual(self.read("classes"), before)

    def test_damaged_registry(self):
        self.assert_done(self.khost("register"))
        damaged = b"this is no class registry\n\0"
        self.write("classes", damaged)
        shell = self.shell()
        for line, command in (("classes", "classes"), ("register", "register"), ("unregister", "unregister"),
                              ("cache has http://h/", "cache has")):
            with self.subTest(line=line):
                self.assert_fails(shell.run(line), command, "0x96240001", "KOM_E_BAD_REGISTRY", "classes")
        self.assertEqual(self.read("classes"), damaged)


class Why(host.HostTest):
    CLASS = MODULE_CLASSES["file-system cache"]

    def ask(self, name=CLASS):
        """What JSON tells; the lines for people hold the same."""
        told = self.khost("why", name, "--json")
        self.assertTrue(told.text, (told.status, told.errors))
        facts = json.loads(told.text)
        self.assertEqual((told.status, told.errors), (1 if facts["problem"] else 0, ""))
        lines = dict(line.split(None, 1) for line in self.khost("why", name).text.splitlines())
        named = {"class": "class", "registry": "registry", "module": "module", "internal": "internal_name",
                 "version": "version", "problem": "problem"}
        expected = {label: facts[key] for label, key in named.items() if facts[key] is not None}
        if not facts["problem"]:
            expected["result"] = "its objects can be made"
        self.assertEqual(lines, expected)
        return facts

    def registered(self, path, name=CLASS):
        self.write("classes", f"kom-classes 1\n{name} {path}\n".encode())

    def test_a_class_that_can_be_made(self):
        self.assert_done(self.khost("register"))
        before = self.tree()
        facts = self.ask()
        self.assertEqual(facts["module"].lower(), native(module_path()).lower())
        self.assertEqual((facts["registered"], facts["internal_name"], facts["version"]), (True, "kfw", "1.29.3.0"))
        self.assertEqual(self.tree(), before, "looking changes nothing")

    def test_a_class_that_nobody_has_registered(self):
        facts = self.ask()
        self.assertIn("there is no class registry yet", facts["problem"])
        self.assertEqual(os.listdir(self.folder), [])
        self.assert_done(self.khost("register"))
        facts = self.ask("none")
        self.assertEqual((facts["registered"], facts["module"]), (False, None))
        self.assertIn("no module is registered for it", facts["problem"])

    def test_a_module_that_is_gone(self):
        path = native(self.path("gone.so"))
        self.registered(path)
        facts = self.ask()
        self.assertEqual((facts["registered"], facts["module"]), (True, path))
        self.assertRegex(facts["problem"], r"the registered module is not there: KPR_E_NOT_FOUND .*: register it where it is now")

    def test_a_file_that_cannot_be_loaded(self):
        self.registered(native(self.write("text.so", b"this is no module\n")))
        self.assertRegex(self.ask()["problem"], r"the module cannot be loaded: KPR_E_NOT_A_DSO .* \(.+\)")

    def test_a_library_that_is_no_module(self):
        other = os.path.join(os.path.dirname(module_path()), "kpr.dll" if host.WINDOWS else "libkpr.so")
        self.registered(native(other))
        facts = self.ask()
        self.assertEqual(facts["internal_name"], "kpr")
        self.assertEqual(facts["problem"], "the file is no component module: it does not export dsoGetObjectFactory")

    def test_a_class_that_the_module_has_no_more(self):
        self.registered(native(module_path()), "11111111-2222-3333-4444-555555555555")
        self.assertRegex(self.ask("11111111-2222-3333-4444-555555555555")["problem"],
                         r"the module does not have the class any more: KOM_E_CLASSNOTAVAILABLE .*: register it anew")

    def test_a_damaged_registry(self):
        self.write("classes", b"this is no class registry\n")
        self.assertRegex(self.ask()["problem"], r"the class registry cannot be read: KOM_E_BAD_REGISTRY .* \(.+\)")


class Description(host.HostTest):
    KEYS = ["Product", "ProductName", "FileVersion", "ProductVersion", "FileVersionStr", "ProductVersionStr",
            "FileDescription", "InternalName", "BuildDate"]

    def test_info(self):
        shell = self.shell()
        answer = shell.run("info")
        self.assert_done(answer)
        pairs = [line.split("=", 1) for line in answer.text.splitlines()]
        self.assertEqual([key for key, _ in pairs], self.KEYS)
        self.assertEqual(dict(pairs)["InternalName"], "kfw")
        self.assertEqual(shell.run("info " + host.quoted(native(module_path()))).text, answer.text)
        self.assertEqual(list(json.loads(shell.run("info --json").text).items()), [tuple(pair) for pair in pairs])
        self.assertFalse(os.path.exists(self.classes), "describing a module registers nothing")


class Errors(host.HostTest):
    def test_errors(self):
        shell = self.shell()
        rows = shell.run("errors").text.splitlines()
        self.assertEqual(rows[0], "0x00000000 K_SUCCESS success")
        self.assertIn("0x96240012 KOM_E_CLASSNOTAVAILABLE the module does not provide the class", rows)
        self.assertEqual(rows, sorted(rows))
        one = "0x96230003 KPR_E_NOT_FOUND no such file or directory\n"
        for code in ("0x96230003", "2518876163", "KPR_E_NOT_FOUND"):
            self.assert_done(shell.run("errors " + code), one)
        self.assertEqual(json.loads(shell.run("errors 0x96230003 --json").text),
                         [{"code": "0x96230003", "name": "KPR_E_NOT_FOUND", "text": "no such file or directory"}])
        self.assertEqual(len(json.loads(shell.run("errors --json").text)), len(rows))
        unknown = shell.run("errors 0x12345678")
        self.assertEqual((unknown.status, unknown.errors), (1, "khost: errors: 0x12345678 unknown result code\n"))
        for wrong in ("0x", "0x123456789", "-1", "frob", "12x"):
            self.assert_usage(shell.run("errors -- " + wrong), "neither a number nor the name of a result code")
