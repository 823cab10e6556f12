"""A disk that is full, read only, forbidden or another one: what arrived survives, and no part of a file is seen.

Runs in a mount namespace of its own, which takes what is mounted along when it ends.
"""
import ctypes
import os
import resource
import shutil
import signal
import struct
import subprocess
import sys
import unittest

import test_resume
from hosts_support import PATIENCE, READ_URL
from range_server import MIB, SEED, Asset, Body, RangeTest

SKIPPED = 77
IN_MODIFY, IN_MOVED_TO, IN_CREATE = 0x2, 0x80, 0x100
WITHOUT_PRIVILEGES = ["setpriv", "--bounding-set=-all", "--inh-caps=-all"]


def mount(*arguments):
    # What the system already says of the volume may be in terms that a remount does not take in a namespace.
    subprocess.run(["mount", "--options-mode", "ignore", *map(str, arguments)], check=True)


def mount_volume(test, folder, mebibytes):
    folder.mkdir(parents=True, exist_ok=True)
    mount("-t", "tmpfs", "-o", f"size={mebibytes}m", "none", folder)
    test.addCleanup(subprocess.run, ["umount", "--lazy", str(folder)], check=True)


def give_room(folder, mebibytes):
    mount("-o", f"remount,size={mebibytes}m", folder)


class Watch:
    """What happens to the entries of a folder, from the kernel itself: nothing is missed."""

    def __init__(self, folder):
        libc = ctypes.CDLL(None, use_errno=True)
        self.file = libc.inotify_init1(os.O_NONBLOCK)
        mask = IN_MODIFY | IN_MOVED_TO | IN_CREATE
        if self.file < 0 or libc.inotify_add_watch(self.file, os.fsencode(folder), mask) < 0:
            raise OSError(ctypes.get_errno(), "inotify")

    def events(self):
        data = os.read(self.file, MIB)
        os.close(self.file)
        while data:
            _, mask, _, length = struct.unpack("iIII", data[:16])
            yield mask, data[16:16 + length].rstrip(b"\0").decode()
            data = data[16 + length:]


class DiskTest(RangeTest):
    def setUp(self):
        super().setUp()
        self.prefix = []
        self.limits = None
        self.asset = Asset(Body(8 * MIB + 11), etag='"1"')
        self.url = self.offer(self.asset)

    def command(self, *arguments):
        return [*self.prefix, *super().command(*arguments)]

    def mount_assets(self, mebibytes):
        """The folder is all of a volume, so that data can't be kept beside it but comes from the cache."""
        mount_volume(self, self.assets, mebibytes)

    def check_failure(self, message):
        self.assertIn(message, self.fetch_once(self.url))
        self.assertEqual(list(self.assets.iterdir()) if self.assets.is_dir() else [], [])

    def check_rest(self, first):
        """The next attempt succeeds and is sent what lay beyond `first`, or nothing when that was all."""
        size = self.asset.body.size
        self.asset.before = None
        self.asset.take_sent()
        self.fetch_once(self.url, status=0)
        self.assertEqual(self.asset.take_sent(), [(first, size)] if first < size else [])
        self.check_whole()

    def check_whole(self):
        self.assertEqual(os.listdir(self.assets), ["file.zip"])
        self.assertTrue(self.asset.body.is_whole(self.assets / "file.zip"))
        self.check_cache_is_gone()

    def test_a_volume_that_fills_up(self):
        volume = self.root / "volume"
        rows = [("that of the assets folder", volume / "assets", volume, volume / ".QMASYN10", 4 * MIB),
                ("that of the cache", self.root / "assets", self.cache.parent, self.cache, 4 * MIB),
                ("with no room for metadata either", volume / "assets", volume, volume / ".QMASYN10", 100 * 1024)]
        for name, self.assets, full, self.cache, room in rows:
            with self.subTest(name):
                mount_volume(self, full, 4)
                where = self.assets if full == volume else full
                self.assets.mkdir()
                (full / "others").write_bytes(bytes(4 * MIB - room))
                if full != volume:
                    self.mount_assets(20)
                self.check_failure(f"of 8.4 MB; {where}: No space left on device")
                kept = self.kept()
                self.assertGreater(kept, room * 3 // 4)
                give_room(full, 20)
                self.check_rest(kept)

    def test_no_room_for_the_copy(self):
        self.mount_assets(2)
        self.check_failure(f"can't be placed in {self.assets}: No space left on device")
        give_room(self.assets, 20)
        self.check_rest(self.asset.body.size)

    def test_killed_when_there_is_no_room_for_the_copy(self):
        self.mount_assets(2)
        process = self.start("--json", self.url, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.assertTrue(any("can't be placed" in line for line in process.stdout))
        process.kill()
        process.wait()
        give_room(self.assets, 20)
        self.check_rest(self.asset.body.size)

    def test_a_volume_that_becomes_read_only(self):
        self.mount_assets(20)
        self.asset.before = lambda: mount("-o", "remount,ro", self.assets)
        self.check_failure(f"can't be placed in {self.assets}: Read-only file system")
        result = self.fetch(self.url)
        self.assertEqual(result.returncode, 2)
        self.assertIn(f"{self.assets}: can't be written: Read-only file system", result.stderr)
        mount("-o", "remount,rw", self.assets)
        self.check_rest(self.asset.body.size)

    def test_permissions(self):
        self.prefix = WITHOUT_PRIVILEGES
        self.assets.mkdir()
        self.asset.before = lambda: self.assets.chmod(0o555)
        self.check_failure(f"can't be placed in {self.assets}: Permission denied")
        result = self.fetch(self.url)
        self.assertEqual(result.returncode, 2)
        self.assertIn(f"{self.assets}: can't be written: Permission denied", result.stderr)
        self.assets.chmod(0o755)
        self.check_rest(self.asset.body.size)
        (self.assets / "file.zip").unlink()
        self.cache.parent.chmod(0o555)
        self.assets.parent.chmod(0o555)
        self.check_failure(f"nothing arrived; {self.cache.parent}: Permission denied")
        self.assets.parent.chmod(0o755)
        self.check_rest(0)  # by the place beside the assets folder

    def test_an_assets_folder_that_goes_meanwhile(self):
        def remove():
            self.assets.rmdir()

        def replace():
            self.assets.rmdir()
            self.assets.touch()

        self.asset.before = replace
        self.check_failure(f"can't be placed in {self.assets}: Not a directory")
        self.assets.unlink()
        self.check_rest(self.asset.body.size)  # and makes the folder
        (self.assets / "file.zip").unlink()
        self.asset.before = remove
        self.fetch_once(self.url, status=0)
        self.check_whole()

    def test_a_cache_that_goes_meanwhile(self):
        self.asset.before = lambda: shutil.rmtree(self.cache)
        self.check_failure("file.zip: ")
        self.check_rest(0)

    def test_a_limit_of_file_sizes(self):
        """As a quota does, it ends a write in the middle; the system's signal kills a host that does not ignore it."""
        for ignored, status in ((True, 1), (False, -signal.SIGXFSZ)):
            with self.subTest(ignored=ignored):
                def limit():
                    resource.setrlimit(resource.RLIMIT_FSIZE, (3 * MIB + 5, 3 * MIB + 5))
                    signal.signal(signal.SIGXFSZ, signal.SIG_IGN if ignored else signal.SIG_DFL)

                result = self.fetch("--no-retry", self.url, preexec_fn=limit)
                self.assertEqual(result.returncode, status, result.stderr)
                self.assertIn("broke off after 3.1 MB of 8.4 MB" if ignored else "", result.stderr)
                self.assertEqual(self.kept(), 3 * MIB + 5)
                self.check_rest(3 * MIB + 5)
                (self.assets / "file.zip").unlink()

    def test_the_reader_says_what_it_can_not_write_and_why(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (MIB, MIB))
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)

        def fill():
            mount_volume(self, self.cache.parent, 4)

        rows = [(lambda: None, limit, "File too large"), (fill, None, "No space left on device"),
                (lambda: mount("-o", "remount,ro", self.cache.parent), None, "Read-only file system")]
        for prepare, before, why in rows:
            with self.subTest(why):
                prepare()
                told = subprocess.run([READ_URL, self.url], env=self.environment, capture_output=True, text=True,
                                      timeout=PATIENCE, preexec_fn=before).stdout.rstrip().split("\t")
                self.assertEqual(told[:2], ["800C000F", self.url])
                self.assertIn(str(self.cache), told[2])
                self.assertIn(why, told[2])

    def test_the_final_name_comes_whole(self):
        # Renamed within the volume; from another one linked, as a file that had no name before.
        for volume, coming in (("the same", IN_MOVED_TO), ("another", IN_CREATE)):
            with self.subTest(volume):
                self.assets = self.root / volume
                self.assets.mkdir()
                if volume == "another":
                    self.mount_assets(20)
                watch = Watch(self.assets)
                self.fetch_once(self.url, status=0)
                events = list(watch.events())
                # The kernel tells of writing to a file without a name under its number.
                self.assertEqual([event for event in events if not event[1].startswith("#")], [(coming, "file.zip")])
                self.check_whole()


class CopyKillTest(test_resume.KillTest):
    """The kills once more where placing copies."""
    KILLS = 40

    def make_assets_folder(self, number):
        super().make_assets_folder(number)
        mount_volume(self, self.assets, 50)


class BesideKillTest(test_resume.KillTest):
    """The kills once more where data lies beside the assets folder."""
    KILLS = 30

    def make_assets_folder(self, number):
        volume = self.root / f"volume{number}"
        mount_volume(self, volume, 50)
        self.assets = volume / "assets"
        self.assets.mkdir()
        self.cache = volume / ".QMASYN10"


def enter_namespace():
    """Starts this program anew inside a mount namespace, where it is root. What it mounts is seen by nobody else."""
    inside = ["unshare", "--map-root-user", "--mount"]
    probe = subprocess.run([*inside, "mount", "-t", "tmpfs", "none", "/mnt"], capture_output=True, text=True)
    if probe.returncode != 0:
        print(f"skipped: this system lets nobody mount in a namespace: {probe.stderr.strip()}")
        sys.exit(SKIPPED)
    os.execvpe(inside[0], [*inside, sys.executable, *sys.argv], {**os.environ, "DISK_TEST_INSIDE": "1"})


if __name__ == "__main__":
    if "DISK_TEST_INSIDE" not in os.environ:
        enter_namespace()
    print(f"RESUME_SEED={SEED}", flush=True)
    unittest.main()
