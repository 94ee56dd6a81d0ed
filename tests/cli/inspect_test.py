"""`inspect`: what it shows of good tokens; hostile tokens neither control the terminal nor count as verified."""
import base64
import datetime
import json
import re
import time
import unittest

from cryptography import x509
from cryptography.hazmat.primitives.hashes import SHA256
from cryptography.hazmat.primitives.serialization import Encoding, load_pem_private_key
from jwcrypto.jwe import JWE
from jwcrypto.jwk import JWK
from jwcrypto.jws import JWS

from running import CommandTest, EVIL, Terminal

PARTLY = "Not all of it was verified: anybody may have written the rest.\n"
MILLISECONDS = " is after the year 9999: times are in seconds, not in milliseconds."
UNVERIFIED = "Nothing was verified: anybody may have written this.\n"


def part(content):
    text = content if isinstance(content, bytes) else json.dumps(content).encode()
    return base64.urlsafe_b64encode(text).decode().rstrip("=")


def token(header, payload, signature=b"sig"):
    return ".".join((part(header), part(payload), part(signature)))


class Inspect(CommandTest):
    @classmethod
    def setUpKeys(cls):
        for name, kind in (("sign", "RSA-2048"), ("decrypt", "RSA-2048"), ("ec", "P-384"), ("k1", "secp256k1")):
            cls.make("key", "new", kind, name + ".pem")
        cls.make("jwks", "make", "sig:s=sign.pem", "enc:e=decrypt.pem", "sig:k=k1.pem", "-o", "set")

    def jwk(self, name):
        with open(self.key(name + ".pem"), "rb") as file:
            return JWK.from_pem(file.read())

    def signed(self, algorithm, name, kid, payload=b"payload"):
        jws = JWS(payload)
        jws.allowed_algs = [algorithm]
        jws.add_signature(self.jwk(name), algorithm, json.dumps({"alg": algorithm, "kid": kid}))
        return jws.serialize(compact=True)

    def encrypted(self, plaintext, algorithm="ECDH-ES+A128KW", name="ec", **header):
        jwe = JWE(plaintext, json.dumps({"alg": algorithm, "enc": "A256GCM", "kid": "e"} | header))
        jwe.add_recipient(self.jwk(name))
        return jwe.serialize(compact=True)

    def opening(self, *more, own="ec"):
        return ("inspect", "--own", "enc:e=" + self.key(own + ".pem"), "--peer", self.key("set"), *more)

    def test_a_long_text_is_cut_between_characters(self):
        for payload, shown in (("x" * 4096, "payload " + "x" * 4096 + "\n"),
                               ("x" + "\u20ac" * 1366,
                                "payload of 4099 bytes, which begins: x" + "\u20ac" * 1365 + "...\n")):
            self.assertIn(shown, self.text("inspect", stdin=token({"alg": "none"}, payload.encode())))

    def test_a_jwt_is_shown_whole_with_its_times_in_words(self):
        now = int(time.time())
        claims = {"exp": 1300819380, "nbf": now + 7210, "iat": now - 3 * 86400 - 10, "sub": "Ada", "n": [1, {}]}
        text = self.text("inspect", stdin=token({"alg": "RS256", "kid": "7"}, claims))
        shown = text.split("header {")
        self.assertRegex(shown[0], r"\AJWS, \d+ characters, not verified\n\n"
                                   r"header     28 bytes\npayload    \d+ bytes\nsignature  3 bytes\n\n\Z")
        utc = [time.strftime("%Y-%m-%d %H:%M:%S UTC", time.gmtime(moment)) for moment in (now + 7210, claims["iat"])]
        years = int((now - 1300819380) / 86400 / 365.25)
        self.assertEqual(shown[1], f'''
  "alg": "RS256",
  "kid": "7"
}}
claims {{
  "exp": 1300819380,  2011-03-22 18:43:00 UTC ({years} years ago)
  "iat": {claims["iat"]},  {utc[1]} (3 days ago)
  "n": [
    1,
    {{}}
  ],
  "nbf": {now + 7210},  {utc[0]} (in 2 hours)
  "sub": "Ada"
}}
default policy: would reject the claims. The token has expired: "exp" was 2011-03-22 18:43:00 UTC ({years} years ago).
warning: The token is not valid yet: "nbf" is {utc[0]} (in 2 hours).

{UNVERIFIED}''')

    def test_times_at_the_limits_are_shown_correctly(self):
        now = int(time.time())
        for seconds, words in ((-0.5, "1969-12-31 23:59:59 UTC ("), (0, "1970-01-01 00:00:00 UTC ("),
                               (-62167219200, "0000-01-01 00:00:00 UTC ("), (951782400, "2000-02-29 00:00:00 UTC ("),
                               (-2**31 - 1, "1901-12-13 20:45:51 UTC ("), (2**31, "2038-01-19 03:14:08 UTC (in "),
                               (2**32, "2106-02-07 06:28:16 UTC (in "),
                               (253402300799, "9999-12-31 23:59:59 UTC (in "), (now - 90, "(1 minute ago)"),
                               (now + 600, "(in 10 minutes)"), (now + 3600, "(in 1 hour)"),
                               (now + 86400, "(in 1 day)")):
            shown = self.text("inspect", stdin=token({"alg": "RS256", "kid": "7"}, {"exp": seconds}))
            self.assertIn(words, shown)
            self.assertEqual("The token has expired: " in shown, seconds < now)
        for seconds in (253402300800, -62167219201, 2**63 - 1, -2**63, 1e300, -1e18):
            shown = self.text("inspect", stdin=token({"alg": "RS256", "kid": "7"}, {"exp": seconds}))
            self.assertNotIn("UTC", shown)
            if isinstance(seconds, int):
                self.assertIn(f'"exp": {seconds}\n', shown)

    def test_unusual_headers_and_claims_get_a_warning(self):
        for header, payload, warnings in (
                ({"alg": "none", "kid": "k"}, b"", ['The algorithm is "none": the token is not signed.']),
                ({"alg": "HS256"}, b"x", ['The algorithm "HS256" is unknown.',
                                          'The header has no "kid": a receiver has to try each of its keys.']),
                ({"kid": 5}, b"x", ['The header has no "alg".',
                                    'The header has no "kid": a receiver has to try each of its keys.']),
                ({"alg": "RS256", "kid": "k", "crit": ["b64"], "b64": False, "zip": "DEF", "jku": "x", "x5u": "x",
                  "jwk": {}, "x5c": []}, b"x",
                 ['"crit" requires extensions: the library rejects the token.',
                  '"zip" requires compression: the library rejects the token.',
                  '"b64" must be true if given: the library rejects unencoded payloads.',
                  '"jku" is a URL of keys: a receiver must not fetch them.',
                  '"x5u" is the URL of a certificate: a receiver must not fetch it.',
                  '"jwk" is a key that the sender chose: it proves nothing.',
                  '"x5c" is a certificate that the sender chose: it proves nothing by itself.',
                  'Its "x5c" is not a list of certificates.']),
                # The line about the policy replaces the warning about the claim that it names.
                ({"alg": "RS256", "kid": "k"}, {"exp": "soon", "iat": 9e18}, ["The token was issued in the future.",
                                                                              '"iat"' + MILLISECONDS]),
                ({"alg": "RS256", "kid": "k"}, {"exp": 1795422551000, "nbf": 253402300800, "iat": 1300819380000},
                 ['"exp"' + MILLISECONDS, '"nbf"' + MILLISECONDS, "The token was issued in the future.",
                  '"iat"' + MILLISECONDS]),
                ({"alg": "RS256", "kid": "k"}, {"exp": 253402300799, "other": 1795422551000}, [])):
            shown = self.text("inspect", stdin=token(header, payload))
            self.assertEqual([line[9:] for line in shown.splitlines() if line.startswith("warning: ")], warnings)
            self.assertTrue(shown.endswith("\n" + UNVERIFIED))
        for text, warning in (
                (part({"alg": "ES256"}) + ".AA.A", "The signature is not base64url without padding."),
                (token(b'{"alg": "RS256", "alg": "none"}', b"x"),
                 "The header cannot be read. The text is not JSON: a member is given twice. Its text: {"),
                (token([], b"x"), "The header cannot be read. It is not a JSON object. Its text: []")):
            shown = self.reject(5, "The token is malformed.", "inspect", stdin=text, prints=None)
            self.assertIn("warning: " + warning, shown)
        shown = self.reject(5, "The token is malformed.", "inspect", stdin=token(b"\xed\xa0\x80", b"x"), prints=None)
        self.assertIn("Its text: \\xed\\xa0\\x80\n", shown)
        self.assertIn("warning: The signature is empty.\n",
                      self.text("inspect", stdin=token({"alg": "ES256"}, b"", b"")))

    def test_a_part_in_another_encoding_shows_the_wrong_character(self):
        head, payload = part({"alg": "RS256", "kid": "k"}), part(b"payload")
        wrong = "is not base64url without padding"
        for text, warnings in (
                (f"{head}.{payload}.ab+/", [f'The signature {wrong}: it has "+", which base64url writes as "-".']),
                (f"{head}.{payload}.ab/+", [f'The signature {wrong}: it has "/", which base64url writes as "_".']),
                (f"{head}.{payload}.abc=", [f'The signature {wrong}: it has "=", which base64url leaves out.']),
                (f"{head}.{payload}.ab\ncd", [f"The signature {wrong}: it has a line break."]),
                (f"{head}.{payload[:4]}\r\n{payload[4:]}.abcd", [f"The payload {wrong}: it has a line break."]),
                (f"{head}.{payload}.ab%3D", [f'The signature {wrong}: it has "%".']),
                (f"{head}.{payload}.ab\x1bd", [f'The signature {wrong}: it has "\\u001b".']),
                (f"'{head}.{payload}.abcd", [f'The header {wrong}: it has "\'".']),
                (f"{head}.{payload}.abcde", [f"The signature {wrong}."])):
            with self.subTest(text=text):
                shown = self.reject(5, "The token is malformed.", "inspect", stdin=text, prints=None)
                self.assertEqual([line[9:] for line in shown.splitlines() if line.startswith("warning: ")], warnings)

    def test_a_signature_of_the_wrong_size_gets_a_warning(self):
        for algorithm, signature, warnings in (
                ("ES256", bytes(64), []), ("ES384", bytes(96), []), ("ES512", bytes(132), []),
                ("ES256K", bytes(64), []), ("RS256", bytes(70), []),
                ("ES256", b"\x30" + bytes(63), []),
                ("ES256", b"\x30" + bytes(69), ["The signature has 70 bytes; those of ES256 have 64. It seems to be in "
                                                "DER."]),
                ("ES512", b"\x30" + bytes(138), ["The signature has 139 bytes; those of ES512 have 132. It seems to be "
                                                 "in DER."]),
                ("ES256K", bytes(65), ["The signature has 65 bytes; those of ES256K have 64."]),
                ("ES384", b"\x30" + bytes(63), ["The signature has 64 bytes; those of ES384 have 96."]),
                ("ES256", b"\x30", ["The signature has 1 byte; those of ES256 have 64."]),
                ("ES256", b"", ["The signature is empty."])):
            with self.subTest(algorithm=algorithm, signature=signature):
                shown = self.text("inspect", stdin=token({"alg": algorithm, "kid": "k"}, b"x", signature))
                self.assertEqual([line[9:] for line in shown.splitlines() if line.startswith("warning: ")], warnings)

    def test_a_header_that_begins_with_white_space_is_that_of_a_token(self):
        jws = JWS(b"payload")
        jws.add_signature(self.jwk("sign"), "RS256", '{\n  "alg": "RS256", "kid": "s"\n}')
        inner = jws.serialize(compact=True)
        self.assertTrue(inner.startswith("ewog"))
        self.assertIn("verified with the peer's key \"s\"", self.text(*self.opening(), stdin=self.encrypted(inner)))
        self.assertIn("JWS, ", self.text("inspect", inner))
        self.reject(5, "The input has 2 tokens, in the lines 1, 2.", "inspect", stdin=f"{inner}\n{inner}\n",
                    hint="Choose one of them, as in --line 1.")

    def test_no_token_controls_the_terminal(self):
        header = {"alg": "RS256", "kid": EVIL, EVIL: EVIL}
        for payload in (EVIL.encode(), {EVIL: EVIL}, b"\xff\x1b[2J", b"\x9b2J", b"\xc1\x9b", b"\xe0\x80\x9b2J"):
            for options in ((), ("--json",)):
                self.assert_harmless(self.text("inspect", *options, stdin=token(header, payload)))
        self.assert_harmless(self.run_command("inspect", "--own", EVIL).stderr.decode())

    def test_claims_that_are_not_times_are_neither_hidden_nor_taken_for_times(self):
        now = int(time.time())
        day = 86400
        issued, later = "The token was issued in the future", "The token is not valid yet"
        in_two_days = "(in 2 days)"
        for name, value, note, warning in (
                ("exp", "1300819380", "", '"exp" is not a number.'), ("exp", None, "", '"exp" is not a number.'),
                ("nbf", [1], "", '"nbf" is not a number.'), ("iat", True, "", '"iat" is not a number.'),
                *((each, now * 1000, "", f'"{each}"' + MILLISECONDS) for each in ("exp", "auth_time", "updated_at")),
                ("nbf", 253402300799, "(in ", later + f" in {round((253402300799 - now) / 86400 / 365.25)} years."),
                ("nbf", now + 2 * day + 60, in_two_days, later + " in 2 days."),
                ("iat", now + 2 * day + 60, in_two_days, issued + " in 2 days."),
                ("exp", now - 90, "(1 minute ago)", "The token has expired 1 minute ago."),
                ("exp", -1e308, "", "The token has expired."), ("exp", now + 2 * day + 60, in_two_days, None),
                ("nbf", now - 90, "(1 minute ago)", None), ("auth_time", now - 7300, "(2 hours ago)", None),
                ("updated_at", now - 7300, "(2 hours ago)", None), ("auth_time", now + 2 * day + 60, in_two_days, None),
                ("updated_at", "2026-11-23", "", None), ("birthdate", now - 60, "", None)):
            with self.subTest(name=name, value=value):
                stdin = token({"alg": "RS256", "kid": "7"}, {name: value})
                layer = json.loads(self.text("inspect", "--json", stdin=stdin))["layers"][0]
                self.assertEqual([re.sub(rf': "{name}" (is|was) \d[^:]*:\d\d:\d\d UTC \((.*)\)\.', r" \2.", warning)
                                  for warning in layer["warnings"]], [warning] if warning else [])
                self.assertEqual(layer["claims"], {name: value})
                line = next(line for line in self.text("inspect", stdin=stdin).splitlines()
                            if line.startswith(f'  "{name}": '))
                self.assertEqual("UTC" in line, bool(note), line)
                self.assertIn(note, line)

    def certificate(self):
        """In base64, for the key "ec", and valid in 2099 only."""
        private = load_pem_private_key(self.jwk("ec").export_to_pem(True, None), None)
        name = x509.Name([x509.NameAttribute(x509.NameOID.COMMON_NAME, "leaf")])
        builder = x509.CertificateBuilder(name, name, private.public_key(), 1, datetime.datetime(2099, 1, 1),
                                          datetime.datetime(2099, 12, 31))
        return base64.b64encode(builder.sign(private, SHA256()).public_bytes(Encoding.DER)).decode()

    def test_header_parameters_are_explained(self):
        leaf = self.certificate()
        public = self.jwk("ec").export_public(as_dict=True)
        unreadable = "not a key that torvane can read"
        early = "is not valid before 2099-01-01 00:00:00 UTC."
        chosen = "is a certificate that the sender chose: it proves nothing by itself."
        for name, value, note, warnings in (
                ("apu", part(b"Alice"), '"Alice"', []), ("apv", part(EVIL.encode()), "51 bytes, not text", []),
                ("apv", part(b"\xff\0"), "2 bytes, not text", []), ("apu", "", "0 bytes", []),
                ("apu", "a b", "not base64url", []), ("apu", 5, "not base64url", []), ("epk", public, "P-384", []),
                ("epk", {"kty": "EC"}, unreadable, []), ("epk", "x", unreadable, []),
                ("jwk", public, "P-384, thumbprint " + self.jwk("ec").thumbprint(),
                 ['"jwk" is a key that the sender chose: it proves nothing.']),
                ("jwk", {"kty": "oct", "k": "AA"}, unreadable,
                 ['"jwk" is a key that the sender chose: it proves nothing.']),
                ("x5c", [leaf], "CN=leaf, until 2099-12-31 00:00:00 UTC",
                 ['"x5c" ' + chosen, f'Certificate 1 of its "x5c" {early}']),
                ("x5c", [leaf, leaf], "2 certificates; the first: CN=leaf, until 2099-12-31 00:00:00 UTC",
                 ['"x5c" ' + chosen, f'Certificate 1 of its "x5c" {early}', f'Certificate 2 of its "x5c" {early}']),
                ("x5c", ["x" * 5000], "", ['"x5c" ' + chosen, 'Certificate 1 of its "x5c" cannot be read.']),
                ("x5t#S256", "AA", "", ['Its "x5t#S256" is not a SHA-256 thumbprint in base64url.']),
                ("iat", 253402300800, "", []), ("iat", 4102444800, "2100-01-01 00:00:00 UTC (in ", [])):
            with self.subTest(name=name, value=value):
                header = {"alg": "ECDH-ES", "enc": "A128GCM", "kid": "e", name: value}
                stdin = ".".join((part(header), "", "AAAA", "AAAA", "AAAA"))
                lines = self.text("inspect", stdin=stdin).splitlines()
                begin = next(i for i, line in enumerate(lines) if line.startswith(f'  "{name}": '))
                last = next(line for line in lines[begin:] if line[2] != " " and line[-1] not in "[{")
                before, _, after = last[3 if last[2] in "]}" else len(f'  "{name}": '):].partition("  ")
                self.assertEqual(after[:len(note)] if name == "iat" else after, note, last)
                self.assertEqual(before.endswith(","), name < "kid")
                self.assertEqual([line for line in lines if line.startswith("warning: ")],
                                 ["warning: " + warning for warning in warnings])
                self.assertLess(max(map(len, lines)), 110)
                layer = json.loads(self.text("inspect", "--json", stdin=stdin))["layers"][0]
                self.assertEqual((layer["header"], layer["warnings"]), (header, warnings))

    def test_text_that_is_not_a_token_is_rejected_in_time(self):
        for text, parts in (("a.b", 2), ("a.b.c.d", 4), ("." * 5_000_000, 5_000_001), ("no token", 1)):
            self.reject(5, f"The input is not a compact token: it has {parts} part{'s' * (parts != 1)}; a JWS has 3, "
                           "a JWE has 5.", "inspect", stdin=text)
        deep = b'{"alg":' + b"[" * 100_000 + b"]" * 100_000 + b"}"
        self.assertIn("warning: The header cannot be read. ",
                      self.reject(5, "The token is malformed.", "inspect", stdin=token(deep, b"x"), prints=None))
        wide = {"alg": "RS256", "kid": "k", **{f"name{i}": "x" * 40 for i in range(20_000)}}
        self.assertIn('"name19999": "x', self.text("inspect", stdin=token(wide, b"x")))

    def test_with_keys_each_layer_is_opened(self):
        inner = self.signed("RS256", "sign", "s", json.dumps({"sub": "Ada"}).encode())
        shown = self.text(*self.opening(), stdin=self.encrypted(inner))
        self.assertRegex(shown, r'\AJWE, \d+ characters, decrypted with your key "e" '
                                r'\(P-384, ECDH-ES\+A128KW\)\n\n')
        self.assertRegex(shown, r'\ninside it, a JWS, \d+ characters, verified with the peer\'s key "s"\n'
                                r'\(RSA 2048, RS256\)\n\n')
        self.assertTrue(shown.endswith('claims {\n  "sub": "Ada"\n}\ndefault policy: would reject the claims. '
                                       'The token lacks a claim: "exp" is missing.\n'), shown)
        document = json.loads(self.text(*self.opening("--json"), stdin=self.encrypted(inner)))
        self.assertEqual([layer["key"] for layer in document["layers"]], ["e", "s"])
        self.assertEqual((document["verified"], [layer["kind"] for layer in document["layers"]],
                          document["layers"][1]["claims"]), (True, ["JWE", "JWS"], {"sub": "Ada"}))
        shown = self.text(*self.opening(), stdin=self.signed("ES256K", "k1", "k"))
        self.assertIn("verified with the peer's key \"k\" (secp256k1, ES256K)\n", shown)
        # A key without an id is named by its thumbprint.
        with open(self.key("set"), encoding="utf-8") as file:
            key = next(key for key in json.load(file)["keys"] if key["kid"] == "s")
        del key["kid"]
        shown = self.text("inspect", "--peer", self.path("bare", json.dumps({"keys": [key]})), stdin=inner)
        self.assertIn("verified with the peer's key\n(RSA 2048, RS256, thumbprint "
                      f"{self.jwk('sign').thumbprint()})\n", shown)
        # Without --peer a signature is not required, and the output says so.
        shown = self.text("inspect", "--own", "enc:e=" + self.key("ec.pem"),
                          stdin=self.encrypted(inner, enc="A256CBC-HS512"))
        self.assertTrue(shown.endswith("\n" + UNVERIFIED), shown)
        self.assertIn("payload eyes. Two dots.\n",
                      self.text(*self.opening()[:3], stdin=self.encrypted(b"eyes. Two dots.")))
        # If no key has the token's key id, all keys are tried.
        self.assertIn('with your key "e" (', self.text(*self.opening(), stdin=self.encrypted(inner, kid="unknown")))

    def test_a_token_without_a_valid_signature_is_never_called_verified(self):
        shown = self.reject(7, "The token has no signature.", *self.opening(),
                            stdin=self.encrypted(b"anybody can do this"), prints=None)
        self.assertTrue(shown.endswith("payload anybody can do this\n\n" + UNVERIFIED), shown)
        peer = self.key("set")
        forged = self.signed("RS256", "decrypt", "s")
        nested = forged
        for _ in range(8):
            nested = self.signed("RS256", "sign", "s", nested.encode())
        for arguments, stdin, code, error in (
                (self.opening(), forged, 7,
                 f"The signature does not verify with {peer}#s.\nhint: The signature is by {peer}#e.\n"),
                (self.opening(), self.encrypted(forged), 7, f"The signature does not verify with {peer}#s.\n"),
                (self.opening(own="k1"), self.signed("ES256K", "k1", "s"), 4,
                 f"{peer}#s is an RSA key; ES256K needs one on secp256k1.\nhint: The signature is by {peer}#k.\n"),
                (self.opening(), token({"alg": "none"}, b"x"), 7,
                 'The token is not signed: its algorithm is "none".\n'),
                (self.opening(), self.encrypted(b"x", "RSA-OAEP", "decrypt"), 4, ""),
                (self.opening(own="k1"), self.encrypted(b"x"), 4,
                 "e is on secp256k1; ECDH-ES+A128KW needs one on P-256, P-384 or P-521.\nhint: "),
                (self.opening(), self.encrypted(b"x")[:-4] + "AAAA", 6, "The token could not be decrypted with e.\n"),
                (("inspect", "--peer", self.key("none")), forged, 4, "Cannot read "),
                (("inspect", "--peer", self.path("empty", '{"keys": []}')), forged, 4,
                 f'No key "s" in "{self.path("empty")}"; it has no keys.\n'),
                (("inspect", "--peer", self.key("set")), self.encrypted(b"x"), 4, "No key was given to decrypt "),
                # An encryption key verifies nothing.
                (("inspect", "--peer", self.key("set")), self.signed("RS256", "decrypt", "e"), 4,
                 f'{peer}#e is for encryption only, by its "use".\nhint: The signature is by {peer}#e.\n'),
                (self.opening(), nested, 5, "More than 8 tokens are nested in each other.")):
            for options in ((), ("--json",)):
                done = self.run_command(*arguments, *options, stdin=stdin)
                self.assertEqual(done.returncode, code, done.stderr)
                self.assertTrue(done.stderr.decode().startswith("torvane: " + error), done.stderr)
                if options and done.stdout:
                    self.assertFalse(json.loads(done.stdout)["verified"])
                elif done.stdout:
                    self.assertTrue(done.stdout.decode().endswith("\n" + (PARTLY if stdin == nested else UNVERIFIED)))

    def test_colours_appear_only_on_terminals_that_want_them(self):
        self.path("token", token({"alg": "RS256", "kid": "k"}, {"sub": "Ada", "n": 1, "b": True}))
        self.assertNotIn("\033", self.text("inspect", "token"))
        for environment, coloured in (({}, True), ({"NO_COLOR": "1"}, False), ({"NO_COLOR": ""}, True),
                                      ({"TERM": "dumb"}, False)):
            terminal = Terminal("inspect", "token", folder=self.folder, env=environment)
            code, shown = terminal.finish()
            self.assertEqual((code, "\033[34m\"sub\"\033[0m: \033[32m\"Ada\"\033[0m" in shown, "\033" in shown),
                             (0, coloured, coloured), environment)


if __name__ == "__main__":
    unittest.main()
