#!/usr/bin/env python3
"""Compares the published binary contract with the golden lists beside this script.

check.py              compares; status 1 and the differences when anything has changed
check.py --update     writes the golden lists anew, for a deliberate change
check.py --only LIST  looks at one list only (with either)

interfaces.txt: every interface with its identity and its slots, counted from 0, the inherited ones included. Clang lays
each out for three targets (Linux, MinGW, Microsoft), freestanding, with the few standard headers of stub/;
the three have to be equal. records.txt: size and field offsets of the records that cross an interface, the
same for all. constants.txt: the named values of flags and levels. codes.txt: the result codes, of which docs/result-codes.md is the page. classes.txt: the module's
classes. vtables-*.txt: the tables of those classes, their factories and what they hand to the application, for each of
the three C++ ABIs (vtables.py). exports/: what each library exports, as its headers and version scripts say; the tests
of each target compare the built files with the same lists (check_exports.cmake). c/kfw_slots.h: interfaces, records,
codes, constants and classes for C, made from the lists (c_header.py).
"""

import argparse
import difflib
import functools
import json
import os
import re
import sys

import c_header
import vtables
import probe
from probe import TARGETS

HERE = os.path.dirname(os.path.abspath(__file__))
RECORDS = ("ModuleAttributes", "KprAttribute", "vel::kos::fw::CacheId", "vel::kos::fw::KFSCacheAttr",
           "vel::kos::fw::CacheAttrList", "vel::kos::fw::CacheBytes", "vel::kos::fw::AttributeList",
           "vel::kos::fw::Attribute", "vel::kos::fw::SysInfoModule", "vel::kos::fw::ModuleList",
           "vel::kos::sql::StringList", "vel::kos::sql::FactoryList", "vel::kos::sql::SqlValue",
           "vel::kos::sql::SqlValueList", "vel::kos::sql::SqlRowBlock", "vel::kos::sql::SqlColumn",
           "vel::kos::sql::SqlColumnList", "vel::kos::sql::SqlError", "KomHeapStats",
           "KomRegistration", "KomRegistrar", "KomClass", "KomClassList", "KomResultCode")
RUNTIME = ("kom/heap.h", "kom/identity.h", "kom/runtime.h")
INTERFACE = re.compile(r'^class (I[A-Z]\w*)(?: : public [\w:]+)? \{\n.*?static constexpr char IID\[\] = "([^"]+)"',
                       re.MULTILINE | re.DOTALL)
CLASS_ID = re.compile(r'inline constexpr char (CLASS_\w+)\[\] =\s*"([^"]+)"')
CODE = re.compile(r'X\((\w+), (0x[0-9A-F]{8})u,\s*"([^"]*)"\)')
EXPORTED = re.compile(r'^K(?:PR|OM)_API [^;{(]*?(\w+)\(', re.MULTILINE)
CODES_PAGE = """# Result codes

Every operation returns an unsigned 32-bit number: 0 is success, a code with the top bit set is a failure, a positive code is a
success that tells something. Operations that take the sign of a result as yes or no say so. `khost errors` prints this table,
`komStrError` gives a code's text, `komGetResultName` its name. This page is made from `kpr/include/kpr/codes.h` by
`abi/check.py --update`.

| code | name | text |
|---|---|---|
"""


class Tree:
    """The sources of one checkout."""

    def __init__(self, root):
        self.root = root
        self.headers = []
        for folder in ("kom/include", "kfw/include"):
            for path, folders, names in os.walk(os.path.join(root, folder)):
                if "client" in folders:
                    folders.remove("client")  # compiled into the programs that use it: nothing of it crosses a library
                self.headers += [os.path.relpath(os.path.join(path, name), os.path.join(root, folder))
                                 for name in names if name.endswith(".h")]
        self.headers.sort()
        self.interfaces = {}  # qualified name -> (header, identity)
        for header in self.headers:
            text = self.read(header)
            namespace = re.search(r'^namespace ([\w:]+) \{', text, re.MULTILINE)
            for name, identity in INTERFACE.findall(text):
                self.interfaces[namespace.group(1) + "::" + name] = (header, identity)

    def read(self, header):
        for folder in ("kom/include", "kfw/include", "kpr/include"):
            path = os.path.join(self.root, folder, header)
            if os.path.exists(path):
                with open(path, encoding="utf-8") as file:
                    return file.read()
        raise FileNotFoundError(header)

    def compile(self, target, text, option):
        """Clang's standard output for a probe source that needs the public headers only."""
        folders = [os.path.join(self.root, layer, "include") for layer in ("kfw", "kom", "kpr")]
        return probe.compile_probe(target, text, option, probe.FREESTANDING, folders)

    def slots(self, target):
        """Every interface's own slots: {interface: {index: declaration}}."""
        text = "".join(f'#include "{header}"\n' for header in sorted({row[0] for row in self.interfaces.values()}))
        for number, name in enumerate(self.interfaces):
            text += f"struct Probe{number} : {name} {{ Probe{number}(); }};\nProbe{number}::Probe{number}() {{}}\n"
        own = {}
        for block in self.compile(target, text, "-fdump-vtable-layouts").split("\n\n"):
            head = re.match(r"\s*VF?Table indices for '([^']+)'", block)
            if head and head.group(1) in self.interfaces:
                own[head.group(1)] = {int(index): declaration.replace(head.group(1) + "::", "", 1) for index, declaration
                                      in re.findall(r'^\s*(\d+) \| (.+)$', block, re.MULTILINE)}
        return own

    def parents(self):
        found = {}
        for name, (header, _) in self.interfaces.items():
            short = name.split("::")[-1]
            base = re.search(rf'^class {short} : public ([\w:]+)', self.read(header), re.MULTILINE)
            if base:
                found[name] = next(other for other in self.interfaces
                                   if other == base.group(1) or other == name.rsplit("::", 1)[0] + "::" + base.group(1))
        return found

    def chains(self):
        """Every interface, in order, with those it extends: itself first."""
        parents, chains = self.parents(), {}
        for name in sorted(self.interfaces):
            chain = [name]
            while chain[-1] in parents:
                chain.append(parents[chain[-1]])
            chains[name] = chain
        return chains

    def interface_list(self):
        lists = {target: self.slots(target) for target in TARGETS}
        for target in TARGETS[1:]:
            if lists[target] != lists[TARGETS[0]]:
                for name in self.interfaces:
                    if lists[target].get(name) != lists[TARGETS[0]].get(name):
                        sys.exit(f"abi: the slots of {name} differ between {TARGETS[0]} and {target}:\n"
                                 f"{lists[TARGETS[0]].get(name)}\n{lists[target].get(name)}")
        own, text = lists[TARGETS[0]], ""
        for name, chain in self.chains().items():
            text += f"{name} {self.interfaces[name][1]}\n"
            for level in reversed(chain):
                for index, declaration in sorted(own.get(level, {}).items()):
                    text += f"{index:4} {declaration}\n"
            text += "\n"
        return text

    def record_list(self):
        texts = set()
        for target in TARGETS:
            headers = ["kpr/dso.h", *RUNTIME] + [header for header in self.headers if header.startswith("kfw/")]
            source = "".join(f'#include "{header}"\n' for header in headers)
            every = "".join(self.read(header) for header in headers)
            names = [name for name in RECORDS if re.search(rf'^struct {name.split("::")[-1]} \{{', every, re.MULTILINE)]
            source += "".join(f"static_assert(sizeof({name}) > 0);\n" for name in names)
            blocks = {}
            for block in self.compile(target, source, "-fdump-record-layouts").split("\n\n"):
                head = re.search(r'^\s*0 \| struct ([\w:]+)$', block, re.MULTILINE)
                size = re.search(r'\[sizeof=(\d+), (?:dsize=\d+, )?align=(\d+)', block)
                if head and size and head.group(1) in names:
                    fields = [row for row in re.findall(r'^\s*(\d+) \|   (\S.*?)\s*$', block, re.MULTILINE)]
                    blocks[head.group(1)] = f"{head.group(1)} size {size.group(1)} align {size.group(2)}\n" + "".join(
                        f"{offset:>4} {field}\n" for offset, field in fields)
            texts.add("\n".join(blocks[name] for name in names if name in blocks))
        if len(texts) != 1:
            sys.exit("abi: the records differ between the targets:\n" + "\n----\n".join(sorted(texts)))
        return texts.pop()

    def export_list(self, module):
        """The exported functions of a C library from its headers, those of a component module from its version
        script."""
        if module in ("kpr", "kom"):
            folder = os.path.join(self.root, module, "include", module)
            symbols = [name for header in os.listdir(folder)
                       for name in EXPORTED.findall(self.read(f"{module}/{header}"))]
        else:
            folder = "kfw/module" if module == "kfw" else module
            with open(os.path.join(self.root, folder, module + ".map"), encoding="utf-8") as file:
                symbols = re.findall(r'\w+', re.search(r'global:([^:]*;)', file.read()).group(1))
        return "".join(symbol + "\n" for symbol in sorted(symbols))

    def vtable_list(self, target):
        return vtables.vtable_list(target, self.root, {name: len(chain) for name, chain in self.chains().items()})

    def constants(self):
        """The named values that operations take and return."""
        values = ""
        for header in self.headers:
            for body in re.findall(r'^enum \w+ : uint32_t \{(.*?)\}', self.read(header), re.MULTILINE | re.DOTALL):
                values += "".join(f"{name} {value}\n" for name, value in re.findall(r'(\w+) = (\d+)', body))
        return values

    def c_header(self):
        lists = {name: make() for name, make in self.golden().items()
                 if name in ("interfaces.txt", "records.txt", "codes.txt", "constants.txt", "classes.txt")}
        functions = [function for header in RUNTIME
                     for function in re.findall(r'^KOM_API ([^;]+);', self.read(header), re.MULTILINE)]
        return c_header.c_header(lists, functions)

    def codes(self):
        return CODE.findall(self.read("kpr/codes.h"))

    def golden(self):
        """Every list, and what makes its text."""
        lists = {"interfaces.txt": self.interface_list, "records.txt": self.record_list,
                 "constants.txt": self.constants, "c/kfw_slots.h": self.c_header,
                 "codes.txt": lambda: "".join(f"{value} {name} {text}\n" for name, value, text in self.codes()),
                 "../docs/result-codes.md": lambda: CODES_PAGE + "".join(
                     f"| `{value}` | `{name}` | {text} |\n" for name, value, text in self.codes()),
                 "classes.txt": lambda: "".join(f"{identity} {name}\n" for name, identity
                                                in CLASS_ID.findall(self.read("kfw/classes.h")))}
        for module in ("kpr", "kom", "kfw", "drivers"):
            lists[f"exports/{module}.txt"] = functools.partial(self.export_list, module)
        for name, target in vtables.ABIS.items():
            lists[name] = functools.partial(self.vtable_list, target)
        return lists


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--update", action="store_true")
    parser.add_argument("--root", default=os.path.dirname(HERE), help="the checkout to look at")
    parser.add_argument("--report", help="writes a report of the counts")
    parser.add_argument("--only", metavar="LIST", help="one list, such as interfaces.txt")
    options = parser.parse_args()
    failed = 0
    lists = Tree(os.path.abspath(options.root)).golden()
    if options.only:
        lists = {options.only: lists[options.only]}
    for name, make in lists.items():
        text = make()
        path = os.path.join(HERE, name)
        if options.update:
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)
            continue
        with open(path, encoding="utf-8") as file:
            golden = file.read()
        if golden != text:
            failed += 1
            sys.stdout.writelines(difflib.unified_diff(golden.splitlines(True), text.splitlines(True),
                                                       "golden " + name, "this tree"))
    if options.report:
        with open(options.report, "w", encoding="utf-8") as file:
            json.dump({"passed": len(lists) - failed, "failed": failed, "skipped": 0, "reasons": []}, file)
    if not failed and not options.update:
        print(f"abi: {len(lists)} lists are as published")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
