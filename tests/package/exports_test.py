"""Compares the names that a built library exports with those of the public header, and looks through a DLL's unwind
table: exports_test.py HEADER LIBRARY NM OBJDUMP"""

import re
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


with open(HEADER, encoding="utf-8") as header:
    declared = re.findall(r"^ORVANE_HWPROBE_API .*?(\w+)\(", header.read(), re.MULTILINE)
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
