"""Whatever is wrong is named on standard error, with the right exit status and nothing in the assets folder."""
import os
import subprocess
import unittest

from hosts_support import PATIENCE, Handler, HostTest, free_port


class BadInputTest(HostTest):
    def test_wrong_usage(self):
        (self.root / "folder").mkdir()
        (self.root / "file").write_text("")
        url = "http://127.0.0.1:9/x.png"
        rows = [
            (["--bogus", url], "--bogus"),
            ([], "no URL"),
            (["--lang", "deutsch", url], "deutsch"),
            (["--json", "--quiet", url], "--quiet"),
            (["--input", self.root / "none.txt"], "none.txt: No such file"),
            (["--input", self.root / "folder"], "folder: Is a directory"),
            (["--assets", self.root / "file" / "below", url], "file/below: can't be made: Not a directory"),
            (["--assets", self.root / "file", url], "file: "),
            (["--assets", "/proc/nowhere", url], "/proc/nowhere: can't be made"),
            (["--assets", "/proc/self", url], "/proc/self: can't be written"),
            (["--assets", "", url], "--assets"),
            (["--assets", self.root / "blank ", url], "ends in a blank"),
        ]
        for arguments, message in rows:
            with self.subTest(arguments=arguments):
                own = self.command()[:1] if "--assets" in arguments else self.command()
                self.check(own + [str(a) for a in arguments], 2, message)

    def test_unusable_urls(self):
        rows = [
            ("", "the URL is empty"),
            ("nonsense", "nonsense: malformed URL"),
            ("http://", "http://: malformed URL"),
            ("http:///x.png", "http:///x.png: malformed URL"),
            ("http://[::1/x", "http://[::1/x: malformed URL"),
            ("http://127.0.0.1:99999999/x", "http://127.0.0.1:99999999/x: malformed URL"),
            ("http://h/a\nb", "http://h/a?b: malformed URL"),
            ("gopher://127.0.0.1/x", 'gopher://127.0.0.1/x: unknown scheme "gopher"'),
            ("javascript:alert(1)", 'javascript:alert(1): unknown scheme "javascript"'),
            ("C:\\photo.jpg", 'C:\\photo.jpg: unknown scheme "'),
        ]
        self.check_each("--", rows)

    def test_failed_transfers(self):
        (self.site / "folder").mkdir()
        origin = self.start_nginx("location = /gone { return 410; } location = /no { return 403; }")
        closed = f"http://127.0.0.1:{free_port()}/x.png"
        missing = (self.root / "none.png").as_uri()
        rows = [
            (f"{origin}/none.png", f"{origin}/none.png: nothing arrived"),
            (f"{origin}/gone", f"{origin}/gone: nothing arrived"),
            (f"{origin}/no", f"{origin}/no: nothing arrived"),
            (closed, f"{closed}: nothing arrived"),
            (missing, f"{missing}: No such file"),
            (self.site.as_uri(), f"{self.site.as_uri()}: Is a directory"),
        ]
        self.check_each("--no-retry", rows)

    def test_a_bad_one_does_not_keep_a_good_one(self):
        (self.site / "photo.jpg").write_bytes(b"good")
        origin = self.start_nginx("")
        result = self.fetch("--no-retry", "nonsense", f"{origin}/photo.jpg", f"{origin}/none.jpg")
        self.assertEqual(result.returncode, 1)
        self.assertEqual(self.fetched(), {"photo.jpg": b"good"})
        self.assertIn(f"{origin}/none.jpg -> failed: ", result.stdout)
        self.assertIn("nonsense -> failed: malformed", result.stdout)

    def test_a_tenth_attempt_that_can_not_be_placed(self):
        test, requests = self, []

        class TenthTime(Handler):
            def do_GET(self):
                requests.append(self.path)
                if len(requests) < 10:
                    return self.send_error(404)
                test.assets.rmdir()
                test.assets.touch()
                self.answer(200, b"good")

        url = f"{self.serve(TenthTime)}/photo.jpg"
        result = self.fetch("--force", url)
        self.assertEqual((result.returncode, len(requests)), (1, 10))
        messages = result.stderr.splitlines()
        self.assertIn("nothing arrived", messages[8])
        self.assertEqual(messages[9], f"assetfetch: {url}: arrived, but can't be placed in {self.assets}: "
                                      "Not a directory (attempt 10 of 10)")

    def test_output_that_can_not_be_written(self):
        (self.site / "photo.jpg").write_bytes(b"good")
        origin = self.start_nginx("")
        with open("/dev/full", "w") as full:
            process = self.start(f"{origin}/photo.jpg", stdout=full, stderr=-1, text=True)
            _, errors = process.communicate()
        self.assertEqual(process.returncode, 1)
        self.assertIn("standard output", errors)

    def check_each(self, option, rows):
        for url, message in rows:
            with self.subTest(url=url):
                self.check(self.command(option, url), 1, message)

    def check(self, command, status, message):
        result = subprocess.run(command, env=self.environment, capture_output=True, text=True, timeout=PATIENCE)
        self.assertIn(message, result.stderr)
        self.assertEqual(result.returncode, status, result.stderr)
        if os.path.isdir(self.assets):
            self.assertEqual(self.fetched(), {})


if __name__ == "__main__":
    unittest.main()
