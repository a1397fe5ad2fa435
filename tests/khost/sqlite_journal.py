"""Rollback journals of SQLite as somebody writes them by hand: what SQLite believes of a file beside a database."""

import os
import struct

MAGIC = bytes.fromhex("d9d505f920a163d7")
SECTOR = 512


def checksum(page):
    """With 0 for the journal's random number."""
    return sum(page[len(page) - 200:0:-200]) & 0xFFFFFFFF


def write_journal(database, page_number_one, named=None):
    """A hot journal beside a database, which brings its first page back to what is given; with the name of a file that
    ties journals together, when there is one."""
    size = len(page_number_one)
    pages = os.path.getsize(database) // size
    data = (MAGIC + struct.pack(">IIIII", 1, 0, pages, SECTOR, size)).ljust(SECTOR, b"\0")
    data += struct.pack(">I", 1) + page_number_one + struct.pack(">I", checksum(page_number_one))
    if named is not None:
        name = named.encode()
        total = sum(byte if byte < 128 else byte - 256 for byte in name) & 0xFFFFFFFF
        data += struct.pack(">I", 0x40000000 // size + 1) + name + struct.pack(">II", len(name), total) + MAGIC
    with open(database + "-journal", "wb") as file:
        file.write(data)
