"""The measurements of a run by name, read from the files that measure.py wrote to a folder.

A name is WHAT/OPERATION/WHO/ALGORITHM/SIZE. WHAT is `owned` or `fresh` (microseconds with heap memory that the process
keeps, and with pages that the kernel maps for each call), `simd` or `portable` (bytes per second), `single`
(microseconds of the smaller operations), `instructions`, `peak` (bytes) or `allocations`.
"""

import itertools
import json
import pathlib
import statistics

MICROSECONDS = {"ns": 1e-3, "us": 1.0, "ms": 1e3, "s": 1e6}
# Suffixes that Google Benchmark adds to names.
ADDED = ("real_time", "process_time", "manual_time", "iterations:", "min_time:", "min_warmup_time:", "repeats:",
         "threads:")


class Missing(Exception):
    """A figure that was not measured; the text says why."""


class Results:
    def __init__(self):
        self.values = {}
        self.why = {}  # name: why it was not measured, or not in every round
        self.remarks = {}  # party: how its work differs
        self.growth = {}  # series: {x: (microseconds, bytes)}
        self.faults = {}  # owned or fresh: page faults of one encode of 16 MiB
        self.machine = {}

    def add(self, name, value):
        self.values.setdefault(name, []).append(float(value))

    def all(self, name):
        """All values of a name; raises Missing if there are none, or if one round failed."""
        who = name.split("/")[2]
        if name in self.why:
            raise Missing(f"{who}: {self.why[name]}")
        if not self.values.get(name):
            raise Missing(f"{who}: not run")
        return self.values[name]

    def median(self, name):
        return statistics.median(self.all(name))

    def names(self, what, *operations):
        """The parts of each name, in the order of the files."""
        names = (name.split("/") for name in dict.fromkeys([*self.values, *self.why]))
        return [parts for parts in names if parts[0] == what and parts[1] in operations]

    def peers(self, what, *operations):
        """The parties other than the floor and torvane, in alphabetical order."""
        return sorted({parts[2] for parts in self.names(what, *operations)} - {"floor", "torvane"})

    def cases(self, what, *operations):
        """(algorithm, operation, size) of every case of the floor, in this order."""
        found = {(parts[3], parts[1], int(parts[4])) for parts in self.names(what, *operations) if parts[2] == "floor"}
        return sorted(found, key=lambda case: (case[0], operations.index(case[1]), case[2]))


def pair(what, operation, who, algorithm, size):
    return f"{what}/{operation}/{who}/{algorithm}/{size}", f"{what}/{operation}/floor/{algorithm}/{size}"


def ratio(results, *case):
    """Ratio of a party's median to the floor's median."""
    party, floor = pair(*case)
    return results.median(party) / results.median(floor)


def quartiles(results, *case):
    """Quartiles of the ratios of each round of a party to each round of the floor; rounds have no natural pairs."""
    party, floor = map(results.all, pair(*case))
    ratios = [one / other for one, other in itertools.product(party, floor)]
    return statistics.quantiles(ratios, n=4, method="inclusive")[::2] if len(ratios) > 1 else ratios * 2


def above_floor(results, operation, who, algorithm, size):
    """Instructions of one call, less those of the floor."""
    party, floor = pair("instructions", operation, who, algorithm, size)
    return results.median(party) - results.median(floor)


def read_timings(results, what, path, counted="time"):
    """Reads the time, or the rate, of each repetition from a file of Google Benchmark."""
    for case in json.loads(path.read_text())["benchmarks"]:
        if case.get("run_type") == "aggregate":
            continue
        parts = [part for part in case.get("run_name", case["name"]).split("/") if not part.startswith(ADDED)]
        name = "/".join([what, *parts])
        if case.get("label"):
            results.remarks[parts[1]] = case["label"]
        if case.get("error_occurred"):
            results.why[name] = case.get("error_message") or "failed without a message"
        elif counted == "rate":
            results.add(name, case["bytes_per_second"])
        else:
            results.add(name, case["real_time"] * MICROSECONDS[case["time_unit"]])


def lines(path):
    return [json.loads(line) for line in path.read_text().splitlines()] if path.exists() else []


def case_name(what, line):
    return "/".join([what, line["operation"], line["who"], line["enc"], str(line["size"])])


def read(folder):
    results, folder = Results(), pathlib.Path(folder)
    for what, pattern in (("owned", "owned-*.json"), ("fresh", "fresh-*.json"), ("single", "operations.json")):
        for path in sorted(folder.glob(pattern)):
            read_timings(results, what, path)
    for what in ("simd", "portable"):
        for path in folder.glob(f"base64-{what}.json"):
            read_timings(results, what, path, "rate")
    for line in lines(folder / "scripts.jsonl"):  # peers in other languages, which measure themselves
        if "error" in line:
            results.why["owned/" + line["name"]] = line["error"]
        for value in line.get("microseconds", []):
            results.add("owned/" + line["name"], value)
    for line in lines(folder / "heap.jsonl"):
        for what, member in (("peak", "peak_bytes"), ("allocations", "allocations")):
            if "error" in line:
                results.why[case_name(what, line)] = line["error"]
            elif line["peak_bytes"] < line["result_bytes"] and line["who"] != "floor":  # its buffers exist beforehand
                results.why[case_name(what, line)] = "counted less heap than the result takes"
            else:
                results.add(case_name(what, line), line[member])
    for line in lines(folder / "instructions.jsonl"):
        if "error" in line:
            results.why[case_name("instructions", line)] = line["error"]
        else:  # the difference of two runs excludes what both did once
            calls, totals = line["calls"], line["totals"]
            results.add(case_name("instructions", line), (totals[1] - totals[0]) / (calls[1] - calls[0]))
    for line in lines(folder / "growth.jsonl"):
        results.growth.setdefault(line["series"], {})[line["x"]] = (line["microseconds"], line["peak_bytes"])
    for line in lines(folder / "faults.jsonl"):
        calls, faults = line["calls"], line["faults"]
        results.faults[line["heap"]] = (faults[1] - faults[0]) / (calls[1] - calls[0])
    for path in folder.glob("machine.json"):
        results.machine = json.loads(path.read_text())
    return results
