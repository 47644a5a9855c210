"""Runs the host tool as a person or a script would: tool_test.py [LAUNCHER] TOOL SOURCE_DIR"""

import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True  # nothing is left among the sources
from described import MACHINES, file_of, odd_drives, sample, silent, unknown_processor

*LAUNCHER, TOOL, SOURCE = sys.argv[1:]
CONTROLS = "\\x00-\\x09\\x0b-\\x1f\\x7f-\\x9f\\u2028\\u2029\\u202a-\\u202e\\u2066-\\u2069"
DESKTOP = str(MACHINES / "intel-desktop.json")
HALF_USED = {"name": "x", "memory": {"totalPhys": 8, "availPhys": 4}}
ON_NATIVE_RUNS = unittest.skipIf(LAUNCHER or sys.platform == "win32", "special files are those of a native run")


def hwprobe(*arguments):
    done = subprocess.run([*LAUNCHER, TOOL, *arguments], capture_output=True, timeout=120)
    text = lambda raw: raw.decode("utf-8").replace("\r\n", "\n")
    return done.returncode, text(done.stdout), text(done.stderr)


def on(machine, *arguments):
    """As above, on a machine that is described by an object."""
    return hwprobe(*arguments, "--machine", file_of(machine))


def shown(machine):
    return on(machine, "show")[1], json.loads(on(machine, "show", "--json")[1])


class Call(unittest.TestCase):
    def test_each_call_is_one_raw_line_in_order(self):
        status, out, err = hwprobe("call", "getMemoryLoad", "getNetCurrentSpeed", "sleep:1000",
                                   "getNetCurrentSpeed", "getLastError", "--machine", DESKTOP)
        self.assertEqual(0, status, err)
        load, first, second, last = out.split("\n")[:-1]
        self.assertEqual("38", load)
        self.assertTrue(all(entry["down"] == 0 for entry in json.loads(first)), first)
        rates = {entry["model"]: entry["down"] for entry in json.loads(second)}
        self.assertAlmostEqual(12500, rates["ACME Ethernet Controller I225"], delta=15)  # bytes per millisecond
        self.assertEqual("", last)

    def test_a_hardware_fault_outside_of_the_guarded_reports_ends_it_with_status_5(self):
        fault = {"hardwareFault": "0xC0000005"}
        machine = HALF_USED | {"faults": [{"request": "memoryStatus", "nth": 2} | fault, {"request": "adapters"} | fault]}
        status, out, err = on(machine, "call", "getMemoryLoad", "getNetCurrentSpeed", "getMemoryLoad", "getLastError")
        text = "catch SEH exception: EXCEPTION_ACCESS_VIOLATION"
        self.assertEqual((5, f'50\n{{"error":"{text}"}}\n'), (status, out))
        self.assertEqual(f"{text}\ngetMemoryLoad: ended by hardware fault 0xC0000005, as a host would be\n", err)

    def test_wrong_usage_is_status_2_and_says_what_to_do(self):
        for arguments, hint in [
            (["call", "getNothing"], "getCpuLoad"),
            (["call", "getMemoryLoad:1"], "takes no index"),
            (["call", "getDiskTemperature:1x"], "a whole number from 0 to 4294967295 must follow the colon"),
            (["explain", "--smart", "x"], "--identify and --smart, or --drive"),
            (["look"], "look: no such command; the commands are show, call, watch, explain, metrics"),
            (["wach"], "wach: no such command (did you mean watch?)"),
            (["call", "getCpuTemprature"], "getCpuTemprature: not an export (did you mean getCpuTemperature?)"),
            ([], "--help"),
            (["show", "--machine", "missing.json"], "missing.json"),
            (["watch", "--count", "-1", "--machine", DESKTOP], "--count"),
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
    @ON_NATIVE_RUNS
    def test_files_without_an_end_are_not_read(self):
        with tempfile.TemporaryDirectory() as folder:
            os.mkfifo(fifo := f"{folder}/fifo")
            for special in "/dev/zero", fifo:
                status, out, err = hwprobe("call", "getMemoryLoad", "--machine", special)
                self.assertEqual((2, "", 1), (status, out, err.count("\n")), special)
                self.assertIn("not a regular file", err)

    def test_the_smallest_machine_of_the_documents_gives_a_temperature(self):
        page = (Path(SOURCE) / "docs" / "machine-files.md").read_text()
        machine = re.search(r"^```json\n(.*?)^```$", page, re.MULTILINE | re.DOTALL)[1]
        self.assertEqual((0, "42\n", ""), on(machine, "call", "getCpuTemperature"))

    def test_facts_of_a_processor_that_do_not_agree_are_told(self):
        def cores(*masks):
            return {"records": [{"relationship": 0, "mask": mask} for mask in masks]}
        leaves = {"leaves": [{"leaf": 1, "ebx": "0x20000"}, {"leaf": 4, "eax": "0x04000000"}]}
        ids = {"apicIds": [0, 1]}
        for facts, told in [
            (leaves | ids | cores(1, 2), []),
            (cores(1), ["vendor and leaves"]),
            (leaves | cores(1, 2), ["records and apicIds: 2 cores"]),
            (leaves | {"apicIds": [0, 0]} | cores(1, 2), ["apicIds: an id"]),
            (leaves | ids | cores(1), ["apicIds and records: 2 ids, and 1"]),
            (leaves | {"present": 2} | cores(1), ["records and present: the cores have the logical processors 0x1"]),
            (leaves | cores(1, 1, 1), ["leaf 4 and records: EAX 31:26 has room for 2", "stand in two cores",
                                       "stand in two", "records and apicIds"]),
            ({"leaves": [{"leaf": 1}]} | ids | cores(3), ["leaf 1 and apicIds: EBX 23:16 has room for 0 ids, there are 2"]),
        ]:
            err = on({"name": "x", "processor": {"vendor": "GenuineIntel"} | facts}, "call", "getLastError")[2]
            self.assertEqual(len(told), err.count("facts that do not agree"), err)
            for text in told:
                self.assertIn(text, err)

    def test_a_planned_failure_that_was_not_reached_is_an_error(self):
        machine = HALF_USED | {"faults": [{"request": "memoryStatus", "nth": 2, "error": 5}]}
        self.assertEqual((2, "50\n", "planned fault never reached: request memoryStatus, nth 2\n"),
                         on(machine, "call", "getMemoryLoad"))
        self.assertEqual((3, "50\n-1\n"), on(machine, "call", "getMemoryLoad", "getMemoryLoad")[:2])
        # One that only the end reaches is reached.
        machine = {"name": "x", "ring0": {}, "faults": [{"request": "releaseOls", "error": 5}], "processor": {
            "vendor": "GenuineIntel", "highestLeaf": 1, "records": [{"relationship": 0, "mask": 1}]}}
        self.assertEqual((0, ""), on(machine, "call", "getCpuTemperature")[::2])


@ON_NATIVE_RUNS
class Output(unittest.TestCase):
    def run_into(self, output, *arguments, **options):
        with output:
            done = subprocess.run([TOOL, *arguments, "--machine", DESKTOP], stdout=output, stderr=subprocess.PIPE,
                                  timeout=60, **options)
        return done.returncode, done.stderr.decode()

    def test_a_full_device_is_status_4(self):
        for arguments in ["call", "getMemoryLoad"], ["show", "--json"], ["watch", "--interval", "10"]:
            status, err = self.run_into(open("/dev/full", "wb"), *arguments)
            self.assertEqual(4, status, arguments)
            self.assertRegex(err, r"the output cannot be written: \S.*\n$")

    def test_a_closed_pipe_ends_it(self):
        for restore in [True, False]:  # whether the signal ends the tool, or its write fails
            reader, writer = os.pipe()
            os.close(reader)
            status, _ = self.run_into(open(writer, "wb"), "watch", restore_signals=restore)
            self.assertEqual(-signal.SIGPIPE if restore else 4, status)


class Show(unittest.TestCase):
    def test_every_sample_machine_shows_each_reading_or_its_reason(self):
        machines = sorted(MACHINES.glob("*.json"))
        self.assertGreaterEqual(len(machines), 3)
        for machine in machines:
            status, out, err = hwprobe("show", "--json", "--machine", str(machine))
            readings = json.loads(out)
            self.assertEqual(19 + 4 + 3, len(readings))  # the exports, drives with and without a record, SCSI disks and counters, the head
            reasons = [value["error"] for value in readings.values() if isinstance(value, dict) and "error" in value]
            self.assertEqual((1 if reasons else 0, True), (status, all(reasons)), (machine, err))
            self.assertIn(readings["getMemoryLoad"], range(1, 101))

    def test_the_table_has_units_and_reasons(self):
        failing = odd_drives()
        for drive in failing["drives"]:
            drive["answers"] = [{"path": "performance", "nth": 2, "error": 5}]
        uncounted = odd_drives()
        del uncounted["drives"][1]["performance"]
        for machine, texts in [
            (uncounted, [r"list fails at ACME NVMe \(drive 1\), which gives no byte counters\n"]),
            (sample("intel-desktop"), [r"In use +38 %\n", r"12\.5 MB/s down +250\.\d kB/s up +ACME Ethernet Controller I225"]),
            (sample("laptop"), [r"\(designed for 50000 mWh\), 112 cycles\n",
                                r"C: +SKHynix_HFS512GDE9X084N +NVMe SSD +512 GB +43 °C +5120 h +96 % +good +\S+ .B/s"]),
            (sample("laptop") | {"faults": [{"request": "execQuery", "error": 0x80070005}]},
             ["Modules         none: the machine's list of them could not be read: access denied; run as root"]),
            # Drives that no export tells, and those without a record.
            (sample("raid-megaraid"), [r"port 0 target 11 +CT500MX500SSD1 +SSD +500 GB +31 °C +8423 h +97 % +good +unknown",
                                       r"1 drive understands no drive commands \(drive 0 AVAGO MR9361-8i\)\n",
                                       r"list fails at WDC WD10EZEX-08WN4A0 \(port 0 target 10\), which gives no byte counters\n",
                                       r"List +failed: Disk@.*\n  Temperature +failed, as List\n  Speed +failed, as List\n"]),
            (failing, [r"Speed 0 +failed: DeviceIoControl failed\n  Speed 1 +failed, as Speed 0\n"]),
        ]:
            out = on(machine, "show")[1]
            self.assertLessEqual(out.count("failed: Disk@"), 1)
            for text in texts:
                self.assertRegex(out, text)

    def test_a_silent_drive_tells_why_and_nothing_else(self):
        health = {"path": "storageQuery", "operation": "health"}
        for change, reason in [({"present": False}, "it is gone"),
                               ({"answers": [health | {"error": 1117}]}, "1117 (The request could not"),
                               ({"answers": [health | {"hang": True}]}, "it did not answer in time")]:
            out, readings = shown(silent(**change))
            self.assertRegex(out, r"C: +SKHynix_HFS512GDE9X084N +NVMe SSD +512 GB( +unknown){4} ")
            self.assertRegex(out, r"C: SKHynix\S+ has not answered since \d\.\d{3} s: " + re.escape(reason))
            drive = readings["drives"][0]
            self.assertEqual([None] * 6 + ["unknown", False], [drive[key] for key in (
                "temperature", "powerOnHours", "powerOnCount", "life", "hostReads", "hostWrites", "health", "answering")])
            self.assertTrue(drive["reason"].startswith(reason) and 0 < float(drive["lastAnswer"]) < 8, drive)

    def test_what_a_drive_does_not_tell_is_unknown_and_degrees_are_its_own(self):
        out, readings = shown(odd_drives())
        self.assertRegex(out, r"drive 0 +ADATA SSD S599 64GB +SSD +64 GB +32 °C +77 h ")
        half, full = readings["drives"]
        self.assertEqual([32, None, True, None], [half[key] for key in ("temperature", "powerOnCount", "answering", "reason")])
        self.assertEqual([40, 12, None, None], [full[key] for key in ("temperature", "powerOnCount", "hostReads", "hostWrites")])
        sampled = json.loads(on(odd_drives(), "watch", "--count", "1", "--interval", "20", "--json")[1])["drives"]
        self.assertEqual([32, 40], [drive["temperatureCelsius"] for drive in sampled])

    def test_drives_without_a_record_have_their_reason_once(self):
        machine = odd_drives()
        base = machine["drives"][0]
        late = [{"path": path, "hang": True} for path in base["paths"]]
        wanted = [({"serialNumber": "S"}, "twin", "is the same as drive 0 by model and serial number"),
                  ({"openError": 5}, "noAnswer", "could not be read: access denied; run as root"),
                  ({"answers": late}, "noAnswer", "did not answer in time"),
                  ({"smart": ""}, "noSmartData", "gave no SMART data: 1117 ("),
                  ({"mediaType": 11, "descriptor": {"busType": 7, "product": "STICK"}}, "removable", "is left out, as its medium"),
                  ({"model": "StoreMI"}, "tieredStorage", "is left out, as a volume of tiered storage"),
                  ({"identify": "", "descriptor": {"busType": 10, "vendor": "ACME", "product": "SAS"}}, "noAtaCommands", "a SCSI disk"),
                  ({"model": "ACME Raid 5"}, "raidVolume", "is a RAID volume")]
        for number, (change, *_) in enumerate(wanted, 2):
            drive = base | {"number": number, "scsiAddress": {"port": number}, "serialNumber": f"X{number}"} | change
            machine["drives"].append({key: value for key, value in drive.items() if value != ""})
        out, readings = shown(machine)
        unread = {drive["physicalDriveId"]: drive for drive in readings["unreadDrives"]}
        self.assertEqual((len(wanted), 0), (len(readings["unreadDrives"]), unread[2]["twinOf"]))
        for number, (_, word, text) in enumerate(wanted, 2):
            self.assertEqual(word, unread[number]["reason"])
            told = rf"\n  1 drive {re.escape(text)}.*\(drive {number}[ )]"
            scsi = rf"\n  drive {number} .*\n(.*\n)*  drive {number} .*: no record: {text}"
            self.assertRegex(out, scsi if word == "noAtaCommands" else told)

    def test_an_unknown_processor_has_load_and_clock_by_the_system(self):
        out, readings = shown(unknown_processor())
        reason = r"failed: \S+ AMD family not support: 26\n"
        self.assertRegex(out, rf"Base clock +{reason}  Clock +4140 MHz \(the system's counters\)\n  Load +\d+\.\d % "
                              r"\(the system's counters\)\n  Temperature +failed, as Base clock\n")
        self.assertIn("error", readings["getCpuLoad"])
        self.assertEqual(4140, readings["systemCounters"]["getCpuFrequency"])
        _, lines, _ = on(unknown_processor(), "watch", "--count", "1", "--interval", "20")
        self.assertIn("# cpu: load and clock by the system's counters\n", lines)
        self.assertRegex(lines, r"(?m)^\d+\.\d{3} +\d+\.\d +4140 +unknown ")

    def test_no_text_of_the_machine_controls_a_terminal(self):
        letters = "a\nb\x1b[31mc\x9bd\u2028e\u202ef\u2069g"
        machine = json.loads(json.dumps(sample("laptop")).replace("ACME Wireless-AC 9560", "X" + json.dumps(letters)[1:-1]))
        machine["name"] = machine["batteries"][0]["manufacturer"] = letters
        machine["management"]["Win32_PhysicalMemory"][1]["PartNumber"] = letters
        machine["processor"]["brand"] = "a\nb\x1bc"
        for command in ["show"], ["watch", "--count", "1", "--interval", "20"]:
            out = on(machine, *command)[1]
            self.assertNotRegex(out, f"[{CONTROLS}]")
            self.assertRegex(out, r"Xa\.b\.?\[31mc\.d\.e\.f\.g")
        self.assertRegex(on(machine, "show")[1], r"Acme a\.b\.?\[31mc\.d\.e\.f\.g\n")

    def test_the_log_goes_to_standard_error_and_only_when_asked(self):
        self.assertEqual((0, "38\n", ""), hwprobe("call", "getMemoryLoad", "--machine", DESKTOP))
        _, out, err = hwprobe("call", "getMemoryLoad", "--machine", DESKTOP, "--log")
        self.assertEqual("38\n", out)
        self.assertRegex(err, r"(?m)^\[\d{4}-.*\] \[memory\] \[.*info.*\] MemoryStatus@\d+: ")


class Watch(unittest.TestCase):
    def samples(self, machine, *arguments):
        out = on(machine, "watch", "--count", "3", "--json", *arguments)[1]
        samples = [json.loads(line) for line in out.splitlines()]
        self.assertEqual([1] * 3, [sample["formatVersion"] for sample in samples])
        return samples

    def test_a_drive_that_falls_silent_is_told(self):
        before, *_, after = (sample["drives"][0] | sample["failures"] for sample in
                             self.samples(silent(present=False), "--interval", "20"))
        keys = "answering", "reason", "health", "lifePercent", "temperatureCelsius"
        self.assertEqual([True, None, "good", 96, 43], [before[key] for key in keys])
        self.assertEqual([False, "it is gone", "unknown", None, None], [after[key] for key in keys])
        self.assertEqual(before["lastAnswer"], after["lastAnswer"])
        self.assertEqual(f"has not answered since {after['lastAnswer']} s: it is gone", after["drive0_temp_C"])
        scsi = self.samples(sample("server-sas"))[0]["drives"][2]
        self.assertEqual(["drive 2", "failing", 41, None],
                         [scsi[key] for key in ("place", "health", "temperatureCelsius", "readBytesPerSecond")])
        unlisted = silent(present=False)  # for want of counters; the clock goes on by the samples alone
        del unlisted["drives"][0]["performance"]
        unlisted["drives"][0]["changes"][0]["atSeconds"] = 1
        self.assertEqual([True, True, False], [sample["drives"][0]["answering"] for sample in
                                               self.samples(unlisted, "--interval", "2000")])

    def test_piped_it_prints_a_line_a_sample_below_the_names(self):
        status, out, err = hwprobe("watch", "--count", "3", "--interval", "20", "--machine", DESKTOP)
        self.assertEqual((0, "", False), (status, err, "\x1b" in out))
        lines = out.splitlines()
        self.assertIn("# drive1: D: WDC WD10EZEX-08WN4A0", lines)
        names, *rows = [line.split() for line in lines if not line.startswith("# ")]
        samples = [dict(zip(names, row, strict=True)) for row in rows]
        times = [float(sample["#time"]) for sample in samples]
        for time, later in zip(times, times[1:] + [times[-1] + 0.02]):
            self.assertAlmostEqual(0, time % 0.02 % 0.0199, delta=0.001)  # on multiples of the interval
            self.assertAlmostEqual(0.02, later - time, delta=0.001)
        for sample in samples:
            names = "cpu_load_%", "cpu_temp_C", "mem_used_%", "drive0_temp_C"
            self.assertEqual(("25.0", "58.0", "38", "43.0"), tuple(sample[name] for name in names))

    def test_batteries_come_and_go_and_what_nobody_tells_is_unknown(self):
        machine = HALF_USED | {"batteries": [
            {**dict.fromkeys(["deviceName", "manufacturer", "serialNumber", "uniqueId"], "ACME"), "powerState": 5,
             "fullChargedCapacity": 50, "capacity": "0xFFFFFFFF", "rate": -2147483648, "present": False,
             "changes": [{"atSeconds": 2}, {"atSeconds": 3, "present": False}]}]}
        samples = self.samples(machine)
        self.assertEqual([0, 1, 0], [len(sample["batteries"]) for sample in samples])
        battery = samples[1]["batteries"][0]
        self.assertEqual([None, None, "charging, on mains"],
                         [battery[key] for key in ("chargePercent", "powerWatts", "state")])
        self.assertEqual((50, None), (samples[0]["memory"]["usedPercent"], samples[0]["graphics"]["loadPercent"]))
        self.assertEqual("No gpu found", samples[0]["failures"]["gpu_load_%"])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]], verbosity=1)
