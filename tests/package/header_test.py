"""Holds the JSON that the exports give against what the public header says of it, key by key:
header_test.py HEADER MACHINE TOOL..."""

import json
import re
import subprocess
import sys

HEADER, MACHINE, *TOOL = sys.argv[1:]
CALLS = ["getMemoryManufacturerAndModel", "getAllDiskType", "sleep:50", "getDiskReadWriteSpeed:0",
         "getDiskNameWhichOsInstalled", "initBattery", "getBatteryAllMessage:0", "getNetCardMessage", "sleep:50",
         "getNetCurrentSpeed"]
KINDS = {"TEXT": str, "INT": int, "FLOAT": float, "number": float, "list": list}


def documented(name):
    """The keys of an export's comment, without those of its failure."""
    comment = re.search(r"/\*((?:(?!\*/).)*)\*/\s*ORVANE_HWPROBE_API const char\* " + name + r"\(", text, re.DOTALL)
    rows = re.findall(r"^ {5,7}(\w+) +(TEXT|INT|FLOAT|number|list|likewise)\b", comment[1].split("Failure:")[0], re.MULTILINE)
    return {key: KINDS.get(kind, float) for key, kind in rows}


def found(value):
    """The keys of an answer, with those of the objects in its lists."""
    if isinstance(value, list):
        return {key: kind for entry in value for key, kind in found(entry).items()}
    if not isinstance(value, dict):
        return {}
    return {key: type(entry) for key, entry in value.items()} | found(sum((e for e in value.values() if isinstance(e, list)), []))


with open(HEADER, encoding="utf-8") as header:
    text = header.read()
lines = subprocess.run([*TOOL, "call", "--machine", MACHINE, *CALLS], capture_output=True, text=True, check=True).stdout.splitlines()
names = [call.split(":")[0] for call in CALLS if not call.startswith("sleep")]
for name, line in zip(names, lines, strict=True):
    if name.startswith("get") and documented(name) != found(json.loads(line)):
        sys.exit(f"{name} gives {found(json.loads(line))}\nthe header tells {documented(name)}")
print(f"{len(names) - 1} answers have the keys and kinds of the header")
