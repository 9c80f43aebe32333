#!/usr/bin/env python3
"""Compares the instructions of the hot paths, counted by callgrind, with the recorded ones.

Usage: instruction_counts.py PROGRAM RECORD [--write]. RECORD holds a line "path instructions" for each path;
instructions are per pair, datagram or request. A count that is more than a tenth away from its record fails, in
either direction: a path that has become cheaper is to stay so. `--write` records what was counted.
"""

import pathlib
import re
import subprocess
import sys
import tempfile

TOLERANCE = 0.10


def counted(program, path):
    with tempfile.TemporaryDirectory() as folder:
        output = pathlib.Path(folder, "counts")
        run = subprocess.run(
            ["valgrind", "--tool=callgrind", "--collect-atstart=no", f"--callgrind-out-file={output}", program, path],
            env={"LD_BIND_NOW": "1", "PATH": "/usr/bin:/bin"}, check=True, capture_output=True, text=True)
        instructions = int(re.search(r"^summary: (\d+)", output.read_text(), re.M)[1])
        return instructions / int(run.stdout)


def main():
    program, record = sys.argv[1], pathlib.Path(sys.argv[2])
    recorded = dict(line.split() for line in record.read_text().splitlines() if line)
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
