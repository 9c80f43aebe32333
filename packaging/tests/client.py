# SPDX-License-Identifier: MIT
"""A small client of a Feedline server: drives it over the control port and looks at what comes back.

usage: client.py NAME [HOST [PORT]]: NAME is the target name that the server must give.
"""

import pathlib
import struct
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tests/support"))
from feedline_kit import (ASK, FREQUENCY, IDLE, NAME, RUN, RUNNING, SET, STATE, STATUS, STOP, connect,
                          listen_for_datagrams, number_of, request, tuning)

DATAGRAMS = 1500  # about half a second of an AirSpy HF+


def expect(what, found, wanted):
    if found != wanted:
        raise SystemExit(f"{what}: {found!r} instead of {wanted!r}")
    print(f"{what}: {found!r}")


def watch(samples):
    """Takes datagrams, each of which must have the right shape, and tells what they were."""
    lost, expected, values = 0, None, set()
    for _ in range(DATAGRAMS):
        datagram = samples.recv(2048)
        number = number_of(datagram)
        if expected is not None:
            lost += (number - expected) % 65536
        expected = (number + 1) % 65536
        values.update(struct.unpack_from("<8h", datagram, 4))
    if len(values) < 16:
        raise SystemExit(f"the samples hold hardly anything: {sorted(values)}")
    print(f"{DATAGRAMS} datagrams, {lost} lost, {len(values)} different values in their first pairs")


def main(name, host="127.0.0.1", port="50000"):
    samples = listen_for_datagrams(int(port))
    with connect(int(port), host) as control:
        expect("target name", request(control, ASK, NAME), name.encode() + b"\0")
        expect("status", request(control, ASK, STATUS), IDLE)
        tune = tuning(7100000)
        expect("frequency", request(control, SET, FREQUENCY, tune), tune)
        expect("run", request(control, SET, STATE, RUN), RUN)
        watch(samples)
        expect("status", request(control, ASK, STATUS), RUNNING)
        expect("stop", request(control, SET, STATE, STOP), STOP)
        expect("status", request(control, ASK, STATUS), IDLE)


if __name__ == "__main__":
    main(*sys.argv[1:])
