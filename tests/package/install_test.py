"""Installs the build into an empty prefix, moves it, and uses it as a host's author would:
install_test.py BUILD_DIR HOST_DIR CXX_COMPILER"""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

BUILD, HOST, COMPILER = sys.argv[1:]


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

    def check_host(self, program):
        library = self.only("libOrvane_HwProbe.so")
        run(sys.executable, Path(__file__).parent / "host_test.py", "--by-name", library, program, cwd=self.work)

    def test_a_cmake_project_finds_the_package(self):
        build = self.work / "cmake"
        run("cmake", "-S", HOST, "-B", build, "-G", "Ninja", f"-DCMAKE_CXX_COMPILER={COMPILER}",
            f"-DCMAKE_PREFIX_PATH={self.prefix}", "-DCMAKE_SKIP_BUILD_RPATH=ON")
        run("cmake", "--build", build)
        self.check_host((build / "host").rename(build / "linked_host"))

    def test_pkg_config_gives_the_flags(self):
        places = {**os.environ, "PKG_CONFIG_PATH": str(self.only("orvane-hwprobe.pc").parent)}
        flags = run("pkg-config", "--cflags", "--libs", "orvane-hwprobe", env=places).split()
        program = self.work / "linked_host"
        run(COMPILER, "-std=c++17", Path(HOST) / "host.cpp", "-o", program, *flags)
        self.check_host(program)

    def test_the_tool_shows_an_installed_machine(self):
        machine = self.only("amd-ryzen-desktop.json")  # where every reading answers
        shown = json.loads(run(self.prefix / "bin" / "hwprobe", "show", "--json", "--machine", machine, cwd=self.work))
        self.assertIn(shown["getMemoryLoad"], range(0, 101))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
