"""The real dialog in real hosts, on an X server and a window manager of the test's own."""
import os
import pathlib
import pty
import re
import select
import shutil
import signal
import subprocess
import tempfile
import termios
import threading
import time
import unittest

from hosts_support import Handler, HostTest

HOSTS = pathlib.Path(os.environ["TEST_HOSTS"])
PATIENCE = 30  # seconds after which a test gives up
SIZE = 4_000_000
WIPE = "\r\x1b[K"
MODULE = "libqmasyn10-gtk3.so"


class HalfHandler(Handler):
    """Sends the first half of every file, and the second when it is told to go_on."""
    protocol_version = "HTTP/1.0"

    def do_GET(self):
        self.asked.set()
        self.send_response(200)
        self.send_header("Content-Type", "image/jpeg")
        self.send_header("Content-Length", str(SIZE))
        self.end_headers()
        try:
            self.wfile.write(bytes(SIZE // 2))
            while not self.go_on.wait(0.05):
                self.connection.settimeout(0.01)
                try:
                    if self.connection.recv(1) == b"":
                        return self.broken.set()
                except TimeoutError:
                    pass
            self.connection.settimeout(None)
            self.wfile.write(bytes(SIZE - SIZE // 2))
        except OSError:
            self.broken.set()


class Display:
    """An X server on a free display, with a window manager."""

    def __init__(self):
        read, write = os.pipe()
        self.server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write), "-screen", "0", "1280x800x24", "-nolisten", "tcp", "-noreset"],
            pass_fds=[write], stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as pipe:
            own = {"DISPLAY": ":" + pipe.readline().strip(), "GDK_BACKEND": "x11", "QT_QPA_PLATFORM": "xcb",
                   "LC_ALL": "C.UTF-8", "NO_AT_BRIDGE": "1"}
        self.environment = {name: value for name, value in {**os.environ, **own}.items()
                            if name not in ("WAYLAND_DISPLAY", "QMASYN10_UI")}
        self.manager = subprocess.Popen(["openbox"], env=self.environment, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)
        deadline = time.monotonic() + PATIENCE
        while not self.xdotool("get_num_desktops") and time.monotonic() < deadline:  # the manager's work
            time.sleep(0.1)

    def close(self):
        for process in (self.manager, self.server):
            process.terminate()
            process.wait()

    def xdotool(self, *arguments):
        return subprocess.run(["xdotool", *arguments], env=self.environment, capture_output=True, text=True,
                              timeout=PATIENCE).stdout.strip()


class Terminal:
    """A terminal of so many columns; what is written to host_end is shown on it."""

    def __init__(self, columns):
        self.own_end, self.host_end = pty.openpty()
        termios.tcsetwinsize(self.host_end, (24, columns))
        self.text = ""

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.close(self.own_end)
        os.close(self.host_end)

    def wait_for(self, wanted):
        deadline = time.monotonic() + PATIENCE
        while wanted not in self.text and time.monotonic() < deadline:
            self.read(0.1)

    def all(self):
        while self.read(0):
            pass
        return self.text

    def read(self, seconds):
        ready, _, _ = select.select([self.own_end], [], [], seconds)
        if ready:
            self.text += os.read(self.own_end, 65536).decode()
        return bool(ready)


class WindowTest(HostTest):
    @classmethod
    def setUpClass(cls):
        cls.display = Display()
        cls.addClassCleanup(cls.display.close)

    def setUp(self):
        super().setUp()
        events = {name: threading.Event() for name in ("asked", "go_on", "broken")}
        self.server = type("Half", (HalfHandler,), events)
        self.url = f"{self.serve(self.server)}/photo.jpg"
        self.addCleanup(self.server.go_on.set)

    def start(self, host, *more, stderr=subprocess.PIPE, stdin=None, **environment):
        return self.launch([HOSTS / host, self.url, self.assets, "1033", *more], stderr, environment, stdin)

    def launch(self, command, stderr, environment, stdin=None):
        return self.start_program(command, env=self.variables(environment), stdin=stdin, stdout=subprocess.PIPE,
                                  stderr=stderr, text=True)

    def variables(self, more):
        """The environment of a process of this test; None takes a variable away."""
        runtime = self.root / "runtime"
        runtime.mkdir(mode=0o700, exist_ok=True)
        variables = {**self.display.environment, "HOME": str(self.root / "home"), **more}
        variables = {name: value for name, value in variables.items()
                     if value is not None and not name.startswith("XDG_")}
        return {**variables, "XDG_RUNTIME_DIR": str(runtime)}

    def dialog(self, title="50%  of photo.jpg Completed"):
        """The dialog's window, when it has come and bears this title."""
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline:
            window = self.display.xdotool("search", "--onlyvisible", "--name", f"^{title}$")
            active = self.display.xdotool("getactivewindow")
            if window and active == window:
                return window
            time.sleep(0.1)
        self.fail(f"no dialog: named so {window!r}, active {active!r}, {self.display.xdotool('getwindowname', active)!r}")

    def outcome(self, process):
        out, err = process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, 0, err)
        return dict(line.split("=", 1) for line in out.splitlines()), err

    def check_cancelled(self, process):
        said, _ = self.outcome(process)
        self.assertEqual(said["handle"], "")
        self.assertEqual(said["active"], "0")
        self.assertGreater(int(said["ticks"]), 0)
        self.assertTrue(self.server.broken.wait(PATIENCE), "the transfer went on")
        self.assertEqual(list(self.assets.glob("*")), [])

    def check_fetched(self, process):
        self.server.go_on.set()
        said, err = self.outcome(process)
        self.assertNotEqual(said["handle"], "")
        self.assertEqual(said["active"], "0")
        self.assertEqual([file.name for file in self.assets.iterdir()], ["photo.jpg"])
        self.assertEqual((self.assets / "photo.jpg").stat().st_size, SIZE)
        return said, err

    def test_every_host_shows_the_dialog_and_goes_on_itself(self):
        for host in ("glib_host", "gtk_host", "qt_host"):
            with self.subTest(host):
                process = self.start(host)
                self.dialog()
                said, err = self.check_fetched(process)
                self.assertGreater(int(said["ticks"]), 0)
                self.assertEqual(err, "")
                (self.assets / "photo.jpg").unlink()
                self.server.go_on.clear()

    def test_windows_of_a_gtk_host_get_no_input_meanwhile(self):
        process = self.start("gtk_host")
        self.dialog()
        host = self.display.xdotool("search", "--onlyvisible", "--name", "^Host$")
        self.display.xdotool("windowmove", "--sync", host, "20", "40",  # away from below the dialog
                             "mousemove", "--window", host, "50", "50", "click", "1")
        said, _ = self.check_fetched(process)
        self.assertEqual(said["presses"], "0")

    def test_the_command_line_host_shows_it_when_forced(self):
        for force, loaded in (([], False), (["--force"], True)):
            with self.subTest(force=force):
                self.server.asked.clear()
                self.server.go_on.clear()
                command = [HOSTS / "assetfetch", *force, "--lang", "1036", "--assets", self.assets, self.url]
                process = self.launch(command, subprocess.PIPE, {})
                self.assertTrue(self.server.asked.wait(PATIENCE))
                if force:
                    self.dialog("50%  de photo.jpg Termin\u00E9")
                self.assertEqual("libgtk-" in pathlib.Path(f"/proc/{process.pid}/maps").read_text(), loaded)
                self.check_command_line(process)

    def check_command_line(self, process):
        self.server.go_on.set()
        _, err = process.communicate(timeout=PATIENCE)
        self.assertEqual((process.returncode, err), (0, ""))
        self.assertEqual((self.assets / "photo.jpg").stat().st_size, SIZE)
        (self.assets / "photo.jpg").unlink()

    def test_an_interrupt_closes_the_dialog_of_a_file_that_found_no_place(self):
        process = self.launch([HOSTS / "assetfetch", "--force", "--assets", self.assets, self.url],
                              subprocess.PIPE, {})
        self.dialog()
        self.assets.rename(self.root / "elsewhere")
        self.assets.symlink_to(self.assets)
        self.server.go_on.set()
        self.assertIn("can't be placed", process.stderr.readline())
        self.dialog("100%  of photo.jpg Completed")
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, 128 + signal.SIGINT)

    def click(self, window, right, bottom=None):
        """So many pixels from the right and lower edges; without `bottom` on the title bar."""
        place = dict(line.split("=") for line in
                     self.display.xdotool("getwindowgeometry", "--shell", window).splitlines())
        x, y = int(place["WIDTH"]) - right, int(place["HEIGHT"]) - bottom if bottom else -11
        self.display.xdotool("mousemove", "--window", window, str(x), str(y), "click", "1")

    def test_the_cancel_button_stops_the_download_in_every_host(self):
        for host in ("glib_host", "gtk_host", "qt_host"):
            with self.subTest(host):
                self.server.broken.clear()
                process = self.start(host)
                dialog = self.dialog()
                for window in self.display.xdotool("search", "--onlyvisible", "--name", "^Host$").split():
                    self.display.xdotool("windowmove", "--sync", window, "10", "30",  # below the dialog
                                         "windowsize", "--sync", window, "1200", "700", "windowraise", window)
                self.click(dialog, 40, 25)
                self.check_cancelled(process)

    def test_the_close_box_and_the_window_managers_key_cancel(self):
        ways = {
            "close box": lambda window: self.click(window, 10),
            "Alt+F4": lambda window: self.display.xdotool("key", "alt+F4"),
        }
        for name, close in ways.items():
            with self.subTest(name):
                self.server.broken.clear()
                process = self.start("glib_host")
                close(self.dialog())
                self.check_cancelled(process)

    def test_escape_and_the_focused_button_cancel_but_not_with_a_key_held_since_before(self):
        for key in ("Escape", "Return", "space"):
            with self.subTest(key):
                self.server.broken.clear()
                self.addCleanup(self.display.xdotool, "keyup", key)
                self.display.xdotool("keydown", key)
                process = self.start("glib_host")
                self.dialog()
                time.sleep(1)  # in which the key is repeated
                self.assertIsNone(process.poll())
                self.display.xdotool("keyup", key, "key", key)
                self.check_cancelled(process)

    def test_the_dialog_is_gone_when_the_call_has_returned(self):
        process = self.start("glib_host", "busy", stdin=subprocess.PIPE)
        dialog = self.dialog()
        self.server.go_on.set()
        self.assertRegex(process.stdout.readline(), "handle=.+")
        self.assertNotIn(dialog, self.display.xdotool("search", "--onlyvisible", "--name", "").split())
        self.outcome(process)

    def test_assistive_programs_are_told_everything(self):
        bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address"], stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL, text=True, env=self.variables({}))
        self.addCleanup(bus.communicate)
        self.addCleanup(bus.terminate)
        environment = {"DBUS_SESSION_BUS_ADDRESS": bus.stdout.readline().strip(), "NO_AT_BRIDGE": None}
        process = self.start("glib_host", **environment)
        told = subprocess.run(["/usr/bin/python3", "-B", pathlib.Path(__file__).with_name("assistant.py")],
                              env=self.variables(environment), capture_output=True, text=True, timeout=2 * PATIENCE)
        self.assertEqual(told.returncode, 0, told.stderr)
        asset, copied = "photo.jpg from 127.0.0.1", r".*\(1\.9 MB of 3\.8 MB copied\)"
        expected = [
            r"dialog: 50%  of photo\.jpg Completed",
            f"label: {asset} < Saving:",
            f"progress bar: {asset} < {asset}",
            r"at 0\.5",
            f"label: {copied} < Estimated time left:",
            r"label: .*/photo\.jpg < Download to:",
            r"label: (.+/Sec)? < Transfer rate:",
            r"push button: Cancel \(focused\)",
        ]
        captions = [rf"label: {caption}" for caption in
                    ("Saving:", "Estimated time left:", "Download to:", "Transfer rate:")]
        lines = told.stdout.splitlines()
        for line in expected + captions:
            self.assertTrue(any(re.fullmatch(line, said) for said in lines), f"{line} not in {lines}")
        self.check_cancelled(process)

    def component_with_module(self, make):
        """The component in a folder of its own, with the GTK module that make(original, place) leaves there."""
        folder = pathlib.Path(tempfile.mkdtemp(dir=self.root))
        for name in ("libqmasyn10.so", "libtscom.so"):
            shutil.copy(HOSTS.parent / "lib" / name, folder)
        make(HOSTS.parent / "lib" / MODULE, folder / MODULE)
        return {"LD_LIBRARY_PATH": str(folder)}

    def test_where_no_window_can_be_the_terminal_tells(self):
        module = self.component_with_module
        cases = {
            "no display": ((), {"DISPLAY": None}),
            "a display that is gone": ((), {"DISPLAY": ":65000"}),
            "another thread": (("thread",), {}),
            "another context": (("context",), {}),
            "another context, after the manager": (("late",), {"DISPLAY": None}),
            "on wish": ((), {"QMASYN10_UI": "terminal"}),
            "a wish that can't be": ((), {"QMASYN10_UI": "gtk", "DISPLAY": None}),
            "GTK 4 in the process": ((), {"LD_PRELOAD": "libgtk-4.so.1"}),
            "no module": ((), module(lambda original, place: None)),
            "a module that can't be read": ((), module(lambda original, place: place.mkdir())),
            "an empty module": ((), module(lambda original, place: place.touch())),
            "a module of text": ((), module(lambda original, place: place.write_text("no program\n" * 100))),
            "a module cut off": ((), module(lambda original, place: place.write_bytes(original.read_bytes()[:5000]))),
            "another library": ((), module(lambda original, place: shutil.copy(HOSTS.parent / "lib/libtscom.so",
                                                                             place))),
        }
        for name, (more, environment) in cases.items():
            with self.subTest(name):
                lines = self.fetch_on_terminal(80, *more, **environment)
                self.assertRegex("\n".join(lines),
                                 r"(?m)^50%  of photo\.jpg Completed  .*\(1\.9 MB of 3\.8 MB copied\)")

    def test_the_terminals_line_never_breaks(self):
        lines = self.fetch_on_terminal(20, QMASYN10_UI="terminal")
        self.assertIn("50%  of photo.jpg C", lines)
        self.assertLess(max(map(len, lines)), 20)

    def fetch_on_terminal(self, columns, *more, **environment):
        """The states of the one line that a host on a terminal of that width writes, which it wipes at the end."""
        self.server.go_on.clear()
        with Terminal(columns) as terminal:
            process = self.start("glib_host", *more, stderr=terminal.host_end, **environment)
            terminal.wait_for(WIPE + "50%")
            self.check_fetched(process)
            text = terminal.all()
        (self.assets / "photo.jpg").unlink()
        first, *lines, last = text.split(WIPE)
        self.assertEqual((first, last), ("", ""))
        self.assertNotIn("\n", text)
        return lines

    def test_nothing_is_written_where_nothing_should_be(self):
        with Terminal(80) as terminal:
            self.check_fetched(self.start("glib_host", stderr=terminal.host_end, QMASYN10_UI="none"))
            self.assertEqual(terminal.all(), "")
        (self.assets / "photo.jpg").unlink()
        _, err = self.check_fetched(self.start("glib_host", QMASYN10_UI="terminal"))
        self.assertEqual(err, "")

    def test_a_context_pushed_after_the_manager_is_no_hindrance(self):
        process = self.start("glib_host", "late")
        self.dialog()
        self.check_fetched(process)


if __name__ == "__main__":
    unittest.main()
