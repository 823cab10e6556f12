"""Certificates, made for one test, and nginx that serves with them."""
import subprocess

from hosts_support import HostTest, free_port


def openssl(*arguments):
    subprocess.run(["openssl", *map(str, arguments)], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


class TlsTest(HostTest):
    def setUp(self):
        super().setUp()
        self.authority = self.root / "authority.pem"
        self.key = self.root / "key"
        self.new_certificate("-x509", "-out", self.authority, "-subj", "/CN=Authority of this test")
        self.environment["CURL_CA_BUNDLE"] = str(self.authority)

    def new_certificate(self, *arguments):
        new = [] if self.key.exists() else ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-keyout"]
        openssl("req", *(new or ["-new", "-key"]), self.key, "-noenc", *arguments)

    def certificate(self, name, server="IP:127.0.0.1", days=2, own=False):
        """A certificate of the authority, or self-signed, for this server."""
        path, request = self.root / f"{name}.pem", self.root / f"{name}.csr"
        extension = ["-subj", "/CN=server", "-addext", f"subjectAltName={server}"]
        if own:
            self.new_certificate("-x509", "-out", path, *extension)
        else:
            self.new_certificate("-out", request, *extension)
            openssl("x509", "-req", "-in", request, "-out", path, "-days", days, "-copy_extensions", "copy",
                    "-CA", self.authority, "-CAkey", self.key)
        return path

    def tls_server(self, certificate, lines=""):
        """The origin of a server, and its block for start_nginx."""
        port = free_port()
        return f"https://127.0.0.1:{port}", f"""server {{
            listen 127.0.0.1:{port} ssl http2; root {self.site}; ssl_certificate {certificate};
            ssl_certificate_key {self.key}; {lines}
        }}"""
