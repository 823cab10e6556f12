#!/usr/bin/env python3
"""The asset server of the Windows tests: server.py FOLDER. Prints its port, then serves until it is ended.

/moved leads to /photo.jpg, /short ends before its announced length, /slow takes its time. /busy refuses every other
request, /proven sends a digest with its data and /wrong one of other data.
"""

import base64
import functools
import hashlib
import http.server
import itertools
import sys
import time


DATA = b"data" * 50_000
busy = itertools.cycle((True, False))


class Handler(http.server.SimpleHTTPRequestHandler):
    def do_GET(self):
        if self.path == "/moved":
            self.head(302, 0, ("Location", "/photo.jpg"))
        elif self.path == "/short":
            self.head(200, 1000)
            self.wfile.write(b"x" * 600)
            self.close_connection = True
        elif self.path == "/busy" and next(busy):
            self.head(503, 4, ("Retry-After", "1"))
            self.wfile.write(b"busy")
        elif self.path in ("/busy", "/proven", "/wrong"):
            digest = hashlib.sha256(DATA + b"!" * (self.path == "/wrong")).digest()
            self.head(200, len(DATA), ("Repr-Digest", f"sha-256=:{base64.b64encode(digest).decode()}:"))
            self.wfile.write(DATA)
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
