#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""endurance.py ARGUMENTS SECONDS: reads a stream for so long and says what was lost.

Prints a JSON line a minute and one at the end: pairs read, by how much the stream's own time differs from the pairs
counted, losses told, sensors, and what this process took of the processor. Ends with 1 when anything was lost.
"""

import json
import resource
import sys
import time

import numpy
import SoapySDR
from SoapySDR import SOAPY_SDR_CS16, SOAPY_SDR_OVERFLOW, SOAPY_SDR_RX, SOAPY_SDR_TIMEOUT


class Run:
    def __init__(self, arguments):
        self.device = SoapySDR.Device(arguments)
        self.stream = self.device.setupStream(SOAPY_SDR_RX, SOAPY_SDR_CS16, [0])
        if self.device.activateStream(self.stream) != 0:
            sys.exit("cannot activate the stream")
        self.rate = self.device.getSampleRate(SOAPY_SDR_RX, 0)
        self.size = self.device.getStreamMTU(self.stream)
        self.block = numpy.zeros(2 * self.size, numpy.int16)
        self.pairs = self.losses = self.timeouts = self.jumps = 0
        self.begin = self.due = None
        self.started = time.monotonic()

    def read(self):
        result = self.device.readStream(self.stream, [self.block], self.size, timeoutUs=1_000_000)
        if result.ret == SOAPY_SDR_OVERFLOW:
            self.losses += 1
        elif result.ret == SOAPY_SDR_TIMEOUT:
            self.timeouts += 1
        elif result.ret < 0:
            sys.exit(f"readStream returned {result.ret}")
        else:
            self.count(result)

    def count(self, result):
        if self.begin is None:
            self.begin = result.timeNs
        # Half a pair: anything more is a jump that was not told.
        elif self.losses == 0 and abs(result.timeNs - self.due) > 0.5e9 / self.rate:
            self.jumps += 1
        self.pairs += result.ret
        self.due = result.timeNs + result.ret * 1e9 / self.rate

    def report(self, kind):
        usage = resource.getrusage(resource.RUSAGE_SELF)
        elapsed = time.monotonic() - self.started
        print(json.dumps({
            "type": kind, "seconds": round(elapsed, 1), "rate": self.rate, "pairs": self.pairs,
            "pairs_per_second": round(self.pairs / elapsed), "losses": self.losses,
            "timeouts": self.timeouts, "jumps": self.jumps,
            "processor_percent": round(100 * (usage.ru_utime + usage.ru_stime) / elapsed, 1),
            "resident_kib": usage.ru_maxrss,
            "sensors": {key: self.device.readSensor(key) for key in self.device.listSensors()}}),
            flush=True)

    def lost_anything(self):
        return self.losses or self.jumps or self.pairs == 0 or \
            any(self.device.readSensor(key) != "0" for key in ("lost", "dropped", "reconnects"))

    def close(self):
        self.device.deactivateStream(self.stream)
        self.device.closeStream(self.stream)


def main(arguments, seconds):
    run = Run(arguments)
    minute = 60
    while time.monotonic() - run.started < seconds:
        run.read()
        if time.monotonic() - run.started >= minute:
            minute += 60
            run.report("minute")
    run.report("total")
    lost = run.lost_anything()
    run.close()
    sys.exit(1 if lost else 0)


main(sys.argv[1], float(sys.argv[2]))
