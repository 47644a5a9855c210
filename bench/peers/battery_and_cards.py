"""Times getBatteryAllMessage and getNetCardMessage, log included, beside python3-psutil in one run.

    python3 bench/peers/battery_and_cards.py build/linux/libOrvane_HwProbe.so

Both sides are called from Python; ours through ctypes, whose call costs about 0.2 us. Our battery report reads
its files anew at each question and needs a battery; without one both sides' cost of finding none is timed.
"""

import ctypes
import os
import statistics
import sys
import tempfile
import time

import psutil


def microseconds(call, rounds=15, calls=100):
    samples = []
    for _ in range(rounds):
        start = time.perf_counter_ns()
        for _ in range(calls):
            call()
        samples.append((time.perf_counter_ns() - start) / calls / 1000)
    return statistics.median(samples)


def main():
    library = os.path.abspath(sys.argv[1])
    os.chdir(tempfile.mkdtemp())  # the log file goes there
    # The console lines of the library go to a file; writing them is part of the cost.
    screen = os.dup(1)
    os.dup2(os.open("console", os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o600), 1)
    probe = ctypes.CDLL(library)
    probe.getNetCardMessage.restype = ctypes.c_char_p
    probe.getBatteryAllMessage.restype = ctypes.c_char_p
    if probe.initBattery() > 0:
        name, ours = "getBatteryAllMessage", lambda: probe.getBatteryAllMessage(0)
    else:
        name, ours = "initBattery (none here)", probe.initBattery
    lines = []
    for name, ours, peer, theirs in [
        (name, ours, "sensors_battery", psutil.sensors_battery),
        ("getNetCardMessage", probe.getNetCardMessage, "net_if_addrs", psutil.net_if_addrs),
    ]:
        ours(), theirs()
        a, b = microseconds(ours), microseconds(theirs)
        lines.append(f"{name:<24} {a:8.1f} us   psutil {peer:<16} {b:8.1f} us   ratio {a / b:.2f}")
    os.write(screen, ("\n".join(lines) + "\n").encode())


if __name__ == "__main__":
    main()
