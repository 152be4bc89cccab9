"""Nothing that Python hands in ends the process or leaves something half done."""

import pickle

import pytest

import ksexpr
from ksexpr import parse
from conftest import needs_proofs

N = ksexpr.symbol("N")


@pytest.mark.parametrize(
    "text, position, expected",
    [
        ("a +", 3, "an operand"),
        ("", 0, "an operand"),
        ("a\0b", 1, "an operator or the end of the expression"),
        ("a b", 2, "an operator or the end of the expression"),
        ("äh", 0, "an operand"),
        ("a == 'ü' + ", 5, "an operand"),
        ("1\n+ +", 5, "an operand"),
        ("2147483648", 0, "an integer of 32 bits"),
    ],
)
def test_parse_errors(text, position, expected):
    with pytest.raises(ksexpr.ParseError) as caught:
        parse(text)
    error = caught.value
    assert (error.text, error.position, error.expected) == (text, position, expected)
    assert isinstance(error, ksexpr.Error) and isinstance(error, ValueError)
    assert str(error).startswith(f"expected {expected} at position {position}\n")
    again = pickle.loads(pickle.dumps(error))
    assert str(again) == str(error) and again.position == position


def test_the_caret_shows_the_place():
    with pytest.raises(ksexpr.ParseError) as caught:
        parse("MODE == 1 && (a b)")
    assert str(caught.value).splitlines()[1:3] == ["MODE == 1 && (a b)", " " * 16 + "^"]
    with pytest.raises(ksexpr.ParseError) as caught:
        parse("NAND > 1")
    assert caught.value.note and str(caught.value).endswith(caught.value.note)


@pytest.mark.parametrize(
    "wrong, error",
    [
        (lambda: parse("\ud800"), UnicodeEncodeError),
        (lambda: parse(b"a"), TypeError),
        (lambda: parse(None), TypeError),
        (lambda: parse("a", "x"), ValueError),
        (lambda: parse("a", table=3), TypeError),
        (lambda: parse("(" * 300 + "a" + ")" * 300), ksexpr.ParseError),
        (lambda: N + 2**31, OverflowError),
        (lambda: N + 10**400, OverflowError),
        (lambda: N + "1", TypeError),
        (lambda: N & None, TypeError),
        (lambda: N + 1j, TypeError),
        (lambda: N[0], TypeError),
        (lambda: N.eval(), ksexpr.EvalError),
        (lambda: N.eval(N="1"), TypeError),
        (lambda: N.eval(N=None), TypeError),
        (lambda: N.eval(N={}), TypeError),
        (lambda: N.eval(N=[[1]]), TypeError),
        (lambda: N.eval(N=[]), ValueError),
        (lambda: N.eval(N=10**400), OverflowError),
        (lambda: N.eval(N=2**53 + 1), OverflowError),
        (lambda: N.eval(N=N), TypeError),
        (lambda: N.eval(3), TypeError),
        (lambda: N.eval({3: 1}), TypeError),
        (lambda: N.eval({"a b": 1}), ValueError),
        (lambda: N.eval({"a\0b": 1}), ValueError),
        (lambda: N.eval({"1": 1}), ValueError),
        (lambda: N.eval({"true": 1}), ValueError),
        (lambda: N.eval({"\udfff": 1}), UnicodeEncodeError),
        (lambda: N.eval({N + 1: 1}), ksexpr.EvalError),
        (lambda: N.substitute({"N+1": 2}), ValueError),
        (lambda: parse("f(N)").eval(N=1), ksexpr.EvalError),
        (lambda: parse("[1,2]+[1,2,3]").eval(), ksexpr.EvalError),
        (lambda: ksexpr.symbol("a b"), ValueError),
        (lambda: ksexpr.symbol(""), ValueError),
        (lambda: ksexpr.symbol("a\0"), ValueError),
        (lambda: ksexpr.symbol("true"), ValueError),
        (lambda: ksexpr.call("1", N), ValueError),
        (lambda: ksexpr.call("f", "x"), TypeError),
        (lambda: ksexpr.dimensions(1), ValueError),
        (lambda: ksexpr.constant("1"), TypeError),
        (lambda: N.member("a.b"), ValueError),
        (lambda: N.copy_to(None), TypeError),
        (lambda: ksexpr.Expression(), TypeError),
        (lambda: len(ksexpr.Table.__new__(ksexpr.Table)), TypeError),
        (lambda: object.__new__(ksexpr.Block).net, TypeError),
        (lambda: ksexpr.Model(), TypeError),
        (lambda: type("Mine", (ksexpr.Expression,), {}), TypeError),
        (lambda: ksexpr.Expression.__new__(ksexpr.Expression).simplify(), TypeError),
        (lambda: ksexpr.Program([1]), TypeError),
        (lambda: ksexpr.Program(N), TypeError),
        (lambda: ksexpr.Program([N]).run(), ksexpr.EvalError),
        (lambda: ksexpr.Program([parse("[1,2]")]).run(), ksexpr.EvalError),
        (lambda: ksexpr.Program([N]).run(N=[[1, 2]]), (ValueError, TypeError)),
        (lambda: ksexpr.Program([N + parse("M")]).run(N=[1, 2], M=[1]), ValueError),
        (lambda: ksexpr.Program([N]).run(N=["x"]), TypeError),
        (lambda: ksexpr.Program([N]).run({"a b": 1}), ValueError),
    ],
)
def test_wrong_calls(wrong, error):
    size = len(ksexpr.default_table())
    with pytest.raises(error) as caught:
        wrong()
    assert str(caught.value)
    assert len(ksexpr.default_table()) <= size + 10


def test_too_long_texts():
    expression = N
    for _ in range(60):
        expression = expression + expression
    for call in (lambda: str(expression), expression.to_c, lambda: pickle.dumps(expression)):
        with pytest.raises(ksexpr.LimitError, match="longer"):
            call()
    # What a notebook or a debugger shows is there all the same.
    assert "Plus" in repr(expression) and "Plus" in expression._repr_html_()


class Odd:
    """A number that runs code when it is asked for its value."""

    def __init__(self, run):
        self.run = run

    def __float__(self):
        return self.run()


def test_code_that_runs_during_a_call():
    values = {}

    def change():
        values.clear()
        values.update({f"v{i}": i for i in range(1000)})
        return 2.0

    values.update({"N": Odd(change), "M": 1})
    assert parse("N + M").eval(values) == 3.0

    def fail():
        raise KeyError("lost")

    with pytest.raises(KeyError, match="lost"):
        N.eval(N=Odd(fail))

    def use():
        return float(N.eval(N=Odd(lambda: 4.0)))

    assert N.eval(N=Odd(use)) == 4.0


@needs_proofs
def test_wrong_calls_of_deciders():
    decider = ksexpr.Decider(table=ksexpr.Table())
    for wrong, error in [
        (lambda: decider.decide("a +"), ksexpr.ParseError),
        (lambda: decider.decide(3), TypeError),
        (lambda: decider.set_values("a", []), ValueError),
        (lambda: decider.set_values("a + 1", [1]), ValueError),
        (lambda: decider.set_values("a", [[]]), TypeError),
        (lambda: decider.set_integer("a", 3, 2), ValueError),
        (lambda: decider.set_integer("a", 0, 2**40), TypeError),
    ]:
        with pytest.raises(error):
            wrong()
    assert decider.decide("a") == "sometimes"
