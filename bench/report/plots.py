"""Draws how time and memory grow: one SVG of two panels, time and peak heap, for each group of series."""

import math
import re
from xml.sax.saxutils import escape

# File name, title, label of x, and a pattern of the series that it shows. A series goes to the first that matches.
PICTURES = [
    ("growth-message", "Messages", "bytes of the message", r"^(en|de)code$"),
    ("growth-keys", "Sets of keys", "keys", r"^set_|^helper_|_kid$"),
    ("growth-parts", "Hostile tokens of many parts", "dots or parts", r"dots|parts"),
    ("growth-hostile", "Hostile tokens", "bytes of the header or the token", r""),
]
# Readers who see no red or green can tell these apart too (Okabe and Ito). Shapes of markers help them as well.
COLOURS = ["#0072b2", "#d55e00", "#009e73", "#cc79a7", "#e69f00", "#56b4e9", "#000000"]
SHAPES = ['<circle cx="5" cy="5" r="3"/>', '<rect x="2" y="2" width="6" height="6"/>',
          '<polygon points="5,1 9,8 1,8"/>']
WIDTH, TOP, BOTTOM = 860, 62, 318
PANELS = [(64, 404), (484, 824)]
LEGEND_TOP, LEGEND_COLUMNS = 362, 4
STYLE = """text{font:12px sans-serif;text-anchor:middle}.y{text-anchor:end}.k{text-anchor:start}.t{font-size:14px}
path,polyline{fill:none;stroke-width:2}.g{stroke:#ddd;stroke-width:1}.f{stroke:#444;stroke-width:1}
.p{stroke:#888;stroke-width:1.5;stroke-dasharray:5 4}marker *{stroke:none}"""


def number(value):
    return f"{value:.1f}".removesuffix(".0")


def amount(exponent, units):
    """A power of ten with its unit: the units are a factor of 1000 apart and the first one is for 1."""
    thousands, rest = divmod(exponent, 3)
    if thousands < 0:
        return f"0.{'0' * (-exponent - 1)}1 {units[0]}".strip()
    return f"{10**rest} {units[thousands]}".strip()


def decades(values):
    """The exponents of the powers of ten that enclose all values."""
    low, high = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))
    return low, max(high, low + 1)


class Panel:
    """One pair of logarithmic axes. `series` maps a name to its points {x: y}, all of them above zero."""

    def __init__(self, sides, series):
        self.left, self.right = sides
        self.series = series
        self.x_decades = decades([x for points in series.values() for x in points])
        self.y_decades = decades([y for points in series.values() for y in points.values()])

    def x(self, value):
        low, high = self.x_decades
        return self.left + (math.log10(value) - low) / (high - low) * (self.right - self.left)

    def y(self, value):
        low, high = self.y_decades
        return BOTTOM - (math.log10(value) - low) / (high - low) * (BOTTOM - TOP)

    def axes(self, title, units):
        grid = ""
        for exponent in range(self.x_decades[0], self.x_decades[1] + 1):
            at = number(self.x(10.0**exponent))
            grid += f"M{at} {TOP}V{BOTTOM}"
            yield f'<text x="{at}" y="{BOTTOM + 18}">{amount(exponent, ["", "k", "M", "G"])}</text>'
        for exponent in range(self.y_decades[0], self.y_decades[1] + 1):
            at = self.y(10.0**exponent)
            grid += f"M{self.left} {number(at)}H{self.right}"
            yield f'<text class="y" x="{self.left - 6}" y="{number(at + 4)}">{amount(exponent, units)}</text>'
        yield f'<path class="g" d="{grid}"/>'
        yield f'<path class="f" d="M{self.left} {TOP}H{self.right}V{BOTTOM}H{self.left}z"/>'
        yield f'<text x="{(self.left + self.right) // 2}" y="{TOP - 12}">{escape(title)}</text>'

    def proportional(self):
        """A line of slope 1 below the end of the steepest series, cut off at the edges of the panel."""
        slope = max(points[max(points)] / max(points) for points in self.series.values()) / 3
        (x_low, x_high), (y_low, y_high) = self.x_decades, self.y_decades
        begin, end = max(10.0**x_low, 10.0**y_low / slope), min(10.0**x_high, 10.0**y_high / slope)
        if begin < end:
            ends = (number(place) for x in (begin, end) for place in (self.x(x), self.y(slope * x)))
            yield '<path class="p" d="M{} {}L{} {}"/>'.format(*ends)

    def lines(self, numbers):
        for name, points in self.series.items():
            places = " ".join(f"{number(self.x(x))},{number(self.y(y))}" for x, y in sorted(points.items()))
            yield f'<polyline class="s{numbers[name]}" points="{places}"/>'


def legend(names):
    width = (WIDTH - PANELS[0][0]) // LEGEND_COLUMNS
    for position, name in enumerate([*names, "in proportion"]):
        row, column = divmod(position, LEGEND_COLUMNS)
        x, y = PANELS[0][0] + column * width, LEGEND_TOP + row * 20
        if position < len(names):
            yield f'<polyline class="s{position}" points="{x},{y} {x + 16},{y} {x + 32},{y}"/>'
        else:
            yield f'<path class="p" d="M{x} {y}h32"/>'
        shown = escape(name.replace("_", " ").removeprefix("hostile "))
        yield f'<text class="k" x="{x + 40}" y="{y + 4}">{shown}</text>'


def picture(growth, title, label):
    """The SVG of {series: {x: (microseconds, bytes)}}."""
    numbers = {name: number for number, name in enumerate(growth)}
    style, shapes, body = STYLE, "", []
    for index in numbers.values():
        colour, shape = COLOURS[index % len(COLOURS)], SHAPES[index % len(SHAPES)]
        style += f"\n.s{index}{{stroke:{colour};marker:url(#m{index})}}"
        shapes += f'<marker id="m{index}" viewBox="0 0 10 10" refX="5" refY="5" markerWidth="5" markerHeight="5" '
        shapes += f'fill="{colour}">{shape}</marker>\n'
    for column, (sides, what, units) in enumerate(zip(PANELS, ("time", "peak heap"),
                                                      (["µs", "ms", "s", "ks"], ["B", "kB", "MB", "GB"]))):
        series = {name: {x: values[column] for x, values in points.items() if values[column]}
                  for name, points in growth.items()}
        series = {name: points for name, points in series.items() if points}
        if series:
            panel = Panel(sides, series)
            body += [*panel.axes(f"{what}, by {label}", units), *panel.proportional(), *panel.lines(numbers)]
    height = LEGEND_TOP + len(growth) // LEGEND_COLUMNS * 20 + 18
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" role="img" '
        f'aria-label="{escape(title)}: time and peak heap, by {escape(label)}">',
        f"<style>{style}</style>", f"<defs>{shapes}</defs>", f'<rect width="{WIDTH}" height="{height}" fill="#fff"/>',
        f'<text class="t" x="{WIDTH // 2}" y="24">{escape(title)}</text>', *body, *legend(list(growth)), "</svg>", ""
    ])


def draw(results, folder):
    """Writes the pictures and returns the Markdown that shows them."""
    growth = {picture: {} for picture in PICTURES}
    for series, points in results.growth.items():
        chosen = next(picture for picture in PICTURES if re.search(picture[3], series))
        growth[chosen][series] = points
    for (name, title, label, _), its_growth in growth.items():
        (folder / f"{name}.svg").write_text(picture(its_growth, title, label))
    return "\n".join(f"![{title}: time and peak heap, by {label}]({name}.svg)\n" for name, title, label, _ in growth)
