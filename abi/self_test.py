#!/usr/bin/env python3
"""Shows that check.py catches what breaks a client: each deliberate break is made in a copy of the sources, and the
comparison with a list has to fail on it. Writes a report of the counts when --report is given."""

import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)

# What check.py looks at.
PARTS = ("kpr/include", "kom/include", "kgen/include", "kutil/include", "kfw", "drivers/drivers.map")

# What is broken, the list that has to tell, in which file, the text and what it becomes.
BREAKS = [
    ("an inserted virtual", "interfaces.txt", "kfw/include/kfw/IEventDispatcher.h",
     "    virtual uint32_t sendEvent(", "    virtual uint32_t peekEvent() = 0;\n    virtual uint32_t sendEvent("),
    ("a swapped pair", "interfaces.txt", "kfw/include/kfw/IFileSystemCache.h",
     "    virtual uint32_t pinObject(const char* pUri) = 0;\n    virtual uint32_t pinObjectById(const CacheId* pId) = 0;\n",
     "    virtual uint32_t pinObjectById(const CacheId* pId) = 0;\n    virtual uint32_t pinObject(const char* pUri) = 0;\n"),
    ("a virtual destructor in a base", "interfaces.txt", "kom/include/kom/unknown.h",
     "protected:\n    ~IUnknown() = default;", "protected:\n    virtual ~IUnknown() = default;"),
    ("a changed width", "interfaces.txt", "kfw/include/kfw/IFileSystemCache.h",
     "virtual uint32_t hasObject(const char* pUri, uint32_t* pExists)",
     "virtual uint32_t hasObject(const char* pUri, uint64_t* pExists)"),
    ("a widened field", "records.txt", "kfw/include/kfw/IFileSystemCache.h",
     "    uint32_t mSize = 0;\n    uint8_t* mData", "    uint64_t mSize = 0;\n    uint8_t* mData"),
    ("overloads in one order for both ABIs", "interfaces.txt", "kfw/include/kfw/IEventDispatcher.h",
     "#if defined(_MSC_VER)", "#if 0"),
    ("a changed identity", "interfaces.txt", "kfw/include/kfw/IIdleCallout.h", "IIdleCallout:1.0", "IIdleCallout:1.1"),
    ("a changed result code", "codes.txt", "kpr/include/kpr/codes.h", "0x9623000B", "0x9623000D + 0"),
    ("a changed class identity", "classes.txt", "kfw/include/kfw/classes.h", "a20d8cf0", "a20d8cf1"),
    ("an exported function that is gone", "exports/kom.txt", "kom/include/kom/heap.h", "KOM_API void* komRealloc(", "void* komRealloc("),
    ("a module that exports more", "exports/kfw.txt", "kfw/module/kfw.map", "dsoUnregisterServer;", "dsoUnregisterServer; dsoUnload;"),
    ("a header for C that lags behind", "c/kfw_slots.h", "kfw/include/kfw/IFeatureSet.h",
     "    virtual uint32_t isEnabled(", "    virtual uint32_t getCount() = 0;\n    virtual uint32_t isEnabled("),
    ("a constant of another value", "constants.txt", "kfw/include/kfw/IFeatureSet.h",
     "FEATURE_ASK_TRUE = 4", "FEATURE_ASK_TRUE = 16"),
    ("a destructor that moves", "vtables-linux.txt", "kfw/settings/kfw_UserData.h",
     "    virtual ~UserData();\n    virtual bool isInitialized() = 0;\n",
     "    virtual bool isInitialized() = 0;\n    virtual ~UserData();\n"),
    ("a swapped pair of a class's own", "vtables-mingw.txt", "kfw/settings/kfw_SendMailConfig.h",
     "    virtual bool isInitialized() = 0;\n    virtual bool isReadOnly() = 0;\n",
     "    virtual bool isReadOnly() = 0;\n    virtual bool isInitialized() = 0;\n"),
    ("interfaces in another order", "vtables-microsoft.txt", "kfw/settings/kfw_UserData.h",
     "fw::IAddressData2, fw::IUserData>", "fw::IUserData, fw::IAddressData2>"),
    ("a virtual in a class's base", "vtables-microsoft.txt", "kfw/module/kfw_ObjectFactory.h",
     "    uint32_t lockServer()", "    virtual uint32_t unlockServer() { return 0; }\n    uint32_t lockServer()"),
    ("overloads of a class's interface in one order", "vtables-microsoft.txt", "kfw/include/kfw/IEventDispatcher.h",
     "#if defined(_MSC_VER)", "#if 0"),
]


def caught(golden, header, old, new):
    with tempfile.TemporaryDirectory() as folder:
        for part in PARTS:
            copy = shutil.copytree if os.path.isdir(os.path.join(ROOT, part)) else shutil.copy
            os.makedirs(os.path.dirname(os.path.join(folder, part)), exist_ok=True)
            copy(os.path.join(ROOT, part), os.path.join(folder, part))
        path = os.path.join(folder, header)
        with open(path, encoding="utf-8") as file:
            text = file.read()
        if old not in text:
            print(f"    the text to break is gone from {header}")
            return False
        with open(path, "w", encoding="utf-8") as file:
            file.write(text.replace(old, new, 1))
        result = subprocess.run([sys.executable, os.path.join(HERE, "check.py"), "--root", folder, "--only", golden],
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        return result.returncode != 0 and not re.search("Traceback|does not compile", result.stdout)


def main():
    report = {"passed": 0, "failed": 0, "skipped": 0, "reasons": []}
    for name, golden, header, old, new in BREAKS:
        good = caught(golden, header, old, new)
        print(f"{name}: {'caught' if good else 'NOT CAUGHT'}")
        report["passed" if good else "failed"] += 1
    if len(sys.argv) > 2 and sys.argv[1] == "--report":
        with open(sys.argv[2], "w", encoding="utf-8") as file:
            json.dump(report, file)
    return 1 if report["failed"] else 0


if __name__ == "__main__":
    sys.exit(main())
