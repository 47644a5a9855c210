"""Runs an example host as its reader would: host_test.py LIBRARY COMMAND..."""

import json
import re
import subprocess
import sys
import unittest

LIBRARY, *COMMAND = sys.argv[1:]


def host(*arguments):
    done = subprocess.run([*COMMAND, *arguments], capture_output=True, timeout=240)
    text = lambda raw: raw.decode("utf-8").replace("\r\n", "\n")
    return done.returncode, text(done.stdout), text(done.stderr)


class Host(unittest.TestCase):
    def test_it_prints_every_reading(self):
        status, out, err = host(LIBRARY)
        self.assertEqual((0, ""), (status, err))
        # The library's log stands between the readings.
        readings = re.findall(r"^((?:get|init)[A-Za-z]+): (.+)$", out, re.MULTILINE)
        # The indexed readings appear only where there is a drive or a battery.
        indexed = {"getDiskTemperature", "getDiskReadWriteSpeed", "getBatteryAllMessage"}
        self.assertEqual(
            {"getCpuLoad", "getCpuTemperature", "getCpuFrequency", "getCpuBaseFrequency", "getGpuLoad",
             "getGpuTemperature", "getMemoryLoad", "getMemoryManufacturerAndModel", "initDisk", "getAllDiskType",
             "getDiskNameWhichOsInstalled", "initBattery", "getNetCardMessage", "getNetCurrentSpeed"},
            {name for name, _ in readings} - indexed)
        loads = [value for name, value in readings if name == "getMemoryLoad"]
        self.assertEqual(2, len(loads))
        for load in loads:
            self.assertIn(float(load.removesuffix(" percent")), range(0, 101))
        first, second = [json.loads(value) for name, value in readings if name == "getNetCurrentSpeed"]
        models = lambda rates: [entry["model"] for entry in rates or []]
        self.assertEqual(models(first), models(second))

    def test_a_missing_library_is_told(self):
        status, out, err = host("missing.library")
        self.assertEqual((1, ""), (status, out))
        self.assertIn("missing.library", err)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
