import json
import subprocess
import warnings

import pytest

import ksexpr
from conftest import SOURCE, needs_proofs

SMALL = {
    "blocks": [
        {"id": "Top", "parent": None, "VV": "A > 1", "CG": "G"},
        {"id": "Leaf", "parent": "Top", "VV": "A > 2"},
        {"id": "Dead", "parent": "Leaf", "VV": "A < 1"},
    ]
}


def model(content=SMALL, **options):
    return ksexpr.Model.from_dict(content, table=ksexpr.Table(), **options)


def test_blocks(station):
    assert len(station) == 34 and "Brake" in station and "Brakes" not in station
    brake = station["Brake"]
    assert brake.parent == station["Drive"] and brake in brake.parent.children
    assert [child.id for child in station["Drive"].children][:2] == ["Ramp", "StarDelta"]
    assert station["Station"].parent is None and station["Brake"].children == ()
    assert [block.id for block in station] == [block.id for block in station.blocks]
    assert len({block for block in station} | set(station.blocks)) == 34
    assert brake.text == "bitand(Options, 1) ~= 0" and str(brake.local) == "bitand(Options,1)~=0"
    assert str(brake.net) == "Inverter && Stages>=1 && bitand(Options,1)~=0"
    assert str(station["StarDelta"].net) == "false"
    assert brake.net.table is station.table and repr(brake) == "<ksexpr.Block 'Brake'>"
    assert "\ud800" not in station and 3 not in station
    assert station._ipython_key_completions_() == [block.id for block in station]
    with pytest.raises(KeyError, match='did you mean "Brake"'):
        station["Brakes"]


def test_conditions_are_those_of_the_tool(ksexpr_tool):
    path = SOURCE / "examples/pump-station.json"

    def tool(style):
        command = [ksexpr_tool, "conditions", path, "--format", "json", "--style", style]
        return json.loads(subprocess.run(command, capture_output=True, check=True).stdout)

    for family in ("vv", "cg"):
        loaded = ksexpr.Model.load(path, family=family)
        for canonical, compact in zip(tool("canonical"), tool("compact")):
            block = loaded[canonical["block"]]
            for found, expected in [
                (block.local, canonical[family]["local"]),
                (block.net, canonical[family]["net"]),
                (block.net_compact, compact[family]["net"]),
            ]:
                assert found == ksexpr.parse(expected or "true"), block


def test_families():
    assert str(model(family="cg")["Leaf"].net) == "G" and str(model()["Leaf"].net) == "A>2"
    with pytest.raises(ValueError, match="family"):
        model(family="x")


@pytest.mark.parametrize(
    "content, message",
    [
        ({"blocks": [{"id": "a", "parent": "b"}]}, 'unknown parent "b"'),
        ({"blocks": [{"id": "a", "parent": None}] * 2}, "defined twice"),
        ({"blocks": 3}, "<dict>:2:"),
        ({"blocks": [{"id": "\ud800"}]}, "<dict>"),
        ([], "<dict>"),
        ({"blocks": [], "constraints": ["a +"]}, "an operand"),
    ],
)
def test_models_that_are_none(content, message, tmp_path):
    with pytest.raises(ksexpr.ModelError, match=message):
        model(content)
    for wrong, error in [
        ({"blocks": [{"id": float("nan"), "parent": None}]}, ValueError),
        ({"blocks": [{"id": object()}]}, TypeError),
        (None, ksexpr.ModelError),
    ]:
        with pytest.raises(error):
            model(wrong)
    deep = []
    for _ in range(100000):
        deep = [deep]
    with pytest.raises(RecursionError):
        model(deep)
    while deep:
        deep = deep[0]


def test_files(tmp_path):
    file = tmp_path / "model.json"
    file.write_bytes(b"\xef\xbb\xbf" + json.dumps(SMALL).encode())
    assert len(ksexpr.Model.load(str(file))) == len(ksexpr.Model.load(file)) == 3
    file.write_text('{"blocks": [{"id": "a", "parent": null, "colour": 1}]}')
    with pytest.warns(ksexpr.ModelWarning, match="colour"):
        ksexpr.Model.load(file)
    file.write_bytes(b"\xff{")
    with pytest.raises(ksexpr.ModelError, match="model.json:1:1"):
        ksexpr.Model.load(file)
    for path, error in [
        (tmp_path / "none", FileNotFoundError),
        (tmp_path, IsADirectoryError),
        ("a\0b", ValueError),
        (3, TypeError),
    ]:
        with pytest.raises(error):
            ksexpr.Model.load(path)


def test_conditions_that_do_not_parse():
    broken = model(
        {
            "blocks": [
                {"id": "a", "parent": None, "VV": "x &&"},
                {"id": "b", "parent": "a", "VV": "c"},
                {"id": "d", "parent": None},
            ]
        }
    )
    for id in "ab":
        with pytest.raises(ksexpr.ModelError, match='block "a", VV, column 5: expected an operand'):
            broken[id].net
    assert str(broken["d"].net) == "true"


@needs_proofs
def test_active():
    small = model()
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        states = [tuple(answer) for answer in small.active(A=2, residual=True)]
    assert states == [
        ("Top", None, "active", "true"),
        ("Leaf", "Top", "inactive", "false"),
        ("Dead", "Leaf", "inactive", "false"),
    ]
    opened = small.active(residual=True)
    assert opened[0] == ksexpr.Active("Top", None, "open", "A > 1") and opened[2].state == "inactive"
    assert small.active()[0].residual is None
    assert small.active(assume=["A == 2"])[0].state == small.active({"A": 2})[0].state
    with pytest.warns(ksexpr.ModelWarning, match='B: the model has no such variable'):
        small.active(B=1)
    with pytest.raises(ksexpr.ModelError, match="^<assume>:1:4: expected an operand"):
        small.active(assume=["A +"])
    with pytest.warns(ksexpr.ModelWarning, match='^assume: the model has no variable "B"'):
        small.active(assume=["B"])
    with pytest.raises(TypeError, match="list of conditions"):
        small.active(assume="A")
    for value, error in [("x", ksexpr.ModelError), ([1], TypeError), (None, TypeError)]:
        with pytest.raises(error):
            small.active(A=value)


@needs_proofs
def test_answers_are_those_of_the_tool(station, ksexpr_tool):
    path = str(SOURCE / "examples/pump-station.json")

    def tool(*arguments):
        done = subprocess.run(
            [ksexpr_tool, arguments[0], path, "--format", "json", *arguments[1:]],
            capture_output=True,
        )
        return json.loads(done.stdout)

    given = ("-D", "Mains=1", "-D", "Power=5", "-D", "Site.remote=false")
    values = {"Mains": 1, "Power": 5, "Site.remote": False}
    for found, expected in zip(station.active(values, residual=True), tool("active", *given)):
        assert found._asdict() == {**expected, "residual": expected["residual"] or "true"}
    for id in ("Generator", "StarDelta", "Brake", "Station"):
        found, expected = station.why(id, values), tool("why", "--block", id, *given)
        assert found.state == expected["state"]
        assert [step.value for step in found.path] == [step["value"] for step in expected["path"]]
        assert [list(step.fails) for step in found.path] == [s["fails"] for s in expected["path"]]
        assert found.change == expected["change"]
        assert found.change_proven == expected["changeProven"]
        assert found.chosen == expected.get("chosen", {})
        assert [c._asdict() for c in found.contradiction] == expected["contradiction"]
        assert found.contradiction_proven == expected["contradictionProven"]
    checked = station.check(variants="all")
    expected = tool("check", "--variants", "all")
    assert [(f.block, f.verdict, list(f.children)) for f in checked] == [
        (e["block"], e["verdict"], e.get("children", [])) for e in expected
    ]
    for found, entry in zip(checked, expected):
        assert [c._asdict() for c in found.because] == entry.get("because", [])
        assert found.inherited == entry.get("inherited", False)
        assert found.witness == entry.get("witness", {})
    covered = tool("cover")
    assert station.cover()._asdict() == {
        "lower_bound" if name == "lowerBound" else name: value for name, value in covered.items()
    }


@needs_proofs
def test_diff():
    newer = json.loads(json.dumps(SMALL))
    newer["blocks"][0]["VV"] = "A > 3"
    newer["blocks"][1]["parent"] = None
    newer["blocks"].append({"id": "New", "parent": None})
    old, new = model(), model(newer)
    found = {(entry.block, entry.change): entry for entry in old.diff(new)}
    assert found["Top", "condition"].old == "A > 1" and found["Top", "condition"].new == "A > 3"
    assert 1 < found["Top", "condition"].witness["A"] <= 3
    moved = found["Leaf", "moved"]
    assert (moved.old_parent, moved.new_parent) == ("Top", None)
    assert found["New", "added"].old is None and found["New", "added"].new == "true"
    assert ("New", "removed") in {(entry.block, entry.change) for entry in new.diff(old)}
    assert old.diff(old) == []
    with pytest.raises(ValueError, match="families"):
        old.diff(model(family="cg"))
    with pytest.raises(TypeError):
        old.diff(None)


@needs_proofs
def test_why_and_report(station, tmp_path):
    small = model()
    found = small.why("Dead", A=1)
    assert found.state == "never" and {c.block for c in found.contradiction} <= {"Top", "Leaf", "Dead"}
    assert small.why("Top", A=1).change == {"A": 3} or small.why("Top", A=1).change["A"] > 1
    assert small.why(small["Dead"], A=1) == found
    assert small.check(variants=[small["Top"]]) == small.check(variants="Top")
    with pytest.raises(KeyError):
        small.why("None")
    with pytest.raises(KeyError, match="Brake"):
        small.why(station["Brake"])
    small.report(tmp_path / "page.html")
    assert "Leaf" in (tmp_path / "page.html").read_text()
    with pytest.raises(ksexpr.ModelError, match="cannot write"):
        small.report(tmp_path / "none" / "page.html")
    contrary = model({"blocks": [], "constraints": ["a", "~a"]})
    for ask in (contrary.active, contrary.check, contrary.cover):
        with pytest.raises(ksexpr.ModelError, match="nothing satisfies"):
            ask()
