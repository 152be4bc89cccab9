#!/usr/bin/env python3
"""Measures the Python package beside SymPy and beside Z3's Python binding, and prints a table.

    PYTHONPATH=build/release/python /usr/bin/python3 bench/python.py [MODEL.json [SWEEP]]

Conditions are those that a model's blocks have of their own, or generated ones of the same form;
each engine gets them in its own spelling. Engines take turns, and the shortest of the CPU times
counts, since others may use the machine. SWEEP is the program ks_sweep, which measures the limit of
evaluating all net conditions of the model. Debian packages: python3-sympy, python3-z3.
"""

import random
import re
import subprocess
import sys
import time

import ksexpr
from conditions import generated

ROUNDS = 5


def conditions():
    if len(sys.argv) < 2:
        return generated(400, 40, ("N", 4), 4, 0.6, 0.85), "generated conditions", None
    model = ksexpr.Model.load(sys.argv[1])
    texts = sorted({block.text for block in model if block.text})
    random.Random(1).shuffle(texts)
    return texts[:400], f"conditions of {sys.argv[1].rpartition('/')[2]}", model


def for_sympy(text):
    """The text in Python's spelling, relations as calls."""
    text = re.sub(r"(\w+) == (\w+)", r"Eq(\1, \2)", text)
    text = re.sub(r"(\w+) ~= (\w+)", r"Ne(\1, \2)", text)
    return text.replace("&&", "&").replace("||", "|")


def related(expressions):
    """The symbols that stand in relations, which are numbers; the others are true or false."""
    found = set()
    for expression in set(expressions):
        if expression.kind in ("Equal", "NotEqual"):
            found.update(expression.symbols)
        elif expression.inputs:
            found |= related(expression.inputs)
    return found


def z3_term(z3, expression, known, numbers):
    """The condition as Z3 has it. A number holds where it is not 0."""
    if expression in known:
        return known[expression]
    kind = expression.kind
    if kind in ("And", "Or", "Not"):
        parts = [z3_term(z3, part, known, numbers) for part in expression.inputs]
        term = getattr(z3, kind)(*parts)
    elif kind in ("Equal", "NotEqual"):
        left, right = (
            part.value if part.kind == "IntValue" else z3.Real(str(part))
            for part in expression.inputs
        )
        term = left == right if kind == "Equal" else left != right
    elif expression.value is not None:
        term = z3.BoolVal(bool(expression.value))
    elif expression.name in numbers:
        term = z3.Real(expression.name) != 0
    else:
        term = z3.Bool(str(expression))
    known[expression] = term
    return term


def best(*works):
    """The shortest CPU time of each, in seconds, taken in turns."""
    times = [float("inf")] * len(works)
    for _ in range(ROUNDS):
        for i, work in enumerate(works):
            start = time.process_time()
            work()
            times[i] = min(times[i], time.process_time() - start)
    return times


def row(what, count, ours, theirs):
    print(f"| {what:<40} | {ours / count * 1e6:8.1f} | {theirs / count * 1e6:10.1f} | {ours / theirs:6.4f} |")


def against_sympy(texts):
    import sympy
    from sympy.logic import simplify_logic
    from sympy.parsing.sympy_parser import parse_expr

    print(f"| {'microseconds each':<40} | {'ksexpr':>8} | {'SymPy':>10} |  ratio |")
    print("|---|--:|--:|--:|")
    names = {name: sympy.Symbol(name) for text in texts for name in ksexpr.parse(text).symbols}
    names.update(Eq=sympy.Eq, Ne=sympy.Ne)
    spelled = [for_sympy(text) for text in texts]
    few = texts[:100]

    def parse():
        table = ksexpr.Table()
        return [ksexpr.parse(text, table=table) for text in few]

    def parse_sympy():
        return [parse_expr(text, local_dict=names) for text in spelled[:100]]

    row("parse a condition", len(few), *best(parse, parse_sympy))
    theirs = parse_sympy()
    # SymPy simplifies more than eight symbols by hand at best.
    small = [i for i, text in enumerate(few) if len(ksexpr.parse(text).symbols) <= 8]

    def simplify():
        table = ksexpr.Table()
        for i in small:
            ksexpr.parse(few[i], table=table).simplify()

    def simplify_sympy():
        for i in small:
            simplify_logic(theirs[i])

    row("simplify (SymPy: without parsing)", len(small), *best(simplify, simplify_sympy))


def against_z3(texts, model):
    import z3

    if model:
        expressions = [block.net for block in model.blocks[::60]]
    else:
        parsed = [ksexpr.parse(text) for text in texts]
        expressions = [a & b & c for a, b, c in zip(parsed, parsed[1:], parsed[2:])][:200]
    known = {}
    numbers = related(expressions)
    terms = [z3_term(z3, expression, known, numbers) for expression in expressions]
    answers = [[], []]

    def decide():
        decider = ksexpr.Decider()
        answers[0] = [decider.decide(expression) for expression in expressions]

    def decide_z3():
        answers[1] = []
        solver = z3.Solver()  # kept: one for each question takes 200 times as long
        for term in terms:
            verdicts = []
            for asked in (term, z3.Not(term)):
                solver.push()
                solver.add(asked)
                verdicts.append(solver.check() == z3.sat)
                solver.pop()
            answers[1].append({(1, 1): "sometimes", (1, 0): "always", (0, 1): "never"}[tuple(verdicts)])

    times = best(decide, decide_z3)
    print()
    print(f"| {'microseconds each':<40} | {'ksexpr':>8} | {'Z3':>10} |  ratio |")
    print("|---|--:|--:|--:|")
    row("decide whether a condition can hold", len(expressions), *times)
    different = sum(a != b for a, b in zip(*answers))
    print(f"\n{len(expressions)} verdicts compared with Z3, {different} different")
    return different


def many_configurations(model, sweep):
    import numpy

    nets = [block.net for block in model]
    program = ksexpr.Program(nets)
    names = {name for net in nets for name in net.symbols} - {"true", "false"}
    every = numpy.arange(1000)
    values = {
        name: (i * 7919 + every * 104729) % 1000 < 500 for i, name in enumerate(sorted(names))
    }
    took = best(lambda: program.run(values))[0]
    starts = time.perf_counter()
    program.run(values, threads=2)
    print(
        f"\n{len(nets)} net conditions under 1000 configurations of {len(names)} variables: "
        f"{took:.2f} s, {time.perf_counter() - starts:.2f} s on the clock with two threads"
    )
    if sweep:
        distinct = sorted({str(net) for net in nets})
        told = subprocess.run(
            [sweep, "1000"], input="\n".join(distinct), capture_output=True, text=True, check=True
        ).stdout
        print(f"{len(distinct)} distinct ones by C++: {told}", end="")
        columns = {net: i for i, net in enumerate(nets)}
        of_distinct = [columns[ksexpr.parse(text)] for text in distinct]
        holding = int(program.run(values)[:, of_distinct].sum())
        assert told.endswith(f", {holding} hold\n"), holding


def main():
    texts, what, model = conditions()
    print(f"{len(texts)} {what}, Python {sys.version.split()[0]}\n")
    against_sympy(texts)
    different = against_z3(texts, model)
    if model:
        many_configurations(model, sys.argv[2] if len(sys.argv) > 2 else None)
    return 1 if different else 0


if __name__ == "__main__":
    sys.exit(main())
