"""Times getMemoryLoad and getNetCurrentSpeed, log included, beside python3-psutil in one run.

    python3 bench/peers/memory_and_network.py build/linux/libOrvane_HwProbe.so

Both sides are called from Python; ours through ctypes, whose call costs about 0.2 us. Times are processor time, the
kernel's included, and the sides take turns, so that other programs disturb them little and alike.
"""

import ctypes
import os
import statistics
import sys
import tempfile
import time

import psutil


def microseconds(*sides, rounds=41, calls=100):
    samples = [[] for _ in sides]
    for _ in range(rounds):
        for call, taken in zip(sides, samples):
            start = time.thread_time_ns()
            for _ in range(calls):
                call()
            taken.append((time.thread_time_ns() - start) / calls / 1000)
    return [statistics.median(taken) for taken in samples]


def main():
    library = os.path.abspath(sys.argv[1])
    os.chdir(tempfile.mkdtemp())  # the log file goes there
    # The console lines of the library go to a file; writing them is part of the cost.
    screen = os.dup(1)
    os.dup2(os.open("console", os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o600), 1)
    probe = ctypes.CDLL(library)
    probe.getNetCurrentSpeed.restype = ctypes.c_char_p
    rows = [
        ("getMemoryLoad", probe.getMemoryLoad, "virtual_memory", psutil.virtual_memory),
        ("getNetCurrentSpeed", probe.getNetCurrentSpeed, "net_io_counters(pernic=True)",
         lambda: psutil.net_io_counters(pernic=True)),
    ]
    lines = []
    for name, ours, peer, theirs in rows:
        ours(), theirs()
        a, b = microseconds(ours, theirs)
        lines.append(f"{name:<20} {a:8.1f} us   psutil {peer:<30} {b:8.1f} us   ratio {a / b:.2f}")
    os.write(screen, ("\n".join(lines) + "\n").encode())


if __name__ == "__main__":
    main()
