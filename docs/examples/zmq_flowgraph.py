#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A GNU Radio flowgraph on feedline-hub's ZeroMQ output: prints the strongest carrier of the band.

usage: zmq_flowgraph.py [HOST [PORT]]     PORT is the fc32 socket, 50010 otherwise
       zmq_flowgraph.py HOST PORT sc16    for the sc16 socket, the next port

The rate and the frequency come from the hub's state socket, two ports above the fc32 one.
"""
import json
import sys
import time

import numpy
import zmq
from gnuradio import blocks, gr, zeromq

POINTS = 4096
SPECTRA = 50


def state(host, port):
    """What the hub says of its receiver."""
    socket = zmq.Context.instance().socket(zmq.SUB)
    socket.setsockopt(zmq.SUBSCRIBE, b"")
    socket.connect(f"tcp://{host}:{port}")
    while True:
        told = json.loads(socket.recv())
        if told["rate"]:
            return told


class Flowgraph(gr.top_block):
    def __init__(self, address, integers):
        super().__init__("feedline-hub over ZeroMQ")
        if integers:
            # Two 16-bit integers an item; full scale 32768.
            source = zeromq.sub_source(gr.sizeof_short, 2, address, 1000, False, -1, "")
            floats = blocks.interleaved_short_to_complex(True, False, 32768.0)
            self.connect(source, floats)
        else:
            floats = zeromq.sub_source(gr.sizeof_gr_complex, 1, address, 1000, False, -1, "")
        head = blocks.head(gr.sizeof_gr_complex, POINTS * SPECTRA)
        self.sink = blocks.vector_sink_c()
        self.connect(floats, head, self.sink)


def main():
    host = sys.argv[1] if len(sys.argv) > 1 else "127.0.0.1"
    port = int(sys.argv[2]) if len(sys.argv) > 2 else 50010
    integers = len(sys.argv) > 3 and sys.argv[3] == "sc16"
    flowgraph = Flowgraph(f"tcp://{host}:{port + 1 if integers else port}", integers)
    flowgraph.start()
    told = state(host, port + 2)
    flowgraph.wait()
    samples = numpy.array(flowgraph.sink.data()).reshape(SPECTRA, POINTS)
    power = (abs(numpy.fft.fft(samples * numpy.hanning(POINTS))) ** 2).mean(axis=0)
    strongest = int(power.argmax())
    offset = numpy.fft.fftfreq(POINTS, 1 / told["rate"])[strongest]
    level = 10 * numpy.log10(power[strongest]) - 20 * numpy.log10(numpy.hanning(POINTS).sum())
    print(f"{(told['frequency'] + offset) / 1000:.3f} kHz {level:.1f} dBFS, "
          f"{told['rate']} IQ pairs a second")


if __name__ == "__main__":
    main()
