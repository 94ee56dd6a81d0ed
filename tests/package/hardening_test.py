#!/usr/bin/env python3
"""Checks that what is installed is hardened, and that applications keep their options.

hardening_test.py WORK COMPILER CMAKE: WORK is the folder of package_test.py, with two installations and the unpacked
packages. CMAKE is the folder of Hardening.cmake.
"""

import json
import pathlib
import platform
import re
import subprocess
import sys

work, compiler, cmake = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3]
# What the notes of an object say when each jump and return in it is guarded.
GUARDS = {"x86_64": {"IBT", "SHSTK"}, "aarch64": {"BTI", "PAC"}}.get(platform.machine(), set())
SOURCE = """#include <cstring>
char last(const char* from, unsigned size) { char to[8]; std::memcpy(to, from, size); return to[size - 1]; }
"""
# A compiler with its flags, and the function that the source above calls, or which a sanitizer replaces.
CALLED = {
    "g++ -O2": "__memcpy_chk",
    "clang++ -O2": "__memcpy_chk",
    "g++ -O0": "memcpy",
    "clang++ -O0": "memcpy",
    "g++ -O2 -D_FORTIFY_SOURCE=0": "memcpy",
    "g++ -O2 -fsanitize=address": "memcpy",
    "g++ -O2 -fsanitize=thread": "memcpy",
    "clang++ -O2 -fsanitize=address": "memcpy",
    "clang++ -O2 -fsanitize=thread": "memcpy",
    "clang++ -O2 -fsanitize=memory": "memcpy",
}
# The guards of jumps and returns by the target of Clang.
BRANCHES = {"x86_64-linux-gnu": "-fcf-protection", "aarch64-linux-gnu": "-mbranch-protection=standard"}
PROJECT = f"""cmake_minimum_required(VERSION 3.25)
project(hardened LANGUAGES CXX)
include("{cmake}/Hardening.cmake")
add_library(hardened STATIC hardened.cpp)
torvane_harden(hardened)
"""
faults = []


def expect(holds, why):
    if not holds:
        faults.append(why)


def run(*command):
    return subprocess.run(list(map(str, command)), stdout=subprocess.PIPE, text=True, check=True).stdout


def guards(notes):
    return {mark for marks in re.findall(r"feature: (.+)", notes) for mark in marks.split(", ")}


def check_linked(file, is_program):
    dynamic, segments = run("readelf", "-dW", file), run("readelf", "-lW", file)
    expect(re.search(r"\(FLAGS\).*BIND_NOW", dynamic), f"{file}: symbols are bound when first used")
    expect("GNU_RELRO" in segments, f"{file}: relocated data stay writable")
    expect(re.search(r"GNU_STACK.* RW +0x", segments), f"{file}: the stack is executable")
    expect("Type:                              DYN" in run("readelf", "-h", file), f"{file}: not position-independent")
    expect(bool(re.search(r"\(FLAGS_1\).*\bPIE\b", dynamic)) == is_program, f"{file}: a program must be a PIE")
    symbols = set(re.findall(r" U (\w+)", run("nm", "-D", "-u", file)))
    expect("__stack_chk_fail" in symbols, f"{file}: no stack protector")
    # The command's own code calls no function that has a checked version; check_commands() looks at its options.
    checked = {name for name in symbols if re.fullmatch(r"__\w+_chk", name)}
    expect(checked or is_program, f"{file}: no fortified functions")
    # The linker marks a file for indirect branches only if glibc's own crti.o is marked.
    start = guards(run("readelf", "-nW", run(compiler, "-print-file-name=crti.o").strip()))
    expected = GUARDS & ({"SHSTK"} | start)
    found = guards(run("readelf", "-nW", file))
    expect(expected <= found, f"{file}: marked {sorted(found)}, and not {sorted(expected)}")


def check_commands(tree):
    """All sources of the library and the command are fortified."""
    units = json.loads((tree / "compile_commands.json").read_text())
    expect(len(units) > 1, f"{tree}: {len(units)} sources")
    for unit in units:
        expect("cmake/fortify.hpp" in unit["command"], f"{unit['file']} is not fortified")


def check_objects(archive):
    notes = re.split(r"^File: .*\((.+)\)$", run("readelf", "-nW", archive), flags=re.MULTILINE)[1:]
    expect(len(notes) > 100, f"{archive}: only {len(notes) // 2} objects")
    for name, its in zip(notes[::2], notes[1::2]):
        expect(guards(its) >= GUARDS, f"{archive}: {name} is marked {sorted(guards(its))}")


def check_exports(prefix):
    """The files that applications read give them no options of the compiler and the linker."""
    files = [*prefix.rglob("torvaneTargets*.cmake"), *prefix.rglob("torvane.pc")]
    expect(len(files) == 3, f"{files}")
    for file in files:
        stray = re.search(r"INTERFACE_(COMPILE|LINK)_OPTIONS|fortify|protect|-z,", file.read_text())
        expect(not stray, f"{file} gives applications {stray and stray[0]}")


def check_fortify():
    """memcpy() is replaced with optimisation, unless the level is set or a sanitizer would not know the other one."""
    for command, called in CALLED.items():
        assembly = subprocess.run(
            [*command.split(), "-include", f"{cmake}/fortify.hpp", "-Werror", "-S", "-x", "c++", "-", "-o", "-"],
            input=SOURCE, stdout=subprocess.PIPE, text=True, check=True).stdout
        found = set(re.findall(r"\b(?:call|jmp)q?\s+(?:__[atm]san_)?(\w*memcpy\w*)", assembly))
        expect(found == {called}, f"{command}: calls {sorted(found)}, and not {called}")


def check_branches():
    """Each target gets the flag that it has, and not that of the other, which Clang would warn of."""
    folder = work / "hardened"
    folder.mkdir(exist_ok=True)
    (folder / "CMakeLists.txt").write_text(PROJECT)
    (folder / "hardened.cpp").write_text("int one() { return 1; }\n")
    for target, flag in BRANCHES.items():
        # Objects only: there is no linker for the other target.
        run("cmake", "-G", "Ninja", "-S", folder, "-B", folder / target, "-DCMAKE_CXX_COMPILER=clang++",
            f"-DCMAKE_CXX_COMPILER_TARGET={target}", "-DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY",
            "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON")
        words = (folder / target / "compile_commands.json").read_text().split()
        found = set(BRANCHES.values()).intersection(words)
        expect(found == {flag}, f"{target}: {sorted(found)}, and not {flag}")


check_fortify()
check_branches()
check_commands(work / "shared-build")
for prefix in (work / "shared", work / "root/all/usr"):
    libraries = [file for file in prefix.glob("lib*/**/libtorvane.so.*") if not file.is_symlink()]
    expect(len(libraries) == 1, f"{prefix}: {libraries}")
    for library in libraries:
        check_linked(library, False)
    check_linked(prefix / "bin/torvane", True)
    check_exports(prefix)
check_linked(work / "static/bin/torvane", True)
check_exports(work / "static")
archives = list((work / "static").glob("lib*/**/libtorvane.a"))
expect(len(archives) == 1, f"static: {archives}")
for archive in archives:
    check_objects(archive)
sys.exit("\n".join(faults) or 0)
