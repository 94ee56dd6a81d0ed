"""Markdown tables with aligned columns, and the format of the figures in them."""

import re

from results import Missing


def table(head, rows):
    """Aligns all columns but the first to the right."""
    rows = [[str(cell) for cell in row] for row in [head, *rows]]
    widths = [max(map(len, column)) for column in zip(*rows)]
    lines = ["| " + " | ".join(cell.rjust(width) if column else cell.ljust(width)
                               for column, (cell, width) in enumerate(zip(row, widths))) + " |" for row in rows]
    lines.insert(1, "|" + "|".join("-" * (width + 1) + (":" if column else "-")
                                   for column, width in enumerate(widths)) + "|")
    return "\n".join(lines) + "\n"


def ratio(value):
    return f"{value:.3f}" if value < 2 else f"{value:.2f}" if value < 10 else f"{value:,.0f}"


def span(quartiles):
    return " to ".join(map(ratio, quartiles))


def count(value):
    return f"{value:,.0f}"


def time(microseconds):
    if microseconds >= 1e6:
        return f"{microseconds / 1e6:,.2f} s"
    if microseconds >= 1e3:
        return f"{microseconds / 1e3:.4g} ms"
    return f"{microseconds:.3g} us"


def memory(size):
    return f"{size / (1 << 20):,.2f} MiB" if size >= 1 << 20 else f"{size / 1024:.1f} KiB"


def size(number):
    """A message size, in the largest unit that divides it."""
    number = int(number)
    for unit, name in ((1 << 20, "MiB"), (1 << 10, "KiB")):
        if number >= unit and number % unit == 0:
            return f"{number // unit} {name}"
    return f"{number} B"


class Notes:
    """Reasons for missing figures: a short word in the cell, the full text below the table."""

    WORDS = [("signal", "crashes"), ("20 s|second|time", "time"), ("memory|alloc|GiB", "memory")]

    def __init__(self):
        self.texts = []

    def cell(self, why):
        if why.endswith("not run"):
            return "not run"
        if why not in self.texts:
            self.texts.append(why)
        word = next((word for pattern, word in self.WORDS if re.search(pattern, why)), "fails")
        return f"{word} ({self.texts.index(why) + 1})"

    def of(self, text, get, *arguments):
        """The formatted result of `get`, or a reference to the reason why there is none."""
        try:
            return text(get(*arguments))
        except Missing as missing:
            return self.cell(str(missing))

    def below(self, results=None):
        """The reasons and, if results are given, how the work of each peer differs."""
        remarks = results.remarks.items() if results else []
        return "".join([*(f"\n({number}) {text}\n" for number, text in enumerate(self.texts, 1)),
                        *(f"\n{who}: {text}\n" for who, text in sorted(remarks))])
