#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Shows that the sample ring's write index is published with release order and read with acquire order.

On x86-64 every plain store and load has these orders, so no test that runs there can tell them from relaxed ones, and
no sanitizer either, since the entries are atomic. What a compiler emits for arm64 tells them: a release store is
`stlr`, an acquire load `ldar` or `ldapr`, a relaxed access neither. The script compiles the ring's writer and reader
for arm64 and looks for these instructions in the functions where they belong. It then does the same with each order
made relaxed in a copy, which it has to notice.

Usage: ring_orders.py COMPILER SOURCES HEADERS. COMPILER makes code for arm64, SOURCES is the root of the source tree,
and HEADERS holds the folders of the vendor libraries' headers, which only name types.
"""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

# Where an order is stated, where the compiler has to obey it, and by which instruction.
ORDERS = [
    ("stream/SampleRing.h", "memory_order_release", "stream/HfSampleCallback.cpp", "airspyHfSampleCallback", r"stlr"),
    ("stream/SampleRing.cpp", "memory_order_acquire", "stream/SampleRing.cpp", "takeSlice", r"ldap?r"),
]
VENDORS = ["libairspy", "libairspyhf"]


def copy_of(sources, headers, to):
    for folder in ("app", "platform", "stream"):
        shutil.copytree(sources / folder, to / folder)
    for vendor in VENDORS:
        (to / vendor).symlink_to(headers / vendor)
    return to


def assembler(compiler, tree, source):
    return subprocess.run([compiler, "-std=c++20", "-O2", "-fno-pic", "-I", tree, "-S", "-o", "-", tree / source],
                          check=True, capture_output=True, text=True).stdout


def body(text, function):
    """The lines of a function, by the name it has between its namespace and its parameters."""
    found = re.search(rf"^(_ZN8feedline{len(function)}{function}E\w+):\n(.*?)^\s*\.size\s+\1", text, re.M | re.S)
    return found[2] if found else sys.exit(f"no function {function} in what the compiler emitted")


def obeyed(compiler, tree, source, function, instruction):
    return re.search(rf"^\s+{instruction}\s", body(assembler(compiler, tree, source), function), re.M) is not None


def weakened(tree, file, order):
    """Makes the order relaxed; the text it found, to be put back."""
    text = (tree / file).read_text()
    if text.count(order) != 1:
        sys.exit(f"{file} states {order} {text.count(order)} times, where it is to do so once")
    (tree / file).write_text(text.replace(order, "memory_order_relaxed"))
    return text


def main():
    compiler, sources, headers = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    with tempfile.TemporaryDirectory() as folder:
        tree = copy_of(sources, headers, pathlib.Path(folder))
        for file, order, source, function, instruction in ORDERS:
            if not obeyed(compiler, tree, source, function, instruction):
                sys.exit(f"{function} has no {instruction}: {order} in {file} is not there any more")
            stated = weakened(tree, file, order)
            if obeyed(compiler, tree, source, function, instruction):
                sys.exit(f"{function} has {instruction} without {order} too: this check would notice nothing")
            (tree / file).write_text(stated)
            print(f"{order}: {function} has {instruction}, and only with it")


if __name__ == "__main__":
    main()
