# SPDX-License-Identifier: MIT
"""What the scripts that test and measure share: ports, waiting, a client of the server's, datagrams, carriers.

They find it by putting this folder on Python's path. It needs nothing beyond Python; strongest_carrier alone uses numpy.
"""

import contextlib
import socket
import struct
import time

LIMIT = 60.0  # seconds, reached by something broken only

SET, ASK = 0x00, 0x20
NAME, STATUS, STATE, FREQUENCY = 0x0001, 0x0005, 0x0018, 0x0020
IDLE, RUNNING = b"\x0b", b"\x0c"
RUN, STOP = b"\x80\x02\x00\x00", b"\x80\x01\x00\x00"  # parameters of STATE

DATAGRAM_BYTES = 1028
PAIRS = 256  # in a datagram


def free_port():
    """A TCP port that was free a moment ago."""
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_until(condition, words, limit=LIMIT, pause=0.1):
    """The condition's first value that is true."""
    deadline = time.monotonic() + limit
    while not (value := condition()):
        if time.monotonic() > deadline:
            raise TimeoutError(f"waited in vain: {words}")
        time.sleep(pause)
    return value


def connect(port, host="127.0.0.1", pause=0.1):
    """A control connection, as soon as somebody listens."""
    def attempt():
        with contextlib.suppress(ConnectionRefusedError):
            return socket.create_connection((host, port), timeout=LIMIT)
        return None

    return wait_until(attempt, f"for a server on port {port}", pause=pause)


def receive(connection, count):
    """Exactly so many bytes."""
    data = b""
    while len(data) < count:
        more = connection.recv(count - len(data))
        if not more:
            raise ConnectionError("the server closed the connection")
        data += more
    return data


def request(connection, kind, item, parameters=b""):
    """Sends one message and returns the parameters of the answer."""
    connection.sendall(struct.pack("<BBH", 4 + len(parameters), kind, item) + parameters)
    length, answered, code = struct.unpack("<BBH", receive(connection, 4))
    if (answered, code) != (SET, item):
        raise ConnectionError(f"item {item:#06x} was answered as type {answered:#04x}, item {code:#06x}")
    return receive(connection, length - 4)


def tune(connection, hertz):
    """The answer to it is the request."""
    return request(connection, SET, FREQUENCY, tuning(hertz))


def tuning(hertz):
    """The parameters of FREQUENCY."""
    return struct.pack("<BIB", 0, hertz, 0)


def listen_for_datagrams(port, limit=LIMIT):
    """A socket with room for 4 MiB: for root in any case, for others as far as the system grants it."""
    listener = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    force = 33  # SO_RCVBUFFORCE
    for option in (socket.SO_RCVBUF, force):
        with contextlib.suppress(OSError):
            listener.setsockopt(socket.SOL_SOCKET, option, 4 << 20)
    listener.bind(("127.0.0.1", port))
    listener.settimeout(limit)
    return listener


def number_of(datagram):
    """Counts from 0, modulo 65536. A datagram of another shape is a ValueError."""
    if len(datagram) != DATAGRAM_BYTES or datagram[:2] != b"\x04\x84":
        raise ValueError(f"a datagram of {len(datagram)} bytes begins with {datagram[:4].hex()}")
    return datagram[2] | datagram[3] << 8


def strongest_carrier(pairs, rate):
    """Of complex samples at full scale 1: its offset from the middle in Hz, and its level in dBFS."""
    import numpy  # The rest of this file does without.

    size = 8192
    window = numpy.hanning(size)
    frames = pairs[:len(pairs) // size * size].reshape(-1, size) * window / window.sum()
    power = (numpy.abs(numpy.fft.fft(frames)) ** 2).mean(axis=0)
    best = int(power.argmax())
    return float(numpy.fft.fftfreq(size, 1 / rate)[best]), float(10 * numpy.log10(power[best]))
