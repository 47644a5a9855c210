"""Scrapes `hwprobe metrics` as Prometheus would, and shows what it stands: hostile clients, runs beside it and full
disks: metrics_test.py TOOL SOURCE_DIR MIB"""
import concurrent.futures
import fcntl
import http.client
import json
import math
import os
import re
import resource
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

sys.dont_write_bytecode = True  # nothing is left among the sources
from described import MACHINES, file_of, odd_drives, sample, silent, unknown_processor

TOOL, SOURCE, MOST_MEBIBYTES = sys.argv[1], Path(sys.argv[2]), int(sys.argv[3])
PATIENCE = 20  # seconds; the machine may be busy
LAPTOP = str(MACHINES / "laptop.json")
TEXT = "text/plain; version=0.0.4; charset=utf-8"
OPEN = "application/openmetrics-text; version=1.0.0; charset=utf-8"
DOCUMENTED = set(re.findall(r"^\| `(hwprobe_\w+)", (SOURCE / "docs" / "metrics.md").read_text(), re.M))
LABEL = r'\w+="(?:[^"\\\0-\x1f]|\\[\\"n])*"'
SERIES = re.compile(rf"(\w+)(?:\{{({LABEL}(?:,{LABEL})*)\}})? (-?[\d.]+(?:e[+-]\d+)?)")
GET = b"GET /metrics HTTP/1.1\r\n"
HOSTILE = [GET + b"Range: bytes=" + b"0-," * 2600 + b"0-\r\n\r\n", GET + b"Range: bytes=0-9,5-,-3\r\n\r\n",
           GET + b"X: " + b"x" * 4_000_000, GET + b"X: y\r\n" * 300_000, b"GET /" + b"x" * 4_000_000,
           b"POST /metrics HTTP/1.1\r\nContent-Length: 4000000\r\n\r\n" + b"x" * 4_000_000,
           GET + b"Content-Length: 9\r\nExpect: 100-continue\r\n\r\n", (GET + b"\r\n") * 3000,
           GET + b"Accept-Encoding: br, gzip\r\n\r\n", b"\x16\x03\x01\0\xff\r\n\r\n"]
SUFFIX = {"counter": "_total", "info": "_info", "gauge": ""}


def parse(text, open_metrics):
    """Name and labels to value. Asserts what the form demands of every line."""
    assert text.endswith("\n# EOF\n" if open_metrics else "\n"), text[-20:]
    series, heads = {}, {}
    for line in text.removesuffix("# EOF\n").splitlines():
        if head := re.fullmatch(r"# (HELP|TYPE|UNIT) (\w+) (\S.*)", line):
            kind, family, value = head.groups()
            assert kind not in heads.setdefault(family, {}) and family == list(heads)[-1], line
            heads[family][kind] = value
            assert kind != "UNIT" or open_metrics and family.endswith("_" + value), line
            continue
        name, labels, value = SERIES.fullmatch(line).groups()
        suffix = SUFFIX[heads[family]["TYPE"]] if open_metrics else ""
        assert name == family + suffix and {"HELP", "TYPE"} <= heads[family].keys(), line
        assert (name.endswith("_total")) == (heads[family]["TYPE"] == "counter"), line
        assert (name, labels) not in series and math.isfinite(float(value)), line
        series[name, labels] = float(value)
    return series


def hwprobe(*arguments, machine=LAPTOP):
    done = subprocess.run([TOOL, "metrics", "--machine", machine, *arguments], capture_output=True, text=True, timeout=60)
    return done.returncode, done.stderr


def written(machine):
    """The series of the text file of a machine that is described by an object."""
    with tempfile.NamedTemporaryFile() as text:
        status, errors = hwprobe("--textfile", text.name, machine=file_of(machine))
        assert status == 0, errors
        return parse(Path(text.name).read_text(), open_metrics=False)


def short(series):
    """By the name alone, of series that have the drive's labels or none."""
    return {name.removeprefix("hwprobe_") + ("" if labels is None else ":" + labels[7:8]): value
            for (name, labels), value in series.items()}


class Served:
    """A server on a free port, ended by a signal; `errors` is what it said then."""

    def __init__(self, *arguments, machine=LAPTOP, ending=signal.SIGTERM):
        self.process = subprocess.Popen([TOOL, "metrics", "--listen", "127.0.0.1:0", "--machine", machine, *arguments],
                                        stderr=subprocess.PIPE, text=True)
        self.ending = ending

    def __enter__(self):
        self.errors = ""
        while not (serving := re.search(r"serving http://127\.0\.0\.1:(\d+)/metrics\n", self.errors)):
            self.errors += (line := self.process.stderr.readline())
            assert line, self.errors
        self.port = int(serving[1])
        return self

    def __exit__(self, *_):
        self.process.send_signal(self.ending)
        self.errors += self.process.communicate(timeout=30)[1]
        self.status = self.process.returncode

    def ask(self, method="GET", path="/metrics", body=None, **headers):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=20)
        connection.request(method, path, body, headers)
        answer = connection.getresponse()
        return answer.status, answer.headers["Content-Type"], answer.read().decode()


class Text(unittest.TestCase):
    def test_the_file_of_every_sample_machine_is_whole_and_documented(self):
        seen = set()
        with tempfile.TemporaryDirectory() as folder:
            file = Path(folder) / "hwprobe.prom"
            for machine in sorted(MACHINES.glob("*.json")):
                file.write_text("old")
                old = file.stat().st_ino
                status, errors = hwprobe("--textfile", str(file), machine=str(machine))
                self.assertEqual(0, status, errors)
                self.assertEqual((0o100644, [file]), (file.stat().st_mode, list(Path(folder).iterdir())))
                self.assertNotEqual(old, file.stat().st_ino)
                series = parse(file.read_text(), open_metrics=False)
                seen |= {name for name, _ in series}
                for (name, _), value in series.items():
                    least, most = (-50, 150) if "celsius" in name else (-100 if "watts" in name else 0, 1e15)
                    self.assertTrue(least <= value <= most, (machine.name, name, value))
        self.assertEqual(DOCUMENTED, seen)

    def test_texts_of_hardware_are_escaped_and_alike_ones_told_apart_and_unknown_values_left_out(self):
        machine = json.loads(json.dumps(sample("laptop")).replace("ACME Wireless-AC 9560", r'A\"\\\nB')
                             .replace("USB Ethernet 1000", r'A\"\\\nB'))
        machine["batteries"][0] |= {"voltage": 0xFFFFFFFF, "capacity": 0xFFFFFFFF, "rate": -0x80000000}
        series = written(machine)
        self.assertEqual([r'adapter="A\"\\\nB"', r'adapter="A\"\\\nB #2"'],
                         [labels for name, labels in series if "receive" in name])
        self.assertEqual([], [name for name, _ in series
                              if re.search("voltage|watts|battery_energy|charge_ratio", name)])

    def test_one_that_cannot_be_written_is_status_4_and_one_line(self):
        with tempfile.TemporaryDirectory() as folder:
            os.mkfifo(f"{folder}/fifo")
            for path in f"{folder}/none/x.prom", f"{folder}/fifo", folder:
                status, errors = hwprobe("--textfile", path)
                self.assertEqual(4, status, errors)
                self.assertRegex(errors.splitlines()[-1], f"^{path}: cannot be written: .")
            self.assertEqual(["fifo"], os.listdir(folder))

    def test_what_a_drive_or_a_processor_does_not_tell_is_left_out(self):
        machine = odd_drives()
        machine["drives"] += [machine["drives"][0] | {"number": number, "scsiAddress": {"port": number}, "openError": 5}
                              for number in (2, 3)]
        series = written(machine)
        drives = short(series)
        self.assertEqual([32, 40, 12], [drives[f"disk_{name}"] for name in (
            "temperature_celsius:0", "temperature_celsius:1", "power_cycles_total:1")])
        self.assertFalse({"disk_power_cycles_total:0", "disk_host_read_bytes_total:1"} & drives.keys())
        unread = sorted(labels for name, labels in series if name == "hwprobe_disk_unread_info")
        self.assertRegex(" ".join(unread), r'^number="2",model="\S.*",reason="noAnswer" number="3",model="\S.*",reason="noAnswer"$')
        processor = short(written(unknown_processor()))  # load and clock are the system's
        self.assertEqual([1, 4.14e9], [processor[f"cpu_{name}"] for name in ("by_system_counters", "frequency_hertz")])
        self.assertGreater(processor["cpu_load_ratio"], 0)
        self.assertNotIn("cpu_temperature_celsius", processor)
        self.assertEqual(0, short(written(sample("laptop")))["cpu_by_system_counters"])


class Serving(unittest.TestCase):
    def test_values_have_the_unit_of_their_name_in_the_form_that_is_accepted(self):
        prometheus = ("application/openmetrics-text;version=1.0.0,application/openmetrics-text;version=0.0.1;q=0.75,"
                      "text/plain;version=0.0.4;q=0.5,*/*;q=0.1")
        with Served(ending=signal.SIGINT) as server:
            for accept, wanted in [("Application/OpenMetrics-Text", OPEN), ("", TEXT), ("*/*", TEXT),
                                   ("text/plain, application/openmetrics-text;q=0.3", TEXT),
                                   ("application/openmetrics-text; q=0", TEXT), (prometheus, OPEN)]:
                status, content, text = server.ask(Accept=accept)
                self.assertEqual((200, wanted), (status, content), accept)
                series = parse(text, content == OPEN)
            drive = 'drive="0",model="SKHynix_HFS512GDE9X084N",serial="CN0AN555555555"'
            for name, labels, value in [
                ("cpu_temperature_celsius", None, 50.5), ("cpu_frequency_hertz", None, 1.5e9),
                ("memory_used_ratio", None, 0.71), ("disk_life_ratio", drive, 0.96),
                ("disk_power_on_seconds_total", drive, 5120 * 3600), ("disk_health", drive + ',state="good"', 1),
                ("battery_power_watts", 'battery="0"', -12), ("battery_full_energy_joules", 'battery="0"', 171000),
            ]:
                self.assertEqual(value, series["hwprobe_" + name, labels], name)
            self.assertAlmostEqual(2.3e6, series["hwprobe_disk_read_bytes_per_second", drive], delta=3e4)
            self.assertFalse([name for name, _ in series if "gpu" in name])  # no such adapter
            self.assertGreaterEqual(series["hwprobe_failures_total", 'export="getGpuLoad"'], 1)
        self.assertEqual(0, server.status)

    def test_a_drive_that_falls_silent_has_no_series_of_its_smart_data(self):
        before = short(written(silent(present=False)))
        with Served("--interval", "100", machine=file_of(silent(present=False))) as server:
            end = time.monotonic() + PATIENCE
            while short(series := parse(server.ask()[2], open_metrics=False))["disk_answering:0"]:
                self.assertLess(time.monotonic(), end, "it answers for ever")
                time.sleep(0.1)
        gone = before.keys() - short(series).keys()
        self.assertEqual({"disk_temperature_celsius:0", "disk_life_ratio:0", "disk_power_on_seconds_total:0",
                          "disk_power_cycles_total:0", "disk_host_read_bytes_total:0", "disk_host_written_bytes_total:0"},
                         {name for name in gone if "per_second" not in name})
        self.assertEqual(1, before["disk_answering:0"])
        states = {labels[-9:]: value for (name, labels), value in series.items() if name == "hwprobe_disk_health"}
        self.assertEqual((1, 0), (states['"unknown"'], states['te="good"']))
        self.assertTrue(0 < short(series)["disk_last_answer_timestamp_seconds:0"] <= time.time())

    def test_one_reading_an_interval_other_paths_and_methods_and_addresses_that_cannot_be_had(self):
        with Served("--interval", "60000") as server:
            self.assertEqual(server.ask(), server.ask())
            self.assertIn("/metrics", server.ask(path="/")[2])
            self.assertEqual([404, 405, 405, (200, "")],
                             [server.ask(path="/metrics/x")[0], server.ask("POST", body="x" * 9000)[0],
                              server.ask("DELETE")[0], server.ask("HEAD")[::2]])
            for address, status, hint in [
                (f"127.0.0.1:{server.port}", 4, "in use"), ("203.0.113.7:9477", 4, "assign"), ("[2001:db8::7]:9477", 4, ""),
                *[(bad, 2, "ADDRESS:PORT") for bad in ("localhost:9477", "[::1:9477", "127.0.0.1:65536", "9477")],
            ]:
                got, errors = hwprobe("--listen", address)
                self.assertEqual((status, 1), (got, errors.count("\n")), errors)
                self.assertIn(hint, errors)


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
            print("half of it, and longer than the whole " * 2000, file=left, flush=True)
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
        # The counts of a coverage build, which the limit would cut, go nowhere.
        limited = {"preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000)),
                   "env": {**os.environ, "HWPROBE_LOG_FILE": "off", "GCOV_PREFIX": "/dev/null"}}
        self.assertIn("File too large", self.check(self.write(**limited), 4, []))
        with open(self.folder / "out", "wb") as out:
            shown = subprocess.run([TOOL, "show", "--json", "--machine", LAPTOP], stdout=out, **limited, timeout=120)
        self.assertEqual(4, shown.returncode)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]], verbosity=1)
