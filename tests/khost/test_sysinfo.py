"""The system's facts and the loaded modules."""

import json
import os
import platform
import re

import host
from host import native


def pairs(text):
    return [tuple(line.split("=", 1)) for line in text.splitlines()]


class ShellTest(host.HostTest):
    """Every test asks one shell: processes are dear under Wine."""

    def setUp(self):
        super().setUp()
        self.asked = self.shell()

    def ask(self, *words):
        return self.asked.run(" ".join(map(host.quoted, words)))


class SystemFacts(ShellTest):
    def test_groups_come_in_the_modules_order(self):
        result = self.ask("sysinfo", "os", "mem", "hw")
        self.assert_done(result)
        keys = [key for key, _ in pairs(result.text)]
        groups = [key.split(".")[0] + (".mem" if key.startswith("hw.mem.") else "") for key in keys]
        self.assertEqual(sorted(set(groups), key=groups.index), ["hw", "hw.mem", "os"])
        self.assertEqual(groups, sorted(groups))
        everything = self.ask("sysinfo")
        self.assert_done(everything)
        self.assertEqual([key for key, _ in pairs(everything.text)], keys)

    def test_one_group(self):
        for group, prefix in (("os", "os."), ("mem", "hw.mem."), ("hw", "hw.")):
            result = self.ask("sysinfo", group)
            self.assert_done(result)
            found = pairs(result.text)
            self.assertTrue(found and all(key.startswith(prefix) and value for key, value in found), result.text)
            self.assertEqual(any(key.startswith("hw.mem.") for key, _ in found), group == "mem")

    def test_facts_are_those_of_this_machine(self):
        facts = dict(pairs(self.ask("sysinfo").text))
        self.assertEqual(facts["hw.architecture"], "amd64")
        self.assertEqual(int(facts["hw.cpu.cores"]), os.cpu_count())
        self.assertGreater(int(facts["hw.mem.totalPhysical"]), int(facts["hw.mem.availPhysical"]))
        if host.WINDOWS:
            self.assertEqual(facts["os.vendor"], "Microsoft Corporation")
            self.assertRegex(facts["os.productName"], r"^Windows ")
        else:
            self.assertEqual(facts["os.version"], platform.release())
            self.assertEqual(facts["os.productName"], platform.freedesktop_os_release()["PRETTY_NAME"])

    def test_json(self):
        text = self.ask("sysinfo", "os", "hw")
        answer = self.ask("sysinfo", "os", "hw", "--json")
        self.assert_done(answer)
        self.assertEqual(list(json.loads(answer.text)), [key for key, _ in pairs(text.text)])

    def test_unknown_group(self):
        self.assert_usage(self.ask("sysinfo", "disk"), "disk")


class Inventory(ShellTest):
    def test_table_and_json_agree(self):
        table = self.ask("modules")
        self.assert_done(table)
        lines = table.text.splitlines()
        self.assertRegex(lines[0], r"^INTERNAL NAME +FILE VERSION +PATH$")
        answer = self.ask("modules", "--json")
        self.assert_done(answer)
        rows = json.loads(answer.text)
        names = [row["internal"] for row in rows]
        self.assertEqual(names, sorted(names))
        self.assertEqual(len(rows), len(lines) - 1)
        for row, line in zip(rows, lines[1:]):
            self.assertEqual(list(row), ["path", "file", "internal", "attributes"])
            self.assertTrue(line.startswith(row["internal"] + " ") and line.endswith("  " + row["path"]), line)
            self.assertEqual(row["path"].rsplit("/", 1)[1], row["file"])
            self.assertTrue(any(key == "InternalName" for key, _ in row["attributes"]))
            if not host.WINDOWS:
                self.assertTrue(os.path.exists(row["path"]), row["path"])
        self.assertIn("kfw", names)

    def test_our_own_libraries_tell_their_version_and_product(self):
        folder = os.path.dirname(host.KHOST[-1])
        ours = {"kpr", "kom", "kutil", "kfw", "khost"}
        rows = {row["internal"]: row for row in json.loads(self.ask("modules", "--json").text)}
        self.assertLessEqual(ours, set(rows))
        for name in ours:
            with self.subTest(module=name):
                attributes = dict(rows[name]["attributes"])
                self.assertEqual({key: attributes.get(key) for key in ("Product", "FileVersion", "ProductVersion")},
                                 {"Product": "KOS", "FileVersion": host.VERSION, "ProductVersion": host.VERSION})
                self.assertTrue(attributes["FileDescription"].startswith("KOS "), attributes)
                self.assertEqual(attributes["InternalName"], name)
                self.assertEqual(list(attributes)[-1], "DebugId" if host.WINDOWS else "BuildId")
                self.assertTrue(os.path.exists(os.path.join(folder, rows[name]["file"])))

    def test_one_module(self):
        result = self.ask("module", "KFW")
        self.assert_done(result)
        found = pairs(result.text)
        file = "kfw.dll" if host.WINDOWS else "libkfw.so"
        self.assertEqual([key for key, _ in found[:3]], ["path", "file", "internal"])
        self.assertEqual([value for _, value in found[1:3]], [file, "kfw"])
        self.assertIn(("FileDescription", "KOS Framework"), found)
        self.assertEqual([key for key, _ in found[3:]][:3], ["Product", "ProductName", "FileVersion"])
        answer = self.ask("module", file, "--json")
        self.assert_done(answer)
        row = json.loads(answer.text)
        self.assertEqual([tuple(pair) for pair in row["attributes"]], found[3:])

    def test_a_path_as_it_is_typed(self):
        path = native(os.path.join(os.path.dirname(host.KHOST[-1]), "kfw.dll" if host.WINDOWS else "libkfw.so"))
        self.assert_done(self.ask("version", path), host.VERSION + "\n")

    def test_the_program_itself(self):
        result = self.ask("module", "khost")
        self.assert_done(result)
        self.assertEqual(dict(pairs(result.text))["file"].lower(), os.path.basename(host.KHOST[-1]))

    def test_a_system_library(self):
        name = "kernel32" if host.WINDOWS else "libc.so.6"
        result = self.ask("version", name)
        self.assert_done(result)
        self.assertRegex(result.text, r"^[0-9.]+\n$")

    def test_no_such_module(self):
        for command in ("module", "version"):
            self.assert_fails(self.ask(command, "nothere"), command, "0x96260402", "KFW_E_NO_MODULE", "nothere")

    def test_product(self):
        self.assert_done(self.ask("product", "KOS"), f"{host.VERSION} {host.VERSION}\n")
        answer = self.ask("product", "KOS", "--json")
        self.assert_done(answer)
        self.assertEqual(json.loads(answer.text), {"min": host.VERSION, "max": host.VERSION})
        self.assert_fails(self.ask("product", "kos"), "product", "0x96260403", "KFW_E_NO_PRODUCT", "kos")
        self.assert_fails(self.ask("product", ""), "product", "0x80070057", "E_INVALIDARG")

    def test_a_name_is_needed(self):
        for command in ("module", "version", "product"):
            self.assert_usage(self.ask(command), "NAME")

    def test_in_a_process_of_its_own(self):
        self.assert_done(self.khost("version", "kfw"), host.VERSION + "\n")
        self.assertRegex(self.khost("sysinfo", "os").text, re.compile(r"^os\.vendor=", re.MULTILINE))
