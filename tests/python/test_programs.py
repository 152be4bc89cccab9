import random
import sys

import pytest

import ksexpr
from ksexpr import Program, parse

N = ksexpr.symbol("N")


def rows(array):
    return array.tolist()


def test_rows_are_configurations():
    program = Program([N + 1, parse("MODE == N"), parse("Site.on")])
    assert len(program) == 3
    values = {"N": [1, 2, 3], "MODE": 2, "Site.on": [True, False, True], "unused": 7}
    assert rows(program.run(values)) == [[2, 0, 1], [3, 1, 0], [4, 0, 1]]
    assert rows(program.run({N: [1]}, MODE=1, **{"Site.on": False})) == [[2, 1, 0]]
    assert rows(program.run(N=1, MODE=1, **{"Site.on": 2.5})) == [[2, 1, 2.5]]
    assert rows(Program([parse("1.5")]).run()) == [[1.5]]
    assert Program([N]).run(N=[]).shape == (0, 1) or not hasattr(Program([]).run(), "dtype")
    assert Program([]).run(N=[1, 2]).shape == (2, 0) or not hasattr(Program([]).run(), "dtype")


def test_numbers_keep_their_types():
    half = Program([N / 2])
    assert rows(half.run(N=[7, 8])) == [[3], [4]]
    assert rows(half.run(N=[7.0, 8.0])) == [[3.5], [4]]
    assert rows(half.run(N=[2**31 + 1])) == [[2**30 + 0.5]]
    # Elements of a list have types of their own, with and without NumPy.
    assert rows(half.run(N=[7, 7.0, True])) == [[3], [3.5], [0]]
    assert rows(half.run(N=range(3))) == [[0], [0], [1]]
    numpy = pytest.importorskip("numpy")
    for kind, expected in [("int8", 3), ("uint16", 3), ("float32", 3.5), ("object", 3)]:
        assert rows(half.run(N=numpy.array([7], dtype=kind))) == [[expected]]
    for kind in ("int64", "uint64"):
        with pytest.raises(OverflowError, match="exact"):
            half.run(N=numpy.array([2**53 + 1], dtype=kind))
        assert rows(half.run(N=numpy.array([2**53, 5], dtype=kind))) == [[2.0**52], [2]]
    assert rows(half.run(N=numpy.array([True, False]))) == [[0], [0]]
    strided = numpy.arange(10, dtype=float).reshape(5, 2)[:, 1]
    result = half.run(N=strided)
    assert result.dtype == numpy.float64 and result.shape == (5, 1)
    assert result.flags.c_contiguous and result[:, 0].tolist() == [0.5, 1.5, 2.5, 3.5, 4.5]
    assert half.run(N=numpy.array([], dtype=float)).shape == (0, 1)
    assert half.run(N=numpy.float64(3)).tolist() == [[1.5]]


def test_truths():
    program = Program([parse("a && b"), parse("a || b"), parse("[1,2] && a")])
    assert rows(program.truths(a=[True, False])) == [[-1, 1, -1], [0, -1, -1]]


def test_programs_outlive_their_expressions():
    table = ksexpr.Table()
    expression = parse("N + 1", table=table)
    program = Program([expression, N])  # of two tables
    del expression, table
    assert rows(program.run(N=[1, 2])) == [[2, 1], [3, 2]]


@pytest.mark.parametrize("threads", [1, 3, 100])
def test_values_are_those_of_eval(threads):
    random.seed(7)
    texts = ["a && b || ~c", "a + 2 * b - c", "a / 3 + b", "(a < b) + (b <= c)", "a % 5 == 1"]
    expressions = [parse(text) for text in texts]
    values = {name: [random.randint(-9, 9) for _ in range(50)] for name in "abc"}
    found = rows(Program(expressions).run(values, threads=threads))
    for i in range(50):
        one = {name: column[i] for name, column in values.items()}
        assert found[i] == [float(expression.eval(one)) for expression in expressions]


def test_the_first_failure_is_told():
    with pytest.raises(ksexpr.EvalError, match="configuration 0, expression 1: .*'M'"):
        Program([N, parse("M")]).run(N=[1, 2], threads=2)


def test_without_numpy(run_python):
    shown = run_python(
        "import sys; sys.modules['numpy'] = None\n"
        "import ksexpr\n"
        "p = ksexpr.Program([ksexpr.parse('N / 2'), ksexpr.parse('b')])\n"
        "a = p.run(N=[7, 8.0], b=True)\n"
        "print(a.shape, a.format, a.tolist(), p.truths(b=[0, 1]).tolist())"
    )
    assert shown == "(2, 2) d [[3.0, 1.0], [4.0, 1.0]] [[-1, 0], [-1, 1]]\n"
