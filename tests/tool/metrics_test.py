"""Scrapes `hwprobe metrics` as Prometheus would: metrics_test.py TOOL SOURCE_DIR"""

import http.client
import json
import math
import os
import re
import signal
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True  # nothing is left among the sources
from described import odd_drives, sample, silent, unknown_processor

TOOL, SOURCE = sys.argv[1], Path(sys.argv[2])
PATIENCE = 20  # seconds; the machine may be busy
LAPTOP = str(SOURCE / "machines" / "laptop.json")
TEXT = "text/plain; version=0.0.4; charset=utf-8"
OPEN = "application/openmetrics-text; version=1.0.0; charset=utf-8"
DOCUMENTED = set(re.findall(r"^\| `(hwprobe_\w+)", (SOURCE / "docs" / "metrics.md").read_text(), re.M))
LABEL = r'\w+="(?:[^"\\\0-\x1f]|\\[\\"n])*"'
SERIES = re.compile(rf"(\w+)(?:\{{({LABEL}(?:,{LABEL})*)\}})? (-?[\d.]+(?:e[+-]\d+)?)")
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


def hwprobe(*arguments):
    done = subprocess.run([TOOL, "metrics", *arguments], capture_output=True, text=True, timeout=60)
    return done.returncode, done.stderr


def written(machine):
    """The series of the text file of a machine that is described by an object."""
    with tempfile.TemporaryDirectory() as folder:
        file, text = Path(folder) / "machine.json", Path(folder) / "text"
        file.write_text(json.dumps(machine))
        status, errors = hwprobe("--machine", str(file), "--textfile", str(text))
        assert status == 0, errors
        return parse(text.read_text(), open_metrics=False)


def short(series):
    """By the name alone, of series that have the drive's labels or none."""
    return {name.removeprefix("hwprobe_") + ("" if labels is None else ":" + labels[7:8]): value
            for (name, labels), value in series.items()}


class Served:
    """A server on a free port, ended by a signal; `errors` is what it said then."""

    def __init__(self, *arguments, machine=LAPTOP, ending=signal.SIGTERM):
        command = [TOOL, "metrics", "--listen", "127.0.0.1:0", "--machine", machine, *arguments]
        self.process = subprocess.Popen(command, stderr=subprocess.PIPE, text=True)
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
            for machine in sorted((SOURCE / "machines").glob("*.json")):
                file.write_text("old")
                old = file.stat().st_ino
                status, errors = hwprobe("--machine", str(machine), "--textfile", str(file))
                self.assertEqual(0, status, errors)
                self.assertEqual((0o100644, True, [file]), (file.stat().st_mode, file.stat().st_ino != old,
                                                            list(Path(folder).iterdir())))
                series = parse(file.read_text(), open_metrics=False)
                seen |= {name for name, _ in series}
                for (name, _), value in series.items():
                    least, most = (-50, 150) if "celsius" in name else (-100 if "watts" in name else 0, 1e15)
                    self.assertTrue(least <= value <= most, (machine.name, name, value))
        self.assertEqual(DOCUMENTED, seen)
        board = json.loads((SOURCE / "docs" / "grafana" / "hwprobe.json").read_text())
        asked = set(re.findall(r"hwprobe_\w+", json.dumps([p.get("targets") for p in board["panels"]])))
        self.assertTrue(asked)
        self.assertEqual(set(), asked - DOCUMENTED)

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
                status, errors = hwprobe("--machine", LAPTOP, "--textfile", path)
                self.assertEqual(4, status, errors)
                self.assertRegex(errors.splitlines()[-1], f"^{path}: cannot be written: .")
            self.assertEqual(["fifo"], os.listdir(folder))

    def test_a_drives_own_degrees_no_number_that_it_does_not_tell_and_who_has_no_record(self):
        machine = odd_drives()
        machine["drives"] += [machine["drives"][0] | {"number": number, "scsiAddress": {"port": number}, "openError": 5}
                              for number in (2, 3)]
        whole = written(machine)
        unread = "".join(sorted(labels for name, labels in whole if name == "hwprobe_disk_unread_info"))
        self.assertRegex(unread, r'^number="2",model="\S[^"]*",reason="noAnswer"number="3",model="\S[^"]*",reason="noAnswer"$')
        series = short(whole)
        self.assertEqual([32, 40], [series[f"disk_temperature_celsius:{drive}"] for drive in (0, 1)])
        self.assertEqual(12, series["disk_power_cycles_total:1"])
        self.assertFalse({"disk_power_cycles_total:0", "disk_host_read_bytes_total:1"} & series.keys())

    def test_an_unknown_processor_has_load_and_clock_by_the_system(self):
        series = short(written(unknown_processor()))
        self.assertEqual([1, 4.14e9], [series[f"cpu_{name}"] for name in ("by_system_counters", "frequency_hertz")])
        self.assertGreater(series["cpu_load_ratio"], 0)
        self.assertNotIn("cpu_temperature_celsius", series)
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
        with tempfile.TemporaryDirectory() as folder:
            (machine := Path(folder) / "machine.json").write_text(json.dumps(silent(present=False)))
            before = short(written(silent(present=False)))
            with Served("--interval", "100", machine=str(machine)) as server:
                end = time.monotonic() + PATIENCE
                while short(series := parse(server.ask()[2], open_metrics=False))["disk_answering:0"]:
                    self.assertLess(time.monotonic(), end, "it answers for ever")
                    time.sleep(0.1)
        gone = before.keys() - short(series).keys()
        self.assertEqual({"disk_temperature_celsius:0", "disk_life_ratio:0", "disk_power_on_seconds_total:0",
                          "disk_power_cycles_total:0", "disk_host_read_bytes_total:0", "disk_host_written_bytes_total:0"},
                         {name for name in gone if "per_second" not in name})
        states = {labels[-9:]: value for (name, labels), value in series.items() if name == "hwprobe_disk_health"}
        self.assertEqual((1, 0), (states['"unknown"'], states['te="good"']))
        self.assertTrue(before["disk_answering:0"] and 0 < short(series)["disk_last_answer_timestamp_seconds:0"] <= time.time())

    def test_scrapers_within_the_interval_see_one_reading(self):
        with Served("--interval", "60000") as server:
            self.assertEqual(server.ask(), server.ask())

    def test_other_paths_and_methods(self):
        with Served() as server:
            self.assertIn("/metrics", server.ask(path="/")[2])
            self.assertEqual([404, 405, 405, (200, "")],
                             [server.ask(path="/metrics/x")[0], server.ask("POST", body="x" * 9000)[0],
                              server.ask("DELETE")[0], server.ask("HEAD")[::2]])

    def test_an_address_that_cannot_be_had_ends_it(self):
        with Served() as server:
            for address, status, hint in [
                (f"127.0.0.1:{server.port}", 4, "in use"), ("203.0.113.7:9477", 4, "assign"),
                *[(bad, 2, "ADDRESS:PORT") for bad in ("localhost:9477", "[::1:9477", "127.0.0.1:65536", "9477")],
            ]:
                got, errors = hwprobe("--machine", LAPTOP, "--listen", address)
                self.assertEqual((status, 1), (got, errors.count("\n")), errors)
                self.assertIn(hint, errors)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]], verbosity=1)
