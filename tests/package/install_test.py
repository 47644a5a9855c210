"""Installs the build into an empty prefix, moves it, and builds a host with its CMake package:
install_test.py BUILD_DIR HOST_DIR CXX_COMPILER"""
import subprocess
import sys
import tempfile
from pathlib import Path

BUILD, HOST, COMPILER = sys.argv[1:]


def run(*command):
    subprocess.run([str(part) for part in command], check=True, timeout=300, cwd=work)


with tempfile.TemporaryDirectory() as name:
    work = Path(name)
    run("cmake", "--install", BUILD, "--prefix", work / "first")
    # Nothing in the tree may name the place that it was installed to.
    prefix = (work / "first").rename(work / "moved")
    run("cmake", "-S", HOST, "-B", "build", "-G", "Ninja", f"-DCMAKE_CXX_COMPILER={COMPILER}",
        f"-DCMAKE_PREFIX_PATH={prefix}", "-DCMAKE_SKIP_BUILD_RPATH=ON")
    run("cmake", "--build", "build")
    program = (work / "build" / "host").rename(work / "linked_host")
    [library] = prefix.rglob("libOrvane_HwProbe.so")
    run(sys.executable, Path(__file__).resolve().parent / "host_test.py", "--by-name", library, program)
    run(prefix / "bin" / "hwprobe", "call", "getMemoryLoad")
