"""What `hwprobe metrics` stands: hostile clients, runs beside it and full disks: server_test.py TOOL SOURCE_DIR MIB"""
import concurrent.futures
import fcntl
import os
import re
import resource
import signal
import socket
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

MOST_MEBIBYTES = int(sys.argv.pop(3))
sys.dont_write_bytecode = True  # nothing comes into being beside the sources
from metrics_test import LAPTOP, TOOL, Served, parse

GET = b"GET /metrics HTTP/1.1\r\n"
HOSTILE = [GET + b"Range: bytes=" + b"0-," * 2600 + b"0-\r\n\r\n", GET + b"Range: bytes=0-9,5-,-3\r\n\r\n",
           GET + b"X: " + b"x" * 4_000_000, GET + b"X: y\r\n" * 300_000, b"GET /" + b"x" * 4_000_000,
           b"POST /metrics HTTP/1.1\r\nContent-Length: 4000000\r\n\r\n" + b"x" * 4_000_000,
           GET + b"Content-Length: 9\r\nExpect: 100-continue\r\n\r\n", (GET + b"\r\n") * 3000,
           GET + b"Accept-Encoding: br, gzip\r\n\r\n", b"\x16\x03\x01\0\xff\r\n\r\n"]


class Hostile(unittest.TestCase):
    def test_they_neither_hold_a_scrape_up_nor_fill_memory_nor_get_more_than_one_answer(self):
        def answer(request):
            with socket.create_connection(("127.0.0.1", server.port), timeout=60) as connection:
                got = b""
                try:
                    connection.sendall(request)
                    while more := connection.recv(65536):
                        got += more
                except ConnectionError:
                    pass  # it takes no more of what it does not want
                return got

        with Served("--interval", "100") as server, concurrent.futures.ThreadPoolExecutor(50) as pool:
            def connected():
                return self.enterContext(socket.create_connection(("127.0.0.1", server.port)))
            silent = [connected() for _ in range(300)]
            silent[200].sendall(b"GET /m")
            silent[200].setblocking(False)
            status, _, text = server.ask()
            with self.assertRaises(BlockingIOError):  # the scrape did not wait for those before it to be given up
                silent[200].recv(1)
            for _ in range(100):  # one that does not read its answer
                connected().sendall(GET + b"\r\n")
            answers = list(pool.map(answer, HOSTILE * 10))
            for status, _, text in [(status, None, text), *pool.map(lambda _: server.ask(), range(200))]:
                self.assertEqual(200, status)
                parse(text, open_metrics=False)
            peak = int(re.search(r"VmHWM:\s+(\d+)", Path(f"/proc/{server.process.pid}/status").read_text())[1])
        self.assertEqual((0, 1), (server.status, server.errors.count("getGpuLoad: No gpu found")))
        self.assertLess(peak / 1024, MOST_MEBIBYTES)
        self.assertLess(max(map(len, answers)), 1.2 * len(text) + 1000)
        first = [answer.split(b"\r\n")[0][9:12] for answer in answers[:10]]
        self.assertEqual([b"200", b"200", b"200", b"400"], [first[i] for i in (1, 6, 8, 9)])


class File(unittest.TestCase):
    def setUp(self):
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.target, self.temporary = self.folder / "x.prom", self.folder / ".x.prom.hwprobe-new"

    def write(self, **options):
        command = [TOOL, "metrics", "--machine", LAPTOP, "--textfile", str(self.target)]
        return subprocess.Popen(command, stderr=subprocess.PIPE, text=True, **options)

    def check(self, process, status, left):
        errors = process.communicate(timeout=120)[1]
        self.assertEqual((status, sorted(left)), (process.returncode, sorted(self.folder.iterdir())), errors)
        return errors

    def test_a_killed_run_leaves_what_the_next_takes_over_and_runs_at_once_wait_for_each_other(self):
        with open(self.temporary, "w") as left:
            left.write("half of it, and longer than the whole " * 2000)
            left.flush()
            fcntl.flock(left, fcntl.LOCK_EX)
            killed = self.write()
            killed.send_signal(signal.SIGKILL)
            self.check(killed, -signal.SIGKILL, [self.temporary])
        runs = [self.write() for _ in range(6)]
        for process in runs:
            process.wait(120)
        for process in runs:
            self.check(process, 0, [self.target])
        parse(self.target.read_text(), open_metrics=False)

    def test_what_is_not_its_own_is_refused_and_stays(self):
        other = self.folder / "other"
        for make in (self.temporary.symlink_to, self.temporary.hardlink_to, lambda _: os.mkfifo(self.temporary)):
            other.write_text("another's")
            make(other)
            self.assertIn(f"{self.target}: cannot be written: {self.temporary}: ",
                          self.check(self.write(), 4, [other, self.temporary]))
            self.assertEqual("another's", other.read_text())
            self.temporary.unlink()

    def test_a_limit_of_size_is_status_4_and_leaves_nothing(self):
        limited = {"preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000)),
                   "env": {**os.environ, "HWPROBE_LOG_FILE": "off"}}
        self.assertIn("File too large", self.check(self.write(**limited), 4, []))
        with open(self.folder / "out", "wb") as out:
            shown = subprocess.run([TOOL, "show", "--json", "--machine", LAPTOP], stdout=out, **limited, timeout=120)
        self.assertEqual(4, shown.returncode)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]], verbosity=1)
