"""Compares the binary interface of the shared library with packaging/abi.txt: abi.py [--write] [PREFIX]

PREFIX is a folder where the shared library is installed; without it, the script builds the library first. --write puts
the interface into packaging/abi.txt. The interface is the library's name, its symbols, and the sizes of the classes and
of their tables of virtual functions. Types of results, values of enumerators and the order of members are not compared.
"""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BASELINE = ROOT / "packaging/abi.txt"
BUILD = ROOT / "build/abi"
ADVICE = """
Programs that are linked with the shared library depend on each line of packaging/abi.txt. If a published version has
the lines that are gone, set the next minor version in CMakeLists.txt, which renames the library ("Releasing a version"
in CONTRIBUTING.md), and say so under "ABI" in CHANGELOG.md. Then, or if lines are only new, run scripts/abi.py --write.
"""
# What names do not need: our namespace, the defaults of templates, and the mark of libstdc++'s strings.
SHORTER = (
    (r"\[abi:cxx11\]|__cxx11::|\bTorvane::|, 18446744073709551615ul|, std::char_traits<char>", ""),
    (r" >", ">"),
    (r", std::allocator<([^<>]|<([^<>]|<[^<>]*>)*>)*>", ""),
    (r"std::basic_string(_view)?<char>", r"std::string\1"),
)


def run(*command, text=None):
    return subprocess.run(list(map(str, command)), input=text, text=True, stdout=subprocess.PIPE, check=True).stdout


def install():
    """Builds the shared library quickly, and returns its prefix. Without optimisation it would have more symbols."""
    for command in (
        ["--preset", "package", "--no-warn-unused-cli", "-S", ROOT, "-B", BUILD, "-DCMAKE_UNITY_BUILD=ON",
         "-DCMAKE_UNITY_BUILD_BATCH_SIZE=0", "-DCMAKE_CXX_FLAGS_RELEASE=-O1", "-DTORVANE_BUILD_CLI=OFF"],
        ["--build", BUILD],
        ["--install", BUILD, "--prefix", BUILD / "prefix"],
    ):
        subprocess.run(["cmake", *command], stdout=sys.stderr, check=True)
    return BUILD / "prefix"


def shortened(name):
    before = None
    while name != before:
        before = name
        for pattern, short in SHORTER:
            name = re.sub(pattern, short, name)
    return name


def symbols(library):
    """Yields a line for each symbol. A constructor has one name for both of its symbols."""
    for line in run("nm", "-D", "-S", "-C", "--defined-only", library).splitlines():
        _, size, _, name = line.split(maxsplit=3)
        if name.startswith("vtable for "):
            yield f"{name}: {int(size, 16)} bytes"
        elif not name.startswith("typeinfo name for "):
            yield name


def class_sizes(include):
    headers = sorted(str(header.relative_to(include)) for header in include.rglob("*.hpp"))
    dump = run("g++", "-std=c++20", "-fsyntax-only", f"-I{include}", "-fdump-lang-class=-", "-x", "c++", "-",
               text="".join(f"#include <{header}>\n" for header in headers))
    for name, size, alignment in re.findall(r"^Class (Torvane::.+)\n +size=(\d+) align=(\d+)", dump, re.MULTILINE):
        yield f"class {name}: {size} bytes, aligned to {alignment}"


def interface(prefix):
    library = next(prefix.glob("lib*/**/libtorvane.so"))
    name = re.search(r"\(SONAME\).*\[(.+)\]", run("readelf", "-d", library))[1]
    lines = {shortened(line) for line in (*symbols(library), *class_sizes(prefix / "include"))}
    if len(lines) < 300:
        sys.exit(f"Only {len(lines)} lines were found.")
    return [name, *sorted(lines)]


def main():
    prefixes = [pathlib.Path(argument) for argument in sys.argv[1:] if argument != "--write"]
    found = interface(*prefixes or [install()])
    if "--write" in sys.argv:
        BASELINE.write_text("".join(f"{line}\n" for line in found))
        return
    published = BASELINE.read_text().splitlines()
    gone = [f"- {line}" for line in published if line not in found]
    new = [f"+ {line}" for line in found if line not in published]
    if gone or new:
        sys.exit("\n".join([*gone, *new, ADVICE]))


main()
