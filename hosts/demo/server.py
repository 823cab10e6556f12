#!/usr/bin/env python3
"""A small asset server on a free loopback port, for trying a host: everything it serves is made as it is asked for.

Prints the URLs that it serves, one a line, then an empty line, and serves until it is ended.
"""
import http.server
import math
import signal
import struct
import sys
import time
import zlib


def picture():
    """A 256 x 256 PNG of a round gradient."""
    def pixel(x, y):
        distance = min(255, int(math.hypot(x - 128, y - 128) * 2))
        return bytes((x, 255 - distance, y))

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    rows = b"".join(b"\0" + b"".join(pixel(x, y) for x in range(256)) for y in range(256))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">2I5B", 256, 256, 8, 2, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def sound():
    """Two seconds of a fading A, as a WAV file."""
    rate = 22050
    samples = b"".join(
        struct.pack("<h", int(20000 * math.exp(-2 * i / rate) * math.sin(2 * math.pi * 440 * i / rate)))
        for i in range(2 * rate))
    header = struct.pack("<4sI8sI2H2I2H4sI", b"RIFF", 36 + len(samples), b"WAVEfmt ", 16, 1, 1, rate, 2 * rate, 2, 16,
                         b"data", len(samples))
    return header + samples


def text():
    return "".join(f"{n:4}  Every asset arrives whole or not at all. Äpfel, œufs, яблоки.\n"
                   for n in range(1, 201)).encode()


BLOB_PIECE = bytes(range(256)) * 512  # 128 KiB
BLOB_PIECES = 64
BLOB_SECONDS = 4

# Path: content type, what makes the content.
ASSETS = {
    "/pictures/gradient.png": ("image/png", picture),
    "/sounds/bell.wav": ("audio/x-wav", sound),
    "/texts/read%20me.txt": ("text/plain; charset=utf-8", text),
}
BLOB = "/blobs/samples.dat"
REDIRECTION = ("/latest", "/pictures/gradient.png?version=2")


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        path = self.path.split("?")[0]
        if path == REDIRECTION[0]:
            self.send(302, {"Location": REDIRECTION[1]}, b"")
        elif path == BLOB:
            self.send_slowly()
        elif path in ASSETS:
            content_type, make = ASSETS[path]
            self.send(200, {"Content-Type": content_type}, make())
        else:
            self.send(404, {"Content-Type": "text/plain"}, b"no such asset\n")

    def send(self, status, headers, body):
        self.send_headers(status, {**headers, "Content-Length": len(body)})
        self.wfile.write(body)

    def send_headers(self, status, headers):
        self.send_response(status)
        for name, value in headers.items():
            self.send_header(name, str(value))
        self.end_headers()

    def send_slowly(self):
        self.send_headers(200, {"Content-Type": "application/octet-stream", "Content-Length": len(BLOB_PIECE) * BLOB_PIECES})
        for _ in range(BLOB_PIECES):
            self.wfile.write(BLOB_PIECE)
            self.wfile.flush()
            time.sleep(BLOB_SECONDS / BLOB_PIECES)

    def log_message(self, format, *args):
        pass


class Server(http.server.ThreadingHTTPServer):
    def handle_error(self, request, client_address):
        """A client that leaves early is no news; anything else is."""
        if not isinstance(sys.exc_info()[1], ConnectionError):
            super().handle_error(request, client_address)


def main():
    signal.signal(signal.SIGINT, signal.SIG_IGN)  # Ctrl-C is for the host; whoever started this ends it
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))
    server = Server(("127.0.0.1", 0), Handler)
    origin = f"http://127.0.0.1:{server.server_port}"
    for path in [*ASSETS, BLOB, REDIRECTION[0]]:
        print(origin + path)
    print(flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
