"""Compiles probe sources with Clang for the three C++ ABIs, to have it print how it lays things out."""

import os
import re
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
LINUX, MINGW, MICROSOFT = TARGETS = ("x86_64-pc-linux-gnu", "x86_64-w64-mingw32", "x86_64-pc-windows-msvc")
STUB = os.path.join(HERE, "stub")
FREESTANDING = ["-ffreestanding", "-nostdinc++", "-nostdlibinc", "-I" + STUB]


def output(command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout.strip()


def folder_of(compiler, header):
    """The include folder in which a compiler finds a header."""
    found = subprocess.run([compiler, "-M", "-xc++", "-"], input=f"#include <{header}>\n", check=True,
                           stdout=subprocess.PIPE, text=True).stdout
    return re.search(r"(\S+)/" + re.escape(header), found).group(1)


def with_library(target, folder):
    """The options for a source that needs the standard library and Boost: the target's own where they are at hand, else
    stubs. The folder is an empty one that lives as long as the options are used."""
    if target == LINUX:
        return []
    if target == MINGW:
        # Clang does not find the headers by itself where the tool chain has variants.
        gcc = output(["x86_64-w64-mingw32-g++-posix", "-print-file-name=include"])
        os.symlink(os.path.join(folder_of("g++", "boost/version.hpp"), "boost"), os.path.join(folder, "boost"))  # and nothing else of that system
        folders = [folder, os.path.join(gcc, "c++"), os.path.join(gcc, "c++", "x86_64-w64-mingw32"),
                   os.path.join(output(["clang++-14", "-print-resource-dir"]), "include"),
                   folder_of("x86_64-w64-mingw32-g++-posix", "windows.h")]
        return ["-nostdinc"] + [option for folder in folders for option in ("-isystem", folder)]
    return FREESTANDING + ["-I" + os.path.join(STUB, "classes")]


def compile_probe(target, text, dump, options, folders):
    """Clang's standard output for a source, with a -cc1 option that makes it print layouts."""
    with tempfile.TemporaryDirectory() as folder:
        probe = os.path.join(folder, "probe.cpp")
        with open(probe, "w", encoding="utf-8") as file:
            file.write(text)
        command = ["clang++-14", "-std=c++20", "-target", target] + options + ["-I" + name for name in folders]
        result = subprocess.run(command + ["-emit-llvm", "-S", "-o", os.devnull, "-Xclang", dump, probe],
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if result.returncode:
        sys.exit(f"abi: the probe does not compile for {target}:\n{result.stderr}")
    return result.stdout
