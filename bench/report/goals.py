"""The goals, and how the figure of each is computed from the results."""

from dataclasses import dataclass
from typing import Callable

import tables
from results import Missing, above_floor, quartiles, ratio

ENC = "A128CBC-HS256"
LARGEST = 16 << 20
IN_CACHE = 48 << 10


class Implausible(Missing):
    """A figure that is too good to be true."""


@dataclass
class Goal:
    """A limit, and the figure of a party to compare with it."""

    what: str
    limit: float
    figure_of: Callable  # (results, who); raises Missing
    text: Callable = "{:.2f}".format
    at_least: bool = False
    least_possible: float = 0  # a lower figure means that the measurement is wrong
    peers: Callable = lambda results: results.peers("owned", "encode", "decode")
    quartiles_of: Callable = None  # (results, who)

    def figure(self, results, who):
        figure = self.figure_of(results, who)
        if figure < self.least_possible:
            raise Implausible(f"{self.text(figure)} is less than the work can take")
        return figure

    def verdict(self, figure):
        if figure >= self.limit if self.at_least else figure <= self.limit:
            return "met"
        factor = self.limit / figure if self.at_least else figure / self.limit
        return f"missed by a factor of {factor:.3f}"

    def best_peer(self, results):
        """Returns (figure, name) of the best peer, or None if no peer was measured."""
        figures = []
        for who in self.peers(results):
            try:
                figures.append((self.figure(results, who), who))
            except Missing:
                continue
        return (max if self.at_least else min)(figures, default=None)


def instructions(operation, limit):
    return Goal(f"instructions above the floor, 1 KiB, {operation}", limit,
                lambda results, who: above_floor(results, operation, who, ENC, 1 << 10), tables.count)


def time(what, heap, size, operation, limit):
    return Goal(f"time / floor, {what}, {operation}", limit,
                lambda results, who: ratio(results, heap, operation, who, ENC, size), tables.ratio, least_possible=0.9,
                quartiles_of=lambda results, who: quartiles(results, heap, operation, who, ENC, size))


def heap(operation, limit):
    return Goal(f"peak heap / message, 16 MiB, {operation}", limit,
                lambda results, who: results.median(f"peak/{operation}/{who}/{ENC}/{LARGEST}") / LARGEST)


def es256k(operation, limit):
    """How many times as fast as the floor, which is OpenSSL's implementation of secp256k1."""
    return Goal(f"ES256K {operation}, times as fast as OpenSSL", limit,
                lambda results, who: 1 / ratio(results, "single", operation, who, "ES256K", 1 << 10), at_least=True,
                peers=lambda _: [])


def base64(build, operation, limit):
    """OpenSSL takes the place of the peers."""
    return Goal(f"base64url {operation}, {build}, GB/s", limit,
                lambda results, who: results.median(f"{build}/base64_{operation}/{who}/{IN_CACHE}") / 1e9,
                at_least=True, peers=lambda _: ["openssl"])


GOALS = [
    instructions("encode", 20_000),
    instructions("decode", 25_000),
    time("1 KiB", "owned", 1 << 10, "encode", 1.01),
    time("1 KiB", "owned", 1 << 10, "decode", 1.01),
    time("64 KiB", "owned", 64 << 10, "encode", 1.03),
    time("64 KiB", "owned", 64 << 10, "decode", 1.03),
    time("1 MiB", "owned", 1 << 20, "encode", 1.10),
    time("1 MiB", "owned", 1 << 20, "decode", 1.10),
    time("16 MiB, owned heap", "owned", LARGEST, "encode", 1.20),
    time("16 MiB, owned heap", "owned", LARGEST, "decode", 1.20),
    time("16 MiB, fresh pages", "fresh", LARGEST, "encode", 1.5),
    time("16 MiB, fresh pages", "fresh", LARGEST, "decode", 1.6),
    heap("encode", 1.9),
    heap("decode", 1.4),
    es256k("sign", 8),
    es256k("verify", 8),
    base64("simd", "encode", 8),
    base64("simd", "decode", 8),
    base64("portable", "encode", 2),
    base64("portable", "decode", 2),
]


def block(results):
    """Returns the table, and a Missing for each goal without a figure."""
    rows, unmeasured, notes = [], [], tables.Notes()
    for goal in GOALS:
        best = goal.best_peer(results)
        row = [goal.what, f"{best[1]} {goal.text(best[0])}" if best else "-",
               ("at least " if goal.at_least else "at most ") + f"{goal.limit:,}"]
        try:
            figure = goal.figure(results, "torvane")
            spread = tables.span(goal.quartiles_of(results, "torvane")) if goal.quartiles_of else ""
            row += [goal.text(figure), spread, goal.verdict(figure)]
        except Missing as missing:
            row += [notes.cell(str(missing)), "", "not measured"]
            unmeasured.append(missing)
        rows.append(row)
    head = ["", "best peer", "goal", "torvane", "quartiles", "verdict"]
    return tables.table(head, rows) + notes.below(results), unmeasured
