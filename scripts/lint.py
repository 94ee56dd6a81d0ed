"""Checks the format of all C++ files, shellcheck and flake8 on all scripts, and clang-tidy: lint.py [BASE | --all]

clang-tidy runs on the C++ files that changed: those that differ from the commit BASE, or from the one that the
environment variable TORVANE_LINT_BASE names. By default that is the commit at which the branch left origin/main; on
origin/main itself, the last commit that is a day older than HEAD. A change of .clang-tidy counts as a change of all
files. In the messages of the commits since BASE, each line may have 72 characters, or more without a space, as in a
URL. Fails on a finding, and when a tool fails.

clang-tidy reads the unity files of the preset "lint", each of which includes up to eight sources. It spends most of its
time in the headers of the system, which a unity file includes only once. A changed source is therefore checked together
with its neighbours, and all files take about 5 minutes on 2 processors.
"""

import concurrent.futures
import functools
import json
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/lint"
FOLDERS = ("bench", "cli", "examples", "fuzz", "tests", "torvane")
# Checks for the library only. Programs read the environment, let main() throw, ignore what printf() returns, and have
# no interface with results to drop. Tests use objects that were moved from, drop temporary objects, seed random numbers
# with a constant, run shell commands, and replace operator new in a header. Benchmarks loop with a variable that nobody
# reads.
ONLY_IN_THE_LIBRARY = ("bugprone-exception-escape", "bugprone-unused-raii", "bugprone-use-after-move", "cert-*",
                       "clang-analyzer-deadcode.DeadStores", "concurrency-mt-unsafe", "misc-definitions-in-headers",
                       "misc-throw-by-value-catch-by-reference", "modernize-avoid-c-arrays", "modernize-use-nodiscard",
                       "performance-inefficient-*")
DAY = 24 * 60 * 60
SECONDS_FOR_A_UNIT = 600
MESSAGE_LENGTH = 72
# Up to these commits, subjects and the lines of bodies may be longer.
SUBJECTS_SINCE = "4da415ff67c7cbd6d7fd5e3a78ec56e268925a70"
BODIES_SINCE = "a6e45fed5ae0619eaf9ae8508244f2ea5efb1998"
LEAST_SCRIPTS = {"shellcheck": 8, "flake8": 20}
# Tests compile these and expect errors, or they need the packages for scripts/bench.sh.
NOT_ALONE = ("tests/support/", "bench/peers/")
# Only other systems compile these.
OF_OTHER_SYSTEMS = "_windows.cpp"


def git(*arguments, fails=True):
    """Returns the output of git, or an empty text when git fails and `fails` is false."""
    done = subprocess.run(["git", *arguments], cwd=ROOT, text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    if done.returncode != 0 and fails:
        sys.exit(f"git {' '.join(arguments)}: {done.stderr}")
    return done.stdout.strip("\n") if done.returncode == 0 else ""


def base(asked):
    """Returns the commit to compare with, or an empty text to check all files."""
    if asked == "--all":
        return ""
    if asked:
        return git("rev-parse", "--verify", f"{asked}^{{commit}}")
    fork = git("merge-base", "HEAD", "origin/main", fails=False)
    if fork and fork != git("rev-parse", "HEAD"):
        return fork
    made = int(git("log", "-1", "--format=%ct"))
    return git("rev-list", "-1", "--first-parent", f"--before={made - DAY}", "HEAD")


def listed(*arguments):
    """Returns the C++ files that a command of git lists, except deleted ones."""
    names = git(*arguments, "-z", "--", *(f"{folder}/*.{end}" for folder in FOLDERS for end in ("cpp", "hpp")))
    return {name for name in names.split("\0") if name and (ROOT / name).exists()}


def all_files():
    return listed("ls-files", "--cached", "--others", "--exclude-standard")


def scripts():
    """Returns all shell scripts and all Python files, with and without an ending in the name."""
    shell, python = [], []
    for name in sorted(git("ls-files", "--cached", "--others", "--exclude-standard", "-z").split("\0")):
        path = ROOT / name
        if path.suffix in (".cpp", ".hpp") or path.parent.parent == ROOT / "fuzz/corpus" or not path.is_file():
            continue
        with path.open("rb") as opened:
            first = opened.readline(100)
        if path.suffix == ".sh" or re.match(rb"#!.*[/ ](ba)?sh\b", first):
            shell.append(name)
        elif path.suffix == ".py" or re.match(rb"#!.*[/ ]python", first):
            python.append(name)
    return {"shellcheck": shell, "flake8": python}


def script_findings():
    """Runs shellcheck and flake8, which .flake8 configures, and returns the names of those that find something."""
    found = []
    for tool, files in scripts().items():
        print(f"{tool}: {len(files)} files", flush=True)
        if len(files) < LEAST_SCRIPTS[tool] or subprocess.run([tool, *files], cwd=ROOT).returncode != 0:
            found.append(tool)
    return found


def messages(part, since, start):
    """Returns the hash and a part of the message, a placeholder of git, of each commit since the base and `start`."""
    commits = ["HEAD", f"^{since}"] if since else ["HEAD"]
    if git("rev-parse", "--verify", "--quiet", f"{start}^{{commit}}", fails=False):
        commits.append(f"^{start}")
    texts = git("log", "--no-merges", "-z", f"--format=%h {part}", *commits)
    return [text.partition(" ")[::2] for text in texts.split("\0") if text]


def long_lines(since):
    """Prints the lines of commit messages since the base that are too long, and returns whether there are any."""
    subjects, bodies = messages("%s", since, SUBJECTS_SINCE), messages("%b", since, BODIES_SINCE)
    print(f"commit messages: {len(subjects)} subjects, {len(bodies)} bodies", flush=True)
    lines = subjects + [(commit, line) for commit, body in bodies for line in body.splitlines() if " " in line.strip()]
    too_long = [(commit, line) for commit, line in lines if len(line) > MESSAGE_LENGTH]
    for commit, line in too_long:
        print(f"more than {MESSAGE_LENGTH} characters in {commit}: {line}", flush=True)
    return bool(too_long)


@functools.cache
def direct_includes(file):
    text = (ROOT / file).read_text()
    names = re.findall(r'^#include "((?:%s)/[^"]+)"' % "|".join(FOLDERS), text, re.MULTILINE)
    return [name for name in names if (ROOT / name).exists()]


def included(file):
    """Returns the file and the files of the project that it includes, directly or not."""
    found, waiting = {file}, [file]
    while waiting:
        new = set(direct_includes(waiting.pop())) - found
        found |= new
        waiting += new
    return found


def units():
    """Maps each file of the compilation database to the sources that it includes, or to itself."""
    found = {}
    for entry in json.loads((BUILD / "compile_commands.json").read_text()):
        file = pathlib.Path(entry["file"])
        sources = [file]
        if BUILD in file.parents:
            sources = re.findall(r'^#include "(.+\.cpp)"', file.read_text(), re.MULTILINE)
        found.setdefault(file, [str(pathlib.Path(source).relative_to(ROOT)) for source in sources])
    return found


def is_library(unit):
    return BUILD / "torvane" in unit.parents or ROOT / "torvane" in unit.parents


def chosen(changed):
    """Returns translation units that contain all changed files, and the changed files that no unit contains."""
    contents = {unit: set().union(*map(included, sources)) for unit, sources in units().items()}
    own = {unit: set(sources) for unit, sources in units().items()}
    picked, missing = [], []

    def pick(file, candidates):
        # Tests compile some sources of the library too, but only the library gets all checks. For a header, a unit with
        # its own source is best.
        beside = str(pathlib.Path(file).with_suffix(".cpp"))
        fitting = sorted((unit for unit, files in candidates.items() if file in files),
                         key=lambda unit: (not is_library(unit), unit not in picked, beside not in own[unit]))
        if not fitting and file.endswith(".cpp") and not (
                file.startswith(NOT_ALONE) or file.endswith(OF_OTHER_SYSTEMS)):
            # Only another preset builds it. clang-tidy uses the flags of a file with a similar name.
            picked.append(ROOT / file)
        elif not fitting:
            missing.append(file)
        elif fitting[0] not in picked:
            picked.append(fitting[0])

    for file in sorted(changed):
        pick(file, own if file.endswith(".cpp") else contents)
    return picked, missing


def tidy(unit):
    """Prints what clang-tidy finds in a unit, and returns whether there is nothing."""
    start = "".join(f"\\{c}" if c in r"\.+*?()[]{}|^$" else c for c in str(ROOT))
    command = ["clang-tidy", f"-p={BUILD}", "--quiet", f"--config-file={ROOT / '.clang-tidy'}"]
    command.append(f"--header-filter=^{start}/({'|'.join(FOLDERS)})/")
    if not is_library(unit):
        command.append("--checks=" + ",".join("-" + check for check in ONLY_IN_THE_LIBRARY))
    try:
        done = subprocess.run([*command, str(unit)], cwd=ROOT, text=True, timeout=SECONDS_FOR_A_UNIT,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    except subprocess.TimeoutExpired:
        print(f"{unit.relative_to(ROOT)}: clang-tidy needs more than {SECONDS_FOR_A_UNIT} seconds", flush=True)
        return False
    if done.returncode != 0 or done.stdout:
        print(done.stdout or done.stderr, flush=True)
    return done.returncode == 0 and not done.stdout


def main():
    if len(sys.argv) > 2:
        sys.exit("usage: lint.py [BASE | --all]")
    files = sorted(all_files())
    print(f"clang-format: {len(files)} files", flush=True)
    formatted = subprocess.run(["clang-format", "--dry-run", "--Werror", *files], cwd=ROOT).returncode == 0
    wrong = [] if formatted else ["clang-format"]
    wrong += script_findings()

    since = base(sys.argv[1] if len(sys.argv) == 2 else os.environ.get("TORVANE_LINT_BASE", ""))
    wrong += ["commit messages"] if long_lines(since) else []
    changed = set(files)
    if since and not git("diff", "--name-only", since, "--", ".clang-tidy"):
        changed = listed("diff", "--name-only", since) | listed("ls-files", "--others", "--exclude-standard")
    picked, missing = chosen(changed)
    which = f"those that changed since {since[:10]}" if changed != set(files) else "all that are compiled"
    seen = len(changed) - len(missing)
    print(f"clang-tidy: {seen} of {len(files)} files in {len(picked)} translation units: {which}", flush=True)
    for file in missing:
        print(f"clang-tidy: not {file}, which is not compiled here")
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        clean = list(pool.map(tidy, picked))
    if not all(clean):
        wrong.append(f"clang-tidy in {clean.count(False)} translation units")
    if wrong:
        sys.exit(f"lint: findings of {', '.join(wrong)}")


if __name__ == "__main__":
    main()
