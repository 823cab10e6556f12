"""Reads that break go on where they were, in another process, too, also after the first was killed."""
import os
import pathlib
import shlex
import shutil
import subprocess
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "hosts"))
from hosts_support import PATIENCE, program
from range_server import MIB, SEED, Asset, Body, RangeTest

READ_URLS = shlex.split(os.environ["TSASYNC_READ_URLS"])
SIZE = 200  # MiB
KILLS = 20


class ResumeTest(RangeTest):
    def setUp(self):
        super().setUp()
        self.drive = pathlib.Path(os.environ["WINEPREFIX"]) / "drive_c"
        temporary = [*self.drive.glob("users/*/Temp"), *self.drive.glob("users/*/AppData/Local/Temp")][0]
        self.cache = temporary / "QMASYN10"
        shutil.rmtree(self.cache, ignore_errors=True)

    def start_reads(self, *urls):
        process = self.start_program(READ_URLS, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        process.stdin.write("".join(url + "\n" for url in urls))
        process.stdin.close()
        return process

    def read(self, *urls):
        """The failure and the file of each."""
        process = self.start_reads(*urls)
        told = [line.split("\t") for line in process.stdout]
        self.assertEqual(process.wait(PATIENCE), 0)
        return [(int(number), self.drive / path.removeprefix("C:\\").replace("\\", "/")) for number, path, _ in told]

    def kill_on_the_way(self, url, size):
        """Gives how many bytes were on the disk then, at least `size`."""
        process = self.start_reads(url)
        self.await_true(lambda: self.kept() >= size or process.poll() is not None, f"{size} bytes")
        self.assertIsNone(process.poll())
        process.kill()
        process.wait()
        return self.kept()

    def test_a_killed_process_loses_only_what_had_not_reached_the_disk(self):
        asset = Asset(Body(SIZE * MIB), etag='"1"')
        edges = sorted(self.random.sample(range(1, SIZE), KILLS))
        asset.stops = [(edge * MIB, "hold") for edge in edges]
        url = self.offer(asset)
        kept, sent = [0], []
        for edge in edges:
            kept.append(self.kill_on_the_way(url, self.random.randrange(kept[-1] + 1, edge * MIB + 1)))
            sent += asset.take_sent()
            asset.stops = [left for left in asset.stops if left[0] > edge * MIB]
        [(failure, path)] = self.read(url)
        sent += asset.take_sent()
        self.assertEqual((failure, [first for first, _ in sent]), (0, kept), f"seed {SEED}")
        self.assertTrue(asset.body.is_whole(path), f"seed {SEED}")
        print(f"{KILLS} kills, {sum(last - first for first, last in sent) - SIZE * MIB} bytes lost on the way")
        # A session and the metadata of the file in it are left, until they are too old.
        self.assertEqual(len(list(self.cache.iterdir())), 2)
        os.utime(path, (time.time() - 8 * 24 * 3600,) * 2)
        self.read(self.offer(Asset(Body(1))))
        self.assertFalse(path.exists())

    def test_two_reads_never_share_a_partial_file(self):
        asset = Asset(Body(8 * MIB), etag='"1"')
        url = self.offer(asset)
        for stop in (5 * MIB, None):
            meeting = threading.Barrier(2)
            asset.before = lambda: meeting.wait(PATIENCE)
            asset.stops = [(stop, "close")] * 2 if stop else []
            outcomes = self.read(url, url)
            self.assertEqual([failure == 0 for failure, _ in outcomes], [stop is None] * 2)
        self.assertEqual(sorted(asset.take_sent()), [(0, 5 * MIB), (0, 5 * MIB), (0, 8 * MIB), (5 * MIB, 8 * MIB)])
        # Of two that nobody takes away the older may give way to the newer.
        self.assertEqual({asset.body.is_whole(path) for _, path in outcomes if path.exists()}, {True})


if __name__ == "__main__":
    print(f"RESUME_SEED={SEED}", flush=True)
    program()
