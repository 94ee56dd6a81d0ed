"""Prints which lines and branches of torvane/ the tests of the coverage preset ran: coverage.py BUILD

Fails below the wanted shares, for a line that no test runs and uncovered.toml does not name, and for an entry there
that no such line needs. An entry is the text of a line, so it stays right when the file grows.
"""

import collections
import json
import os
import pathlib
import re
import subprocess
import sys
import tomllib

ROOT = pathlib.Path(__file__).resolve().parents[1]
WANTED = {"lines": 97, "branches": 90}


def export(build, *options):
    """What llvm-cov knows of torvane/ after all tests of a build."""
    profiles = sorted(map(str, (build / "profiles").glob("*.profraw")))
    merged = build / "tests.profdata"
    subprocess.run(["llvm-profdata", "merge", "-sparse", *profiles, "-o", merged], check=True)
    programs = [path for path in sorted(build.rglob("*")) if path.is_file() and os.access(path, os.X_OK)
                and path.suffix == "" and "CMakeFiles" not in path.parts]
    objects = [word for path in programs[1:] for word in ("-object", path)]
    return subprocess.run(["llvm-cov", "export", f"-instr-profile={merged}", *options, programs[0], *objects,
                           ROOT / "torvane"], check=True, capture_output=True, text=True).stdout


def find_uncovered(lcov):
    """The lines that no test runs: {path: [number]}."""
    uncovered, path = collections.defaultdict(list), ""
    for line in lcov.splitlines():
        if line.startswith("SF:"):
            path = str(pathlib.Path(line[3:]).relative_to(ROOT))
        elif line.startswith("DA:") and line[3:].split(",")[1] == "0":
            uncovered[path].append(int(line[3:].split(",")[0]))
    if not re.search(r"^SF:.*\.hpp$", lcov, re.MULTILINE):
        sys.exit("No header was measured. A compiler cache that makes paths relative hides them.")
    return uncovered


def main(build):
    entries = tomllib.loads((ROOT / "tests/uncovered.toml").read_text(encoding="utf-8"))["lines"]
    excused = {(entry["path"], text.strip()) for entry in entries for text in entry["text"].strip().splitlines()}
    needed, unexcused = set(), []
    for path, numbers in sorted(find_uncovered(export(build, "-format=lcov")).items()):
        texts = (ROOT / path).read_text(encoding="utf-8").split("\n")
        for number in numbers:
            line = (path, texts[number - 1].strip())
            # Lines without code of our own: braces, and functions that the compiler writes.
            if not line[1].strip("{}();") or line[1].endswith("= default;"):
                continue
            if line in excused:
                needed.add(line)
            else:
                unexcused.append(f"{path}:{number}: {line[1]}")
    stale = [f"{path}: {text}" for path, text in sorted(excused - needed)]

    totals = json.loads(export(build, "-summary-only"))["data"][0]["totals"]
    for what in WANTED:
        print(f"{what}: {totals[what]['covered']} of {totals[what]['count']}, {totals[what]['percent']:.2f} %")
    if unexcused:
        print("\nNo test runs these lines, and tests/uncovered.toml does not say why:", *unexcused, sep="\n")
    if stale:
        print("\nTests run these lines of tests/uncovered.toml:", *stale, sep="\n")
    return bool(unexcused or stale) or any(totals[what]["percent"] < wanted for what, wanted in WANTED.items())


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1]).resolve()))
