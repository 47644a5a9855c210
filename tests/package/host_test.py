"""Runs an example host as its reader would. A host that the machine has no tools for is skipped (status 77)."""

import argparse
import json
import os
import re
import shlex
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

parser = argparse.ArgumentParser()
parser.add_argument("--by-name", action="store_true", help="the host finds the library itself, in the path of libraries")
parser.add_argument("--needs", action="append", default=[], help="a program or a path that has to be there")
parser.add_argument("--first", default="", help="a command that makes the host")
parser.add_argument("library")
parser.add_argument("command", nargs=argparse.REMAINDER)
OPTIONS = parser.parse_args()
BY_NAME, LIBRARY, COMMAND = OPTIONS.by_name, OPTIONS.library, OPTIONS.command


def host(library):
    places = {**os.environ, "LD_LIBRARY_PATH": str(Path(library).parent)} if BY_NAME else None
    done = subprocess.run(COMMAND if BY_NAME else [*COMMAND, library], capture_output=True, timeout=240, env=places)
    text = lambda raw: raw.decode("utf-8").replace("\r\n", "\n")
    return done.returncode, text(done.stdout), text(done.stderr)


class Host(unittest.TestCase):
    def test_it_prints_every_reading(self):
        status, out, err = host(LIBRARY)
        self.assertEqual((0, ""), (status, err))
        # The library's log stands between the readings; the last three only where there is a drive or a battery.
        readings = re.findall(r"^((?:get|init)[A-Za-z]+): (.+)$", out, re.MULTILINE)
        names = ("getCpuLoad getCpuTemperature getCpuFrequency getCpuBaseFrequency getGpuLoad getGpuTemperature "
                 "getMemoryLoad getMemoryManufacturerAndModel initDisk getAllDiskType getDiskNameWhichOsInstalled "
                 "initBattery getNetCardMessage getNetCurrentSpeed")
        self.assertEqual(set(names.split()), {name for name, _ in readings} -
                         {"getDiskTemperature", "getDiskReadWriteSpeed", "getBatteryAllMessage"})
        loads = [float(value.removesuffix(" percent")) for name, value in readings if name == "getMemoryLoad"]
        self.assertTrue(len(loads) == 2 and 0 <= min(loads) <= max(loads) <= 100, loads)
        first, second = [[entry["model"] for entry in json.loads(value) or []]
                         for name, value in readings if name == "getNetCurrentSpeed"]
        self.assertEqual(first, second)

    def test_a_missing_library_is_told(self):
        status, out, err = host("nowhere/missing.library")
        self.assertIn(status, [127] if COMMAND[0].endswith("linked_host") else [1])  # 127: the loader's
        self.assertEqual("", out)
        self.assertIn("Orvane_HwProbe" if BY_NAME else "missing.library", err)


if __name__ == "__main__":
    missing = [need for need in OPTIONS.needs if not shutil.which(need) and not Path(need).exists()]
    if missing:
        print(f"skipped: no {', '.join(missing)}; scripts/install-packages hosts installs it")
        sys.exit(77)
    if OPTIONS.first:
        subprocess.run(shlex.split(OPTIONS.first), check=True)
    unittest.main(argv=sys.argv[:1])
