"""`sign` and `verify`: every algorithm with every format of key, and the text of each error."""
import base64
import json
import os
import subprocess
import unittest

from jwcrypto.jws import JWS

from running import ENVIRONMENT, TORVANE
from token_keys import BINARY, KEY_OPS, KINDS, Pkcs11KeysTest, TokenTest

CHANGED = "The token was changed, or was signed with another key."


class Tokens(TokenTest):
    def test_every_algorithm_signs_and_verifies_with_every_format_of_key(self):
        secret = ("--secret-file", self.key("passphrase"))
        count = 0
        for kind, algorithms in KINDS.items():
            for algorithm in algorithms:
                for ours, theirs, kid, more in ((".pem", ".public.pem", None, ()), (".der", ".der", None, ()),
                                                (".p12", ".p12", None, secret), (".jwk", ".public.jwk", kind, ()),
                                                (f"private.jwks#{kind}", f"public.jwks#{kind}", kind, ()),
                                                (f"private.jwks#{kind}", "public.jwks", kind, ())):
                    with self.subTest(algorithm=algorithm, ours=ours, theirs=theirs):
                        ours, theirs = (name if "#" in name or "jwks" in name else kind + name
                                        for name in (ours, theirs))
                        given = () if algorithm == algorithms[0] else ("--alg", algorithm.lower())
                        token = self.sign(ours, *given, *more, stdin=BINARY[:1000])
                        kid = kid or self.jwk(kind).thumbprint()
                        self.assertEqual(self.header(token), {"alg": algorithm, "kid": kid})
                        verified = self.succeed("verify", "--key", self.key(theirs), *more, stdin=token)
                        self.assertEqual(verified, BINARY[:1000])
                        other = JWS()
                        other.allowed_algs = [algorithm]
                        other.deserialize(token, self.jwk(kind))
                        self.assertEqual(other.payload, BINARY[:1000])
                        count += 1
        self.assertEqual(count, 60)

    def test_tokens_of_another_implementation_verify(self):
        for kind, algorithms in KINDS.items():
            for algorithm in algorithms:
                theirs = JWS(b'{"iss": "them"}')
                theirs.allowed_algs = [algorithm]
                theirs.add_signature(self.jwk(kind), algorithm, json.dumps({"alg": algorithm}))
                token = theirs.serialize(compact=True)
                for key in (kind + ".public.pem", "public.jwks"):
                    self.assertEqual(self.text("verify", "--key", self.key(key), "--iss", "them", "--allow-no-expiry",
                                               stdin=token), '{"iss": "them"}', algorithm)

    def test_a_mebibyte_goes_through_pipes_and_files_unchanged(self):
        token = self.succeed("sign", "--key", self.key("P-256.pem"), stdin=BINARY)
        self.assertEqual(self.succeed("verify", "--key", self.key("P-256.pem"), "-", "-o", "-", stdin=token), BINARY)
        self.path("message", BINARY)
        self.assertEqual(self.succeed("sign", "--key", self.key("P-256.pem"), "message", "-o", "token"), b"")
        self.assertEqual(self.succeed("verify", "--key", self.key("P-256.pem"), "token", "-o", "out"), b"")
        with open(self.path("out"), "rb") as file:
            self.assertEqual(file.read(), BINARY)

    def test_300_megabytes_go_through_a_pipe_unchanged(self):
        key = self.key("P-256.pem")
        done = subprocess.run(["bash", "-o", "pipefail", "-c", 'head -c 300000000 /dev/zero | "$0" sign --key "$1" | '
                               '"$0" verify --key "$1" | cmp - <(head -c 300000000 /dev/zero)', TORVANE, key],
                              capture_output=True, env=ENVIRONMENT, timeout=240)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, b"", b""))

    def test_no_output_replaces_a_private_key(self):
        with open(self.key("P-256.jwk"), encoding="ascii") as file:
            jwk = file.read()
        with open(self.key("P-256.public.jwk"), encoding="ascii") as file:
            public_jwk = file.read()
        private = {"shared": '{"kty": "oct", "k": "AA"}', "with a byte order mark": "\ufeff" + jwk,
                   "member twice": '{"kid": "a", "kid": "b",' + jwk[1:],
                   "spaced": '{"kty": "oct", "k" \n: "A", "k": 1}',
                   "cut short": jwk[:-3], "in a list": f"[{jwk}]", "in a claim": f'{{"cnf": {{"jwk": {jwk}}}}}',
                   "in the second line": f"{public_jwk}\n{jwk}"}
        public = {"claims": '{"d": 1, "k": "no key"}', "set of claims": '{"keys": [{"d": 1}]}',
                  "public with a byte order mark": "\ufeff" + public_jwk, "other values": '{"kty": "d", "kty": "k"}',
                  "claims twice": '{"d": 1, "d": 2}', "zero": "0", "zeros": "00\x04\x04", "empty": ""}
        for name, content in (private | public).items():
            self.path(name, content)
        for name, arguments in (("encrypted.der", ("pkcs8", "-topk8", "-passout", "pass:x")),
                                ("RSA-2048.encrypted.der", ("pkcs8", "-topk8", "-passout", "pass:x")),
                                ("P-256.public.der", ("pkey", "-pubout")),
                                ("RSA-2048.public.der", ("pkey", "-pubout")),
                                ("PKCS1.public.der", ("rsa", "-RSAPublicKey_out")),
                                ("certificate.der", ("req", "-x509", "-new", "-subj", "/CN=x"))):
            key = "RSA-2048.pem" if name.startswith(("RSA", "PKCS1")) else "P-256.pem"
            source = ("-key", self.key(key)) if name == "certificate.der" else ("-in", self.key(key))
            subprocess.run(["openssl", *arguments, *source, "-outform", "DER", "-out", self.path(name)], check=True,
                           capture_output=True)
            (private if "encrypted" in name else public)[name] = None
        for name in ("P-256.pem", "P-256.der", "RSA-2048.p12", "secp256k1.jwk", "private.jwks", "P-256.public.pem",
                     "P-256.public.jwk", "public.jwks"):
            with open(self.key(name), "rb") as file:
                self.path(name, file.read())
            (public if "public" in name else private)[name] = None
        os.symlink("P-256.pem", self.path("link"))
        private["link"] = None
        token = self.sign("P-256.pem", stdin="payload")
        for name in sorted(os.listdir(self.folder)):
            with open(self.path(name), "rb") as file:
                before = file.read()
            verify = ("verify", "--key", self.key("P-256.pem"), "-o", name)
            if name in private:
                self.reject(2, f'The output would overwrite the private key "{name}".', *verify, stdin=token,
                            hint="Choose another name, or delete the key first.")
            else:
                self.succeed(*verify, stdin=token)
            with open(self.path(name), "rb") as file:
                self.assertEqual(file.read(), before if name in private else b"payload", name)
        self.assertEqual(len(os.listdir(self.folder)), len(private) + len(public))

    def test_keys_come_from_pipes_and_a_name_with_a_hash_is_a_file(self):
        token = self.sign("P-256.jwk", "--iss", "x")
        for name in ("public.jwks", "P-256.public.jwk", "P-256.public.pem", "P-256.pem"):
            with open(self.key(name), "rb") as file:
                content = file.read()
            self.succeed("verify", "--key", "-", self.path("token", token), stdin=content)
            done = subprocess.run(["bash", "-c", f"torvane verify --key <(cat '{self.key(name)}') token"],
                                  capture_output=True, cwd=self.folder, env=ENVIRONMENT, timeout=20)
            self.assertEqual((done.returncode, done.stderr), (0, b""), name)
            self.path("a#P-384", content)
            self.succeed("verify", "--key", "a#P-384", "token")
        with open(self.key("public.jwks"), "rb") as file:
            content = file.read()
        self.succeed("verify", "--key", "-#P-256", "token", stdin=content)
        self.path("a#b", content)
        self.succeed("verify", "--key", "a#b#P-256", "token")
        self.reject(4, "a#b#P-384 is on P-384; ES256 needs one on P-256.", "verify", "--key", "a#b#P-384",
                    "token")

    def test_json_has_stable_fields(self):
        thumbprint = self.jwk("P-256").thumbprint()
        described = {"kind": "P-256", "kid": "P-256", "thumbprint": thumbprint, "name": "public.jwks#P-256"}
        for payload, field in ((b'{"a": 1}', {"claims": {"a": 1}}), (b"text", {"payload": "text"}),
                               (b"\xff", {"payloadBase64url": "_w"})):
            token = self.sign("P-256.jwk", stdin=payload)
            shown = self.run_command("verify", "--key", "public.jwks", "--json", "-o", "-", stdin=token)
            self.assertEqual(shown.returncode, 4)
            with open(self.key("public.jwks"), encoding="utf-8") as file:
                self.path("public.jwks", file.read())
            self.assertEqual(json.loads(self.text("verify", "--key", "public.jwks", "--json", stdin=token)),
                             {**field, "claimsChecked": False, "header": {"alg": "ES256", "kid": "P-256"},
                              "key": described, "verified": True})
            os.remove(self.path("public.jwks"))
        checked = json.loads(self.text("verify", "--key", self.key("P-256.pem"), "--json", "--sub", "s",
                                       stdin=self.sign("P-256.pem", "--sub", "s", "--expires-in", "1m")))
        self.assertEqual((checked["claimsChecked"], "kid" in checked["key"]), (True, False))

    def test_a_key_that_cannot_sign_is_named_with_the_reason(self):
        self.path("list.json", "[1]")
        self.path("broken.json", "{")
        self.path("empty.jwks", '{"keys": []}')
        self.path("six.jwks", json.dumps({"keys": [{"kty": "oct", "kid": name} for name in "abcdefg"]}))
        for key, more, error in (
                ("small.pem", (), "{} has 1024 bits, which are too few; at least 2048 are needed."),
                ("ed.pem", (),
                 "{} cannot be used. Keys of this kind, such as Ed25519 or DSA, are not supported; torvane takes RSA "
                 "keys and EC keys on P-256, P-384, P-521 and secp256k1."),
                ("P-256.public.pem", (), "{} is a public key; signing needs a private one."),
                ("P-256.public.jwk", (), "{} is a public key; signing needs a private one."),
                ("public.jwks", (), "{} holds public keys only; signing needs a private one."),
                ("public.jwks#P-256", (), "{} is a public key; signing needs a private one."),
                ("private.jwks#zzz", (),
                 'No key "zzz" in "{}"; it has RSA-2048, P-256, P-384, P-521, secp256k1.'),
                (self.path("six.jwks#h"), (), 'No key "h" in "{}"; it has a, b, c, d, e and 2 more.'),
                (self.path("six.jwks"), (), "{} has no key that can be used; `torvane jwks check` says why."),
                (self.path("empty.jwks"), (), "{} is a set without keys."),
                (self.path("list.json"), (), "{} is JSON, but neither a JWK nor a JWK Set."),
                (self.path("broken.json"), (),
                 "{} is not strict JSON. The text is not JSON: unexpected end at byte 2."),
                ("P-256.pem#a", (), '{} is not a JWK Set, so "#a" cannot choose a key of it.'),
                ("none.pem", (), 'The file "{}" cannot be read: No such file or directory.'),
                ("RSA-2048.pem", ("--alg", "ES256"), "{} is an RSA key; ES256 needs one on P-256."),
                ("P-384.pem", ("--alg", "es256k"), "{} is on P-384; ES256K needs one on secp256k1."),
                ("secp256k1.pem", ("--alg", "ES512"), "{} is on secp256k1; ES512 needs one on P-521."),
                ("P-256.jwk", ("--alg", "PS256"), "{} is on P-256; PS256 needs an RSA key."),
                ("two.jwks", ("--alg", "ES256"), "2 keys fit: {0}#old, {0}#new; choose one, as in --key {0}#old."),
                ("two.jwks", ("--alg", "ES384"),
                 "None of the 3 keys fits: {0}#old is on P-256; ES384 needs one on P-384, {0}#new is on P-256; ES384 "
                 "needs one on P-384, {0}#RSA-2048 is an RSA key; ES384 needs one on P-384."),
                ("odd.jwks#verify", (), '{}#verify lacks "sign" in its "key_ops".'),
                ("odd.jwks#mac", (),
                 '{}#mac is a shared secret ("kty" is "oct"); torvane takes RSA and EC keys.')):
            with self.subTest(key=key, more=more):
                path = key if os.path.isabs(key) else self.key(key)
                name = path if key in ("none.pem", "P-256.public.pem") else path.split("#")[0]
                expected = error.format(path if "#" in key and error.startswith("{} is a public") else name)
                for output in ((), ("-o", self.path("out"))):
                    self.reject(4, expected, "sign", "--key", path, *more, *output, stdin="x",
                                hint=KEY_OPS if "key_ops" in error else None)
                self.assertFalse(os.path.exists(self.path("out")))

    def test_a_key_that_cannot_verify_is_named_with_the_reason(self):
        es256, rs256 = self.sign("P-256.jwk", stdin="x"), self.sign("RSA-2048.jwk", "--alg", "RS256", stdin="x")
        for token, keys, error in (
                (es256, ["odd.jwks"], 'The token names the key "P-256"; you gave "enc", "ps", "verify".'),
                (es256, ["odd.jwks#mac"],
                 '{0}#mac is a shared secret ("kty" is "oct"); torvane takes RSA and EC keys.'),
                (es256, ["odd.jwks#ed"], '{0}#ed is a key of the kind "OKP"; torvane takes RSA and EC keys.'),
                (es256, ["odd.jwks#point"],
                 "{0}#point cannot be used. The JWK's \"x\" is not a number in base64url of the right length."),
                (es256, ["odd.jwks#enc"], '{0}#enc is for encryption only, by its "use".'),
                (rs256, ["odd.jwks#ps"], '{0}#ps is for PS256 only, by its "alg", not for RS256.'),
                (rs256, ["P-256.pem"], "{0} is on P-256; RS256 needs an RSA key."),
                (es256, ["small.pem"], "{0} is an RSA key; ES256 needs one on P-256."),
                (rs256, ["small.pem"], "{0} has 1024 bits, which are too few; at least 2048 are needed.")):
            with self.subTest(keys=keys, error=error):
                path = self.key(keys[0]).split("#")[0]
                self.reject(4, error.format(path), "verify", *[word for key in keys
                                                               for word in ("--key", self.key(key))], stdin=token)

    def test_a_token_that_does_not_verify_is_rejected_without_output(self):
        token = self.sign("P-256.jwk", stdin="x")
        head, payload, signature = token.split(".")
        changed = f"{head}.eQ.{signature}"
        unsigned = "eyJhbGciOiJub25lIn0." + payload + "."
        mac = base64.urlsafe_b64encode(b'{"alg":"HS256"}').decode().rstrip("=") + f".{payload}.AAAA"
        critical = base64.urlsafe_b64encode(b'{"alg":"ES256","crit":["x"]}').decode().rstrip("=")
        other = self.sign("P-384.jwk", "--kid", "P-256", stdin="x")
        self.path("two", f"\n{token}\r\n{token}\n")
        for arguments, stdin, code, error in (
                ((), changed, 7, "The signature does not verify with {}."),
                (("--alg", "es384", "--alg", "PS256"), token, 7,
                 "The token is signed with ES256; allowed: ES384, PS256."),
                ((), unsigned, 7, 'The token is not signed: its algorithm is "none".'),
                (("--alg", "ES256"), unsigned, 7, 'The token is not signed: its algorithm is "none".'),
                ((), mac, 7, 'The token is signed with "HS256", which torvane does not support.'),
                ((), f"{critical}.{payload}.{signature}", 5,
                 'The token is rejected. The header\'s "crit" names extensions, and none is supported.'),
                ((), other, 4, "{} is on P-256; ES384 needs one on P-384."),
                ((), "a.b.c.d.e", 5, 'The token is encrypted (a JWE): use "decrypt", or "nested decode".'),
                ((), "no token", 5, "The input is not a compact token: it has 1 part; a JWS has 3, a JWE has 5."),
                ((), f"{head}.{payload}.!", 5,
                 "The token is malformed. The signature is not base64url without padding: it has \"!\"."),
                ((), "e30.e30.AA", 5, 'The header has no "alg".'),
                (("two",), "", 5, "The input has 2 tokens, in the lines 2, 3."),
                (("two", "--line", "1"), "", 5, "Line 1 has no token. Lines with tokens: 2, 3."),
                (("none",), "", 3, 'Cannot read "none": No such file or directory.'),
                (("--alg", "none"), token, 2, 'The algorithm "none" is not one of RS256 RS384 RS512 PS256 PS384 PS512 '
                                              "ES256 ES384 ES512 ES256K."),
                (("--leeway", "5"), token, 2, '--leeway "5": write a duration such as 30s, 10m, 1h30m, 2d or 1w.'),
                (("--max-age", "-5s"), token, 2, "--max-age must not be negative."),
                (("--iss", "i", "--no-policy"), token, 2, "--no-policy contradicts the options that check claims.")):
            with self.subTest(arguments=arguments, stdin=stdin):
                for more in ((), ("--json",), ("-o", "out")):
                    self.reject(code, error.format(self.key("P-256.pem")), "verify", "--key", self.key("P-256.pem"),
                                *arguments, *more, stdin=stdin,
                                hint="Choose one of them, as in --line 2." if " in the lines" in error else
                                'The token names the key "P-256", which may be another one.' if stdin == changed
                                else None)
                self.assertEqual(os.listdir(self.folder), ["two"])
        self.reject(7, "The signature does not verify with any of {0}#old, {0}#new.".format(self.key("two.jwks")),
                    "verify", "--key", self.key("two.jwks"), stdin=self.without_id(changed), hint=CHANGED)

    def test_a_signature_that_does_not_verify_says_what_else_is_wrong(self):
        token = self.sign("P-256.jwk", stdin="x")
        head, payload, signature = token.split(".")
        by_thumbprint = self.sign("P-256.pem", stdin="x").split(".")
        self.path("signed", f"{head}.{payload}")
        der = subprocess.run(["openssl", "dgst", "-sha256", "-sign", self.key("P-256.pem"), self.path("signed")],
                             check=True, capture_output=True).stdout
        in_der = f"{head}.{payload}." + base64.urlsafe_b64encode(der).decode().rstrip("=")
        another = 'The token names the key "P-256", which may be another one.'
        for key, text, hint in (
                ("P-256.pem", in_der, f"The signature has {len(der)} bytes; those of ES256 have 64. It seems to be in "
                                      "DER."),
                ("P-256.pem", f"{head}.{payload}.{signature[:80]}",
                 "The signature has 60 bytes; those of ES256 have 64."),
                ("P-256.pem", f"{head}.eQ.{signature}", another),
                ("two.jwks#old", f"{head}.eQ.{signature}", another),
                # The key has the id, or the thumbprint, that the token names.
                ("P-256.jwk", f"{head}.eQ.{signature}", CHANGED),
                ("public.jwks", f"{head}.eQ.{signature}", CHANGED),
                ("P-256.pem", f"{by_thumbprint[0]}.eQ.{by_thumbprint[2]}", CHANGED),
                ("P-256.pem", self.without_id(f"{head}.eQ.{signature}"), CHANGED)):
            with self.subTest(key=key, text=text):
                name = self.key(key) + ("#P-256" if key == "public.jwks" else "")
                self.reject(7, f"The signature does not verify with {name}.", "verify", "--key", self.key(key),
                            stdin=text, hint=hint)

    def without_id(self, token):
        """The token with a header that has only "alg"."""
        alg = json.dumps({"alg": self.header(token)["alg"]}).encode()
        return ".".join([base64.urlsafe_b64encode(alg).decode().rstrip("="), *token.split(".")[1:]])

    def test_tokens_are_found_as_people_pass_them_on(self):
        token = self.sign("P-256.jwk", stdin="x")
        self.path("two", f"{token}\n\nbearer {self.sign('P-256.jwk', stdin='y')}\r\n")
        for arguments, stdin, payload in (((), f"  Bearer {token}\r\n", "x"), ((), f"BEARER  {token}\n\n", "x"),
                                          ((token,), "", "x"), (("two", "--line", "1"), "", "x"),
                                          (("two", "--line", "3"), "", "y"), (("-",), token + "\n", "x")):
            self.assertEqual(self.text("verify", "--key", self.key("P-256.pem"), *arguments, stdin=stdin), payload)

    def test_sign_rejects_wrong_options(self):
        for arguments, error, hint in (
                (("--expires-in", "600"), '--expires-in "600": is this a duration? Give its unit: s, m, h, d or w.',
                 None),
                *((("--not-before", text), f'--not-before "{text}": write a duration such as 10m, a date such as '
                                           "2026-12-01, or 2026-12-01T10:00:00Z.", None)
                  for text in ("2026-02-29", "2026-12-01T10:00:00", "2026-12-01T24:00:00Z", "99999999d", "x", "1h30",
                               "10 months", "m", "-", "1h-5m", "36524d 25h")),
                (("--claims", "[1]"), "The text of --claims must be a JSON object. It is another JSON value.", None),
                (("--claims", "{"),
                 "The text of --claims must be a JSON object. The text is not JSON: unexpected end at byte 2.", None),
                (("--iss", "i", "file"), 'The claims are the payload: "file" cannot be signed, too.',
                 "--claims @file adds the claims of a file."),
                (("--typ", "a", "--header", "typ=b"), '--typ and another option both set "typ".', None),
                (("--header", "kid=b"), '"kid=b" sets a parameter that another option sets.',
                 "--kid sets it; in encode, it is the KID of --own and of the peer's key."),
                (("--header", "crit=b"), 'The header\'s "crit" names extensions, and none is supported.', None),
                (("--alg", "HS256"), 'The algorithm "HS256" is not one of RS256 RS384 RS512 PS256 PS384 PS512 ES256 '
                                     "ES384 ES512 ES256K.", None)):
            self.reject(2, error, "sign", "--key", self.key("P-256.pem"), *arguments, stdin="x", hint=hint)
        for text, seconds in (("1h30m", 5400), ("2w", 1209600), ("10 min", 600), ("10min", 600),
                              ("1 day 2 hours", 93600), ("90 secs", 90), ("-1h30m", -5400), ("36525d", 36525 * 86400)):
            claims = self.payload(self.sign("P-256.pem", "--expires-in", text))
            self.assertEqual(claims["exp"] - claims["iat"], seconds, text)
        self.reject(3, 'Cannot read "none": No such file or directory.', "sign", "--key", self.key("P-256.pem"),
                    "--claims", "@none")


@unittest.skipUnless(os.environ.get("SOFTHSM2_MODULE"), "built without PKCS #11")
class Pkcs11Tokens(Pkcs11KeysTest):
    def test_every_algorithm_of_a_pkcs11_token_signs(self):
        pin = ("--secret-file", self.key("pin.txt"))
        for kind, algorithms in KINDS.items():
            for algorithm in algorithms:
                if algorithm == "ES256K":
                    continue  # no key in a PKCS #11 token
                token = self.succeed("sign", "--key", self.uri(kind), "--alg", algorithm, *pin, stdin=BINARY[:1000],
                                     env=self.environment)
                self.assertEqual(self.succeed("verify", "--key", self.uri(kind), "--alg", algorithm, stdin=token,
                                              env=self.environment), BINARY[:1000], algorithm)
        done = self.run_command("sign", "--key", self.uri("P-256") + "&pin-value=8642", "--alg", "RS256", stdin="x",
                                env=self.environment)
        self.assertEqual((done.returncode, done.stdout), (4, b""))
        self.assertNotIn(b"8642", done.stderr)
        done = self.run_command("sign", "--key", self.uri("P-256"), "--alg", "RS256", *pin, env=self.environment)
        self.assertEqual((done.returncode, done.stderr.decode()),
                         (4, "torvane: pkcs11:token=app... is on P-256; RS256 needs an RSA key.\n"))


if __name__ == "__main__":
    unittest.main()
