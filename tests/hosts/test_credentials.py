"""Users and passwords, of URLs and of netrc: who is told them, and who must not be."""
import base64
import hashlib
import unittest
import urllib.parse
import urllib.request

from hosts_support import PNG as CONTENT, Handler, HostTest

WANTS_PASSWORD = 0x800C0009


def basic(user, password):
    return "Basic " + base64.b64encode(f"{user}:{password}".encode()).decode()


OURS, THEIRS = basic("somebody", "se cret"), basic("another", "pass")


class Server(Handler):
    """/free is for all, /locked for whom `users` holds; a query names where either leads on to."""

    def do_GET(self):
        told = self.user()
        self.told.append(told)
        url = urllib.parse.urlsplit(self.path)
        if url.path.startswith("/locked") and told not in self.users:
            self.answer(401, b"who?", {"WWW-Authenticate": self.challenge()})
        elif url.query:
            self.answer(302, fields={"Location": urllib.parse.unquote(url.query)})
        else:
            self.answer(200, CONTENT, {"Content-Type": "image/png"})

    def user(self):
        return self.headers["Authorization"]

    def challenge(self):
        return 'Basic realm="test"'


class DigestServer(Server):
    """Asks by Digest; who answers to a question of this server's counts like who tells his password."""

    def user(self):
        scheme, _, rest = (self.headers["Authorization"] or "").partition(" ")
        told = urllib.request.parse_keqv_list(urllib.request.parse_http_list(rest)) if scheme == "Digest" else {}
        for name, password in (("somebody", "se cret"), ("another", "pass")):
            secret = digest(name, "test", password)
            right = digest(secret, self.nonce, told.get("nc"), told.get("cnonce"), "auth", digest("GET", self.path))
            if told.get("response") == right:
                return basic(name, password)

    def challenge(self):
        return f'Digest realm="test", qop="auth", nonce="{self.nonce}"'


def digest(*parts):
    return hashlib.md5(":".join(map(str, parts)).encode()).hexdigest()


class Credentials(HostTest):
    def setUp(self):
        super().setUp()
        self.told_first, self.told_other = [], []
        self.first = self.start_recording(self.told_first)
        self.other = self.start_recording(self.told_other)
        self.with_user = self.first.replace("//", "//somebody:se%20cret@")

    def start_recording(self, told, kind=Server):
        return self.serve(type("Recording", (kind,), {"told": told, "users": (OURS, THEIRS), "nonce": id(told)}))

    def write_netrc(self, text):
        path = self.root / "home" / ".netrc"
        path.parent.mkdir(exist_ok=True)
        path.write_text(text)

    def check(self, rows):
        """Of each row: the URL, the outcome, and what else than nothing the first and the other server are told."""
        for url, expected, first, other in rows:
            with self.subTest(url=url):
                self.told_first.clear()
                self.told_other.clear()
                self.assertEqual(self.outcome(url), expected)
                self.assertEqual((set(self.told_first) - {None}, set(self.told_other) - {None}), (first, other))

    def test_of_a_url(self):
        def to(target):
            return "?" + urllib.parse.quote(target)

        wrong = self.first.replace("//", "//somebody:guessed@")
        theirs = self.other.replace("//", "//another:pass@")
        far = self.first.replace("127.0.0.1", "localhost")
        self.check([
            (f"{self.first}/locked.png", WANTS_PASSWORD, set(), set()),
            (f"{self.with_user}/locked.png", CONTENT, {OURS}, set()),
            (f"{wrong}/locked.png", WANTS_PASSWORD, {basic("somebody", "guessed")}, set()),
            (f"{self.with_user}/free{to('/locked.png')}", CONTENT, {OURS}, set()),
            (f"{self.with_user}/free{to(self.other + '/free.png')}", CONTENT, set(), set()),
            (f"{self.with_user}/free{to(self.other + '/locked.png')}", WANTS_PASSWORD, set(), set()),
            (f"{self.with_user}/locked{to(self.other + '/locked.png')}", WANTS_PASSWORD, {OURS}, set()),
            (f"{self.with_user}/locked{to(far + '/locked.png')}", WANTS_PASSWORD, {OURS}, set()),
            (f"{self.with_user}/locked{to(self.other + '/free' + to(self.first + '/locked.png'))}", CONTENT, {OURS},
             set()),
            (f"{self.with_user}/locked{to(theirs + '/locked.png')}", CONTENT, {OURS}, {THEIRS}),
            (f"{self.first}/free{to(theirs + '/locked' + to(self.first + '/locked.png'))}", WANTS_PASSWORD, set(),
             {THEIRS}),
        ])

    def test_by_digest(self):
        first, other = (self.start_recording(told, DigestServer) for told in (self.told_first, self.told_other))
        ours, theirs = first.replace("//", "//somebody:se%20cret@"), other.replace("//", "//another:pass@")
        self.check([
            (f"{ours}/locked.png", CONTENT, {OURS}, set()),
            (f"{ours}/locked?" + urllib.parse.quote(f"{theirs}/locked.png"), CONTENT, {OURS}, {THEIRS}),
        ])

    def test_of_netrc(self):
        self.write_netrc("machine elsewhere.example login nobody password none\n"
                         "machine 127.0.0.1 login another password pass\n")
        named = self.first.replace("127.0.0.1", "localhost")
        self.check([
            (f"{self.first}/locked.png", CONTENT, {THEIRS}, set()),
            (f"{self.with_user}/locked.png", CONTENT, {OURS}, set()),
            (f"{named}/locked.png", WANTS_PASSWORD, set(), set()),
            (f"{named}/free?{self.other}/locked.png", CONTENT, set(), {THEIRS}),
            (f"{self.with_user}/locked?{self.other}/locked.png", CONTENT, {OURS}, {THEIRS}),
            (f"{self.first}/locked?{named}/locked.png", WANTS_PASSWORD, {THEIRS}, set()),
        ])


if __name__ == "__main__":
    unittest.main()
