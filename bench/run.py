#!/usr/bin/env python3
"""Runs the benchmarks: whole programs against others of their trade, then the Google Benchmark programs.

What counts is the ratio within one run; every figure is the median of several alternating runs. Servers listen on
loopback, files are in memory.
"""
import argparse
import os
import pathlib
import shutil
import signal
import socket
import statistics
import subprocess
import sys
import tempfile
import time


class Nginx:
    """Serves a folder on a free loopback port."""

    def __init__(self, folder, site):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]
        self.origin = f"http://127.0.0.1:{port}"
        temporary = "".join(f"{kind}_temp_path {folder}/{kind}; "
                            for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        configuration = folder / "nginx.conf"
        configuration.write_text(f"""
daemon off; worker_processes 1; pid {folder}/pid; error_log {folder}/error.log; user root;
events {{}}
http {{
    access_log off; sendfile on; keepalive_requests 100000; {temporary}
    types {{ image/png png; }}
    server {{ listen 127.0.0.1:{port}; root {site}; }}
}}
""")
        self.process = subprocess.Popen(["/usr/sbin/nginx", "-p", folder, "-c", configuration],
                                        stderr=subprocess.DEVNULL)
        while socket.socket().connect_ex(("127.0.0.1", port)) != 0:
            if self.process.poll() is not None:
                raise SystemExit("bench: nginx did not start: " + (folder / "error.log").read_text())
            time.sleep(0.02)

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()


def measure(command, environment):
    """Wall and processor seconds of a program that must succeed."""
    start = time.monotonic()
    process = subprocess.Popen(command, env=environment, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise SystemExit(f"bench: status {process.returncode} of {' '.join(map(str, command))}")
    return {"wall": time.monotonic() - start, "cpu": usage.ru_utime + usage.ru_stime}


class Comparison:
    """Two programs on the same work in one scratch folder."""

    def __init__(self, root, assetfetch):
        self.root, self.assetfetch = root, assetfetch
        self.site, self.target = root / "site", root / "target"
        self.site.mkdir()
        self.environment = {**os.environ, "HOME": str(root / "home"), "QMASYN10_UI": "none"}
        server = root / "nginx"
        server.mkdir()
        self.nginx = Nginx(server, self.site)

    def compare(self, title, ours, theirs, expected, figure, rounds=5):
        results = {"ours": [], "theirs": []}
        for _ in range(rounds):
            for who, command in (("ours", ours), ("theirs", theirs)):
                shutil.rmtree(self.target, ignore_errors=True)
                self.target.mkdir()
                results[who].append(measure(command, self.environment))
                sizes = sorted(path.stat().st_size for path in self.target.iterdir())
                if sizes != expected:
                    raise SystemExit(f"bench: {who}: {len(sizes)} files arrived, not what was served")
        median = {(who, kind): statistics.median(r[kind] for r in results[who])
                  for who in results for kind in ("wall", "cpu")}
        print(f"{title}\n"
              f"    assetfetch {median['ours', 'wall']:7.3f} s wall {median['ours', 'cpu']:7.3f} s cpu\n"
              f"    {pathlib.Path(theirs[0]).name:10} {median['theirs', 'wall']:7.3f} s wall "
              f"{median['theirs', 'cpu']:7.3f} s cpu\n"
              f"    ratio of {figure}: {median['ours', figure] / median['theirs', figure]:.2f}", flush=True)

    def large(self):
        size = 1 << 30
        with open(self.site / "large.png", "wb") as file:
            block = os.urandom(1 << 20)
            for _ in range(size >> 20):
                file.write(block)
        url = self.nginx.origin + "/large.png"
        self.compare("large: one file of 1 GiB", [self.assetfetch, "--quiet", "--assets", self.target, url],
                     ["curl", "-sS", "-o", self.target / "large.png", url], [size], "cpu")

    def small(self):
        count, size = 10_000, 4096
        urls = self.root / "urls"
        for n in range(count):
            (self.site / f"{n}.png").write_bytes(os.urandom(size))
        urls.write_text("".join(f"{self.nginx.origin}/{n}.png\n" for n in range(count)))
        self.compare(f"small: {count} files of {size} bytes",
                     [self.assetfetch, "--quiet", "--assets", self.target, "--input", urls],
                     ["aria2c", "-q", "-j16", "--file-allocation=none", "-d", self.target, "-i", urls],
                     [size] * count, "wall")


def run_comparison(name, assetfetch):
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    root = pathlib.Path(tempfile.mkdtemp(prefix="bench-", dir=memory))
    comparison = None
    try:
        comparison = Comparison(root, assetfetch)
        getattr(comparison, name)()
    finally:
        if comparison:
            comparison.nginx.stop()
        shutil.rmtree(root)


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))  # so that servers and files go, too
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build folder")
    parser.add_argument("name", nargs="?", default="", help="only the benchmarks whose name holds this")
    arguments = parser.parse_args()
    programs = arguments.build.resolve() / "bin"
    for name in ("large", "small"):
        if arguments.name in name:
            run_comparison(name, programs / "assetfetch")
    for program in sorted(programs.glob("bench_*")):
        if arguments.name in program.name:
            print(program.name, flush=True)
            subprocess.run([program], check=True)


if __name__ == "__main__":
    main()
