#!/usr/bin/env python3
"""Runs cppcheck and clang-tidy over the project's own code; what they find is an error. Debian's
packages cppcheck and clang-tidy have them; one that is missing is left out, and said.

clang-tidy spends most of its time on the headers of the standard library and of Boost, so sources
that are compiled alike are shown to it together, as many as fit into one translation unit. Those whose
own names collide are taken apart again, down to one by one. With --quick it is shown the library and
the tool alone; cppcheck sees everything all the same."""
import collections
import concurrent.futures
import json
import os
import pathlib
import shlex
import shutil
import subprocess
import sys

root = pathlib.Path(__file__).resolve().parent.parent
build = root / "build" / "lint"
folders = ["base", "bench", "compact", "decide", "eval", "examples", "fuzz", "host", "parser", "print",
           "python", "simplify", "tests", "tools", "variants", "xform"]
slow = ["fuzz", "python", "tests"]
cores = len(os.sched_getaffinity(0))


def cppcheck():
    """Whether it finds nothing."""
    return subprocess.run(
        ["cppcheck", "--quiet", f"-j{cores}", "--std=c++17", "--language=c++", "--error-exitcode=1",
         "--enable=warning,performance,portability", "--inline-suppr", "--library=googletest",
         "--suppress=missingIncludeSystem",
         # It cannot read &Class::operator+= and takes the names of arguments ("low"_a = 0) for
         # pointers.
         "--suppress=syntaxError:tests/SyntaxTreeTest.cpp",
         "--suppress=assignBoolToPointer:python/*", "--suppress=AssignmentIntegerToAddress:python/*",
         "-I.", *folders], cwd=root).returncode == 0


def groups(isQuick):
    """The sources that are compiled with the same options, by folder, each with these options."""
    found = collections.defaultdict(list)
    for entry in json.loads((build / "compile_commands.json").read_text()):
        source = pathlib.Path(entry["file"])
        if not source.exists() or build in source.parents:
            continue  # written by the build
        folder = source.relative_to(root).parts[0]
        if isQuick and folder in slow:
            continue
        arguments = shlex.split(entry["command"])[1:]
        options = tuple(option for option in arguments[:arguments.index("-o")]
                        if option != "-fno-gnu-unique")  # clang does not know it
        found[folder, options].append(source)
    return [(f"{folder}-{number}", sorted(set(sources)), options)
            for number, ((folder, options), sources) in enumerate(sorted(found.items()))]


def tidy(name, sources, options):
    """Whether clang-tidy finds nothing in these sources."""
    unit = sources[0]
    if len(sources) > 1:
        unit = build / "units" / f"{name}.cpp"
        unit.parent.mkdir(exist_ok=True)
        unit.write_text("".join(f'#include "{source}"\n' for source in sources))
        compiles = subprocess.run(["clang++", "-fsyntax-only", "-w", *options, unit], cwd=build,
                                  stderr=subprocess.DEVNULL).returncode == 0
        if not compiles:
            half = len(sources) // 2
            return (tidy(f"{name}a", sources[:half], options) &
                    tidy(f"{name}b", sources[half:], options))
    checks = "-bugprone-suspicious-include"  # of the unit
    if sources[0].relative_to(root).parts[0] in ("tests", "fuzz"):
        checks += ",-performance-*"  # nobody waits for what they copy
    # Warnings of clang as a compiler are left to scripts/check-compilers.py: joined sources get others.
    done = subprocess.run(["clang-tidy", "--quiet", "--warnings-as-errors=*", f"--checks={checks}",
                           unit, "--", *options, "-w"],
                          cwd=build, text=True, capture_output=True)
    if done.returncode != 0:
        print(done.stdout, end="", flush=True)
    return done.returncode == 0


def main():
    isQuick = sys.argv[1:] == ["--quick"]
    if sys.argv[1:] and not isQuick:
        sys.exit(__doc__)
    # The headers as they are installed are laid out here, and what is compiled how.
    subprocess.run(["cmake", "--preset", "dev", "-B", build], cwd=root, check=True,
                   stdout=subprocess.DEVNULL)
    isClean = True
    for program, check in {"cppcheck": cppcheck, "clang-tidy": None}.items():
        if shutil.which(program) is None:
            print(f"SKIPPED: there is no {program} (Debian: {program})")
        elif check:
            isClean &= check()
        else:
            with concurrent.futures.ThreadPoolExecutor(cores) as pool:
                isClean &= all(list(pool.map(lambda group: tidy(*group), groups(isQuick))))
    return 0 if isClean else 1


sys.exit(main())
