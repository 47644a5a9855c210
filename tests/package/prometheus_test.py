"""Lets Prometheus scrape two machines every second for a minute, beside another scraper and ones that hang:
prometheus_test.py TOOL WORK_DIR"""

import contextlib
import json
import re
import socket
import subprocess
import sys
import time
import urllib.error
import urllib.parse
import urllib.request
from pathlib import Path

TOOL, WORK = sys.argv[1], Path(sys.argv[2])
SOURCE = Path(__file__).resolve().parents[2]
MACHINES = ["laptop", "amd-ryzen-desktop"]  # of one or the other everything that the dashboard shows
SECONDS = 60


def start(*command, **options):
    process = stack.enter_context(subprocess.Popen(command, **options))
    stack.callback(process.terminate)
    return process


def get(url):
    with urllib.request.urlopen(url, timeout=20) as response:
        return response.read()


def port_of(server):
    for line in server.stderr:
        if serving := re.search(r":(\d+)/metrics$", line):
            return int(serving[1])
    sys.exit(f"{TOOL} serves nothing")


with contextlib.ExitStack() as stack:
    servers = [start(TOOL, "metrics", "--listen", "127.0.0.1:0", "--machine", str(SOURCE / "machines" / f"{machine}.json"),
                     stderr=subprocess.PIPE, text=True) for machine in MACHINES]
    targets = [f"127.0.0.1:{port_of(server)}" for server in servers]
    (WORK / "prometheus.yml").write_text(json.dumps({
        "global": {"scrape_interval": "1s"}, "rule_files": [str(SOURCE / "docs/prometheus/hwprobe-rules.yml")],
        "scrape_configs": [{"job_name": "hwprobe", "static_configs": [{"targets": targets}]}]}))
    with socket.create_server(("127.0.0.1", 0)) as free:
        own = f"127.0.0.1:{free.getsockname()[1]}"
    start("prometheus", f"--config.file={WORK}/prometheus.yml", f"--web.listen-address={own}",
          f"--storage.tsdb.path={WORK}/data", stderr=(WORK / "log").open("w"))

    def ask(question):
        found = json.loads(get(f"http://{own}/api/v1/query?" + urllib.parse.urlencode({"query": question})))
        return [float(series["value"][1]) for series in found["data"]["result"]]

    for _ in range(100):  # it is up at once, and looks for its targets some seconds later
        with contextlib.suppress(urllib.error.URLError):
            if len(ask("up")) == len(MACHINES):
                break
        time.sleep(0.2)
    end, others, hanging = time.monotonic() + SECONDS + 1, 0, []
    while time.monotonic() < end:
        hanging = [*hanging[-8:], socket.create_connection(targets[0].split(":"))]
        hanging[-1].sendall(b"GET /metrics HT")
        others += len(get(f"http://{targets[0]}/metrics")) > 1000
        time.sleep(0.4)

    made, answered, kept = (ask(f"{question}[{SECONDS}s])") for question in
                            ["count_over_time(up", "sum_over_time(up", "count_over_time(hwprobe_cpu_load_ratio"])
    slowest = max(ask("max_over_time(scrape_duration_seconds[5m])")) * 1000
    print(f"scrapes in {SECONDS} s: {made}, answered {answered}, kept {kept}, the slowest in {slowest:.1f} ms; "
          f"beside {others} of another scraper")
    faults = []
    if not made == answered == kept or len(made) != len(MACHINES) or min(made) < SECONDS or others < SECONDS:
        faults.append("scrapes were lost")
    board = json.loads((SOURCE / "docs/grafana/hwprobe.json").read_text())
    faults += [f"the dashboard's {target['expr']} gives nothing" for panel in board["panels"]
               for target in panel["targets"] if not ask(target["expr"].replace("$instance", ".+"))]
faults += [f"{server.args} ended with status {server.returncode}" for server in servers if server.returncode]
sys.exit("\n".join(faults) or 0)
