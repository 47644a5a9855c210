"""Machine files for tests of the tool: samples with what a test changes. Importers set dont_write_bytecode before."""
import itertools
import json
import sys
import tempfile
from pathlib import Path

MACHINES = Path(__file__).resolve().parents[2] / "machines"
sys.path.append(str(MACHINES / "drives"))
import make_drives

FOLDER = tempfile.TemporaryDirectory()
numbers = itertools.count()


def file_of(machine):
    """The path of a file with the machine, which is an object or a text."""
    file = Path(FOLDER.name) / f"{next(numbers)}.json"
    file.write_text(machine if isinstance(machine, str) else json.dumps(machine))
    return str(file)


def sample(name):
    text = (MACHINES / f"{name}.json").read_text()
    return json.loads(text.replace('"drives/', f'"{MACHINES.as_posix()}/drives/'))


def silent(**change):
    """The laptop, whose drive is as `change` says from second 8 on. Its counters take the time until then."""
    machine = sample("laptop")
    machine["drives"][0] |= {"answers": [{"path": "performance", "nth": 2, "hang": True}],
                             "changes": [{"atSeconds": 8, **change}]}
    return machine


def odd_drives():
    """A drive of half degrees, at 32, that counts no power cycles; one that counts more data than fits."""
    half = {"number": 0, "scsiAddress": {"port": 0}, "paths": ["ataPassThrough", "smartIoctl"], "performance": {},
            "identify": make_drives.identify("ADATA SSD S599 64GB", "3.4.6", "S", 125045424, make_drives.SSD).hex(),
            "smart": make_drives.smart((9, 100, 100, 77), (194, 64, 64, 64)).hex()}
    full = {"number": 1, "scsiAddress": {"port": 1}, "paths": ["storageQuery"], "performance": {},
            "identify": make_drives.nvme_identify("ACME NVMe", "1", "N").hex(),
            "health": make_drives.nvme_health(40, 100, 10, 3, 1 << 58, 1 << 58, 12, 99).hex()}
    return {"name": "odd drives", "memory": {"totalPhys": 8, "availPhys": 4}, "drives": [half, full]}


def unknown_processor():
    """Of a family that the library does not know."""
    machine = sample("amd-ryzen-desktop")
    machine["processor"]["leaves"][0]["eax"] = "0x00B40F40"
    return machine
