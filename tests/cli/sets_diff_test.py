"""`jwks diff`."""
import json
import unittest

from jwcrypto.jwk import JWK

from running import CommandTest, EVIL


def jwk(key, **members):
    """The public JWK with these members; those that are None are left out."""
    public = key.export_public(as_dict=True)
    return {name: value for name, value in {**public, **members}.items() if value is not None}


RSA, EC, K1 = (JWK.generate(kty="RSA", size=2048), JWK.generate(kty="EC", crv="P-256"),
               JWK.generate(kty="EC", crv="secp256k1"))
RSA_PRINT, EC_PRINT, K1_PRINT = (key.thumbprint() for key in (RSA, EC, K1))
SIGN, ENCRYPT = jwk(RSA, kid="a", use="sig"), jwk(RSA, kid="a", use="enc")
BARE = jwk(EC)
CURVE = jwk(K1, kid="k1", use="sig", alg="ES256K")
OTHER = {"kty": "OKP", "crv": "Ed25519", "kid": "ed", "x": "AAAA"}
LONG = "x" * 59  # with its quotes, longer than what is shown


class SetsDiff(CommandTest):
    def compare(self, old, new, *arguments):
        old, new = (self.path(name, json.dumps({"keys": keys})) for name, keys in (("old", old), ("new", new)))
        return self.run_command("jwks", "diff", *arguments, old, new)

    # What happened, the keys before and after, and what is printed; nothing for equal sets.
    CASES = (
        ("equal", [SIGN, BARE], [SIGN, BARE], ""),
        ("no keys", [], [], ""),
        ("another order", [SIGN, BARE, OTHER, 5], [5, OTHER, BARE, SIGN], ""),
        ("another order of a key's uses", [SIGN, ENCRYPT], [ENCRYPT, SIGN], ""),
        ("added", [SIGN], [SIGN, BARE], f"added    -  -  P-256  {EC_PRINT}\n"),
        ("removed", [SIGN, CURVE], [SIGN], f"removed  k1  sig  secp256k1  {K1_PRINT}\n"),
        ("replaced under the same id", [SIGN], [jwk(EC, kid="a", use="sig")],
         f"removed  a  sig  RSA 2048  {RSA_PRINT}\nadded    a  sig  P-256  {EC_PRINT}\n"),
        ("another id", [SIGN], [{**SIGN, "kid": "b"}],
         f'changed  b  sig  RSA 2048  {RSA_PRINT}\n  kid: "a" -> "b"\n'),
        ("several members", [{**SIGN, "alg": "RS256", "key_ops": ["verify"], "x": 1}],
         [{**ENCRYPT, "key_ops": [], "x5t": "a/b"}],
         f'changed  a  enc  RSA 2048  {RSA_PRINT}\n  alg: removed, "RS256"\n  key_ops: ["verify"] -> []\n'
         '  use: "sig" -> "enc"\n  x: removed, 1\n  x5t: added, "a/b"\n'),
        ("long members", [{**SIGN, "x5c": [LONG], "was": LONG, "short": LONG[2:]}],
         [{**SIGN, "x5c": ["a"], "is": LONG, "short": "a"}],
         f'changed  a  sig  RSA 2048  {RSA_PRINT}\n  is: added\n  short: "{LONG[2:]}" -> "a"\n  was: removed\n'
         "  x5c: changed\n"),
        ("a private member, which is not shown", [{**SIGN, "d": "c2VjcmV0", "p": "c2VjcmV0"}], [{**SIGN, "d": "b2xk"}],
         f"changed  a  sig  RSA 2048  {RSA_PRINT}\n  d: changed\n  p: removed\n"),
        ("one of a key's two uses", [SIGN, ENCRYPT], [ENCRYPT], f"removed  a  sig  RSA 2048  {RSA_PRINT}\n"),
        ("the id of one of a key's two uses", [SIGN, ENCRYPT], [{**ENCRYPT, "kid": "b"}, SIGN],
         f'changed  b  enc  RSA 2048  {RSA_PRINT}\n  kid: "a" -> "b"\n'),
        ("both of a key's two uses", [SIGN, ENCRYPT], [{**ENCRYPT, "kid": "b"}, {**SIGN, "alg": "RS256"}],
         f'changed  a  sig  RSA 2048  {RSA_PRINT}\n  alg: added, "RS256"\n'
         f'changed  b  enc  RSA 2048  {RSA_PRINT}\n  kid: "a" -> "b"\n'),
        ("the uses of a key that has two ids", [SIGN, {**SIGN, "kid": "b"}],
         [{**ENCRYPT, "kid": "b"}, {**ENCRYPT, "kid": "a"}],
         f'changed  a  enc  RSA 2048  {RSA_PRINT}\n  use: "sig" -> "enc"\n'
         f'changed  b  enc  RSA 2048  {RSA_PRINT}\n  use: "sig" -> "enc"\n'),
        ("a key that is there twice", [SIGN], [SIGN, SIGN], f"added    a  sig  RSA 2048  {RSA_PRINT}\n"),
        ("an unreadable key", [OTHER], [{**OTHER, "x": "BBBB"}],
         'changed  ed  -  OKP Ed25519\n  x: "AAAA" -> "BBBB"\n'),
        ("an unreadable key that became readable", [{**SIGN, "e": None, "n": 5}], [SIGN],
         f"changed  a  sig  RSA 2048  {RSA_PRINT}\n  e: null -> \"AQAB\"\n  n: changed\n"),
        ("a readable key that became unreadable", [SIGN], [{**SIGN, "e": 5}],
         'changed  a  sig  RSA\n  e: "AQAB" -> 5\n'),
        ("unreadable keys without an id", [5, {"kty": "OKP"}], [6],
         "removed  -  -  -\nremoved  -  -  OKP\nadded    -  -  -\n"),
        ("a number written differently", [{**SIGN, "nbf": 1}], [{**SIGN, "nbf": 1.0}], ""))

    def test_diff_reports_each_kind_of_change(self):
        for what, old, new, printed in self.CASES:
            with self.subTest(what):
                done = self.compare(old, new)
                counts = ", ".join(f"{sum(line.startswith(verb) for line in printed.splitlines())} {verb}"
                                   for verb in ("removed", "added", "changed"))
                self.assertEqual((done.stdout.decode(), done.returncode, done.stderr.decode()),
                                 (printed, *((1, f"torvane: The sets differ: {counts}.\n") if printed else (0, ""))))

    def test_json_has_the_same_changes(self):
        done = self.compare([SIGN, OTHER, BARE], [{**SIGN, "alg": "RS256", "d": "AA"}, CURVE, BARE], "--json")
        self.assertEqual((done.returncode, json.loads(done.stdout)), (1, {
            "removed": [{"kid": "ed", "use": "", "kind": "OKP Ed25519", "alg": ""}],
            "added": [{"kid": "k1", "use": "sig", "kind": "secp256k1", "alg": "ES256K", "thumbprint": K1_PRINT}],
            "changed": [{"kid": "a", "use": "sig", "kind": "RSA 2048", "alg": "RS256", "thumbprint": RSA_PRINT,
                         "members": [{"name": "alg", "change": "added", "new": "RS256"},
                                     {"name": "d", "change": "added"}]}]}))
        done = self.compare([SIGN], [SIGN], "--json")
        self.assertEqual((done.returncode, json.loads(done.stdout), done.stderr),
                         (0, {"removed": [], "added": [], "changed": []}, b""))

    def test_either_set_may_come_from_a_pipe(self):
        old, new = (json.dumps({"keys": keys}) for keys in ([SIGN], [SIGN, BARE]))
        added = f"added    -  -  P-256  {EC_PRINT}\n".encode()
        differ = "The sets differ: 0 removed, 1 added, 0 changed."
        self.reject(1, differ, "jwks", "diff", "-", self.path("new", new), stdin=old, prints=added)
        self.reject(1, differ, "jwks", "diff", self.path("old", old), "-", stdin=new, prints=added)
        self.reject(2, "Standard input can be read only once.", "jwks", "diff", "-", "-", stdin=old)

    def test_a_set_that_cannot_be_read_is_no_difference(self):
        good = self.path("good", '{"keys": []}')
        for arguments, code, error in (
                ((good, "none"), 4, 'Cannot read "none": No such file or directory.'),
                ((self.path("list", "[]"), good), 4, f'"{self.path("list")}" is neither a JWK Set nor a JWK.')):
            self.reject(code, error, "jwks", "diff", *arguments)

    def test_no_set_controls_the_terminal(self):
        evil = {member: EVIL for member in ("kty", "kid", "use", "alg", "crv", EVIL)}
        for old, new in (([evil], []), ([], [{**SIGN, "kid": EVIL}]), ([SIGN], [{**SIGN, EVIL: EVIL}]),
                         ([SIGN], [{**SIGN, "list": [EVIL]}])):
            for option in ((), ("--json",)):
                done = self.compare(old, new, *option)
                self.assertEqual((done.returncode, bool(done.stdout)), (1, True))
                self.assert_harmless((done.stdout + done.stderr).decode())


if __name__ == "__main__":
    unittest.main()
