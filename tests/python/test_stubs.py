"""What the stubs say is what the module has."""

import ast
import doctest
import re
import subprocess
import sys
from pathlib import Path

import pytest

import ksexpr
from conftest import SOURCE, needs_proofs

STUBS = ast.parse((SOURCE / "python/ksexpr/_core.pyi").read_text())


def parameters(function):
    arguments = function.args
    names = [a.arg for a in arguments.posonlyargs + arguments.args]
    if arguments.vararg:
        names.append("*")
    names += [a.arg for a in arguments.kwonlyargs]
    return [name for name in names if name != "self"] + (["**"] if arguments.kwarg else [])


def documented(function):
    """The parameters that the first line of a documentation names."""
    line = function.__doc__.splitlines()[0]
    inside = line[line.index("(") + 1 : line.rindex(") ->")]
    names = []
    depth = 0
    for part in re.split(r",(?![^\[(]*[\])])", inside):
        name = part.split(":")[0].strip()
        if name in ("", "self", "/", "*"):
            continue
        names.append("**" if name.startswith("**") else "*" if name.startswith("*") else name)
    return names


def functions():
    for item in STUBS.body:
        if isinstance(item, ast.FunctionDef):
            yield ksexpr, item
        if isinstance(item, ast.ClassDef) and hasattr(ksexpr, item.name):
            for member in item.body:
                if isinstance(member, ast.FunctionDef):
                    yield getattr(ksexpr, item.name), member


def test_parameters():
    count = 0
    for owner, stub in functions():
        found = getattr(owner, stub.name)
        if isinstance(found, property):
            assert found.__doc__, stub.name
            continue
        if not getattr(found, "__doc__", None) or "(" not in found.__doc__.splitlines()[0]:
            continue
        if stub.name.startswith("__"):
            continue
        count += 1
        assert documented(found) == parameters(stub), (owner, stub.name)
        assert len(found.__doc__.strip().splitlines()) > 1, f"{stub.name} has no documentation"
    assert count > 20


def test_nothing_is_missing():
    named = {item.name for item in STUBS.body if hasattr(item, "name")}
    public = {name for name in dir(ksexpr._core) if not name.startswith("_")}
    assert public <= named and (named - public <= {"Decider"})
    for item in STUBS.body:
        if isinstance(item, ast.ClassDef) and item.name in public:
            stubbed = {m.name for m in item.body if isinstance(m, ast.FunctionDef)}
            members = {n for n in vars(getattr(ksexpr._core, item.name)) if not n.startswith("_")}
            assert members <= stubbed, item.name


def test_what_help_shows():
    classes = [getattr(ksexpr, name) for name in ksexpr.__all__ if name[0].isupper()]
    assert len(set(ksexpr.__all__)) == len(ksexpr.__all__)
    assert set(ksexpr.__all__) >= {name for name in dir(ksexpr._core) if not name.startswith("_")}
    assert {each.__module__ for each in classes} == {"ksexpr", "ksexpr.answers", "ksexpr.errors"}
    assert all(each.__doc__ for each in classes)
    assert doctest.testmod(ksexpr).failed == 0 and "parse" in ksexpr.__doc__


@needs_proofs  # the stubs are those of a package with all of it
def test_mypy_agrees():
    pytest.importorskip("mypy.stubtest")
    if "asan" in __import__("os").environ.get("LD_PRELOAD", ""):
        pytest.skip("takes long")
    done = subprocess.run(
        [sys.executable, "-m", "mypy.stubtest", "ksexpr", "--allowlist",
         str(Path(__file__).parent / "stubtest-allowed.txt"), "--ignore-unused-allowlist"],
        capture_output=True,
        text=True,
        cwd=Path(ksexpr.__file__).parents[1],
    )
    assert done.returncode == 0, done.stdout + done.stderr
