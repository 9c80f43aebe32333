# SPDX-License-Identifier: MIT
"""soapy_flowgraph.py ARGUMENTS fc32|sc16 FREQUENCY: what a flowgraph of GNU Radio hears in a second.

Prints one JSON object: frequency and level_dbfs of the strongest carrier.
"""

import json
import sys

import numpy
from gnuradio import blocks, gr, soapy

RATE = 768000
SIZE = 65536


def samples(arguments, kind, frequency):
    graph = gr.top_block()
    source = soapy.source(arguments, kind, 1, "", "", [""], [""])
    source.set_sample_rate(0, RATE)
    source.set_frequency(0, frequency)
    source.set_gain(0, 0.0)
    sink = blocks.vector_sink_c()
    if kind == "fc32":
        graph.connect(source, blocks.head(gr.sizeof_gr_complex, RATE), sink)
    else:
        graph.connect(source, blocks.head(2 * gr.sizeof_short, RATE),
                      blocks.interleaved_short_to_complex(True, False, 32768.0), sink)
    graph.run()
    return numpy.array(sink.data())


def main(arguments, kind, frequency):
    heard = samples(arguments, kind, frequency)[-SIZE:]
    window = numpy.blackman(SIZE)
    spectrum = numpy.abs(numpy.fft.fft(heard * window)) / window.sum()
    best = int(spectrum.argmax())
    print(json.dumps({"frequency": frequency + float(numpy.fft.fftfreq(SIZE, 1 / RATE)[best]),
                      "level_dbfs": float(20 * numpy.log10(spectrum[best]))}))


main(sys.argv[1], sys.argv[2], float(sys.argv[3]))
