import copy
import pickle
import threading

import pytest

import ksexpr
from ksexpr import parse
from conftest import needs_proofs

A, B, N = map(ksexpr.symbol, "ABN")


@pytest.mark.parametrize(
    "made, text",
    [
        (A & B, "A && B"),
        (A | ~B, "A || ~B"),
        (True & A, "true && A"),
        (False | A, "false || A"),
        (2 * N + 1, "2*N+1"),
        (1 - N, "1-N"),
        (N - 1 - 2, "N-1-2"),
        (7 / N % 3, "7/N%3"),
        (5 % N, "5%N"),
        (N + 0.5, "N+0.5"),
        (1 + -N, "1+-N"),
        (A == 1, "A==1"),
        (A != B, "A~=B"),
        (1 < N, "N>1"),
        (N <= 2, "N<=2"),
        (2 <= N, "N>=2"),
        (N < 2, "N<2"),
        (ksexpr.call("max", N, 3) > 2, "max(N,3)>2"),
        (ksexpr.call("rand"), "rand()"),
        (ksexpr.symbol("Site").member("remote"), "Site.remote"),
        (ksexpr.dimensions(2, N), "[2,N]"),
        (ksexpr.constant(False), "false"),
        (ksexpr.constant(-3), "-3"),
    ],
)
def test_operators(made, text):
    assert str(made) == text
    assert made == parse(text)


def test_only_comparisons_have_a_truth():
    assert (A == A) and not (A == B) and not (A == 1) and (parse("1") == 1)
    assert (A != B) and not (A != parse("A"))
    for open_truth in (A, A & B, A < B, ~A, parse("A == A"), parse("A ~= B"), (A == A) & B):
        with pytest.raises(TypeError, match=r"eval\(\)"):
            bool(open_truth)
    assert {A: 1, parse("A && B"): 2}[A & B] == 2
    assert len({parse(text) for text in ("A", " A", "B", "A+0")}) == 3
    assert A in [B, A] and B not in [A]
    assert (A == None) is False and A != object()  # noqa: E711
    with pytest.raises(TypeError, match="ksexpr.parse"):
        A == "A"  # noqa: B015


def test_parts():
    expression = parse("MODE == 1 && f(Site.remote, -0.5)")
    assert expression.kind == "And" and expression.name is None and expression.value is None
    assert expression.symbols == ("MODE", "f", "Site")
    mode, call = expression.inputs
    assert (mode.kind, mode.inputs[0].name, mode.inputs[1].value) == ("Equal", "MODE", 1)
    assert [part.kind for part in call.inputs] == ["String", "MemberValue", "DoubleValue"]
    assert call.inputs[1].name == "remote" and call.inputs[2].value == -0.5
    assert parse("true").value is True and parse("[1,2,3]").kind == "3D"


def test_dialects():
    m, c = parse("bitand(a, 3) == 1 && ~b"), parse("(a & 3) == 1 && !b", "c")
    assert (m.dialect, c.dialect) == ("m", "c")
    assert m.to_c() == str(c) == "(a&3)==1 && !b"
    assert c.to_m() == str(m) == "bitand(a,3)==1 && ~b"
    assert m.to_c(spaces=False) == "(a&3)==1&&!b"
    assert parse("Site.on && ~true || b").to_preprocessor() == "(Site_on && !1) || b"
    # The dialect of the left side counts.
    assert str(m & c) == "bitand(a,3)==1 && ~b && (bitand(a,3)==1 && ~b)"
    assert str(c | m.inputs[0]) == "(a&3)==1 && !b || (a&3)==1"
    assert repr(m).startswith("ksexpr.parse('bitand") and repr(c).endswith(", 'c')")
    assert eval(repr(c)) == c and eval(repr(m)) == m
    assert m._repr_html_() == "<code>bitand(a,3)==1 &amp;&amp; ~b</code>"
    assert "digraph" in m.to_dot() and '"~"' in m.to_dot() and '"!"' in c.to_dot()


def test_simplify_and_compact():
    assert str(parse("2 + 3 == N && N == 5").simplify()) == "N==5"
    assert str(parse("a && c || b && c").compact()) == "(a || b) && c"


@pytest.mark.parametrize(
    "text, values, expected",
    [
        ("MODE == 1 && ~B", {"MODE": 1, "B": False}, True),
        ("N / 2", {"N": 7}, 3),
        ("N / 2", {"N": 7.0}, 3.5),
        ("[N, N + 1] * 2", {"N": 2}, [4, 6]),
        ("M * 2", {"M": (1, 0.5, True)}, [2, 1.0, 2]),
        ("Site.remote || f(1) > 2", {"Site.remote": False, "f(1)": 3}, True),
        ("bitand(N, 3)", {"N": 6}, 2),
        ("N", {"N": 2**31}, 2.0**31),
        ("A || 1", {"A": True}, True),
    ],
)
def test_eval(text, values, expected):
    found = parse(text).eval(values)
    assert found == expected and type(found) is type(expected)
    keys = {parse(name): value for name, value in values.items()}
    assert parse(text).eval(keys) == expected
    program = ksexpr.Program([parse(text)])
    if not isinstance(expected, list):
        assert program.run({name: [value] for name, value in values.items()}).tolist() == [[expected]]


def test_keywords_win():
    assert parse("values + N").eval({"values": 1, "N": 1}, N=2) == 3
    assert parse("bitand(N, 3)", "c").eval({"bitand(N,3)": 5}) == 5


def test_substitute():
    expression = parse("MODE == 1 && (B || C)")
    assert str(expression.substitute(MODE=1).simplify()) == "B || C"
    assert str(expression.substitute({"MODE": N + 1}, B=False).simplify()) == "C && N+1==1"
    # At once, and the name of a function is none of a variable.
    swapped = parse("x - y + x(1)").substitute(x=parse("y"), y=parse("x"))
    assert str(swapped) == "y-x+x(1)"
    assert str(parse("Site.on && a").substitute({"Site.on": parse("b && a")})) == "b && a && a"
    assert str(parse("bitand(a, 3) == b").substitute(b=2)) == "bitand(a,3)==2"
    assert expression.substitute() == expression


def test_substitution_takes_the_nodes_not_the_tree():
    expression = A
    for _ in range(5000):
        expression = expression & expression
    replaced = expression.substitute(A=B)
    assert replaced.symbols == ("B",)
    assert replaced.eval(B=True) is True


def test_depth_takes_no_stack():
    expression = N
    for number in range(100000):
        expression = expression + 1
    assert expression.eval(N=1) == 100001
    assert str(expression.substitute(N=B)).startswith("B+1+1")
    assert pickle.loads(pickle.dumps(expression)) == expression


def test_pickle():
    for text, dialect in [("a && ~b", "m"), ("a && ~b", "c"), ("x == -1", "m"), ("[1.5,n]", "m"), ("nan + inf", "m")]:
        expression = parse(text, dialect)
        back = pickle.loads(pickle.dumps(expression))
        assert back == expression and back.dialect == dialect and back.table is ksexpr.default_table()
    lonely = parse("a", table=ksexpr.Table())
    assert pickle.loads(pickle.dumps(lonely)) == parse("a")
    for unreadable in (-ksexpr.constant(2), N - -ksexpr.constant(2)):
        with pytest.raises(ValueError, match="no text that is read as this"):
            pickle.dumps(unreadable)


def test_copies_are_the_node_itself():
    lonely = parse("(a & 3) == 1", "c", table=ksexpr.Table())
    for same in (copy.copy(lonely), copy.deepcopy([lonely])[0]):
        assert same == lonely and same.table is lonely.table and same.dialect == "c"
    for whole in (lonely.table, ksexpr.Program([lonely])):
        with pytest.raises(TypeError, match="pickle"):
            copy.copy(whole)


def test_format():
    assert f"{A & B:>8}|{A}" == "  A && B|A"
    with pytest.raises(ValueError):
        format(A, "d")


def test_tables():
    table = ksexpr.Table()
    size = len(table)
    other = parse("A && A", table=table)
    assert len(table) == size + 2 and other.table is table and A.table is ksexpr.default_table()
    for mixed in (
        lambda: A & other,
        lambda: A == other,
        lambda: A.substitute(A=other),
        lambda: A.eval({other: 1}),
        lambda: ksexpr.call("f", A, other),
    ):
        with pytest.raises(ksexpr.TableError, match="copy_to"):
            mixed()
    assert A & other.copy_to(A.table) == parse("A && (A && A)")
    assert ksexpr.call("f", other).table is table
    assert ksexpr.symbol("A", table=table) == other.inputs[0]


@needs_proofs
def test_decider():
    decider = ksexpr.Decider()
    assert decider.decide("M == 1 && N == M && N == 2") == "never"
    assert decider.decide(A | ~A) == "always" and decider.decide(A) == "sometimes"
    assert decider.implies("N > 2", "N > 1") is True and decider.implies("N > 1", "N > 2") is False
    assert decider.exclusive(A, ~A) is True and decider.equivalent(A & B, B & A) is True
    assert decider.decide("1 < N && N < 2") == "sometimes"
    decider.set_integer("N")
    assert decider.decide("1 < N && N < 2") == "never"
    decider.set_values("ARCH", ["arm", "mips", 3])
    assert decider.decide("ARCH == arm || ARCH == mips || ARCH == 3") == "always"
    decider.set_range("R", 0, 1)
    decider.set_boolean("T")
    assert decider.decide("R <= 1 && (T == 0 || T == 1)") == "always"
    decider.assume("bitand(O, 1) == 1 || A")
    assert decider.witness(~A)["A"] is False
    assert decider.witness("ARCH == mips && N > 7 && B")["ARCH"] == "mips"
    assert decider.witness(A & ~A) is None
    with pytest.raises(ksexpr.TableError):
        decider.decide(parse("a", table=ksexpr.Table()))
    with pytest.raises(ValueError):
        decider.set_range("R", float("nan"), 1)
