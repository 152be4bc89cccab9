#!/usr/bin/env python3
"""Runs what a page of the documentation shows, and compares what it says of the results.

- A block of `console` is a session of bash: behind each line that begins with "$ ", what the
  command prints. A line "..." stands for any number of lines. Times may differ. A file that is
  shown by `cat` and does not exist is made so.
- A block of `cpp` with a main function is a program; the block of `text` behind it is what it
  prints.
- The other blocks of `cpp` of a page are, together, the body of one program. In it,
  `std::cout << x;  // text` says what is printed, `x;  // {1.0}` and `x;  // Truth::Never` what a
  value is.
- The blocks of `python` of a page that begin with ">>> " are, together, one session with Python:
  behind each statement, what it prints.
- A block whose first line is a comment with the name of a file is text of that file.

With --update, what commands and programs print is written into the page; look at what changes.
"""

import argparse
import difflib
import doctest
import json
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

FENCE = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
TIME = re.compile(r"\b\d+\.\d+ s\b")
MARK = "--- end of the command ---"

# What the fragments of a page may use, and how their comments are checked.
PRELUDE = """
#include <iostream>
#include <sstream>
#include <cstdlib>
#include <string>
#include <vector>
static void expectText(const std::string& aFound, const std::string& aExpected, int aLine) {
  if (aFound == aExpected) return;
  std::cerr << "fragment line " << aLine << ": found \\"" << aFound << "\\"\\n";
  std::exit(1);
}
template <class Found, class Expected>
void expectValue(const Found& aFound, const Expected& aExpected, int aLine) {
  if (aFound == aExpected) return;
  std::cerr << "fragment line " << aLine << ": another value\\n";
  std::exit(1);
}
"""


# Runs statements, given as JSON, in one session, and gives back what each of them prints.
PYTHON_SESSION = """
import contextlib, io, json, sys, traceback, warnings
warnings.simplefilter("always")
names = {"__name__": "__main__"}
printed = []
for statement in json.load(sys.stdin):
    output = io.StringIO()
    with contextlib.redirect_stdout(output), contextlib.redirect_stderr(output):
        try:
            exec(compile(statement, "<page>", "single"), names)
        except Exception as error:
            print("".join(traceback.format_exception_only(type(error), error)), end="")
    printed.append(output.getvalue())
json.dump(printed, sys.stdout)
"""


class Failure(Exception):
    """What differs from the page."""


def differs(expected, found):
    """Compares lines, among which "..." stands for any number."""

    def normal(line):
        return TIME.sub("_ s", line.rstrip())

    pattern = "".join(
        r"(?:.*\n)*" if line == "..." else re.escape(normal(line)) + r"\n" for line in expected
    )
    return not re.fullmatch(pattern, "".join(normal(line) + "\n" for line in found))


def lines_of(what, expected, found, update):
    """The lines that the page is to have. Fails where they differ, unless that is to be updated."""
    if not differs(expected, found):
        return expected
    if not update:
        raise Failure(what + "\n" + "\n".join(difflib.ndiff(expected, found)))
    return [line.rstrip() for line in found]


def parse_session(block):
    """The commands of a session, each with the lines that it prints."""
    commands = []
    for line in block.splitlines():
        if line.startswith("$ "):
            commands.append(([line[2:]], []))
        elif commands and commands[-1][0][-1].endswith("\\") and not commands[-1][1]:
            commands[-1][0].append(line)
        elif commands:
            commands[-1][1].append(line)
        else:
            raise Failure("a session begins with a command: " + line)
    return [("\n".join(command), printed) for command, printed in commands]


def run_session(block, folder, environment, update):
    """Runs the commands of a session. Gives their number and the session as it is to be shown."""
    commands = parse_session(block)
    for command, lines in commands:
        shown = re.fullmatch(r"cat (\S+)", command)
        if shown and not (folder / shown[1]).exists():
            (folder / shown[1]).write_text("".join(line + "\n" for line in lines))
    for program in ("dot", "parallel"):
        if re.search(rf"(?:\| |^){program} ", block.replace("\n", " ")) and not shutil.which(program):
            print(f"skipped, no {program}: {commands[0][0]}")
            return 0, block
    script = "".join(
        # The status goes from command to command, as in a terminal.
        f"{{ {command.replace('./run-example.sh', 'ksexpr')}\n}} 2>&1; status=$?; "
        f"printf '%s\\n' '{MARK}'; (exit $status)\n"
        for command, _ in commands
    )
    done = subprocess.run(
        ["bash", "-c", script],
        cwd=folder,
        env=environment,
        capture_output=True,
        text=True,
        timeout=120,
        check=False,
    )
    shown = ""
    for (command, expected), output in zip(commands, done.stdout.split(MARK + "\n")):
        if "| dot " not in command:
            expected = lines_of("$ " + command, expected, output.splitlines(), update)
        shown += "".join(line + "\n" for line in ["$ " + command, *expected])
    return len(commands), shown


def run_python(blocks, folder, arguments, update):
    """Runs the blocks of a session with Python. Gives the blocks as they are to be shown."""
    examples = [doctest.DocTestParser().get_examples(block) for block in blocks]
    python, path = arguments.python.split(":")
    done = subprocess.run(
        [python, "-c", PYTHON_SESSION],
        cwd=folder,
        env={**os.environ, "PYTHONPATH": path, "PYTHONDONTWRITEBYTECODE": "1"},
        input=json.dumps([example.source for block in examples for example in block]),
        capture_output=True,
        text=True,
        timeout=120,
        check=False,
    )
    if done.returncode != 0:
        raise Failure("the session with Python ends: " + done.stderr)
    outputs = iter(json.loads(done.stdout))
    shown = []
    for block in examples:
        text = ""
        for example in block:
            statement = example.source.rstrip("\n").split("\n")
            text += ">>> " + "\n... ".join(statement) + "\n"
            # An error is shown by its last line.
            expected = (example.exc_msg or example.want).splitlines()
            lines = lines_of(">>> " + statement[0], expected, next(outputs).splitlines(), update)
            text += "".join(line + "\n" for line in lines)
        shown.append(text)
    return shown


def build_and_run(source, folder, compiler):
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "program.cpp").write_text(source)
    subprocess.run(
        [compiler[0], "program.cpp", "-o", "program", *compiler[1:]], cwd=folder, check=True
    )
    done = subprocess.run(
        ["./program"], cwd=folder, capture_output=True, text=True, timeout=60, check=False
    )
    if done.returncode != 0:
        raise Failure(f"the program ends with {done.returncode}:\n{done.stderr}")
    return done.stdout


def fragment_program(fragments):
    """One program of all fragments of a page, which checks what their comments say."""
    includes, body = [], []
    for number, line in enumerate("".join(fragments).splitlines(), 1):
        printed = re.match(r"^(\s*)std::cout << (.*);\s+// (.*)$", line)
        value = re.match(r"^(\s*)(\S.*[^;]);\s+// (\{[-\d., ]+\}|Truth::\w+)$", line)
        if line.startswith("#include"):
            includes.append(line)
        elif printed:
            body.append(
                f"{{ std::ostringstream shown; shown << {printed[2]}; "
                f"expectText(shown.str(), R\"##({printed[3]})##\", {number}); }}"
            )
        elif value:
            expected = value[3]
            expected = (
                f"std::vector<double>{expected}" if expected[0] == "{" else "KS::" + expected
            )
            body.append(f"expectValue({value[2]}, {expected}, {number});")
        else:
            body.append(line)
    return "\n".join(includes) + PRELUDE + "int main() {\n" + "\n".join(body) + "\n}\n"


def check_quoted(block, source):
    """Whether the block says that it is text of a file; fails where it is not."""
    named = re.match(r"(?://|#) ([\w./-]+\.\w+)\n", block)
    if not named:
        return False
    if block[named.end() :] not in (source / named[1]).read_text():
        raise Failure(f"{named[1]} does not contain this:\n{block}")
    return True


def check_page(page, arguments):
    text = page.read_text()
    blocks = list(FENCE.finditer(text))
    folder = arguments.work / page.stem
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    (folder / "examples").symlink_to(arguments.source / "examples")
    environment = {**os.environ, "NO_COLOR": "1", "LC_ALL": "C.UTF-8"}
    environment["PATH"] = f"{arguments.ksexpr.parent}:{environment['PATH']}"
    commands = programs = 0
    fragments = []
    sessions = {}  # by place, what is said to Python
    updated = {}  # by place, what a block is to hold
    for place, (language, block) in enumerate((match[1], match[2]) for match in blocks):
        if check_quoted(block, arguments.source):
            continue
        if language == "console":
            count, updated[place] = run_session(block, folder, environment, arguments.update)
            commands += count
        elif language == "cpp" and re.search(r"^int main\(", block, re.MULTILINE):
            if place + 1 == len(blocks) or blocks[place + 1][1] != "text":
                raise Failure("a program without what it prints:\n" + block)
            found = build_and_run(block, folder / f"program{place}", arguments.compiler)
            expected = blocks[place + 1][2].splitlines()
            lines = lines_of(
                "the program prints", expected, found.splitlines(), arguments.update
            )
            updated[place + 1] = "".join(line + "\n" for line in lines)
            programs += 1
        elif language == "cpp":
            fragments.append(block)
        elif language == "python" and block.startswith(">>> "):
            sessions[place] = block
    if fragments:
        build_and_run(fragment_program(fragments), folder / "fragments", arguments.compiler)
        programs += 1
    if sessions and arguments.python:
        shown = run_python(list(sessions.values()), folder, arguments, arguments.update)
        updated.update(zip(sessions, shown))
        programs += 1
    elif sessions:
        print("skipped, no Python package: " + next(iter(sessions.values())).splitlines()[0])
    if arguments.update:
        for place in sorted(updated, reverse=True):
            start, end = blocks[place].span(2)
            text = text[:start] + updated[place] + text[end:]
        page.write_text(text)
    print(f"{page}: {commands} commands, {programs} programs")


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    parser.add_argument("--ksexpr", type=Path, required=True)
    parser.add_argument("--source", type=Path, required=True)
    parser.add_argument("--work", type=Path, required=True)
    parser.add_argument("--compiler", type=lambda text: text.split(";"), required=True)
    parser.add_argument("--python", help="a Python and the folder of the package, by ':'")
    parser.add_argument("--update", action="store_true")
    parser.add_argument("page", type=Path)
    arguments = parser.parse_args()
    try:
        check_page(arguments.page, arguments)
    except (Failure, subprocess.SubprocessError) as failure:
        print(f"{arguments.page}: {failure}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
