"""Compares the names that a built library exports and the version that its file tells with those of the public header,
and looks through a DLL's unwind table: exports_test.py HEADER LIBRARY NM OBJDUMP"""
import re
import struct
import subprocess
import sys
from pathlib import Path

HEADER, LIBRARY, NM, OBJDUMP = sys.argv[1:]
IS_DLL = LIBRARY.endswith(".dll")


def listing(*command):
    return subprocess.run([*command, LIBRARY], capture_output=True, text=True, check=True).stdout


def exported():
    if IS_DLL:
        table = listing(OBJDUMP, "-p").split("[Ordinal/Name Pointer] Table", 1)[1].split("\n\n", 1)[0]
        return re.findall(r"^\s*\[\s*\d+\]\s+(\S+)$", table, re.MULTILINE)
    return [line.split()[-1] for line in listing(NM, "-D", "--defined-only").splitlines()]


def versions():
    """What the file says of itself: the version resource, or the SONAME's number and the note."""
    raw = Path(LIBRARY).read_bytes()
    if IS_DLL:
        at = raw.index(struct.pack("<II", 0xFEEF04BD, 0x10000))  # VS_FIXEDFILEINFO
        minor, major, _, patch = struct.unpack_from("<4H", raw, at + 8)
        return {f"{major}.{minor}.{patch}"}
    [major] = re.findall(r"SONAME +libOrvane_HwProbe\.so\.(\d+)$", listing(OBJDUMP, "-p"), re.MULTILINE)
    at = raw.index(b"Orvane\0\0")
    owner, size, kind = struct.unpack_from("<III", raw, at - 12)
    assert (owner, kind) == (7, 1)
    text = raw[at + 8:at + 8 + size - 1].decode()
    return {text, major + text[text.index("."):]}


header = Path(HEADER).read_text(encoding="utf-8")
declared = sorted(re.findall(r"^ORVANE_HWPROBE_API .*?(\w+)\(", header, re.MULTILINE))
version = ".".join(re.findall(r"^#define HWPROBE_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$", header, re.MULTILINE))
assert versions() == {version}, f"{LIBRARY} tells version {versions()}, the header {version}"
assert len(declared) == 19 and sorted(exported()) == declared, f"{LIBRARY} exports {exported()}\nthe header {declared}"
if IS_DLL:
    ranges = re.findall(r" FDE .*pc=(\w+)\.\.(\w+)", listing(OBJDUMP, "--dwarf=frames"))
    empty = [start for start, end in ranges if start == end]
    assert ranges and not empty, f"of {len(ranges)} unwind entries these are empty and hide the next function: {empty}"
