"""Files from a real ftp server."""
import os
import unittest

from hosts_support import PNG, HostTest, free_port

CANNOT_CONNECT, NO_SUCH_OBJECT, WANTS_PASSWORD = 0x800C0004, 0x800C0006, 0x800C0009
CONTENT = PNG * 10


class Ftp(HostTest):
    def start_vsftpd(self, lines=""):
        """vsftpd without the system's users, for whom it would need settings of the system's; gives its origin."""
        port = free_port()
        empty = self.root / "empty"
        empty.mkdir(exist_ok=True)
        # Debian's package brings the user of the service; who is not root can only run it as himself.
        own = "" if os.geteuid() == 0 else "run_as_launching_user=YES"
        settings = self.root / f"vsftpd-{port}.conf"
        settings.write_text(f"""listen=YES
listen_address=127.0.0.1
listen_port={port}
background=NO
anonymous_enable=YES
local_enable=NO
anon_root={self.site}
secure_chroot_dir={empty}
xferlog_enable=NO
seccomp_sandbox=NO
{own}
{lines}
""")
        os.chmod(self.root, 0o755)
        self.start_server(["/usr/sbin/vsftpd", settings], port)
        return f"ftp://127.0.0.1:{port}"

    def test_files(self):
        (self.site / "folder").mkdir()
        for name in ("photo.png", "folder/two words.png"):
            (self.site / name).write_bytes(CONTENT + name.encode())
        (self.site / "empty.png").write_bytes(b"")
        (self.site / "secret.png").write_bytes(b"secret")
        (self.site / "secret.png").chmod(0o600)
        origin = self.start_vsftpd()
        rows = {
            "photo.png": CONTENT + b"photo.png",
            "folder/two%20words.png": CONTENT + b"folder/two words.png",
            "empty.png": b"",
            "none.png": NO_SUCH_OBJECT,
            "secret.png": NO_SUCH_OBJECT,
            "folder": NO_SUCH_OBJECT,
            "folder/": NO_SUCH_OBJECT,
            "folder;type=d": NO_SUCH_OBJECT,
            "none/photo.png": NO_SUCH_OBJECT,
        }
        outcomes = self.outcomes(*(f"{origin}/{name}" for name in rows))
        for name, expected in rows.items():
            with self.subTest(name):
                self.assertEqual(outcomes[f"{origin}/{name}"], expected)
        closed = f"ftp://127.0.0.1:{free_port()}/photo.png"
        self.assertEqual(self.outcome(closed), CANNOT_CONNECT)

    def test_passwords(self):
        (self.site / "photo.png").write_bytes(CONTENT)
        passwords = self.root / "passwords"
        passwords.write_text("se cret\n")
        origin = self.start_vsftpd(f"secure_email_list_enable=YES\nemail_password_file={passwords}")
        rows = {
            "ftp:se%20cret@": CONTENT,
            "ftp:guessed@": WANTS_PASSWORD,
            "somebody:se%20cret@": WANTS_PASSWORD,
            "": WANTS_PASSWORD,
        }
        urls = {user: f"{origin}/photo.png".replace("//", f"//{user}") for user in rows}
        outcomes = self.outcomes(*urls.values())
        for user, expected in rows.items():
            with self.subTest(user):
                self.assertEqual(outcomes[urls[user]], expected)
        netrc = self.root / "home" / ".netrc"
        netrc.write_text('machine 127.0.0.1 login ftp password "se cret"\n')
        self.assertEqual(self.outcome(urls[""]), CONTENT)


if __name__ == "__main__":
    unittest.main()
