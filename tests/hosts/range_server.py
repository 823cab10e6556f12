"""A web server of large made-up files that continues them by range, cuts them short and counts every byte it sends."""
import contextlib
import os
import random
import re
import threading

from hosts_support import PATIENCE, Handler, HostTest

SEED = int(os.environ.get("RESUME_SEED", random.SystemRandom().randrange(1 << 32)))
MIB = 1 << 20
BLOCK = random.Random(4711).randbytes(MIB)
TEN_YEARS_AGO = "Fri, 13 Mar 2015 10:00:00 GMT"


class Body:
    """Bytes that are made as they are asked for: those of another version differ in every block."""

    def __init__(self, size, version=1):
        self.size, self.version = size, version

    def block(self, number):
        return b"%8d%8d" % (self.version, number) + BLOCK[16:]

    def pieces(self, first, last):
        """The bytes of [first, last), in pieces of a block at most."""
        while first < last:
            number, offset = divmod(first, len(BLOCK))
            piece = memoryview(self.block(number))[offset:offset + last - first]
            yield piece
            first += len(piece)

    def is_whole(self, path):
        with open(path, "rb") as file:
            return all(file.read(len(piece)) == piece for piece in self.pieces(0, self.size)) and not file.read(1)


class Asset:
    """What a URL leads to. A new body may be put at any time."""

    def __init__(self, body, etag=None, modified=None):
        self.body, self.etag, self.modified = body, etag, modified
        self.stops = []      # offset and what happens there, for the next answers that come so far; in order
        self.before = None   # is called before an answer is sent
        self.requests = []   # heads
        self._sent = []
        self._under_way = 0  # answers
        self._changed = threading.Condition()

    def take_sent(self):
        """The ranges [first, last) that were sent since the last call, one for each body, once all have ended."""
        with self._changed:
            assert self._changed.wait_for(lambda: self._under_way == 0, PATIENCE), "an answer does not end"
            sent, self._sent = self._sent, []
            return sent

    @contextlib.contextmanager
    def counting(self, first):
        """Counts an answer's body; the caller adds to the list's second number."""
        with self._changed:
            self._under_way += 1
        span = [first, first]
        try:
            yield span
        finally:
            with self._changed:
                self._sent.append(tuple(span))
                self._under_way -= 1
                self._changed.notify_all()

    def is_same(self, validator):
        return validator is not None and validator in (self.etag, self.modified)


class RangeHandler(Handler):
    assets = {}  # path to Asset; each server has its own

    def handle(self):
        try:
            super().handle()
        except ConnectionError:  # a client that was killed
            pass

    def do_GET(self):
        asset = self.assets.get(self.path)
        if not asset:
            return self.send_error(404)
        asset.requests.append(self.headers)
        if asset.before:
            asset.before()
        if asset.is_same(self.headers.get("If-None-Match")):
            self.send_response(304)
            return self.end_headers()
        body, first = asset.body, self.first_byte(asset)
        self.send_response(206 if first else 200)
        if first:
            self.send_header("Content-Range", f"bytes {first}-{body.size - 1}/{body.size}")
        for name, value in (("ETag", asset.etag), ("Last-Modified", asset.modified)):
            if value:
                self.send_header(name, value)
        self.send_header("Content-Type", "application/zip")
        self.send_header("Content-Length", str(body.size - first))
        self.end_headers()
        self.send_body(asset, body, first)

    def first_byte(self, asset):
        wanted = re.fullmatch(r"bytes=(\d+)-", self.headers.get("Range", ""))
        first = int(wanted[1]) if wanted and asset.is_same(self.headers.get("If-Range")) else 0
        return first if first < asset.body.size else 0

    def send_body(self, asset, body, first):
        """Up to the next stop, if there is one ahead. All of it has left for the client before the stop happens."""
        end, stop = body.size, None
        if asset.stops and asset.stops[0][0] > first:
            end, stop = asset.stops.pop(0)
        with asset.counting(first) as span:
            for piece in body.pieces(first, end):
                self.wfile.write(piece)
                span[1] += len(piece)
            if stop == "hold":
                self.rfile.read(1)  # until the client is gone
        self.close_connection = self.close_connection or end < body.size


def handler_for(assets):
    return type("Handler", (RangeHandler,), {"assets": assets})


class RangeTest(HostTest):
    """Fetches from range servers."""

    def setUp(self):
        super().setUp()
        self.cache = self.root / "home" / ".cache" / "QMASYN10"
        self.random = random.Random(SEED)

    def offer(self, asset):
        return f"{self.serve(handler_for({'/file.zip': asset}))}/file.zip"

    def kept(self):
        """Bytes that lie in the reader's folder for the next read."""
        return sum(path.stat().st_size for path in self.cache.glob("*/*"))

    def fetch_once(self, url, status=1):
        result = self.fetch("--no-retry", url)
        self.assertEqual(result.returncode, status, result.stderr)
        return result.stderr

    def check_cache_is_gone(self):
        left = [str(path.relative_to(self.cache)) for path in self.cache.rglob("*")]
        self.assertFalse(self.cache.exists(), f"seed {SEED}: left in the cache: {left}")
