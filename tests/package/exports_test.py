"""Compares the names that a built library exports and the version that its file tells with those of the public header,
and looks through a DLL's unwind table: exports_test.py HEADER LIBRARY NM OBJDUMP"""

import re
import struct
import subprocess
import sys

HEADER, LIBRARY, NM, OBJDUMP = sys.argv[1:]


def exported():
    if LIBRARY.endswith(".dll"):
        listing = subprocess.run([OBJDUMP, "-p", LIBRARY], capture_output=True, text=True, check=True).stdout
        table = listing.split("[Ordinal/Name Pointer] Table", 1)[1].split("\n\n", 1)[0]
        return re.findall(r"^\s*\[\s*\d+\]\s+(\S+)$", table, re.MULTILINE)
    listing = subprocess.run([NM, "-D", "--defined-only", LIBRARY], capture_output=True, text=True, check=True).stdout
    return [line.split()[-1] for line in listing.splitlines()]


def versions():
    """What the file says of itself: the version resource, or the SONAME's number and the note."""
    with open(LIBRARY, "rb") as file:
        raw = file.read()
    if LIBRARY.endswith(".dll"):
        at = raw.index(struct.pack("<II", 0xFEEF04BD, 0x10000))  # VS_FIXEDFILEINFO
        minor, major, build, patch = struct.unpack_from("<4H", raw, at + 8)
        return [f"{major}.{minor}.{patch}"]
    listing = subprocess.run([OBJDUMP, "-p", LIBRARY], capture_output=True, text=True, check=True).stdout
    [major] = re.findall(r"SONAME +libOrvane_HwProbe\.so\.(\d+)$", listing, re.MULTILINE)
    at = raw.index(b"Orvane\0\0")
    owner, size, kind = struct.unpack_from("<III", raw, at - 12)
    assert (owner, kind) == (7, 1)
    text = raw[at + 8:at + 8 + size - 1].decode()
    return [text, major + text[text.index("."):]]


with open(HEADER, encoding="utf-8") as header:
    text = header.read()
declared = re.findall(r"^ORVANE_HWPROBE_API .*?(\w+)\(", text, re.MULTILINE)
version = ".".join(re.findall(r"^#define HWPROBE_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$", text, re.MULTILINE))
if set(versions()) != {version}:
    sys.exit(f"{LIBRARY} tells version {versions()}, the header {version}")
found = sorted(exported())
if len(declared) != 19 or found != sorted(declared):
    sys.exit(f"{LIBRARY} exports {found}\nthe header declares {sorted(declared)}")
print(f"{LIBRARY} exports the {len(found)} names of the header alone")

if LIBRARY.endswith(".dll"):
    frames = subprocess.run([OBJDUMP, "--dwarf=frames", LIBRARY], capture_output=True, text=True, check=True).stdout
    ranges = re.findall(r" FDE .*pc=(\w+)\.\.(\w+)", frames)
    empty = [start for start, end in ranges if start == end]
    if not ranges or empty:
        sys.exit(f"of {len(ranges)} unwind entries these are empty and hide the function that follows: {empty}")
    print(f"none of its {len(ranges)} unwind entries is empty")
