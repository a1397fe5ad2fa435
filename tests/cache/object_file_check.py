#!/usr/bin/env python3
"""Checks the object file's layout against a second reading of it, written without looking at the first.

object_file_check.py [--seed N] [--cases N] TOOL...

TOOL is the command line of object_file_tool. For random attributes and data, what the tool composes must be
this script's file byte for byte, padding aside, and must parse here; what this script composes, with padding
and gaps of its own, must parse there; a damaged file must be refused by both or read alike by both.
"""
import argparse
import random
import struct
import subprocess
import sys

MAGIC, VERSION, HEADER = 0x0E9A5B42, 1, 28


class Bad(Exception):
    """The file is not a valid object."""


def string_field(text, pad):
    """A length-prefixed string; pad(n) makes the padding."""
    body = text + b"\0"
    return struct.pack(">I", len(body)) + body + pad(-len(body) % 4)


def compose(attributes, data, pad=lambda n: b"\0" * n, gaps=(b"", b"", b"")):
    space = b"".join(string_field(key, pad) + string_field(value, pad) for key, value in attributes)
    attr_offset = HEADER + len(gaps[0])
    data_offset = attr_offset + len(space) + len(gaps[1])
    head = struct.pack(">7I", MAGIC, VERSION, attr_offset, len(space), len(attributes), data_offset, len(data))
    return head + gaps[0] + space + gaps[1] + data + gaps[2]


def take_string(space, at):
    if len(space) - at < 4:
        raise Bad("no length")
    (length,) = struct.unpack_from(">I", space, at)
    at += 4
    if length == 0 or length > len(space) - at:
        raise Bad("bad length")
    if space[at + length - 1] != 0:
        raise Bad("no end")
    # Readers see C strings.
    return space[at : at + length].split(b"\0", 1)[0], at + (length + 3) // 4 * 4


def parse(blob):
    if len(blob) < HEADER:
        raise Bad("short")
    magic, version, attr_offset, attr_size, count, data_offset, data_size = struct.unpack_from(">7I", blob)
    if magic != MAGIC or version != VERSION:
        raise Bad("not an object")
    if attr_offset + attr_size > data_offset or data_offset + data_size > len(blob):
        raise Bad("spaces beyond their ends")
    space = blob[attr_offset : attr_offset + attr_size]
    attributes, at = [], 0
    for _ in range(count):
        key, at = take_string(space, at)
        value, at = take_string(space, at)
        attributes.append((key, value))
    return attributes, blob[data_offset : data_offset + data_size]


def without_padding(blob, attributes):
    """The file with its padding bytes cleared, for attributes that are known."""
    out, at = bytearray(blob), HEADER
    for text in (text for pair in attributes for text in pair):
        end = at + 4 + len(text) + 1
        at = end + -(end - HEADER) % 4
        out[end:at] = bytes(at - end)
    return bytes(out)


def hexed(blob):
    return blob.hex() or "-"


def random_text(rng):
    length = rng.choice([0, 1, 2, 3, 4, 5, 6, 7, 8, rng.randrange(60), rng.randrange(3000)])
    return bytes(rng.randrange(1, 256) for _ in range(length))


def random_object(rng):
    attributes = [(random_text(rng), random_text(rng)) for _ in range(rng.choice([0, 1, 2, 3, rng.randrange(20)]))]
    if attributes and rng.random() < 0.3:
        attributes.append((attributes[0][0], random_text(rng)))  # a key twice
    return attributes, rng.randbytes(rng.choice([0, 1, 3, 4, rng.randrange(200), rng.randrange(20000)]))


def damaged(rng, blob):
    blob = bytearray(blob)
    kind = rng.randrange(4)
    if kind == 0:
        return bytes(blob[: rng.randrange(len(blob) + 1)])
    if kind == 1:
        blob[rng.randrange(len(blob))] ^= 1 << rng.randrange(8)
    elif kind == 2:  # a header field
        at = 4 * rng.randrange(7)
        blob[at : at + 4] = struct.pack(">I", rng.choice([0, 1, 27, 28, 29, len(blob), len(blob) + 1,
                                                          0xFFFFFFFF, 0xFFFFFFE4, rng.getrandbits(32)]))
    else:  # any word of the first kilobyte
        at = 4 * rng.randrange((min(len(blob), 1024) + 3) // 4)
        blob[at : at + 4] = struct.pack(">I", rng.choice([0, 1, 4, 5, 0x7FFFFFFF, 0xFFFFFFFF]))
    return bytes(blob)


class Tool:
    def __init__(self, command):
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def ask(self, *words):
        self.process.stdin.write((" ".join(words) + "\n").encode())
        self.process.stdin.flush()
        answer = self.process.stdout.readline().decode().split()
        if not answer:
            sys.exit("the tool ended")
        return answer

    def parse(self, blob):
        status, *words = self.ask("parse", hexed(blob))
        if status == "bad":
            raise Bad(" ".join(words))
        data, *texts = [b"" if word == "-" else bytes.fromhex(word) for word in words]
        return list(zip(texts[::2], texts[1::2])), data


def outcome(reader, blob):
    try:
        return reader(blob)
    except Bad:
        return "refused"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--seed", type=int, default=20210412)
    parser.add_argument("--cases", type=int, default=300)
    parser.add_argument("tool", nargs="+")
    options = parser.parse_args()
    rng = random.Random(options.seed)
    tool = Tool(options.tool)

    def must(condition, what, *details):
        if not condition:
            sys.exit(f"seed {options.seed}, case {case}: {what}\n" + "\n".join(map(repr, details)))

    refused = accepted = 0
    for case in range(options.cases):
        attributes, data = random_object(rng)
        mine = compose(attributes, data)
        (answer,) = tool.ask("compose", hexed(data), *(hexed(text) for pair in attributes for text in pair))
        theirs = bytes.fromhex(answer)
        must(without_padding(theirs, attributes) == mine, "composed files differ", mine, theirs)
        must(parse(theirs) == (attributes, data), "their file does not parse here", theirs)

        foreign = compose(attributes, data, rng.randbytes, [rng.randbytes(rng.choice([0, 1, 4, 9])) for _ in "abc"])
        must(outcome(tool.parse, foreign) == (attributes, data), "our file does not parse there", foreign)

        for _ in range(3):
            bad = damaged(rng, foreign)
            here, there = outcome(parse, bad), outcome(tool.parse, bad)
            must(here == there, "a damaged file is read differently", bad, here, there)
            refused += here == "refused"
            accepted += here != "refused"

    tool.process.stdin.close()
    if tool.process.wait() != 0:
        sys.exit("the tool failed")
    if options.cases >= 100 and not (refused and accepted):
        sys.exit("the damaged files were all alike")
    print(f"{options.cases} objects agree; of {refused + accepted} damaged files both refuse {refused}")


if __name__ == "__main__":
    main()
