"""Times the throughput of one drive, log included, beside python3-psutil in one run.

    python3 bench/peers/disk.py build/bench/hwprobe_bench

Ours is the benchmark readWriteSpeed: what getDiskReadWriteSpeed does for a drive of any kind, also one without
SMART data. The peer reads the counters of all disks at once.
"""

import json
import os
import statistics
import subprocess
import sys
import tempfile
import time

import psutil


def microseconds(call, calls=2000):
    samples = []
    for _ in range(calls):
        time.sleep(0.001)  # as ours, which answers once a millisecond
        start = time.perf_counter_ns()
        call()
        samples.append((time.perf_counter_ns() - start) / 1000)
    return statistics.fmean(samples)


def ours(bench):
    command = [bench, "--benchmark_filter=^readWriteSpeed", "--benchmark_format=json", "--benchmark_repetitions=5"]
    with tempfile.TemporaryDirectory() as folder:  # the log file goes there
        report = subprocess.run(command, cwd=folder, check=True, capture_output=True, text=True).stdout
    return [row["real_time"] / 1000 for row in json.loads(report)["benchmarks"]
            if row.get("aggregate_name") == "median"][0]


def main():
    a = ours(os.path.abspath(sys.argv[1]))
    b = statistics.median(microseconds(lambda: psutil.disk_io_counters(perdisk=True)) for _ in range(5))
    print(f"readWriteSpeed {a:8.1f} us   psutil disk_io_counters(perdisk=True) {b:8.1f} us   ratio {a / b:.2f}")


if __name__ == "__main__":
    main()
