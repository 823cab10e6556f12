#!/usr/bin/env python3
"""The asset server of the Windows tests: server.py FOLDER. Prints its port, then serves until it is ended.

/moved leads to /photo.jpg and /loop to itself, /short ends before its announced length, /slow takes its time, /often
sends a little many times a second, /silent says nothing. /busy refuses every other request, /proven sends a digest with
its data and /wrong one of other data. /cached may be kept for an hour, and its digest is right every other time only.
/parallel answers with the greatest number of its requests under way at one time so far. /status/N answers with status N.
"""

import base64
import functools
import hashlib
import http.server
import itertools
import sys
import threading
import time


DATA = b"data" * 50_000
busy = itertools.cycle((True, False))
wrong = itertools.cycle((True, False))


class Parallel:
    """Counts the requests that are under way."""

    def __init__(self):
        self.lock, self.now, self.most = threading.Lock(), 0, 0

    def __enter__(self):
        with self.lock:
            self.now += 1
            self.most = max(self.most, self.now)

    def __exit__(self, *_):
        with self.lock:
            self.now -= 1


parallel = Parallel()
ended = threading.Event()


class Handler(http.server.SimpleHTTPRequestHandler):
    def do_GET(self):
        if self.path == "/moved":
            self.head(302, 0, ("Location", "/photo.jpg"))
        elif self.path == "/loop":
            self.head(302, 0, ("Location", "/loop"))
        elif self.path == "/silent":
            ended.wait()
        elif self.path.startswith("/status/"):
            self.head(int(self.path[8:]), 0)
        elif self.path.startswith("/parallel"):
            with parallel:
                time.sleep(0.2)
            body = str(parallel.most).encode()
            self.head(200, len(body))
            self.wfile.write(body)
        elif self.path == "/short":
            self.head(200, 1000)
            self.wfile.write(b"x" * 600)
            self.close_connection = True
        elif self.path == "/busy" and next(busy):
            self.head(503, 4, ("Retry-After", "1"))
            self.wfile.write(b"busy")
        elif self.path in ("/busy", "/proven", "/wrong", "/cached"):
            is_wrong = self.path == "/wrong" or self.path == "/cached" and next(wrong)
            digest = base64.b64encode(hashlib.sha256(DATA + b"!" * is_wrong).digest()).decode()
            age = ("Cache-Control", "max-age=3600" if self.path == "/cached" else "no-store")
            self.head(200, len(DATA), ("Repr-Digest", f"sha-256=:{digest}:"), age)
            self.wfile.write(DATA)
        elif self.path == "/often":
            self.head(200, len(DATA))
            for begin in range(0, len(DATA), 2000):
                self.wfile.write(DATA[begin : begin + 2000])
                time.sleep(0.005)
        elif self.path.startswith("/slow"):
            self.head(200, 6_000_000, ("Content-Type", "image/jpeg"))
            for _ in range(300):
                self.wfile.write(b"x" * 20_000)
                time.sleep(0.1)
        else:
            super().do_GET()

    def head(self, status, length, *fields):
        self.send_response(status)
        for name, value in (("Content-Length", str(length)), *fields):
            self.send_header(name, value)
        self.end_headers()

    def log_message(self, *_):
        pass


class Server(http.server.ThreadingHTTPServer):
    def handle_error(self, request, client_address):
        """A client that goes away in the middle of an answer is one of the tests."""


server = Server(("127.0.0.1", 0), functools.partial(Handler, directory=sys.argv[1]))
print(server.server_port, flush=True)
server.serve_forever()
