"""Proxies of the environment and of the desktop: what goes through them, what passes them by, what they refuse."""
import unittest

from hosts_support import PNG as CONTENT, free_port
from tls_support import TlsTest

CANNOT_CONNECT, NO_SUCH_HOST, DOWNLOAD_FAILURE, WANTS_PASSWORD = 0x800C0004, 0x800C0005, 0x800C0008, 0x800C0009


class Proxies(TlsTest):
    def setUp(self):
        super().setUp()
        (self.site / "photo.png").write_bytes(CONTENT)
        tls, block = self.tls_server(self.certificate("good"))
        plain = self.start_nginx("", block)
        self.http, self.https = f"{plain}/photo.png", f"{tls}/photo.png"
        self.named = self.http.replace("127.0.0.1", "localhost")
        self.log = self.root / "proxy.log"

    def start_tinyproxy(self, lines=""):
        port = free_port()
        settings = self.root / "tinyproxy.conf"
        settings.write_text(f'Port {port}\nListen 127.0.0.1\nLogFile "{self.log}"\nLogLevel Connect\n{lines}\n')
        self.start_server(["tinyproxy", "-d", "-c", settings], port, stdout=-3)
        return f"127.0.0.1:{port}"

    def start_microsocks(self, *arguments):
        port = free_port()
        with self.log.open("w") as log:
            self.start_server(["microsocks", "-i", "127.0.0.1", "-p", port, *arguments], port, stderr=log)
        return f"127.0.0.1:{port}"

    def check(self, rows):
        """Of each row: variables, the URL, the outcome, and what the proxy's log then holds, nothing for a request that
        it never got."""
        for variables, url, expected, logged in rows:
            with self.subTest(variables=variables, url=url):
                start = self.log.stat().st_size
                own = dict(self.environment)
                self.environment.update(variables)
                self.assertEqual(self.outcome(url), expected)
                self.environment = own
                log = self.log.read_text()[start:]
                self.assertIn(logged, log)
                if not logged:
                    self.assertNotIn(url.split("/")[2], log)

    def test_http(self):
        proxy = f"http://{self.start_tinyproxy()}"
        address, tls_address = (url.split("/")[2] for url in (self.http, self.https))
        got, tunnelled = f"GET {self.http} ", f"CONNECT {tls_address} "
        dead = f"127.0.0.1:{free_port()}"
        self.check([
            ({"http_proxy": proxy}, self.http, CONTENT, got),
            ({"http_proxy": proxy.removeprefix("http://")}, self.http, CONTENT, got),
            ({"all_proxy": proxy}, self.http, CONTENT, got),
            ({"HTTP_PROXY": proxy}, self.http, CONTENT, ""),
            ({"http_proxy": proxy}, self.https, CONTENT, ""),
            ({"https_proxy": proxy}, self.https, CONTENT, tunnelled),
            ({"HTTPS_PROXY": proxy}, self.https, CONTENT, tunnelled),
            ({"https_proxy": proxy}, self.http, CONTENT, ""),
            ({"http_proxy": proxy, "no_proxy": "127.0.0.1"}, self.http, CONTENT, ""),
            ({"http_proxy": proxy, "NO_PROXY": "example.org,localhost"}, self.named, CONTENT, ""),
            ({"http_proxy": proxy, "no_proxy": "*"}, self.http, CONTENT, ""),
            ({"http_proxy": proxy, "no_proxy": "elsewhere.example"}, self.http, CONTENT, got),
            ({"http_proxy": f"http://{dead}"}, self.http, CANNOT_CONNECT, ""),
            ({"https_proxy": f"http://{dead}"}, self.https, CANNOT_CONNECT, ""),
            ({"http_proxy": "http://no-such-proxy.invalid:80"}, self.http, NO_SUCH_HOST, ""),
            ({"http_proxy": proxy}, f"http://{dead}/x.png", DOWNLOAD_FAILURE, f"GET http://{dead}/x.png "),
            ({"https_proxy": proxy}, f"https://{dead}/x.png", DOWNLOAD_FAILURE, f"CONNECT {dead} "),
        ])

    def test_http_with_a_password(self):
        proxy = self.start_tinyproxy("BasicAuth somebody secret")
        rows = []
        for variable, url in (("http_proxy", self.http), ("https_proxy", self.https)):
            asked = url.split("/")[2]
            rows += [
                ({variable: f"http://somebody:secret@{proxy}"}, url, CONTENT, asked),
                ({variable: f"http://somebody:guessed@{proxy}"}, url, WANTS_PASSWORD, asked),
                ({variable: f"http://{proxy}"}, url, WANTS_PASSWORD, asked),
            ]
        self.check(rows)

    def test_socks(self):
        proxy = f"socks5h://{self.start_microsocks()}"
        self.check([
            ({"all_proxy": proxy}, self.http, CONTENT, self.http.split("/")[2]),
            ({"ALL_PROXY": proxy}, self.https, CONTENT, self.https.split("/")[2]),
            # The name is the proxy's to look up.
            ({"all_proxy": proxy}, self.named, CONTENT, "connected to " + self.named.split("/")[2]),
            ({"all_proxy": proxy, "no_proxy": "127.0.0.1"}, self.http, CONTENT, ""),
            ({"all_proxy": proxy}, f"http://127.0.0.1:{free_port()}/x.png", CANNOT_CONNECT, ""),
        ])

    def test_socks_with_a_password(self):
        proxy = self.start_microsocks("-u", "somebody", "-P", "secret")
        self.check([
            ({"all_proxy": f"socks5h://somebody:secret@{proxy}"}, self.http, CONTENT, self.http.split("/")[2]),
            ({"all_proxy": f"socks5h://somebody:guessed@{proxy}"}, self.http, WANTS_PASSWORD, ""),
            ({"all_proxy": f"socks5h://{proxy}"}, self.http, WANTS_PASSWORD, ""),
        ])

    def test_the_desktops_settings(self):
        http, log = self.start_tinyproxy(), self.log
        self.log = self.root / "socks.log"
        socks = self.start_microsocks()
        self.environment.update(GSETTINGS_BACKEND="keyfile", XDG_CURRENT_DESKTOP="GNOME")
        asked = self.http.split("/")[2]

        def settings(mode, ignored="@as []", **proxies):
            lines = ["[system/proxy]", f"mode='{mode}'", f"ignore-hosts={ignored}"]
            for scheme, proxy in proxies.items():
                host, port = proxy.split(":")
                lines += [f"[system/proxy/{scheme}]", f"host='{host}'", f"port={port}"]
            path = self.root / "home" / ".config" / "glib-2.0" / "settings" / "keyfile"
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text("\n".join(lines) + "\n")

        settings("manual", socks=socks)
        self.check([
            ({}, self.http, CONTENT, asked),
            ({}, self.named, CONTENT, "connected to " + self.named.split("/")[2]),
            ({}, self.https, CONTENT, self.https.split("/")[2]),
            ({"no_proxy": "elsewhere.example"}, self.http, CONTENT, asked),
            ({"no_proxy": "127.0.0.1"}, self.http, CONTENT, ""),
            ({"https_proxy": f"http://{http}"}, self.http, CONTENT, asked),
        ])
        self.log = log
        settings("manual", http=http)
        self.check([({}, self.http, CONTENT, f"GET {self.http} "),
                    ({}, self.https, CONTENT, "CONNECT " + self.https.split("/")[2])])
        settings("manual", ignored="['127.0.0.1']", http=http)
        self.check([({}, self.http, CONTENT, ""), ({}, self.named, CONTENT, f"GET {self.named} ")])
        settings("none", http=http)
        self.check([({}, self.http, CONTENT, "")])
        settings("manual", http=http)
        self.check([({"XDG_DATA_DIRS": "/nowhere"}, self.http, CONTENT, "")])  # where no such settings are known


if __name__ == "__main__":
    unittest.main()
