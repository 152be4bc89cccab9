#!/usr/bin/env python3
"""Measures expression commands through a pipe beside the library's own cost for the same lines.

    bench/pipe.py KS_PIPE KSEXPR [FILE...]

KS_PIPE is the program ks_pipe of the benchmarks. FILEs hold expressions in M syntax, a line each;
without one, conditions are generated. Lines with calls are left out. Prints nanoseconds of CPU time
a line: of the library for parsing, the operation and rendering, without input and output; and of
ksexpr from its start to its end, reading lines and writing answers to nobody. They take turns, and
the shortest time of each counts.
"""

import json
import os
import re
import subprocess
import sys
import tempfile

from conditions import generated

ROUNDS = 5
LINES = 100000


def tool_seconds(command, path):
    """The CPU time of a process that reads the file and writes to nobody."""
    with open(path, "rb") as lines, open(os.devnull, "wb") as nobody:
        process = subprocess.Popen(command, stdin=lines, stdout=nobody)
        _, process.returncode, usage = os.wait4(process.pid, 0)
    if process.returncode != 0:
        sys.exit(f"{command[0]} {command[1]} failed")
    return usage.ru_utime + usage.ru_stime


def library_seconds(command, path):
    with open(path, "rb") as lines:
        told = subprocess.run(command, stdin=lines, capture_output=True, text=True, check=True)
    return int(told.stdout.split()[0]) / 1e9


def main():
    if len(sys.argv) < 3:
        sys.exit("usage: bench/pipe.py KS_PIPE KSEXPR [FILE...]")
    pipe, ksexpr, *files = sys.argv[1:]
    some = ([line.rstrip("\n") for file in files for line in open(file)] or
            generated(5000, 400, ("", 9), 3, 0.3, 0.5))
    some = [line for line in some if not re.search(r"\w\(", line)]
    lines = (some * (LINES // len(some) + 1))[:LINES]
    names = sorted(set(re.findall(r"[A-Za-z_]\w*", "\n".join(some))) - {"true", "false"})
    values = [f"{name}={i % 9}" for i, name in enumerate(names)]
    print("| nanoseconds a line | library | ksexpr | ratio |\n|---|--:|--:|--:|")
    with tempfile.TemporaryDirectory() as folder:
        texts, records = os.path.join(folder, "texts"), os.path.join(folder, "records")
        with open(texts, "w") as file:
            file.writelines(line + "\n" for line in lines)
        with open(records, "w") as file:
            for i, line in enumerate(lines):
                file.write(json.dumps({"id": i, "text": line}) + "\n")
        for command in ("print", "simplify", "eval"):
            given = values if command == "eval" else []
            bound = [f"-D{value}" for value in given]
            of_library, of_text, of_records = [], [], []
            for _ in range(ROUNDS):
                of_library.append(library_seconds([pipe, command, *given], texts))
                of_text.append(tool_seconds([ksexpr, command, *bound], texts))
                of_records.append(
                    tool_seconds([ksexpr, command, "--format", "jsonl", *bound], records)
                )
            least = min(of_library)
            for form, times in (("text", of_text), ("jsonl", of_records)):
                took = min(times)
                print(
                    f"| {command}, {form} | {least * 1e9 / LINES:.0f} | "
                    f"{took * 1e9 / LINES:.0f} | {took / least:.2f} |"
                )


if __name__ == "__main__":
    main()
