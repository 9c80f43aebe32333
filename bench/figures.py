# SPDX-License-Identifier: MIT
"""Runs every benchmark and prints the figures of docs/performance.md, each as a ratio taken in this one run.

Started by bench/run, which builds first. Everything stays on this machine: the server is the real feedlined over an
emulated receiver, the client is feedline-probe or the test kit's, and all traffic is loopback.
"""

import argparse
import collections
import contextlib
import json
import os
import pathlib
import re
import signal
import socket
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/support"))
from feedline_kit import (PAIRS, RUN, SET, STATE, STOP, connect, free_port, listen_for_datagrams, number_of, request,
                          tune)

TUNE = {"hf": 7_100_000, "airspy": 100_000_000}
RATE = {"hf": 768_000, "airspy": 2_500_000}
DEVICE_TYPE = {"hf": 0, "airspy": 1}


def figure(name, value):
    print(f"{name:<48} {value}", flush=True)


class Server:
    """A feedlined (or feedline) of its own, over one emulated receiver."""

    def __init__(self, build, receiver, speed="1", program="feedlined", port=None):
        self.port = port or free_port()
        self.home = tempfile.TemporaryDirectory()
        settings = pathlib.Path(self.home.name, "feedline", "feedline.conf")
        settings.parent.mkdir()
        settings.write_text(f"[General]\nsdrPortNumber={self.port}\nsdrType={DEVICE_TYPE[receiver]}\n")
        self.environment = dict(
            os.environ,
            XDG_CONFIG_HOME=self.home.name,
            QT_QPA_PLATFORM="offscreen",
            LD_LIBRARY_PATH=str(build / "emulator"),
            FEEDLINE_EMULATOR_DEVICES=receiver,
            FEEDLINE_EMULATOR_SPEED=speed,
            FEEDLINE_EMULATOR_CONTROL=self.home.name + "/emulator",
        )
        self.receiver = receiver
        self.started = time.monotonic()
        self.process = subprocess.Popen(
            [build / "programs" / program], env=self.environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
        )

    def connect(self):
        """The control connection, once the server listens."""
        return connect(self.port, pause=0)

    def status(self, key):
        text = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        return int(re.search(rf"^{key}:\s+(\d+)", text, re.M)[1])

    def threads(self):
        """Processor seconds of each thread: {(id, name): seconds}."""
        result = {}
        for task in pathlib.Path(f"/proc/{self.process.pid}/task").iterdir():
            name = (task / "comm").read_text().strip()
            result[(task.name, name)] = int((task / "schedstat").read_text().split()[0]) / 1e9
        return result

    def ask_emulator(self, command):
        with socket.socket(socket.AF_UNIX) as control:
            control.connect(self.home.name + "/emulator")
            control.sendall(command.encode() + b"\n")
            return control.makefile().readline().strip()

    def close(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait(10)
        self.home.cleanup()


@contextlib.contextmanager
def server(*arguments, **options):
    running = Server(*arguments, **options)
    try:
        yield running
    finally:
        running.close()


def take(sink, seconds):
    """Receives for so long; returns the arrival time and number of every datagram."""
    arrivals = []
    sink.settimeout(1)
    end = time.monotonic() + seconds
    clock = time.monotonic_ns
    while time.monotonic() < end:
        with contextlib.suppress(TimeoutError):
            datagram = sink.recv(2048)
            arrivals.append((clock(), number_of(datagram)))
    return arrivals


def lines_of(command, environment=None):
    output = subprocess.run(command, env=environment, check=True, capture_output=True, text=True).stdout
    return dict(line.split(" ", 1) for line in output.splitlines() if " " in line)


def bench_parts(build):
    print("\n# the sample paths")
    output = subprocess.run(
        [build / "bench/stream/HfSampleCallbackBench", "--benchmark_format=json", "--benchmark_repetitions=5"],
        check=True, capture_output=True, text=True).stdout
    cost = {b["run_name"]: 1e9 / b["items_per_second"] for b in json.loads(output)["benchmarks"]
            if b.get("aggregate_name") == "median"}
    figure("HF+ callback, ns a pair", f"{cost['callback']:.2f}")
    if "vectorised" in cost:
        figure("HF+ callback over hand-vectorised", f"{cost['callback'] / cost['vectorised']:.2f}")
    for name, value in lines_of([build / "bench/stream/SendersBench"]).items():
        figure("senders: " + name, value)
    # At real speed the caches are cold at every block; at full speed the cost of the loop itself shows.
    for receiver, speed, blocks in (("hf", "max", 4000), ("hf", "1", 1000), ("airspy", "max", 200)):
        environment = dict(os.environ, LD_LIBRARY_PATH=str(build / "emulator"), FEEDLINE_EMULATOR_DEVICES=receiver,
                           FEEDLINE_EMULATOR_SPEED=speed)
        for name, value in lines_of(
                [build / "bench/devices/VendorLibrariesBench", receiver, str(blocks)], environment).items():
            figure(f"{receiver}, speed {speed}: {name}", value)


def bench_window(build):
    print("\n# the window")
    environment = dict(os.environ, QT_QPA_PLATFORM="offscreen")
    for name, value in lines_of([build / "bench/app/StatusPanelBench"], environment).items():
        figure(name, value)


def bench_start(build):
    print("\n# start: process start to first accepted connection, ms")
    for program in ("feedlined", "feedline"):
        times = []
        for _ in range(15):
            with server(build, "hf", program=program) as running:
                with running.connect():
                    times.append(1000 * (time.monotonic() - running.started))
        figure(program + " median (max)", f"{statistics.median(times):.0f} ({max(times):.0f})")


CALLBACK = "ours on the vendor's thread"


def owner_of(thread, library):
    """Whose work a sample of the profiler belongs to."""
    if library.startswith("libairspy"):
        return "vendor library"
    if library.startswith("feedline"):
        return "ours on the sender's thread" if thread == "UDPThread" else CALLBACK
    if library.startswith("libusb"):
        return "emulated receiver"
    if library.startswith("[kernel"):
        return "kernel for the sender's thread" if thread == "UDPThread" else "kernel for the other threads"
    return "C library for the sender's thread" if thread == "UDPThread" else "C library for the other threads"


def profile(running, sink, seconds):
    """Shares of the process's time, by owner; None where there is no profiler."""
    with tempfile.TemporaryDirectory() as folder:
        data = folder + "/samples"
        with contextlib.suppress(FileNotFoundError):
            recorder = subprocess.Popen(
                ["perf", "record", "-q", "-e", "cpu-clock", "-F", "4000", "-o", data, "-p", str(running.process.pid),
                 "--", "sleep", str(seconds)], stderr=subprocess.DEVNULL)
            take(sink, seconds + 1)
            recorder.wait()
            report = subprocess.run(
                ["perf", "report", "-i", data, "--stdio", "--no-children", "-F", "sample,comm,dso", "-t", ";"],
                capture_output=True, text=True).stdout
            samples = collections.Counter()
            for line in report.splitlines():
                if not line.startswith("#") and line.count(";") == 2:
                    count, thread, library = (part.strip() for part in line.split(";"))
                    samples[owner_of(thread, library)] += int(count)
            if samples:
                return {owner: count / samples.total() for owner, count in samples.most_common()}
    return None


def idle_polling(running, seconds):
    """Processor seconds a second of the HF+ sender while there is nothing to send."""
    def spent():
        return sum(used for (_, name), used in running.threads().items() if name == "UDPThread")
    before = spent()
    time.sleep(seconds)
    return (spent() - before) / seconds


def bench_server(build, seconds):
    print("\n# the whole server at real speed, processor time by thread, and resident memory")
    for receiver in ("hf", "airspy"):
        for program in ("feedlined", "feedline"):
            with server(build, receiver, program=program) as running, listen_for_datagrams(running.port) as sink:
                with running.connect() as client:
                    tune(client, TUNE[receiver])
                    idle = running.status("VmRSS")
                    polling = idle_polling(running, seconds)
                    request(client, SET, STATE, RUN)
                    take(sink, 2)
                    before = running.threads()
                    arrivals = take(sink, seconds)
                    after = running.threads()
                    streaming = running.status("VmRSS")
                    shares = profile(running, sink, seconds) if program == "feedlined" else None
                    request(client, SET, STATE, STOP)
                figure(f"{program} {receiver}: memory idle, streaming, MiB",
                       f"{idle / 1024:.1f}, {streaming / 1024:.1f}")
                if program == "feedline":
                    continue
                pairs = RATE[receiver] * seconds / 1e6
                figure(f"{receiver}: datagrams over the rate's", f"{len(arrivals) * PAIRS / 1e6 / pairs:.4f}")
                figure(f"{receiver}: the sender's polling, share of a core", f"{polling:.4f}")
                for (_, name), spent in sorted(after.items(), key=lambda entry: -entry[1]):
                    used = spent - before.get((_, name), 0)
                    if used > 0.001:
                        figure(f"{receiver}: CPU s per million pairs, {name}", f"{used / pairs:.5f}")
                for owner, share in (shares or {}).items():
                    figure(f"{receiver}: share of {owner}", f"{share:.4f}")
                if shares:
                    figure(f"{receiver}: ours on its thread over the vendor library",
                           f"{shares.get(CALLBACK, 0) / shares['vendor library']:.4f}")


def bench_headroom(build, seconds):
    print("\n# headroom: lost datagrams at a speed factor (client with a 4 MiB buffer)")
    for receiver in ("hf", "airspy"):
        for factor in (1, 2, 4, 6, 8, 10, 12, 16):
            with server(build, receiver, speed=str(factor)) as running:
                running.connect().close()  # the server listens
                time.sleep(5.5)  # and is set up again for the probe
                output = subprocess.run(
                    [build / "tools/probe/feedline-probe", "stream", f"127.0.0.1:{running.port}", "--json",
                     "--seconds", str(seconds), "--tune", str(TUNE[receiver])],
                    capture_output=True, text=True).stdout
            summary = json.loads(output.splitlines()[-1])
            achieved = summary["sample_rate_hz"] / RATE[receiver]
            figure(f"{receiver} x{factor}", f"lost {summary['lost']} of {summary['datagrams']}, "
                                            f"achieved x{achieved:.2f}")
            if summary["lost"] or achieved < 0.97 * factor:
                break


def percentiles(ages):
    ages = sorted(ages)
    return f"{ages[len(ages) // 2]:.2f}, {ages[len(ages) * 99 // 100]:.2f}, {ages[-1]:.2f}"


def bench_latency(build, seconds):
    print("\n# latency: age of a datagram's last sample at the client, ms (median, 99th percentile, maximum)")
    for receiver in ("hf", "airspy"):
        for loaded in (False, True):
            load = subprocess.Popen(["nice", "-n", "5", sys.executable, "-c", "while True: pass"]) if loaded else None
            try:
                # It listens first, and says where; its time includes the start of the server.
                receiving = subprocess.Popen([build / "bench/stream/DatagramArrivals", str(seconds + 2)],
                                             stdout=subprocess.PIPE, text=True)
                port = int(receiving.stdout.readline().split()[1])
                with server(build, receiver, port=port) as running, running.connect() as client, receiving:
                    tune(client, TUNE[receiver])
                    request(client, SET, STATE, RUN)
                    arrivals = [tuple(map(int, line.split())) for line in receiving.stdout]
                    state = running.ask_emulator(f"state {receiver}")
                    request(client, SET, STATE, STOP)
                begin = int(re.search(r"clock-ns=(\d+)", state)[1])
                ages, number, last = [], 0, None
                for at, low in arrivals:
                    number += (low - (last if last is not None else low)) & 0xFFFF
                    if last is None:
                        number = low
                    last = low
                    taken = begin + (number + 1) * PAIRS * 1_000_000_000 // RATE[receiver]
                    ages.append((at - taken) / 1e6)
                figure(f"{receiver}, {'one core loaded' if loaded else 'unloaded'}", percentiles(ages))
            finally:
                if load:
                    load.kill()
                    load.wait()


def hub_load(build, listeners, rate, received, burst, seconds):
    """One run of feedline-hub under load: what HubLoad says about it."""
    command = [build / "bench/hub/HubLoad", build / "tools/hub/feedline-hub"]
    command += map(str, (listeners, rate, received, burst, seconds))
    return json.loads(subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout)


def show_hub_load(name, run):
    used = run["percentOfACore"]
    listening = used["hub-native"] / run["listeners"]
    figure(name, f"{used['all']:.1f} % of a core; a listener {listening:.3f} %, the transform {used['hub-transform']:.2f} %; "
                 f"lost {run['lost']}; {run['residentKilobytes'] / 1024:.0f} MiB")
    if "milliseconds" in run:
        delay = run["milliseconds"]
        figure("  later than sent, ms", f"median {delay['median']:.1f}, greatest {delay['greatest']:.1f}")


def bench_hub(build, seconds):
    hf, airspy = RATE["hf"], RATE["airspy"]
    for listeners in (1, 10, 50, 100, 200):
        show_hub_load(f"hf, {listeners} listeners of 48 kS/s", hub_load(build, listeners, 48_000, hf, 8, seconds))
    for listeners in (1, 20):
        show_hub_load(f"hf, {listeners} listeners of the whole band", hub_load(build, listeners, 0, hf, 8, seconds))
    show_hub_load("airspy, 50 listeners of 48 kS/s", hub_load(build, 50, 48_000, airspy, 256, seconds))
    subprocess.run([build / "bench/hub/ChannelBench"], check=True)


def web_load(build, pages, codec, seconds):
    """One run of feedline-hub with pages on it, over the real server: what WebLoad says about it."""
    with server(build, "hf") as running:
        command = [build / "bench/hub/WebLoad", build / "tools/hub/feedline-hub", running.port, pages, codec, seconds]
        return json.loads(subprocess.run(list(map(str, command)), check=True, stdout=subprocess.PIPE,
                                         stderr=subprocess.DEVNULL).stdout)


def bench_web(build, seconds):
    print("\n# pages on the hub, each on a station of its own in AM: sound and ten rows a second")
    for pages, codec in ((1, "adpcm"), (50, "adpcm"), (200, "adpcm"), (200, "opus")):
        run = web_load(build, pages, codec, seconds)
        used, sound, rows = run["percentOfACore"], run["sound"], run["waterfall"]
        web = (used.get("web-1", 0) + used.get("web-2", 0)) / pages
        figure(f"{pages} pages, {codec}", f"{used['all']:.1f} % of a core, {web:.3f} % a page; "
                                          f"{run['residentKilobytes'] / 1024:.0f} MiB")
        figure("  kbit/s each, least to most", f"sound {sound['kilobitsASecond']['least']:.1f} to "
               f"{sound['kilobitsASecond']['most']:.1f}, waterfall {rows['kilobitsASecond']['least']:.1f} to "
               f"{rows['kilobitsASecond']['most']:.1f}")
        figure("  frames that never came", f"sound {sound['missing']} of {sound['frames'] + sound['missing']}, rows "
               f"{rows['missing']} of {rows['frames'] + rows['missing']}; cut off {run['cutOff']}")
        figure("  one more is told", run["oneMoreIsTold"])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, required=True)
    parser.add_argument("--seconds", type=int, default=10)
    parser.add_argument("only", nargs="*", help="parts window start server headroom latency hub web (all)")
    arguments = parser.parse_args()
    all_of_them = {
        "parts": lambda: bench_parts(arguments.build),
        "window": lambda: bench_window(arguments.build),
        "start": lambda: bench_start(arguments.build),
        "server": lambda: bench_server(arguments.build, arguments.seconds),
        "headroom": lambda: bench_headroom(arguments.build, arguments.seconds),
        "latency": lambda: bench_latency(arguments.build, arguments.seconds),
        "hub": lambda: bench_hub(arguments.build, arguments.seconds),
        "web": lambda: bench_web(arguments.build, arguments.seconds),
    }
    for name in arguments.only or all_of_them:
        all_of_them[name]()


if __name__ == "__main__":
    main()
