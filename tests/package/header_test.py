"""Holds the JSON that the exports give against what the public header says of it, key by key:
header_test.py HEADER MACHINE TOOL..."""
import json
import re
import subprocess
import sys
from pathlib import Path

HEADER, MACHINE, *TOOL = sys.argv[1:]
CALLS = ["getMemoryManufacturerAndModel", "getAllDiskType", "getDiskReadWriteSpeed:0", "getDiskNameWhichOsInstalled",
         "getBatteryAllMessage:0", "getNetCardMessage", "getNetCurrentSpeed"]
KINDS = {"TEXT": str, "INT": int, "list": list}  # all others are numbers with a point
text = Path(HEADER).read_text(encoding="utf-8")


def documented(name):
    """The keys of an export's comment, without those of its failure."""
    comment = re.search(r"/\*((?:(?!\*/).)*)\*/\s*ORVANE_HWPROBE_API const char\* " + name + r"\(", text, re.DOTALL)[1]
    rows = re.findall(r"^ {5,7}(\w+) +(TEXT|INT|FLOAT|number|list|likewise)\b", comment.split("Failure:")[0], re.MULTILINE)
    return {key: KINDS.get(kind, float) for key, kind in rows}


def found(value):
    """The keys of an answer, with those of the objects in its lists."""
    if isinstance(value, list):
        return {key: kind for entry in value for key, kind in found(entry).items()}
    if not isinstance(value, dict):
        return {}
    return {key: type(entry) for key, entry in value.items()} | found(sum((e for e in value.values() if isinstance(e, list)), []))


done = subprocess.run([*TOOL, "call", "--machine", MACHINE, "initDisk", "initBattery", "sleep:50", *CALLS],
                      capture_output=True, text=True, check=True)
for name, line in zip(CALLS, done.stdout.splitlines()[2:], strict=True):
    name = name.split(":")[0]
    assert documented(name) == found(json.loads(line)), f"{name} gives {line}\nthe header tells {documented(name)}"
