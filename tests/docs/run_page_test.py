"""Tests run_page.py with wrong pages, which it must reject. Needs the same environment variables."""

import pathlib
import subprocess
import sys
import tempfile

RUN_PAGE = pathlib.Path(__file__).with_name("run_page.py")
PROGRAM = "<!-- cpp\n#include <iostream>\nint main() {\n-->\n~~~cpp\nCODE\n~~~\n<!-- cpp\n}\n-->\n"

# The fault, the page, and a part of the expected message.
CASES = [
    ("nothing", "~~~console\n$ echo one two three\none ... three\n$ false\n$ echo $?\n1\n~~~\n", "3 commands ran"),
    ("nothing, and the shell remembers", "~~~console\n$ x=7\n~~~\n\n~~~console\n$ echo $x\n7\n~~~\n", "2 commands ran"),
    ("nothing, in two lines", "~~~console\n$ echo a \\\n> b\na b\n$ seq 9\n1\n...\n9\n~~~\n", "2 commands ran"),
    ("nothing, in an empty folder", "~~~console\n$ ls -A\n~~~\n", "1 commands ran"),
    ("another output", "~~~console\n$ echo two\none\n~~~\n", "--- it printed\ntwo"),
    ("output that is not shown", "~~~console\n$ echo one\n~~~\n", "--- it printed\none"),
    ("output that stops", "~~~console\n$ echo one\none\ntwo\n~~~\n", "--- it printed\none"),
    ("an error that is not shown", "~~~console\n$ ls nothing\n...\n~~~\n", "failed with the status 2"),
    ("the end of the shell", "~~~console\n$ exit 0\n$ echo one\none\n~~~\n", "ended the shell"),
    ("no command", "~~~console\none\n~~~\n", "a transcript starts with a command"),
    ("no tag", "~~~\none\n~~~\n", 'the tag ""'),
    ("a tag that nothing tests", "~~~python\none\n~~~\n", 'the tag "python"'),
    ("a block that is indented", "Text:\n\n    one\n", "line 3: an indented block"),
    ("a fence that is indented", "- one\n\n  ~~~json\n  1\n  ~~~\n", "line 3: an indented block"),
    ("a block without an end", "~~~json\n1\n", "line 1: the block has no end"),
    ("code behind a comment's text", "<!-- see below\ncpp -->\n", "a comment that hides a block"),
    ("no JSON", '~~~json\n{"a": }\n~~~\n', "no JSON"),
    ("the output of no program", "~~~output\none\n~~~\n", "the output of no program"),
    ("a project without the library", "~~~cmake\nproject(x LANGUAGES NONE)\n~~~\n", "does not link with the library"),
    ("a program with a warning", PROGRAM.replace("CODE", "int unused = 1;"), "page.md:6:5: error: unused variable"),
    ("a program that prints something else", PROGRAM.replace("CODE", 'std::cout << "one";') + "~~~output\ntwo\n~~~\n",
     "--- it printed\none"),
    ("a program that fails", PROGRAM.replace("CODE", "return 3;"), "failed with the status 3"),
]


def main():
    wrong = []
    for what, text, said in CASES:
        with tempfile.TemporaryDirectory() as folder:
            page = pathlib.Path(folder) / "page.md"
            page.write_text(text)
            result = subprocess.run([sys.executable, RUN_PAGE, page], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                    text=True)
        is_expected = (result.returncode == 0) == what.startswith("nothing")
        if not is_expected or said not in result.stdout:
            wrong.append(f"{what}: exit code {result.returncode}, output:\n{result.stdout}")
    sys.exit("\n".join(wrong) or 0)


main()
