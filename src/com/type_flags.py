#!/usr/bin/env python3
"""Adds flags to types of a type library: type_flags.py LIBRARY IDENTIFIER=FLAGS…

The type library compiler takes "nonextensible" for dual interfaces only.
"""

import struct
import sys
import uuid

HEADER = 0x54  # bytes before the table of the types' offsets
TYPE_COUNT = 0x20  # where the number of types stands in the header
TYPE_SIZE = 0x64  # bytes of one entry of the types' segment
TYPE_SEGMENT, GUID_SEGMENT = 0, 5  # of the directory, whose entries are 16 bytes, the offset first
GUID_FIELD, FLAGS_FIELD = 0x2C, 0x30  # within an entry


def main(path, *settings):
    library = bytearray(open(path, "rb").read())

    def number(at):
        return struct.unpack_from("<i", library, at)[0]

    def entry_of(identifier):
        wanted = uuid.UUID(identifier).bytes_le
        for entry in range(types, types + count * TYPE_SIZE, TYPE_SIZE):
            guid = number(entry + GUID_FIELD)
            if guid >= 0 and library[guids + guid : guids + guid + 16] == wanted:
                return entry
        sys.exit(f"{path}: no type {identifier}")

    if library[:4] != b"MSFT":
        sys.exit(f"{path}: no type library")
    count = number(TYPE_COUNT)
    directory = HEADER + 4 * count
    types = number(directory + 16 * TYPE_SEGMENT)
    guids = number(directory + 16 * GUID_SEGMENT)
    for setting in settings:
        identifier, flags = setting.split("=")
        field = entry_of(identifier) + FLAGS_FIELD
        struct.pack_into("<i", library, field, number(field) | int(flags, 16))
    open(path, "wb").write(library)


main(*sys.argv[1:])
