"""Secured servers: whom the component trusts, and what it speaks with them."""
import socket
import ssl
import subprocess
import unittest

from hosts_support import PNG as CONTENT, Handler
from tls_support import TlsTest

DOWNLOAD_FAILURE, SECURITY_PROBLEM = 0x800C0008, 0x800C000E
REDIRECT_FAILED, INVALID_CERTIFICATE = 0x800C0014, 0x800C0019
OLD = "ssl_protocols TLSv1.1; ssl_ciphers DEFAULT:@SECLEVEL=0;"


class Tls(TlsTest):
    def setUp(self):
        super().setUp()
        (self.site / "photo.png").write_bytes(CONTENT)

    def test_trust(self):
        good = self.certificate("good")
        rows = [
            ("good", good, "", CONTENT),
            ("wrong name", self.certificate("name", server="DNS:elsewhere.example"), "", INVALID_CERTIFICATE),
            ("expired", self.certificate("expired", days=-1), "", INVALID_CERTIFICATE),
            ("self-signed", self.certificate("own", own=True), "", INVALID_CERTIFICATE),
            ("TLS 1.2", good, "ssl_protocols TLSv1.2;", CONTENT),
            ("TLS 1.1", good, OLD, SECURITY_PROBLEM),
        ]
        servers = [self.tls_server(certificate, lines) for _, certificate, lines, _ in rows]
        self.start_nginx("", "".join(block for _, block in servers))
        # The oldest one is there, for who would speak with it.
        subprocess.run(["openssl", "s_client", "-connect", servers[-1][0].split("/")[2], "-tls1_1", "-cipher",
                        "DEFAULT:@SECLEVEL=0"], stdin=subprocess.DEVNULL, check=True, capture_output=True)
        urls = [f"{origin}/photo.png" for origin, _ in servers]
        outcomes = self.outcomes(*urls)
        for url, (name, _, _, expected) in zip(urls, rows):
            with self.subTest(name):
                self.assertEqual(outcomes[url], expected)

    def test_who_names_the_authorities(self):
        origin, block = self.tls_server(self.certificate("good"))
        self.start_nginx("", block)
        own = str(self.certificate("own", own=True))
        authority = self.environment.pop("CURL_CA_BUNDLE")
        rows = [
            ({}, INVALID_CERTIFICATE),
            ({"SSL_CERT_FILE": authority}, CONTENT),
            ({"SSL_CERT_FILE": own, "CURL_CA_BUNDLE": authority}, CONTENT),
            ({"SSL_CERT_FILE": authority, "CURL_CA_BUNDLE": own}, INVALID_CERTIFICATE),
            ({"SSL_CERT_FILE": authority, "CURL_CA_BUNDLE": ""}, CONTENT),
            ({"SSL_CERT_FILE": authority, "CURL_CA_BUNDLE": str(self.root / "none.pem")}, INVALID_CERTIFICATE),
        ]
        for variables, expected in rows:
            with self.subTest(variables):
                self.environment.update(variables)
                self.assertEqual(self.outcome(f"{origin}/photo.png"), expected)
                for name in variables:
                    del self.environment[name]

    def test_http_2_is_spoken(self):
        origin, block = self.tls_server(self.certificate("good"))
        self.start_nginx("", block)
        names = [f"photo{n:02}.png" for n in range(50)]
        for name in names:
            (self.site / name).write_bytes(CONTENT + name.encode())
        self.assertEqual(self.fetch(*(f"{origin}/{name}" for name in names)).returncode, 0)
        self.assertEqual(self.fetched(), {name: CONTENT + name.encode() for name in names})
        log = (self.root / "nginx" / "access.log").read_text().splitlines()
        self.assertEqual(sorted(log), [f"HTTP/2.0 /{name}" for name in names])

    def secured(self):
        """A handler of requests that come secured."""
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.certificate("good"), self.key)

        class Secured(Handler):
            def setup(self):
                self.request = context.wrap_socket(self.request, server_side=True)
                super().setup()

            def finish(self):
                super().finish()
                self.request.close()

        return Secured

    def test_an_answer_that_nobody_asked_for(self):
        class Talkative(self.secured()):
            def do_GET(self):
                # Both arrive at once, but are decrypted one after the other.
                self.request.setsockopt(socket.IPPROTO_TCP, socket.TCP_CORK, 1)
                self.answer(200, self.path.encode())
                self.answer(200, b"of nobody")
                self.request.setsockopt(socket.IPPROTO_TCP, socket.TCP_CORK, 0)

        origin = self.serve(Talkative).replace("http", "https")
        names = [f"file{n:02}.txt" for n in range(12)]
        self.assertEqual(self.fetch(*(f"{origin}/{name}" for name in names)).returncode, 0)
        self.assertEqual(self.fetched(), {name: f"/{name}".encode() for name in names})

    def test_an_end_that_the_server_did_not_tell(self):
        """Without a length only the server's farewell tells a whole file from one that somebody cut."""

        class Secured(self.secured()):
            protocol_version = "HTTP/1.0"

            def do_GET(self):
                self.send_response(200)
                self.send_header("Content-Type", "image/png")
                self.end_headers()
                self.wfile.write(CONTENT)
                if self.path == "/whole.png":
                    self.request.unwrap()

        origin = self.serve(Secured).replace("http", "https")
        whole, cut = f"{origin}/whole.png", f"{origin}/cut.png"
        self.assertEqual(self.outcomes(whole, cut), {whole: CONTENT, cut: DOWNLOAD_FAILURE})

    def test_redirections_may_lead_to_secured_servers_only(self):
        origin, block = self.tls_server(self.certificate("good"), "location = /down { return 302 http://$arg_to; }")
        plain = self.start_nginx(f"location = /up {{ return 302 {origin}/photo.png; }}", block)
        up, down = f"{plain}/up", f"{origin}/down?to={plain.removeprefix('http://')}/photo.png"
        self.assertEqual(self.outcomes(up, down), {up: CONTENT, down: REDIRECT_FAILED})


if __name__ == "__main__":
    unittest.main()
