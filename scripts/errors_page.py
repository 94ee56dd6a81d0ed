"""Makes docs/errors.md from the docstrings of the headers: errors_page.py [--write]

Without --write it fails when the page is not what the headers say.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs/errors.md"
CLASSES = (
    ("Torvane::JOSEError", "torvane/support/errors.hpp"),
    ("Torvane::JsonSerializeError", "torvane/support/errors.hpp"),
    ("Torvane::KeyStoreError", "torvane/platform/core/error.hpp"),
    ("Torvane::JOSE::JOSESwiftError", "torvane/platform/jose/error.hpp"),
)

HEAD = """# Errors

<!-- Written by scripts/errors_page.py from the headers. -->

Every case of every error, when it is thrown, and what its text is made of. [What to do](handling-errors.md) is another
page. Where the text is the message or the description, it says what was wrong in the case at hand. "The textual form"
of an error is what `debugDescription()` shows without the class: the case, and what it holds in parentheses.

Texts are part of the interface: an old one is never reworded.
"""

TAIL = """
## Without cases

`Torvane::SecurityError`, of which `KeyStoreError` is one, is thrown where numbers are no key and where an operation is
not one for the key. `Torvane::JSONError` is a text that is not JSON or a value that has no text, from
`Torvane::JSONSerialization` alone. Both have a description. `Torvane::Error` is the base of all of them.
"""


def class_text(name, header):
    """The class's docstring, and its public part."""
    found = re.search(
        rf"((?:^///[^\n]*\n)+)^class TORVANE_EXPORT {name} [^;]*?{{\n(.*?)^  private:",
        (ROOT / header).read_text(),
        re.DOTALL | re.MULTILINE,
    )
    return plain(found[1]), found[2]


def plain(comment):
    return " ".join(re.sub(r"^ *///<?", "", line).strip() for line in comment.strip().splitlines())


def cases(text):
    """When each case is thrown, by its name."""
    body = re.search(r"enum class Case \{\n(.*?)^ *\};", text, re.DOTALL | re.MULTILINE)[1]
    entries = re.findall(r"^ *(\w+), *(///<.*\n(?: *///<.*\n)*)?", body, re.MULTILINE)
    return {name: plain(comment) for name, comment in entries}


def texts(name, text):
    """What the text of each case is made of: the docstring of its factory, or of the group that this is in."""
    found, comment, in_group = {}, "", False
    for line in text.splitlines():
        words = line.strip()
        if words in ("/// @{", "/// @}"):
            comment, in_group = "", words.endswith("{")
        elif words.startswith("///"):
            comment += words + "\n"
        elif factory := re.match(rf"static {name} (\w+)\(", words):
            found[factory[1]] = plain(comment)
            comment = comment if in_group else ""
        elif not words:
            comment = comment if in_group else ""
    return found


def section(qualified, header):
    name = qualified.rpartition("::")[2]
    about, text = class_text(name, header)
    form = texts(name, text)
    lines = [f"\n## {qualified}\n", about + "\n", "| case | when | its text |", "|---|---|---|"]
    for case, when in cases(text).items():
        if not when or not form.get(case):
            sys.exit(f"{header}: {name}::Case::{case} or its factory has no docstring.")
        lines.append(f"| {case} | {when} | {form[case]} |")
    return "\n".join(lines) + "\n"


page = HEAD + "".join(section(*its) for its in CLASSES) + TAIL
if sys.argv[1:] == ["--write"]:
    PAGE.write_text(page)
elif PAGE.read_text() != page:
    sys.exit("docs/errors.md is stale: run scripts/errors_page.py --write")
