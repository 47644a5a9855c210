"""Times load and speed of the processor, log included, beside python3-psutil in one run.

    python3 bench/peers/processor.py build/bench/hwprobe_bench

Ours are the benchmarks cpuLoad and cpuFrequency: what the exports do once the processor is detected, on a
processor of any family.
"""

import json
import os
import statistics
import subprocess
import sys
import tempfile
import time

import psutil


def microseconds(call, rounds=15, calls=200):
    samples = []
    for _ in range(rounds):
        start = time.perf_counter_ns()
        for _ in range(calls):
            call()
        samples.append((time.perf_counter_ns() - start) / calls / 1000)
    return statistics.median(samples)


def ours(bench):
    command = [bench, "--benchmark_filter=^(cpuLoad|cpuFrequency)$", "--benchmark_format=json",
               "--benchmark_repetitions=5"]
    with tempfile.TemporaryDirectory() as folder:  # the log file goes there
        report = subprocess.run(command, cwd=folder, check=True, capture_output=True, text=True).stdout
    return {row["run_name"]: row["real_time"] / 1000
            for row in json.loads(report)["benchmarks"] if row.get("aggregate_name") == "median"}


def main():
    times = ours(os.path.abspath(sys.argv[1]))
    rows = [
        ("getCpuLoad", "cpuLoad", "cpu_percent(interval=None)", lambda: psutil.cpu_percent(interval=None)),
        ("getCpuFrequency", "cpuFrequency", "cpu_freq", psutil.cpu_freq),
    ]
    for name, benchmark, peer, theirs in rows:
        a, b = times[benchmark], microseconds(theirs)
        print(f"{name:<20} {a:8.1f} us   psutil {peer:<30} {b:8.1f} us   ratio {a / b:.2f}")


if __name__ == "__main__":
    main()
