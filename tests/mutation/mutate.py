"""Plants faults in torvane/, one at a time, and runs the tests that cover the line: mutate.py [--count N] [PATH...]

The first faults are those of planted.toml, the others are drawn at random from all that mutants.py makes of the files,
in proportion to the size of each folder. Left out are public headers, since each mutant there recompiles everything,
and what is built only without PKCS #11.
The tests that cover a line come from the coverage preset (--reuse takes those of the last run). A mutant is killed when
a test fails, crashes, or takes ten times its time. equivalents.toml names mutants that change nothing, and says why.

--again judges only the survivors of the last run, and takes its other outcomes as they are: for use after tests were
written, not after torvane/ was changed.

The checkout is not touched: the faults are planted in copies in build/mutate. Ends with 1 when the score is too low.
"""

import argparse
import collections
import concurrent.futures
import hashlib
import json
import os
import pathlib
import queue
import resource
import shutil
import subprocess
import sys
import time
import tomllib

import mutants

ROOT = pathlib.Path(__file__).resolve().parents[2]
COVERAGE, WORK = ROOT / "build/coverage", ROOT / "build/mutate"
WANTED_SCORE = 95
VECTORS = os.environ.get("TORVANE_RFC_VECTORS", str(ROOT.parent / "shared/vectors/rfc"))
ENVIRONMENT = {**os.environ, "TORVANE_RFC_VECTORS": VECTORS, "LLVM_PROFILE_FILE": "/dev/null"}


def run(command, **options):
    return subprocess.run([str(word) for word in command], check=True, capture_output=True, text=True, env=ENVIRONMENT,
                          **options)


def folder(path):
    parts = path.split("/")
    return "/".join(parts[:3] if parts[1] == "platform" else parts[:2])


def list_tests(program):
    suite, names = "", []
    for line in run([program, "--gtest_list_tests"]).stdout.splitlines():
        if not line.startswith(" "):
            suite = line.split("#")[0].strip()
        else:
            names.append(suite + line.split("#")[0].strip())
    return [name for name in names if "." in name]


def trace(program, test):
    """The seconds that one test takes, and the lines of torvane/ that it runs: pairs of file and number."""
    raw = WORK / f"{program.name}.{test.replace('/', '_')}.profraw"
    started = time.monotonic()
    subprocess.run([str(program), f"--gtest_filter={test}"], env={**ENVIRONMENT, "LLVM_PROFILE_FILE": str(raw)},
                   cwd=program.parent, capture_output=True, check=True)
    seconds = time.monotonic() - started
    merged = raw.with_suffix(".profdata")
    run(["llvm-profdata", "merge", "-sparse", raw, "-o", merged])
    text = run(["llvm-cov", "export", "-format=lcov", f"-instr-profile={merged}", program, ROOT / "torvane"]).stdout
    lines, path = set(), ""
    for line in text.splitlines():
        if line.startswith("SF:"):
            path = str(pathlib.Path(line[3:]).relative_to(ROOT))
        elif line.startswith("DA:"):
            number, count = line[3:].split(",")[:2]
            if int(count):
                lines.add((path, int(number)))
    raw.unlink()
    merged.unlink()
    return seconds, sorted(lines)


def trace_all(jobs):
    """Which tests run a line: {path: {line: [[program, test]]}}, and the seconds of each test."""
    subprocess.run(["cmake", "--preset", "coverage"], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", "--preset", "coverage"], cwd=ROOT, check=True)
    programs = sorted(path for path in (COVERAGE / "tests").rglob("test_*")
                      if path.is_file() and os.access(path, os.X_OK))
    covering, seconds = collections.defaultdict(lambda: collections.defaultdict(list)), {}
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        runs = {(program, test): pool.submit(trace, program, test)
                for program in programs for test in list_tests(program)}
        for (program, test), traced in runs.items():
            took, lines = traced.result()
            seconds[program.name + " " + test] = took
            for path, number in lines:
                covering[path][number].append([program.name, test])
    if not any(path.endswith(".hpp") for path in covering):
        sys.exit("No test runs a header. A compiler cache that makes paths relative hides them.")
    return {"covering": covering, "seconds": seconds}


class Copy:
    """A copy of the checkout with a build of its own."""

    def __init__(self, number):
        self.tree, self.build = WORK / f"tree{number}", WORK / f"build{number}"
        names = run(["git", "ls-files"], cwd=ROOT).stdout.splitlines()
        for path in {path for path in self.tree.rglob("*") if path.is_file()} - {self.tree / name for name in names}:
            path.unlink()
        for name in names:
            target = self.tree / name
            target.parent.mkdir(parents=True, exist_ok=True)
            # Objects of the last run are built again if, and only if, the file was changed since.
            if not target.exists() or target.read_bytes() != (ROOT / name).read_bytes():
                shutil.copy(ROOT / name, target)
        run(["cmake", "-S", self.tree, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
             "-DCMAKE_CXX_COMPILER=clang++", "-DCMAKE_CXX_FLAGS=-O0 -g0", "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=gold",
             "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST", "-DTORVANE_BUILD_BENCHMARKS=OFF",
             "-DTORVANE_BUILD_CLI=OFF", "-DTORVANE_INSTALL=OFF"])
        run(["cmake", "--build", self.build])
        self.programs = {path.name: path for path in (self.build / "tests").rglob("test_*") if path.is_file()}

    def check_tests(self, seconds):
        """Without a fault, all tests must pass together; trace() has run each alone."""
        for program in {name.split()[0] for name in seconds}:
            tests = [name.split()[1] for name in seconds if name.startswith(program + " ")]
            if self.fails(program, tests, 60 + 10 * sum(seconds[f"{program} {test}"] for test in tests)):
                sys.exit(f"{program} fails without a fault")

    def compile(self, program):
        command = ["cmake", "--build", self.build, "--target", program]
        return subprocess.run(command, capture_output=True, check=False).returncode == 0

    def fails(self, program, tests, limit):
        def limit_memory():
            resource.setrlimit(resource.RLIMIT_AS, (8 << 30, 8 << 30))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        try:
            return subprocess.run([self.programs[program], "--gtest_fail_fast", "--gtest_filter=" + ":".join(tests)],
                                  cwd=self.programs[program].parent, env=ENVIRONMENT, capture_output=True,
                                  timeout=limit, preexec_fn=limit_memory, check=False).returncode != 0
        except subprocess.TimeoutExpired:
            return True


def judge(copy, path, text, tests, seconds):
    """The outcome for a mutant whose file has this text: killed, survived, or does not compile."""
    target = copy.tree / path
    original = target.read_bytes()
    target.write_text(text, encoding="utf-8")
    try:
        if not copy.compile("torvane"):
            return "does not compile"
        programs = collections.defaultdict(list)
        for program, test in tests:
            programs[program].append(test)
        took = {program: sum(seconds[program + " " + test] for test in names) for program, names in programs.items()}
        for program in sorted(programs, key=took.get):
            if not copy.compile(program):
                return "does not compile"
            if copy.fails(program, programs[program], 20 + 10 * took[program]):
                return "killed"
        return "survived"
    finally:
        target.write_bytes(original)


def find_tests(traced, path, line):
    """The tests that run the line; for a line that is never run as such, for example a constant, those of the file. A
    process that a death test kills, or that a test forks, leaves no trace, so these tests are always run."""
    covering = traced["covering"]
    lines = covering.get(path) or covering.get(path.replace(".hpp", ".cpp"), {})
    tests = lines.get(str(line)) or [test for tests in lines.values() for test in tests]
    untraced = [name.split() for name in traced["seconds"] if "DeathTest" in name or "ChildProcess" in name]
    return sorted({tuple(test) for test in tests + untraced})


def draw(candidates, count, seed):
    """Draws mutants in proportion to the size of each folder, at least ten each, in the order of the files. A mutant is
    drawn by its text, so that an edit elsewhere leaves the others as they are; equal ones count once."""
    def rank(mutant):
        return hashlib.sha256(f"{seed} {mutant.path} {mutant.before} {mutant.after}".encode()).digest()

    folders = collections.defaultdict(list)
    for mutant in {(mutant.path, mutant.before, mutant.after): mutant for mutant in candidates}.values():
        folders[folder(mutant.path)].append(mutant)
    drawn = []
    for members in folders.values():
        drawn += sorted(members, key=rank)[:max(10, round(count * len(members) / len(candidates)))]
    return sorted(drawn, key=lambda mutant: (mutant.path, mutant.line))


# What this machine does not compile, and what only the command uses.
UNMEASURED = ("_absent.cpp", "_neon.hpp", "_windows.cpp", "/file_lock_posix.cpp", "/hidden_input_posix.cpp")


def list_files(paths):
    names = run(["git", "ls-files", *(paths or ["torvane"])], cwd=ROOT).stdout.splitlines()
    return [name for name in names if name.startswith("torvane/") and not name.endswith(UNMEASURED) and (
        name.endswith(".cpp") or name.endswith(".hpp") and ("/internal/" in name or "/primitives/" in name))]


def plan(files, arguments):
    """What to judge: (name, path, line, the text with the fault)."""
    here = pathlib.Path(__file__).parent
    work = []
    for fault in tomllib.loads((here / "planted.toml").read_text(encoding="utf-8"))["fault"]:
        if fault["path"] not in files:
            continue
        text = (ROOT / fault["path"]).read_text(encoding="utf-8")
        if text.count(fault["before"]) != 1:
            sys.exit(f"planted.toml: {fault['name']}: the text to replace is not there exactly once")
        line = text[:text.index(fault["before"])].count("\n") + 1
        work.append((fault["name"], fault["path"], line, text.replace(fault["before"], fault["after"])))
    if arguments.planted:
        return work
    candidates = [mutant for path in files for mutant in mutants.read_mutants(ROOT, path)]
    for mutant in draw(candidates, arguments.count, arguments.seed):
        lines = (ROOT / mutant.path).read_text(encoding="utf-8").split("\n")
        lines[mutant.line - 1] = lines[mutant.line - 1].replace(mutant.before, mutant.after)
        name = f"[{mutant.kind}]\n    {mutant.before}\n    {mutant.after}"
        work.append((name, mutant.path, mutant.line, "\n".join(lines)))
    return work


def print_table(outcomes):
    results = collections.defaultdict(collections.Counter)
    for (path, _), outcome in outcomes.items():
        results[folder(path)][outcome] += 1
    total = sum(results.values(), collections.Counter())
    print("| folder | mutants | killed | equivalent | survived | score |\n|---|---|---|---|---|---|")
    for name, counts in [*sorted(results.items()), ("all", total)]:
        judged = counts["killed"] + counts["survived"]
        score = 100 * counts["killed"] / max(1, judged)
        print(f"| {name} | {judged + counts['equivalent']} | {counts['killed']} | {counts['equivalent']} | "
              f"{counts['survived']} | {score:.1f} % |")
    print(f"\n{total['does not compile']} more did not compile.")
    survivors = [f"{path}: {name}" for (path, name), outcome in outcomes.items() if outcome == "survived"]
    print("\n".join(["", "Survivors:", *survivors] if survivors else []))
    return 100 * total["killed"] >= WANTED_SCORE * (total["killed"] + total["survived"])


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("paths", nargs="*", metavar="PATH")
    parser.add_argument("--count", type=int, default=420)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--reuse", action="store_true", help="the coverage of the last run")
    parser.add_argument("--again", action="store_true", help="only the survivors of the last run")
    parser.add_argument("--planted", action="store_true", help="only the faults of planted.toml")
    arguments = parser.parse_args()

    WORK.mkdir(parents=True, exist_ok=True)
    cache, last = WORK / "coverage.json", WORK / "outcomes.json"
    if not (arguments.reuse and cache.exists()):
        cache.write_text(json.dumps(trace_all(arguments.jobs)), encoding="utf-8")
    traced = json.loads(cache.read_text(encoding="utf-8"))

    equivalents = {(entry["path"], entry["before"], entry["after"]) for entry in tomllib.loads(
        (pathlib.Path(__file__).parent / "equivalents.toml").read_text(encoding="utf-8"))["mutant"]}
    stale = equivalents - {(mutant.path, mutant.before, mutant.after)
                           for path in list_files([]) for mutant in mutants.read_mutants(ROOT, path)}
    if stale:
        sys.exit("equivalents.toml names mutants that there are not: " + ", ".join(map(str, sorted(stale))))
    known = {}
    if arguments.again:
        known = {(path, name): outcome for path, name, outcome in json.loads(last.read_text(encoding="utf-8"))
                 if outcome not in ("survived", "equivalent")}
    copies = queue.Queue()

    def judge_next(item):
        name, path, line, text = item
        lines = name.split("\n    ")
        if (path, *lines[1:]) in equivalents:
            return "equivalent"
        if (path, name) in known:
            return known[path, name]
        copy = copies.get()
        try:
            return judge(copy, path, text, find_tests(traced, path, line), traced["seconds"])
        finally:
            copies.put(copy)

    outcomes = {}
    work = plan(list_files(arguments.paths), arguments)
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        for copy in pool.map(Copy, range(arguments.jobs)):
            copies.put(copy)
        copy.check_tests(traced["seconds"])
        for (name, path, line, _), outcome in zip(work, pool.map(judge_next, work)):
            outcomes[path, name] = outcome
            last.write_text(json.dumps([[*key, value] for key, value in outcomes.items()]), encoding="utf-8")
            print(f"{outcome}: {path}:{line}: {name}", file=sys.stderr, flush=True)
    return not print_table(outcomes)


if __name__ == "__main__":
    sys.exit(main())
