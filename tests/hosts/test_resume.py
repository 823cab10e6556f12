"""A transfer that breaks, or whose host is killed, goes on where it was; two versions or two hosts never mix."""
import subprocess
import threading
import time
import unittest

from hosts_support import PATIENCE
from range_server import MIB, SEED, TEN_YEARS_AGO, Asset, Body, RangeTest, handler_for


class ResumeTest(RangeTest):
    def kill_on_the_way(self, url, size):
        """Ends a host when at least `size` bytes of its data are on the disk; gives how many were."""
        process = self.start("--quiet", "--no-retry", url)
        self.await_true(lambda: self.kept() >= size or process.poll() is not None, f"{size} bytes")
        self.assertIsNone(process.poll())
        process.kill()
        process.wait()
        return self.kept()

    def check_whole(self, asset, *names):
        self.assertEqual(sorted(path.name for path in self.assets.iterdir()), sorted(names))
        for name in names:
            self.assertTrue(asset.body.is_whole(self.assets / name), name)
        self.check_cache_is_gone()

    def test_a_gibibyte_cut_ten_times_is_sent_once(self):
        asset = Asset(Body(1024 * MIB), etag='"1"')
        cuts = sorted(self.random.sample(range(asset.body.size), 10))
        asset.stops = [(cut, "close") for cut in cuts]
        url = self.offer(asset)
        for cut in cuts:
            message = self.fetch_once(url)
            self.assertEqual(self.kept(), cut)
            self.assertIn("broke off after", message)
        self.fetch_once(url, status=0)
        edges = [0, *cuts, asset.body.size]
        self.assertEqual(asset.take_sent(), list(zip(edges, edges[1:])))
        self.check_whole(asset, "file.zip")

    def test_a_killed_host_loses_only_what_had_not_reached_the_disk(self):
        asset = Asset(Body(1024 * MIB), etag='"1"')
        edges = sorted(self.random.sample(range(1, 1024), 10))
        ends = [self.random.choice(["close", "hold"]) for _ in edges[1:]] + ["hold"]
        stops = [(edge * MIB, end) for edge, end in zip(edges, ends)]
        asset.stops = list(stops)
        url = self.offer(asset)
        kept, sent = [0], []
        for stop, what in stops:
            if what == "hold":
                kept.append(self.kill_on_the_way(url, self.random.randrange(kept[-1] + 1, stop + 1)))
            else:
                self.fetch_once(url)
                kept.append(self.kept())
                self.assertEqual(kept[-1], stop)
            sent += asset.take_sent()
            # A host that was killed before it came to the stop leaves the stop for nobody.
            asset.stops = [left for left in asset.stops if left[0] > stop]
        self.fetch_once(url, status=0)
        self.assertEqual([first for first, _ in sent + asset.take_sent()], kept)
        self.check_whole(asset, "file.zip")

    def test_a_changed_file_starts_over_and_is_wholly_the_new_one(self):
        now = "Mon, 02 Nov 2015 10:00:00 GMT"
        rows = [
            ("another tag", {"etag": '"1"'}, {"etag": '"2"'}),
            ("another date", {"modified": TEN_YEARS_AGO}, {"modified": now}),
            ("another tag, the same date", {"etag": '"1"', "modified": TEN_YEARS_AGO}, {"etag": '"2"'}),
            ("the tag becomes weak", {"etag": '"1"'}, {"etag": 'W/"1"'}),
            ("the tag goes", {"etag": '"1"'}, {"etag": None}),
        ]
        for name, before, after in rows:
            for size in (4 * MIB, 5 * MIB, 2 * MIB):
                with self.subTest(name, size=size):
                    self.assets = self.root / f"{name}, {size}"
                    asset = Asset(Body(4 * MIB), **before)
                    asset.stops = [(3 * MIB, "close"), (1 * MIB, "close")]
                    url = self.offer(asset)
                    self.fetch_once(url)
                    asset.body = Body(size, version=2)
                    vars(asset).update(after)
                    self.fetch_once(url)
                    self.fetch_once(url, status=0)
                    # What is strong is continued, the rest fetched anew.
                    strong = (asset.etag or asset.modified) and not (asset.etag or "").startswith("W/")
                    self.assertEqual(asset.take_sent(), [(0, 3 * MIB), (0, MIB), (MIB if strong else 0, size)])
                    self.assertEqual([head.get("Range") for head in asset.requests[:2]], [None, f"bytes={3 * MIB}-"])
                    self.check_whole(asset, "file.zip")

    def test_two_hosts_never_share_a_partial_file(self):
        for folders in (["one", "two"], ["same", "same"]):
            with self.subTest(folders=folders):
                asset = Asset(Body(8 * MIB), etag='"1"')
                url = self.offer(asset)
                hosts = [[*self.command()[:1], "--quiet", "--no-retry", "--assets", str(self.root / folder), url]
                         for folder in folders]
                # Both are cut in the middle, then both go on at the same time: one where the earlier data ends.
                self.run_together(asset, hosts, stop=5 * MIB, status=1)
                self.run_together(asset, hosts, stop=None, status=0)
                self.assertEqual(sorted(asset.take_sent()), [(0, 5 * MIB), (0, 5 * MIB), (0, 8 * MIB), (5 * MIB, 8 * MIB)])
                paths = [path for folder in set(folders) for path in (self.root / folder).iterdir()]
                self.assertEqual([asset.body.is_whole(path) for path in paths], [True, True], paths)
                self.check_cache_is_gone()

    def run_together(self, asset, hosts, stop, status):
        meeting = threading.Barrier(len(hosts))
        asset.before = lambda: meeting.wait(PATIENCE)
        asset.stops = [(stop, "close")] * len(hosts) if stop else []
        processes = [self.start_program(command, stderr=subprocess.DEVNULL) for command in hosts]
        self.assertEqual([process.wait(PATIENCE) for process in processes], [status] * len(hosts))


class KillTest(RangeTest):
    """A host that downloads many files is killed again and again."""
    KILLS = 100
    LONGEST = 0.12  # seconds that a host may live

    def test_files_are_whole_whenever_their_host_is_killed(self):
        sizes = [0, 1, 100, 5000, 60_000, 255 << 10, 256 << 10, 257 << 10, 400_000, MIB, 3 * MIB] * 3
        bodies = {f"file{number:02}.zip": Body(size, version=number) for number, size in enumerate(sizes)}
        assets = {f"/{name}": Asset(body, etag=f'"{name}"') for name, body in bodies.items()}
        for asset in assets.values():
            asset.before = lambda: time.sleep(0.01)
        origin = self.serve(handler_for(assets))
        kills = rounds = 0
        while kills < self.KILLS:
            rounds += 1
            self.make_assets_folder(rounds)
            whole = {}
            while missing := [f"{origin}/{name}" for name in bodies if name not in whole]:
                last = kills >= self.KILLS
                kills += self.run_for(None if last else self.random.uniform(0, self.LONGEST), missing)
                self.check_all_whole(bodies, whole)
                self.assertFalse(last and len(whole) < len(bodies), "a run to the end left something out")
        self.fetch_once(f"{origin}/file00.zip", status=0)
        self.check_cache_is_gone()
        print(f"{kills} kills in {rounds} rounds")

    def make_assets_folder(self, number):
        self.assets = self.root / f"assets{number}"
        self.assets.mkdir()

    def run_for(self, seconds, urls):
        """Gives whether the host had to be killed."""
        process = self.start("--quiet", "--no-retry", *urls)
        end = time.monotonic() + (PATIENCE if seconds is None else seconds)
        while process.poll() is None and time.monotonic() < end:
            time.sleep(0.001)
        if process.poll() is not None:
            self.assertEqual(process.returncode, 0)
            return False
        self.assertIsNotNone(seconds, "the host does not end")
        process.kill()
        process.wait()
        return True

    def check_all_whole(self, bodies, whole):
        """`whole` holds the files that were checked before, with what tells whether they changed since."""
        found = {}
        for path in self.assets.iterdir():
            entry = path.stat()
            found[path.name] = (entry.st_ino, entry.st_size, entry.st_mtime_ns)
            self.assertIn(path.name, bodies, f"seed {SEED}")
            if whole.get(path.name) != found[path.name]:
                self.assertNotIn(path.name, whole, f"seed {SEED}: replaced")
                self.assertTrue(bodies[path.name].is_whole(path), f"seed {SEED}: {path.name}")
        self.assertEqual(whole.keys() - found.keys(), set())
        whole.update(found)


if __name__ == "__main__":
    print(f"RESUME_SEED={SEED}", flush=True)
    unittest.main()
