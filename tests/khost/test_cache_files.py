"""Looking at a cache from outside: ls, stat, verify."""

import contextlib
import json
import os
import shutil
import signal
import struct
import subprocess
import tempfile
import time

import host
from host import native, quoted


class Files(host.HostTest):
    def fill(self):
        """A cache with three objects; the shell that keeps it open."""
        shell = self.shell()
        for number, size in enumerate((0, 10, 3000)):
            source = self.write(f"source{number}", b"x" * size)
            attributes = " --attr k=v" * number
            self.assertEqual(shell.run(f"cache put http://h/{number} {quoted(native(source))}{attributes}").status, 0)
        return shell

    def closed_cache(self):
        """The same, closed; a shell that has not touched the cache."""
        self.assertEqual(self.fill().close(), 0)
        return self.shell()

    def test_stat(self):
        shell = self.fill()
        sizes = [os.path.getsize(self.path("app", "cache", "objects", name)) for name in self.objects()]
        inserted = sum((size + 1023) >> 10 for size in sizes)
        expected = {"dir": native(self.path("app", "cache")), "objects": 3, "bytes": sum(sizes),
                    "inserted_kb": inserted, "cleaned_kb": 0, "growth_kb": inserted, "threshold_kb": 17408,
                    "cleaner": "active"}
        # From another process while a cleaner holds its lock, and from the very process.
        for looker in (self.shell(), shell):
            facts = json.loads(looker.run("cache stat --json").text)
            self.assertEqual(facts, expected)
            self.assertEqual(list(facts), list(expected))
        text = dict(line.split(None, 1) for line in shell.run("cache stat").text.splitlines())
        self.assertEqual(text["objects"], "3")
        self.assertEqual(text["inserted"], f"{inserted} KB")
        self.assertEqual(text["cleaner"], "active")
        self.assertEqual(shell.close(), 0)
        expected["cleaner"] = "none"
        self.assertEqual(json.loads(self.khost("cache", "stat", "--json").text), expected)

    def test_stat_with_more_cleaned_than_inserted(self):
        shell = self.closed_cache()
        self.write("app/cache/inserted", struct.pack(">Q", 5))
        self.write("app/cache/cleaned", struct.pack(">Q", 12))
        facts = json.loads(shell.run("cache stat --json").text)
        self.assertEqual((facts["inserted_kb"], facts["cleaned_kb"], facts["growth_kb"]), (5, 12, -7))

    def test_looking_changes_nothing(self):
        shell = self.closed_cache()
        self.write("app/cache/objects/" + "0" * 32, b"rubbish")
        shell.run("idle")
        before = self.tree()
        for command in ("ls", "stat", "verify"):
            shell.run(f"cache {command}")
            shell.run(f"cache {command} --json")
        self.assertEqual(shell.close(), 0)
        self.khost("cache", "stat")
        self.assertEqual(self.tree(), before)

    def test_no_cache(self):
        for command in ("ls", "stat", "verify"):
            self.assert_fails(self.khost("cache", command), f"cache {command}", "0x96230003", "KPR_E_NOT_FOUND",
                              "objects")
        self.assertEqual(os.listdir(self.folder), [])

    def test_damaged_counter(self):
        shell = self.closed_cache()
        self.write("app/cache/cleaned", b"1234567")
        self.assert_fails(shell.run("cache stat"), "cache stat", "0x80004005", "E_FAIL", "cleaned")
        os.remove(self.path("app", "cache", "inserted"))
        self.assert_fails(shell.run("cache stat"), "cache stat", "0x96230003", "KPR_E_NOT_FOUND", "inserted")

    def test_stat_of_a_copy_without_counters(self):
        self.fill().close()
        size = sum(os.path.getsize(self.path("app", "cache", "objects", name)) for name in self.objects())
        for name in ("inserted", "cleaned"):
            os.remove(self.path("app", "cache", name))
        told = "khost: cache stat: the cache has no counters: it is a copy, or was never used\n"
        result = self.khost("cache", "stat", "--json")
        self.assertEqual((result.status, result.errors), (0, told))
        self.assertEqual(json.loads(result.text), {"dir": native(self.path("app", "cache")), "objects": 3, "bytes": size,
                                                   "inserted_kb": None, "cleaned_kb": None, "growth_kb": None,
                                                   "threshold_kb": 17408, "cleaner": "none"})
        text = dict(line.split(None, 1) for line in self.khost("cache", "stat").text.splitlines())
        self.assertEqual([text[name] for name in ("objects", "inserted", "cleaned", "growth", "cleaner")],
                         ["3", "-", "-", "-", "none"])
        self.assertEqual(sorted(os.listdir(self.path("app", "cache"))), ["objects"])

    def test_ls(self):
        shell = self.closed_cache()
        name = self.objects()[0]
        os.utime(self.path("app", "cache", "objects", name), (951782400, 951782399))
        rows = json.loads(shell.run("cache ls --json").text)
        self.assertEqual([row["id"] for row in rows], self.objects())
        self.assertEqual(list(rows[0]), ["id", "bytes", "attributes", "data_bytes", "modified", "valid", "score"])
        self.assertEqual(sorted((row["attributes"], row["data_bytes"], row["valid"]) for row in rows),
                         [(0, 0, True), (1, 10, True), (2, 3000, True)])
        self.assertEqual(rows[0]["modified"], "2000-02-28T23:59:59Z")
        self.assertEqual(rows[1]["modified"][:4], time.strftime("%Y", time.gmtime()))
        for row in rows:
            self.assertEqual(row["bytes"], os.path.getsize(self.path("app", "cache", "objects", row["id"])))
        lines = shell.run("cache ls").text.splitlines()
        self.assertEqual(lines[0].split(), ["ID", "BYTES", "ATTRIBUTES", "DATA", "MODIFIED", "VALID"])
        self.assertEqual([line.split() for line in lines[1:]],
                         [[row["id"], str(row["bytes"]), str(row["attributes"]), str(row["data_bytes"]),
                           row["modified"], "yes"] for row in rows])

    def damage(self):
        """Bad object files, each with a part of the reason that is told for it; and a shell."""
        shell = self.closed_cache()
        folder = self.path("app", "cache", "objects")
        good = self.read(folder, max(self.objects(), key=lambda name: os.path.getsize(os.path.join(folder, name))))
        bad = {
            "A0" * 16: (good[:20], "incomplete read of object header"),
            "A1" * 16: (b"\x0e\x9a\x5b\x43" + good[4:], "invalid magic number"),
            "A2" * 16: (good[:4] + struct.pack(">I", 2) + good[8:], "wrong version number (expected 1, got 2)"),
            "A3" * 16: (good[:-1], "beyond object size"),
            "A4" * 16: (good[:12] + struct.pack(">I", 0xFFFFFFFF) + good[16:], "beyond data offset"),
            "A5" * 16: (good[:16] + struct.pack(">I", 3) + good[20:], "object file corrupted"),
        }
        for name, (data, _) in bad.items():
            self.write(os.path.join(folder, name), data)
        os.mkdir(os.path.join(folder, "A6" * 16))
        reasons = {name: reason for name, (_, reason) in bad.items()}
        reasons["A6" * 16] = "regular file"
        # A temporary file of a write that is under way, and other files that are no objects.
        for name in ("0" * 32 + ".tmp", "README", "a" * 32):
            self.write(os.path.join(folder, name), b"")
        return reasons, shell

    def test_verify(self):
        shell = self.closed_cache()
        self.assert_done(self.khost("cache", "verify"), "3 checked, 0 bad\n")
        self.assertEqual(json.loads(shell.run("cache verify --json").text), {"checked": 3, "bad": []})

    def test_verify_tells_the_reason_for_each_bad_file(self):
        reasons, shell = self.damage()
        result = shell.run("cache verify --json")
        found = json.loads(result.text)
        self.assertEqual((result.status, result.errors), (1, ""))
        self.assertEqual(found["checked"], 3 + len(reasons))
        self.assertEqual([entry["file"] for entry in found["bad"]], sorted(reasons))
        for entry in found["bad"]:
            self.assertIn(reasons[entry["file"]], entry["reason"])
        text = shell.run("cache verify")
        self.assertEqual(text.status, 1)
        self.assertEqual(text.text, "".join(f"{entry['file']}: {entry['reason']}\n" for entry in found["bad"]) +
                         f"{3 + len(reasons)} checked, {len(reasons)} bad\n")
        rows = json.loads(shell.run("cache ls --json").text)
        self.assertEqual([row["id"] for row in rows if not row["valid"]], sorted(reasons))
        self.assertTrue(all(row["attributes"] is None and row["data_bytes"] is None for row in rows if not row["valid"]))
        self.assertIn("other files 3", " ".join(shell.run("cache stat").text.split()))

    def test_repair_removes_what_the_cache_refuses_and_counts_it(self):
        reasons, shell = self.damage()
        folder = self.path("app", "cache", "objects")
        files = sorted(name for name in reasons if os.path.isfile(os.path.join(folder, name)))
        kilobytes = sum((os.path.getsize(os.path.join(folder, name)) + 1023) >> 10 for name in files)
        before = json.loads(shell.run("cache stat --json").text)
        result = shell.run("cache verify --repair --json")
        found = json.loads(result.text)
        self.assertEqual(result.status, 1)  # the directory stays
        self.assertEqual((found["checked"], len(found["bad"]), found["removed"]),
                         (3 + len(reasons), len(reasons), len(files)))
        self.assertFalse([name for name in files if os.path.exists(os.path.join(folder, name))])
        self.assertTrue(os.path.isdir(os.path.join(folder, "A6" * 16)))
        after = json.loads(shell.run("cache stat --json").text)
        self.assertEqual(after["cleaned_kb"], before["cleaned_kb"] + kilobytes)
        self.assertEqual(after["inserted_kb"], before["inserted_kb"])
        os.rmdir(os.path.join(folder, "A6" * 16))
        self.assert_done(self.khost("cache", "verify", "--repair"), "3 checked, 0 bad, 0 removed\n")

    def test_a_refused_object_can_be_stored_again_after_a_repair(self):
        shell = self.closed_cache()
        name = self.objects()[0]
        uri = next(f"http://h/{n}" for n in range(3) if shell.run(f"cache id http://h/{n}").text.strip() == name)
        self.write(f"app/cache/objects/{name}", b"torn")
        source = self.write("again", b"again")
        self.khost("cache", "put", uri, native(source))
        self.assertEqual(self.khost("cache", "get", uri).status, 1)  # it was taken for stored
        self.assert_done(self.khost("cache", "verify", "--repair"),
                         f"{name}: FS cache: incomplete read of object header of "
                         f"{native(self.path('app', 'cache', 'objects', name))} (got only 4 bytes).\n"
                         "3 checked, 1 bad, 1 removed\n")
        self.assertEqual(self.khost("cache", "put", uri, native(source)).status, 0)
        self.assert_done(self.khost("cache", "get", uri), "again")

    @host.posix_only("the lock is taken by Python's fcntl")
    def test_a_repair_waits_for_the_insert_lock_and_says_so(self):
        import fcntl
        self.closed_cache()
        bad = self.write("app/cache/objects/" + "B0" * 16, b"torn")
        with open(self.path("app", "cache", "inserted"), "r+b") as inserted:
            fcntl.lockf(inserted, fcntl.LOCK_EX)
            for sign in (signal.SIGINT, signal.SIGTERM, None):
                process = subprocess.Popen(self.command("cache", "verify", "--repair"), stdout=subprocess.PIPE,
                                           stderr=subprocess.PIPE, env=self.environment(), text=True)
                said = process.stderr.readline()
                self.assertIn("waiting for the insert lock, which another process has had for two seconds", said)
                self.assertTrue(os.path.exists(bad))
                if sign is None:
                    fcntl.lockf(inserted, fcntl.LOCK_UN)
                else:
                    process.send_signal(sign)
                text, errors = process.communicate(timeout=30)
                self.assertEqual((sign, errors), (sign, ""))
                self.assertEqual(process.returncode == 0, sign is None)
        self.assertTrue(text.endswith("4 checked, 1 bad, 1 removed\n"), text)
        self.assertFalse(os.path.exists(bad))

    @host.posix_only("a link is given away")
    def test_a_repair_follows_no_link_of_somebody_else(self):
        if os.geteuid() != 0:
            self.skipTest("only root can give a link away")
        self.assertEqual(self.fill().close(), 0)
        name = "B0" * 16
        bad = self.write("app/cache/objects/" + name, b"torn")
        for folder in (self.path("app", "cache", "objects"), self.path("app", "cache")):
            os.rename(folder, self.path("elsewhere"))
            os.symlink(self.path("elsewhere"), folder)
            os.lchown(folder, 65534, 65534)
            told = self.khost("cache", "verify", "--repair")
            self.assertEqual(told.status, 1)
            self.assertIn("KPR_E_NOT_TRUSTED", told.errors)
            self.assertIn("1 bad, 0 removed", told.text)
            self.assertTrue(os.path.exists(bad))
            os.remove(folder)
            os.rename(self.path("elsewhere"), folder)
        self.assertIn("1 bad, 1 removed", self.khost("cache", "verify", "--repair").text)
        self.assertFalse(os.path.exists(bad))

    @host.posix_only("the lock is taken by Python's fcntl")
    def test_a_repair_in_a_shell_ends_with_it(self):
        import fcntl
        bad = self.write("app/cache/objects/" + "B0" * 16, b"torn") if self.fill().close() == 0 else None
        with open(self.path("app", "cache", "inserted"), "r+b") as inserted:
            fcntl.lockf(inserted, fcntl.LOCK_EX)
            process = subprocess.Popen(self.command("shell"), stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE, env=self.environment(), text=True)
            process.stdin.write("user get\ncache verify --repair\n")
            process.stdin.flush()
            self.assertIn("waiting for the insert lock", process.stderr.readline())
            process.send_signal(signal.SIGTERM)
            process.communicate(timeout=30)
        self.assertTrue(os.path.exists(bad))

    @host.posix_only("so many files are too much for Wine")
    def test_what_a_cleaner_takes_meanwhile_is_not_bad(self):
        shell = self.closed_cache()
        shell.close()
        folder = self.path("app", "cache", "objects")
        data = self.read(folder, self.objects()[0])
        names = [f"{number:032X}" for number in range(3000)]
        met = False
        for attempt in range(40):
            if met and attempt >= 2:
                break
            for name in names:
                self.write(os.path.join(folder, name), data)
            command = ("verify", "ls")[attempt % 2]
            # Into files: it must not wait for a reader of its output while it is being watched.
            out, errors = tempfile.TemporaryFile(), tempfile.TemporaryFile()
            process = subprocess.Popen(self.command("cache", command, "--json"), stdout=out, stderr=errors,
                                       env=self.environment())
            # The folder is open while it is listed; then the files are examined in the order of their names.
            self.wait_for_listing(process, folder)
            for name in reversed(names):
                os.remove(os.path.join(folder, name))
            process.wait(timeout=host.TIMEOUT)
            text, problems = (self.whole(file) for file in (out, errors))
            self.assertEqual((process.returncode, problems), (0, b""), text[-300:])
            found = json.loads(text)
            if command == "ls":
                self.assertTrue(all(row["valid"] for row in found))
                count = len(found)
            else:
                self.assertEqual(found["bad"], [])
                count = found["checked"]
            met = met or 3 < count < 3003
        self.assertTrue(met, "no attempt met the removal half way")

    @staticmethod
    def whole(file):
        with file:
            file.seek(0)
            return file.read()

    def wait_for_listing(self, process, folder):
        """Waits until the process has opened a folder and closed it again, or has ended."""
        seen = False
        while process.poll() is None:
            paths = set()
            with contextlib.suppress(OSError):
                for number in os.listdir(f"/proc/{process.pid}/fd"):
                    with contextlib.suppress(OSError):
                        paths.add(os.readlink(f"/proc/{process.pid}/fd/{number}"))
            if seen and folder not in paths:
                return
            seen = seen or folder in paths

    def test_times_at_the_ends_of_the_range(self):
        if host.WINDOWS or not os.path.isdir("/dev/shm"):
            self.skipTest("there is no volume at hand that keeps such times")
        folder = tempfile.mkdtemp(dir="/dev/shm")
        self.addCleanup(shutil.rmtree, folder)
        objects = os.path.join(folder, "cache", "objects")
        os.makedirs(objects)
        for name, seconds in (("00" * 16, -2**63), ("FF" * 16, 2**63 - 1)):
            self.write(os.path.join(objects, name), b"")
            os.utime(os.path.join(objects, name), (seconds, seconds))
        self.app_dir = folder
        result = self.khost("cache", "ls", "--json")
        self.assertEqual(result.status, 0)
        self.assertEqual([row["modified"] for row in json.loads(result.text)],
                         ["-292277022657-01-27T08:29:52Z", "292277026596-12-04T15:30:07Z"])

    def test_a_link_is_no_object(self):
        if host.WINDOWS:
            self.skipTest("Wine shows a link of the host system as the file it leads to")
        shell = self.closed_cache()
        name = self.objects()[0]
        shutil.move(self.path("app", "cache", "objects", name), self.path("elsewhere"))
        os.symlink(self.path("elsewhere"), self.path("app", "cache", "objects", name))
        result = self.khost("cache", "verify")
        self.assertEqual(result.status, 1)
        self.assertIn(f"{name}: FS cache: can't open ", result.text)
        self.assertIn("for reading: not a regular file\n", result.text)


class HugeFiles(host.HostTest):
    """Objects that claim gigabytes and are holes: whoever looks at them takes little memory."""

    SIZE = 3 << 30
    MOST_MEMORY = 256 << 10  # kilobytes

    def hole(self, name, header, parts=()):
        """A file of SIZE bytes that holds a header and some parts, (offset, bytes), and nothing else."""
        path = self.write("app/cache/objects/" + name, struct.pack(">7I", *header))
        with open(path, "r+b") as file:
            for offset, data in parts:
                file.seek(offset)
                file.write(data)
            file.truncate(self.SIZE)
        if os.stat(path).st_blocks > 2048:
            self.skipTest("the file system knows no holes")

    def look(self, *arguments):
        """Runs khost; its result and the kilobytes that it took at most."""
        with tempfile.TemporaryFile() as out:
            process = subprocess.Popen(self.command(*arguments), stdout=out, stderr=subprocess.DEVNULL,
                                       env=self.environment())
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            out.seek(0)
            return host.Result(process.returncode, out.read(), b""), usage.ru_maxrss

    def test_are_looked_at_in_little_memory(self):
        space, magic = self.SIZE - 28, 0x0E9A5B42
        # One key that fills the space but for an empty value; a key that is longer than that; data.
        self.hole("1" * 32, (magic, 1, 28, space, 1, self.SIZE, 0),
                  [(28, struct.pack(">I", space - 12)), (self.SIZE - 8, struct.pack(">I", 1))])
        self.hole("2" * 32, (magic, 1, 28, space, 1, self.SIZE, 0), [(28, struct.pack(">I", space))])
        self.hole("3" * 32, (magic, 1, 28, 0, 0, 28, space))
        result, memory = self.look("cache", "verify", "--json")
        self.assertEqual(json.loads(result.text),
                         {"checked": 3, "bad": [{"file": "2" * 32, "reason": "FS cache: object file corrupted "
                                                                             "(invalid key length)."}]})
        self.assertLess(memory, self.MOST_MEMORY)

    def test_are_read_in_little_memory(self):
        """Behind its last attribute there may be anything."""
        name = self.khost("cache", "id", "http://h/hole").text.strip()
        attribute = struct.pack(">I", 2) + b"a\0\0\0" + struct.pack(">I", 2) + b"b\0\0\0"
        self.hole(name, (0x0E9A5B42, 1, 28, self.SIZE - 28, 1, self.SIZE, 0), [(28, attribute)])
        result, memory = self.look("cache", "attrs", "http://h/hole")
        self.assertEqual((result.status, result.text), (0, "a=b\n"))
        self.assertLess(memory, self.MOST_MEMORY)
