"""Conditions as models have them: names, negations, a few relations."""

import random


def generated(count, names, values, most, plain, negated):
    """The same conditions in every run: over so many names and values, with at most so many operands
    of a connective, and with these chances that an operand is a name or one of names and negations."""
    numbers = random.Random(1)

    def term(depth):
        if depth == 0 or numbers.random() < 0.3:
            name = f"V{numbers.randrange(names)}"
            kind = numbers.random()
            if kind < negated:
                return name if kind < plain else f"~{name}"
            return f"{values[0]}{name} == {numbers.randrange(values[1])}"
        operator = " && " if numbers.random() < 0.7 else " || "
        return "(" + operator.join(term(depth - 1) for _ in range(numbers.randint(2, most))) + ")"

    return [term(2) for _ in range(count)]
