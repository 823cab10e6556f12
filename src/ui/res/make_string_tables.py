#!/usr/bin/env python3
"""Makes string tables of the table of texts.

usage: make_string_tables.py cpp|rc texts.tsv output

The table's first line names the languages (Windows language identifiers), every other line gives one number and its
text in each of them. "cpp" gives the blocks as bytes for the Linux component, "rc" a resource script for Windows.
"""

import pathlib
import struct
import sys

STRINGS_PER_BLOCK = 16


def read_texts(path):
    """{language: {number: text}}, checked to be complete."""
    lines = pathlib.Path(path).read_text(encoding="utf-8").splitlines()
    languages = [int(name) for name in lines[0].split("\t")[1:]]
    texts = {language: {} for language in languages}
    for number, line in enumerate(lines[1:], start=2):
        cells = line.split("\t")
        if len(cells) != len(languages) + 1 or not all(cells):
            sys.exit(f"{path}:{number}: expected a number and {len(languages)} texts")
        for language, text in zip(languages, cells[1:]):
            if texts[language].setdefault(int(cells[0]), text) != text:
                sys.exit(f"{path}:{number}: {cells[0]} is there twice")
    return texts


def blocks_of(texts):
    """{block number: bytes}: 16 entries each, a count and that many UTF-16 units, little-endian."""
    blocks = {}
    for block in sorted({number // STRINGS_PER_BLOCK + 1 for number in texts}):
        first = (block - 1) * STRINGS_PER_BLOCK
        entries = []
        for number in range(first, first + STRINGS_PER_BLOCK):
            units = texts.get(number, "").encode("utf-16-le")
            entries.append(struct.pack("<H", len(units) // 2) + units)
        blocks[block] = b"".join(entries)
    return blocks


def cpp(texts):
    arrays, index = [], []
    for language, strings in sorted(texts.items()):
        for block, data in blocks_of(strings).items():
            name = f"kBlock{block}In{language}"
            digits = [f"0x{byte:02X}," for byte in data]
            rows = [" ".join(digits[i : i + 16]) for i in range(0, len(digits), 16)]
            arrays.append(f"constexpr unsigned char {name}[] = {{\n    " + "\n    ".join(rows) + "\n};\n")
            index.append(f"    {{{block}, {language}, std::as_bytes(std::span({name}))}},\n")
    return (
        '#include "platform/linux/ui/string_table_data.h"\n\n'
        "namespace tsasync::platform {\n\nnamespace {\n\n"
        + "\n".join(arrays)
        + "\nconst StringTable kTables[] = {\n"
        + "".join(index)
        + "};\n\n}  // namespace\n\n"
        "std::span<const StringTable> StringTables() { return kTables; }\n\n"
        "}  // namespace tsasync::platform\n"
    )


def rc(texts):
    lines = ["#pragma code_page(65001)"]
    for language, strings in sorted(texts.items()):
        lines += [f"LANGUAGE 0x{language & 0x3FF:02X}, 0x{language >> 10:02X}", "STRINGTABLE", "BEGIN"]
        for number, text in sorted(strings.items()):
            quoted = "".join(c if ord(c) < 128 else f"\\x{ord(c):04x}" for c in text.replace('"', '""'))
            lines.append(f'    {number} L"{quoted}"')
        lines.append("END")
    return "\n".join(lines) + "\n"


def main():
    if len(sys.argv) != 4 or sys.argv[1] not in ("cpp", "rc"):
        sys.exit(__doc__)
    output = {"cpp": cpp, "rc": rc}[sys.argv[1]](read_texts(sys.argv[2]))
    pathlib.Path(sys.argv[3]).write_text(output, encoding="utf-8", newline="\n")


if __name__ == "__main__":
    main()
