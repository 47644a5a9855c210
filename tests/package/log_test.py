"""Loads the library into hosts whose folder or standard output is not as it should be: log_test.py LIBRARY"""

import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

LIBRARY = os.path.abspath(sys.argv[1])

# What every host below starts with. say() goes to standard error as the answer of the host.
HOST = """
import ctypes, fcntl, json, os, resource, signal, socket, sys
for number in signal.SIGPIPE, signal.SIGXFSZ: signal.signal(number, signal.SIG_DFL)
def sockets(): return [end.detach() for end in socket.socketpair()]
def load(): return ctypes.CDLL(%r)
def say(answer): os.write(2, json.dumps(answer).encode())
def fill(stream):
    flags = fcntl.fcntl(stream, fcntl.F_GETFL)
    fcntl.fcntl(stream, fcntl.F_SETFL, flags | os.O_NONBLOCK)
    for size in (4096, 1):
        try:
            while True: os.write(stream, b"#" * size)
        except BlockingIOError: pass
    fcntl.fcntl(stream, fcntl.F_SETFL, flags)
""" % LIBRARY
INFO = r"\[memory\] \[info\] MemoryStatus@\d+: MemoryStatus: memLoad: "
TRACE = r"\[memory\] \[trace\] MemoryStatus@\d+: orv::memory::getMemoryStatus\n"
SEPARATOR = r"\[init\] \[info\] -+file log init-+\n"


class Log(unittest.TestCase):
    def setUp(self):
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.logs = self.folder / "resources/log/cpp"

    def host(self, body, **variables):
        """Runs a host to its end and gives its standard output and what it said."""
        done = subprocess.run([sys.executable, "-c", HOST + body], cwd=self.folder, timeout=20, capture_output=True,
                              env={"PATH": os.environ["PATH"], "TERM": "xterm", **variables})
        self.assertEqual(0, done.returncode, done.stderr)
        return done.stdout.decode(), json.loads(done.stderr or "null")

    def log_file(self):
        return next(self.logs.glob("orvaneHwProbe_*.log"))

    def poll(self, **variables):
        return self.host("assert 0 <= load().getMemoryLoad() <= 100", **variables)[0]

    def test_loading_alone_leaves_a_private_file_with_its_mark(self):
        self.addCleanup(os.umask, os.umask(0))
        self.host("load()")
        self.assertRegex(self.log_file().read_text(), "^[^\n]*" + SEPARATOR + "$")
        self.assertEqual(0o600, self.log_file().stat().st_mode & 0o7777)
        self.log_file().chmod(0o644)  # of an earlier version
        self.poll()
        self.assertEqual(0o600, self.log_file().stat().st_mode & 0o7777)
        self.assertRegex(self.log_file().read_text(), f"{SEPARATOR}[^\n]*{SEPARATOR}[^\n]*{INFO}")

    def test_the_environment_chooses_what_console_and_file_take(self):
        # Variables of console and file; whether the info and the trace line are in each; None: no file at all.
        for console, file, on_console, in_file in [
            (None, None, (1, 0), (1, 0)), ("trace", "trace", (1, 1), (1, 1)), ("warning", "error", (0, 0), (0, 0)),
            ("off", "info", (0, 0), (1, 0)), ("debug", "off", (1, 0), None), ("loud", "", (1, 0), (1, 0)),
            ("TRACE", "offf", (1, 0), (1, 0)),
        ]:
            named = {"HWPROBE_LOG_CONSOLE": console, "HWPROBE_LOG_FILE": file}
            found = self.poll(**{name: value for name, value in named.items() if value is not None})
            count = lambda text: (len(re.findall(INFO, text)), len(re.findall(TRACE, text)))
            self.assertEqual(on_console, count(found), named)
            self.assertEqual(in_file is not None, (self.folder / "resources").exists(), named)
            if in_file is not None:
                self.assertEqual(in_file, count(self.log_file().read_text()), named)
                self.assertRegex(self.log_file().read_text(), SEPARATOR)
                shutil.rmtree(self.folder / "resources")

    def test_a_host_with_rights_that_its_caller_lacks_does_not_read_the_callers_environment(self):
        if os.geteuid() != 0 or os.statvfs(self.folder).f_flag & os.ST_NOSUID:
            self.skipTest("needs root, and a folder for temporary files where the set-user-ID bit counts")
        self.folder.chmod(0o777)
        host, library = self.folder / "host", self.folder / "library.so"
        shutil.copy(sys.executable, host)
        shutil.copy(LIBRARY, library)
        os.chown(host, 65534, 65534)
        host.chmod(0o4755)  # of a user without rights
        body = ("import ctypes; print(ctypes.CDLL(None).getauxval(23), flush=True); "
                "ctypes.CDLL('./library.so').getMemoryLoad()")
        done = subprocess.run([host, "-c", body], cwd=self.folder, capture_output=True, text=True, timeout=20,
                              env={"HWPROBE_LOG_CONSOLE": "off", "HWPROBE_LOG_FILE": "off"})
        self.assertEqual(0, done.returncode, done.stderr)
        if done.stdout.startswith("0"):  # AT_SECURE
            self.skipTest("the set-user-ID bit does not count in this process")
        self.assertRegex(done.stdout, INFO)
        self.assertRegex(self.log_file().read_text(), INFO)

    def test_what_somebody_planted_is_not_written_to(self):
        self.poll()
        file, victim, elsewhere = self.log_file(), self.folder / "victim", self.folder / "elsewhere"
        victim.write_text("untouched")
        (elsewhere / "log/cpp").mkdir(parents=True)
        (elsewhere / "cpp").mkdir()

        def foreign():
            file.write_text("untouched")
            os.chown(file, 65534, 65534)

        for what, plant in {"a link": lambda: file.symlink_to(victim), "a second name": lambda: file.hardlink_to(victim),
                            "a FIFO": lambda: os.mkfifo(file), "a folder": file.mkdir,
                            **({"a file of another user": foreign} if os.geteuid() == 0 else {})}.items():
            file.unlink()
            plant()
            self.assertRegex(self.poll(), INFO, what)
            self.assertEqual("untouched", victim.read_text(), what)
            if what == "a folder":
                file.rmdir()
                file.touch()
        if os.geteuid() == 0:
            self.assertEqual("untouched", file.read_text())
        file.unlink()
        for folder, target in [(self.logs, elsewhere / "cpp"), (self.logs.parent, elsewhere / "log"),
                               (self.logs.parent.parent, elsewhere)]:
            folder.rmdir()
            folder.symlink_to(target)
            self.assertRegex(self.poll(), INFO, folder)
            self.assertEqual([], [path for path in elsewhere.rglob("*") if not path.is_dir()])
            folder.unlink()

    def test_a_host_without_standard_streams_keeps_their_numbers(self):
        _, descriptors = self.host("""
os.close(0), os.close(1)
load().getMemoryLoad()
mine = {}
for number in os.listdir("/proc/self/fd"):
    try:
        mine[number] = [os.readlink("/proc/self/fd/" + number), fcntl.fcntl(int(number), fcntl.F_GETFD)]
    except OSError: pass # the listing itself
say(mine)""")
        del descriptors["2"]
        self.assertLessEqual({"meminfo", self.log_file().name}, {Path(path).name for path, _ in descriptors.values()})
        self.assertGreater(min(map(int, descriptors)), 2)
        self.assertEqual({1}, {flags for _, flags in descriptors.values()})  # not for a child
        # A file that becomes descriptor 1 later is the host's.
        self.host("""
os.close(1)
library = load()
assert os.open("data", os.O_RDWR | os.O_CREAT) == 1
library.getMemoryLoad()""")
        self.assertEqual("", (self.folder / "data").read_text())

    def test_a_reader_that_goes_away_ends_the_console_alone_and_raises_no_signal(self):
        for kind, blocked in ("os.pipe", True), ("sockets", True), ("os.pipe", False):
            _, pending = self.host(f"""
reader, writer = {kind}()
os.dup2(writer, 1), os.close(writer)
library = load()
os.close(reader)
if {blocked}: signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGPIPE])
library.getMemoryLoad()
say(len(signal.sigpending()))
signal.pthread_sigmask(signal.SIG_UNBLOCK, [signal.SIGPIPE])
library.getMemoryLoad()
os.dup2(os.open("later", os.O_WRONLY | os.O_CREAT), 1)
library.getMemoryLoad()""")
            self.assertEqual((0, ""), (pending, (self.folder / "later").read_text()), kind)
            self.assertEqual(3, len(re.findall(INFO, self.log_file().read_text())))
            self.log_file().unlink()

    def test_a_reader_that_stands_still_stops_nobody(self):
        for kind in "os.pipe", "sockets", "os.openpty":
            _, (same_flags, first, later) = self.host(f"""
reader, writer = {kind}()
os.dup2(writer, 1)
library = load()
fill(1)
flags = fcntl.fcntl(1, fcntl.F_GETFL)
library.getMemoryLoad()
same_flags = flags == fcntl.fcntl(1, fcntl.F_GETFL)
fcntl.fcntl(reader, fcntl.F_SETFL, os.O_NONBLOCK)
def drain():
    text = b""
    try:
        while True: text += os.read(reader, 65536)
    except BlockingIOError: return text.replace(b"#", b"").decode()
first = drain()
library.getMemoryLoad()
say([same_flags, first, drain()])""")
            self.assertTrue(same_flags, kind)
            if kind != "os.openpty":  # the system may make room in one meanwhile
                self.assertEqual("", first, kind)
            self.assertIn("MemoryStatus: memLoad: ", later, kind)

    def test_a_terminal_shows_the_level_in_colour(self):
        _, shown = self.host("""
master, terminal = os.openpty()
os.dup2(terminal, 1)
load().getMemoryLoad()
say(os.read(master, 4096).decode())""")
        self.assertIn("[memory] [\033[32minfo\033[m] MemoryStatus@", shown)

    def test_a_limit_of_file_sizes_loses_lines_and_not_the_host(self):
        self.host("""
resource.setrlimit(resource.RLIMIT_FSIZE, (150, 150))
os.dup2(os.open("console", os.O_WRONLY | os.O_CREAT), 1)
library = load()
for _ in range(3): assert 0 <= library.getMemoryLoad() <= 100""", GCOV_PREFIX="/dev/null", GCOV_ERROR_FILE="/dev/null")
        # The counts of a coverage build, which the limit would cut, go nowhere.
        self.assertEqual([150] * 2, [file.stat().st_size for file in (self.log_file(), self.folder / "console")])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
