"""The two kinds of address, and connections that nobody answers."""
import socket
import unittest

from hosts_support import PNG, HostTest, has_ipv6, program

TIMEOUT = 0x800C000B
CONTENT = PNG * 10


class Addresses(HostTest):
    def setUp(self):
        super().setUp()
        (self.site / "photo.png").write_bytes(CONTENT)

    def listen(self, address="127.0.0.1", port=0, full=False):
        """A port whose connections nobody takes from the system, and which gets none any more once it is full."""
        listener = socket.create_server((address, port), family=socket.AF_INET6 if ":" in address else socket.AF_INET,
                                        backlog=0 if full else 16)
        self.addCleanup(listener.close)
        port = listener.getsockname()[1]
        if full:
            filling = socket.create_connection((address, port))
            self.addCleanup(filling.close)
        return port

    @unittest.skipUnless(has_ipv6(), "this machine has no IPv6")
    def test_either_address(self):
        rows = [("127.0.0.1", ["127.0.0.1", "localhost"]), ("::1", ["[::1]", "[0:0:0:0:0:0:0:1]", "localhost"])]
        for address, hosts in rows:
            port = self.serve_site(address).rsplit(":", 1)[1]
            urls = [f"http://{host}:{port}/photo.png" for host in hosts]
            with self.subTest(address):
                self.assertEqual(self.outcomes(*urls), dict.fromkeys(urls, CONTENT))

    @unittest.skipUnless(has_ipv6(), "this machine has no IPv6")
    def test_the_address_that_answers(self):
        for serving, dead in (("127.0.0.1", "::1"), ("::1", "127.0.0.1")):
            port = int(self.serve_site(serving).rsplit(":", 1)[1])
            self.listen(dead, port, full=True)
            with self.subTest(serving):
                self.assertEqual(self.outcome(f"http://localhost:{port}/photo.png"), CONTENT)

    def test_no_answer(self):
        """All at once: each takes the component's 30 seconds."""
        rows = [("http", True), ("https", True), ("https", False), ("ftp", True), ("ftp", False)]
        urls = [f"{scheme}://127.0.0.1:{self.listen(full=full)}/x.png" for scheme, full in rows]
        self.assertEqual(self.outcomes(*urls), dict.fromkeys(urls, TIMEOUT))


if __name__ == "__main__":
    program()
