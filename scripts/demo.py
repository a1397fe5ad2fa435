#!/usr/bin/env python3
"""The demonstration's second half: drives khost and khost.exe over one set of real files.

demo.py KHOST KHOST_EXE
"""

import hashlib
import os
import shutil
import subprocess
import sys
import tempfile

SCRIPTS = os.path.dirname(os.path.abspath(__file__))


class Host:
    """One target's khost, with a user application directory and a class registry of the demonstration's own."""

    def __init__(self, name, program, folder):
        self.name = name
        self.folder = folder
        self.classes = os.path.join(folder, name + ".classes")
        self.program = os.path.abspath(program)
        windows = program.endswith(".exe")
        self.command = [os.path.join(SCRIPTS, "run-wine")] if windows else []
        # Wine shows the root of the file system as drive Z:.
        self.path = (lambda path: "Z:" + path.replace("/", "\\")) if windows else (lambda path: path)

    def run(self, tree, *arguments, stdin=None):
        """One khost process; its standard output, as bytes."""
        os.makedirs(os.path.join(self.folder, tree), exist_ok=True)
        command = self.command + [self.program, "--app-dir", self.path(os.path.join(self.folder, tree)),
                                  "--classes", self.path(self.classes), *arguments]
        result = subprocess.run(command, input=stdin, stdout=subprocess.PIPE)
        if result.returncode:
            sys.exit(f"demo: khost {' '.join(arguments)} ended with status {result.returncode}")
        return result.stdout

    def shell(self, tree, lines):
        """One host process that is given commands, a line each; what each printed."""
        output = self.run(tree, "shell", stdin="".join(line + "\n" for line in lines).encode()).decode()
        answers, text = [], []
        for line in output.splitlines():
            if line.startswith("= "):
                if line != "= 0":
                    sys.exit(f"demo: '{lines[len(answers)]}' ended with status {line[2:]}")
                answers.append("\n".join(text))
                text = []
            else:
                text.append(line)
        return answers


def quote(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def real_files():
    """Licences, documentation and the like: about two dozen files, some empty, some over 1 MB."""
    small, empty, large = [], [], []
    for root in ("/usr/share/common-licenses", "/usr/share/doc", "/usr/share/perl", "/usr/lib/python3", "/usr/share"):
        for folder, folders, names in os.walk(root):
            folders.sort()
            for name in sorted(names):
                path = os.path.join(folder, name)
                if os.path.islink(path) or not os.path.isfile(path) or not os.access(path, os.R_OK):
                    continue
                size = os.path.getsize(path)
                kind, limit = (empty, 3) if size == 0 else (large, 3) if size > 1 << 20 else (small, 18)
                if size < 8 << 20 and len(kind) < limit and path not in kind:
                    kind.append(path)
                if len(small) == 18 and len(empty) == 3 and len(large) == 3:
                    return small + empty + large
    return small + empty + large


def digest(path):
    with open(path, "rb") as file:
        return hashlib.sha256(file.read()).hexdigest()


def store(host, tree, files):
    """One process stores every file; the URIs and what it printed of each."""
    uris = ["file://" + path for path in files]
    ids = host.shell(tree, [f"cache put {quote(uri)} {quote(host.path(path))} --attr name={quote(os.path.basename(path))}"
                            for uri, path in zip(uris, files)])
    return uris, ids


def read_back(host, tree, uris, folder):
    """Another process reads every object; the digests of what it got."""
    outputs = [os.path.join(folder, f"{host.name}-{i}") for i in range(len(uris))]
    host.shell(tree, [f"cache get {quote(uri)} --output {quote(host.path(path))}" for uri, path in zip(uris, outputs)])
    return [digest(output) for output in outputs]


def main():
    folder = tempfile.mkdtemp(prefix="kfw-demo-")
    try:
        native = Host("linux", sys.argv[1], folder)
        windows = Host("windows", sys.argv[2], folder)
        files = real_files()
        wanted = [digest(path) for path in files]
        right = 0
        for host, other in ((native, windows), (windows, native)):
            print(f"\n== {host.name}: registering the module through its own entry points")
            host.run(host.name, "register")
            print(host.run(host.name, "classes").decode(), end="")
            print(f"\n== {host.name}: one process stores {len(files)} files")
            uris, ids = store(host, host.name, files)
            got = read_back(host, host.name, uris, folder)
            print(f"{'id':32}  {'bytes':>8}  sha256 there and back   file")
            for path, identity, before, after in zip(files, ids, wanted, got):
                print(f"{identity}  {os.path.getsize(path):8}  {before[:8]} {after[:8]} {'ok' if before == after else 'WRONG'}"
                      f"  {path}")
                right += before == after
            print(f"\n== {host.name}: what a second process sees")
            for answer in host.shell(host.name, [f"cache has {quote(uris[0])}", f"cache attrs {quote(uris[0])}"]):
                print(answer)
            print(host.run(host.name, "cache", "stat").decode(), end="")
            print(f"\n== {other.name}: the other target reads the same directory")
            if not os.path.exists(other.classes):
                other.run(host.name, "register")
            got = read_back(other, host.name, uris, folder)
            same = sum(before == after for before, after in zip(wanted, got))
            right += same
            print(f"{same} of {len(files)} objects that {host.name} wrote read back right by {other.name}")
            print(other.run(host.name, "cache", "verify").decode(), end="")
        total = 4 * len(files)
        print(f"\ndemo: {right} of {total} round trips agree")
        return 0 if right == total else 1
    finally:
        shutil.rmtree(folder)


if __name__ == "__main__":
    sys.exit(main())
