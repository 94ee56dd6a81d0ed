"""Draws how time and memory grow: three pictures of two panels each, with gnuplot."""

import math
import re
import subprocess

# Name of the file, what it shows, label of x, and in the names of which series.
PICTURES = [
    ("growth-message", "Messages", "bytes of the message", r"^(en|de)code$"),
    ("growth-keys", "Sets of keys", "keys", r"^set_|^helper_|_kid$"),
    ("growth-pieces", "Hostile texts of many pieces", "dots or pieces", r"dots|pieces"),
    ("growth-hostile", "Hostile tokens", "bytes of the header or the token", r""),
]
# Told apart by those who see no red or green too (Okabe and Ito).
COLOURS = ["#0072B2", "#D55E00", "#009E73", "#CC79A7", "#E69F00", "#56B4E9", "#000000"]
SET_UP = """set terminal svg size 860,440 font "sans-serif,13" background "#ffffff"
set logscale xy
set format x "10^{%T}"
set format y "10^{%T}"
set key below maxrows 3 samplen 3
unset mxtics
unset mytics
set grid linecolor "#dddddd"
set multiplot layout 1,2 title "TITLE"
"""


def panel(growth, column, title):
    """The commands that draw one panel: the series, and a line of slope 1 below the end of the highest."""
    lines, data = [], []
    known = {series: {x: values[column] for x, values in sorted(points.items()) if values[column]}
             for series, points in growth.items()}
    known = {series: points for series, points in known.items() if points}
    for number, (series, points) in enumerate(known.items()):
        data.append(f"${series}{column} << end\n" + "".join(f"{x} {y}\n" for x, y in points.items()) + "end\n")
        name = series.replace("_", " ").removeprefix("hostile ")
        lines.append(f'${series}{column} with linespoints linewidth 2 pointtype {number + 5} pointsize 0.6 '
                     f'linecolor "{COLOURS[number % len(COLOURS)]}" title "{name}"')
    if not lines:
        return ""
    slope = max(y / x for points in known.values() for x, y in list(points.items())[-1:]) / 3
    lines.append(f'{slope} * x with lines dashtype 2 linecolor "#888888" title "in proportion"')
    values = [y for points in known.values() for y in points.values()]
    low, high = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))
    set_up = f'set title "{title}"\nset yrange [1e{low}:1e{high}]\n'
    return "".join(data) + set_up + "plot " + ", \\\n  ".join(lines) + "\n"


def script(growth, title, label):
    panels = [panel(growth, 0, f"microseconds, by {label}"), panel(growth, 1, f"bytes of heap, by {label}")]
    return SET_UP.replace("TITLE", title) + "".join(panels) + "unset multiplot\n"


def draw(results, folder):
    """Writes the pictures and returns the Markdown that shows them."""
    growth = {picture: {} for picture in PICTURES}
    for series, points in results.growth.items():
        picture = next(picture for picture in PICTURES if re.search(picture[3], series))
        growth[picture][series] = points
    for (name, title, label, _), its_growth in growth.items():
        drawn = subprocess.run(["gnuplot"], input=script(its_growth, title, label), text=True, check=True,
                               stdout=subprocess.PIPE).stdout
        (folder / f"{name}.svg").write_text(drawn)
    return "\n".join(f"![{title}: time and peak heap, by {label}]({name}.svg)\n" for name, title, label, _ in growth)
