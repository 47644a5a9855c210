"""hwprobe explain on the sample drives: what a person reads and what a program parses."""
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

*TOOL, SOURCE = sys.argv[1:]
DRIVES = Path(SOURCE) / "machines" / "drives"
KEYS = {"model", "serialNumber", "firmware", "isNvme", "isSsd", "sizeMB", "dialect", "dialectKey", "dialectRow",
        "temperature", "powerOnHours", "powerOnCount", "life", "health", "hostReads", "hostWrites", "nandWrites",
        "gbytesErased", "wearLevelingCount", "attributes"}


def explain(*arguments):
    done = subprocess.run([*TOOL, "explain", *map(str, arguments)], capture_output=True, timeout=60)
    return done.returncode, done.stdout.decode().replace("\r", ""), done.stderr.decode().replace("\r", "")


def blocks(folder, name):
    thresholds = folder / f"{name}.thresholds"
    kind = ["--thresholds", thresholds] if thresholds.exists() else ["--nvme"]
    return ["--identify", folder / f"{name}.identify", "--smart", folder / f"{name}.smart", *kind]


class SampleDrives(unittest.TestCase):
    maxDiff = None

    def test_each_reads_as_a_person_wants_it(self):
        texts = sorted(DRIVES.glob("*.txt"))
        self.assertEqual(14, len(texts))
        for expected in texts:
            with self.subTest(expected.stem):
                self.assertEqual((0, expected.read_text(), ""), explain(*blocks(DRIVES, expected.stem)))

    def test_the_blocks_are_those_of_their_source(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([sys.executable, DRIVES / "make_drives.py", folder], check=True, capture_output=True)
            for made in Path(folder).iterdir():
                self.assertEqual(made.read_bytes(), (DRIVES / made.name).read_bytes(), made.name)

    def test_json_has_every_key_and_null_for_what_is_not_told(self):
        for name, dialect, health, life, hours in [("hard-disk", "", "good", None, 21543),
                                                   ("nvme-worn", "nv", "bad", 0, 30211)]:
            status, out, err = explain(*blocks(DRIVES, name), "--json")
            self.assertEqual((0, ""), (status, err))
            drive = json.loads(out)
            self.assertLessEqual(KEYS, drive.keys())
            self.assertEqual((dialect, health, life, hours),
                             tuple(drive[key] for key in ("dialect", "health", "life", "powerOnHours")))
        self.assertEqual({"id": 1, "name": "Critical warning", "current": None, "worst": None, "threshold": None,
                          "raw": 1}, drive["attributes"][0])
        self.assertIsNone(drive["sizeMB"])
        self.assertEqual(("failing", 0, 206.34), (drive["reading"]["health"], drive["reading"]["life"],
                                                  round(drive["reading"]["hostReadBytes"] / 1e12, 2)))
        self.assertEqual("health page, bytes 32 to 47", drive["reading"]["basis"]["hostReadBytes"])

    def test_what_the_drive_says_beside_its_rule(self):
        page = lambda number, *counts: (bytes([1, 0, number, *[0] * 5]) + b"".join(count.to_bytes(7, "little") + b"\xC0" for count in counts)).ljust(512, b"\0")
        used = bytes([1, *[0] * 7, 3, 1, 5, 7]).ljust(512, b"\0") + page(1, 250, 99, 1 << 31, 0, 1 << 33) + page(5, 60) + page(7, 95)
        with tempfile.TemporaryDirectory() as folder:
            file = Path(folder) / "statistics"
            file.write_bytes(used)
            _, out, err = explain(*blocks(DRIVES, "crucial-mx500"), "--statistics", file, "--json")
            text = explain(*blocks(DRIVES, "crucial-mx500"), "--statistics", file)[1]
            file.write_bytes(used[:513])
            refused = explain(*blocks(DRIVES, "crucial-mx500"), "--statistics", file)
        drive = json.loads(out)
        self.assertEqual((97, 5, "caution", 6, ""),
                         (drive["life"], drive["reading"]["life"], drive["reading"]["health"], len(drive["reading"]["differs"]), err))
        told = ["", "Where the two differ", "  health: the rule tells good, the drive caution, by 5 % of its life left, by ",
                "  life left: the rule tells 97 %, the drive 5 %, by device statistics, page 7, byte 8",
                "  temperature: the rule tells 31 °C, the drive 60 °C, by ", "  power-on hours: the rule tells 8423, the drive 99, by ",
                "  power cycles: the rule tells 211, the drive 250, by ", "  host reads: the rule tells unknown, the drive 4.40 TB, by ",
                "", "Where its sources differ", "  life: 5 % by device statistics, page 7, byte 8: "]
        self.assertRegex(text, ".*\n".join(map(re.escape, told)))
        self.assertEqual((2, ""), refused[:2])
        self.assertIn("513 bytes are no whole pages", refused[2])
        machine = ["--machine", DRIVES.parent / "server-sas.json", "--drive", "2"]
        self.assertEqual("failing", json.loads(explain(*machine, "--json")[1])["reading"]["health"])
        self.assertRegex(explain(*machine)[1], r"record +none: a SCSI disk\n(.*\n)*What the drive says\n  health +failing")


class ReadDrives(unittest.TestCase):
    def setUp(self):
        blocks_of = lambda name, kinds: {kind: {"file": str(DRIVES / f"{name}.{file}")} for kind, file in kinds.items()}
        ata = {"identify": "identify", "smart": "smart", "thresholds": "thresholds"}
        self.machine = Path(self.enterContext(tempfile.TemporaryDirectory())) / "machine.json"
        self.machine.write_text(json.dumps({"name": "m", "drives": [
            {"number": 0, "paths": ["ataPassThrough"], **blocks_of("hard-disk", ata)},
            {"number": 1, "paths": ["jmicron"], **blocks_of("crucial-mx500", ata)},
            {"number": 2, "paths": ["storageQuery"], **blocks_of("nvme", {"identify": "identify", "health": "smart"})},
            {"number": 3, "paths": ["sat"], "model": "M", "openError": 5},
            {"number": 60, "paths": ["ataPassThrough"], **blocks_of("laptop-disk", ata)},
            {"number": 4, "paths": [], "descriptor": {"busType": 11}},
            {"number": 6, "paths": ["ataPassThrough"], "model": "M", "firmware": "F",
             "answers": [{"path": "ataPassThrough", "bytes": 555}],
             "descriptor": {"busType": 7}, "rejection": "checkCondition"}]}))

    def test_a_drive_reads_as_its_blocks_do(self):
        for number, name, path in [(0, "hard-disk", "pd1"), (1, "crucial-mx500", "jm1"), (2, "nvme", "sq"),
                                   (60, "laptop-disk", "pd1")]:
            status, out, err = explain("--machine", self.machine, "--drive", number, "--json")
            self.assertEqual((0, ""), (status, err))
            drive, from_files = json.loads(out), json.loads(explain(*blocks(DRIVES, name), "--json")[1])
            self.assertEqual(path, drive.pop("commandPath"))
            for of_the_way in ("commandPath", "physicalDriveId", "interface", "currentTransferMode", "maxTransferMode"):
                for told in (drive, from_files):
                    told.pop(of_the_way, None)
            self.assertEqual(from_files, drive)

    def test_the_trace_tells_what_was_tried_and_a_refusal_what_to_do(self):
        _, _, err = explain("--machine", self.machine, "--drive", 1, "--trace")
        self.assertIn(" AddDisk - USB11", err)
        self.assertEqual("00000000 USB-HDD Check", err.splitlines()[0])
        for number, reason in [(3, "run as root"), (4, "no command path"), (5, "no such drive"),
                               (2147483647, "no such drive"), (6, "what it answered was none")]:
            status, out, err = explain("--machine", self.machine, "--drive", number)
            self.assertEqual((3, "", 1), (status, out, len(err.splitlines())))
            self.assertIn(reason, err)


    def test_a_drive_that_a_raid_library_alone_knows_is_read_by_its_number(self):
        status, out, _ = explain("--machine", DRIVES.parent / "raid-amd.json", "--drive", 2, "--json")
        self.assertEqual((0, "rc", "ACME NVMe 1TB"), (status, *map(json.loads(out).get, ("commandPath", "model"))))


class BadFiles(unittest.TestCase):
    def setUp(self):
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        for block in DRIVES.glob("hard-disk.*"):
            (self.folder / block.name).write_bytes(block.read_bytes())

    def rewrite(self, kind, change):
        path = self.folder / f"hard-disk.{kind}"
        path.write_bytes(change(path.read_bytes()))

    def test_one_line_says_what_to_do(self):
        put = lambda at, byte: lambda b: b[:at] + bytes([byte]) + b[at + 1:]
        refused = "the library would not read this drive: "
        smart = (DRIVES / "hard-disk.smart").read_bytes()
        for kind, change, reason in [("identify", lambda b: b[:500], "500 bytes, but the IDENTIFY DEVICE block has 512"),
                                     ("smart", lambda b: b + b, "more than 512 bytes"),
                                     ("identify", lambda b: bytes(512), refused + "no readable model"),
                                     ("identify", put(60, 127), refused + "no readable model"),
                                     ("thresholds", lambda b: b[:9], "9 bytes, but the SMART READ THRESHOLDS block has 512"),
                                     ("identify", put(6, 17), refused + "words 1, 3 and 6"),
                                     ("identify", put(164, 0x6A), refused + "word 82 tells that it has no SMART data"),
                                     ("thresholds", lambda b: smart, refused + "the thresholds are the SMART data")]:
            self.setUp()
            self.rewrite(kind, change)
            status, out, err = explain(*blocks(self.folder, "hard-disk"))
            *sums, last = err.splitlines()
            self.assertEqual((2, ""), (status, out), err)
            self.assertTrue(all("check sum" in line for line in sums), err)
            self.assertIn(reason, last)

        (self.folder / "blank").write_bytes(bytes(4096))
        for identify, reason in [("blank", refused + "no model in it"), ("missing", "cannot be read")]:
            self.assertIn(reason, explain("--nvme", "--identify", self.folder / identify, "--smart", DRIVES / "nvme.smart")[2])

    def test_what_is_no_regular_file_is_refused_without_waiting(self):
        path = self.folder / "hard-disk.smart"
        makers = [Path.mkdir] + ([os.mkfifo] if len(TOOL) == 1 else [])
        for make in makers:
            path.rmdir() if path.is_dir() else path.unlink()
            make(path)
            status, out, err = explain(*blocks(self.folder, "hard-disk"))
            self.assertEqual((2, ""), (status, out))
            self.assertIn("hard-disk.smart: no regular file", err)

    def test_what_the_drive_does_not_tell_is_unknown(self):
        smart = bytearray((DRIVES / "hard-disk.smart").read_bytes())
        at = next(at for at in range(2, 362, 12) if smart[at] == 12)
        smart[at], smart[511] = 13, (smart[511] - 1) % 256
        self.rewrite("smart", lambda b: smart)
        self.assertIn("  power-on count  unknown\n", explain(*blocks(self.folder, "hard-disk"))[1])

    def test_an_nvme_file_is_judged_as_the_drive_is(self):
        """A new record is refreshed at once, and a refresh believes up to 200 degrees."""
        for kind in ("identify", "smart"):
            (self.folder / f"hot.{kind}").write_bytes((DRIVES / f"nvme.{kind}").read_bytes())
        health = bytearray((self.folder / "hot.smart").read_bytes())
        health[1:3] = (273 + 150).to_bytes(2, "little")
        health[32:40] = bytes([255] * 8)  # more than the record can hold
        (self.folder / "hot.smart").write_bytes(health)
        machine = self.folder / "m.json"
        machine.write_text(json.dumps({"name": "m", "drives": [
            {"number": 1, "paths": ["storageQuery"], "identify": {"file": "hot.identify"},
             "health": {"file": "hot.smart"}}]}))
        told = [explain(*way)[1].splitlines() for way in (blocks(self.folder, "hot"), ["--machine", machine, "--drive", 1])]
        for label in ("size", "temperature", "host reads"):
            of_both = [next(line for line in lines if line.startswith("  " + label)) for lines in told]
            self.assertEqual(of_both[0], of_both[1])
        self.assertIn("  temperature     150 °C", "\n".join(told[0]))
        self.assertIn("  host reads      unknown", told[0])

    def test_a_wrong_check_sum_is_told_and_explained_all_the_same(self):
        self.rewrite("smart", lambda b: b[:400] + b"\x01" + b[401:])
        status, out, err = explain(*blocks(self.folder, "hard-disk"))
        self.assertEqual((0, (DRIVES / "hard-disk.txt").read_text()), (status, out))
        self.assertEqual(1, len(err.splitlines()))
        self.assertIn("check sum", err)

    def test_control_characters_do_not_reach_the_terminal(self):
        self.rewrite("identify", lambda b: b[:56] + b"\x02\x1b" + b[58:])
        status, out, _ = explain(*blocks(self.folder, "hard-disk"))
        self.assertEqual(0, status)
        self.assertNotIn("\x1b", out)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]])
