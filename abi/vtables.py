"""The slots of the module's classes: their interfaces' slots, then their own, the destructor among them.

The three C++ ABIs differ here: a virtual destructor takes two slots in one and one in the other, and a class with
several interfaces repeats the operations of the others in its first table, or does not.
"""

import os
import re
import tempfile

import probe

ABIS = {"vtables-linux.txt": probe.LINUX, "vtables-mingw.txt": probe.MINGW, "vtables-microsoft.txt": probe.MICROSOFT}
HEADERS = ("kfw/events/kfw_EventDispatcher.h", "kfw/cache/kfw_FSCache.h", "kfw/features/kfw_FeatureSet.h",
           "kfw/settings/kfw_RegDbSendMailConfig.h", "kfw/settings/kfw_RegDbUserData.h",
           "kfw/module/kfw_SingletonObjectFactory.h", "kfw/sql/kfw_SqlDbFactoryReg.h", "kfw/sysinfo/kfw_SystemInfo.h")
# Each class, and an expression that needs its table.
CLASSES = {
    "EventDispatcher": "&kfw::EventDispatcher::init",
    "EventDispatcher::IdleCallout": "&kfw::EventDispatcher::IdleCallout::onIdle",
    "RegDbUserData": "new kfw::RegDbUserData",
    "RegDbSendMailConfig": "new kfw::RegDbSendMailConfig",
    "SqlDbFactoryReg": "&kfw::SqlDbFactoryReg::registerFactory",
    "FSCache": "&kfw::FSCache::init",
    "SystemInfo": "&kfw::SystemInfo::init",
    "FeatureSet": "&kfw::FeatureSet::init",
    "ObjectFactory": "&util::ObjectFactory<kfw::FSCache>::createInstance",
    "SingletonObjectFactory": "new util::SingletonObjectFactory<kfw::SqlDbFactoryReg>",
    "AppCloseHookAdapter": "&util::AppCloseHookAdapter<kfw::RegDbUserData>::onAppClose",
}
NAMESPACE = re.compile(r'^vel::kos::(?:kfw|util)::')
SLOT = re.compile(r'^ +\d+ \| (.+)$')


def declaration(text):
    """A slot's declaration without what tells the class that implements it."""
    text = re.sub(r' \[\w+ = .*?\](?= \[|$)', '', text)
    text, count = re.subn(r'<[^<>]*>', '', text)
    while count:
        text, count = re.subn(r'<[^<>]*>', '', text)
    return re.sub(r'(?:\w+::)+', '', text)


def itanium_tables(block):
    """One block holds all tables of a class, each behind its offset and its type information."""
    tables = []
    for line in block.splitlines()[1:]:
        slot, address = SLOT.match(line), re.match(r'^ +-- \(([\w:]+), \d+\) vtable address --$', line)
        if slot and slot.group(1).startswith("offset_to_top"):
            tables.append((set(), []))
        elif address:
            tables[-1][0].add(address.group(1))
        elif slot and not slot.group(1).endswith(" RTTI"):
            tables[-1][1].append(declaration(slot.group(1)))
    return tables


def class_tables(target, output):
    """{class: [(names of the table's types, slots)...]}; all instances of a template have to agree."""
    found = {}
    for block in output.split("\n\n"):
        head = block.strip().splitlines()[0] if block.strip() else ""
        if target == probe.MICROSOFT:
            path = re.findall(r"'([^']+)'", head) if head.startswith("VFTable for ") else []
            slots = [SLOT.match(line).group(1) for line in block.splitlines() if SLOT.match(line)]
            rows = [(set(path), [declaration(slot) for slot in slots[1:]])]  # the first is the type information
        else:
            path = re.findall(r"^Vtable for '([^']+)'", head)
            rows = itanium_tables(block.strip()) if path else []
        if path and NAMESPACE.match(path[-1]):
            name = NAMESPACE.sub('', path[-1])
            tables = found.setdefault(name, [])
            tables += [row for row in rows if row not in tables]
    return found


def vtable_list(target, root, depth):
    """The golden list of one ABI. depth tells how many interfaces an interface extends."""
    text = "".join(f'#include "{header}"\n' for header in HEADERS) + "using namespace vel::kos;\n"
    text += "".join(f"auto probe{number} = {needs};\n" for number, needs in enumerate(CLASSES.values()))
    folders = [root] + [os.path.join(root, layer, "include")
                        for layer in ("kfw", "kutil", "kgen", "kom", "kpr")]
    with tempfile.TemporaryDirectory() as scratch:
        tables = class_tables(target, probe.compile_probe(target, text, "-fdump-vtable-layouts",
                                                          probe.with_library(target, scratch), folders))
    result = ""
    for name in CLASSES:
        result += name + "\n"
        for types, slots in tables[name]:
            interface = max((kind for kind in types if kind in depth), key=depth.get)
            result += f"  as {interface}\n" + "".join(f"{index:4} {slot}\n" for index, slot in enumerate(slots))
        result += "\n"
    return result
