"""Files from real servers arrive byte for byte."""
import random
import threading
import time
import unittest
import urllib.parse

from hosts_support import ASSETFETCH, Handler, HostTest

JPEG = b"\xff\xd8\xff\xe0\x00\x10JFIF\x00\x01"
NOISE = bytes(range(256)) * 100


class FetchTest(HostTest):
    def write(self, name, content):
        (self.site / name).write_bytes(content)
        return content

    def test_names_from_a_python_server(self):
        noise = random.Random(1)
        names = ["plain.png", "two words.png", "größe.png", "100%25 sure.png", "日本語.png"]
        names += [f"file{number:03}.png" for number in range(200)]
        contents = {name: self.write(name, noise.randbytes(number * 37)) for number, name in enumerate(names)}
        origin = self.serve_site()
        result = self.fetch("--input", "-", input="".join(f"{origin}/{urllib.parse.quote(name)}\n" for name in names))
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(self.fetched(), contents)

    def test_no_name_leaves_the_folder(self):
        class Anything(Handler):
            def do_GET(self):
                self.answer(200, self.path.encode(), {"Content-Type": "image/png"})

        origin = self.serve(Anything)
        hostile = ["..%2f..%2Fa", "..%5C..%5Cb", "%2e%2e%2f", "/..", "%2Fetc%2Fpasswd", "c%00.png", "d%0Ae%0D%0A",
                   "CON", "nul.png", "com1.txt", "f.txt..%20.", "gpj.%E2%80%AEexe", "g" * 5000 + ".png", "%FF%C0%AF",
                   ".png", "....", "%F0%9F%98%80" * 1600, "~", "-rf", "a:b", "$(h)`i`"]
        before = sorted(self.root.iterdir())
        result = self.fetch("--no-retry", *(f"{origin}/x/{path}" for path in hostile))
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(sorted(self.root.iterdir()), sorted([*before, self.assets, self.root / "home"]))
        fetched = self.fetched()
        self.assertEqual(len(set(fetched.values())), len(hostile))
        for name in fetched:
            # What both systems hold, whatever they are asked to name it.
            self.assertRegex(name, r'\A[^\x00-\x1f\x7f-\x9f\u202a-\u202e\\/:*?"<>|]+\.png\Z')
            self.assertNotRegex(name, r"(?i)\A(con|nul|com1)\.|\A[. ]|[. ]\.png\Z")
            self.assertLess(len(name.encode()), 256)

    def test_a_home_that_is_no_utf8(self):
        home = self.root / "home\udcff"
        self.environment["HOME"] = str(home)
        photo = self.write("photo.png", NOISE)
        self.command = lambda *arguments: [ASSETFETCH, *arguments]
        result = self.fetch("--no-retry", f"{self.serve_site()}/photo.png")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual((home / "Quillmark Assets/photo.png").read_bytes(), photo)

    def test_a_server_that_serves_two_at_a_time(self):
        places = threading.Semaphore(2)

        class Busy(Handler):
            def do_GET(self):
                if not places.acquire(blocking=False):
                    return self.answer(503)
                time.sleep(0.3)
                places.release()
                self.answer(200, NOISE)

        origin = self.serve(Busy)
        urls = [f"{origin}/{number}.png" for number in range(6)]
        self.assertEqual(self.outcomes(*urls), dict.fromkeys(urls, NOISE))

    def test_what_comes_of_urls(self):
        """Each row begins with some files in the assets folder and ends with one of these contents."""
        for folder in ("a", "b"):
            (self.site / folder).mkdir()
        for name, content in {"photo.jpg": JPEG, "a/photo.jpg": b"a", "b/photo.jpg": b"b", "empty.jpg": b"",
                              "sound clip.png": NOISE}.items():
            self.write(name, content)
        origin = self.start_nginx("location = /latest { return 302 /photo.jpg; }")
        photo, clip = f"{origin}/photo.jpg", (self.site / "sound clip.png").as_uri()
        urls = self.root / "urls.txt"
        urls.write_text(f"\ufeff# pictures\n\n   \t\r\n  {photo}  \r\n#{origin}/none.jpg\n")
        rows = [
            ("one named after what it redirects to", [f"{origin}/latest"], {}, [{"photo.jpg": JPEG}]),
            ("a taken name", [photo], {"photo.jpg": b"old"}, [{"photo.jpg": b"old", "photo[1].jpg": JPEG}]),
            ("one name from two folders", [f"{origin}/a/photo.jpg", f"{origin}/b/photo.jpg"], {},
             [{"photo.jpg": b"a", "photo[1].jpg": b"b"}, {"photo.jpg": b"b", "photo[1].jpg": b"a"}]),
            ("one URL twice", [photo, photo], {}, [{"photo.jpg": JPEG}]),
            ("one URL twice, forced", ["--force", photo, photo], {}, [{"photo.jpg": JPEG}]),
            ("a file of URLs", ["--input", urls], {}, [{"photo.jpg": JPEG}]),
            ("an empty file", [f"{origin}/empty.jpg"], {}, [{"empty.jpg": b""}]),
            ("a local file", [clip], {}, [{"sound clip.png": NOISE}]),
        ]
        for name, arguments, before, after in rows:
            with self.subTest(name):
                self.assets = self.root / name
                self.assets.mkdir()
                for taken, content in before.items():
                    (self.assets / taken).write_bytes(content)
                result = self.fetch(*arguments)
                self.assertEqual((result.returncode, result.stderr), (0, ""))
                self.assertIn(self.fetched(), after)
                self.assertEqual(result.stdout.count(f" -> {self.assets}/"), len(after[0]) - len(before))
                if len(arguments) == 1:
                    self.assertIn(f"{arguments[0]} -> ", result.stdout)

    def test_a_relative_assets_folder_is_made_and_files_bear_the_usual_permissions(self):
        reference = self.site / "photo.jpg"
        reference.touch()
        self.assets = "made/on the/way"
        self.assertEqual(self.fetch(reference.as_uri(), cwd=self.root).returncode, 0)
        self.assertEqual((self.root / self.assets / "photo.jpg").stat().st_mode, reference.stat().st_mode)

    def test_forced_ones_where_no_window_can_be(self):
        contents = {name: self.write(name, JPEG) for name in ("a.jpg", "b.jpg")}
        origin = self.start_nginx("")
        self.environment.update(QMASYN10_UI="gtk", DISPLAY="", WAYLAND_DISPLAY="")
        result = self.fetch("--force", *(f"{origin}/{name}" for name in contents))
        self.assertEqual((result.returncode, result.stderr, self.fetched()), (0, "", contents))


if __name__ == "__main__":
    unittest.main()
