"""A file whose size neither 31 nor 32 bits hold."""
import json
import os
import random
import subprocess
import unittest

from hosts_support import HostTest

GIB = 1 << 30
SIZE = 5 * GIB + 123_456
MOST = (1 << 31) - 1  # what counts say from there on until the end
BLOCK = 100_000       # bytes
LONG = 240            # seconds


class Large(HostTest):
    def test_arrives_whole(self):
        noise = random.Random(3)
        places = [max(0, gib * GIB - BLOCK // 2) for gib in range(6)] + [SIZE - BLOCK]
        with (self.site / "film.mp4").open("w+b") as film:
            film.truncate(SIZE)  # holes, but for noise about every whole GiB
            for place in places:
                os.pwrite(film.fileno(), noise.randbytes(BLOCK), place)
            events = self.fetch_events(self.start_nginx("sendfile on; types { video/mp4 mp4; }") + "/film.mp4")
            self.assertEqual(os.listdir(self.assets), ["film.mp4"])
            self.assertEqual((self.assets / "film.mp4").stat().st_size, SIZE)
            with (self.assets / "film.mp4").open("rb") as got:
                for place in places + [noise.randrange(SIZE) for _ in range(500)]:
                    self.assertEqual(os.pread(got.fileno(), BLOCK, place), os.pread(film.fileno(), BLOCK, place), place)
        sizes = [event["size"] for event in events[:-1]]
        self.assertEqual(sizes, sorted(sizes))
        self.assertEqual((sizes[0], sizes[-1]), (0, SIZE))
        self.assertEqual({event["total"] for event in events[:-1]}, {0, MOST, SIZE})
        self.assertEqual(events[-1], {"event": "end", "jobs": 1, "finished": 1, "failed": 0, "received": SIZE})

    def fetch_events(self, url):
        process = self.start("--json", "--no-retry", url, stdout=subprocess.PIPE, text=True)
        told, _ = process.communicate(timeout=LONG)
        self.assertEqual(process.returncode, 0, told)
        return [json.loads(line) for line in told.splitlines()]


if __name__ == "__main__":
    unittest.main()
