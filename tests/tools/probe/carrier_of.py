#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""carrier_of.py FILE: the strongest carrier of a recording, by readers that share nothing with the one who wrote it.

Reads FILE.sigmf-meta with its data, or FILE.wav with sox, and prints one JSON object: pairs, sample_rate, frequency
(of the capture, if told), offset and level_dbfs of the carrier.
"""

import json
import pathlib
import subprocess
import sys

import numpy

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[3] / "tests/support"))
from feedline_kit import strongest_carrier


def read_sigmf(name):
    with open(name, encoding="utf-8") as file:
        meta = json.load(file)
    assert meta["global"]["core:datatype"] == "ci16_le"
    data = numpy.fromfile(name.removesuffix("-meta") + "-data", "<i2")
    return data, meta["global"]["core:sample_rate"], meta["captures"][0].get("core:frequency")


def read_wav(name):
    rate = subprocess.run(["soxi", "-r", name], check=True, capture_output=True, text=True).stdout
    raw = subprocess.run(["sox", name, "-t", "raw", "-e", "signed", "-b", "16", "-L", "-"],
                         check=True, capture_output=True).stdout
    return numpy.frombuffer(raw, "<i2"), float(rate), None


def main(name):
    entries, rate, frequency = read_wav(name) if name.endswith(".wav") else read_sigmf(name)
    pairs = entries.reshape(-1, 2).astype(float) @ numpy.array([1, 1j]) / 32767
    offset, level = strongest_carrier(pairs, rate)
    print(json.dumps({"pairs": len(pairs), "sample_rate": rate, "frequency": frequency, "offset": offset,
                      "level_dbfs": level}))


main(sys.argv[1])
