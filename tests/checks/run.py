#!/usr/bin/env python3
"""Rules of the source tree that no compiler checks. Each check returns the lines that break its rule."""

import argparse
import json
import os
import re
import subprocess
import sys

ROOT = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))

# Which layers a layer may include headers of (its own apart).
LAYERS = {
    "kpr": [],
    "kgen": ["kpr"],
    "kom": ["kpr"],
    "kfw/include": ["kom", "kpr"],
    "kutil": ["kfw", "kom", "kpr", "kgen"],
    "kfw": ["kutil", "kom", "kpr", "kgen"],
    "host": ["kfw", "kutil", "kom", "kpr", "kgen"],
    "drivers": ["kfw", "kom", "kpr"],
    "tools": ["kom", "kpr", "kgen"],
    "examples": ["host", "kfw", "kutil", "kom", "kpr"],
}
SYSTEM_HEADERS = re.compile(
    r'#\s*include\s*<(windows|winsock2|winternl|winreg|winver|psapi|powrprof|bcrypt|shlobj|shellapi|tlhelp32|'
    r'unistd|fcntl|dlfcn|link|elf|dirent|pthread|sched|signal|poll|termios|spawn|pwd|grp|'
    r'sys/[a-z]+|arpa/[a-z]+|netinet/[a-z]+|linux/[a-z]+)\.h>')
SYSTEM_TYPES = re.compile(r'\b(HANDLE|HMODULE|DWORD|HKEY|LPVOID|LPCSTR|LPCWSTR|BOOL|pid_t|off_t|ssize_t|mode_t|wchar_t)\b')
TEST_FILE = re.compile(r'_test\.(cpp|h)$|/testing/')
SYSTEM_FILE = re.compile(r'_(win|posix|linux)(_test)?\.(cpp|h)$')


def sources(pattern=r'\.(cpp|h|hpp|c)$'):
    names = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, check=True,
                           stdout=subprocess.PIPE, text=True).stdout.splitlines()
    return [name for name in names if re.search(pattern, name) and os.path.exists(os.path.join(ROOT, name))]


def lines(name):
    with open(os.path.join(ROOT, name), encoding="utf-8") as file:
        return list(enumerate(file.read().splitlines(), 1))


def check_system_headers():
    """Operating-system headers stand only in *_win, *_posix and *_linux files."""
    return [f"{name}:{number}: {line.strip()}" for name in sources() if not SYSTEM_FILE.search(name)
            for number, line in lines(name) if SYSTEM_HEADERS.search(line)]


def check_public_headers():
    """Public headers hold no operating-system type."""
    return [f"{name}:{number}: {line.strip()}" for name in sources(r'/include/.*\.h$')
            for number, line in lines(name) if SYSTEM_TYPES.search(re.sub(r'//.*', '', line))]


def layer_of(name):
    best = [layer for layer in LAYERS if name.startswith(layer + "/")]
    return max(best, key=len) if best else None


def includes(name):
    """The includes of a source: line numbers and the files' names."""
    for number, line in lines(name):
        include = re.match(r'\s*#\s*include\s*[<"]([^>"]+)[>"]', line)
        if include:
            yield number, include.group(1)


FOLDERS = set(layer.split("/")[0] for layer in LAYERS) | {"tests", "fuzz", "bench", "abi"}
# The layout of the cache on disk, which the host's offline commands read as well; a look at what stands beside a
# SQLite database, for all who open one.
SHARED = {"host": "kfw/cache/format/", "kutil": "kpr/sqlite/", "drivers": "kpr/sqlite/"}


def check_layers():
    """A layer includes only public headers of the layers below it."""
    found = []
    for name in sources():
        layer = layer_of(name)
        if layer is None or TEST_FILE.search(name) or "/testmodule" in name:
            continue
        own = layer.split("/")[0]
        for number, include in includes(name):
            folder = include.split("/")[0]
            if folder not in FOLDERS or folder == own and not (layer == "kfw/include" and "/kfw_" in include):
                continue
            private = os.path.basename(include).startswith(folder + "_")
            if folder not in LAYERS[layer] + [own] or private and not include.startswith(SHARED.get(layer, "-")):
                found.append(f"{name}:{number}: {layer} must not include {include}")
    return found


def check_components():
    """No component of kfw/ includes another one (tests may use kfw/module), nor cache/format/ the cache."""
    found = []
    for name in sources():
        own = re.match(r'kfw/(\w+)/', name)
        if not own or own.group(1) in ("include", "module"):
            continue
        allowed = {own.group(1), "module"} if TEST_FILE.search(name) else {own.group(1)}
        for number, include in includes(name):
            other = re.match(r'kfw/(\w+)/(?:\w+/)*kfw_', include)
            if other and other.group(1) not in allowed:
                found.append(f"{name}:{number}: includes {include}")
            if name.startswith("kfw/cache/format/") and re.match(r'kfw/cache/(?!format/)', include) and \
                    not TEST_FILE.search(name):
                found.append(f"{name}:{number}: includes {include}")
    return found


def check_private_includes():
    """A quoted include names a public header, or a private one by its path from the root."""
    public = {re.sub(r'^.*/include/', '', name) for name in sources(r'/include/.*\.h$')}
    found = []
    for name in sources():
        if name.startswith("abi/"):
            continue  # compiled without the build's folders
        for number, line in lines(name):
            include = re.match(r'\s*#\s*include\s*"([^"]+)"', line)
            if not include or include.group(1) in public:
                continue
            if "/" not in include.group(1) or not os.path.exists(os.path.join(ROOT, include.group(1))):
                found.append(f"{name}:{number}: {line.strip()}")
    return found


def check_cache_layout():
    """Paths in a cache's folder are made from the names in kfw_CacheLayout.h."""
    return [f"{name}:{number}: {line.strip()}" for name in sources() if is_product(name)
            for number, line in lines(name)
            if re.search(r'([pP]ath|[dD]ir|Folder|Separator)\w*\b.*"(objects|inserted|cleaned)"', line)]


def check_assertion_sources():
    """_kAssert is given the class's source name, never __FILE__."""
    return [f"{name}:{number}: {line.strip()}" for name in sources() for number, line in lines(name)
            if "__FILE__" in line]


# What a thread's own object may be: plain numbers, pointers and arrays of them.
PLAIN_THREAD_LOCAL = re.compile(r'\bthread_local\s+(constinit\s+)?(const\s+)?((unsigned |signed )?(bool|char|short|int|long)|'
                                r'u?int(8|16|32|64|ptr)_t|size_t|[\w:]+\s*\*)\s*\**\s*\w+')


def check_thread_locals():
    """No thread_local object has a destructor: MinGW frees its memory first."""
    return [f"{name}:{number}: {line.strip()}" for name in sources() if not re.search(r'_(posix|linux)', name)
            for number, line in lines(name)
            if re.search(r'\bthread_local\b', re.sub(r'//.*', '', line)) and not PLAIN_THREAD_LOCAL.search(line)]


def is_product(name):
    """Whether a source is part of what is shipped, or an example of it: no test, no benchmark."""
    return layer_of(name) is not None and not TEST_FILE.search(name) and "/testmodule/" not in name


# util::Mutex holds its own lock from one call to another, which the analysis cannot follow.
OWN_LOCKS = {"kpr/include/kpr/mutex.h", "kutil/kutil_Mutex.cpp"}


def check_locks():
    """Products lock with kpr/mutex.h, so that Clang can check what is guarded by what."""
    return [f"{name}:{number}: {line.strip()}" for name in sources() if is_product(name) and name not in OWN_LOCKS
            for number, line in lines(name)
            if re.search(r'std::(\w*mutex|lock_guard|unique_lock|scoped_lock|shared_lock|condition_variable)\b',
                         re.sub(r'//.*|base_sink<std::mutex>', '', line))]  # a library's own lock


# What waits, looks at the clock or starts something behind the back of those who watch kpr's calls: fault tests and
# virtual time.
OWN_WAITS = re.compile(
    r'\bthis_thread::sleep|\bwait_(for|until)\b|\bstd::j?thread\b(?!::id)|'
    r'(?<![\w.>])(Sleep(Ex)?|sleep|usleep|nanosleep|clock_nanosleep|p?poll|p?select|time|clock_gettime|gettimeofday|'
    r'WaitFor(Single|Multiple)Objects?(Ex)?|MsgWaitFor\w+|popen|system|fork|execv\w*|posix_spawnp?|'
    r'CreateProcess[AW]|CreateThread|_beginthreadex|pthread_create)\(|'
    r'\b(system|steady|high_resolution)_clock\b')
# Who has to wait for what kpr knows nothing of.
WAITS_OF_THEIR_OWN = {
    "drivers/odbc/sql_OdbcWatch.cpp": "the end of a call that has no time limit of its own",
    "drivers/odbc/sql_OdbcWatch.h": "the thread of it",
    "drivers/postgresql/sql_Socket_posix.cpp": "a socket, or a time",
    "drivers/postgresql/sql_Socket_win.cpp": "a socket, or a time",
    "host/host_CloseSignals_win.cpp": "the end of the work, before Windows ends the process",
    "host/host_SessionWindow_win.cpp": "messages to a window, on its own thread",
    "host/host_SessionWindow_win.h": "the thread of it",
    "host/host_Waker_posix.cpp": "being woken, or a time",
    "host/host_Waker_win.cpp": "being woken, or a time",
    "host/khost/khost_LineReader.cpp": "standard input, on its own thread",
    "host/khost/khost_LineReader.h": "the thread of it",
    "kfw/include/kfw/client/ConnectionPool.h": "a connection that another thread gives back, or a time",
    "tools/kom-validate/validate_CountChecks.cpp": "threads of a host's own that share an object",
}


def check_waits():
    """Products wait, read clocks and start processes and threads through kpr only."""
    found = []
    for name in sources():
        if not is_product(name) or name.startswith("kpr/"):
            continue
        hits = [f"{name}:{number}: {line.strip()}" for number, line in lines(name)
                if OWN_WAITS.search(re.sub(r'//.*', '', line))]
        if name not in WAITS_OF_THEIR_OWN:
            found += hits
        elif not hits:
            found.append(f"{name}: waits no more, and needs no exception")
    return found


def check_formatting():
    """Every source is as clang-format leaves it."""
    names = sources()
    result = subprocess.run(["clang-format-14", "--dry-run"] + names, cwd=ROOT, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True)
    return [line for line in result.stdout.splitlines() if "warning:" in line or "error:" in line]


def check_readme_example():
    """The README shows examples/hello_cache.cpp as it is."""
    with open(os.path.join(ROOT, "README.md"), encoding="utf-8") as file:
        shown = re.search(r'```cpp\n(.*?)```', file.read(), re.DOTALL).group(1)
    with open(os.path.join(ROOT, "examples", "hello_cache.cpp"), encoding="utf-8") as file:
        return [] if shown == file.read() else ["README.md differs from examples/hello_cache.cpp"]


def check_mutate():
    """scripts/mutate finds and tries the mutants of a small tree (mutate_self_test.py)."""
    done = subprocess.run([sys.executable, os.path.join(ROOT, "tests", "checks", "mutate_self_test.py")],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    return done.stdout.splitlines() or [f"status {done.returncode}"] if done.returncode else []


def check_security_table():
    """Every row of SECURITY.md's table of attacks names a test, and the tests that it names are there."""
    known = "\n".join(line for name in sources(r'(_test\.(cpp|h|py)|/test_\w+\.py|hardening\.py)$')
                      for _, line in lines(name))
    files = "\n".join(sources(r'(CMakeLists\.txt|\.cmake|_test\.cpp|test_\w+\.py|windows-sqlite)$')) + "".join(
        line for name in sources(r'(CMakeLists\.txt|\.cmake)$') for _, line in lines(name))
    broken = []
    rows = [(number, line) for number, line in lines("SECURITY.md") if re.match(r'\|.*\|.*\|.*\|.*\|$', line)]
    for number, line in rows[2:]:
        cell = line.split("|")[-2]
        programs = re.findall(r'`([^`]+)`', cell)
        if not programs:
            broken.append(f"SECURITY.md:{number}: no test")
        for program in programs:
            if program.startswith("khost_"):
                there = f"/test_{program[6:]}.py\n" in files or f"/{program}.cpp\n" in files
            elif program.startswith("seeds_"):
                there = f"k_fuzz({program[6:-5]} " in files
            else:
                there = re.sub(r'^kpr_|_test$', '', program).rstrip("/") in files
            if not there and not os.path.exists(os.path.join(ROOT, program)):
                broken.append(f"SECURITY.md:{number}: there is no {program}")
        for test in re.findall(r'\b\w*[a-z][A-Z]\w*|\b[A-Z][a-z]+\b', re.sub(r'`[^`]*`', '', cell)):
            if not re.search(r'(TEST\w*\(\w+,\s*|class |struct |def )' + test + r'\b', known):
                broken.append(f"SECURITY.md:{number}: there is no test {test}")
    return broken if rows else ["SECURITY.md: there is no table"]


CHECKS = [check_system_headers, check_public_headers, check_layers, check_components, check_private_includes,
          check_cache_layout, check_assertion_sources, check_thread_locals, check_locks, check_waits, check_readme_example,
          check_security_table, check_formatting, check_mutate]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--report")
    options = parser.parse_args()
    report = {"passed": 0, "failed": 0, "skipped": 0, "reasons": []}
    for check in CHECKS:
        found = check()
        print(f"{check.__name__}: {'ok' if not found else 'FAILED'}  ({check.__doc__})")
        for line in found[:40]:
            print("   ", line)
        report["failed" if found else "passed"] += 1
    if options.report:
        os.makedirs(os.path.dirname(options.report), exist_ok=True)
        with open(options.report, "w", encoding="utf-8") as file:
            json.dump(report, file)
    return 1 if report["failed"] else 0


if __name__ == "__main__":
    sys.exit(main())
