"""`encrypt`, `decrypt` and `nested`: every algorithm with every format of key, and the text of each error."""
import base64
import json
import os
import unittest

from jwcrypto.jwe import JWE
from jwcrypto.jws import JWS

from running import Terminal
from token_keys import BINARY, KEY_OPS, Pkcs11KeysTest, TokenTest, decode

# The keys, and the algorithms of each, the default first.
RSA = ("RSA-OAEP-256", "RSA-OAEP", "RSA-OAEP-384", "RSA-OAEP-512")
AGREEMENT = ("ECDH-ES+A256KW", "ECDH-ES+A192KW", "ECDH-ES+A128KW", "ECDH-ES")
KINDS = {"RSA-2048": RSA, "P-256": AGREEMENT, "P-384": AGREEMENT, "P-521": AGREEMENT}
CONTENT = ("A256GCM", "A192GCM", "A128GCM", "A256CBC-HS512", "A192CBC-HS384", "A128CBC-HS256")
UNKNOWN_TO_JWCRYPTO = ("RSA-OAEP-384", "RSA-OAEP-512")


def encode(header):
    return base64.urlsafe_b64encode(json.dumps(header).encode()).decode().rstrip("=")


def names(kid):
    return f'The token names the key "{kid}", which may be another one.'


class EncryptionTest(TokenTest):
    def encrypt(self, key, *more, stdin=b"x"):
        return self.text("encrypt", "--key", self.key(key), *more, stdin=stdin).strip()

    def header(self, token):
        return json.loads(decode(token.split(".")[0]))

    def with_header(self, token, **changes):
        """The token with other header parameters, which no longer decrypts."""
        header = {name: value for name, value in {**self.header(token), **changes}.items() if value is not None}
        return ".".join([encode(header), *token.split(".")[1:]])


class Encryption(EncryptionTest):
    def test_every_algorithm_encrypts_and_decrypts_with_every_format_of_key(self):
        secret = ("--secret-file", self.key("passphrase"))
        count = 0
        for kind, algorithms in KINDS.items():
            for algorithm in algorithms:
                for theirs, ours, kid, more in ((".public.pem", ".pem", None, ()), (".der", ".der", None, ()),
                                                (".p12", ".p12", None, secret), (".public.jwk", ".jwk", kind, ()),
                                                (f"public.jwks#{kind}", f"private.jwks#{kind}", kind, ()),
                                                (f"public.jwks#{kind}", "private.jwks", kind, ())):
                    with self.subTest(algorithm=algorithm, theirs=theirs, ours=ours):
                        theirs, ours = (name if "jwks" in name else kind + name for name in (theirs, ours))
                        given = () if algorithm == algorithms[0] else ("--alg", algorithm.lower())
                        token = self.encrypt(theirs, *given, *more, stdin=BINARY[:1000])
                        header = self.header(token)
                        self.assertEqual((header["alg"], header["enc"], header["kid"]),
                                         (algorithm, "A256GCM", kid or self.jwk(kind).thumbprint()))
                        self.assertEqual(self.succeed("decrypt", "--key", self.key(ours), *more, stdin=token),
                                         BINARY[:1000])
                        if algorithm not in UNKNOWN_TO_JWCRYPTO:
                            other = JWE(algs=[algorithm, "A256GCM"])
                            other.deserialize(token, self.jwk(kind))
                            self.assertEqual(other.payload, BINARY[:1000])
                        count += 1
        self.assertEqual(count, 96)

    def test_every_content_encryption_encrypts_and_tokens_of_another_implementation_decrypt(self):
        for kind, algorithms in (("RSA-2048", ("RSA-OAEP-256",)), ("P-256", ("ECDH-ES+A128KW", "ECDH-ES"))):
            for algorithm in algorithms:
                for content in CONTENT:
                    token = self.encrypt(kind + ".public.pem", "--alg", algorithm, "--enc", content.lower())
                    self.assertEqual(self.header(token)["enc"], content)
                    self.assertEqual(self.text("decrypt", "--key", self.key(kind + ".pem"), stdin=token), "x")
                    theirs = JWE(b"from another", json.dumps({"alg": algorithm, "enc": content}),
                                 algs=[algorithm, content])
                    theirs.add_recipient(self.jwk(kind))
                    self.assertEqual(self.text("decrypt", "--key", self.key(kind + ".pem"), "--alg", algorithm,
                                               "--enc", content, stdin=theirs.serialize(compact=True)), "from another")

    def test_a_mebibyte_goes_through_pipes_and_files_unchanged(self):
        token = self.succeed("encrypt", "--key", self.key("P-256.public.pem"), stdin=BINARY)
        self.assertEqual(self.succeed("decrypt", "--key", self.key("P-256.pem"), "-", "-o", "-", stdin=token), BINARY)
        self.path("message", BINARY)
        self.succeed("encrypt", "--key", self.key("P-256.public.pem"), "message", "-o", "token")
        self.succeed("decrypt", "--key", self.key("P-256.pem"), "token", "-o", "out")
        with open(self.path("out"), "rb") as file:
            self.assertEqual(file.read(), BINARY)

    def test_headers_and_the_kid_come_from_options(self):
        token = self.encrypt("RSA-2048.public.pem", "--header", "cty=text", "--header", "x=1=2", "--kid", "k")
        self.assertEqual(self.header(token), {"alg": "RSA-OAEP-256", "enc": "A256GCM", "kid": "k", "cty": "text",
                                              "x": "1=2"})
        # A key without an id of its own, or one that was chosen, decrypts whatever the "kid" is.
        for key in ("RSA-2048.pem", "private.jwks#RSA-2048"):
            self.assertEqual(self.text("decrypt", "--key", self.key(key), stdin=token), "x")
        both = ("--key", self.key("P-256.pem"), "--key", self.key("RSA-2048.pem"))
        self.assertEqual(self.text("decrypt", *both, stdin=f"Bearer {token}\r\n"), "x")

    def test_what_cannot_be_encrypted_names_the_key_and_the_reason(self):
        for key, more, code, error in (
                ("small.pem", (), 4, "{} has 1024 bits, which are too few; at least 2048 are needed."),
                ("P-256.pem", ("--alg", "RSA-OAEP"), 4, "{} is on P-256; RSA-OAEP needs an RSA key."),
                ("RSA-2048.pem", ("--alg", "ecdh-es"), 4,
                 "{} is an RSA key; ECDH-ES needs one on P-256, P-384 or P-521."),
                ("secp256k1.pem", (), 4, "{} is on secp256k1; ECDH-ES+A256KW needs one on P-256, P-384 or P-521."),
                ("odd.jwks#ps", (), 4, '{} is for PS256 only, by its "alg", not for RSA-OAEP-256.'),
                ("odd.jwks#verify", (), 4, '{} lacks "wrapKey" in its "key_ops".'),
                ("P-256.pem", ("--alg", "dir"), 2,
                 'The algorithm "dir" is not one of RSA-OAEP RSA-OAEP-256 RSA-OAEP-384 RSA-OAEP-512 ECDH-ES '
                 "ECDH-ES+A128KW ECDH-ES+A192KW ECDH-ES+A256KW."),
                ("P-256.pem", ("--enc", "A256"), 2, 'The algorithm "A256" is not one of A128CBC-HS256 A192CBC-HS384 '
                                                    "A256CBC-HS512 A128GCM A192GCM A256GCM."),
                ("P-256.pem", ("--header", "zip=DEF"), 2, 'The header\'s "zip" asks for compression, which is not '
                                                          "supported."),
                ("P-256.pem", ("--header", "enc=x"), 2, '"enc=x" sets a parameter that another option sets.')):
            with self.subTest(key=key, more=more):
                hint = "--enc sets it, or --jwe-enc where there are two tokens." if "enc=x" in more else None
                hint = KEY_OPS if "key_ops" in error else hint
                self.reject(code, error.format(self.key(key)), "encrypt", "--key", self.key(key), *more, "-o", "out",
                            stdin="x", hint=hint)
                self.assertEqual(os.listdir(self.folder), [])

    def test_a_token_that_does_not_decrypt_is_rejected_without_output(self):
        token = self.encrypt("public.jwks#P-256")
        parts = token.split(".")
        changed = ".".join([*parts[:3], "AA", parts[4]])
        signed = self.text("sign", "--key", self.key("P-256.pem"), stdin="x").strip()
        for arguments, stdin, code, error, hint in (
                (("P-256.pem",), changed, 6, "The token could not be decrypted with {}.", names("P-256")),
                (("P-256.pem",), self.with_header(token, alg="ECDH-ES+A128KW"), 6,
                 "The token could not be decrypted with {}.", names("P-256")),
                (("P-256.jwk",), changed, 6, "The token could not be decrypted with {}.",
                 "The token was changed, or was encrypted for another key."),
                (("P-256.pem", "--alg", "ECDH-ES", "--alg", "RSA-OAEP"), token, 6,
                 "The token is encrypted with ECDH-ES+A256KW; allowed: ECDH-ES, RSA-OAEP.", None),
                (("P-256.pem", "--enc", "a128gcm"), token, 6,
                 "The token is encrypted with A256GCM; allowed: A128GCM.", None),
                (("P-256.pem",), self.with_header(token, alg="dir"), 6,
                 'The token is encrypted with "dir", which torvane does not support.', None),
                (("P-256.pem",), self.with_header(token, enc=None), 5, 'The header has no "enc".', None),
                (("P-256.pem",), self.with_header(token, zip="DEF"), 5,
                 'The token is rejected. The header\'s "zip" asks for compression, which is not supported.', None),
                (("P-384.jwk",), token, 4, 'The token is for "P-256"; you gave "P-384".', None),
                (("RSA-2048.pem",), token, 4,
                 "{} is an RSA key; ECDH-ES+A256KW needs one on P-256, P-384 or P-521.", None),
                (("P-256.public.pem",), token, 4, "{} is a public key; decrypting needs a private one.", None),
                (("public.jwks",), token, 4, "{} holds public keys only; decrypting needs a private one.", None),
                (("P-256.pem",), signed, 5, "The token is signed, not encrypted (a JWS).",
                 "`torvane verify` verifies it."),
                (("P-256.pem",), "", 5, "The input is empty, not a compact token.",
                 "Give a token: a file, a pipe, or the token itself as the argument."),
                (("P-256.pem",), "x", 5, "The input is not a compact token: it has 1 part; a JWS has 3, a JWE has 5.",
                 None),
                (("P-256.pem",), ".".join([parts[0], "!", *parts[2:]]), 5,
                 "The token is malformed. The encrypted key is not base64url without padding: it has \"!\".", None),
                (("P-256.pem",), f"{token}\n{token}\n", 5, "The input has 2 tokens, in the lines 1, 2.",
                 "Choose one of them, as in --line 1.")):
            with self.subTest(arguments=arguments, error=error):
                for more in ((), ("-o", "out")):
                    self.reject(code, error.format(self.key(arguments[0])), "decrypt", "--key", self.key(arguments[0]),
                                *arguments[1:], *more, stdin=stdin, hint=hint)
                self.assertEqual(os.listdir(self.folder), [])
        keys = [word for name in ("P-384", "P-256") for word in ("--key", self.key(name + ".pem"))]
        self.reject(6, f"The token could not be decrypted with any of {keys[1]}, {keys[3]}.", "decrypt", *keys,
                    stdin=self.with_header(token, kid="other"), hint=names("other"))
        # The "epk" is not on the curve of the first key.
        self.assertEqual(self.text("decrypt", *keys, stdin=self.encrypt("P-256.public.pem", "--kid", "k")), "x")
        self.reject(5, "The token is rejected. The header's \"epk\" is not a public key on the recipient's curve.",
                    "decrypt", *keys[:2], stdin=token.replace(parts[0], encode({**self.header(token), "kid": "k"})),
                    hint="The token may be encrypted for another key.")


class Nested(EncryptionTest):
    def test_messages_between_keys_of_different_kinds_survive(self):
        for ours, theirs in (("RSA-2048", "P-256"), ("P-256", "RSA-2048"), ("P-384", "P-521"), ("secp256k1", "P-384"),
                             ("P-521", "RSA-2048")):
            for suffix, public in ((".pem", ".public.pem"), (".jwk", ".public.jwk")):
                token = self.text("nested", "encode", "--key", self.key(ours + suffix), "--to",
                                  self.key(theirs + public), stdin=BINARY[:1000])
                self.assertEqual(self.succeed("nested", "decode", "--key", self.key(theirs + suffix), "--from",
                                              self.key(ours + public), stdin=token), BINARY[:1000], (ours, theirs))
        token = self.succeed("nested", "encode", "--key", self.key("private.jwks#P-256"), "--to",
                             self.key("public.jwks#P-384"), stdin=BINARY)
        self.assertEqual(self.succeed("nested", "decode", "--key", self.key("private.jwks"), "--from",
                                      self.key("public.jwks"), stdin=token), BINARY)

    def test_another_implementation_reads_and_writes_the_tokens(self):
        token = self.text("nested", "encode", "--key", self.key("P-256.jwk"), "--to", self.key("public.jwks#P-384"),
                          "--jwe-alg", "ecdh-es+a128kw", "--jwe-enc", "a128cbc-hs256", "--iss", "us", "--typ", "t",
                          "--kid", "ours", "--jws-header", "a=1", "--jwe-header", "b=2")
        outer = JWE()
        outer.deserialize(token, self.jwk("P-384"))
        header = {name: value for name, value in outer.jose_header.items() if name != "epk"}
        self.assertEqual(header, {"alg": "ECDH-ES+A128KW", "enc": "A128CBC-HS256", "kid": "P-384", "cty": "JWT",
                                  "b": "2"})
        inner = JWS()
        inner.deserialize(outer.payload.decode(), self.jwk("P-256"))
        self.assertEqual(inner.jose_header, {"alg": "ES256", "kid": "ours", "typ": "t", "a": "1"})
        self.assertEqual(json.loads(inner.payload)["iss"], "us")
        theirs = JWS(b'{"iss": "them"}')
        theirs.add_signature(self.jwk("P-256"), "ES256", json.dumps({"alg": "ES256"}))
        theirs = JWE(theirs.serialize(compact=True), json.dumps({"alg": "RSA-OAEP", "enc": "A256GCM"}))
        theirs.add_recipient(self.jwk("RSA-2048"))
        self.assertEqual(self.text("nested", "decode", "--key", self.key("RSA-2048.pem"), "--from",
                                   self.key("P-256.public.pem"), "--iss", "them", "--allow-no-expiry",
                                   stdin=theirs.serialize(compact=True)), '{"iss": "them"}')

    def test_a_nested_token_that_is_wrong_is_rejected_without_output(self):
        token = self.text("nested", "encode", "--key", self.key("P-256.jwk"), "--to", self.key("public.jwks#RSA-2048"),
                          "--iss", "i", "--expires-in", "1m")
        plain = self.encrypt("public.jwks#RSA-2048", stdin="no token")
        signed = self.text("sign", "--key", self.key("P-256.jwk"), "--iss", "i")
        unsigned = self.encrypt("public.jwks#RSA-2048", stdin="eyJhbGciOiJub25lIn0.e30.")
        for arguments, stdin, code, error, hint in (
                (("--iss", "j"), token, 8, 'The token is from another issuer: "iss" was "i", wanted "j".', None),
                (("--jws-alg", "PS256"), token, 7, "The token is signed with ES256; allowed: PS256.", None),
                (("--jwe-alg", "RSA-OAEP"), token, 6, "The token is encrypted with RSA-OAEP-256; allowed: RSA-OAEP.",
                 None),
                (("--jwe-enc", "A128GCM"), token, 6, "The token is encrypted with A256GCM; allowed: A128GCM.", None),
                ((), unsigned, 7, 'The token is not signed: its algorithm is "none".', None),
                ((), plain, 5, "The token is decrypted, but there is no signed token inside.",
                 "`torvane decrypt` shows what is inside."),
                *(((), self.encrypt("public.jwks#RSA-2048", stdin=spaced), 5,
                   "The token is decrypted, but there is no signed token inside.",
                   "There is a token between white space: the sender must encrypt it without a line break.")
                  for spaced in (signed + "\n", signed + "\r\n", " " + signed))):
            with self.subTest(arguments=arguments, error=error):
                for more in ((), ("--json",), ("-o", "out")):
                    self.reject(code, error, "nested", "decode", "--key", self.key("private.jwks"), "--from",
                                self.key("public.jwks"), *arguments, *more, stdin=stdin, hint=hint)
                self.assertEqual(os.listdir(self.folder), [])
        self.reject(7, "The signature does not verify with {}.".format(self.key("two.jwks#old")), "nested", "decode",
                    "--key", self.key("private.jwks"), "--from", self.key("two.jwks#old"),
                    stdin=self.forged(), hint=names("P-256"))
        shown = json.loads(self.text("nested", "decode", "--key", self.key("private.jwks"), "--from",
                                     self.key("public.jwks"), "--json", "--iss", "i", stdin=token))
        self.assertEqual((shown["claims"]["iss"], shown["header"]["kid"], shown["jweHeader"]["kid"],
                          shown["key"]["kid"], shown["verified"], shown["claimsChecked"]),
                         ("i", "P-256", "RSA-2048", "P-256", True, True))
        self.path("token", token)
        terminal = Terminal("nested", "decode", "--key", self.key("private.jwks"), "--from", self.key("public.jwks"),
                            "token", folder=self.folder)
        self.assertIn("The claims were not checked;", terminal.finish()[1])

    def forged(self):
        """Encrypted to us, but the signature is of another message."""
        head, _, signature = self.text("sign", "--key", self.key("P-256.jwk"), stdin="x").strip().split(".")
        return self.encrypt("public.jwks#RSA-2048", stdin=f"{head}.eQ.{signature}")


@unittest.skipUnless(os.environ.get("SOFTHSM2_MODULE"), "built without PKCS #11")
class Pkcs11Tokens(Pkcs11KeysTest):
    def test_every_algorithm_that_the_pkcs11_token_supports_decrypts(self):
        pin = ("--secret-file", self.key("pin.txt"))
        for kind, algorithms in KINDS.items():
            for algorithm in algorithms if kind != "RSA-2048" else ("RSA-OAEP",):  # all that SoftHSM has
                token = self.succeed("encrypt", "--key", self.uri(kind), "--alg", algorithm, stdin=BINARY[:1000],
                                     env=self.environment)
                self.assertEqual(self.succeed("decrypt", "--key", self.uri(kind), *pin, stdin=token,
                                              env=self.environment), BINARY[:1000], algorithm)
        token = self.succeed("nested", "encode", "--key", self.uri("P-384"), "--to", self.uri("P-256"), *pin,
                             stdin="by a device", env=self.environment)
        self.assertEqual(self.text("nested", "decode", "--key", self.uri("P-256"), "--from", self.uri("P-384"), *pin,
                                   stdin=token, env=self.environment), "by a device")


if __name__ == "__main__":
    unittest.main()
