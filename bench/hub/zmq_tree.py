#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A tree of ZeroMQ proxies behind feedline-hub's sc16 socket: does every subscriber get every message?

Starts PROXIES proxies (XSUB to XPUB) on the hub's socket and SUBSCRIBERS programs spread over them, and one that
subscribes to the hub directly. Each notes a checksum of every message. Those of the time in which all of them listened
must be the same for everybody, in number and order.
usage: zmq_tree.py [--port PORT] [--proxies N] [--subscribers N] [--seconds S]    needs python3-zmq; loopback only
"""
import argparse
import multiprocessing
import sys
import time
import zlib

import zmq


def proxy(upstream, ports):
    context = zmq.Context()
    inlet, outlet = context.socket(zmq.XSUB), context.socket(zmq.XPUB)
    inlet.connect(upstream)
    ports.put(outlet.bind_to_random_port("tcp://127.0.0.1"))
    zmq.proxy(inlet, outlet)


def subscriber(address, seconds, ready, begin, results):
    socket = zmq.Context().socket(zmq.SUB)
    socket.setsockopt(zmq.SUBSCRIBE, b"")
    socket.connect(address)
    socket.recv()
    ready.release()
    sums = []
    while not begin.is_set():
        sums.append(zlib.crc32(socket.recv()))
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        sums.append(zlib.crc32(socket.recv()))
    results.put(sums)


def missing(reference, sums):
    """Messages of the reference's common part that a subscriber has not got."""
    place = {value: at for at, value in enumerate(sums)}
    common = [value for value in reference[len(reference) // 10:-len(reference) // 10]]
    return sum(value not in place for value in common), len(common)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--port", type=int, default=50011, help="of the sc16 socket")
    parser.add_argument("--proxies", type=int, default=3)
    parser.add_argument("--subscribers", type=int, default=30)
    parser.add_argument("--seconds", type=float, default=10)
    options = parser.parse_args()
    hub = f"tcp://127.0.0.1:{options.port}"
    ports, results = multiprocessing.Queue(), multiprocessing.Queue()
    ready, begin = multiprocessing.Semaphore(0), multiprocessing.Event()
    proxies = [multiprocessing.Process(target=proxy, args=(hub, ports), daemon=True) for _ in range(options.proxies)]
    for process in proxies:
        process.start()
    addresses = [f"tcp://127.0.0.1:{ports.get()}" for _ in proxies]
    addresses = [hub] + [addresses[n % len(addresses)] for n in range(options.subscribers)]
    processes = [multiprocessing.Process(target=subscriber, daemon=True,
                                         args=(address, options.seconds, ready, begin, results))
                 for address in addresses]
    for process in processes:
        process.start()
    for _ in processes:
        ready.acquire()
    begin.set()
    sums = [results.get() for _ in processes]
    for process in proxies:
        process.terminate()
    reference = max(sums, key=len)
    counts = [missing(reference, each) for each in sums]
    lost = sum(count for count, _ in counts)
    print(f"{len(sums)} subscribers, {counts[0][1]} messages each, {lost} missing, "
          f"{sum(count > 0 for count, _ in counts)} subscribers with a loss")
    sys.exit(lost != 0)


if __name__ == "__main__":
    main()
