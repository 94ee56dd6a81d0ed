"""Compares the tables of docs/algorithms.md with the tables in the code: check_algorithms.py ROOT"""

import pathlib
import re
import sys
from itertools import zip_longest

ROOT = pathlib.Path(sys.argv[1])
CODE = (ROOT / "torvane/platform/jose/algorithms.hpp").read_text()
PRIMITIVES = (ROOT / "torvane/platform/core/key_vocabulary.hpp").read_text()
PAGE = (ROOT / "docs/algorithms.md").read_text()

SCHEMES = {"RSA_PKCS1": "RSASSA-PKCS1-v1_5", "RSA_PSS": "RSASSA-PSS", "ECDSA": "ECDSA"}
CURVES = {"P256": "P-256", "P384": "P-384", "P521": "P-521"}
COORDINATES = {curve: int(size) for curve, size in re.findall(r"case EllipticCurve::(\w+): return (\d+);", PRIMITIVES)}


def hash_name(enumerator):
    return enumerator.replace("SHA", "SHA-")


def code_table(algorithms):
    """Returns the rows of one table of the code, as lists of cells."""
    body = re.search(rf"valueTable\({algorithms}\).*?\n}}\n", CODE, re.DOTALL)[0]
    return [re.split(r", *", row) for row in re.findall(r'\{("[^{}]*"(?:[^{}]|\{\})*)\}', body)]


def page_tables():
    """Yields each table of the page, without the last two columns: the RFC and the advice."""
    for table in re.findall(r"^\|---.*\n((?:\|.*\n)+)", PAGE, re.MULTILINE):
        yield [[cell.strip() for cell in row.strip("|").split("|")][:-2] for row in table.splitlines()]


def signature(name, scheme, digest, curve):
    ec = CURVES.get(curve, "secp256k1")
    of_rsa = scheme != "ECDSA"
    size = "as long as the modulus" if of_rsa else str(2 * COORDINATES.get(curve, 32))
    return [name, SCHEMES[scheme], hash_name(digest), "RSA" if of_rsa else f"EC {ec}", size]


def key_management(name, digest, wrapping_size):
    if digest != "{}":
        return [name, "RSAES-OAEP", hash_name(digest), "RSA", "as long as the modulus"]
    bits = 8 * int(wrapping_size)
    wrap, size = (f"AES-{bits}", "content encryption key + 8") if bits else ("none", "0")
    return [name, "ECDH-ES", wrap, "EC P-256, P-384, P-521", size]


def content_encryption(name, digest, key_size, iv_size, tag_size):
    of_gcm = digest == "{}"
    bits = int(key_size) * 8 // (1 if of_gcm else 2)
    mac = "in the cipher" if of_gcm else f"HMAC-{hash_name(digest)}"
    return [name, f"AES-{bits}-{'GCM' if of_gcm else 'CBC'}", mac, key_size, iv_size, tag_size]


expected = [
    [row(*(cell.strip('"') for cell in cells)) for cells in code_table(algorithms)]
    for algorithms, row in (
        ("SignatureAlgorithm", signature),
        ("KeyManagementAlgorithm", key_management),
        ("ContentEncryptionAlgorithm", content_encryption),
    )
]
if [len(table) for table in expected] != [10, 8, 6] or len(COORDINATES) != 3:
    sys.exit("algorithms.hpp or key_vocabulary.hpp has another format than this script expects.")
wrong = [
    f"the code says {want or 'nothing'}, the page {has or 'nothing'}"
    for tables in zip_longest(expected, page_tables(), fillvalue=[])
    for want, has in zip_longest(*tables)
    if want != has
]
sys.exit("\n".join(wrong) or 0)
