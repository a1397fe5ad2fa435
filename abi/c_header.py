"""Writes c/kfw_slots.h from the other lists: the whole binary contract for a C compiler, as tables of slots."""

import re
import subprocess

# C has no overloads: the names of those that come second.
OVERLOADS = {("IEventDispatcher", 11): "addConsumerForType", ("IEventDispatcher", 13): "removeConsumerForType"}
POINTER = 8

HEAD = """// The binary contract for C, and for whatever else has no use for the C++ headers: every interface as a table of
// slots, the records that cross them, identities, codes, and the functions of the component runtime. What each
// operation does stands in the C++ header of the same name.
//
// An object is a pointer to a pointer to its table. A call hands the object itself over as first argument:
//
//     uint32_t result = dispatcher->slots->sendEvent(dispatcher, event);
//
// Made by abi/check.py --update from the lists beside this folder; do not edit.
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

"""


def plain(text):
    """A C++ type or declaration as C takes it."""
    return re.sub(r'\b(?:class|struct) ', '', re.sub(r'(?:\w+::)+', '', text))


def interfaces(text):
    """The list of interfaces: [(name, identity, [(result, name, parameters)...])...]."""
    found = []
    for block in text.strip().split("\n\n"):
        head, *rows = block.split("\n")
        name, identity = plain(head.split()[0]), head.split()[1]
        slots = []
        for index, row in enumerate(rows):
            result, operation, parameters = re.match(r'\s*\d+ (.*?)(\w+)\((.*)\)$', plain(row)).groups()
            slots.append((result, OVERLOADS.get((name, index), operation), parameters))
        if len({operation for _, operation, _ in slots}) != len(slots):
            raise ValueError(f"an overload of {name} has no name in C")
        found.append((name, identity, slots))
    return found


def records(text):
    """The list of records: [(name, size, [(offset, declaration, field)...])...]."""
    found = []
    for block in text.strip().split("\n\n"):
        head, *rows = block.split("\n")
        name, size = re.match(r'(\S+) size (\d+)', head).groups()
        fields = []
        for row in rows:
            offset, kind, field = re.match(r'\s*(\d+) (.*?)\s*(\w+)$', plain(row)).groups()
            kind, array = re.match(r'(.*?)((?:\[\d+\])?)$', kind).groups()
            function = kind.replace("(*)", f"(*{field})")
            fields.append((offset, function if function != kind else f"{kind} {field}{array}", field))
        found.append((plain(name), size, fields))
    return found


def c_header(lists, functions):
    """The header. lists: the texts of the golden lists; functions: the declarations of the component runtime."""
    text = HEAD
    tables, types = interfaces(lists["interfaces.txt"]), records(lists["records.txt"])
    for value, name in (line.split()[:2] for line in lists["codes.txt"].splitlines()):
        text += f"#define {name} {value}u\n"
    text += "#define KFAILED(pCode) ((int32_t)(pCode) < 0)\n\n"
    for line in lists["constants.txt"].splitlines():
        text += "#define {} {}u\n".format(*line.split())
    text += "\n"
    for identity, name in (line.split() for line in lists["classes.txt"].splitlines()):
        text += f'#define {name} "{identity}"\n'
    text += "\n" + "".join(f"typedef struct {name} {name};\n" for name, *_ in types + tables)

    for name, size, fields in types:
        text += f"\nstruct {name} {{\n" + "".join(f"{declaration};\n" for _, declaration, _ in fields) + "};\n"
        text += f'_Static_assert(sizeof({name}) == {size}, "{name}");\n'
        text += "".join(f'_Static_assert(offsetof({name}, {field}) == {offset}, "{name}");\n'
                        for offset, _, field in fields)

    for name, identity, slots in tables:
        text += f'\n#define IID_{name} "{identity}"\nstruct {name}Slots {{\n'
        for result, operation, parameters in slots:
            text += f"{result}(*{operation})({name}* pThis{', ' + parameters if parameters else ''});\n"
        text += f"}};\nstruct {name} {{ const struct {name}Slots* slots; }};\n"
        text += f'_Static_assert(sizeof(struct {name}Slots) == {len(slots) * POINTER}, "{name}");\n'

    text += "\n// The component runtime (kom/heap.h, kom/identity.h, kom/runtime.h).\n"
    text += "".join(plain(" ".join(function.split())) + ";\n" for function in functions)
    return subprocess.run(["clang-format-14", "--assume-filename", __file__ + ".h"], input=text, check=True,
                          stdout=subprocess.PIPE, text=True).stdout
