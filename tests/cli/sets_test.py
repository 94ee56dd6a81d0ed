"""`jwks make`, `list`, `check` and `select`."""
import base64
import json
import os
import unittest

from jwcrypto.jwk import JWK, JWKSet

from running import CommandTest, EVIL

WITHDRAW = "Withdraw what was published, and make new keys. `torvane jwks select` writes a set of public keys only."
PRIVATE_KEYS = "note: Keys with private members: {}. `torvane jwks select` leaves these members out.\n"


class Sets(CommandTest):
    @classmethod
    def setUpKeys(cls):
        for kind in ("RSA-2048", "P-256", "secp256k1"):
            cls.make("key", "new", kind, kind + ".pem")
        cls.make("jwks", "make", "sig/RS256:rsa=RSA-2048.pem", "enc:rsa-enc=RSA-2048.pem", "sig=P-256.pem", "-o", "set")
        cls.make("jwks", "make", "sig:rsa=RSA-2048.pem", "sig/ES256K:k1=secp256k1.pem", "-o", "set-k1")

    def read(self, name):
        with open(self.key(name), encoding="utf-8") as file:
            return json.load(file)

    def member(self, name, kid):
        """The key of that id in a set."""
        return next(key for key in self.read(name)["keys"] if key.get("kid") == kid)

    def jwk(self, name):
        with open(self.key(name + ".pem"), "rb") as file:
            return JWK.from_pem(file.read())

    def test_another_implementation_reads_a_set_of_public_keys(self):
        rsa, ec = self.jwk("RSA-2048").export_public(as_dict=True), self.jwk("P-256").export_public(as_dict=True)
        del rsa["kid"], ec["kid"]
        thumbprint = self.jwk("P-256").thumbprint()
        self.assertEqual(self.read("set"), {"keys": [{**rsa, "use": "sig", "kid": "rsa", "alg": "RS256"},
                                                     {**rsa, "use": "enc", "kid": "rsa-enc"},
                                                     {**ec, "use": "sig", "kid": thumbprint}]})
        with open(self.key("set-k1"), encoding="utf-8") as file:
            others = JWKSet.from_json(file.read())
        self.assertEqual(others.get_key("k1").thumbprint(), self.jwk("secp256k1").thumbprint())

    def test_a_key_that_does_not_fit_its_use_or_algorithm_is_rejected(self):
        rsa = "RSA-2048.pem"
        form = "is not of the form USE[/ALG][:KID]=URI: "
        for specs, code, error in (
                ([f"sig/ES256:a={rsa}"], 4, 'The key "sig/ES256:a" (RSA 2048) does not fit its algorithm.'),
                ([f"enc/RS256:a={rsa}"], 4, 'The key "enc/RS256:a" (RSA 2048) does not fit its algorithm.'),
                (["enc:a=" + self.key("secp256k1.pem")], 4,
                 'The key "enc:a" (secp256k1) fits no algorithm for its use.'),
                ([f"sig:a={rsa}", f"sig:a={rsa}"], 4, 'The key "sig:a" (RSA 2048) has the id and use of another key.'),
                ([f"sig/FOO:a={rsa}"], 2, f'The key "sig/FOO:a" {form}the algorithm is unknown.'),
                ([f"sig:a/RS256={rsa}"], 2, f'The key "sig:a/RS256" {form}the algorithm comes before the id.'),
                ([f"sig:={rsa}"], 2, f'The key "sig:" {form}the key id is not text.'),
                (["sign:a=x?pin-value=1234"], 2, f'The key "sign:a" {form}the use must be sig, enc or sig_enc.'),
                (["sig:a"], 2, f'The key "sig:a" {form}the URI is missing.'),
                ([f"sig:a={rsa}", "-o", rsa], 2,
                 f'The output would overwrite the private key "{rsa}".\n'
                 "hint: Choose another name, or delete the key first."),
                (["sig:a=none"], 4, 'The file "none" cannot be read: No such file or directory.')):
            spec = specs[0]
            with self.subTest(spec):
                if os.path.islink(self.path(rsa)):
                    os.remove(self.path(rsa))
                os.symlink(self.key(rsa), self.path(rsa))
                self.reject(code, error, "jwks", "make", *(["-o", "made"] if "-o" not in specs else []), *specs)
                self.assertFalse(os.path.exists(self.path("made")))

    def test_list_shows_every_entry_even_an_unreadable_one(self):
        keys, k1 = self.read("set-k1")["keys"], self.member("set-k1", "k1")
        keys += [{"kty": "oct", "kid": "shared\u001b[2J", "k": "AAAA"}, 5, {**k1, "y": k1["x"]}]
        rsa, k1 = self.jwk("RSA-2048").thumbprint(), self.jwk("secp256k1").thumbprint()
        done = self.run_command("jwks", "list", stdin=json.dumps({"keys": keys}))
        self.assertEqual((done.returncode, done.stderr.decode()), (0, PRIVATE_KEYS.format("1 of 5")))
        self.assertEqual(done.stdout.decode(),
                         "kid              use  key           alg     thumbprint\n"
                         f"rsa              sig  RSA 2048      -       {rsa}\n"
                         f"k1               sig  secp256k1     ES256K  {k1}\n"
                         "shared\\u001b[2J  -    oct           -       -\n"
                         "-                -    -             -       -\n"
                         "k1               sig  EC secp256k1  ES256K  -\n")

    def test_list_says_that_keys_are_private(self):
        keys = [json.loads(self.jwk("P-256").export_private()), {"kty": "oct", "k": "AAAA"}, *self.read("set")["keys"]]
        for options in ((), ("--json",)):
            done = self.run_command("jwks", "list", *options, stdin=json.dumps({"keys": keys}))
            self.assertEqual((done.returncode, done.stderr.decode()),
                             (0, PRIVATE_KEYS.format("2 of 5")))
            self.assertIn(self.jwk("P-256").thumbprint(), done.stdout.decode())

    def test_no_set_controls_the_terminal(self):
        good = {**self.member("set", "rsa"), "kid": EVIL, EVIL: EVIL}
        bad = {member: EVIL for member in ("kty", "kid", "use", "alg", "crv", EVIL)}
        for arguments, keys in ((("list",), [good, bad]), (("list", "--json"), [good, bad]), (("check",), [good, bad]),
                                (("check", "--json"), [good, bad]), (("select",), [good]), (("select",), [bad])):
            done = self.run_command("jwks", *arguments, stdin=json.dumps({"keys": keys}))
            self.assertEqual((done.returncode == 0, bool(done.stdout)),
                             (bad not in keys or "list" in arguments, arguments != ("select",) or bad not in keys))
            self.assert_harmless((done.stdout + done.stderr).decode())

    def test_check_reports_algorithms_and_faults(self):
        good = self.text("jwks", "check", self.key("set"))
        self.assertEqual(good, "rsa  RSA 2048  good\n  for RS256\n"
                               "rsa-enc  RSA 2048  good\n  for RSA-OAEP RSA-OAEP-256 RSA-OAEP-384 RSA-OAEP-512\n"
                               f"{self.jwk('P-256').thumbprint()}  P-256  good\n  for ES256\n")
        rsa, _, ec = self.read("set")["keys"]
        small = JWK.generate(kty="RSA", size=1024).export_public(as_dict=True)
        private = json.loads(self.jwk("P-256").export_private())
        for key, verdict in (
                (small, "1024 bits are too few; at least 2048."),
                ({**rsa, "alg": "PS256", "use": "enc"}, 'The key does not fit its "alg", PS256.'),
                ({**ec, "crv": "P-255"}, 'Nobody reads its "crv", P-255.'),
                ({**ec, "x": ec["y"]}, None),
                ({"kty": "OKP"}, None),
                (private, "It holds a private key."),
                ({"kty": "oct", "k": "AAAA"}, "It is a shared secret, which no set may publish."),
                ({**rsa, "qi": "AA"}, "It holds a private key."),
                ({**self.member("set-k1", "k1"), "use": "enc"},
                 "No algorithm takes a key of this kind for this use."),
                ({**self.member("set-k1", "k1"), "y": "AA"}, None),
                ([], "The JWK is not a JSON object.")):
            with self.subTest(key=key):
                is_private = key == private or "k" in key or "qi" in key
                shown = self.reject(4, "Bad keys: 1 of 2.", "jwks", "check", stdin=json.dumps({"keys": [ec, key]}),
                                    prints=None, hint=WITHDRAW if is_private else None)
                self.assertEqual(shown.count("BAD"), 1, shown)
                if verdict:
                    self.assertIn("  " + verdict + "\n", shown)
        bare = {member: rsa[member] for member in ("kty", "n", "e")}
        ignored = ": encode and decode ignore the key."
        for keys, remark in (([bare], 'It has no "kid".'), ([{**rsa, "kid": 7}], 'It has no "kid".'),
                             ([bare], 'It has no "use"' + ignored),
                             ([{**bare, "use": "x"}], 'Its "use" is neither sig nor enc' + ignored),
                             ([{**bare, "use": "sig_enc"}], 'Its "use" is neither sig nor enc' + ignored),
                             ([rsa, {**ec, "kid": "rsa"}], 'Another key has the same "kid" and use.'),
                             ([rsa, {**bare, "kid": "rsa"}], 'Another key has the same "kid" and use.')):
            shown = self.run_command("jwks", "check", stdin=json.dumps({"keys": keys})).stdout.decode()
            self.assertIn("  note: " + remark + "\n", shown)
            self.assertNotIn("BAD", shown)
        self.reject(4, "The set has no keys.", "jwks", "check", stdin='{"keys": []}')
        together = self.run_command("jwks", "check", self.key("set-k1"))
        self.assertEqual((together.returncode, together.stdout.decode().count("good")), (4, 2))
        self.assertEqual(together.stderr.decode(), "torvane: The commands encode and decode reject this set: The JWK's "
                                                   "curve is not P-256, P-384 or P-521.\n")
        odd = "f" * 511  # of 2044 bits
        number = base64.urlsafe_b64encode(bytes.fromhex("0" + odd)).decode().rstrip("=")
        self.assertIn("  RSA 2044  BAD\n", self.run_command(
            "jwks", "check", stdin=json.dumps({"kty": "RSA", "n": number, "e": "AQAB"})).stdout.decode())
        found = json.loads(self.reject(4, "Bad keys: 1 of 1.", "jwks", "check", "--json", stdin=json.dumps(private),
                                       prints=None, hint=WITHDRAW))
        self.assertEqual(found[0]["faults"], [{"code": "private", "text": "It holds a private key."}])

    def test_select_finds_the_keys_that_the_library_finds(self):
        for criteria, kids in ((("--use", "sig"), ["rsa", "ec"]), (("--kty", "RSA"), ["rsa", "rsa-enc"]),
                               (("--alg", "RS256"), ["rsa", "rsa-enc", "ec"]), (("--kid", "rsa-enc"), ["rsa-enc"]),
                               (("--kty", "RSA", "--use", "sig"), ["rsa"])):
            found = json.loads(self.text("jwks", "select", *criteria, self.key("set")))["keys"]
            ids = ["ec" if key["kty"] == "EC" else key["kid"] for key in found]
            self.assertEqual([key for key in self.read("set")["keys"] if key in found], found)
            self.assertEqual(ids, kids, criteria)
        for criteria, code, error in ((("--kid", "none"), 4, "No key in the set matches."),
                                      (("--use", "sign"), 2, "The use must be sig, enc or sig_enc."),
                                      (("--alg", "FOO"), 2, "The algorithm is unknown."),
                                      (("--kty", "oct"), 2, "The key type must be RSA or EC.")):
            self.reject(code, error, "jwks", "select", *criteria, self.key("set"))
        # Members that the library does not know are kept, and private ones are not.
        key = {**self.member("set", "rsa"), "key_ops": ["verify"], "mine": 1}
        private = {**key, **{name: "AQAB" for name in ("d", "p", "q", "dp", "dq", "qi", "oth", "k")}}
        for given in (key, private):
            selected = self.text("jwks", "select", "--use", "sig", stdin=json.dumps({"keys": [given]}))
            self.assertEqual(json.loads(selected), {"keys": [key]})

    def test_text_that_is_not_a_set_is_rejected(self):
        for text, error in (("[]", "standard input is neither a JWK Set nor a JWK."),
                            ('{"keys": {}}', "standard input is neither a JWK Set nor a JWK."),
                            ("", "standard input is empty; a JWK Set is needed here."),
                            ('{"keys": [], "keys": []}',
                             "Cannot read the key set standard input: The text is not JSON: a member is given twice.")):
            done = self.run_command("jwks", "list", stdin=text)
            self.assertEqual((done.returncode, done.stdout), (4, b""), text)
            self.assertEqual(done.stderr.decode(), f"torvane: {error}\n")


if __name__ == "__main__":
    unittest.main()
