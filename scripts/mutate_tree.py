"""A copy of the source tree in which scripts/mutate changes, builds and tests (build/mutate/<n>)."""

import contextlib
import dataclasses
import json
import os
import pathlib
import re
import resource
import shlex
import shutil
import signal
import subprocess

import mutants

TEST_FILE = re.compile(r'_test\.(cpp|h)$|(^|/)(testing|testmodule)/')
# What a test must not use more of, whatever was changed: bytes of memory, bytes of a file (one test of kpr makes a
# file of 5 GiB, with nothing in it but its ends).
MEMORY_LIMIT, FILE_LIMIT = 8 << 30, 6 << 30
# What a test needs that its command does not name.
MORE_TARGETS = {"kom_validate": ["broken_modules"]}
# Read by CMake after project(): mutants have variables that nobody uses, which is no error here.
NO_WARNINGS = """cmake_language(DEFER CALL cmake_language EVAL CODE [[
    if(TARGET kfw_flags)
        target_compile_options(kfw_flags INTERFACE -w)
    endif()
]])
"""


class Broken(Exception):
    """Something that keeps a step from being done, with the reason."""


@dataclasses.dataclass
class Test:
    name: str
    command: list
    folder: str
    environment: dict
    seconds: float = 0


def limit_resources():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_LIMIT, FILE_LIMIT))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run_limited(command, log, seconds, **more):
    """Runs a command in a process group of its own, its output in a file, and ends the whole group with it. Returns
    the status, or None when it took too long."""
    with open(log, "wb") as output:
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
                                   start_new_session=True, **more)
        try:
            return process.wait(timeout=seconds)
        except subprocess.TimeoutExpired:
            return None
        finally:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)
            process.wait()


class Tree:
    def __init__(self, root, number):
        self.origin = root
        self.home = root / "build" / "mutate" / str(number)
        self.root = self.home / "tree"
        self.build_folder = self.root / "build" / "native"
        self.temporary = self.home / "tmp"
        self.log = self.home / "log"
        self.root.mkdir(parents=True, exist_ok=True)
        self.synchronise()

    def synchronise(self):
        """Makes the copy equal to the tree, as it is now. What has not changed keeps its time, so that it is not built
        again."""
        names = subprocess.run(["git", "ls-files", "-coz", "--exclude-standard"], cwd=self.origin, check=True,
                               stdout=subprocess.PIPE).stdout.decode().split("\0")
        wanted = {name for name in names if name and not name.startswith("build/") and (self.origin / name).is_file()}
        for folder, folders, files in os.walk(self.root):
            inner = pathlib.Path(folder).relative_to(self.root)
            folders[:] = [name for name in folders if str(inner / name) != "build"]
            for name in files:
                if str(inner / name) not in wanted:
                    (self.root / inner / name).unlink()
        for name in wanted:
            source, target = self.origin / name, self.root / name
            target.parent.mkdir(parents=True, exist_ok=True)
            if not target.is_file() or source.read_bytes() != target.read_bytes():
                shutil.copyfile(source, target)
            shutil.copymode(source, target)

    def configure(self):
        settings = self.home / "mutate.cmake"
        if not settings.is_file() or settings.read_text() != NO_WARNINGS:
            settings.write_text(NO_WARNINGS)
        command = ["cmake", "--preset", "native", f"-DCMAKE_PROJECT_INCLUDE={settings}", "-DKFW_UNITY=OFF"]
        if (self.build_folder / "build.ninja").is_file():
            command = ["ninja", "-C", str(self.build_folder), "build.ninja"]  # anew only where it has to be
        if run_limited(command, self.log, 600, cwd=self.root) != 0:
            raise Broken("CMake fails:\n" + self.log_end())
        with open(self.build_folder / "compile_commands.json", encoding="utf-8") as file:
            self.commands = json.load(file)

    def log_end(self):
        return self.log.read_text(errors="replace")[-2000:]

    def read(self, path):
        return (self.root / path).read_bytes()

    def product_path(self, name, component):
        """The path in the tree of a product source of the component, or None."""
        path = os.path.relpath(os.path.normpath(name), self.root)
        return path if path.startswith(component + "/") and not TEST_FILE.search(path) else None

    def sources(self, component):
        """The component's sources that are compiled here, once each, and what Clang needs to read them."""
        found = {}
        for entry in self.commands:
            if self.product_path(entry["file"], component):
                found.setdefault(entry["file"], mutants.parse_arguments(shlex.split(entry["command"])))
        return sorted(found.items())

    def test_targets(self, component):
        """The targets that compile a test of the component's folder."""
        found = set()
        for entry in self.commands:
            path = os.path.relpath(entry["file"], self.root)
            target = re.search(r'/([^/]+)\.dir/', entry["command"])
            if path.startswith(component + "/") and path.endswith("_test.cpp") and target:
                found.add(target[1])
        return found

    def tests(self):
        """All tests. One whose program is not built yet has no command."""
        shown = subprocess.run(["ctest", "--show-only=json-v1"], cwd=self.build_folder, check=True,
                               stdout=subprocess.PIPE).stdout
        found = {}
        for entry in json.loads(shown)["tests"]:
            properties = {item["name"]: item["value"] for item in entry.get("properties", [])}
            environment = dict(value.split("=", 1) for value in properties.get("ENVIRONMENT", []))
            found[entry["name"]] = Test(entry["name"], entry.get("command"),
                                        properties.get("WORKING_DIRECTORY", str(self.build_folder)), environment)
        return found

    def build(self, name, command, jobs):
        """Builds what a test needs: the target of its name, or the programs that its command names."""
        bin_folder = str(self.build_folder / "bin") + os.sep
        targets = [os.path.relpath(word, self.build_folder) for word in command or [] if word.startswith(bin_folder)]
        targets = (targets or [name]) + MORE_TARGETS.get(name, [])
        if run_limited(["ninja", "-j", str(jobs), *targets], self.log, 1800, cwd=self.build_folder) != 0:
            raise Broken(f"{name} cannot be built:\n" + self.log_end())

    def prepare(self, names, jobs):
        """Builds tests, and returns them as they are run in this copy."""
        tests = self.tests()
        for name in names:
            self.build(name, tests[name].command, jobs)
        tests = self.tests()
        return [tests[name] for name in names]

    def run(self, test, seconds):
        """Runs a test. Returns why it failed, or an empty string."""
        shutil.rmtree(self.temporary, ignore_errors=True)
        self.temporary.mkdir()
        environment = os.environ | {"TMPDIR": str(self.temporary), "HOME": str(self.temporary), "GTEST_FAIL_FAST": "1"}
        status = run_limited(test.command, self.log, seconds, cwd=test.folder, env=environment | test.environment,
                             preexec_fn=limit_resources)
        if status == 0:
            return ""
        if status is None:
            return f"not done after {seconds:.0f} s"
        failed = re.search(r'\[  FAILED  \] (\S+?),? ', self.log.read_text(errors="replace"))
        return failed[1] if failed else f"status {status}"

    @contextlib.contextmanager
    def changed(self, path, change):
        """While this is open, a file is another one."""
        target = self.root / path
        original = target.read_bytes()
        target.write_bytes(change(original))
        try:
            yield
        finally:
            target.write_bytes(original)
