"""The cleaner in real time: a shell keeps the user's cache within bounds while it lives."""

import json
import os
import struct
import time

import host

HOUR = 3600
THRESHOLD_KB = 17408
# How long the cleaner may take once the shell has started, in seconds.
LIMIT = 2.0


def kilobytes(size):
    return (size + 1023) >> 10


def score(size, modified):
    """How early a file goes: the highest first."""
    steps = kilobytes(size) >> 5
    return (modified // HOUR + ((steps * steps & 0xFFFFFFFF) >> 1)) & 0xFFFFFFFF


class Cleaner(host.HostTest):
    def prepare(self, growth_kb=THRESHOLD_KB, count=60):
        """A cache directory of old files, all with a score of their own, and of some that are too young; the old
        ones as {name: (size, modified)}."""
        now = int(time.time())
        old = {}
        for number in range(count):
            size = (700, 5000, 33000, 70000, 140000)[number % 5] + number
            # In the middle of an hour, so that rounding leaves the scores apart.
            modified = (now // HOUR - 3 - 7 * number) * HOUR + HOUR // 2
            old[f"{number:032X}"] = (size, modified)
        young = {f"{0xF0 + number:032X}": (200000, now - 60 * number) for number in range(5)}
        for name, (size, modified) in (old | young).items():
            path = self.write(os.path.join("app", "cache", "objects", name), b"x" * size)
            os.utime(path, (modified, modified))
        self.assertEqual(len({score(*facts) for facts in old.values()}), count)
        self.write("app/cache/inserted", struct.pack(">Q", 1000 + growth_kb))
        self.write("app/cache/cleaned", struct.pack(">Q", 1000))
        self.young = set(young)
        return old

    def to_go(self, old):
        """The names that a pass removes: by score, until a quarter of the kilobytes is gone, with the one that
        crosses; and their kilobytes."""
        target = sum(kilobytes(size) for size, _ in old.values()) >> 2
        names, gone = [], 0
        for name in sorted(old, key=lambda name: -score(*old[name])):
            names.append(name)
            gone += kilobytes(old[name][0])
            if gone > target:
                break
        return names, gone

    def cleaned_kb(self):
        return struct.unpack(">Q", self.read("app", "cache", "cleaned"))[0]

    def start(self):
        """A shell that answers, and when it was started."""
        started = time.monotonic()
        shell = self.shell()
        shell.run("idle")
        answered = time.monotonic()
        print(f"the shell answered after {answered - started:.2f} s", end=", ")
        return shell, answered

    def test_a_shell_cleans_at_once(self):
        # Another process first, so that starting the programs' platform takes no part in it.
        self.khost("errors", "0")
        old = self.prepare()
        names, gone = self.to_go(old)
        self.assertGreater(len(old), len(names))
        shell, answered = self.start()
        while self.cleaned_kb() < 1000 + gone and time.monotonic() < answered + LIMIT:
            time.sleep(0.01)
        print(f"{len(names)} files were gone {time.monotonic() - answered:.2f} s later", end=" ... ")
        self.assertEqual(set(old) | self.young, set(self.objects()) | set(names))
        self.assertEqual(set(self.objects()) & set(names), set())
        self.assertEqual(self.cleaned_kb(), 1000 + gone)
        facts = json.loads(shell.run("cache stat --json").text)
        self.assertEqual((facts["cleaner"], facts["cleaned_kb"]), ("active", 1000 + gone))
        self.assertEqual(shell.close(), 0)
        self.assertEqual(json.loads(self.khost("cache", "stat", "--json").text)["cleaner"], "none")

    def test_below_the_threshold_nothing_goes(self):
        old = self.prepare(growth_kb=THRESHOLD_KB - 1, count=10)
        shell, answered = self.start()
        while json.loads(shell.run("cache stat --json").text)["cleaner"] != "active":
            self.assertLess(time.monotonic(), answered + LIMIT)
        time.sleep(0.5)
        self.assertEqual(set(self.objects()), set(old) | self.young)
        self.assertEqual(self.cleaned_kb(), 1000)
        self.assertEqual(shell.close(), 0)

    def test_a_shell_without_a_cache_makes_none(self):
        shell = self.shell()
        shell.run("idle")
        self.assertFalse(os.path.exists(self.path("app", "cache")))
        self.assertEqual(shell.close(), 0)
