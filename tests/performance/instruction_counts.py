#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares the instructions of the hot paths, counted by callgrind, with the recorded ones.

Only the program's own code counts: which of its many copying routines the C library takes depends on the processor.

Usage: instruction_counts.py PROGRAM RECORD [--write]. RECORD holds a line "path instructions" for each path;
instructions are per pair, datagram or request. A count that is more than a tenth away from its record fails, in
either direction: a path that has become cheaper is to stay so. `--write` records what was counted.
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile

TOLERANCE = 0.10
PATHS = {"hf-callback", "airspy-callback", "request"}


def own_instructions(counts, program):
    """The sum over the lines of callgrind's file that stand under the program itself, without those of its calls."""
    names, ours, called, total = {}, False, False, 0
    for line in counts.splitlines():
        if found := re.match(r"ob=\((\d+)\)(?: (.*))?", line):
            names.setdefault(found[1], found[2])
            ours = names[found[1]] == program
        elif found := re.match(r"cob=\((\d+)\) (.*)", line):
            names.setdefault(found[1], found[2])
        elif line.startswith("calls="):
            called = True
        elif re.match(r"[-+*\d]", line):
            total += int(line.split()[1]) if ours and not called else 0
            called = False
    return total


def counted(program, path):
    with tempfile.TemporaryDirectory() as folder:
        output = pathlib.Path(folder, "counts")
        run = subprocess.run(
            ["valgrind", "--tool=callgrind", "--collect-atstart=no", f"--callgrind-out-file={output}", program, path],
            env={"LD_BIND_NOW": "1", "PATH": "/usr/bin:/bin"}, check=True, capture_output=True, text=True)
        return own_instructions(output.read_text(), program) / int(run.stdout)


def main():
    program, record = os.path.realpath(sys.argv[1]), pathlib.Path(sys.argv[2])
    recorded = dict(line.split() for line in record.read_text().splitlines() if line)
    if recorded.keys() != PATHS:
        sys.exit(f"{record}: not the paths {', '.join(sorted(PATHS))}")
    far = 0
    for path in recorded:
        now, before = counted(program, path), float(recorded[path])
        differs = abs(now - before) > TOLERANCE * before
        far += differs
        print(f"{path}: {now:.1f} instructions, recorded {before:.1f}{'  TOO FAR' if differs else ''}", flush=True)
        recorded[path] = f"{now:.1f}"
    if "--write" in sys.argv[3:]:
        record.write_text("".join(f"{path} {count}\n" for path, count in recorded.items()))
        return 0
    return 1 if far else 0


if __name__ == "__main__":
    sys.exit(main())
