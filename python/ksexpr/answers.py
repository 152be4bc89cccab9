"""The answers of models: named tuples, lists of which a data frame takes as they are."""

from typing import Dict, List, NamedTuple, Optional, Tuple, Union

Value = Union[bool, int, float, str]
"""A truth value, a number, or the name of a constant."""


class Active(NamedTuple):
    """Whether a block is active under the given values."""

    block: str
    parent: Optional[str]
    #: "active", "inactive", "open", or None where its condition has no answer.
    state: Optional[str]
    #: The condition under which it is active, where that is asked for.
    residual: Optional[str]


class BlockCondition(NamedTuple):
    """A condition and the block that has it."""

    block: str
    condition: str


class Step(NamedTuple):
    """A block on the path to another one."""

    block: str
    condition: str
    #: Whether the condition holds; None where that is open.
    value: Optional[bool]
    #: The parts of the condition that do not hold.
    fails: Tuple[str, ...]


class Why(NamedTuple):
    """Why a block is on or off."""

    block: str
    #: "active", "inactive", "open", "never" or "unknown".
    state: str
    path: Tuple[Step, ...]
    #: The fewest given values to change, and values for what has none, that would turn it on.
    change: Optional[Dict[str, Value]]
    change_proven: bool
    chosen: Dict[str, Value]
    #: Conditions on the path that exclude each other.
    contradiction: Tuple[BlockCondition, ...]
    contradiction_proven: bool
    #: What the given values and the constraints have against each other, or "".
    broken_rules: str


class Finding(NamedTuple):
    """What a check finds about a block or about the variants below it."""

    block: str
    #: "never", "always", "implied", "overlap", "gap" or "unknown".
    verdict: str
    #: Whether a block above has the same.
    inherited: bool
    #: What proves it.
    because: Tuple[BlockCondition, ...]
    #: The arithmetic that stands in the way of an answer.
    terms: Tuple[str, ...]
    #: The variants that it is about, and values that show it.
    children: Tuple[str, ...]
    witness: Dict[str, Value]


class Difference(NamedTuple):
    """What differs about a block between two models."""

    block: str
    #: "added", "removed", "moved", "condition", "spelling" or "unknown".
    change: str
    #: Whether it is the block's own condition that changed, else the block whose change it is.
    own: bool
    cause: Optional[str]
    #: The conditions before and after.
    old: Optional[str]
    new: Optional[str]
    newly_never: bool
    #: Values that tell the conditions apart.
    witness: Optional[Dict[str, Value]]
    old_parent: Optional[str]
    new_parent: Optional[str]


class Cover(NamedTuple):
    """Configurations that have every block on and off."""

    configurations: List[Dict[str, Value]]
    #: How many there have to be at least.
    lower_bound: int
    never: List[str]
    always: List[str]
    #: The blocks of which it is not known, or that no configuration has both on and off.
    unknown: List[str]
