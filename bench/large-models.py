#!/usr/bin/env python3
"""Times `ksexpr conditions` on a large model beside jq, which only reprints the blocks.

    bench/large-models.py KSEXPR [BLOCKS] [--rounds N] [--shuffled] [--jobs N...]

Every round runs all commands one after the other, so that all see the same machine. The table has
the least time of each command, its ratio to jq's, and the most memory that it took.
"""
import argparse
import os
import pathlib
import subprocess
import sys
import tempfile
import time

here = pathlib.Path(__file__).resolve().parent


def measure(command):
    """Seconds on the clock and megabytes of a run that writes nowhere."""
    start = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    errors = process.stderr.read()
    _, status, usage = os.wait4(process.pid, 0)
    seconds = time.monotonic() - start
    if status != 0:
        sys.exit(f"{command}: {errors.decode()}")
    return seconds, usage.ru_maxrss / 1024


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("ksexpr")
    parser.add_argument("blocks", nargs="?", type=int, default=1000000)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--shuffled", action="store_true")
    parser.add_argument("--jobs", type=int, nargs="+", default=[1, os.cpu_count()])
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        model = os.path.join(folder, "model.json")
        with open(model, "wb") as file:
            more = ["--shuffled"] if options.shuffled else []
            subprocess.run([here / "make-model.py", str(options.blocks), *more], stdout=file,
                           check=True)
        commands = {("jq", 1): ["jq", "-c", ".blocks[]", model]}
        for form in ["json", "csv", "table"]:
            for jobs in dict.fromkeys(options.jobs):
                commands[form, jobs] = [options.ksexpr, "conditions", model, "--quiet", "--format",
                                        form, "--jobs", str(jobs)]
        runs = {name: [] for name in commands}
        for _ in range(options.rounds):
            for name, command in commands.items():
                runs[name].append(measure(command))
    seconds = {name: min(run[0] for run in found) for name, found in runs.items()}
    order = ", shuffled" if options.shuffled else ""
    print(f"| {options.blocks:,} blocks{order} | jobs | seconds | of jq's | MB |")
    print("|---|--:|--:|--:|--:|")
    for (form, jobs), found in runs.items():
        print(f"| {form} | {jobs} | {seconds[form, jobs]:.2f} | "
              f"{seconds[form, jobs] / seconds['jq', 1]:.2f} | {max(r[1] for r in found):.0f} |")


main()
