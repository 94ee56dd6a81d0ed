"""`inspect`: what a policy says of the claims, and which of the given keys opened each layer."""
import json
import os
import time
import unittest

from jwcrypto.jwe import JWE

from token_keys import KEY_OPS, KINDS, Pkcs11KeysTest, TokenTest

UNVERIFIED = "Nothing was verified: anybody may have written this.\n"
# The description of each kind of key, and the key management algorithms for it.
SHOWN = {"RSA-2048": "RSA 2048"}
WRAPPING = {"RSA-2048": ("RSA-OAEP", "RSA-OAEP-256", "RSA-OAEP-384", "RSA-OAEP-512"),
            **{kind: ("ECDH-ES", "ECDH-ES+A128KW", "ECDH-ES+A192KW", "ECDH-ES+A256KW")
               for kind in ("P-256", "P-384", "P-521")}}


class InspectPolicy(TokenTest):
    def signed(self, claims, *more):
        claims = {"iss": "i", "aud": ["a", "b"], "sub": "s", "exp": int(time.time()) + 3600, "iat": 1300819380,
                  **claims}
        claims = {name: value for name, value in claims.items() if value != "missing"}
        return self.sign("P-256.pem", "--kid", "P-256", "--claims", json.dumps(claims), "--typ", "JWT", *more)

    def inspect(self, token, *more, code=0):
        """The report, the JSON object of the only layer, and the error."""
        shown, document = self.run_command("inspect", *more, stdin=token), self.run_command("inspect", "--json", *more,
                                                                                            stdin=token)
        self.assertEqual((shown.returncode, document.returncode), (code, code), shown.stderr)
        self.assertEqual(shown.stderr, document.stderr)
        document = json.loads(document.stdout)
        error = document.get("error")
        self.assertEqual(error and f"torvane: {error}\n", shown.stderr.decode().split("hint: ")[0] or None)
        return shown.stdout.decode(), document, error

    def peer(self):
        return ("--peer", self.key("public.jwks"))

    @staticmethod
    def policy_lines(report):
        return [line for line in report.splitlines() if "policy: " in line]

    def test_a_policy_accepts_only_what_verify_accepts(self):
        now = int(time.time())
        for changes, policy, case, claim in (
                ({}, ("--iss", "j"), "wrongIssuer", "iss"), ({}, ("--aud", "c"), "wrongAudience", "aud"),
                ({}, ("--sub", "t"), "wrongSubject", "sub"), ({}, ("--require", "jti"), "missingClaim", "jti"),
                ({}, ("--typ", "at+jwt"), "wrongType", "typ"), ({}, ("--max-age", "1d"), "tooOld", "iat"),
                ({"iat": now + 900}, ("--max-age", "1d"), "notYetValid", "iat"),
                ({"exp": 1300819380}, ("--iss", "i"), "expired", "exp"),
                ({"nbf": now + 900}, ("--iss", "i"), "notYetValid", "nbf"),
                ({"exp": "missing"}, ("--iss", "i"), "missingClaim", "exp"),
                ({"exp": "soon"}, ("--iss", "i"), "malformed", "exp"),
                ({"iss": 5}, ("--leeway", "0s"), "malformed", "iss"),
                ({"iss": "\u001b[2J"}, ("--iss", "i"), "wrongIssuer", "iss")):
            token = self.signed(changes)
            with self.subTest(changes=changes, policy=policy):
                wanted = self.run_command("verify", "--key", self.key("public.jwks"), *policy, stdin=token)
                self.assertEqual(wanted.returncode, 8)
                for keys, verified in (((), False), (self.peer(), True)):
                    report, document, error = self.inspect(token, *keys, *policy, code=8)
                    self.assertEqual(f"torvane: {error}\n", wanted.stderr.decode().split("hint: ")[0])
                    self.assertEqual(self.policy_lines(report), ["policy: rejects the claims. " + error])
                    self.assertEqual((document["verified"], document["layers"][0]["policy"]), (verified, {
                        "given": True, "accepted": False, "signatureVerified": verified, "case": case, "claim": claim,
                        "error": error}))
                    self.assertEqual(report.endswith("\n" + UNVERIFIED), not verified)
        for changes, policy, checked in (
                ({}, ("--iss", "j", "--iss", "i"), ["iss", "exp"]), ({}, ("--aud", "b"), ["aud", "exp"]),
                ({}, ("--sub", "s", "--typ", "application/jwt"), ["typ", "sub", "exp"]),
                ({"nbf": now + 60}, ("--leeway", "2m"), ["exp", "nbf"]),
                ({"exp": now - 60}, ("--leeway", "2m"), ["exp"]), ({}, ("--max-age", "36500d"), ["exp", "iat"]),
                ({}, ("--require", "sub", "--require", "iss", "--require", "sub"), ["exp", "sub", "iss"]),
                ({"exp": "missing"}, ("--allow-no-expiry", "--aud", "a"), ["aud"]),
                ({"exp": "missing"}, ("--allow-no-expiry",), [])):
            token = self.signed(changes)
            with self.subTest(changes=changes, policy=policy):
                self.succeed("verify", "--key", self.key("public.jwks"), *policy, stdin=token)
                said = "checked: " + ", ".join(checked) if checked else "nothing to check"
                for keys, verified, line in (
                        ((), False, "policy: would accept the claims if the signature verified; " + said),
                        (self.peer(), True, "policy: accepts the claims; " + said)):
                    report, document, error = self.inspect(token, *keys, *policy)
                    self.assertEqual((self.policy_lines(report), error), ([line], None))
                    self.assertEqual((document["verified"], document["layers"][0]["policy"]), (verified, {
                        "given": True, "accepted": True, "signatureVerified": verified, "checked": checked}))

    def test_the_default_policy_informs_but_never_fails_the_command(self):
        now = int(time.time())
        for changes, line, unverified in (
                ({}, "would accept the claims; checked: exp",
                 "would accept the claims if the signature verified; checked: exp"),
                ({"nbf": now - 9}, "would accept the claims; checked: exp, nbf",
                 "would accept the claims if the signature verified; checked: exp, nbf"),
                ({"exp": "missing"}, 'would reject the claims. The token lacks a claim: "exp" is missing.', None),
                ({"iss": 5}, 'would reject the claims. A claim is malformed: "iss" was 5, wanted a string.', None),
                ({"exp": 1e300}, 'would reject the claims. A claim is malformed: "exp" was 1e+300, wanted a number of '
                                 'seconds since 1970.', None)):
            token = self.signed(changes)
            for keys, expected in ((self.peer(), line), ((), unverified or line)):
                report, document, error = self.inspect(token, *keys)
                self.assertEqual((self.policy_lines(report), error), (["default policy: " + expected], None))
                self.assertEqual((document["layers"][0]["policy"]["given"], document["verified"]), (False, bool(keys)))
        token = self.signed({"exp": 1300819380, "nbf": now + 7270})
        report = self.inspect(token)[0]
        # The policy line replaces the warning about the same claim, but none of the others, and none in JSON.
        self.assertRegex(self.policy_lines(report)[0], r"\Adefault policy: would reject the claims\. The token has "
                                                       r'expired: "exp" was 2011-03-22 18:43:00 UTC \(\d+ years ago'
                                                       r"\)\.\Z")
        self.assertEqual([line[:35] for line in report.splitlines() if line.startswith("warning: ")],
                         ["warning: The token is not valid yet"])
        self.assertEqual([warning.split(":")[0] for warning in self.inspect(token)[1]["layers"][0]["warnings"]],
                         ["The token has expired", "The token is not valid yet"])

    def test_claims_that_nobody_signed_are_never_said_to_be_accepted(self):
        claims = json.dumps({"exp": int(time.time()) + 60})
        public, own = self.key("P-256.public.jwk"), ("--own", self.key("P-256.pem"))
        encrypted = self.text("encrypt", "--key", public, stdin=claims)
        none = self.signed({}).split(".")
        none[0] = "eyJhbGciOiJub25lIiwia2lkIjoiayJ9"
        none = ".".join(none[:2]) + "."
        self.succeed("key", "new", "P-256", "other.pem")
        forged = self.sign(self.path("other.pem"), "--kid", "P-256", "--claims", claims)
        inner = self.sign("P-256.pem", "--kid", "P-256", "--header", "x=1", stdin=forged)
        for token, options, code, line in (
                (encrypted, own, 0, "would accept the claims, but they are not signed; checked: exp"),
                (encrypted, (*own, *self.peer()), 7, "would accept the claims, but they are not signed; checked: exp"),
                (none, (), 0, "would accept the claims, but they are not signed; checked: exp"),
                (none, self.peer(), 7, "would accept the claims, but they are not signed; checked: exp"),
                (forged, self.peer(), 7, "would accept the claims if the signature verified; checked: exp"),
                (inner, self.peer(), 7, "would accept the claims if the signature verified; checked: exp")):
            for policy, name in (((), "default policy: "), (("--require", "exp"), "policy: ")):
                with self.subTest(token=token, options=options, policy=policy):
                    report, document, _ = self.inspect(token, *options, *policy, code=code)
                    self.assertEqual(self.policy_lines(report), [name + line])
                    self.assertEqual((document["verified"], document["layers"][-1]["policy"]["signatureVerified"]),
                                     (False, False))
        # A failure to verify goes before the policy.
        self.inspect(forged, *self.peer(), "--iss", "x", code=7)

    def test_a_policy_for_a_token_without_claims_fails(self):
        private = self.key("P-256.pem")
        jws, jwe = self.sign("P-256.pem", stdin="text"), self.text("encrypt", "--key", self.key("P-256.public.jwk"),
                                                                   "--kid", "k", stdin="[1]")
        twice = "The claims cannot be read. The text is not JSON: a member is given twice."
        none = "The payload is not a JSON object, so it has no claims to check."
        for token, options, code, error, hint in (
                (jws, (), 8, none, None), (self.sign("P-256.pem", stdin='{"a":1,"a":2}'), (), 8, twice, None),
                (self.sign("P-256.pem", stdin="[]"), (), 8, none, None), (jwe, ("--own", private), 8, none, None),
                (jwe, (), 4, "The token is not decrypted, so its claims cannot be checked.",
                 "Give your private key: --own enc:k=URI.")):
            report = self.reject(code, error, "inspect", *options, "--iss", "i", stdin=token, prints=None, hint=hint)
            self.assertEqual(self.policy_lines(report), [])
            self.assertEqual(self.policy_lines(self.text("inspect", *options, stdin=token)), [])
        for policy, error in ((("--leeway", "x"), '--leeway "x": write a duration such as 30s, 10m, 1h30m, 2d or 1w.'),
                              (("--max-age=-1s",), "--max-age must not be negative.")):
            self.reject(2, error, "inspect", *policy, stdin=jws)
        self.reject(2, 'Unknown option "--no-policy".', "inspect", "--no-policy", stdin=jws,
                    hint="See torvane inspect --help.")


class InspectKeys(TokenTest):
    def test_each_signature_algorithm_names_the_kind_of_the_key(self):
        for kind, algorithms in KINDS.items():
            shown = SHOWN.get(kind, kind)
            with open(self.key(kind + ".public.jwk"), encoding="utf-8") as file:
                named = json.load(file)
            bare = self.path("bare", json.dumps({name: value for name, value in named.items() if name != "kid"}))
            thumbprint = self.jwk(kind).thumbprint()
            for algorithm in algorithms:
                token = self.sign(kind + ".pem", "--kid", kind, "--alg", algorithm, stdin="x")
                for peer, key, after in (("public.jwks", kind, ""), (bare, None, ", thumbprint " + thumbprint)):
                    with self.subTest(algorithm=algorithm, peer=peer):
                        report = self.text("inspect", "--peer", self.key(peer), stdin=token)
                        lines = report.split("\n\n")[0].splitlines()
                        said = "verified with the peer's key " + (f'"{key}" ' if key else "")
                        said += f"({shown}, {algorithm}{after})"
                        self.assertEqual(" ".join(lines).partition("characters, ")[2], said)
                        self.assertLessEqual(max(map(len, lines)), 80)
                        key = key or thumbprint
                        layer, = json.loads(self.text("inspect", "--json", "--peer", self.key(peer), stdin=token))[
                            "layers"]
                        self.assertEqual((layer["key"], layer["keyKind"], layer["thumbprint"], layer["state"]),
                                         (key, shown, thumbprint, f"verified with the peer's key \"{key}\""))

    def test_each_encryption_algorithm_is_opened_with_the_key_from_a_file(self):
        for kind, algorithms in WRAPPING.items():
            for number, algorithm in enumerate(algorithms):
                content = ("A128CBC-HS256", "A192CBC-HS384", "A256CBC-HS512", "A128GCM", "A192GCM", "A256GCM")[
                    (number + len(kind)) % 6]
                token = self.text("encrypt", "--key", self.key(kind + ".public.jwk"), "--alg", algorithm, "--enc",
                                  content, stdin=b"\xffbinary")
                report = self.text("inspect", "--own", self.key("private.jwks"), stdin=token)
                self.assertEqual(report.split("\n\n")[0].partition("characters, ")[2].replace("\n", " "),
                                 f'decrypted with your key "{kind}" ({SHOWN.get(kind, kind)}, {algorithm})')
                self.assertTrue(report.endswith("}\npayload of 7 bytes, not text\n\n" + UNVERIFIED), report)
                layer, = json.loads(self.text("inspect", "--json", "--own", self.key(kind + ".jwk"), stdin=token))[
                    "layers"]
                self.assertEqual((layer["payloadBase64url"], layer["key"]), ("_2JpbmFyeQ", kind))

    def test_own_takes_keys_from_every_format(self):
        token = {kind: self.text("encrypt", "--key", self.key(kind + ".public.pem"), "--kid", "elsewhere", stdin="x")
                 for kind in WRAPPING}
        secret = ("--secret-file", self.key("passphrase"))
        for kind in WRAPPING:
            thumbprint = self.jwk(kind).thumbprint()
            for own, more, key in ((kind + ".pem", (), None), (kind + ".der", (), None), (kind + ".p12", secret, None),
                                   (kind + ".jwk", (), kind), (f"private.jwks#{kind}", (), kind),
                                   ("private.jwks", (), kind), ("enc:k=" + self.key(kind + ".pem"), (), "k"),
                                   ("enc=" + self.key(kind + ".pem"), (), thumbprint)):
                with self.subTest(own=own):
                    arguments = ("--own", own if "=" in own else self.key(own), *more)
                    shown = self.text("inspect", *arguments, stdin=token[kind])
                    self.assertEqual('your key "' in shown, key is not None)
                    self.assertEqual(f", thumbprint {thumbprint})\n" in shown, key is None)
                    # A key with another id than the token names opens it only here.
                    ids = ", ".join(f'"{each}"' for each in (KINDS if own == "private.jwks" else (key,)))
                    warnings = ([f'`torvane decrypt` rejects the token. The token is for "elsewhere"; you gave {ids}.']
                                if key and "#" not in own else [])
                    warned = "".join(f"warning: {warning}\n" for warning in warnings)
                    self.assertTrue(shown.endswith("}\npayload x\n" + warned + "\n" + UNVERIFIED), shown)
                    layer, = json.loads(self.text("inspect", "--json", *arguments, stdin=token[kind]))["layers"]
                    self.assertEqual((layer["key"], layer["thumbprint"], layer["warnings"]),
                                     (key or thumbprint, thumbprint, warnings))

    def test_a_file_is_told_from_a_use(self):
        token = self.text("encrypt", "--key", self.key("P-256.public.pem"), "--kid", "k", stdin="x")
        with open(self.key("P-256.pem"), "rb") as file:
            pem = file.read()
        os.mkdir(self.path("enc"))
        for name in ("enc/key.pem", "enc/a=b.pem", "a=b.pem", "enc:k=x.pem"):
            self.path(name, pem)
        for own in ("enc/key.pem", "enc/a=b.pem", "a=b.pem", "./enc:k=x.pem", "enc:k=enc/key.pem", "enc:k=a=b.pem"):
            self.assertIn(" characters, decrypted with your key", self.text("inspect", "--own", own, stdin=token))
        form = 'The key "{}" is not of the form USE[/ALG][:KID]=URI: the URI is missing.'
        which = "In USE[:KID]=URI, USE is sig, enc or sig_enc; any other text is the name of a file."
        missing = 'The file "{}" cannot be read: No such file or directory.'
        for own, code, error, hint in (
                ("enc:k", 2, form.format("enc:k"), None), ("enc=", 2, form.format("enc"), None),
                ("enc/ECDH-ES:k=enc/key.pem", 2, 'The key "enc/ECDH-ES:k" must not name an algorithm.', None),
                ("enc:k=x.pem", 4, missing.format("x.pem"), None), ("none.pem", 4, missing.format("none.pem"), None),
                ("eng:k=enc/key.pem", 4, missing.format("eng:k=enc/key.pem"), which),
                (self.key("P-256.public.pem"), 4, self.key("P-256.public.pem") + " is a public key; decrypting needs a "
                                                                                 "private one.", None),
                (self.key("public.jwks"), 4, self.key("public.jwks") + " holds public keys only; decrypting needs a "
                                                                       "private one.", None),
                (self.key("private.jwks") + "#none", 4,
                 f'No key "none" in "{self.key("private.jwks")}"; it has RSA-2048, P-256, P-384, P-521, secp256k1.',
                 None)):
            with self.subTest(own=own):
                self.reject(code, error, "inspect", "--own", own, stdin=token, hint=hint)

    def test_a_file_that_does_not_open_the_token_is_not_said_to_be_another_id(self):
        token = self.text("encrypt", "--key", self.key("P-256.public.pem"), "--kid", "k", "--alg", "ECDH-ES+A256KW",
                          stdin="x")
        give = "Give your private key: --own enc:k=URI."
        other = "The token may be encrypted for another key."
        epk = 'The token is rejected. The header\'s "epk" is not a public key on the recipient\'s curve.'
        need = "ECDH-ES+A256KW needs one on P-256, P-384 or P-521."
        for own, code, error, hint in (
                (("P-384.jwk",), 4, 'The token is for "k"; you gave "P-384".', give),
                (("P-384.jwk", "P-521.jwk"), 4, 'The token is for "k"; you gave "P-384", "P-521".', give),
                (("private.jwks#P-384", "P-521.jwk"), 5, epk, other),
                (("secp256k1.pem",), 4, f'{self.key("secp256k1.pem")} is on secp256k1; {need}', give),
                (("P-384.pem",), 5, epk, other),
                (("RSA-2048.pem",), 4, f'{self.key("RSA-2048.pem")} is an RSA key; {need}', give),
                # A key of the right kind is the one to talk about.
                (("P-384.pem", "RSA-2048.pem"), 5, epk, other)):
            with self.subTest(own=own):
                arguments = [word for each in own for word in ("--own", self.key(each))]
                done = self.run_command("inspect", "--json", *arguments, stdin=token)
                document = json.loads(done.stdout)
                self.assertEqual((done.returncode, document.get("hint"), document["layers"][0]["state"]),
                                 (code, hint, "not decrypted"), done.stderr)
                self.assertEqual(document["error"], error)

    def test_inspect_verifies_with_the_keys_that_verify_takes(self):
        with open(self.key("RSA-2048.public.jwk"), encoding="utf-8") as file:
            public = json.load(file)
        token = self.sign("RSA-2048.pem", "--kid", "RSA-2048", "--alg", "RS256", stdin="x")
        for members, why in (({"alg": "PS256"}, 'is for PS256 only, by its "alg", not for RS256'),
                             ({"alg": "RS256"}, None), ({"key_ops": ["encrypt"]}, 'lacks "verify" in its "key_ops"'),
                             ({"key_ops": ["verify"]}, None)):
            peer = self.path("peer", json.dumps({**public, **members}))
            verified = self.run_command("verify", "--key", peer, stdin=token)
            inspected = self.run_command("inspect", "--peer", peer, stdin=token)
            hint = f"hint: {KEY_OPS}\n" if "key_ops" in members else ""
            self.assertEqual((verified.returncode, verified.stderr.decode()),
                             (4, f"torvane: {peer} {why}.\n{hint}") if why else (0, ""))
            self.assertEqual((inspected.returncode, inspected.stderr.decode()),
                             (4, f"torvane: {peer}#RSA-2048 {why}.\nhint: The signature is by {peer}#RSA-2048.\n")
                             if why else (0, ""))

    def test_a_signature_by_another_key_of_the_set_than_the_token_names_is_explained(self):
        peer = self.key("public.jwks")
        for kid, code, error in (("zz", 4,
                                  f'No key "zz" in "{peer}"; it has RSA-2048, P-256, P-384, P-521, secp256k1.'),
                                 ("P-521", 4, f"{peer}#P-521 is on P-521; ES256 needs one on P-256.")):
            token = self.sign("P-256.pem", "--kid", kid, stdin="x")
            self.reject(code, error, "inspect", "--peer", peer, stdin=token, prints=None,
                        hint=f"The signature is by {peer}#P-256.")
            self.assertEqual(self.run_command("verify", "--key", peer, stdin=token).returncode, code)

    def test_a_key_of_the_peer_that_cannot_be_read_is_not_said_to_be_missing(self):
        token = self.sign("P-256.pem", "--kid", "mac", stdin="x")
        done = self.run_command("inspect", "--peer", self.key("odd.jwks"), stdin=token)
        error, hint = done.stderr.decode().splitlines()
        self.assertEqual((done.returncode, hint),
                         (4, "hint: `torvane jwks check` explains what is wrong with each key."))
        self.assertTrue(error.startswith(f'torvane: The key "mac" in "{self.key("odd.jwks")}" cannot be used: '), error)
        # The others stay usable.
        token = self.sign("RSA-2048.pem", "--kid", "ps", stdin="x")
        self.assertIn(' key "ps" (RSA 2048, PS256)\n',
                      self.text("inspect", "--peer", self.key("odd.jwks"), stdin=token))

    def test_layers_of_both_kinds_are_opened_in_any_order(self):
        own, peer = ("--own", self.key("private.jwks")), ("--peer", self.key("public.jwks"))
        claims = json.dumps({"exp": int(time.time()) + 600, "iss": "i"})
        signed = self.sign("P-521.pem", "--kid", "P-521", "--claims", claims)
        encrypted = self.text("encrypt", "--key", self.key("P-384.public.jwk"), stdin=signed).strip() + "\n"
        three = self.sign("secp256k1.pem", "--kid", "secp256k1", stdin=encrypted)
        four = self.text("encrypt", "--key", self.key("RSA-2048.public.jwk"), stdin=three.strip()).strip()
        report = self.text("inspect", *own, *peer, "--iss", "i", stdin=four)
        self.assertEqual(
            [block.splitlines() for block in report.split("\n\n") if "characters, " in block],
            [[f"JWE, {len(four)} characters, decrypted with your key \"RSA-2048\"", "(RSA 2048, RSA-OAEP-256)"],
             [f"inside it, a JWS, {len(three)} characters, verified with the peer's key \"secp256k1\"",
              "(secp256k1, ES256K)"],
             [f"inside it, a JWE, {len(encrypted.strip())} characters, decrypted with your key \"P-384\"",
              "(P-384, ECDH-ES+A256KW)"],
             [f"inside it, a JWS, {len(signed)} characters, verified with the peer's key \"P-521\"",
              "(P-521, ES512)"]])
        self.assertTrue(report.endswith("}\npolicy: accepts the claims; checked: iss, exp\n"), report)
        # The line break after the encrypted token was signed, too.
        space = "White space is around the token inside: receivers may reject it."
        self.assertEqual(report.count("warning: "), 1)
        self.assertIn("\nwarning: " + space + "\n\ninside it, a JWE", report)
        self.assertEqual([layer["warnings"] for layer in json.loads(self.text(
            "inspect", "--json", *own, *peer, stdin=four))["layers"]], [[], [space], [], []])

    def test_a_plaintext_that_is_no_token_is_shown_as_it_is(self):
        for plaintext, line, members in (
                (b"", "payload is empty", {"payload": ""}),
                (b"a\nb\x1b", "payload a\\nb\\u001b", {"payload": "a\nb\x1b"}),
                (b"\xff\x00", "payload of 2 bytes, not text", {"payloadBase64url": "_wA"}),
                (b"[1,2]", "payload [1,2]", {"payload": "[1,2]"}), (b"eyes.on.it!", None, None),
                (b'"eyJ.x.y"', 'payload "eyJ.x.y"', {"payload": '"eyJ.x.y"'})):
            jwe = JWE(plaintext, json.dumps({"alg": "ECDH-ES", "enc": "A128GCM", "kid": "P-256"}))
            jwe.add_recipient(self.jwk("P-256"))
            token = jwe.serialize(compact=True)
            arguments = ("--own", self.key("P-256.jwk"))
            with self.subTest(plaintext=plaintext):
                if line is None:  # it looks like a token, and is shown as one
                    report = self.reject(5, "The token is malformed.", "inspect", *arguments, stdin=token, prints=None)
                    self.assertIn("\ninside it, a JWS, 11 characters, not verified\n", report)
                    continue
                report = self.text("inspect", *arguments, stdin=token)
                self.assertTrue(report.endswith("}\n" + line + "\n\n" + UNVERIFIED), report)
                layer, = json.loads(self.text("inspect", "--json", *arguments, stdin=token))["layers"]
                self.assertEqual({name: layer[name] for name in layer if name.startswith(("payload", "claims"))},
                                 members)


@unittest.skipUnless(os.environ.get("SOFTHSM2_MODULE"), "built without PKCS #11")
class InspectPkcs11(Pkcs11KeysTest):
    def test_a_uri_is_no_use_and_its_pin_is_not_shown(self):
        own = self.uri("P-256") + "&pin-value=1234"
        self.succeed("jwks", "make", "enc:e=" + own, "-o", "set", env=self.environment)
        token = self.text("encrypt", "--key", "set", stdin="x")
        for given, key in ((own, None), ("enc:k=" + own, "k")):
            document = json.loads(self.text("inspect", "--json", "--own", given, stdin=token, env=self.environment))
            layer, = document["layers"]
            self.assertEqual((layer["payload"], layer["key"]), ("x", key or layer["thumbprint"]))
        done = self.run_command("inspect", "--own", self.uri("none") + "&pin-value=1234", stdin=token,
                                env=self.environment)
        self.assertEqual((done.returncode, done.stdout), (4, b""))
        self.assertNotIn(b"1234", done.stderr)
        self.assertNotIn(b"hint: In USE", done.stderr)


if __name__ == "__main__":
    unittest.main()
