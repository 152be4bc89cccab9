import os
import subprocess
import sys
from pathlib import Path

import pytest

import ksexpr

SOURCE = Path(__file__).resolve().parents[2]

needs_proofs = pytest.mark.skipif(
    not hasattr(ksexpr, "Decider"), reason="built without the library that decides"
)


@pytest.fixture
def station():
    """The sample model, in a table of its own."""
    return ksexpr.Model.load(SOURCE / "examples/pump-station.json", table=ksexpr.Table())


@pytest.fixture
def ksexpr_tool():
    """The tool, whose answers are those of the module."""
    if "KSEXPR" not in os.environ:
        pytest.skip("KSEXPR does not name the tool")
    return os.environ["KSEXPR"]


@pytest.fixture
def run_python():
    """Runs a program in a process of its own, whose output is given back."""

    def run(program, seconds=60):
        done = subprocess.run(
            [sys.executable, "-c", program], capture_output=True, text=True, timeout=seconds
        )
        assert done.returncode == 0, done.stderr
        return done.stdout

    return run
