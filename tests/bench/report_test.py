"""Checks the report of the benchmarks against measurements that are made up here: report_test.py ROOT

Each fault that it names would make the library look better or worse than it was measured.
"""

import json
import pathlib
import re
import sys
import tempfile

ROOT = pathlib.Path(sys.argv[1])
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "bench/report"))
import goals
import plots
import profile_table
import report
import results as measured
import tables

ENC = "A128CBC-HS256"
KIB_ENCODE = "time / floor, 1 KiB, encode"


def timed(name, *times, unit="us", **more):
    return [{"name": name, "run_name": name, "run_type": "iteration", "real_time": time, "time_unit": unit, **more}
            for time in times]


def skipped(name, why):
    return timed(name, 0, error_occurred=True, error_message=why)


def rated(name, *rates):
    return [case for rate in rates for case in timed(name, 1, bytes_per_second=rate)]


def encode(who, size=1024):
    return f"encode/{who}/{ENC}/{size}"


def counted(who, first, second):
    return {"who": who, "operation": "encode", "enc": ENC, "size": 1024, "calls": [16, 80], "totals": [first, second]}


def heap(who, peak, result):
    return {"who": who, "operation": "encode", "enc": ENC, "size": 16 << 20, "peak_bytes": peak, "allocations": 7,
            "result_bytes": result}


def results_of(**files):
    """Returns the results of these files; in their names _ stands for -."""
    with tempfile.TemporaryDirectory() as folder:
        for name, content in files.items():
            path = pathlib.Path(folder) / name.replace("_", "-")
            if name in ("heap", "instructions", "scripts", "faults"):
                path.with_suffix(".jsonl").write_text("".join(json.dumps(line) + "\n" for line in content))
            else:
                path.with_suffix(".json").write_text(json.dumps({"benchmarks": content}))
        return measured.read(folder)


FLOOR = timed(encode("floor"), 100)
CJOSE = timed(encode("cjose"), 150)
ES256K = "ES256K sign, times as fast as OpenSSL"
INSTRUCTIONS = "instructions above the floor, 1 KiB, encode"
HEAP = "peak heap / message, 16 MiB, encode"
BASE64 = "base64url encode, simd, GB/s"

# The fault that the case would find, the measurements, the goal, and its cells: best peer, figure, verdict.
GOALS = [
    ("no fault", {"owned_0": FLOOR + CJOSE + timed(encode("torvane"), 101)}, KIB_ENCODE,
     ("cjose 1.500", "1.010", "met")),
    ("a ratio upside down", {"owned_0": FLOOR + timed(encode("torvane"), 202)}, KIB_ENCODE,
     ("-", "2.02", "missed by a factor of 2.000")),
    ("the mean for the median", {"owned_0": FLOOR + timed(encode("torvane"), 100, 100, 900)}, KIB_ENCODE,
     ("-", "1.000", "met")),
    ("the medians of passes for that of all", {"owned_0": FLOOR + timed(encode("torvane"), 100, 100, 100, 300),
                                               "owned_1": timed(encode("torvane"), 300)}, KIB_ENCODE,
     ("-", "1.000", "met")),
    ("another unit", {"owned_0": FLOOR + timed(encode("torvane"), 0.15, unit="ms")}, KIB_ENCODE,
     ("-", "1.500", "missed by a factor of 1.485")),
    ("aggregates taken for rounds", {"owned_0": FLOOR + timed(encode("torvane"), 101) +
                                     timed(encode("torvane") + "_mean", 9000) +
                                     [{"run_name": encode("torvane"), "run_type": "aggregate", "real_time": 9000,
                                       "name": "mean", "time_unit": "us"}] * 2}, KIB_ENCODE,
     ("-", "1.010", "met")),
    ("options in the name", {"owned_0": FLOOR + timed(encode("torvane") + "/min_time:0.100/real_time", 101)},
     KIB_ENCODE, ("-", "1.010", "met")),
    ("a skipped case that passes", {"owned_0": FLOOR + skipped(encode("torvane"), "no")}, KIB_ENCODE,
     ("-", "fails", "not measured")),
    ("a round that failed", {"owned_0": FLOOR + timed(encode("torvane"), 100) + skipped(encode("torvane"), "no")},
     KIB_ENCODE, ("-", "fails", "not measured")),
    ("nothing measured", {"owned_0": FLOOR}, KIB_ENCODE, ("-", "not run", "not measured")),
    ("no floor", {"owned_0": timed(encode("torvane"), 100)}, KIB_ENCODE, ("-", "not run", "not measured")),
    ("less than the work can take", {"owned_0": FLOOR + timed(encode("torvane"), 50)}, KIB_ENCODE,
     ("-", "fails", "not measured")),
    ("fresh pages taken for owned ones", {"fresh_0": FLOOR + timed(encode("torvane"), 101)}, KIB_ENCODE,
     ("-", "not run", "not measured")),
    ("a skipped peer that is the best", {"owned_0": FLOOR + CJOSE + skipped(encode("jose"), "takes 30 seconds") +
                                         timed(encode("torvane"), 101)}, KIB_ENCODE, ("cjose 1.500", "1.010", "met")),
    ("the worst peer for the best", {"owned_0": FLOOR + CJOSE + timed(encode("jose"), 190) +
                                     timed(encode("torvane"), 101)}, KIB_ENCODE, ("cjose 1.500", "1.010", "met")),
    ("a peer in a process of its own", {"owned_0": FLOOR + CJOSE + timed(encode("torvane"), 101),
                                        "scripts": [{"name": encode("jwcrypto"), "microseconds": [110, 130, 120]}]},
     KIB_ENCODE, ("jwcrypto 1.200", "1.010", "met")),
    ("a speedup upside down",
     {"operations": timed("sign/floor/ES256K/1024", 80) + timed("sign/torvane/ES256K/1024", 5)}, ES256K,
     ("-", "16.00", "met")),
    ("too small a speedup",
     {"operations": timed("sign/floor/ES256K/1024", 80) + timed("sign/torvane/ES256K/1024", 20)}, ES256K,
     ("-", "4.00", "missed by a factor of 2.000")),
    ("instructions of the start",
     {"instructions": [counted("floor", 9000, 649_000), counted("torvane", 99_000, 1_379_000)]}, INSTRUCTIONS,
     ("-", "10,000", "met")),
    ("the floor's instructions", {"instructions": [counted("floor", 0, 64_000), counted("torvane", 0, 64 * 26_000)]},
     INSTRUCTIONS, ("-", "25,000", "missed by a factor of 1.250")),
    ("heap", {"heap": [heap("torvane", 32 << 20, 30 << 20)]}, HEAP, ("-", "2.00", "missed by a factor of 1.053")),
    ("heap that was not counted", {"heap": [heap("torvane", 1000, 30 << 20)]}, HEAP,
     ("-", "fails", "not measured")),
    ("rates", {"base64_simd": rated("base64_encode/torvane/49152", 9e9, 10e9, 11e9) +
               rated("base64_encode/openssl/49152", 1.5e9)}, BASE64, ("openssl 1.50", "10.00", "met")),
    ("the portable build for the other", {"base64_portable": rated("base64_encode/torvane/49152", 9e9)}, BASE64,
     ("-", "not run", "not measured")),
    ("another size", {"base64_simd": rated("base64_encode/torvane/1024", 9e9)}, BASE64,
     ("-", "not run", "not measured")),
]  # fmt: skip


def cells(row):
    return [cell.strip() for cell in row.strip("|").split("|")]


def check_goals():
    for fault, files, goal, expected in GOALS:
        text, unmeasured = goals.block(results_of(**files))
        row = next(line for line in text.splitlines() if line.startswith(f"| {goal} "))
        _, peer, _, figure, _, verdict = cells(row)
        yield fault, (peer, re.sub(r" \(\d\)", "", figure), verdict), expected
        yield f"{fault}: the count of goals without a figure", len(unmeasured), text.count(" not measured |")


def check_others():
    case = ("owned", "encode", "torvane", ENC, 1024)
    noisy = results_of(owned_0=timed(encode("floor"), 100) + timed(encode("torvane"), 100, 110, 120, 130, 140))
    yield "the spread", tables.span(measured.quartiles(noisy, *case)), "1.100 to 1.300"
    yield "rounds", report.rounds_of(noisy), 1
    yield "rounds of nothing", report.rounds_of(results_of()), 0

    for what, rounds, time, expected in (("quick", 1, 50, -1), ("full", 7, 50, 0), ("plausible", 7, 100, -1)):
        found = results_of(owned_0=timed(encode("floor"), *[100] * rounds) + timed(encode("torvane"), *[time] * rounds))
        yield f"goals of a {what} run", report.unmeasured_goals(found) - len(goals.GOALS), expected

    reason = "needs more than 20 seconds"
    text = report.time_block(results_of(owned_0=FLOOR + CJOSE + timed(encode("torvane"), 101) +
                                        skipped(encode("jose"), reason)))
    row = next(line for line in text.splitlines() if line.startswith("| encode"))
    yield "a cell of the wrong column", dict(zip(cells(text.splitlines()[2]), cells(row))), {
        "": f"encode {ENC} 1 KiB", "floor": "100 us", "torvane": "1.010", "quartiles": "1.010 to 1.010",
        "cjose": "1.500", "jose": "time (1)"}
    yield "a skip without its reason", f"(1) jose: {reason}" in text, True

    yield "growth in proportion", round(report.exponent({1: 5, 1000: 10, 4000: 40, 16000: 160}), 3), 1
    yield "growth by the square", round(report.exponent({1000: 1, 4000: 16}), 3), 2

    for what, owned, fresh, expected in (("as claimed", 40, 40_000, 0), ("never measured", None, None, 2),
                                         ("always fresh", 40_000, 40_000, 1), ("always owned", 40, 40, 1)):
        faults = [{"heap": heap, "calls": [2, 6], "faults": [5000, 5000 + 4 * count]}
                  for heap, count in (("owned", owned), ("fresh", fresh)) if count is not None]
        yield f"heap {what}", len(list(report.wrong_heaps(results_of(faults=faults)))), expected

    page = "a\n<!-- begin: one -->\nold\n<!-- end -->\nb\n<!-- begin: two -->\n<!-- end -->\n"
    yield "a block in the wrong place", report.put(page, {"one": "1", "two": "2"}), (
        "a\n<!-- begin: one -->\n\n1\n<!-- end -->\nb\n<!-- begin: two -->\n\n2\n<!-- end -->\n")
    for blocks in ({"one": "1"}, {"one": "1", "two": "2", "three": "3"}):
        try:
            yield f"a page that does not fit {list(blocks)}", report.put(page, blocks), "an error"
        except ValueError:
            pass
    blocks = report.blocks(results_of(), pathlib.Path())
    page = report.put((ROOT / "docs/benchmarks.md").read_text(), blocks)
    yield "a block that the page does not show", [name for name, text in blocks.items() if text not in page], []


def check_profile():
    with tempfile.TemporaryDirectory() as folder:
        for who, count, malloc, own in (("floor", 16, 100, 0), ("floor", 80, 740, 0), ("torvane", 16, 1000, 50),
                                        ("torvane", 80, 7400, 690)):
            listed = (f"{malloc + own:,} (100.0%)  PROGRAM TOTALS\n"
                      f"{malloc:,} (99.0%)  ./malloc/./malloc/malloc.c:malloc [/lib/libc.so.6]\n"
                      f"{own:,} ( 1.0%)  ???:Torvane::JOSEHelper::encodeMessage() const [/bench/calls]\n")
            (pathlib.Path(folder) / f"{who}-encode-{ENC}-1024-{count}.txt").write_text(listed)
        kinds = profile_table.above_floor(pathlib.Path(folder), "encode", ENC, 1024)
    yield "a profile", {kind: count for kind, count in kinds.items() if count}, {
        "malloc and free": 90, "the rest of the library": 10}


def check_pictures():
    growth = {"hostile_a": {10: (1, 1000), 1000: (100, 0)}, "b": {10: (0, 1000), 1000: (10_000, 100_000)}}
    svg = plots.picture(growth, "Sets & keys", "keys")
    drawn = re.findall(r'class="s(\d)" points="([^"]+)"', svg)
    yield "a point in the wrong place, or one that was not measured", drawn[:4], [
        ("0", "64,318 404,190"), ("1", "404,62"), ("0", "484,318"), ("1", "484,318 824,62")]
    text = re.findall(r">([^<]+)</text>", svg)
    yield "a wrong decade", text[1:9], ["10", "100", "1 k", "1 µs", "10 µs", "100 µs", "1 ms", "10 ms"]
    yield "a wrong name", text[-3:], ["a", "b", "in proportion"]
    yield "a line that is not in proportion", re.findall(r'class="p" d="([^"]+)"', svg)[0], "M64 220.5L404 92.5"
    yield "a title that is not escaped", text[0], "Sets &amp; keys"


def main():
    checks = [*check_goals(), *check_others(), *check_profile(), *check_pictures()]
    wrong = [f"{what}: it is {found!r}, and has to be {expected!r}" for what, found, expected in checks
             if found != expected]
    if len(checks) < 2 * len(GOALS) + 12:
        wrong.append(f"only {len(checks)} checks")
    sys.exit("\n".join(wrong) or 0)


if __name__ == "__main__":
    main()
