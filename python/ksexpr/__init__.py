"""Symbolic expressions and the variant conditions of block diagrams.

    >>> import ksexpr
    >>> condition = ksexpr.parse("MODE == 1 && ~B && (MODE > 0 || C)")
    >>> print(condition.simplify())
    ~B && MODE==1
    >>> condition.eval(MODE=1, B=False, C=False)
    True

Expressions lie in a table that all share unless another is asked for. Functions that take long
leave the interpreter to other threads; those on one table follow each other.
"""

from . import _core
from ._core import (
    Block as Block,
    Expression as Expression,
    Model as Model,
    Program as Program,
    Table as Table,
    call as call,
    constant as constant,
    default_table as default_table,
    dimensions as dimensions,
    parse as parse,
    symbol as symbol,
)
from .answers import (
    Active as Active,
    BlockCondition as BlockCondition,
    Cover as Cover,
    Difference as Difference,
    Finding as Finding,
    Step as Step,
    Why as Why,
)
from .errors import (
    Error as Error,
    EvalError as EvalError,
    LimitError as LimitError,
    ModelError as ModelError,
    ModelWarning as ModelWarning,
    ParseError as ParseError,
    TableError as TableError,
)

__all__ = [
    "Active",
    "Block",
    "BlockCondition",
    "Cover",
    "Difference",
    "Error",
    "EvalError",
    "Expression",
    "Finding",
    "LimitError",
    "Model",
    "ModelError",
    "ModelWarning",
    "ParseError",
    "Program",
    "Step",
    "Table",
    "TableError",
    "Why",
    "call",
    "constant",
    "default_table",
    "dimensions",
    "parse",
    "symbol",
]

# What decides is left out where CaDiCaL was missing when the package was built.
if hasattr(_core, "Decider"):
    from ._core import Decider as Decider

    __all__ += ["Decider"]


def _parse_pickled(text: str, dialect: str) -> Expression:
    """What a pickled expression calls to be there again."""
    return parse(text, dialect)
