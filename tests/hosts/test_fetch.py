"""Files from real servers arrive byte for byte."""
import http.server
import random
import unittest
import urllib.parse

from hosts_support import HostTest

JPEG = b"\xff\xd8\xff\xe0\x00\x10JFIF\x00\x01"


class FetchTest(HostTest):
    def write(self, name, content):
        (self.site / name).write_bytes(content)
        return content

    def test_names_from_a_python_server(self):
        noise = random.Random(1)
        names = ["plain.png", "two words.png", "größe.png", "100%25 sure.png", "日本語.png", "no extension"]
        contents = {name: self.write(name, noise.randbytes(10_000)) for name in names}
        origin = self.serve_site()
        result = self.fetch(*(f"{origin}/{urllib.parse.quote(name)}" for name in names))
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        fetched = self.fetched()
        self.assertEqual(sorted(fetched.values()), sorted(contents.values()))
        for name in names[:-1]:
            self.assertEqual(fetched.get(name), contents[name], f"{name} in {sorted(fetched)}")

    def test_no_name_leaves_the_folder(self):
        class Anything(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                self.send_response(200)
                self.send_header("Content-Type", "image/png")
                self.end_headers()
                self.wfile.write(self.path.encode())

            def log_message(self, format, *args):
                pass

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

    def test_many_small_files(self):
        noise = random.Random(2)
        contents = {f"file{n:03}.png": self.write(f"file{n:03}.png", noise.randbytes(n * 37)) for n in range(200)}
        origin = self.serve_site()
        result = self.fetch("--input", "-", input="".join(f"{origin}/{name}\n" for name in contents))
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(self.fetched(), contents)

    def test_redirection_names_the_file_after_its_target(self):
        content = self.write("photo.jpg", JPEG + bytes(5000))
        origin = self.start_nginx("location = /latest { return 302 /photo.jpg; }")
        result = self.fetch(f"{origin}/latest")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(self.fetched(), {"photo.jpg": content})
        self.assertIn(f"{origin}/latest -> {self.assets}/photo.jpg", result.stdout)

    def test_local_file(self):
        content = self.write("sound clip.png", bytes(range(256)) * 100)
        result = self.fetch((self.site / "sound clip.png").as_uri())
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(self.fetched(), {"sound clip.png": content})

    def test_files_bear_the_permissions_that_the_user_gives_new_files(self):
        self.write("photo.jpg", JPEG)
        self.assertEqual(self.fetch((self.site / "photo.jpg").as_uri()).returncode, 0)
        reference = self.site / "reference"
        reference.touch()
        self.assertEqual((self.assets / "photo.jpg").stat().st_mode, reference.stat().st_mode)

    def test_a_taken_name_is_left_alone(self):
        content = self.write("photo.jpg", JPEG + b"new")
        self.assets.mkdir()
        (self.assets / "photo.jpg").write_bytes(b"old")
        origin = self.start_nginx("")
        self.assertEqual(self.fetch(f"{origin}/photo.jpg").returncode, 0)
        self.assertEqual(self.fetched(), {"photo.jpg": b"old", "photo[1].jpg": content})

    def test_the_same_name_from_two_folders(self):
        for folder in ("a", "b"):
            (self.site / folder).mkdir()
            self.write(f"{folder}/photo.jpg", JPEG + folder.encode())
        origin = self.start_nginx("")
        self.assertEqual(self.fetch(f"{origin}/a/photo.jpg", f"{origin}/b/photo.jpg").returncode, 0)
        fetched = self.fetched()
        self.assertEqual(sorted(fetched), ["photo.jpg", "photo[1].jpg"])
        self.assertEqual(sorted(fetched.values()), [JPEG + b"a", JPEG + b"b"])

    def test_the_same_url_twice_is_one_file(self):
        content = self.write("photo.jpg", JPEG)
        origin = self.start_nginx("")
        for options in ([], ["--force"]):
            with self.subTest(options=options):
                result = self.fetch(*options, f"{origin}/photo.jpg", f"{origin}/photo.jpg")
                self.assertEqual((result.returncode, result.stderr), (0, ""))
                self.assertEqual(self.fetched(), {"photo.jpg": content})
                self.assertEqual(result.stdout.count("->"), 1)
                (self.assets / "photo.jpg").unlink()

    def test_forced_ones_where_no_window_can_be(self):
        contents = {name: self.write(name, JPEG) for name in ("a.jpg", "b.jpg")}
        origin = self.start_nginx("")
        self.environment.update(QMASYN10_UI="gtk", DISPLAY="", WAYLAND_DISPLAY="")
        result = self.fetch("--force", *(f"{origin}/{name}" for name in contents))
        self.assertEqual((result.returncode, result.stderr, self.fetched()), (0, "", contents))

    def test_input_skips_blanks_comments_and_a_byte_order_mark(self):
        content = self.write("photo.jpg", JPEG)
        origin = self.start_nginx("")
        urls = self.root / "urls.txt"
        urls.write_text(f"\ufeff# pictures\n\n   \t\r\n  {origin}/photo.jpg  \r\n#{origin}/none.jpg\n")
        result = self.fetch("--input", urls)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(self.fetched(), {"photo.jpg": content})

    def test_an_empty_file(self):
        self.write("empty.jpg", b"")
        origin = self.start_nginx("")
        self.assertEqual(self.fetch(f"{origin}/empty.jpg").returncode, 0)
        self.assertEqual(self.fetched(), {"empty.jpg": b""})

    def test_a_relative_assets_folder_is_made(self):
        content = self.write("photo.jpg", JPEG)
        origin = self.start_nginx("")
        self.assets = "made/on the/way"
        self.assertEqual(self.fetch(f"{origin}/photo.jpg", cwd=self.root).returncode, 0)
        self.assertEqual((self.root / self.assets / "photo.jpg").read_bytes(), content)


if __name__ == "__main__":
    unittest.main()
