#!/usr/bin/python3
"""Tests every algorithm with every partner in both directions, and prints the results as a table.

    matrix.py TORVANE_PARTNER GOJOSE_PARTNER [--write FILE]

--write also writes the page FILE. Fails if a cell fails, or if the counts of results differ from expected.json. Each
cell tests messages of 0, 1, 17, 1000 and 1048576 bytes.
"""
import argparse
import base64
import json
import pathlib
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
SIZES = [0, 1, 17, 1000, 1 << 20]
# Another implementation generated the RSA and EC keys; the secp256k1 key is the scalar 1 and the published base point.
KEYS = {entry["kid"]: entry for entry in
        json.loads((HERE.parent / "vectors" / "nested_interop.json").read_text(encoding="utf-8"))["keys"]}
SIGNATURE_KIDS = {"RS": "d-sig-rs256", "PS": "d-sig-rs256", "ES256": "d-sig-es256", "ES384": "d-sig-es384",
                  "ES512": "d-sig-es512"}
AGREEMENT_KID = "d-enc-ecdh"
RSA_KID = "d-enc-oaep256"
# These reject every JWE of an empty message, even their own, which the test checks.
NO_EMPTY_JWE = {"jwcrypto", "go-jose"}
NESTED = [("RS256", "RSA-OAEP-256", "A128CBC-HS256"), ("PS512", "RSA-OAEP", "A256GCM")]


def encoded(data):
    return base64.urlsafe_b64encode(data).rstrip(b"=").decode()


SECP256K1 = {"kty": "EC", "crv": "secp256k1", "kid": "secp256k1", "d": encoded((1).to_bytes(32, "big")),
             "x": encoded(bytes.fromhex("79be667ef9dcbbac55a06295ce870b07029bfcdb2dce28d959f2815b16f81798")),
             "y": encoded(bytes.fromhex("483ada7726a3c4655da4fbfc0e1108a8fd17b448a68554199c47d08ffb10d4b8"))}


class Partner:
    """A program that answers JSON requests, one per line."""

    def __init__(self, name, command):
        self.name = name
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.knows = self.ask(op="algorithms")

    def ask(self, **request):
        self.process.stdin.write(json.dumps(request) + "\n")
        self.process.stdin.flush()
        response = json.loads(self.process.stdout.readline())
        if "error" in response:
            raise RuntimeError(f"{self.name}: {request['op']}: {response['error']}")
        return response

    def sign(self, alg, key, payload, **header):
        return self.ask(op="sign", alg=alg, key=key, payload=encoded(payload), header=header)["token"]

    def verify(self, alg, key, token):
        return self.ask(op="verify", alg=alg, key=public(key), token=token)["payload"]

    def encrypt(self, alg, enc, key, payload, **header):
        return self.ask(op="encrypt", alg=alg, enc=enc, key=public(key), payload=encoded(payload),
                        header=header)["token"]

    def decrypt(self, alg, enc, key, token):
        return self.ask(op="decrypt", alg=alg, enc=enc, key=key, token=token)["payload"]

    # Nested tokens take two calls, except in the library's own partner.
    def encode(self, names, keys, payload):
        if self.knows["version"] == "torvane":
            return self.ask(op="encode", payload=encoded(payload), **nested(names, keys))["token"]
        inner = self.sign(names[0], keys[0], payload, kid=keys[0]["kid"])
        return self.encrypt(*names[1:], keys[1], inner.encode(), cty="JWT", kid=keys[1]["kid"])

    def decode(self, names, keys, token):
        if self.knows["version"] == "torvane":
            return self.ask(op="decode", token=token, **nested(names, keys))["payload"]
        inner = self.decrypt(*names[1:], keys[1], token)
        return self.verify(names[0], keys[0], base64.urlsafe_b64decode(inner + "=" * (-len(inner) % 4)).decode())


def nested(names, keys):
    return dict(zip(("sigAlg", "alg", "enc", "sigKey", "encKey"), (*names, *keys)))


def public(jwk):
    return {name: value for name, value in jwk.items() if name not in ("d", "p", "q", "dp", "dq", "qi")}


def signature_key(alg):
    if alg == "ES256K":
        return SECP256K1
    return KEYS[SIGNATURE_KIDS.get(alg) or SIGNATURE_KIDS[alg[:2]]]["jwk_private"]


def encryption_key(alg):
    return KEYS[AGREEMENT_KID if alg.startswith("ECDH") else RSA_KID]["jwk_private"]


def rows(us):
    """Yields each row: its name, the algorithms that it needs, and a function that sends a message from a to b."""
    for alg in us.knows["sign"]:
        key = signature_key(alg)
        yield (f"JWS {alg}", {"sign": [alg]},
               lambda a, b, data, alg=alg, key=key: b.verify(alg, key, a.sign(alg, key, data)))
    for alg in us.knows["alg"]:
        key = encryption_key(alg)
        for enc in us.knows["enc"]:
            yield (f"JWE {alg} {enc}", {"alg": [alg], "enc": [enc]},
                   lambda a, b, data, alg=alg, enc=enc, key=key:
                       b.decrypt(alg, enc, key, a.encrypt(alg, enc, key, data)))
    for names in NESTED:
        keys = (signature_key(names[0]), encryption_key(names[1]))
        yield ("nested " + " ".join(names), {"sign": [names[0]], "alg": [names[1]], "enc": [names[2]]},
               lambda a, b, data, names=names, keys=keys: b.decode(names, keys, a.encode(names, keys, data)))


def read_keys(writer, reader):
    """The writer writes public keys and a set of them; the reader reads them."""
    # The library rejects sets with secp256k1 keys when it reads them from bytes.
    private = [entry["jwk_private"] for entry in KEYS.values() if entry["jwk_private"].get("crv") != "secp256k1"]
    for jwk in private:
        written = writer.ask(op="public", key=jwk)["jwk"]
        assert all(written[name] == jwk[name] for name in ("kty", "n", "e", "crv", "x", "y") if name in jwk), written
        assert "d" not in written, "a private value was published"
        again = reader.ask(op="public", key=written)["jwk"]
        assert all(again[name] == written[name] for name in ("kty", "n", "e", "crv", "x", "y") if name in jwk), again
    jwks = writer.ask(op="set", keys=private)["jwks"]
    # Sorted, because one partner does not keep the order.
    assert sorted(reader.ask(op="readset", jwks=jwks)["kids"]) == sorted(jwk["kid"] for jwk in private)


def cell(check, failures, name):
    try:
        return check() or "ok"
    except (RuntimeError, AssertionError, ValueError) as error:
        failures.append(f"{name}: {str(error)[:300]}")
        return "FAILED"


def exchange(carry, a, b, encrypted):
    rejects_empty = encrypted and b.name in NO_EMPTY_JWE
    for size in SIZES:
        data = bytes(i % 251 for i in range(size))
        if size == 0 and rejects_empty:
            try:
                carry(a, b, data)
            except RuntimeError:
                continue
            raise AssertionError("an empty message was decrypted, unexpectedly")
        assert carry(a, b, data) == encoded(data), f"a message of {size} bytes came back changed"
    return "ok, but not empty" if rejects_empty else "ok"


def table(partners, results):
    lines = ["| | " + " | ".join(f"{p.name} reads ours | we read {p.name}'s" for p in partners) + " |",
             "|---" * (1 + 2 * len(partners)) + "|"]
    return "\n".join(lines + [f"| {name} | " + " | ".join(cells) + " |" for name, cells in results])


def merged(results):
    """Returns fewer rows with the same results, and the names of the rows that no partner supports.

    "JWE ALG ENC" becomes "JWE ALG" if every ENC has the same result. Then neighbours of the same kind are joined.
    """
    of_alg = {}
    for name, cells in results:
        if name.startswith("JWE "):
            of_alg.setdefault(name.split()[1], set()).add(tuple(cells))
    rows, unsupported = [], []
    for name, cells in results:
        kind, *algs = name.split()
        if kind == "JWE" and len(of_alg[algs[0]]) == 1:
            name = f"JWE {algs[0]}"
        names = unsupported if set(cells) == {"unsupported"} else [row[0] for row in rows]
        if name in names:
            continue
        if names is unsupported:
            unsupported.append(name)
        else:
            rows.append((name, cells))
    joined = []
    for name, cells in rows:
        kind, _, algs = name.partition(" ")
        if joined and kind in ("JWS", "JWE") and joined[-1][0].startswith(f"{kind} ") and joined[-1][1] == cells:
            joined[-1] = (f"{joined[-1][0]}, {algs}", cells)
        else:
            joined.append((name, cells))
    return joined, unsupported


def page(partners, results):
    rows, unsupported = merged(results)
    sizes = f"{', '.join(map(str, SIZES[:-1]))} and {SIZES[-1]}"
    about = f"""`scripts/interop.sh --write` writes this page. It tests each cell with messages of {sizes} bytes, which
must come back unchanged; the first row tests public keys and sets. A row with several algorithms gives the result that
each of them had. Each JWE algorithm is tested with every content encryption. The cells say:

- "ok": all messages, or keys, came back.
- "ok, but not empty": the same, except that the partner rejects every JWE of an empty message, even its own.
- "unsupported": the partner does not support the algorithm, so nothing was tested.
"""
    if unsupported:
        about += f"\nNo partner supports {' or '.join(unsupported)}, so nothing was tested with them.\n"
    versions = "\n".join(f"- {partner.knows['version']}" for partner in partners)
    return f"# Interoperability\n\n{about}\nThe partners:\n\n{versions}\n\n{table(partners, rows)}\n"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("torvane")
    parser.add_argument("gojose")
    parser.add_argument("--write")
    arguments = parser.parse_args()
    us = Partner("torvane", [arguments.torvane])
    partners = [Partner("jwcrypto", ["/usr/bin/python3", "-B", HERE / "partners" / "jwcrypto_partner.py"]),
                Partner("jose", ["/usr/bin/python3", "-B", HERE / "partners" / "jose_partner.py"]),
                Partner("go-jose", [arguments.gojose])]
    failures, counts, results = [], {}, []

    def add(name, check):
        cells = []
        for partner in partners:
            for a, b in ((us, partner), (partner, us)):
                result = check(partner, a, b)
                counts.setdefault(partner.name, {}).setdefault(result, 0)
                counts[partner.name][result] += 1
                cells.append(result)
        results.append((name, cells))

    add("JWK and JWK Set", lambda p, a, b: cell(lambda: read_keys(a, b), failures, f"keys, {a.name} to {b.name}"))
    for name, needs, carry in rows(us):
        def check(partner, a, b, name=name, needs=needs, carry=carry):
            if any(alg not in partner.knows[kind] for kind, algs in needs.items() for alg in algs):
                return "unsupported"
            return cell(lambda: exchange(carry, a, b, name.startswith("JWE")), failures,
                        f"{name}, {a.name} to {b.name}")
        add(name, check)

    print(table(partners, results))
    for failure in failures:
        print(failure, file=sys.stderr)
    print("cells:", json.dumps(counts))
    expected = json.loads((HERE / "expected.json").read_text(encoding="utf-8"))
    if arguments.write:
        pathlib.Path(arguments.write).write_text(page(partners, results), encoding="utf-8")
    if counts != expected:
        print("expected:", json.dumps(expected), file=sys.stderr)
    return 1 if failures or counts != expected else 0


if __name__ == "__main__":
    sys.exit(main())
