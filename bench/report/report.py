"""Prints the measurements and the goals as tables: report.py RESULTS [--write PAGE]

With --write, also puts the tables between the markers of PAGE and draws the pictures beside it. Fails if a goal has no
figure; a missed goal is not a failure, and neither is an implausible figure of a quick run.
"""

import argparse
import collections
import math
import pathlib
import re
import sys

import goals
import plots
import profile_table
import results as measured
import tables
from results import Missing, above_floor, quartiles, ratio

FEWEST_ROUNDS = 7


def ratio_rows(results, notes, what, parties, *operations):
    """Yields a row per case: the time of the floor, and each party's ratio to it; for torvane also the quartiles."""
    for algorithm, operation, size in results.cases(what, *operations):
        floor = notes.of(tables.time, results.median, f"{what}/{operation}/floor/{algorithm}/{size}")
        row = [f"{operation.replace('_', ' ')} {algorithm} {tables.size(size)}", floor]
        for who in parties:
            case = (results, what, operation, who, algorithm, size)
            row.append(notes.of(tables.ratio, ratio, *case))
            if who == "torvane":
                row.append(notes.of(tables.span, quartiles, *case))
        yield row


def ratio_table(results, notes, what, *operations):
    parties = ["torvane", *results.peers(what, *operations)]
    return tables.table(["", "floor", "torvane", "quartiles", *parties[1:]],
                        ratio_rows(results, notes, what, parties, *operations))


def time_block(results):
    notes = tables.Notes()
    owned, fresh = (ratio_table(results, notes, what, "encode", "decode") for what in ("owned", "fresh"))
    owned, fresh = f"Heap memory that the process owns:\n\n{owned}", f"Fresh pages for every call:\n\n{fresh}"
    return f"{owned}\n{fresh}{notes.below(results)}"


def table_of(results, what, *operations):
    notes = tables.Notes()
    return ratio_table(results, notes, what, *operations) + notes.below()


def heap_block(results):
    notes, rows = tables.Notes(), []
    parties = ["floor", "torvane", *results.peers("peak", "encode", "decode")]
    for enc, operation, size in results.cases("peak", "encode", "decode"):
        names = [f"{operation}/{who}/{enc}/{size}" for who in parties]
        rows.append([f"{operation} {enc} {tables.size(size)}",
                     *(f"{notes.of(tables.count, results.median, f'allocations/{name}')}, "
                       f"{notes.of(tables.memory, results.median, f'peak/{name}')}"
                       if f"peak/{name}" not in results.why else notes.of(str, results.median, f"peak/{name}")
                       for name in names)])
    return tables.table(["allocations, peak", *parties], rows) + notes.below(results)


def instructions_block(results):
    notes, rows = tables.Notes(), []
    parties = ["torvane", *results.peers("instructions", "encode", "decode")]
    for enc, operation, size in results.cases("instructions", "encode", "decode", "verify_encrypt"):
        floor = notes.of(tables.count, results.median, f"instructions/{operation}/floor/{enc}/{size}")
        measured_here = {parts[2] for parts in results.names("instructions", operation)}
        rows.append([f"{operation.replace('_', ' ')} {enc} {tables.size(size)}", floor,
                     *(notes.of(tables.count, above_floor, results, operation, who, enc, size)
                       if who in measured_here else "" for who in parties)])
    return tables.table(["", "floor", *(f"{who} above" for who in parties)], rows) + notes.below(results)


def base64_block(results):
    notes, rows = tables.Notes(), []
    gigabytes = lambda rate: f"{rate / 1e9:.2f}"
    for operation in ("encode", "append", "decode", "check"):
        names = [tuple(parts[2:]) for parts in results.names("simd", f"base64_{operation}")]
        for size in sorted({size for _, size in names}, key=int):
            rate = lambda build, who: notes.of(gigabytes, results.median, f"{build}/base64_{operation}/{who}/{size}")
            rows.append([f"{operation} {tables.size(size)}", rate("simd", "torvane"), rate("portable", "torvane"),
                         rate("simd", "openssl") if ("openssl", size) in names else ""])
    return tables.table(["GB/s", "SIMD", "portable", "OpenSSL"], rows) + notes.below()


def sets_block(results):
    notes = tables.Notes()
    rows = [[f"{parts[1].replace('_', ' ')} {' '.join(parts[3:])}",
             notes.of(tables.time, results.median, "/".join(parts))]
            for parts in sorted(results.names("single", "jwk_parse", "set_parse", "set_find", "set_read_known",
                                              "source_hit", "source_hit_by_id"),
                                key=lambda parts: (parts[1], parts[3].zfill(9)))]
    return tables.table(["", "torvane"], rows) + notes.below()


def exponent(points):
    """The exponent k of growth as x^k, from the largest x and the next that is at most a quarter of it."""
    largest = max(points)
    smaller = max((x for x in points if x * 4 <= largest), default=None)
    if smaller is None or points[smaller] <= 0 or points[largest] <= 0:
        raise Missing("too few points")
    return round(math.log(points[largest] / points[smaller]) / math.log(largest / smaller), 2) + 0.0  # no -0


def growth_block(results):
    notes, rows = tables.Notes(), []
    for series, points in results.growth.items():
        row = [series.replace("_", " "), f"{max(points):,}"]
        for column, text in enumerate((tables.time, tables.memory)):
            values = {x: both[column] for x, both in points.items()}
            row += [text(values[max(points)]), notes.of("{:.2f}".format, exponent, values)]
        rows.append(row)
    return tables.table(["", "largest", "time", "grows as x^", "peak heap", "grows as x^"], rows) + notes.below()


def rounds_of(results):
    """The smallest number of rounds behind a time of torvane or the floor."""
    return min((len(results.values[name]) for name in results.values
                if name.startswith(("owned/", "fresh/")) and name.split("/")[2] in ("floor", "torvane")), default=0)


def machine_block(results):
    about = collections.defaultdict(str, results.machine)
    lines = [f"{about['date']}: {about['processor']}, {about['processors']} processors, {about['system']}",
             f"{about['compiler']}; {', '.join(about['packages'])}",
             f"rounds: {rounds_of(results)}; the load at the start was {about['load']}",
             *(f"{heap}: {faults:,.0f} page faults in one encode of 16 MiB" for heap, faults in results.faults.items())]
    return "".join(f"- {line}\n" for line in lines)


def unmeasured_goals(results):
    """Returns how many goals have no figure. Few rounds do not make an implausible figure a fault of the programs."""
    missing = goals.block(results)[1]
    if rounds_of(results) < FEWEST_ROUNDS:
        missing = [why for why in missing if not isinstance(why, goals.Implausible)]
    return len(missing)


def wrong_heaps(results):
    """Yields a line for each heap setting that did not work."""
    pages = goals.LARGEST // 4096
    if not results.faults.get("owned", math.inf) < pages / 100:
        yield "With the owned heap, calls still caused page faults."
    if not results.faults.get("fresh", 0) > pages:
        yield "With fresh pages, calls caused too few page faults."


def put(page, blocks):
    """Returns the page with each block between its markers. Blocks and markers must match one to one."""
    places = re.findall(r"^<!-- begin: (\w+) -->\n.*?^<!-- end -->$", page, re.MULTILINE | re.DOTALL)
    if sorted(places) != sorted(blocks):
        raise ValueError(f"the page has places for {sorted(places)}, the blocks are {sorted(blocks)}")
    return re.sub(r"^(<!-- begin: (\w+) -->\n).*?^(<!-- end -->)$",
                  lambda match: f"{match[1]}\n{blocks[match[2]]}\n{match[3]}", page, flags=re.MULTILINE | re.DOTALL)


def blocks(results, folder):
    """The tables by the names of their markers in the page."""
    return {
        "goals": goals.block(results)[0],
        "time": time_block(results),
        "verify_encrypt": table_of(results, "owned", "verify_encrypt"),
        "heap": heap_block(results),
        "instructions": instructions_block(results),
        "profile": profile_table.block(folder / "callgrind", goals.ENC, 1 << 10),
        "single": table_of(results, "single", "sign", "verify", "encrypt", "decrypt"),
        "base64": base64_block(results),
        "sets": sets_block(results),
        "growth": growth_block(results),
        "machine": machine_block(results),
    }


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("results", type=pathlib.Path)
    parser.add_argument("--write", type=pathlib.Path, metavar="PAGE")
    arguments = parser.parse_args()
    results = measured.read(arguments.results)
    found = blocks(results, arguments.results)
    print("\n".join(f"== {name}\n\n{text}" for name, text in found.items()))
    unmeasured = unmeasured_goals(results)
    wrong = [f"Goals that were not measured: {unmeasured}"] if unmeasured else []
    wrong += wrong_heaps(results)
    if rounds_of(results) < FEWEST_ROUNDS:
        print(f"Only {rounds_of(results)} of {FEWEST_ROUNDS} rounds: everything works, but the figures mean nothing.")
        wrong += ["They are not written."] if arguments.write else []
    if wrong:
        sys.exit("\n".join(wrong))
    if arguments.write:
        found["growth"] += "\n" + plots.draw(results, arguments.write.parent)
        arguments.write.write_text(put(arguments.write.read_text(), found))


if __name__ == "__main__":
    main()
