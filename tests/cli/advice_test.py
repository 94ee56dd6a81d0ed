"""Errors that say what to do: the whole text, the hint in the line after it, and the exit code of each."""
import json
import os
import subprocess
import unittest

from jwcrypto.jwe import JWE
from jwcrypto.jwk import JWK
from jwcrypto.jws import JWS

from running import CommandTest

OTHER_COMMANDS = "Use `torvane sign` and `torvane encrypt`, or `torvane nested encode`."
OTHER_COMMANDS_TO_READ = "Use `torvane decrypt` and `torvane verify`, or `torvane nested decode`."
ASK_FOR_KEY = "Ask the peer for a set with the key of this token."


class Advice(CommandTest):
    @classmethod
    def setUpKeys(cls):
        for name, kind in (("sign", "RSA-2048"), ("dec", "RSA-2048"), ("new", "RSA-2048"), ("ec", "P-256"),
                           ("k1", "secp256k1")):
            cls.make("key", "new", kind, name + ".pem")
        subprocess.run(["openssl", "genrsa", "-out", "small.pem", "1024"], cwd=cls.keys, check=True,
                       stderr=subprocess.DEVNULL)
        cls.make("jwks", "make", "sig:s=sign.pem", "enc:dec=dec.pem", "-o", "set")
        cls.make("jwks", "make", "sig:s=sign.pem", "enc:dec=dec.pem", "enc:new=new.pem", "-o", "two")
        cls.make("jwks", "make", "sig:s=ec.pem", "enc:dec=ec.pem", "-o", "ec-set")
        cls.make("jwks", "make", "sig:a=dec.pem", "sig:b=new.pem", "-o", "others")

    def setUp(self):
        super().setUp()
        for name in os.listdir(self.keys):
            os.symlink(self.key(name), self.path(name))

    def jwk(self, name):
        with open(self.key(name + ".pem"), "rb") as file:
            return JWK.from_pem(file.read())

    def read_set(self, name):
        with open(self.key(name), encoding="utf-8") as file:
            return json.load(file)["keys"]

    def make_set(self, name, *keys):
        self.path(name, json.dumps({"keys": keys}))

    def signed(self, payload=b"message", key="sign", **header):
        jws = JWS(payload)
        header = {"alg": "RS256", "kid": "s", **header}
        jws.add_signature(self.jwk(key), header["alg"], json.dumps(header))
        return jws.serialize(compact=True)

    def encrypted(self, plaintext, key="dec", **header):
        header = {"alg": "RSA-OAEP-256", "enc": "A128CBC-HS256", "kid": "dec", **header}
        jwe = JWE(plaintext if isinstance(plaintext, bytes) else plaintext.encode(), json.dumps(header))
        jwe.add_recipient(self.jwk(key))
        return jwe.serialize(compact=True)

    @staticmethod
    def encoding(*more, own="sig:s=sign.pem", peer="set"):
        return ("encode", "--own", own, "--peer", peer, *more)

    @staticmethod
    def decoding(*more, own="enc:dec=dec.pem", peer="set"):
        return ("decode", "--own", own, "--peer", peer, *more)

    def test_encode_says_which_key_it_needs(self):
        self.make_set("small-set", {**self.jwk("small").export_public(as_dict=True), "kid": "dec", "use": "enc"})
        self.make_set("bare-set", {**self.jwk("dec").export_public(as_dict=True), "kid": "dec"})
        small = "has 1024 bits, which are too few; at least 2048 are needed."
        long = "`torvane key new RSA-3072 FILE` makes a key that is long enough."
        only_rsa = "encode takes RSA keys and their algorithms only. " + OTHER_COMMANDS
        for arguments, error, hint in (
                (self.encoding(peer="two"), "2 keys fit: dec, new.", "Choose one with --encrypt-to."),
                (self.encoding("--own", "sig:t=new.pem"), "2 keys fit: s, t.", "Choose one with --sign-with."),
                (self.encoding("--own", "sig:s=new.pem", "--sign-with", "s"), "2 keys fit: s, s.",
                 "Give only one of them with --own."),
                (self.encoding("--sign-with", "x"), 'No key "x" was given; there are s.',
                 "--sign-with takes an id from --own."),
                (self.encoding(own="enc:s=sign.pem"), "No key to sign with was given.",
                 "Give your private key: --own sig:KID=URI."),
                (self.encoding("--encrypt-to", "x", peer="two"), 'No key "x" in "two"; it has s, dec, new.',
                 "--encrypt-to takes one of these: dec, new."),
                (self.encoding("--encrypt-to", "s"), 'The key "s" in "set" is for signatures, not for encryption.',
                 "--encrypt-to takes one of these: dec."),
                (self.encoding("--encrypt-to", "dec", peer="bare-set"),
                 'The key "dec" in "bare-set" has no "use"; it needs "enc".',
                 "Ask the peer for a set with a key for encryption."),
                (self.encoding(peer="others"), 'No key in "others" is for encryption.',
                 'A key for encryption has "use": "enc"; `torvane jwks list` shows the keys.'),
                (self.encoding(own="sig:s=ec.pem"), 'The key "s" is on P-256; encode takes RSA keys.', OTHER_COMMANDS),
                (self.encoding(own="sig:s=k1.pem"), 'The key "s" is on secp256k1; encode takes RSA keys.',
                 OTHER_COMMANDS),
                (self.encoding(peer="ec-set"), 'The key "dec" in "ec-set" is on P-256; encode takes RSA keys.',
                 OTHER_COMMANDS),
                (self.encoding(own="sig:s=small.pem"), f'The key "s" {small}', long),
                (self.encoding(peer="small-set"), f'The key "dec" in "small-set" {small}', long),
                (self.encoding("--jws-alg", "ES256"), 'The key "s" is an RSA key; ES256 needs one on P-256.', only_rsa),
                (self.encoding("--jws-alg", "ES256K"), 'The key "s" is an RSA key; ES256K needs one on secp256k1.',
                 only_rsa),
                (self.encoding("--jwe-alg", "ECDH-ES"),
                 'The key "dec" in "set" is an RSA key; ECDH-ES needs one on P-256, P-384 or P-521.', only_rsa)):
            with self.subTest(arguments):
                self.reject(4, error, *arguments, stdin="message", hint=hint)
        for option, error, hint in (
                ("--jws-alg", "Algorithm 'HS256' is not supported for signing/verifying data.",
                 "--jws-alg takes RS256, RS384, RS512, PS256, PS384 or PS512."),
                ("--jwe-alg", "HS256 algorithm is not supported for key management.",
                 "--jwe-alg takes RSA-OAEP, RSA-OAEP-256, RSA-OAEP-384 or RSA-OAEP-512."),
                ("--jwe-enc", "HS256 algorithm is not supported for data encryption/decryption.",
                 "--jwe-enc takes A128CBC-HS256, A192CBC-HS384, A256CBC-HS512, A128GCM, A192GCM or A256GCM.")):
            self.reject(2, error, *self.encoding(option, "HS256"), stdin="message", hint=hint)

    def test_decode_says_which_key_the_token_needs(self):
        token = self.encrypted(self.signed())
        give = "Give your private key: --own enc:dec=URI."
        for arguments, stdin, code, error, hint in (
                (self.decoding(own="enc:zzz=dec.pem"), token, 4, 'The token is for "dec"; you gave "zzz".', give),
                (self.decoding("--own", "enc:b=new.pem", own="enc:a=dec.pem"), token, 4,
                 'The token is for "dec"; you gave a, b.', give),
                (self.decoding(own="sig:dec=dec.pem"), token, 4, "No key to decrypt with was given.", give),
                (self.decoding("--own", "enc:dec=new.pem"), token, 4, "2 keys fit: dec, dec.",
                 "Give only one of them with --own."),
                (self.decoding(own="enc:dec=ec.pem"), token, 4, 'The key "dec" is on P-256; decode takes RSA keys.',
                 OTHER_COMMANDS_TO_READ),
                (self.decoding("--jwe-alg", "ECDH-ES"), token, 4,
                 'The key "dec" is an RSA key; ECDH-ES needs one on P-256, P-384 or P-521.', OTHER_COMMANDS_TO_READ),
                (self.decoding(peer="others"), token, 4, 'No key "s" in "others"; it has a, b.', ASK_FOR_KEY),
                (self.decoding(peer="ec-set"), token, 4, 'The key "s" in "ec-set" is on P-256; decode takes RSA keys.',
                 OTHER_COMMANDS_TO_READ),
                (self.decoding(), self.encrypted(self.signed(kid="dec")), 4,
                 'The key "dec" in "set" is for encryption, not for signatures.', ASK_FOR_KEY),
                (self.decoding(), self.encrypted(b"not a token, but a secret"), 7,
                 "The token was decrypted, but there is no JWS inside.", "Try `torvane decrypt`."),
                (self.decoding(), self.encrypted(self.signed() + "\n"), 7,
                 "The token was decrypted, but there is no JWS inside.",
                 "There is a token between white space: the sender must encrypt it without a line break."),
                (self.decoding(), self.encrypted(self.encrypted(b"secret")), 7,
                 "The token was decrypted, but there is no JWS inside.", "Try `torvane decrypt`.")):
            with self.subTest(arguments, error=error):
                self.reject(code, error, *arguments, stdin=stdin, hint=hint)

    def test_a_hint_follows_the_error_of_a_token_that_cannot_be_decoded(self):
        token = self.encrypted(self.signed())
        changed = token[:-30] + ("A" if token[-30] != "A" else "B") + token[-29:]
        malformed = "Missing component separator character. Invalid compact serialized string."
        for stdin, code, error, hint in (
                ("no token", 5, malformed,
                 "decode takes a compact token: five parts with a dot between each two."),
                (self.signed(), 6, "The token is signed, but not encrypted.",
                 "Use `torvane verify`, or `torvane inspect --peer`."),
                (changed, 6, "The JWE could not be decrypted.",
                 'The token names the key "dec". It was changed, or was encrypted for another key; `torvane inspect` '
                 "shows its parts."),
                (self.encrypted(self.signed(), enc="A256GCM", alg="RSA-OAEP"), 6,
                 "The token is encrypted with RSA-OAEP, not RSA-OAEP-256, and A256GCM, not A128CBC-HS256.",
                 "If you accept that, give --jwe-alg RSA-OAEP --jwe-enc A256GCM."),
                (self.encrypted(self.signed(alg="PS512")), 7, "The token is signed with PS512, not RS256.",
                 "If you accept that, give --jws-alg PS512."),
                (self.encrypted(self.signed(key="new")), 7, "The signature does not verify.",
                 'The token was not signed with the key s in "set", or was changed.')):
            self.reject(code, error, *self.decoding(), stdin=stdin, hint=hint)

    def test_inspect_says_which_key_the_token_names(self):
        many = self.read_set("others")[0]
        self.make_set("many", *({**many, "kid": f"k{number}"} for number in range(7)))
        self.make_set("evil", {**many, "kid": "\u001b[2J"})
        for arguments, token, error, hint in (
                (("--peer", "others"), self.signed(), 'No key "s" in "others"; it has a, b.', ASK_FOR_KEY),
                (("--peer", "many"), self.signed(kid="ec0"),
                 'No key "ec0" in "many"; it has k0, k1, k2, k3, k4 and 2 more.', ASK_FOR_KEY),
                (("--peer", "evil"), self.signed(kid="\u009b"), 'No key "\\u009b" in "evil"; it has \\u001b[2J.',
                 ASK_FOR_KEY),
                (("--peer", "set"), self.signed(kid="dec", key="new"),
                 'set#dec is for encryption only, by its "use".', None),
                (("--own", "enc:zzz=new.pem"), self.encrypted(b"x"), 'The token is for "dec"; you gave "zzz".',
                 "Give your private key: --own enc:dec=URI."),
                (("--peer", "set"), self.encrypted(b"x"), "No key was given to decrypt the token.",
                 "Give your private key: --own enc:dec=URI.")):
            self.reject(4, error, "inspect", *arguments, stdin=token, prints=None, hint=hint)
        for arguments, token, code, error, hint in (
                (("--peer", "ec-set"), self.signed(), 4, "ec-set#s is on P-256; RS256 needs an RSA key.", None),
                (("--peer", "set"), self.signed(key="ec", alg="ES256"), 4,
                 "set#s is an RSA key; ES256 needs one on P-256.", None),
                (("--peer", "set"), self.signed(key="new"), 7, "The signature does not verify with set#s.",
                 "The token was changed, or was signed with another key."),
                (("--own", "enc:dec=new.pem"), self.encrypted(b"x"), 6, "The token could not be decrypted with dec.",
                 "The token was changed, or was encrypted for another key.")):
            shown = json.loads(self.reject(code, error, "inspect", "--json", *arguments, stdin=token, prints=None,
                                           hint=hint))
            self.assertEqual((shown["error"], shown.get("hint")), (error, hint), arguments)

    def test_a_bad_key_of_a_set_is_named_and_so_are_the_good_ones(self):
        good = self.read_set("set")
        k1 = {**self.jwk("k1").export_public(as_dict=True), "use": "sig", "kid": "k"}
        take_out = "Take it out of the set. These keys are good: s, dec."
        for bad, why in (({"kty": "oct", "k": "AAAA", "kid": "k"},
                          'It is a symmetric key ("oct"), which does not belong in a set for peers.'),
                         (k1, 'It is on secp256k1, and has no "alg" with the value ES256K.'),
                         ({**k1, "alg": "ES256K"}, "It is on secp256k1."),
                         ({**good[0], "n": "", "kid": "k"},
                          'The JWK\'s "n" is not a number in base64url of the right length.')):
            self.make_set("bad", good[0], bad, good[1], {**bad, "kid": "another"})  # the first one is named
            for arguments in (self.encoding(peer="bad"), self.decoding(peer="bad")):
                self.reject(4, f'The key "k" in "bad" cannot be used: {why}', *arguments, stdin="x", hint=take_out)
        short = {**JWK.generate(kty="RSA", size=1024).export_public(as_dict=True), "kid": "short"}
        self.make_set("bad", short, k1, good[0], {**good[1], "d": "AA"})
        self.reject(4, 'The key "k" in "bad" cannot be used: It is on secp256k1, and has no "alg" with the value '
                    "ES256K.", *self.encoding(peer="bad"), hint="Take it out of the set. These keys are good: s.")
        edwards = JWK.generate(kty="OKP", crv="Ed25519").export_public(as_dict=True)
        self.make_set("bad", {**edwards, "kid": "k"}, *good)
        self.reject(4, 'The key "k" in "bad" cannot be used: Keys of the "kty" OKP are not supported, though other '
                    "programs may read them.", *self.encoding(peer="bad"), hint=take_out)
        del bad["kid"]
        self.make_set("bad", bad)
        done = self.run_command(*self.encoding(peer="bad"))
        self.assertEqual(done.returncode, 4)
        self.assertRegex(done.stderr.decode(), r'\Atorvane: The key number 1 in "bad" cannot be used: .*\n'
                                               r"hint: No other key of the set is good; `torvane jwks check` ")

    def test_a_file_of_another_kind_is_recognised(self):
        self.path("jwk", json.dumps(self.read_set("set")[0]))
        self.path("token", self.signed() + "\n")
        subprocess.run(["openssl", "pkey", "-in", "sign.pem", "-outform", "DER", "-out", "sign.der"], cwd=self.folder,
                       check=True)
        make = "`torvane jwks make sig=FILE` makes a set of a key file."
        show = "`torvane jwks list` and `torvane jwks check` show it, and --peer takes it."
        needs_set = "; a JWK Set is needed here."
        needs_key = "; a PEM, DER or PKCS #12 file is needed here."
        for arguments, error, hint in (
                (self.encoding(peer="dec.pem"), '"dec.pem" is a PEM file' + needs_set, make),
                (self.decoding(peer="sign.der"), '"sign.der" is a DER or PKCS #12 file' + needs_set, make),
                (self.decoding(peer="token"), '"token" is a token' + needs_set, "`torvane inspect` shows it."),
                (self.decoding(peer="jwk"), '"jwk" is a JWK' + needs_set, 'Put it into a set: {"keys": [JWK]}.'),
                (("inspect", "--peer", "dec.pem", "token"), '"dec.pem" is a PEM file' + needs_set, make),
                (("jwks", "list", "dec.pem"), '"dec.pem" is a PEM file' + needs_set, make),
                (("jwks", "select", "--use", "sig", "dec.pem"), '"dec.pem" is a PEM file' + needs_set, make),
                (("key", "show", "set"), '"set" is a JWK Set' + needs_key, show),
                (("key", "show", "--public", "jwk"), '"jwk" is a JWK' + needs_key, show),
                (("jwks", "make", "sig=set"), '"set" is a JWK Set' + needs_key, show),
                (self.encoding(own="sig:s=jwk"), '"jwk" is a JWK' + needs_key, show),
                (self.decoding(own="enc:dec=set"), '"set" is a JWK Set' + needs_key, show)):
            with self.subTest(arguments):
                self.reject(4, error, *arguments, hint=hint)

    def test_jwks_make_says_what_a_short_key_lacks(self):
        for use in ("sig", "enc"):
            self.reject(4, f'The key "{use}:a" has 1024 bits, which are too few; at least 2048 are needed.', "jwks",
                        "make", f"{use}:a=small.pem",
                        hint="`torvane key new RSA-3072 FILE` makes a key that is long enough.")

    def test_the_lines_of_several_tokens_are_listed(self):
        token = self.signed()
        for text, count, numbers in ((f"{token}\n{token}\n", 2, "1, 2"), (f"\n{token}\r\n\nBearer {token}", 2, "2, 4"),
                                     ((token + "\n") * 8, 8, "1, 2, 3, 4, 5 and 3 more")):
            for arguments in (("inspect", "file"), self.decoding("file")):
                self.path("file", text)
                self.reject(5, f"The input has {count} tokens, in the lines {numbers}.", *arguments,
                            hint=f"Choose one of them, as in --line {numbers[0]}.")
        self.path("file", f"{token}\n\n{self.encrypted(token)}\n")
        self.assertEqual(self.text(*self.decoding("file", "--line", "3")), "message")
        for line, kind in ("1", "JWS"), ("3", "JWE"):
            self.assertIn(f"{kind}, ", self.text("inspect", "file", "--line", line))

    def test_a_token_is_found_as_people_pass_it_on(self):
        token = self.signed()
        shown = self.text("inspect", stdin=token)
        for text in (token + "\n", f"\r\n {token} \n", f"Bearer {token}\n", f"Authorization: Bearer {token}",
                     f"authorization:bearer  {token}"):
            self.assertEqual(self.text("inspect", stdin=text), shown, text)
            self.assertEqual(self.text("inspect", text.strip()), shown, text)
            self.assertEqual(self.text("inspect", "--peer", "set", text.strip()),
                             shown.replace("not verified", 'verified with the peer\'s key "s" (RSA 2048, RS256)')
                             .split("\n\nNothing")[0]
                             + "\n", text)
        nested = self.encrypted(token)
        self.assertEqual(self.text(*self.decoding(), stdin=f"Bearer {nested}\n"), "message")
        self.path(token[:100], nested)
        self.assertIn("JWE, ", self.text("inspect", token[:100]))
        self.reject(3, 'Cannot read "eyJ": No such file or directory.', "inspect", "eyJ")

    def test_a_line_break_at_the_end_of_a_file_is_no_error(self):
        for name in ("sign.pem", "dec.pem", "set"):
            with open(self.key(name), "rb") as file:
                content = file.read().rstrip()
            for end in (b"", b"\n", b"\r\n", b"\n\n"):
                self.path("file", content + end)
                arguments = ("jwks", "check", "file") if name == "set" else ("key", "show", "file")
                self.assertTrue(self.text(*arguments), (name, end))
        subprocess.run(["openssl", "pkey", "-in", "sign.pem", "-outform", "DER", "-out", "key.der"], cwd=self.folder,
                       check=True)
        with open(self.path("key.der"), "ab") as file:
            file.write(b"\n")
        self.assertTrue(self.text("key", "show", "key.der"))


if __name__ == "__main__":
    unittest.main()
