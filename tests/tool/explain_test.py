"""hwprobe explain on the sample drives: what a person reads and what a program parses."""
import json
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


class ReadDrives(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        blocks_of = lambda name, kinds: {kind: {"file": str(DRIVES / f"{name}.{file}")} for kind, file in kinds.items()}
        ata = {"identify": "identify", "smart": "smart", "thresholds": "thresholds"}
        self.machine = Path(folder.name) / "machine.json"
        self.machine.write_text(json.dumps({"name": "m", "drives": [
            {"number": 0, "paths": ["ataPassThrough"], **blocks_of("hard-disk", ata)},
            {"number": 1, "paths": ["jmicron"], **blocks_of("crucial-mx500", ata)},
            {"number": 2, "paths": ["storageQuery"], **blocks_of("nvme", {"identify": "identify", "health": "smart"})},
            {"number": 3, "paths": ["sat"], "model": "M", "openError": 5},
            {"number": 4, "paths": [], "descriptor": {"busType": 11}},
            {"number": 6, "paths": ["ataPassThrough"], "model": "M", "firmware": "F",
             "answers": [{"path": "ataPassThrough", "bytes": 555}],
             "descriptor": {"busType": 7}, "rejection": "checkCondition"}]}))

    def test_a_drive_reads_as_its_blocks_do(self):
        for number, name, path in [(0, "hard-disk", "pd1"), (1, "crucial-mx500", "jm1"), (2, "nvme", "sq")]:
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
                               (6, "what it answered was none")]:
            status, out, err = explain("--machine", self.machine, "--drive", number)
            self.assertEqual((3, "", 1), (status, out, len(err.splitlines())))
            self.assertIn(reason, err)


class BadFiles(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        for block in DRIVES.glob("hard-disk.*"):
            (self.folder / block.name).write_bytes(block.read_bytes())

    def rewrite(self, kind, change):
        path = self.folder / f"hard-disk.{kind}"
        path.write_bytes(change(path.read_bytes()))

    def test_one_line_says_what_to_do(self):
        for kind, change, reason in [("identify", lambda b: b[:500], "500 bytes, but the IDENTIFY DEVICE block has 512"),
                                     ("smart", lambda b: b + b, "more than 512 bytes"),
                                     ("identify", lambda b: bytes(512), "no model and firmware in it")]:
            self.setUp()
            self.rewrite(kind, change)
            status, out, err = explain(*blocks(self.folder, "hard-disk"))
            self.assertEqual((2, "", 1), (status, out, len(err.splitlines())), err)
            self.assertIn(reason, err)

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
