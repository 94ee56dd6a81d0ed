"""Tests that check_includes.py finds wrong includes, in files that are made up here."""

import sys

import check_includes as check

INTERNAL = "torvane/platform/core/internal/a.hpp"
ALLOWED = (("torvane/jws/", INTERNAL), ("torvane/keys/one.cpp", INTERNAL))
USES = {"torvane/jws/a.cpp": f'#include "{INTERNAL}"', "torvane/keys/one.cpp": f'#include "{INTERNAL}"'}

# The fault, a file, its include, and what the check says of it.
INCLUDES = [
    ("nothing: an entry for a folder", "torvane/jws/internal/b.hpp", f'"{INTERNAL}"', ""),
    ("nothing: an internal header of its own folder", "torvane/platform/core/a.cpp", f'"{INTERNAL}"', ""),
    ("nothing: a lower layer", "torvane/jws/b.hpp", '"torvane/keys/a.hpp"', ""),
    ("nothing: the standard library", "torvane/jws/b.hpp", "<string>", ""),
    ("nothing: OpenSSL in platform/", "torvane/platform/jose/b.cpp", "<openssl/evp.h>", ""),
    ("an internal header without an entry", "torvane/jwe/b.cpp", f'"{INTERNAL}"', "not in ALLOWED"),
    ("an entry for another file", "torvane/keys/two.cpp", f'"{INTERNAL}"', "not in ALLOWED"),
    ("an internal header in angle brackets", "torvane/jwe/b.cpp", f"<{INTERNAL}>", "not in ALLOWED"),
    ("an internal header by another path", "torvane/jwe/b.cpp", '"../platform/core/internal/a.hpp"', "not the path"),
    ("dots in a path", "torvane/jwe/b.cpp", '"torvane/jwe/../keys/internal/a.hpp"', "not the path"),
    ("a higher layer", "torvane/keys/b.cpp", '"torvane/jws/a.hpp"', "a higher layer"),
    ("a layer that is higher within platform/", "torvane/platform/core/b.cpp", '"torvane/platform/jose/a.hpp"',
     "a higher layer"),
    ("a folder of the same layer", "torvane/jws/b.cpp", '"torvane/jwe/a.hpp"', "a folder beside its own"),
    ("primitives from above platform/", "torvane/keys/b.cpp", '"torvane/platform/primitives/a.hpp"', "primitives/"),
    ("a private header in a public one", "torvane/platform/core/b.hpp", f'"{INTERNAL}"', "from a public header"),
    ("OpenSSL above platform/", "torvane/keys/b.cpp", "<openssl/evp.h>", "includes <openssl/evp.h>"),
    ("OpenSSL in a public header", "torvane/platform/jose/b.hpp", "<openssl/evp.h>", "includes <openssl/evp.h>"),
    ("a header of the system in platform/", "torvane/platform/jose/b.cpp", "<poll.h>", "only system/ may do"),
    ("spaces in the directive", "torvane/platform/jose/b.cpp", "\n  #  include <poll.h>", "only system/ may do"),
    ("nothing: a header of the system in its folder", "torvane/platform/system/b.cpp", "<poll.h>", ""),
    ("a folder without a layer", "torvane/other/b.cpp", "<string>", "is in a folder that LAYERS does not list"),
]


def checks():
    """Yields what is checked, the faults that were found, and a text that the only one contains; empty for none."""
    for what, file, include, said in INCLUDES:
        directive = include if "include" in include else f"#include {include}"
        yield what, list(check.include_faults(USES | {file: f"#pragma once\n{directive}\n"}, ALLOWED)), said
    unused = {"torvane/jws/a.cpp": USES["torvane/jws/a.cpp"]}
    yield "an entry that is not needed", list(check.include_faults(unused, ALLOWED)), "lists torvane/keys/one.cpp -> "
    twice = (*ALLOWED, ("torvane/jws/a.cpp", INTERNAL))
    yield "an entry beside that of its folder", list(check.include_faults(USES, twice)), "lists torvane/jws/a.cpp -> "

    sources = ["torvane/jws/a.cpp", "torvane/jws/internal/b.cpp", "torvane/support/only_a_header.hpp"]
    include = '#include "torvane/platform/core/%s.hpp"\n'
    yield "nothing: a public header", list(check.private_includes({"cli/a.cpp": include % "clock"})), ""
    yield "a private header in a program", list(check.private_includes({"cli/a.cpp": include % "internal/a"})), \
        "private to the library"
    yield "a header of the system in the command", list(check.private_includes({"cli/a.cpp": "#include <poll.h>\n"})), \
        "only system/ may do"
    yield "nothing: a folder with a test", list(check.untested(sources, ["tests/jws/a_test.cpp"])), ""
    yield "a folder without a test", list(check.untested(sources, ["tests/jws/a/a_test.cpp"])), "tests/jws has no test"


def main():
    wrong = [f"{what}: it found {faults}, and should say {said!r}" for what, faults, said in checks()
             if len(faults) != bool(said) or said not in "".join(faults)]
    sys.exit("\n".join(wrong) or 0)


if __name__ == "__main__":
    main()
