#!/usr/bin/env python3
"""Holds fileinfo against exiftool on the Windows files of Debian packages.

    check_real_executables.py FILEINFO [PACKAGE-PATTERN…]

Looks at every .dll, .exe, .drv, .sys, .ocx, .cpl and .fon (and so on) of the installed packages whose names match
(default: libwine*, fonts-wine, *mingw-w64*). Hundreds of megabytes that no ordinary test should need, so this is run
by hand, after: apt-get install libwine fonts-wine mingw-w64 libimage-exiftool-perl

Of a file with texts in many languages exiftool shows the first. fileinfo is therefore run as a user of that language,
so that its choice among the languages is held against real files too.

Exit status: 0 all equal, 1 differences or faults, 77 tools or packages missing.
"""
import json
import locale
import os
import re
import shutil
import subprocess
import sys
import tempfile

PATTERNS = ["libwine*", "fonts-wine", "*mingw-w64*"]
EXTENSIONS = re.compile(r"\.(dll|exe|drv|sys|ocx|cpl|fon|acm|ax|com|ds|tlb|vxd|dll16|drv16|exe16|mod16)$", re.I)
# Label of fileinfo: tag of exiftool.
TEXTS = {
    "Company": "CompanyName",
    "Description": "FileDescription",
    "Version text": "FileVersion",
    "Internal name": "InternalName",
    "Copyright": "LegalCopyright",
    "Trademarks": "LegalTrademarks",
    "Original name": "OriginalFileName",
    "Product": "ProductName",
    "Product version text": "ProductVersion",
}
NUMBERS = {"File version": "FileVersionNumber", "Product version": "ProductVersionNumber"}


def files_of(patterns):
    listed = subprocess.run(["dpkg-query", "-W", "-f", "${binary:Package} ${db:Status-Status}\n", *patterns],
                            capture_output=True, text=True, check=False).stdout
    packages = sorted(line.split()[0] for line in listed.splitlines() if line.endswith(" installed"))
    found = {}
    for package in packages:
        paths = subprocess.run(["dpkg", "-L", package], capture_output=True, text=True, check=True).stdout.splitlines()
        found[package] = [p for p in paths if EXTENSIONS.search(p) and os.path.isfile(p)]
    return found


def locale_of(tags):
    """The locale of a user who gets the language that exiftool shows; one without language when it shows none."""
    language = int(tags.get("LanguageCode", ["0"])[0], 16)
    return locale.windows_locale.get(language, "C") + ".UTF-8"


def of_fileinfo(program, path, user):
    """The rows of one file, or the way in which the program failed."""
    run = subprocess.run([program, path], capture_output=True, timeout=10, check=False,
                         env={**os.environ, "LC_ALL": user})
    if run.returncode != 0:
        return f"exit status {run.returncode}: {run.stderr.decode(errors='replace')}"
    rows = {}
    for line in run.stdout.decode().splitlines()[1:]:
        rows[line[2:24].rstrip()] = line[24:]
    return rows


def of_exiftool(paths):
    """For each path: tag → its values, numbers as such."""
    with tempfile.NamedTemporaryFile("w", suffix=".args") as arguments:
        arguments.write("\n".join(paths))
        arguments.flush()
        run = subprocess.run(["exiftool", "-j", "-n", "-a", "-G4", "-EXE:all", "-@", arguments.name], capture_output=True,
                             check=False)
    result = {}
    for entry in json.loads(run.stdout or b"[]", parse_float=str, parse_int=str):
        tags = {}
        for key, value in entry.items():
            tags.setdefault(key.split(":")[-1], []).append(str(value))
        result[entry["SourceFile"]] = tags
    return result


def same_form(text):
    """What both print of a text: fileinfo masks control characters, exiftool drops what surrounds a text."""
    return re.sub(r"[\x00-\x1f\x7f-\x9f.?]", "?", text).strip()


def dotted(number):
    a, b, c, d = (int(part) for part in number.split("."))
    return f"{a}.{b:02}." + (f"{c:02}{d:02}" if c else f"{d:04}")


def differences(rows, tags):
    for label, tag in NUMBERS.items():
        expected = [dotted(number) for number in tags.get(tag, [])]
        if (label in rows) != bool(expected) or (expected and rows[label] not in expected):
            yield f"{label}: {rows.get(label)!r}, exiftool {expected}"
    for label, tag in TEXTS.items():
        expected = {same_form(value) for value in tags.get(tag, [])} | ({""} if len(tags.get(tag, [])) != 1 else set())
        if same_form(rows.get(label, "")) not in expected:
            yield f"{label}: {rows.get(label)!r}, exiftool {tags.get(tag)}"


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    if not shutil.which("exiftool") or not shutil.which("dpkg-query"):
        print("skipped: exiftool (libimage-exiftool-perl) is missing")
        return 77
    packages = files_of(sys.argv[2:] or PATTERNS)
    paths = sorted({os.path.realpath(path) for files in packages.values() for path in files})
    if not paths:
        print("skipped: no such packages with Windows files are installed")
        return 77
    expected = of_exiftool(paths)
    faults = with_version = texts = 0
    for path in paths:
        tags = expected.get(path, {})
        rows = of_fileinfo(sys.argv[1], path, locale_of(tags))
        wrong = [rows] if isinstance(rows, str) else list(differences(rows, tags))
        for line in wrong:
            print(f"{path}: {line}")
        faults += bool(wrong)
        if not isinstance(rows, str) and "File version" in rows:
            with_version += 1
            texts += sum(label in rows for label in TEXTS)
    for package, files in packages.items():
        if files:
            print(f"{package}: {len(files)} files")
    print(f"{len(paths)} files, {with_version} with version information, {texts} texts compared, {faults} differ")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
