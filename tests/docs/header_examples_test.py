"""Tests header_examples.py with wrong examples, which it must reject. Needs the same environment variables."""

import pathlib
import subprocess
import sys
import tempfile

HEADER_EXAMPLES = pathlib.Path(__file__).with_name("header_examples.py")
GOOD = "// A thing.\n//\n//     int one = 1;\n//     ++one;\n#pragma once\n"
CLASS = "// A class.\n//\n//     class A {\n//\n//         int a;\n//     };\n//\n//     A a;\n#pragma once\n"


def header(line):
    return f"// A thing.\n//\n//     {line}\n//\n// The end.\n#pragma once\n"


# The fault, the header, and a part of the expected message.
CASES = [
    ("nothing", GOOD, "2 examples of 2 headers compile"),
    ("nothing, with a class", CLASS, "2 examples of 2 headers compile"),
    ("nothing, with a name of the prelude", header("auto length = payload.size();"), "2 examples of 2 headers compile"),
    ("an undeclared name", header("undeclared();"), "torvane/b.hpp:3:"),
    ("an ignored result", header("std::launder(new int);"), "torvane/b.hpp:3:"),
    ("an unclosed brace", header("if (true) {"), "These examples do not compile: torvane/b.hpp\n"),
    ("an omission written as ...", header("for (int i : {1, 2}) ..."), "torvane/b.hpp:3:"),
    ("no example", "// A thing.\n#pragma once\n", "Only 1 of 2 headers have an example."),
]


def main():
    wrong = []
    for what, text, said in CASES:
        with tempfile.TemporaryDirectory() as folder:
            torvane = pathlib.Path(folder) / "torvane"
            (torvane / "internal").mkdir(parents=True)
            (torvane / "a.hpp").write_text(GOOD)
            (torvane / "b.hpp").write_text(text)
            (torvane / "internal/c.hpp").write_text(header("This is private."))
            result = subprocess.run([sys.executable, HEADER_EXAMPLES, folder, "2"], stdout=subprocess.PIPE,
                                    stderr=subprocess.STDOUT, text=True)
        is_expected = (result.returncode == 0) == what.startswith("nothing")
        if not is_expected or said not in result.stdout:
            wrong.append(f"{what}: exit code {result.returncode}, output:\n{result.stdout}")
    sys.exit("\n".join(wrong) or 0)


main()
