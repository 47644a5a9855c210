"""A host that loads the library at run time and polls it: host.py LIBRARY

Numbers come back as values, structured answers as JSON text that belongs to the library and is never freed here.
The library also writes its log to standard output.
"""

import ctypes
import sys
import time

NUMBER, COUNT, TEXT = ctypes.c_double, ctypes.c_int32, ctypes.c_char_p
INDEX = [ctypes.c_uint32]

# name, result, arguments, unit
FUNCTIONS = [
    ("getCpuLoad", NUMBER, [], "of 1"),
    ("getCpuTemperature", NUMBER, [], "degrees Celsius"),
    ("getCpuFrequency", NUMBER, [], "MHz"),
    ("getCpuBaseFrequency", COUNT, [], "MHz"),
    ("getGpuLoad", NUMBER, [], "of 1"),
    ("getGpuTemperature", NUMBER, [], "degrees Celsius"),
    ("getMemoryLoad", COUNT, [], "percent"),
    ("getMemoryManufacturerAndModel", TEXT, [], ""),
    ("initDisk", COUNT, [], "drives"),
    ("getAllDiskType", TEXT, [], ""),
    ("getDiskTemperature", NUMBER, INDEX, "degrees Celsius"),
    ("getDiskReadWriteSpeed", TEXT, INDEX, ""),
    ("getDiskNameWhichOsInstalled", TEXT, [], ""),
    ("initBattery", COUNT, [], "batteries"),
    ("getBatteryAllMessage", TEXT, INDEX, ""),
    ("getNetCardMessage", TEXT, [], ""),
    ("getNetCurrentSpeed", TEXT, [], ""),
    ("releaseRing0", None, [], ""),
    ("getLastError", TEXT, [], ""),
]
UNITS = {name: unit for name, _, _, unit in FUNCTIONS}


def load(path):
    library = ctypes.CDLL(path)
    for name, result, arguments, _ in FUNCTIONS:
        function = getattr(library, name)
        function.restype, function.argtypes = result, arguments
    return library


def show(library, name, *arguments):
    """Prints one reading and gives its value. Every number's failure value is -1; a text carries the reason of
    its failure itself."""
    value = getattr(library, name)(*arguments)
    if isinstance(value, bytes):
        told = value.decode("utf-8")
    elif value == -1:
        told = "failed: " + library.getLastError().decode("utf-8")
    else:
        told = f"{value:.2f} {UNITS[name]}"
    print(f"{name}: {told}", flush=True)
    return value


def main(path):
    try:
        library = load(path)
    except (OSError, AttributeError) as error:
        sys.exit(f"{path} cannot be used: {error}")
    for sample in range(2):
        # Loads and rates tell what happened between two calls.
        time.sleep(sample)
        for name in ["getCpuLoad", "getCpuFrequency", "getMemoryLoad", "getNetCurrentSpeed"]:
            show(library, name)
    for name in ["getCpuTemperature", "getCpuBaseFrequency", "getGpuLoad", "getGpuTemperature",
                 "getMemoryManufacturerAndModel"]:
        show(library, name)
    for index in range(show(library, "initDisk")):
        show(library, "getDiskTemperature", index)
        show(library, "getDiskReadWriteSpeed", index)
    show(library, "getAllDiskType")
    show(library, "getDiskNameWhichOsInstalled")
    for index in range(show(library, "initBattery")):
        show(library, "getBatteryAllMessage", index)
    show(library, "getNetCardMessage")
    library.releaseRing0()


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit("usage: host.py LIBRARY")
    main(sys.argv[1])
