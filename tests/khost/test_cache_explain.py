"""Asking about single objects: explain, show, and what ls sorts and shows beside."""

import json
import os
import struct
import time

import host
from host import native, quoted

# What the cleaner counts with.
MINIMUM_AGE = 1800


def score(modified, size):
    """How early the cleaner takes a file."""
    steps = ((size + 1023) >> 10) >> 5
    return modified // 3600 + ((steps * steps) >> 1)


class Explained(host.HostTest):
    NAMES = "small", "middle", "large"

    def fill(self):
        """A closed cache with three objects of different size and age; their identities by name."""
        shell = self.shell()
        ids = {}
        now = int(time.time())
        self.modified = {}
        for number, name in enumerate(self.NAMES):
            source = self.write(name, b"x" * (100000 * (number + 1)))
            stored = shell.run(f"cache put http://h/{name} {quoted(native(source))} --attr name={name} --attr n={number}")
            ids[name] = stored.text.strip()
        self.assertEqual(shell.close(), 0)
        # The large one is too young to go.
        for name, age in (("small", 7200), ("middle", 3 * 86400 + 3600), ("large", 60)):
            self.modified[name] = now - age
            os.utime(self.path("app", "cache", "objects", ids[name]), (now - age, now - age))
        return ids

    def size(self, name):
        return os.path.getsize(self.path("app", "cache", "objects", name))

    def iso(self, seconds):
        return time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(seconds))

    def explain(self, what, status=0):
        told = self.khost("cache", "explain", what, "--json")
        self.assertEqual((told.status, told.err), (status, b""))
        return json.loads(told.text)

    def test_an_object_that_may_go(self):
        ids = self.fill()
        told = self.explain("http://h/middle?query")
        size = self.size(ids["middle"])
        age = told.pop("age_seconds")
        self.assertTrue(3 * 86400 + 3600 <= age < 3 * 86400 + 3600 + 600, age)
        self.assertEqual(told, {
            "id": ids["middle"], "file": native(self.path("app", "cache", "objects", ids["middle"])), "state": "stored",
            "reason": None, "bytes": size, "attributes": 2, "data_bytes": 200000,
            "modified": self.iso(self.modified["middle"]), "pins": 0,
            "score": score(self.modified["middle"], size),
            "removable_from": self.iso(self.modified["middle"] + MINIMUM_AGE + 1), "place": 2, "candidates": 2,
            "next_pass_removes": False, "cleaned_kb": 0,
            "growth_kb": sum((self.size(name) + 1023) >> 10 for name in ids.values()), "threshold_kb": 17408,
            "cleaner": "none"})
        # The one that was modified last goes first, and crosses a quarter of what could go.
        told = self.explain(ids["small"].lower())
        self.assertEqual((told["id"], told["place"], told["next_pass_removes"]), (ids["small"], 1, True))

    def test_an_object_that_is_too_young(self):
        ids = self.fill()
        told = self.explain(ids["large"])
        self.assertEqual((told["place"], told["candidates"], told["next_pass_removes"]), (None, 2, False))
        self.assertEqual(told["removable_from"], self.iso(self.modified["large"] + MINIMUM_AGE + 1))

    def test_text(self):
        ids = self.fill()
        told = self.khost("cache", "explain", "http://h/middle")
        self.assert_done(told)
        lines = dict(line.split("  ", 1) for line in told.text.splitlines())
        lines = {name: text.strip() for name, text in lines.items()}
        self.assertEqual(lines["id"], ids["middle"])
        self.assertEqual(lines["state"], "stored")
        self.assertEqual(lines["bytes"], "200068 (195.4 KiB)")
        self.assertRegex(lines["age seconds"], r"\A\d+ \(3 d 1 h\)\Z")
        self.assertEqual(lines["pins"], "0 by this process")
        self.assertEqual(lines["removable from"], self.iso(self.modified["middle"] + MINIMUM_AGE + 1) + " (now)")
        self.assertEqual(lines["place"], "2 of 2")
        self.assertEqual(lines["next pass removes"], "no")
        self.assertRegex(lines["growth kb"], r"\A\d+ \(a pass begins at 17408\)\Z")
        self.assertNotIn("reason", lines)
        young = self.khost("cache", "explain", "http://h/large").text
        self.assertNotIn("(now)", young)
        self.assertNotIn("place", young)

    def test_an_object_that_is_not_there(self):
        self.fill()
        told = self.explain("http://h/none", 1)
        self.assertEqual(told["state"], "not stored")
        self.assertEqual({told[name] for name in ("reason", "bytes", "modified", "age_seconds", "score", "place")}, {None})
        self.assertEqual(told["threshold_kb"], 17408)
        text = self.khost("cache", "explain", "http://h/none").text
        self.assertEqual([line.split("  ")[0] for line in text.splitlines()],
                         ["id", "file", "state", "cleaned kb", "growth kb", "cleaner"])

    def test_without_a_cache(self):
        told = self.explain("http://h/none", 1)
        self.assertEqual((told["state"], told["growth_kb"], told["cleaner"]), ("not stored", None, None))
        self.assertFalse(os.path.exists(self.path("app", "cache")))

    def test_a_refused_object(self):
        ids = self.fill()
        self.write(f"app/cache/objects/{ids['small']}", b"rubbish")
        told = self.explain("http://h/small")
        self.assertEqual(told["state"], "refused")
        self.assertIn("incomplete read of object header", told["reason"])
        self.assertEqual((told["attributes"], told["data_bytes"], told["bytes"]), (None, None, 7))
        shown = self.khost("cache", "show", "http://h/small")
        self.assertEqual(shown.status, 1)
        self.assertIn("incomplete read of object header", shown.errors)

    def test_a_folder_in_an_object_s_place_never_goes(self):
        ids = self.fill()
        path = self.path("app", "cache", "objects", ids["small"])
        os.remove(path)
        os.mkdir(path)
        told = self.explain("http://h/small")
        self.assertEqual((told["state"], told["removable_from"], told["place"]), ("refused", None, None))
        self.assertIn("never: it is no file", self.khost("cache", "explain", "http://h/small").text)

    def test_times_at_the_ends_of_what_a_file_bears(self):
        ids = self.fill()
        for seconds in (-2**33, 2**33):
            os.utime(self.path("app", "cache", "objects", ids["small"]), (seconds, seconds))
            told = self.explain("http://h/small")
            self.assertEqual(told["state"], "stored")
            self.assertEqual(told["age_seconds"] > 0, told["place"] is not None)

    def test_pins_of_this_process(self):
        self.fill()
        shell = self.shell()

        def pins():
            return json.loads(shell.run("cache explain http://h/small --json").text)["pins"]

        self.assertEqual(pins(), 0)
        for _ in range(2):
            self.assert_done(shell.run("cache pin http://h/small"), "")
        self.assertEqual(pins(), 2)
        # Another process knows nothing of them.
        self.assertEqual(self.explain("http://h/small")["pins"], 0)
        for left in (1, 0):
            self.assert_done(shell.run("cache unpin http://h/small"), "")
            self.assertEqual(pins(), left)
        self.assertEqual(shell.run("cache unpin http://h/small").status, 1)
        self.assertEqual(pins(), 0)
        self.assertEqual(shell.close(), 0)

    def test_show(self):
        ids = self.fill()
        before = os.stat(self.path("app", "cache", "objects", ids["middle"])).st_mtime
        for what in ("http://h/middle", ids["middle"], ids["middle"].lower()):
            self.assert_done(self.khost("cache", "show", what), "name=middle\nn=1\n")
        target = self.path("out.bin")
        shown = self.khost("cache", "show", ids["middle"], "--json", "--output", native(target))
        self.assert_done(shown)
        self.assertEqual(json.loads(shown.text),
                         {"id": ids["middle"], "attributes": [["name", "middle"], ["n", "1"]], "data_bytes": 200000})
        self.assertEqual(self.read("out.bin"), b"x" * 200000)
        self.assertEqual(os.stat(self.path("app", "cache", "objects", ids["middle"])).st_mtime, before)
        self.assert_fails(self.khost("cache", "show", "http://h/none"), "cache show", "0x96230003", "KPR_E_NOT_FOUND")

    def test_what_is_no_object(self):
        for command in ("explain", "show"):
            self.assert_fails(self.khost("cache", command, "no-uri"), f"cache {command}", "0x80070057", "E_INVALIDARG")

    def test_ls_sorts_and_limits(self):
        ids = self.fill()

        def names(*options):
            listed = json.loads(self.khost("cache", "ls", "--json", *options).text)
            return [next(name for name in ids if ids[name] == row["id"]) for row in listed]

        self.assertEqual(names("--sort", "size"), ["large", "middle", "small"])
        self.assertEqual(names("--sort", "age"), ["middle", "small", "large"])
        self.assertEqual(names("--sort", "score"), ["large", "small", "middle"])
        self.assertEqual(names("--sort", "id"), sorted(ids, key=ids.get))
        self.assertEqual(names("--sort", "size", "--limit", "2"), ["large", "middle"])
        self.assertEqual(names("--limit", "0"), [])
        self.assertEqual(len(names("--limit", "999999999999999999")), 3)
        for limit in ("x", "-1", "1.5", "1" * 19):
            self.assert_usage(self.khost("cache", "ls", "--limit=" + limit), "not a number of objects")

    def test_ls_shows_attributes(self):
        ids = self.fill()
        self.write(f"app/cache/objects/{ids['small']}", b"rubbish")
        listed = {row["id"]: row for row in json.loads(self.khost("cache", "ls", "--json", "--attrs").text)}
        self.assertEqual(listed[ids["large"]]["attribute_list"], [["name", "large"], ["n", "2"]])
        self.assertIsNone(listed[ids["small"]]["attribute_list"])
        self.assertEqual(listed[ids["middle"]]["score"], score(self.modified["middle"], self.size(ids["middle"])))
        text = self.khost("cache", "ls", "--attrs", "--sort", "size").text.splitlines()
        self.assertTrue(text[1].startswith(ids["large"]))
        self.assertEqual(text[2:4], ["    name=large", "    n=2"])
        self.assertTrue(text[-1].startswith(ids["small"]), "no attributes of a file that is refused")

    def test_ls_shows_no_attributes_that_fill_the_memory(self):
        shell = self.shell()
        source = self.write("source", b"x")
        self.assertEqual(shell.run(f"cache put http://h/a {quoted(native(source))}").status, 0)
        self.assertEqual(shell.close(), 0)
        identity = self.objects()[0]
        for size, shown in ((1000000, True), (1100000, False)):
            key, value = b"k\0\0\0", b"v" * size + b"\0"
            value += b"\0" * (-len(value) % 4)
            space = struct.pack(">I", 2) + key + struct.pack(">I", size + 1) + value
            self.write(f"app/cache/objects/{identity}",
                       struct.pack(">7I", 0x0E9A5B42, 1, 28, len(space), 1, 28 + len(space), 0) + space)
            row = json.loads(self.khost("cache", "ls", "--json", "--attrs").text)[0]
            self.assertEqual((row["valid"], row["attributes"]), (True, 1))
            self.assertEqual(row["attribute_list"], [["k", "v" * size]] if shown else None)
            lines = self.khost("cache", "ls", "--attrs").text.splitlines()
            self.assertEqual(lines[2], "    k=" + "v" * size if shown else "    (1.0 MiB of attributes)")
