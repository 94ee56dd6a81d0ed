"""Compiles the examples in the comments at the top of the public headers: header_examples.py FOLDER FEWEST

FOLDER contains torvane/. At least FEWEST of its headers must have an example: lines that are indented by five spaces.
Examples may use the names that example_prelude.hpp declares. Definitions are compiled in a namespace, everything else
in a function.
Reads from the environment: CXX, TORVANE_SOURCE, TORVANE_BUILD (the build folder of the library).
"""

import os
import pathlib
import re
import subprocess
import sys

WARNINGS = "-Wall -Wextra -Wpedantic -Wno-unused-variable -Wno-unused-but-set-variable -Werror".split()
PRIVATE_FOLDERS = {"internal", "primitives"}
# Start of code that must be outside a function.
DEFINITIONS = re.compile(r"(class|struct|enum class|template|namespace|inline|using namespace)\b")


def example(header):
    """Returns the lines of the example, with their numbers."""
    found = []
    for number, line in enumerate(header.read_text().splitlines(), 1):
        if not line.startswith("//"):
            break
        if line.startswith("//     ") or line == "//" and found:
            found.append((number, line.removeprefix("//     ").removeprefix("//")))
    return found


def parts(lines):
    """Splits the lines at empty lines outside braces."""
    part, depth = [], 0
    for number, text in [*lines, (0, "")]:
        depth += text.count("{") - text.count("}")
        if text or depth:
            part.append((number, text))
        elif part:
            yield part
            part = []
    if part:
        yield part


def program(examples):
    """Returns one translation unit with all examples, each in a namespace of its own."""
    text = f'#include "{pathlib.Path(__file__).with_name("example_prelude.hpp")}"\n'
    text += "".join(f'#include "{header}"\n' for header, _ in examples)
    for index, (header, lines) in enumerate(examples):
        definitions, statements = "", ""
        for part in parts(lines):
            code = "".join(f'#line {number} "{header}"\n{line}\n' for number, line in part)
            if DEFINITIONS.match(part[0][1]):
                definitions += code
            else:
                statements += code
        text += f"namespace example_{index} {{\n{definitions}\nvoid run();\nvoid run() {{\n{statements}\n}}\n}}\n"
    return text


def faults(examples):
    """Returns the messages of the compiler; empty if the examples compile."""
    folders = [f"-I{sys.argv[1]}", f"-I{os.environ['TORVANE_SOURCE']}", f"-I{os.environ['TORVANE_BUILD']}"]
    command = [os.environ["CXX"], "-std=c++20", "-fsyntax-only", *WARNINGS, *folders, "-x", "c++", "-"]
    done = subprocess.run(command, input=program(examples), text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return done.stdout or ("the compiler fails without a message" if done.returncode else "")


def main():
    folder = pathlib.Path(sys.argv[1])
    headers = sorted(path.relative_to(folder) for path in folder.glob("torvane/**/*.hpp"))
    headers = [header for header in headers if PRIVATE_FOLDERS.isdisjoint(header.parts)]
    examples = [(header, lines) for header in headers if (lines := example(folder / header))]
    if len(examples) < int(sys.argv[2]):
        sys.exit(f"Only {len(examples)} of {len(headers)} headers have an example.")
    if together := faults(examples):
        # Compile these one by one, since an unclosed brace also breaks the examples after it.
        named = [(header, lines) for header, lines in examples if f"{header}:" in together]
        wrong = {header: fault for header, lines in named if (fault := faults([(header, lines)]))}
        wrong = wrong or {"all together": together}
        print("\n".join(f"== {header}\n{fault}" for header, fault in wrong.items()))
        sys.exit("These examples do not compile: " + ", ".join(map(str, wrong)))
    print(f"{len(examples)} examples of {len(headers)} headers compile")


main()
