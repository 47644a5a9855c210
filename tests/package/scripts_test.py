"""What the scripts share: scripts_test.py SOURCE_DIR"""
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SOURCE = sys.argv.pop()


class Library(unittest.TestCase):
    def run_in(self, folder, command, **programs):
        for name, body in programs.items():
            (folder / name.replace("_", "-")).write_text(f"#!/bin/sh\n{body}\n")
            (folder / name.replace("_", "-")).chmod(0o755)
        environment = {**os.environ, "PATH": f"{folder}:{os.environ['PATH']}", "DEVICES": str(folder / "dev")}
        return subprocess.run(["bash", "-euo", "pipefail", "-c", f". scripts/lib.sh; {command}"], cwd=SOURCE,
                              env=environment, capture_output=True, text=True, timeout=60)

    def test_a_lock_of_the_package_manager_is_waited_for_and_another_failure_is_told(self):
        apt = 'cd {0}; echo "$@" >>calls; [ $(wc -l <calls) -ge {1} ] || {{ echo "E: {2}" >&2; exit 100; }}'
        for needed, error, calls, status in [(3, "Could not get lock /var/lib/apt/lists/lock.", 3, 0),
                                             (3, "Unable to locate package x", 1, 100)]:
            with tempfile.TemporaryDirectory() as name:
                done = self.run_in(Path(name), "apt_get update", apt_get=apt.format(name, needed, error),
                                   sudo='exec "$@"', sleep="")
                lines = Path(name, "calls").read_text().splitlines()
                self.assertEqual((status, calls), (done.returncode, len(lines)), done)
                self.assertTrue("Lock::Timeout" in lines[0] and "update" in lines[0], lines)
                self.assertEqual(status != 0, error in done.stderr)

    def test_a_changed_device_fails_the_tests_and_is_named(self):
        for command, status in [("true", 0), ("sh -c 'exit 3'", 3), ("sh -c 'rm $DEVICES/null; echo >$DEVICES/null'", 2),
                                ("sh -c 'rm $DEVICES/null'", 2), ("touch $DEVICES/new", 2)]:
            with tempfile.TemporaryDirectory() as name:
                Path(name, "dev").mkdir()
                os.mkfifo(Path(name, "dev", "null"))
                done = self.run_in(Path(name), f"leaves_devices {command}")
                self.assertEqual((status, status == 2), (done.returncode, "/dev/n" in done.stderr), done)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]])
