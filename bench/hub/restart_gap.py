#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""How long a listener of feedline-hub hears nothing when the server restarts.

Starts an emulated HF+, the hub and a listener of the hub's native output; ends the server by SIGTERM and starts it again,
ROUNDS times. Prints one line of JSON: the longest pause between two datagrams in each round, and how long the new server
took until it listened, in seconds.
usage: restart_gap.py BUILD [ROUNDS]    loopback only
"""

import json
import os
import pathlib
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tests/support"))
import feedline_kit as kit  # noqa: E402


class Server:
    """Always on the same port, with settings of its own."""

    def __init__(self, build, folder):
        self.command = [build / "emulator/feedline-emulated", "hf", build / "programs/feedlined"]
        self.port = kit.free_port()
        settings = folder / "feedline.conf"
        settings.write_text(f"[General]\nsdrType=0\nsdrPortNumber={self.port}\nsdrUdpAdr=127.0.0.1\n")
        self.environment = os.environ | {"FEEDLINE_SETTINGS": str(settings)}
        self.log = folder / "server.log"
        self.start()

    def start(self):
        """Returns when it listens."""
        begin = time.monotonic()
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen(self.command, env=self.environment, stdout=log, stderr=log)
        kit.wait_until(lambda: b"Waiting for incoming connections" in self.log.read_bytes(), "for the server", pause=0.01)
        return time.monotonic() - begin

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait(kit.LIMIT)


def start_hub(build, folder, server, native):
    hub = subprocess.Popen([build / "tools/hub/feedline-hub", "--server", f"127.0.0.1:{server}", "--native", str(native),
                            "--rtl-tcp", "0", "--zmq", "0", "--web", "0"], env=os.environ | {"XDG_CONFIG_HOME": str(folder)},
                           stderr=subprocess.PIPE, text=True)
    kit.wait_until(lambda: "connected to" in hub.stderr.readline(), "for the hub", pause=0)
    return hub


class Listener(threading.Thread):
    """Takes datagrams as they come, and keeps the longest pause between two of them."""

    def __init__(self, samples):
        super().__init__(daemon=True)
        self.samples, self.longest, self.taken = samples, 0.0, 0

    def run(self):
        last = None
        while True:
            self.samples.recv(2048)
            now = time.monotonic()
            if last is not None:
                self.longest = max(self.longest, now - last)
            last = now
            self.taken += 1

    def hear(self, datagrams):
        until = self.taken + datagrams
        kit.wait_until(lambda: self.taken >= until, "for samples", pause=0.01)


def main(build, rounds=5):
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch)
        server, native = Server(build, folder), kit.free_port()
        hub = start_hub(build, folder, server.port, native)
        samples = kit.listen_for_datagrams(native)
        listener = Listener(samples)
        gaps, starts = [], []
        with kit.connect(native) as control:
            kit.request(control, kit.SET, kit.STATE, kit.RUN)
            listener.start()
            for _ in range(rounds):
                listener.hear(6000)  # two seconds
                listener.longest = 0.0
                server.end()
                starts.append(server.start())
                listener.hear(6000)
                gaps.append(listener.longest)
        hub.send_signal(signal.SIGTERM)
        hub.wait(kit.LIMIT)
        server.end()
    print(json.dumps({"gaps": [round(gap, 3) for gap in gaps], "median_gap": round(statistics.median(gaps), 3),
                      "server_starts": [round(start, 3) for start in starts]}))


main(pathlib.Path(sys.argv[1]), *map(int, sys.argv[2:]))
