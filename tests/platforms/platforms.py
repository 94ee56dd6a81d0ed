#!/usr/bin/python3
"""Builds and tests the library for the systems of cells.py: platforms.py [--keep FOLDER] [ci | NAME...]

Without names, for all. Writes their rows of docs/platforms.md, except for "ci". --keep keeps the systems in FOLDER, and
uses those that are there.
"""
import argparse
import contextlib
import datetime
import pathlib
import re
import shutil
import subprocess
import tempfile
import time
import xml.etree.ElementTree

import cells
import demo
import exchange
import headers_only
from chroot import BUILDS, SOURCES, Chroot, Failure

PROJECT = pathlib.Path(__file__).resolve().parent.parent.parent
PAGE = PROJECT / "docs" / "platforms.md"
# Tests of what does not depend on the system.
LEFT_OUT = ("bench", "docs", "package", "structure")
# An emulated process holds the memory of the emulator, and searching it takes minutes.
LEFT_OUT_EMULATED = ("pkcs11.ProcessMemory",)


def copy_sources(chroot):
    """Copies what git tracks, and the vectors that stand beside the checkout, if any."""
    target = chroot.root / SOURCES.lstrip("/")
    shutil.rmtree(target.parent, ignore_errors=True)
    files = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=PROJECT,
                           check=True, capture_output=True, text=True).stdout
    for name in filter(None, files.split("\0")):
        (target / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(PROJECT / name, target / name)
    vectors = PROJECT.parent / "shared" / "vectors"
    if vectors.exists():
        shutil.copytree(vectors, target.parent / "shared" / "vectors")


def start_emulator(name):
    """Makes the kernel start programs of another processor with qemu."""
    registered = pathlib.Path("/proc/sys/fs/binfmt_misc") / name
    if not registered.exists():
        subprocess.run(["update-binfmts", "--enable", name], check=True)
    if not registered.exists():
        raise Failure(f"{name} is not registered in binfmt_misc")


def build(cell, chroot):
    """Installs, configures and builds. Returns the folder of the build."""
    folder = f"{BUILDS}/{cell.name}"
    chroot.install_libraries(cell.architecture)
    chroot.install("g++", *cell.packages)
    if "googletest" in cell.packages:
        chroot.run("sh", "-euc", f"""
            cmake -S /usr/src/googletest -B /build/googletest -G Ninja -DCMAKE_CXX_COMPILER={cell.compiler} \
                -DCMAKE_INSTALL_PREFIX=/build/googletest-{cell.name} -DBUILD_GMOCK=OFF {cell.options[0]}
            cmake --build /build/googletest --target install""")
    chroot.run("cmake", "-S", SOURCES, "-B", folder, "-G", "Ninja", f"-DCMAKE_CXX_COMPILER={cell.compiler}",
               "-DCMAKE_BUILD_TYPE=RelWithDebInfo", "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O2 -DNDEBUG",
               "-DCMAKE_UNITY_BUILD=ON", "-DTORVANE_WARNINGS_AS_ERRORS=ON", "-DTORVANE_BUILD_BENCHMARKS=OFF",
               *cell.options, PKG_CONFIG_LIBDIR=f"/usr/lib/{cell.library_folder}/pkgconfig:/usr/share/pkgconfig")
    chroot.run("cmake", "--build", folder, "--target", "all", "torvane_partner", "--", "-k", "0")
    return folder


def run_tests(cell, chroot, folder):
    """Returns the numbers of tests and of hostile cases."""
    left_out = LEFT_OUT + cell.left_out
    if not set(cells.FOR_COMMAND) <= set(cell.packages):
        left_out += ("cli",)
    if cell.emulator:
        left_out += LEFT_OUT_EMULATED
    chroot.run("ctest", "--test-dir", folder, "-j2", "-E", rf"^({'|'.join(map(re.escape, left_out))})\.",
               "--output-on-failure", "--test-output-size-passed", "1000000", "--output-junit", "results.xml")
    results = xml.etree.ElementTree.parse(chroot.root / folder.lstrip("/") / "results.xml").getroot()
    if results.get("failures") != "0" or int(results.get("tests")) < 300:
        raise Failure(f"only {results.get('tests')} tests, {results.get('failures')} failures")
    hostile = sum(int(number) for output in results.iter("system-out")
                  for number in re.findall(r"^COUNT hostile cases rejected (\d+)$", output.text or "", re.MULTILINE))
    return f"{int(results.get('tests')) - int(results.get('skipped'))}", f"{hostile}"


def versions(cell, chroot):
    """What it was built with, as the table shows it."""
    first = chroot.run(cell.compiler, "--version").splitlines()[0]
    compiler = "Clang" if "clang" in cell.compiler else "GCC"
    packages = chroot.run("dpkg-query", "-W", "-f", "${Version}\n", f"libssl-dev:{cell.architecture}",
                          "nlohmann-json3-dev").split()
    # A package that went back to an older version has that one after "really".
    upstream = [re.match(r"[\d.]+", version.split("really.")[-1])[0].rstrip(".") for version in packages]
    return [f"{compiler} {re.search(r'[0-9]+[.][0-9.]+', first)[0]}", *upstream]


def write_page(rows):
    """Replaces these rows of the page's table."""
    lines = PAGE.read_text(encoding="utf-8").splitlines()
    for name, columns in rows.items():
        row = "| " + " | ".join([name, *columns]) + " |"
        index = next(i for i, line in enumerate(lines) if line.startswith(f"| {name} |"))
        lines[index] = row
    PAGE.write_text("\n".join(lines) + "\n", encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--keep")
    parser.add_argument("names", nargs="*")
    arguments = parser.parse_args()
    known = {cell.name: cell for cell in cells.CELLS}
    every_name = [*known, *cells.HEADERS_ONLY, *demo.SYSTEMS]
    names = cells.CI if arguments.names == ["ci"] else arguments.names or every_name
    for name in names:
        if name not in every_name:
            parser.error(f"no such name: {name}; there are {', '.join(every_name)}")

    folder = pathlib.Path(arguments.keep or tempfile.mkdtemp(prefix="torvane-platforms-", dir="/var/tmp"))
    try:
        rows = test_all([known[name] for name in names if name in known],
                        [name for name in names if name in cells.HEADERS_ONLY],
                        [name for name in names if name in demo.SYSTEMS], folder)
    finally:
        if not arguments.keep:
            shutil.rmtree(folder)
    if arguments.names != ["ci"]:
        write_page(rows)
    failed = [name for name in names if name not in rows]
    if failed:
        raise SystemExit(f"failed: {', '.join(failed)}")


@contextlib.contextmanager
def reported(name):
    """Prints a failure, so that the other systems are tested too."""
    try:
        yield
    except Failure as failure:
        print(f"{name}: {failure}", flush=True)


def test_all(built, headers, demos, folder):
    """Returns the rows of the table by name, without those of the systems that failed."""
    chroots, rows, machines = {}, {}, []

    def chroot_of(suite):
        if suite not in chroots:
            chroots[suite] = Chroot(suite, folder / suite)
            copy_sources(chroots[suite])
        return chroots[suite]

    for cell in built:
        start = time.monotonic()
        with reported(cell.name):
            if cell.emulator:
                start_emulator(cell.emulator)
            chroot = chroot_of(cell.suite)
            binaries = build(cell, chroot)
            rows[cell.name] = [cell.system, *versions(cell, chroot), *run_tests(cell, chroot, binaries)]
            partner = chroot.command(f"{binaries}/tests/interop/torvane_partner")
            machines.append(exchange.Machine(cell.name, partner))
            print(f"{cell.name}: {' | '.join(rows[cell.name])} | {time.monotonic() - start:.0f} s", flush=True)
    read = exchange.exchange(machines)
    for machine in machines:
        others = len(machines) - 1
        rows[machine.name] += [f"{read[machine.name]}, of {others} others" if others else "none: it ran alone",
                               datetime.date.today().isoformat()]
        print(f"{machine.name}: read {rows[machine.name][-2]}")
    for name in headers:
        with reported(name):
            compiled, substitutes = headers_only.compile_sources(chroot_of("trixie"), name)
            rows[name] = [cells.HEADERS_ONLY[name], f"{compiled}",
                          "; ".join(f"`{source}`: `{other}`" for source, other in substitutes.items()) or "none"]
            print(f"{name}: {' | '.join(rows[name])}", flush=True)
    for name in demos:
        suite, system = demo.SYSTEMS[name]
        with reported(name), tempfile.TemporaryDirectory(dir=folder) as root:
            chroot = Chroot(suite, root, packages=())
            copy_sources(chroot)
            rows[name] = [system, *demo.run_demo(chroot), datetime.date.today().isoformat()]
            print(f"{name}: {' | '.join(rows[name])}", flush=True)
    return rows


if __name__ == "__main__":
    main()
