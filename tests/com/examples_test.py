#!/usr/bin/env python3
"""Runs a host of examples/ for a good and a bad URL and compares what it leaves.

    examples_test.py COMMAND...        the host's command line up to the URL
"""

import os
import pathlib
import subprocess
import sys
import tempfile


def run(command, home, url):
    environment = dict(os.environ, HOME=str(home), XDG_CONFIG_HOME=str(home / "config"),
                       XDG_CACHE_HOME=str(home / "cache"))
    return subprocess.run([*command, url, str(home / "assets")], env=environment, timeout=120, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def main(command):
    with tempfile.TemporaryDirectory() as folder:
        home = pathlib.Path(folder)
        source = home / "größe 1.dat"
        source.write_bytes(os.urandom(200_000))
        good = run(command, home, source.as_uri())
        assert good.returncode == 0, good
        lines = good.stdout.splitlines()
        assert "finished 200000/200000" in lines, lines
        placed = pathlib.Path(lines[-1])
        assert placed.parent == home / "assets" and placed.read_bytes() == source.read_bytes(), lines
        bad = run(command, home, (home / "missing.dat").as_uri())
        assert bad.returncode == 1, bad
        assert list((home / "assets").iterdir()) == [placed], "a failed download left something"
        wrong = subprocess.run(command[:1] if len(command) == 1 else command[:2], stderr=subprocess.PIPE, text=True)
        assert wrong.returncode == 2 and "usage" in wrong.stderr, wrong


if __name__ == "__main__":
    main(sys.argv[1:])
