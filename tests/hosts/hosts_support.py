"""What the tests of assetfetch share: servers on free loopback ports and a host in a home of its own."""
import contextlib
import errno
import functools
import http.server
import json
import os
import pathlib
import random
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

ASSETFETCH = os.environ.get("ASSETFETCH")
READ_URL = os.environ.get("READ_URL")
PATIENCE = 60  # seconds after which a test gives up
PNG = b"\x89PNG\r\n\x1a\n" + bytes(range(256)) * 300
SKIPPED = 77  # exit status of a program of tests of which this machine could not run some


def free_port():
    """Not one of those that the system gives to connections: one of these may take it before its server does."""
    while True:
        port = random.randrange(10_000, 32_000)
        with socket.socket() as probe, contextlib.suppress(OSError):
            probe.bind(("127.0.0.1", port))
            return port


def has_ipv6():
    try:
        with socket.socket(socket.AF_INET6) as probe:
            probe.bind(("::1", 0))
    except OSError as error:
        if error.errno not in (errno.EADDRNOTAVAIL, errno.EAFNOSUPPORT):
            raise
        return False
    return True


def program():
    """Runs the tests of the main module."""
    result = unittest.main(exit=False).result
    sys.exit(not result.wasSuccessful() or (SKIPPED if result.skipped else 0))


class Handler(http.server.BaseHTTPRequestHandler):
    """Answers and logs nothing."""
    protocol_version = "HTTP/1.1"

    def answer(self, status, content=b"", fields={}):
        self.send_response(status)
        for name, value in {**fields, "Content-Length": str(len(content))}.items():
            self.send_header(name, value)
        self.end_headers()
        self.wfile.write(content)

    def log_message(self, format, *args):
        pass


class HostTest(unittest.TestCase):
    """Each test has a scratch folder with `site` to serve, `assets` to fetch into and a home for the host."""

    def setUp(self):
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="assetfetch-test-"))
        self.addCleanup(shutil.rmtree, self.root)
        self.site = self.root / "site"
        self.site.mkdir()
        self.assets = self.root / "assets"
        self.environment = {**os.environ, "HOME": str(self.root / "home"), "QMASYN10_UI": "none", "LC_ALL": "C.UTF-8"}
        for name in list(self.environment):
            if name.startswith("XDG_") or name.lower().endswith("_proxy"):
                del self.environment[name]

    def command(self, *arguments):
        return [ASSETFETCH, "--assets", str(self.assets), *map(str, arguments)]

    def fetch(self, *arguments, **options):
        return subprocess.run(self.command(*arguments), env=self.environment, capture_output=True, text=True,
                              timeout=PATIENCE, **options)

    def start(self, *arguments, **options):
        return self.start_program(self.command(*arguments), **options)

    def start_program(self, command, **options):
        process = subprocess.Popen(list(map(str, command)), **{"env": self.environment, **options})
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process):
        if process.poll() is None:
            process.kill()
        process.wait()
        for stream in (process.stdin, process.stdout, process.stderr):
            if stream:
                stream.close()

    def serve(self, handler, address="127.0.0.1"):
        """A server of this process; gives its origin."""
        class Server(http.server.ThreadingHTTPServer):
            daemon_threads = True
            address_family = socket.AF_INET6 if ":" in address else socket.AF_INET

        server = Server((address, 0), handler)
        thread = threading.Thread(target=server.serve_forever)
        thread.start()

        def stop():
            server.shutdown()
            thread.join()
            server.server_close()

        self.addCleanup(stop)
        host = f"[{address}]" if ":" in address else address
        return f"http://{host}:{server.server_port}"

    def serve_site(self, address="127.0.0.1"):
        quiet = type("Quiet", (http.server.SimpleHTTPRequestHandler,), {"log_message": lambda *_: None})
        return self.serve(functools.partial(quiet, directory=str(self.site)), address)

    def start_server(self, command, port, **options):
        """A server program, ended with the test; returns when it listens on its port."""
        process = subprocess.Popen(list(map(str, command)), **{"stderr": subprocess.DEVNULL, **options})

        def stop():
            process.send_signal(signal.SIGTERM)
            process.wait()

        self.addCleanup(stop)
        self.await_true(lambda: self.accepts(port) or process.poll() is not None, f"{command[0]} to listen")
        self.assertIsNone(process.poll(), f"{command[0]} has ended")

    def start_nginx(self, locations, servers=""):
        """nginx with these lines in its server block, and further blocks; gives the first one's origin."""
        port = free_port()
        # A proxy that looks localhost up may try one of its addresses only.
        listen = f"listen 127.0.0.1:{port}; " + (f"listen [::1]:{port};" if has_ipv6() else "")
        prefix = self.root / "nginx"
        prefix.mkdir()
        os.chmod(self.root, 0o755)  # its workers are another user
        (prefix / "nginx.conf").write_text(f"""
daemon off; worker_processes 1; pid {prefix}/pid; error_log {prefix}/error.log;
events {{}}
http {{
    log_format protocol "$server_protocol $request_uri";
    access_log {prefix}/access.log protocol;
    types {{ image/jpeg jpg; text/html html; }}
    default_type application/octet-stream;
    client_body_temp_path {prefix}/body; proxy_temp_path {prefix}/proxy; fastcgi_temp_path {prefix}/fastcgi;
    uwsgi_temp_path {prefix}/uwsgi; scgi_temp_path {prefix}/scgi;
    server {{ {listen} root {self.site}; {locations} }}
    {servers}
}}
""")
        self.start_server(["/usr/sbin/nginx", "-p", prefix, "-c", prefix / "nginx.conf"], port)
        return f"http://127.0.0.1:{port}"

    @staticmethod
    def accepts(port):
        with socket.socket() as probe:
            return probe.connect_ex(("127.0.0.1", port)) == 0

    def await_true(self, condition, what):
        end = time.monotonic() + PATIENCE
        while not condition():
            if time.monotonic() > end:
                self.fail(f"waited in vain for {what}")
            time.sleep(0.02)

    def fetched(self):
        """Name to content of all that is in the assets folder."""
        return {path.name: path.read_bytes() for path in self.assets.iterdir()}

    def outcomes(self, *urls):
        """What the component makes of each URL: the content of the file, or the number of the reader's failure."""
        reader = self.start_program([READ_URL, *urls], stdout=subprocess.PIPE, text=True)
        fetch = self.fetch("--json", "--no-retry", *urls)
        told, _ = reader.communicate(timeout=PATIENCE)
        failures = {url: int(number, 16) for number, url, _ in (line.split("\t") for line in told.splitlines())}
        events = [json.loads(line) for line in fetch.stdout.splitlines()]
        last = {event["url"]: event for event in events if event["event"] == "state"}
        outcomes = {}
        for url in urls:
            finished = last[url]["state"] == "finished"
            self.assertEqual(finished, failures[url] == 0, f"{last[url]} and {told}")
            outcomes[url] = pathlib.Path(last[url]["path"]).read_bytes() if finished else failures[url]
        self.assertEqual(len(self.fetched()), sum(isinstance(o, bytes) for o in outcomes.values()))
        shutil.rmtree(self.assets)
        return outcomes

    def outcome(self, url):
        return self.outcomes(url)[url]


class SlowHandler(Handler):
    """Sends the first half of a file of 200 kB and then holds the rest back until the server ends."""
    total = 200_000

    def do_GET(self):
        self.send_response(200)
        self.send_header("Content-Length", str(self.total))
        self.send_header("Content-Type", "image/png")
        self.end_headers()
        try:
            self.wfile.write(bytes(self.total // 2))
            self.wfile.flush()
            self.rfile.read(1)  # the client's end
        except ConnectionError:
            pass
        self.close_connection = True
