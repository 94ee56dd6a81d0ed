"""Table of the instructions above the floor by kind of function, from the output of callgrind_annotate."""

import re

import tables

# A function belongs to the first kind whose pattern matches "file:function [object]".
KINDS = [
    ("malloc and free", r"[mc]alloc|realloc|:_*(int_)?free|unlink_chunk|operator (new|delete)|:CRYPTO_\w*(alloc|free)"),
    ("copies, fills, comparisons", r":_*(mem|str)[a-z]+(_|\b)|OPENSSL_cleanse|CRYPTO_memcmp"),
    ("locks", r":_*pthread_|CRYPTO_THREAD_"),
    ("exceptions", r"libgcc_s|:_*(cxa|gxx)_"),
    ("big numbers of RSA", r":(bn|BN|rsaz|RSAZ)_"),
    ("hash and cipher kernels", r":(sha\d+_block|aesni|gcm_|ghash)"),
    ("set-up and the rest of OpenSSL", r"libcrypto"),
    ("base64url", r"[bB]ase64"),
    ("JSON", r"nlohmann|Value(Builder|Reader)|[jJ]son(?!Web)|JSON"),
    ("strings, vectors, maps", r":([a-z]+ )?std::|libstdc"),
    ("the rest of the library", r"\bTorvane::"),
    ("everything else", r""),
]
LINE = re.compile(r"^ *([\d,]+) \([^)]*\)  (.*)$")


def read(path):
    """Reads the instructions by kind."""
    kinds = dict.fromkeys((kind for kind, _ in KINDS), 0)
    for line in path.read_text().splitlines():
        found = LINE.match(line)
        if found and not found[2].startswith("PROGRAM TOTALS"):
            kind = next(kind for kind, pattern in KINDS if re.search(pattern, found[2]))
            kinds[kind] += int(found[1].replace(",", ""))
    return kinds


def above_floor(folder, operation, enc, size):
    """Instructions of one call by kind, less those of the floor."""
    per_call = {}
    for who in ("torvane", "floor"):
        paths = folder.glob(f"{who}-{operation}-{enc}-{size}-*.txt")
        few, many = sorted(paths, key=lambda path: int(path.stem.rsplit("-", 1)[1]))
        calls = [int(path.stem.rsplit("-", 1)[1]) for path in (few, many)]
        less, more = read(few), read(many)
        per_call[who] = {kind: (more[kind] - less[kind]) / (calls[1] - calls[0]) for kind in more}
    return {kind: count - per_call["floor"][kind] for kind, count in per_call["torvane"].items()}


def block(folder, enc, size):
    operations = ("encode", "decode")
    by_operation = []
    for operation in operations:
        try:
            by_operation.append(above_floor(folder, operation, enc, size))
        except ValueError:  # one of the four runs is missing
            return "Not measured.\n"
    rows = [[kind, *(tables.count(kinds[kind]) for kinds in by_operation)] for kind, _ in KINDS]
    rows.append(["total", *(tables.count(sum(kinds.values())) for kinds in by_operation)])
    return tables.table(["instructions above the floor", *operations], rows)
