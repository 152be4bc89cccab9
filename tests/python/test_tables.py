"""The tables of texts of the C++ tests, read from these, and what Python makes of the texts."""

import ast
import pickle
import re

import pytest

import ksexpr
from conftest import SOURCE

ROW = re.compile(r'^ *\{("(?:[^"\\]|\\.)*"), ("(?:[^"\\]|\\.)*")(?:, \d+)?\},$', re.MULTILINE)
KINDS = dict(
    reversed(match) for match in re.findall(
        r"^KS_\w+\((\d+), _?(\w+),", (SOURCE / "base/SymbolicExprKinds.def").read_text(), re.MULTILINE
    )
)


def rows(file, function):
    """The rows of two strings in the calls of a function of the tests."""
    found = []
    for call in (SOURCE / "tests" / file).read_text().split(function + "({\n")[1:]:
        found += [tuple(map(ast.literal_eval, row)) for row in ROW.findall(call.split("});")[0])]
    return found


SIMPLIFIED = rows("SimplifyArithmeticTest.cpp", "checkSimplified") + rows(
    "SimplifyBooleanTest.cpp", "checkSimplified"
)


def test_simplified():
    assert len(SIMPLIFIED) > 200
    for text, simplified in SIMPLIFIED:
        table = ksexpr.Table()
        assert str(ksexpr.parse(text, "c", table=table).simplify()) == simplified, text


def test_texts_read_back():
    unreadable = []
    for text, _ in SIMPLIFIED:
        expression = ksexpr.parse(text, "c")
        try:
            assert pickle.loads(pickle.dumps(expression)) == expression, text
        except ValueError:
            unreadable.append(text)
        else:
            assert ksexpr.parse(expression.to_c(spaces=False), "c") == expression, text
    # The negation of a number is written like a negative number.
    assert all("-" in text for text in unreadable) and len(unreadable) < len(SIMPLIFIED) / 20


def shape(expression):
    """The expression as the tests of the parser write it: 15(a 11(b 1))."""
    if expression.name is not None and expression.kind != "MemberValue":
        return expression.name
    if expression.kind == "IntValue":
        return str(expression.value)
    inputs = " ".join(shape(part) for part in expression.inputs)
    return f"{KINDS[expression.kind]}({inputs})"


def test_shapes():
    source = (SOURCE / "tests/ParserTest.cpp").read_text()
    shapes = [
        tuple(map(ast.literal_eval, row))
        for row in ROW.findall(source)
        if re.fullmatch(r'"\d+\([-\w() ]*\)"', row[1])
    ]
    assert len(shapes) > 20
    for text, expected in shapes:
        try:
            expression = ksexpr.parse(text, "c")
        except ksexpr.ParseError:
            continue
        if expression.to_c(spaces=False).count("~") or "." in expected:
            continue
        assert shape(expression) == expected, text
