#!/usr/bin/env python3
"""Has every source compiled by each compiler in each standard of C++, with warnings as errors and
without making code. Arguments are compilers (default: g++ clang++), --std the standards, --match a
regular expression for the sources. Takes about ten minutes of one core for each pair."""
import argparse
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

root = pathlib.Path(__file__).resolve().parent.parent


def commands(compiler, standard, pattern):
    """What a build by that compiler would run, as (source, arguments, folder)."""
    folder = root / "build" / f"check-{pathlib.Path(compiler).name}-{standard}"
    subprocess.run(
        ["cmake", "-S", root, "-B", folder, "-G", "Ninja", f"-DCMAKE_CXX_COMPILER={compiler}",
         f"-DCMAKE_CXX_STANDARD={standard}", "-DCMAKE_CXX_COMPILER_LAUNCHER=",
         "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", "-DKS_PACKAGE_TESTS=OFF"],
        check=True, stdout=subprocess.DEVNULL)
    entries = json.loads((folder / "compile_commands.json").read_text())
    # What the build itself writes is left out: making it would mean to build what it depends on.
    entries = [entry for entry in entries
               if os.path.exists(entry["file"]) and re.search(pattern, entry["file"])]
    for entry in entries:
        arguments = shlex.split(entry["command"])
        output = arguments.index("-o")
        del arguments[output:output + 2]
        yield entry["file"], arguments + ["-fsyntax-only", "-Werror"], entry["directory"]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("compilers", nargs="*", default=["g++", "clang++"])
    parser.add_argument("--std", nargs="+", default=["17", "20", "23"])
    parser.add_argument("--match", default="")
    options = parser.parse_args()
    failed = 0
    for compiler in options.compilers:
        for standard in options.std:
            found = list(commands(compiler, standard, options.match))
            with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
                runs = pool.map(lambda c: (c[0], subprocess.run(c[1], cwd=c[2], text=True,
                                                               capture_output=True)), found)
                for source, run in runs:
                    if run.returncode != 0:
                        failed += 1
                        print(f"{source}:\n{run.stderr}", flush=True)
            print(f"{compiler} C++{standard}: {len(found)} sources", flush=True)
    sys.exit(failed != 0)


main()
