"""What the functions of ksexpr raise, besides Python's own TypeError, ValueError and the like."""


class Error(ValueError):
    """Any of these."""


class ParseError(Error):
    """A text that is no expression.

    text: the text.
    position: the index of the character at which it stops making sense; its length where it ends
        too early.
    expected: what was expected there, such as "an operand".
    note: what explains it where that is not obvious, or "".
    excerpt: the line, and one with a caret below the place.
    """

    text: str
    position: int
    expected: str
    note: str
    excerpt: str

    def __init__(
        self, text: str, position: int, expected: str, note: str = "", excerpt: str = ""
    ) -> None:
        super().__init__(text, position, expected, note, excerpt)
        self.text = text
        self.position = position
        self.expected = expected
        self.note = note
        self.excerpt = excerpt

    def __str__(self) -> str:
        message = f"expected {self.expected} at position {self.position}\n{self.excerpt}"
        return message.rstrip("\n") + (f"\n{self.note}" if self.note else "")


class EvalError(Error):
    """An expression has no value, such as one with a variable that none was given for."""


class LimitError(Error):
    """An answer would be longer or larger than the library makes it."""


class ModelError(Error):
    """A model, or a question about one, does not make sense."""


class TableError(Error):
    """Expressions of different tables, where one table is asked for."""


class ModelWarning(UserWarning):
    """What is odd about a model or a question, but leaves an answer."""
