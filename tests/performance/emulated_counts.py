#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Counts the instructions of both sample callbacks on an emulated processor, for an architecture that callgrind does not
run on here: qemu logs every instruction between the function's first and last address.

Usage: emulated_counts.py QEMU ROOT PROGRAM. QEMU runs programs of the architecture (qemu-aarch64-static), ROOT has its
libraries, and PROGRAM is performance_SamplePaths of scripts/check-port. What a callback calls is not counted, as
in instruction_counts.py; the compiler may have drawn it in.
"""

import pathlib
import re
import subprocess
import sys
import tempfile

PATHS = {"hf-callback": "airspyHfSampleCallback", "airspy-callback": "airspySampleCallback"}
RUNS = 2  # the program takes the path once to warm up


def place(program, function):
    """First address and size; the program is linked to fixed addresses."""
    symbols = subprocess.run(["nm", "--print-size", program], check=True, capture_output=True, text=True).stdout
    found = re.search(rf"^(\w+) (\w+) . _ZN8feedline{len(function)}{function}E\w+$", symbols, re.M)
    return found.groups() if found else sys.exit(f"{program} has no {function}")


def counted(qemu, root, program, path):
    first, size = place(program, PATHS[path])
    with tempfile.TemporaryDirectory() as folder:
        log = pathlib.Path(folder, "log")
        run = subprocess.run([qemu, "-L", root, "-singlestep", "-d", "exec,nochain", "-dfilter", f"0x{first}+0x{size}",
                              "-D", log, program, path], check=True, capture_output=True, text=True)
        with log.open() as lines:
            return sum(line.startswith("Trace") for line in lines) / RUNS / int(run.stdout)


def main():
    for path in PATHS:
        print(f"{path}: {counted(*sys.argv[1:4], path):.1f} instructions", flush=True)


if __name__ == "__main__":
    main()
