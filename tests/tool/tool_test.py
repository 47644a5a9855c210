"""Runs the host tool as a person or a script would: tool_test.py [LAUNCHER] TOOL SOURCE_DIR"""

import json
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

*LAUNCHER, TOOL, SOURCE = sys.argv[1:]
MACHINES = sorted((Path(SOURCE) / "machines").glob("*.json"))
DESKTOP = str(Path(SOURCE) / "machines" / "intel-desktop.json")


def hwprobe(*arguments):
    done = subprocess.run([*LAUNCHER, TOOL, *arguments], capture_output=True, timeout=120)
    text = lambda raw: raw.decode("utf-8").replace("\r\n", "\n")
    return done.returncode, text(done.stdout), text(done.stderr)


class Call(unittest.TestCase):
    def test_each_call_is_one_raw_line_in_order(self):
        status, out, err = hwprobe("call", "getMemoryLoad", "getNetCurrentSpeed", "sleep:1000",
                                   "getNetCurrentSpeed", "getLastError", "--machine", DESKTOP)
        self.assertEqual(0, status, err)
        load, first, second, last = out.split("\n")[:-1]
        self.assertEqual("38", load)
        self.assertTrue(all(entry["down"] == 0 for entry in json.loads(first)), first)
        rates = {entry["model"]: entry["down"] for entry in json.loads(second)}
        # Bytes per millisecond, through an exact, a containing and a similar row description.
        self.assertAlmostEqual(12500, rates["ACME Ethernet Controller I225"], delta=15)
        self.assertAlmostEqual(1.5, rates["ACME Wi-Fi 6 AX200"], delta=0.01)
        self.assertAlmostEqual(64, rates["Nordwind Virtual Adapter"], delta=0.1)
        self.assertEqual("", last)

    def test_a_failed_call_gives_its_value_the_reason_and_status_3(self):
        status, out, err = hwprobe("call", "getDiskTemperature:0", "getMemoryLoad", "--machine", DESKTOP)
        self.assertEqual((3, "-1\n38\n"), (status, out))
        self.assertNotEqual("", err.strip())

    def test_this_machine_answers(self):
        status, out, err = hwprobe("call", "getMemoryLoad", "getNetCurrentSpeed", "getLastError")
        self.assertEqual(0, status, err)
        load, speed, last = out.split("\n")[:-1]
        self.assertIn(int(load), range(0, 101))
        self.assertIsInstance(json.loads(speed), (list, type(None)))
        self.assertEqual("", last)

    def test_wrong_usage_is_status_2_and_says_what_to_do(self):
        for arguments, hint in [
            (["call", "getNothing"], "getCpuLoad"),
            (["call", "getDiskTemperature"], "getDiskTemperature:INDEX"),
            (["call", "getMemoryLoad:1"], "takes no index"),
            (["call", "sleep:soon"], "whole number"),
            (["call"], "CALL"),
            (["look"], "--help"),
            (["show", "--machine", "missing.json"], "missing.json"),
        ]:
            status, out, err = hwprobe(*arguments)
            self.assertEqual((2, ""), (status, out), arguments)
            self.assertIn(hint, err)


    def test_what_reads_nothing_leaves_nothing_behind(self):
        for arguments in ["--help"], ["--version"], ["look"]:
            with tempfile.TemporaryDirectory() as folder:
                subprocess.run([*LAUNCHER, TOOL, *arguments], cwd=folder, capture_output=True, timeout=120)
                self.assertEqual([], list(Path(folder).iterdir()), arguments)


class MachineFiles(unittest.TestCase):
    def test_a_bad_file_is_named_with_place_and_reason(self):
        for content, parts in [
            ("{", ["not JSON"]),
            ("[]", ["one object"]),
            ("{}", ['"name"', "missing"]),
            ('{"name": "x", "colour": 1}', ['unknown key "colour"']),
            ('{"name": "x", "network": {"adapters": [{"description": "a", "ip": ""}]}}',
             ["network.adapters[0]", 'unknown key "ip"']),
            ('{"name": "x", "memory": {"totalPhys": 8, "availPhys": 9}}', ["memory.availPhys", "above 8"]),
            ('{"name": "x", "memory": {"totalPhys": -1, "availPhys": 0}}', ["memory.totalPhys", "whole number"]),
            ('{"name": "x", "clock": {"stepNs": 0}}', ["clock", "stepNs"]),
            ('{"name": "x", "faults": [{"request": "adapters"}]}', ["faults[0]", "hardwareFault"]),
        ]:
            with tempfile.TemporaryDirectory() as folder:
                file = Path(folder) / "bad.json"
                file.write_text(content)
                status, out, err = hwprobe("show", "--machine", str(file))
            self.assertEqual((2, ""), (status, out), content)
            for part in ["bad.json", *parts]:
                self.assertIn(part, err)


class Show(unittest.TestCase):
    def test_every_sample_machine_shows_each_reading_or_its_reason(self):
        self.assertGreaterEqual(len(MACHINES), 3)
        for machine in MACHINES:
            status, out, err = hwprobe("show", "--json", "--machine", str(machine))
            self.assertEqual(0, status, err)
            readings = json.loads(out)
            self.assertEqual(19, len(readings))
            self.assertIn(readings["getMemoryLoad"], range(1, 101))
            for name, value in readings.items():
                if isinstance(value, dict) and "error" in value:
                    self.assertNotEqual("", value["error"], f"{machine.name}: {name}")

    def test_the_table_has_units_and_reasons(self):
        status, out, err = hwprobe("show", "--machine", DESKTOP)
        self.assertEqual(0, status, err)
        self.assertRegex(out, r"In use +38 %")
        self.assertRegex(out, r"12\.5 MB/s down +250\.\d kB/s up +ACME Ethernet Controller I225")
        self.assertRegex(out, r"Drives +failed: \S+")

    def test_the_log_goes_to_standard_error_and_only_when_asked(self):
        line = re.compile(r"^\[\d{4}-.*\] \[memory\] \[.*info.*\] MemoryStatus@\d+: ", re.M)
        quiet = hwprobe("call", "getMemoryLoad", "--machine", DESKTOP)
        logged = hwprobe("call", "getMemoryLoad", "--machine", DESKTOP, "--log")
        self.assertEqual((0, "38\n", ""), quiet)
        self.assertEqual("38\n", logged[1])
        self.assertRegex(logged[2], line)


class Watch(unittest.TestCase):
    def test_piped_it_prints_plain_lines(self):
        status, out, err = hwprobe("watch", "--interval", "20", "--count", "3", "--machine", DESKTOP)
        self.assertEqual(0, status, err)
        self.assertNotIn("\x1b", out)
        rows = [line.split("\t") for line in out.splitlines()]
        loads = [row for row in rows if row[1] == "getMemoryLoad"]
        self.assertEqual([["0.020", "getMemoryLoad", "38"], ["0.040", "getMemoryLoad", "38"],
                          ["0.060", "getMemoryLoad", "38"]], loads)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]], verbosity=1)
