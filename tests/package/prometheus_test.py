"""Lets Prometheus scrape two machines every second for a minute, beside another scraper and ones that hang:
prometheus_test.py TOOL WORK_DIR"""

import contextlib
import json
import re
import socket
import subprocess
import sys
import threading
import time
import urllib.error
import urllib.parse
import urllib.request
from pathlib import Path

TOOL, WORK = sys.argv[1], Path(sys.argv[2])
SOURCE = Path(__file__).resolve().parents[2]
MACHINES = ["laptop", "amd-ryzen-desktop"]  # of one or the other everything that the dashboard shows
SECONDS = 60


@contextlib.contextmanager
def running(*command, **options):
    process = subprocess.Popen(command, **options)
    try:
        yield process
    finally:
        process.terminate()
        process.wait(30)


def port_of(server):
    for line in server.stderr:
        if serving := re.search(r":(\d+)/metrics$", line):
            return int(serving[1])
    sys.exit(f"{TOOL} serves nothing")


def answer(url):
    with urllib.request.urlopen(url, timeout=20) as response:
        return response.read()


def ask(prometheus, question):
    result = json.loads(answer(f"{prometheus}/api/v1/query?" + urllib.parse.urlencode({"query": question})))
    return {tuple(sorted(row["metric"].items())): float(row["value"][1]) for row in result["data"]["result"]}


def disturb(port, ended, scrapes):
    """Another scraper, and every time a connection that sends half a request and stays."""
    hanging = []
    while not ended.wait(0.4):
        hanging = [*hanging[-8:], socket.create_connection(("127.0.0.1", port))]
        hanging[-1].sendall(b"GET /metrics HT")
        scrapes.append(len(answer(f"http://127.0.0.1:{port}/metrics")))


def main():
    with contextlib.ExitStack() as stack:
        servers = [stack.enter_context(running(TOOL, "metrics", "--listen", "127.0.0.1:0", "--machine",
                                               str(SOURCE / "machines" / f"{machine}.json"),
                                               stderr=subprocess.PIPE, text=True)) for machine in MACHINES]
        ports = [port_of(server) for server in servers]
        config = {"global": {"scrape_interval": "1s", "evaluation_interval": "1s"},
                  "rule_files": [str(SOURCE / "docs" / "prometheus" / "hwprobe-rules.yml")],
                  "scrape_configs": [{"job_name": "hwprobe",
                                      "static_configs": [{"targets": [f"127.0.0.1:{port}" for port in ports]}]}]}
        (WORK / "prometheus.yml").write_text(json.dumps(config))
        with socket.create_server(("127.0.0.1", 0)) as free:
            own = free.getsockname()[1]
        prometheus = f"http://127.0.0.1:{own}"
        log = stack.enter_context((WORK / "log").open("w"))
        stack.enter_context(running("prometheus", f"--config.file={WORK}/prometheus.yml", "--log.level=debug",
                                    f"--storage.tsdb.path={WORK}/data", f"--web.listen-address=127.0.0.1:{own}", stderr=log))
        for _ in range(100):  # it is up at once, and looks for its targets some seconds later
            with contextlib.suppress(urllib.error.URLError):
                if len(ask(prometheus, "up")) == len(MACHINES):
                    break
            time.sleep(0.2)
        ended, scrapes = threading.Event(), []
        disturber = threading.Thread(target=disturb, args=(ports[0], ended, scrapes))
        disturber.start()
        time.sleep(SECONDS + 1)
        ended.set()
        disturber.join()

        faults = []
        made = ask(prometheus, f'count_over_time(up{{job="hwprobe"}}[{SECONDS}s])')
        good = ask(prometheus, f'sum_over_time(up{{job="hwprobe"}}[{SECONDS}s])')
        if made != good or len(made) != len(MACHINES) or min(made.values(), default=0) < SECONDS:
            faults.append(f"of the scrapes {made}, these were answered: {good}")
        if min(ask(prometheus, "min_over_time(up[5m])").values(), default=0) != 1:
            faults.append("a scrape was lost before the minute")
        samples = ask(prometheus, f"count_over_time(hwprobe_cpu_temperature_celsius[{SECONDS}s])")
        if len(samples) != len(MACHINES) or min(samples.values()) < SECONDS:
            faults.append(f"samples kept: {samples}")
        if len(scrapes) < SECONDS or min(scrapes) < 1000:
            faults.append(f"the other scraper got {len(scrapes)} answers, the shortest of {min(scrapes, default=0)} bytes")
        board = json.loads((SOURCE / "docs" / "grafana" / "hwprobe.json").read_text())
        questions = [target["expr"] for panel in board["panels"] for target in panel["targets"]]
        faults += [f"the dashboard's {question} gives nothing" for question in questions
                   if not ask(prometheus, question.replace("$instance", ".+"))]
        faults += [line for line in (WORK / "log").read_text().splitlines()
                   if "component=\"scrape manager\"" in line and re.search(r"level=(warn|error)|failed", line)]
        slowest = max(ask(prometheus, "max_over_time(scrape_duration_seconds[5m])").values(), default=0)
        print(f"scrapes in {SECONDS} s: {[int(count) for count in made.values()]}, answered "
              f"{[int(count) for count in good.values()]}, the slowest in {slowest * 1000:.1f} ms; "
              f"{len(scrapes)} of another scraper; {len(questions)} questions of the dashboard")
    for server in servers:
        if server.returncode != 0:
            faults.append(f"a server ended with status {server.returncode}")
    sys.exit("\n".join(faults) or 0)


main()
