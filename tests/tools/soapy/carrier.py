#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""carrier.py ARGUMENTS FREQUENCY: what a SoapySDR program in Python hears.

Opens the device, tunes, reads a second as CF32, and prints one JSON object: sample_rate, pairs, frequency and
level_dbfs of the strongest carrier.
"""

import json
import pathlib
import sys

import numpy
import SoapySDR
from SoapySDR import SOAPY_SDR_CF32, SOAPY_SDR_RX

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[3] / "tests/support"))
from feedline_kit import strongest_carrier


def read(device, stream, pairs):
    """So many pairs without a loss between them."""
    samples = numpy.zeros(pairs, numpy.complex64)
    have = 0
    while have < pairs:
        result = device.readStream(stream, [samples[have:]], pairs - have, timeoutUs=10_000_000)
        if result.ret == SoapySDR.SOAPY_SDR_TIMEOUT:
            sys.exit("nothing comes")
        have = have + result.ret if result.ret > 0 else 0
    return samples


def main(arguments, frequency):
    device = SoapySDR.Device(arguments)
    device.setFrequency(SOAPY_SDR_RX, 0, frequency)
    stream = device.setupStream(SOAPY_SDR_RX, SOAPY_SDR_CF32, [0])
    if device.activateStream(stream) != 0:
        sys.exit("cannot activate the stream")
    rate = device.getSampleRate(SOAPY_SDR_RX, 0)
    size = 8192
    read(device, stream, 4 * size)
    samples = read(device, stream, int(rate) // size * size)
    device.deactivateStream(stream)
    device.closeStream(stream)
    offset, level = strongest_carrier(samples, rate)
    print(json.dumps({"sample_rate": rate, "pairs": len(samples), "frequency": frequency + offset, "level_dbfs": level}))


main(sys.argv[1], float(sys.argv[2]))
