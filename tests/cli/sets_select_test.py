"""`jwks select`."""
import json
import unittest

from jwcrypto.jwk import JWK

from running import CommandTest

OTHER_KIND = 'Keys of the "kty" OKP are not supported, though other programs may read them.'


def left_out(name, why):
    return f"note: The key {name} was left out. {why}\n"


class SetsSelect(CommandTest):
    @classmethod
    def setUpKeys(cls):
        rsa, ec, k1 = (JWK.generate(**kind).export_public(as_dict=True) for kind in (
            {"kty": "RSA", "size": 2048}, {"kty": "EC", "crv": "P-256"}, {"kty": "EC", "crv": "secp256k1"}))
        short = JWK.generate(kty="RSA", size=1024).export_public(as_dict=True)
        edwards = JWK.generate(kty="OKP", crv="Ed25519").export_public(as_dict=True)
        cls.good = [{**ec, "kid": "ec", "use": "sig", "alg": "ES256", "mine": [1.5, {"a": None}]},
                    {**k1, "kid": "k1", "use": "sig", "alg": "ES256K"},
                    {**rsa, "kid": "rsa", "use": "enc"},
                    {**rsa, "kid": "both", "use": "sig_enc", "key_ops": ["verify", "wrapKey"]}]
        cls.bad = [{**edwards, "kid": "ed", "use": "sig"}, {**short, "kid": "short", "use": "sig"},
                   {**ec, "kid": "odd", "use": "signature"}, {"kty": "oct", "k": "AAAA", "alg": "HS256"}, 5]

    def select(self, *criteria, keys=None):
        """The ids of the keys that are found, which must be written as they were read, and standard error."""
        keys = [self.bad[0], *self.good, *self.bad[1:]] if keys is None else keys
        done = self.run_command("jwks", "select", *criteria, stdin=json.dumps({"keys": keys}))
        self.assertEqual(done.returncode, 0, done.stderr)
        found = json.loads(done.stdout)
        self.assertEqual(found, {"keys": [key for key in keys if key in found["keys"]]})
        return [key["kid"] for key in found["keys"]], done.stderr.decode()

    # The criteria, the ids of the keys that are found, and what is said of the others.
    CASES = (
        ("", ["ec", "k1", "rsa", "both"],
         left_out('"ed" (OKP Ed25519)', OTHER_KIND) +
         left_out('"short" (RSA 1024)', "1024 bits are too few; at least 2048.") +
         left_out('"odd" (P-256)', 'The JWK\'s "use" is neither "sig" nor "enc".') +
         left_out("number 8 (oct)", "It is a shared secret, which no set may publish.") +
         left_out("number 9", "The JWK is not a JSON object.")),
        ("--use sig", ["ec", "k1"],
         left_out('"ed" (OKP Ed25519)', OTHER_KIND) +
         left_out('"short" (RSA 1024)', "1024 bits are too few; at least 2048.") +
         left_out('"odd" (P-256)', 'The JWK\'s "use" is neither "sig" nor "enc".')),
        ("--use enc", ["rsa"], left_out('"odd" (P-256)', 'The JWK\'s "use" is neither "sig" nor "enc".')),
        ("--kid rsa", ["rsa"], ""),
        ("--kty RSA", ["rsa", "both"], left_out('"short" (RSA 1024)', "1024 bits are too few; at least 2048.")),
        ("--kty RSA --use enc", ["rsa"], ""),
        ("--kty EC", ["ec"], left_out('"odd" (P-256)', 'The JWK\'s "use" is neither "sig" nor "enc".')),
        ("--alg ES256K", ["k1", "rsa", "both"],
         left_out('"ed" (OKP Ed25519)', OTHER_KIND) +
         left_out('"short" (RSA 1024)', "1024 bits are too few; at least 2048.") +
         left_out('"odd" (P-256)', 'The JWK\'s "use" is neither "sig" nor "enc".') +
         left_out("number 9", "The JWK is not a JSON object.")))

    def test_keys_that_cannot_be_used_do_not_keep_the_others_from_being_found(self):
        for criteria, kids, said in self.CASES:
            with self.subTest(criteria):
                self.assertEqual(self.select(*criteria.split()), (kids, said))

    def test_a_thumbprint_finds_a_key_whatever_its_id(self):
        ec, k1, rsa, _ = (JWK(**{name: key[name] for name in ("kty", "crv", "n", "e", "x", "y") if name in key})
                          for key in self.good)
        short = {name: self.bad[1][name] for name in ("kty", "n", "e")}
        for key, criteria, kids, said in (
                (ec, "", ["ec"], left_out('"odd" (P-256)', 'The JWK\'s "use" is neither "sig" nor "enc".')),
                (k1, "", ["k1"], ""), (rsa, "", ["rsa", "both"], ""), (rsa, "--use enc", ["rsa"], "")):
            with self.subTest(kids):
                self.assertEqual(self.select("--thumbprint", key.thumbprint(), *criteria.split()), (kids, said))
        done = self.run_command("jwks", "select", "--thumbprint", JWK(**short).thumbprint(),
                                stdin=json.dumps({"keys": self.bad}))
        self.assertEqual((done.returncode, done.stdout, done.stderr.decode()),
                         (4, b"", left_out('"short" (RSA 1024)', "1024 bits are too few; at least 2048.") +
                          "torvane: No key in the set matches.\n"))
        for wrong in ("abc", "A" * 42, "A" * 44, "+" * 43, "A" * 42 + "="):
            self.reject(2, "The thumbprint must have 43 characters of base64url.", "jwks", "select", "--thumbprint",
                        wrong, stdin='{"keys": []}', hint="`torvane jwks list` shows the thumbprints.")

    def test_a_set_without_a_matching_key_that_can_be_used_is_an_error(self):
        for keys, criteria, said in (
                ([], "", ""), (self.good, "--kid ed", ""),
                (self.bad, "--kid ed", left_out('"ed" (OKP Ed25519)', OTHER_KIND)),
                (self.bad[:1], "", left_out('"ed" (OKP Ed25519)', OTHER_KIND))):
            with self.subTest(criteria, said=said):
                done = self.run_command("jwks", "select", *criteria.split(), "-o", "made",
                                        stdin=json.dumps({"keys": keys}))
                self.assertEqual((done.returncode, done.stdout, done.stderr.decode()),
                                 (4, b"", said + "torvane: No key in the set matches.\n"))

    def test_a_single_key_becomes_a_set_without_its_private_members(self):
        key = JWK.generate(kty="EC", crv="P-384")
        selected = self.text("jwks", "select", stdin=key.export_private())
        self.assertEqual(json.loads(selected), {"keys": [key.export_public(as_dict=True)]})


if __name__ == "__main__":
    unittest.main()
