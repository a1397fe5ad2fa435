"""Drives khost as a person or a script would: processes, the shell, files. The same for every target."""

import functools
import os
import re
import shutil
import signal
import subprocess
import tempfile
import unittest

KHOST = []     # the command that starts khost, with an emulator before it where one is needed
WINDOWS = False
TIMEOUT = 120
ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as project:
    VERSION = re.search(r"project\(kfw VERSION ([0-9.]+)", project.read()).group(1)

MODULE_CLASSES = {
    "event dispatcher": "a20d8cf0-c2f2-11d5-bfd3-0000e2430653",
    "user data": "e3b9f51c-9ce5-11d6-9c21-00e029099a4b",
    "send-mail configuration": "10b0ee48-8129-402e-8b9a-0566bc8c3a02",
    "file-system cache": "67421a6c-857f-11d8-b9d6-00e081513ada",
    "feature set": "be9a0884-14b0-4a42-823b-edc3464b007c",
}


def native(path):
    """A path as the program under test takes it."""
    # Wine shows the root of the file system as drive Z:.
    return "Z:" + path.replace("/", "\\") if WINDOWS else path


def quoted(text):
    """One word of a shell line."""
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


class Result:
    def __init__(self, status, out, err):
        self.status, self.out, self.err = status, out, err

    @property
    def text(self):
        return self.out.decode("utf-8")

    @property
    def errors(self):
        return self.err.decode("utf-8").replace("\r\n", "\n")


class Shell:
    """A khost shell that stays alive between commands."""

    def __init__(self, command, env):
        self.errors = tempfile.TemporaryFile()
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self.errors,
                                        env=env)

    def run(self, line):
        """Runs one line; its Result has what it printed, without the line that tells the status."""
        before = self.errors.seek(0, os.SEEK_END)
        self.process.stdin.write(line.encode("utf-8") + b"\n")
        self.process.stdin.flush()
        lines = []
        while True:
            text = self.process.stdout.readline()
            if not text:
                raise AssertionError(f"the shell ended in '{line}': {self.read_errors(before)}")
            if text.startswith(b"= "):
                return Result(int(text[2:]), b"".join(lines), self.read_errors(before))
            lines.append(text)

    def read_errors(self, start=0):
        self.errors.seek(start)
        return self.errors.read()

    def close(self):
        """Ends the input; the exit status."""
        if not self.process.stdin.closed:
            self.process.stdin.close()
        status = self.process.wait(TIMEOUT)
        self.process.stdout.close()
        self.errors.close()
        return status

    def kill(self):
        """Ends the process as a crash would."""
        self.process.send_signal(signal.SIGKILL)
        self.close()


class HostTest(unittest.TestCase):
    """A test with a folder, a user application directory and a class registry of its own."""

    maxDiff = None

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="khost-test-")
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.app_dir = self.path("app")
        self.classes = self.path("classes")

    def path(self, *names):
        return os.path.join(self.folder, *names)

    def write(self, name, data):
        path = self.path(name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(data)
        return path

    def read(self, *names):
        with open(self.path(*names), "rb") as file:
            return file.read()

    def objects(self):
        """The names in the cache's objects directory."""
        folder = self.path("app", "cache", "objects")
        return sorted(os.listdir(folder)) if os.path.isdir(folder) else []

    def tree(self):
        """Every file and folder of the test, with size, content and times: to see that nothing changed."""
        found = {}
        for folder, folders, names in os.walk(self.folder):
            for name in folders + names:
                path = os.path.join(folder, name)
                info = os.stat(path, follow_symlinks=False)
                found[path] = (info.st_mode, info.st_size, info.st_mtime_ns)
        return found

    def command(self, *arguments):
        return [*KHOST, "--app-dir", native(self.app_dir), "--classes", native(self.classes), *arguments]

    def environment(self, **variables):
        env = {name: value for name, value in os.environ.items() if not name.startswith("KHOST_PROP_")}
        env.update(variables)
        return env

    def khost(self, *arguments, stdin=b"", env=None, command=None):
        """One khost process."""
        for _ in range(3):
            # Into files: a program with a window may have to start Wine's desktop, which inherits a pipe and keeps it open.
            with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as errors:
                done = subprocess.run(command or self.command(*arguments), input=stdin, stdout=out, stderr=errors,
                                      env=env or self.environment(), timeout=TIMEOUT)
                out.seek(0)
                errors.seek(0)
                result = Result(done.returncode, out.read(), errors.read())
            # Wine's server ended with its last program just as this one began, which has not run: once more.
            if not (WINDOWS and b"wine client error" in result.err):
                break
        return result

    def shell(self, *arguments, env=None):
        """A shell that ends with the test."""
        shell = Shell(self.command(*arguments, "shell"), env or self.environment())
        self.addCleanup(lambda: shell.process.poll() is None and shell.kill())
        return shell

    def assert_done(self, result, text=None):
        self.assertEqual((result.status, result.errors), (0, ""))
        if text is not None:
            self.assertEqual(result.text, text)

    def error_lines(self, result, status):
        """The one line of a command that failed, and nothing else."""
        lines = result.errors.splitlines()
        self.assertEqual((len(lines), result.status, result.out), (1, status, b""), result.errors)
        return lines

    def assert_fails(self, result, command, code, name, about=""):
        """One line about the failure, and status 1."""
        lines = self.error_lines(result, 1)
        self.assertTrue(lines[0].startswith(f"khost: {command}: {code} {name} "), lines[0])
        self.assertIn(about, lines[0])

    def assert_usage(self, result, text):
        """One line about what was wrongly typed, and status 2."""
        lines = self.error_lines(result, 2)
        self.assertTrue(lines[0].startswith("khost: "), lines[0])
        self.assertIn(text, lines[0])


class Terminal:
    """A process with a pseudo terminal as its standard output, standard error or both."""

    def __init__(self, command, env, out=True, err=False):
        import pty
        self.master, slave = pty.openpty()
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=slave if out else subprocess.DEVNULL,
                                        stderr=slave if err else subprocess.PIPE, env=env)
        os.close(slave)

    def read(self):
        """Everything that is shown until the process ends, its line ends as the process wrote them."""
        shown = b""
        while True:
            try:
                part = os.read(self.master, 65536)
            except OSError:  # Linux says so when the last writer has gone
                part = b""
            if not part:
                break
            shown += part
        os.close(self.master)
        self.status = self.process.wait(TIMEOUT)
        if self.process.stderr:
            self.process.stderr.close()
        return shown.replace(b"\r\n", b"\n")


def other_user():
    """What runs a command as a user for whom file modes count."""
    return ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "--"] if os.getuid() == 0 else []


def signals_arrive(test):
    """For tests that end khost with a signal: the thread sanitizer holds signals back until a call that it knows
    to block, which may be too late."""
    @functools.wraps(test)
    def run(self):
        if os.environ.get("KFW_SANITIZE") == "thread":
            self.skipTest("the thread sanitizer holds signals back")
        test(self)
    return run


def posix_only(reason):
    """For tests of what only Linux has; the Windows program is run by the same script."""
    def decorate(test):
        if isinstance(test, type):
            test.setUp = decorate(test.setUp)
            return test

        @functools.wraps(test)
        def run(self):
            if WINDOWS:
                self.skipTest(reason)
            test(self)
        return run
    return decorate
