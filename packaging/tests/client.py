# SPDX-License-Identifier: MIT
"""A small client of a Feedline server: drives it over the control port and looks at what comes back.

usage: client.py NAME [HOST [PORT]]: NAME is the target name that the server must give.
"""

import socket
import struct
import sys
import time

LIMIT = 30.0  # seconds, reached by a broken server only
DATAGRAMS = 1500  # about half a second of an AirSpy HF+
SET, ASK = 0x00, 0x20
NAME, STATUS, STATE, FREQUENCY = 0x0001, 0x0005, 0x0018, 0x0020
IDLE, RUNNING = b"\x0b", b"\x0c"


def connect(host, port):
    """The server's control connection, as soon as it listens."""
    deadline = time.monotonic() + LIMIT
    while True:
        try:
            return socket.create_connection((host, port), timeout=LIMIT)
        except ConnectionRefusedError:
            if time.monotonic() > deadline:
                raise
            time.sleep(0.1)


def receive(control, count):
    data = b""
    while len(data) < count:
        more = control.recv(count - len(data))
        if not more:
            raise SystemExit("the server closed the connection")
        data += more
    return data


def request(control, kind, item, parameters=b""):
    """Sends one message and returns the parameters of the answer."""
    control.sendall(struct.pack("<BBH", 4 + len(parameters), kind, item) + parameters)
    length, answered, code = struct.unpack("<BBH", receive(control, 4))
    if (answered, code) != (SET, item):
        raise SystemExit(f"item {item:#06x} was answered as type {answered:#04x}, item {code:#06x}")
    return receive(control, length - 4)


def expect(what, found, wanted):
    if found != wanted:
        raise SystemExit(f"{what}: {found!r} instead of {wanted!r}")
    print(f"{what}: {found!r}")


def listen_for_samples(port):
    samples = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    samples.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4 * 1024 * 1024)
    samples.bind(("127.0.0.1", port))
    samples.settimeout(LIMIT)
    return samples


def watch(samples):
    """Takes datagrams, each of which must have the right shape, and tells what they were."""
    lost, expected, values = 0, None, set()
    for _ in range(DATAGRAMS):
        datagram = samples.recv(2048)
        if len(datagram) != 1028 or datagram[:2] != b"\x04\x84":
            raise SystemExit(f"a datagram of {len(datagram)} bytes begins with {datagram[:4].hex()}")
        (number,) = struct.unpack_from("<H", datagram, 2)
        if expected is not None:
            lost += (number - expected) % 65536
        expected = (number + 1) % 65536
        values.update(struct.unpack_from("<8h", datagram, 4))
    if len(values) < 16:
        raise SystemExit(f"the samples hold hardly anything: {sorted(values)}")
    print(f"{DATAGRAMS} datagrams, {lost} lost, {len(values)} different values in their first pairs")


def main(name, host="127.0.0.1", port="50000"):
    samples = listen_for_samples(int(port))
    with connect(host, int(port)) as control:
        expect("target name", request(control, ASK, NAME), name.encode() + b"\0")
        expect("status", request(control, ASK, STATUS), IDLE)
        tune = struct.pack("<BIB", 0, 7100000, 0)
        expect("frequency", request(control, SET, FREQUENCY, tune), tune)
        run = b"\x80\x02\x00\x00"
        expect("run", request(control, SET, STATE, run), run)
        watch(samples)
        expect("status", request(control, ASK, STATUS), RUNNING)
        stop = b"\x80\x01\x00\x00"
        expect("stop", request(control, SET, STATE, stop), stop)
        expect("status", request(control, ASK, STATUS), IDLE)


if __name__ == "__main__":
    main(*sys.argv[1:])
