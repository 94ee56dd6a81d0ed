"""Generates docs/errors.md from the docstrings of the headers: errors_page.py [--write]

Without --write it only checks that the page is up to date.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs/errors.md"
CLASSES = (
    ("Torvane::JOSEError", "torvane/support/errors.hpp"),
    ("Torvane::JsonSerializeError", "torvane/support/errors.hpp"),
    ("Torvane::ClaimsError", "torvane/jwt/claims_error.hpp"),
    ("Torvane::TokenError", "torvane/messaging/token_error.hpp"),
    ("Torvane::KeySetSourceError", "torvane/keys/key_set_source_error.hpp"),
    ("Torvane::KeyStoreError", "torvane/platform/core/error.hpp"),
    ("Torvane::JOSE::JOSESwiftError", "torvane/platform/jose/error.hpp"),
)

HEAD = """# Error reference

<!-- Written by scripts/errors_page.py from the headers. -->

When each error is thrown, and what its text contains. [Handling errors](handling-errors.md) says what to do about it.

Where the column "text" says "the message" or "the description", the text says what was wrong in that call. "The textual
form" is what `debugDescription()` returns: the class, the case, and its values in parentheses.

Applications may compare texts: the texts of a published version never change.
"""

TAIL = """
## Errors without cases

- `Torvane::SecurityError`: the input holds no usable key, the key does not support the operation, or a cryptographic
  operation failed. `KeyStoreError` derives from it.
- `Torvane::JSONError`: the text is not JSON, or the value cannot be written as JSON. `Torvane::JSONSerialization`
  throws it.
- `Torvane::Error`: the base class of all errors. It is never thrown itself.

The text of each says what was wrong.
"""


def class_text(name, header):
    """Returns the class's docstring and the text of its public part."""
    found = re.search(
        rf"((?:^///[^\n]*\n)+)^class TORVANE_EXPORT {name} [^;]*?{{\n(.*?)^  private:",
        (ROOT / header).read_text(),
        re.DOTALL | re.MULTILINE,
    )
    return plain(found[1]), found[2]


def plain(comment):
    return " ".join(re.sub(r"^ *///<?", "", line).strip() for line in comment.strip().splitlines())


def cases(text):
    """Maps the name of each case to its docstring, which says when it is thrown."""
    body = re.search(r"enum class Case \{\n(.*?)^ *\};", text, re.DOTALL | re.MULTILINE)[1]
    entries = re.findall(r"^ *(\w+), *(///<.*\n(?: *///<.*\n)*)?", body, re.MULTILINE)
    return {name: plain(comment) for name, comment in entries}


def texts(name, text):
    """Maps the name of each case to the docstring of its factory, or of the factory's group. A constructor that takes
    the case is the factory of all cases."""
    found, comment, in_group = {}, "", False
    for line in text.splitlines():
        words = line.strip()
        if words in ("/// @{", "/// @}"):
            comment, in_group = "", words.endswith("{")
        elif words.startswith("///"):
            comment += words + "\n"
        elif factory := re.match(rf"\[\[nodiscard\]\] static {name} (\w+)\(", words):
            found[factory[1]] = plain(comment)
            comment = comment if in_group else ""
        elif words.startswith(f"{name}(Case "):
            found |= dict.fromkeys(cases(text), plain(comment))
        elif not words:
            comment = comment if in_group else ""
    return found


def section(qualified, header):
    name = qualified.rpartition("::")[2]
    about, text = class_text(name, header)
    form = texts(name, text)
    lines = [f"\n## {qualified}\n", about + "\n", "| case | when | text |", "|---|---|---|"]
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
