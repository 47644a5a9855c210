"""Installs the build into an empty prefix, moves it, and uses it as a host's author would:
install_test.py BUILD_DIR CONSUMER_DIR C_COMPILER"""

import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

BUILD, CONSUMER, COMPILER = sys.argv[1:]


def run(*command, **options):
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, timeout=300, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command} gave {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = Path(tempfile.mkdtemp())
        cls.addClassCleanup(shutil.rmtree, cls.work)
        run("cmake", "--install", BUILD, "--prefix", cls.work / "first")
        # Nothing in the tree may name the place that it was installed to.
        cls.prefix = (cls.work / "first").rename(cls.work / "moved")

    def only(self, pattern):
        [found] = self.prefix.rglob(pattern)
        return found

    def check_consumer(self, program, **options):
        out = run(program, cwd=self.work, **options)
        [(load, reason)] = re.findall(r"^memory (-?\d+) last error '(.*)'$", out, re.MULTILINE)
        self.assertIn(int(load), range(1, 101))
        self.assertEqual("", reason)

    def test_a_cmake_project_finds_the_package(self):
        build = self.work / "cmake"
        run("cmake", "-S", CONSUMER, "-B", build, "-G", "Ninja", f"-DCMAKE_C_COMPILER={COMPILER}",
            f"-DCMAKE_PREFIX_PATH={self.prefix}")
        run("cmake", "--build", build)
        self.check_consumer(build / "consumer")

    def test_pkg_config_gives_the_flags(self):
        places = {**os.environ, "PKG_CONFIG_PATH": str(self.only("orvane-hwprobe.pc").parent)}
        flags = run("pkg-config", "--cflags", "--libs", "orvane-hwprobe", env=places).split()
        program = self.work / "by-pkg-config"
        run(COMPILER, Path(CONSUMER) / "consumer.c", "-o", program, *flags)
        library = self.only("libOrvane_HwProbe.so")
        self.check_consumer(program, env={**os.environ, "LD_LIBRARY_PATH": str(library.parent)})

    def test_the_tool_shows_an_installed_machine(self):
        machine = self.only("amd-ryzen-desktop.json")  # where every reading answers
        shown = json.loads(run(self.prefix / "bin" / "hwprobe", "show", "--json", "--machine", machine, cwd=self.work))
        self.assertIn(shown["getMemoryLoad"], range(0, 101))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
