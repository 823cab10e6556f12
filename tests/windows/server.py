#!/usr/bin/env python3
"""The servers of the Windows tests: server.py FOLDER WORK. Prints their names and URLs and an empty line, then serves
until it is ended. WORK is a folder for the certificates.

URL is the asset server. GOOD, WRONG_NAME, EXPIRED and SELF_SIGNED are secured ones, named by what is wrong with their
certificates; their authority, but for the last, is WORK/ca.der. NEW offers nothing but TLS 1.3. DEAF takes no connection.

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
import pathlib
import socket
import ssl
import subprocess
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


def listen(certificate=None, oldest=ssl.TLSVersion.TLSv1_2):
    """Starts a server, secured if there is a certificate; gives its port."""
    one = Server(("127.0.0.1", 0), functools.partial(Handler, directory=sys.argv[1]))
    if certificate:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(certificate)
        context.minimum_version = oldest
        one.socket = context.wrap_socket(one.socket, server_side=True, do_handshake_on_connect=False)
    threading.Thread(target=one.serve_forever).start()
    return one.server_port


def openssl(*words):
    subprocess.run(("openssl", *words), check=True, cwd=sys.argv[2], stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def certify(name, host, signer=("-CA", "ca.pem", "-CAkey", "ca.key", "-CAcreateserial"), days=30):
    """Makes NAME.pem, a certificate of the host with its key."""
    openssl("req", "-newkey", "rsa:2048", "-nodes", "-keyout", "key", "-out", "request", "-subj", f"/CN={host}",
            "-addext", f"subjectAltName=DNS:{host}")
    openssl("x509", "-req", "-in", "request", *signer, "-days", str(days), "-copy_extensions", "copy", "-out", "certificate")
    folder = pathlib.Path(sys.argv[2])
    file = folder / f"{name}.pem"
    file.write_text((folder / "certificate").read_text() + (folder / "key").read_text())
    return file


def deaf_port():
    """A port that answers to no connection, since the few that may wait to be taken are there."""
    listener = socket.create_server(("127.0.0.1", 0), backlog=0)
    waiting = [socket.socket() for _ in range(4)]
    for one in waiting:
        one.setblocking(False)
        one.connect_ex(listener.getsockname())
    kept.extend((listener, *waiting))
    return listener.getsockname()[1]


kept = []
openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "ca.key", "-out", "ca.pem", "-subj", "/CN=Test authority")
openssl("x509", "-in", "ca.pem", "-outform", "der", "-out", "ca.der")
good = certify("good", "localhost")
secured = {
    "GOOD": listen(good),
    "WRONG_NAME": listen(certify("wrong", "other.example")),
    "EXPIRED": listen(certify("expired", "localhost", days=-1)),
    "SELF_SIGNED": listen(certify("self", "localhost", signer=("-signkey", "key"))),
    "NEW": listen(good, ssl.TLSVersion.TLSv1_3),
}
print(f"URL http://127.0.0.1:{listen()}")
print(f"DEAF http://127.0.0.1:{deaf_port()}")
for name, port in secured.items():
    print(f"{name} https://localhost:{port}")
print(flush=True)
