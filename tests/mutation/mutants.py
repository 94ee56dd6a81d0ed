"""Makes mutants: copies of a source file with one fault each. Works on the text, line by line, so a mutant may not
compile; such mutants do not count."""

import dataclasses
import re

# What each error case is replaced with: another one with the same arguments.
ERROR_CASES = (
    ("parsingFailed", "verifyingFailed"), ("unsupportedAlgorithm", "unsupportedKey"),
    ("missingKey", "invalidKeyFormat"), ("algorithmNotSupported", "curveNotSupported"),
    ("JWSSignerError", "JWSVerificationError"), ("JWEEncrypterError", "JWEDecrypterError"),
    ("cannotDecodeJWK", "cannotEncodeJWK"), ("invalidJOSEComponent", "missingKey"),
    ("failedToParseJson", "missingRequiredInformationForKey"),
    ("operationFailed", "keyNotFound"), ("unavailable", "operationFailed"), ("wrongSecret", "keyNotFound"),
    ("notSupported", "invalidURI"), ("algorithmNotAllowed", "malformed"), ("rejected", "unavailable"),
)
CLAIMS_CASES = (("expired", "tooOld"), ("notYetValid", "replayed"), ("wrongIssuer", "wrongAudience"),
                ("wrongSubject", "wrongType"), ("missingClaim", "malformed"))
SWAPS = {
    "comparison": ((" == ", " != "), (" != ", " == "), (" < ", " <= "), (" <= ", " < "), (" > ", " >= "),
                   (" >= ", " > ")),
    "logic": ((" && ", " || "), (" || ", " && ")),
    "arithmetic": ((" + ", " - "), (" - ", " + "), (" * ", " / "), (" / ", " * "), (" % ", " / "), (" & ", " | "),
                   (" | ", " & "), (" ^ ", " & "), (" << ", " >> "), (" >> ", " << ")),
    "constant": (("true", "false"), ("false", "true")),
    "error": (*((a + "(", b + "(") for pair in ERROR_CASES for a, b in (pair, pair[::-1])),
              *(("Case::" + a, "Case::" + b) for pair in CLAIMS_CASES for a, b in (pair, pair[::-1]))),
}
NOT_CODE = re.compile(r"^\s*(#|//|using |namespace |static_assert|template|friend |enum |class |struct |typedef |"
                      r"(public|private|protected|case .*|default):|constexpr std::array)")
STATEMENT = re.compile(r"^(?!return|throw|const |auto |auto\*|static |if|for|while|else|do|delete|break|continue|"
                       r"std::\w+(<.*>)? \w+)"
                       r"[\w:*+-][\w:.<>\[\]*-]*(\(.*\)| [-+*/|&^]?= .*|);$")


@dataclasses.dataclass(frozen=True)
class Mutant:
    """The fault: a line of a file, and what it becomes."""
    path: str
    line: int
    kind: str
    before: str
    after: str


def mask(text):
    """The text with comments, string and character literals replaced by filler of the same length."""
    pattern = re.compile(r'//[^\n]*|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\'(?![0-9])')

    def fill(match):
        literal = match.group()
        if literal.startswith("//"):
            return " " * len(literal)
        return literal[0] + "\x01" * (len(literal) - 2) + literal[-1]

    return re.sub(r"(?<=[0-9])'(?=[0-9])", "\x02", pattern.sub(fill, re.sub(r"(?<=[0-9])'(?=[0-9])", "\x02", text)))


def condition(line):
    """The span of the condition of an `if` that ends on the line; nothing for any other line."""
    found = re.search(r"\bif \(", line)
    if not found or line[:found.start()].endswith("constexpr "):
        return None
    depth, start = 1, found.end()
    for at in range(start, len(line)):
        depth += {"(": 1, ")": -1}.get(line[at], 0)
        if line[at] == ";" and depth == 1:
            start = at + 2
        if depth == 0:
            return start, at
    return None


def edits(line, previous):
    """Yields (kind, start, end, replacement) for one masked line; `previous` is the line before it."""
    span = condition(line)
    if span:
        yield "condition", *span, "!(" + line[span[0]:span[1]] + ")"
    for kind, pairs in SWAPS.items():
        if kind == "arithmetic" and '"' in line:
            continue
        for before, after in pairs:
            pattern = re.escape(before) if " " in before or "(" in before else rf"\b{before}\b"
            for found in re.finditer(rf"(?<!\w){pattern}" if before[0] != " " else pattern, line):
                yield kind, *found.span(), after
    for found in re.finditer(r"(?<![\w.\x01\x02])(0[xX][0-9A-Fa-f]+|[0-9]+)(?=[uU]?\b)(?![.\x02])", line):
        is_octal = re.fullmatch("0[0-9]+", found.group())
        yield "constant", *found.span(), str(int(found.group(), 8 if is_octal else 0) + 1)
    stripped = line.strip()
    indent = len(line) - len(line.lstrip())
    starts = not previous.strip() or previous.rstrip()[-1] in ";{}:"
    if starts and STATEMENT.match(stripped):
        yield "statement", indent, len(line), ";"
    found = re.search(r"\breturn (?!(\{\}|true|false|0|\"\"|nullptr|std::nullopt);)[^;]+;$", line)
    if found:
        yield "result", *found.span(), "return {};"
    found = re.search(r"\bthrow [^;]+;$", line)
    if found:
        yield "statement", *found.span(), ";"
    # check() and fail() word failures of OpenSSL, which tests cannot provoke one by one.
    call = line if starts else previous + line
    for found in re.finditer(r'"\x01+"', "" if re.search(r"\b(check|fail)\(", call) else line):
        yield "text", found.end() - 1, found.end() - 1, "~"


def read_mutants(root, path):
    """All mutants of a file."""
    text = (root / path).read_text(encoding="utf-8")
    lines, masked = text.split("\n"), mask(text).split("\n")
    for number, line in enumerate(masked, 1):
        if NOT_CODE.match(line) or not line.strip():
            continue
        original = lines[number - 1]
        for kind, start, end, replacement in edits(line, masked[number - 2] if number > 1 else ""):
            if kind == "condition":
                replacement = "!(" + original[start:end] + ")"
            after = original[:start] + replacement + original[end:]
            yield Mutant(path, number, kind, original.strip(), after.strip())
