"""fileinfo shows what there is to know, names what it can't show, and tells so by its exit status."""
import os
import pathlib
import shutil
import subprocess
import unittest

from hosts_support import HostTest

FILEINFO = os.environ["FILEINFO"]
EXECUTABLES = pathlib.Path(os.environ["EXECUTABLES"])
NOBODY = 65534


class FileInfoTest(HostTest):
    def setUp(self):
        super().setUp()
        self.root.chmod(0o755)

    def run_on(self, *arguments, **options):
        return subprocess.run([FILEINFO, *map(str, arguments)], capture_output=True, text=True, timeout=60,
                              cwd=self.root, env={**self.environment, "LC_ALL": "en_US.UTF-8"}, **options)

    def shown(self, path):
        """The heading and the rows of the one file."""
        run = self.run_on(path)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        heading, *lines = run.stdout.splitlines()
        return heading, {line[2:24].rstrip(): line[24:] for line in lines}

    def test_executables(self):
        for name in ("pe32", "pe32plus", "ne"):
            with self.subTest(name):
                heading, rows = self.shown(EXECUTABLES / name)
                self.assertEqual(heading, name)
                for label, text in {"Path": str(EXECUTABLES / name), "Kind": "Application", "Made for": "NT-Win32",
                                    "File version": "1.02.0304", "Product version": "5.06.0708",
                                    "Language": "English (United States)", "Company": "Company ä",
                                    "Product version text": "1.2.3"}.items():
                    self.assertEqual(rows.get(label), text, label)

    def test_other_files(self):
        (self.root / ".note.txt").write_text("x" * 1536)
        os.utime(self.root / ".note.txt", (0, 951782400))
        heading, rows = self.shown(".note.txt")
        self.assertEqual(heading, ".note.txt")
        self.assertEqual(rows["Path"], os.path.realpath(self.root) + "/.note.txt")
        self.assertEqual(rows["Size"], "1.50KB (1,536 bytes)")
        self.assertEqual(rows["Type"], "plain text document")
        self.assertEqual(rows["Attributes"], "hidden")
        self.assertRegex(rows["Modified"], r"^\w+day, February 2[89], 2000 \d+:\d\d:00\s[AP]M$")
        self.assertNotIn("Kind", rows)

    def test_folders(self):
        heading, rows = self.shown(self.root)
        self.assertEqual((heading, rows["Type"]), (self.root.name, "folder"))
        self.assertNotIn("Size", rows)

    def test_names_that_are_no_utf8(self):
        (self.root / "bad\ufffd").touch()
        (self.root / "bad\udcff").write_text("1234")
        heading, rows = self.shown("bad\udcff")
        self.assertTrue(heading.startswith("bad\ufffd"))
        self.assertEqual(rows["Size"], "4 bytes")

    @unittest.skipIf(os.geteuid() or not shutil.which("mount.exfat-fuse"), "needs root and exFAT")
    def test_volume_without_letter_case(self):
        volume = self.root / "volume"
        volume.mkdir()
        image = self.root / "image"
        with image.open("wb") as file:
            file.truncate(8 << 20)
        subprocess.run(["mkfs.exfat", image], check=True, stdout=subprocess.DEVNULL)
        device = subprocess.run(["losetup", "--find", "--show", image], check=True, capture_output=True, text=True).stdout
        self.addCleanup(subprocess.run, ["losetup", "--detach", device.strip()], check=True)
        subprocess.run(["mount.exfat-fuse", device.strip(), volume], check=True, stdout=subprocess.DEVNULL)
        self.addCleanup(subprocess.run, ["umount", volume], check=True)
        (volume / "Assets").mkdir()
        (volume / "Assets/Photo.JPG").touch()
        heading, rows = self.shown(volume / "aSSETS/pHOTO.jpg")
        self.assertEqual((heading, rows["Path"]), ("Photo.JPG", f"{os.path.realpath(volume)}/Assets/Photo.JPG"))

    def test_failures(self):
        sealed = shutil.copy(EXECUTABLES / "pe32", self.root / "sealed")
        os.chmod(sealed, 0)
        (self.root / "plain").touch()
        other_user = {}
        if os.geteuid() == 0:
            # The other user needs a program that lies where others may go.
            program = shutil.copy(FILEINFO, self.root / "program")
            other_user = {"user": NOBODY, "group": NOBODY, "extra_groups": [], "executable": program}
        for arguments, options, status, error, heading in [
            (["none"], {}, 1, "fileinfo: none: No such file or directory\n", None),
            (["a\x1b[1mb"], {}, 1, "fileinfo: a?[1mb: No such file or directory\n", None),
            (["none", "plain"], {}, 1, "fileinfo: none: No such file or directory\n", "plain"),
            ([sealed], other_user, 1, f"fileinfo: {sealed}: can't be read: Permission denied\n", "sealed"),
            (["./" * 3000 + "plain"], {}, 0, "", "plain"),
            ([], {}, 2, "FILE is required", None),
            (["--bogus", sealed], {}, 2, "--bogus", None),
        ]:
            with self.subTest(arguments):
                run = self.run_on(*arguments, **options)
                self.assertEqual(run.returncode, status)
                self.assertIn(error, run.stderr)
                self.assertEqual(run.stdout.splitlines()[:1], [heading] if heading else [])

    def test_full_disk(self):
        with open("/dev/full", "w", encoding="ascii") as full:
            run = subprocess.run([FILEINFO, self.root], stdout=full, stderr=subprocess.PIPE, text=True, timeout=60,
                                 check=False)
        self.assertEqual((run.returncode, run.stderr), (1, "fileinfo: can't write to standard output\n"))


if __name__ == "__main__":
    unittest.main()
