#!/usr/bin/env python3
"""Tells whether the tests notice: changes one token of the library at a time, rebuilds what depends
on it and runs the tests. A change that no test notices survives and is reported with its place.

Works on a copy of the committed files in build/mutants, so the tree itself never changes. The sample
depends on the seed alone. Built as the preset release builds, so that a compiler cache helps with
what does not change; what draws a warning does not compile, and what gives the same programs changes
nothing: neither counts. Quick tests run before slow ones, and the first that fails ends a mutant. A
run that is interrupted has said how to go on."""
import argparse
import hashlib
import pathlib
import random
import re
import resource
import shutil
import subprocess
import sys
import time

root = pathlib.Path(__file__).resolve().parent.parent
work = root / "build" / "mutants"
tree = work / "tree"
build = tree / "build" / "mutants"  # as far from its sources as other builds, for the cache
test_programs = ["ks_tests", "ks_decide_tests", "ks_tool_tests", "ks_memory_tests"]
fuzz_targets = ["text", "calls", "customizer"]  # their inputs, and changes of these
programs = test_programs + [f"replay_{target}" for target in fuzz_targets]
folders = ["base", "parser", "print", "eval", "xform", "simplify", "compact", "variants", "decide"]

# What is replaced by what, each alone. Clang-format has put blanks around binary operators.
replacements = {
    r" < ": [" <= ", " > "], r" <= ": [" < ", " >= "], r" > ": [" >= ", " < "],
    r" >= ": [" > ", " <= "], r" == ": [" != "], r" != ": [" == "],
    r" && ": [" || "], r" \|\| ": [" && "], r" \+ ": [" - "], r" - ": [" + "], r" \* ": [" + "],
    r" / ": [" * "], r" % ": [" / "], r" & (?=\w)": [" | "], r" \| ": [" & "], r" << (?=\d)": [" >> "],
    r" \+= ": [" -= "], r" -= ": [" += "], r"\+\+": ["--"], r"--": ["++"],
    r"\btrue\b": ["false"], r"\bfalse\b": ["true"],
    r"(?<![\w.'])0(?![\w.'])": ["1"], r"(?<![\w.'])1(?![\w.'])": ["0", "2"],
    r"(?<![\w.'])([2-9]|[1-9]\d+)(?![\w.'])": [lambda found: str(int(found.group()) + 1)],
    r"!(?=[\w(])": [""], r"\bmin\b": ["max"], r"\bmax\b": ["min"],
    r"\bfirst\b": ["second"], r"\bsecond\b": ["first"],
    r"\bleft\b": ["right"], r"\bright\b": ["left"], r"\baLeft\b": ["aRight"], r"\baRight\b": ["aLeft"],
    r"\bcontinue;": [";"], r"\bbreak;": [";"], r"\breturn;": [";"],
    r"\bbegin\(\)": ["end()"], r"\bfront\(\)": ["back()"], r"\bback\(\)": ["front()"],
    r"\bGt\b": ["Ge"], r"\bGe\b": ["Gt"], r"\bLt\b": ["Le"], r"\bLe\b": ["Lt"],
    r"\bEq\b": ["Ne"], r"\bNe\b": ["Eq"], r"::And\b": ["::Or"], r"::Or\b": ["::And"],
}
# A line that is a whole statement or a row of a table may be left out.
whole_lines = [
    r"\s+[a-z][\w.\->\[\]]*(\(.*\)|\[.*\]| [+\-|&]?= .*);",  # a call, an assignment
    r"\s+(if|while) \(.*\) (return|continue|break|throw)\b.*;",
    r"\s+\{.*\},",
    r"\s+case .*: return .*;",
]


def mask(text):
    """The text with comments and literals blanked out, the same length."""
    pattern = r'//[^\n]*|/\*.*?\*/|R"\w*\(.*?\)\w*"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])\''
    return re.sub(pattern, lambda found: re.sub(r"[^\n]", "\0", found.group()), text, flags=re.S)


def mutants_of(name):
    """Every mutant of a file, as (file, line number, line, changed line)."""
    text = (tree / name).read_text()
    lines = text.split("\n")
    for number, code in enumerate(mask(text).split("\n")):
        line = lines[number]
        if not code.strip() or re.match(r"\s*(#|template|static_assert|assert|using|friend)", code):
            continue
        for pattern, changes in replacements.items():
            for found in re.finditer(pattern, code):
                for change in changes:
                    new = change(found) if callable(change) else change
                    yield name, number, line, line[:found.start()] + new + line[found.end():]
        for found in re.finditer(r"\bif \((?!const|auto)", code):
            depth, end = 1, found.end()
            while end < len(code) and depth > 0:
                depth += {"(": 1, ")": -1}.get(code[end], 0)
                end += 1
            if depth == 0:
                yield (name, number, line,
                       line[:found.end()] + "!(" + line[found.end():end - 1] + ")" + line[end - 1:])
        if any(re.fullmatch(pattern, code) for pattern in whole_lines):
            yield name, number, line, ""


def limit_memory():
    """What grows without end fails before the machine does."""
    resource.setrlimit(resource.RLIMIT_AS, (8 << 30, 8 << 30))


def start(command):
    return subprocess.Popen(command, cwd=work, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL,
                            preexec_fn=limit_memory)


def all_succeed(commands, jobs):
    """Whether every command succeeds in its time, some side by side. Ends the others where one does
    not. A command is a list of words, its time in seconds beside it."""
    waiting, running = list(commands), {}
    try:
        while waiting or running:
            while waiting and len(running) < jobs:
                command, seconds = waiting.pop(0)
                running[start(command)] = time.monotonic() + seconds
            time.sleep(0.02)
            for process, end in list(running.items()):
                if process.poll() is None:
                    if time.monotonic() > end:
                        return False
                else:
                    del running[process]
                    if process.returncode != 0:
                        return False
        return True
    finally:
        for process in running:
            process.kill()
            process.wait()


def prepare():
    """A fresh copy of what is committed. Only files that differ are written, so that little is
    built again."""
    listed = subprocess.run(["git", "ls-files"], cwd=root, text=True, check=True,
                            capture_output=True).stdout.split("\n")
    for name in filter(None, listed):
        source, copy = root / name, tree / name
        copy.parent.mkdir(parents=True, exist_ok=True)
        if not copy.exists() or copy.read_bytes() != source.read_bytes():
            shutil.copy(source, copy)
    subprocess.run(["cmake", "-S", tree, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                    "-DCMAKE_COMPILE_WARNING_AS_ERROR=ON", "-DKS_PACKAGE_TESTS=OFF",
                    "-DKS_BUILD_EXAMPLES=OFF", "-DKS_FUZZ_REPLAYS=ON"],
                   check=True, stdout=subprocess.DEVNULL)


def path_of(program):
    folder = {"ks_tool_tests": "tests/tool", "ks_decide_tests": "tests/decide"}
    if program not in test_programs:
        return build / "fuzz" / program
    return build / folder.get(program, "tests") / program


def contents(program):
    """What tells whether a program or a library of ours that it loads has changed."""
    path = path_of(program)
    loaded = subprocess.run(["ldd", path], text=True, check=True, capture_output=True).stdout
    digest = hashlib.sha256()
    for file in [path, *re.findall(rf"=> ({re.escape(str(build))}\S*)", loaded)]:
        digest.update(pathlib.Path(file).read_bytes())
    return digest.digest()


def tests():
    """Runs the tests once and returns commands that run them again, the quick ones of all programs
    first, each with its program and the time in which it shall end. Of the tool's those are left out
    that are about its process, its terminal and its page."""
    quick, slow = [], []
    for program in test_programs:
        path = path_of(program)
        done = subprocess.run([path, "--gtest_filter=-*Process*:*Page*:*Terminal*"], cwd=work,
                              text=True, capture_output=True, stdin=subprocess.DEVNULL)
        if done.returncode != 0:
            sys.exit(f"{program} fails without any change")
        times = {name: int(ms) for name, ms in
                 re.findall(r"^\[       OK \] (\S+?)(?:, where .*)? \((\d+) ms\)$", done.stdout, re.M)}
        for group, fits in (quick, lambda ms: ms < 200), (slow, lambda ms: ms >= 200):
            names = [name for name, ms in times.items() if fits(ms)]
            if names:
                seconds = sum(times[name] for name in names) / 1000
                group.append((program, [str(path), "--gtest_fail_fast", "--gtest_brief=1",
                                        f"--gtest_filter={':'.join(names)}"], 60 + 5 * seconds))
    for target in fuzz_targets:
        program = f"replay_{target}"
        command = [str(path_of(program)), "--changes", "3000", str(tree / "fuzz/corpus" / target),
                   str(tree / "fuzz/regressions" / target)]
        slow.append((program, command, 120))
    return quick + slow


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--seed", type=int, required=True)
    parser.add_argument("--count", type=int, default=100, help="of mutants to try")
    parser.add_argument("--skip", type=int, default=0,
                        help="mutants of the sample that an earlier run has tried")
    parser.add_argument("--match", default="", help="a regular expression for files")
    parser.add_argument("--again", type=argparse.FileType(), metavar="REPORT",
                        help="of the sample only those that survived in what an earlier run wrote")
    parser.add_argument("--jobs", type=int, default=2)
    options = parser.parse_args()

    prepare()
    names = [str(path.relative_to(tree)) for folder in folders
             for path in sorted((tree / folder).rglob("*.[ch]pp"))]
    names = [name for name in names if re.search(options.match, name)]
    mutants = sorted(mutant for name in names for mutant in mutants_of(name))
    random.Random(options.seed).shuffle(mutants)
    if options.again:
        survivors = set(re.findall(r"^survived: (.*):\d+\n  - (.*)\n  \+ ?(.*)$",
                                   options.again.read(), re.M))
        mutants = [(name, number, line, changed) for name, number, line, changed in mutants
                   if (name, line.strip(), changed.strip()) in survivors]
    print(f"{len(mutants)} mutants of {len(names)} files, seed {options.seed}", flush=True)

    make = ["cmake", "--build", str(build), "--parallel", str(options.jobs), "--target", *programs]
    if start(make).wait() != 0:
        sys.exit("nothing can be built without any change")
    commands = tests()
    unchanged = {program: contents(program) for program in programs}
    tried = killed = 0
    for place, (name, number, line, changed) in enumerate(mutants[options.skip:], options.skip):
        if tried == options.count:
            break
        print(f"{killed} of {tried} died; to go on: --skip {place}", file=sys.stderr, flush=True)
        path = tree / name
        original = path.read_text()
        lines = original.split("\n")
        lines[number] = changed
        path.write_text("\n".join(lines))
        try:
            if start(make).wait() != 0:
                continue
            different = {program for program in programs
                         if contents(program) != unchanged[program]}
            if not different:
                continue
            tried += 1
            if all_succeed([(command, seconds) for program, command, seconds in commands
                            if program in different], options.jobs):
                print(f"survived: {name}:{number + 1}\n  - {line.strip()}\n  + {changed.strip()}",
                      flush=True)
            else:
                killed += 1
        finally:
            path.write_text(original)
    print(f"{killed} of {tried} died", flush=True)


main()
