#!/usr/bin/env python3
"""Compares the runs that bench/compare.sh has made: old.0, new.0, old.1, ... in a folder.

A row's change is the median over the rounds of new over old, so that what slows a whole round down
is in both. Its noise is how far that median may be off: the median of the distances from it, scaled
to a standard deviation, over the root of the number of rounds. A row has changed where the change is
more than three times its noise and more than 2 %."""
import json
import math
import pathlib
import statistics
import sys

leastChange = 0.02


def times(path):
    found = json.loads(path.read_text())["benchmarks"]
    return {row["name"]: row["cpu_time"] for row in found if row.get("run_type") != "aggregate"}


def main():
    folder, rounds = pathlib.Path(sys.argv[1]), int(sys.argv[2])
    olds = [times(folder / f"old.{number}") for number in range(rounds)]
    news = [times(folder / f"new.{number}") for number in range(rounds)]
    isSlower = False
    print(f"{'row':45} {'new/old':>8} {'noise':>7}")
    for name in news[0]:
        if name not in olds[0]:
            print(f"{name:45} {'new':>8}")
            continue
        ratios = [new[name] / old[name] for old, new in zip(olds, news)]
        change = statistics.median(ratios)
        spread = 1.4826 * statistics.median(abs(ratio - change) for ratio in ratios)
        noise = spread / math.sqrt(rounds)
        changed = abs(change - 1) > max(3 * noise, leastChange)
        isSlower |= changed and change > 1
        verdict = ("slower" if change > 1 else "faster") if changed else ""
        print(f"{name:45} {change:8.3f} {noise:7.3f} {verdict}".rstrip())
    return 1 if isSlower else 0


sys.exit(main())
