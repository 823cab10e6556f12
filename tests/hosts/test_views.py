"""What assetfetch shows: JSON, lines, the live view on a terminal; and how it ends on a signal."""
import fcntl
import json
import os
import pty
import re
import signal
import struct
import termios
import unittest

from hosts_support import HostTest, SlowHandler


class Terminal:
    """A screen that understands what the live view writes: lines, cursor up, clear to the end, cursor visibility."""

    def __init__(self, columns):
        self.columns, self.lines, self.row, self.visible, self.widest = columns, [""], 0, True, 0

    def feed(self, text):
        for token in re.findall(r"\x1b\[\??[0-9]*[A-Za-z]|\r|\n|[^\x1b\r\n]+", text):
            if token == "\n":
                self.row += 1
                if self.row == len(self.lines):
                    self.lines.append("")
            elif token == "\r":
                self.lines[self.row] += ""
            elif token.endswith("A"):
                self.row -= int(token[2:-1])
                assert self.row >= 0, "moved above the screen"
            elif token.endswith("J"):
                del self.lines[self.row + 1:]
                self.lines[self.row] = ""
            elif token in ("\x1b[?25l", "\x1b[?25h"):
                self.visible = token.endswith("h")
            else:
                self.lines[self.row] += token
                width = sum(2 if ord(c) >= 0x1100 and ord(c) != 0x2026 else 1 for c in self.lines[self.row])
                self.widest = max(self.widest, width)


class ViewTest(HostTest):
    def start_on_terminal(self, columns, *arguments):
        master, slave = pty.openpty()
        self.addCleanup(os.close, master)
        self.resize(slave, columns)
        self.environment["TERM"] = "xterm"
        process = self.start(*arguments, stdout=slave, stderr=slave, stdin=slave)
        os.close(slave)
        return process, master

    @staticmethod
    def resize(terminal, columns):
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("4H", 24, columns, 0, 0))

    def read_until(self, master, seen, condition):
        while not condition(seen):
            try:
                data = os.read(master, 65536)
            except OSError:  # the host has left
                break
            seen += data.decode().replace("\r\n", "\n")
        return seen

    def test_json(self):
        (self.site / 'quo"te.jpg').write_bytes(b"x" * 1000)
        origin = self.start_nginx("")
        result = self.fetch("--json", "--no-retry", f"{origin}/quo%22te.jpg", f'{origin}/no"ne.jpg', "bad\x01\xffurl")
        self.assertEqual(result.returncode, 1)
        events = [json.loads(line) for line in result.stdout.splitlines()]
        done = [e for e in events if e.get("state") == "finished"]
        self.assertEqual([(e["name"], e["size"], e["total"], e["attempts"], e["type"]) for e in done],
                         [('quo"te.jpg', 1000, 1000, 1, "image/jpeg")])
        self.assertEqual(os.path.dirname(done[0]["path"]), str(self.assets))
        self.assertEqual(open(done[0]["path"], "rb").read(), b"x" * 1000)
        self.assertEqual([e["name"] for e in events if e.get("state") == "broken"], ["bad?ÿurl", 'no"ne.jpg'])
        self.assertEqual(events[-1], {"event": "end", "jobs": 3, "finished": 1, "failed": 2, "received": 1000})

    def test_lines_without_a_terminal_and_errors_only_when_quiet(self):
        (self.site / "photo.jpg").write_bytes(b"x" * 2500)
        origin = self.start_nginx("")
        result = self.fetch("--quiet", "--no-retry", f"{origin}/photo.jpg", f"{origin}/none.jpg")
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertIn("none.jpg", result.stderr)
        (self.assets / "photo.jpg").unlink()
        result = self.fetch(f"{origin}/photo.jpg")
        self.assertEqual(result.stdout.splitlines(),
                         [f"{origin}/photo.jpg: 2.5 kB", f"{origin}/photo.jpg -> {self.assets}/photo.jpg"])

    def test_live_lines_fit_the_terminal(self):
        origin = self.serve(SlowHandler)
        name = "長い名前" * 10 + ".png"
        for columns in (100, 60, 37, 12):
            with self.subTest(columns=columns):
                process, master = self.start_on_terminal(columns, f"{origin}/{columns}/{name}")
                shown = "50%" if columns > 20 else "長"
                seen = self.read_until(master, "", lambda text: shown in text)
                process.send_signal(signal.SIGINT)
                seen = self.read_until(master, seen, lambda text: False)
                self.assertEqual(process.wait(), 130)
                live, listed = seen.rsplit("\x1b[J", 1)  # the list at the end may be wider
                self.assertRegex(listed, r"\n0 of 1 file  [0-9.]+ k?B\n$")
                screen = Terminal(columns)
                screen.feed(live + "\x1b[J")
                self.assertTrue(screen.visible)
                self.assertLessEqual(screen.widest, columns)
                self.assertGreater(screen.widest, 0)

    def test_live_view_survives_a_resize(self):
        origin = self.serve(SlowHandler)
        process, master = self.start_on_terminal(120, f"{origin}/a.png", f"{origin}/b.png")
        seen = self.read_until(master, "", lambda text: text.count("50%") >= 4)
        self.resize(master, 40)
        start = len(seen)
        # After the first frame in the new width two lines of 119 columns take six of 40, the totals two or three.
        seen = self.read_until(master, seen, lambda text: re.search(r"\x1b\[[89]A", text[start:]))
        self.assertRegex(seen[start:], r"\x1b\[[89]A")
        start = len(seen)
        seen = self.read_until(master, seen, lambda text: text[start:].count("\x1b[3A") >= 2)
        process.send_signal(signal.SIGINT)
        seen = self.read_until(master, seen, lambda text: False)
        self.assertEqual(process.wait(), 130)

    def test_live_view_counts_what_waits(self):
        process, master = self.start_on_terminal(80, f"{self.start_nginx('')}/none.jpg")
        self.assertIn("0 of 1 file, 1 waiting", self.read_until(master, "", lambda text: "waiting" in text))
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(), 130)

    def test_messages_take_the_place_of_a_forced_downloads_line(self):
        origin = self.start_nginx("")
        self.environment["QMASYN10_UI"] = "terminal"
        process, master = self.start_on_terminal(80, "--force", "--no-retry", f"{origin}/none.jpg")
        seen = self.read_until(master, "", lambda text: False)
        self.assertEqual(process.wait(), 1)
        self.assertIn("\r\x1b[Kassetfetch: ", seen)

    def test_live_view_ends_with_the_list(self):
        (self.site / "photo.jpg").write_bytes(b"x" * 2500)
        origin = self.start_nginx("")
        process, master = self.start_on_terminal(80, "--no-retry", f"{origin}/photo.jpg", f"{origin}/none.jpg")
        seen = self.read_until(master, "", lambda text: False)
        self.assertEqual(process.wait(), 1)
        screen = Terminal(80)
        screen.feed(seen)
        text = "\n".join(screen.lines)
        self.assertTrue(screen.visible)
        self.assertIn(f"assetfetch: {origin}/none.jpg: nothing arrived", text)
        self.assertIn(f"{origin}/photo.jpg -> {self.assets}/photo.jpg", text)
        self.assertIn("1 of 2 files, 1 failed", text)

    def test_signals_remove_every_job(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(signal=number):
                origin = self.serve(SlowHandler)
                urls = [f"{origin}/{n}.png" for n in range(50)]
                process = self.start("--json", *urls, urls[0], stdout=-1, text=True)
                for line in process.stdout:
                    if '"downloading"' in line:
                        break
                process.send_signal(number)
                rest = process.stdout.read().splitlines()
                self.assertEqual(process.wait(), 128 + number)
                self.assertEqual({json.loads(line)["state"] for line in rest[-1 - len(urls):-1]}, {"stopped"})
                self.assertEqual(json.loads(rest[-1])["finished"], 0)
                self.assertEqual(self.fetched(), {})


if __name__ == "__main__":
    unittest.main()
