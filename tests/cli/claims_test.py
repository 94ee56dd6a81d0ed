"""Claims: `sign` writes them, `verify` accepts and rejects them."""
import datetime
import json
import os
import time
import unittest

from running import Terminal
from token_keys import TokenTest


def utc(seconds):
    return datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc).strftime("%Y-%m-%d %H:%M:%S UTC")


class Claims(TokenTest):
    def test_claims_come_from_options_and_json(self):
        before = int(time.time())
        token = self.sign("P-256.pem", "--iss", "i", "--aud", "a", "--sub", "s", "--expires-in", "10m", "--not-before",
                          "-1m", "--jti=id", "--typ", "at+jwt", "--header", "x=1", "--kid", "k")
        claims = self.payload(token)
        issued = claims["iat"]
        self.assertTrue(before <= issued <= time.time())
        self.assertEqual(claims, {"iss": "i", "aud": "a", "sub": "s", "exp": issued + 600, "nbf": issued - 60,
                                  "jti": "id", "iat": issued})
        self.assertEqual(self.header(token), {"alg": "ES256", "kid": "k", "typ": "at+jwt", "x": "1"})
        self.path("claims", '{"iss": "j", "iat": 5, "a": [1.5, null]}\n')
        token = self.sign("P-256.pem", "--claims", "@" + self.path("claims"), "--iss", "i", "--aud", "a", "--aud", "b")
        self.assertEqual(self.payload(token), {"iss": "i", "iat": 5, "a": [1.5, None], "aud": ["a", "b"]})
        for text in (("--claims", "{}"), ("--claims", "@-")):
            self.assertEqual(set(self.payload(self.sign("P-256.pem", *text, stdin="{}"))), {"iat"})
        ids = {self.payload(self.sign("P-256.pem", "--jti"))["jti"] for _ in range(20)}
        self.assertEqual(len(ids), 20)
        for each in ids:
            self.assertRegex(each, r"\A[A-Za-z0-9_-]{22}\Z")
        for text, seconds in (("2026-12-01", 1796083200), ("2026-12-01T10:00:00Z", 1796119200),
                              ("2026-12-01T10:00Z", 1796119200), ("2026-12-01T10:00:00.999Z", 1796119200),
                              ("1800000000", 1800000000),
                              ("2026-12-01T10:00:00+02:00", 1796112000), ("2028-02-29", 1835395200)):
            self.assertEqual(self.payload(self.sign("P-256.pem", "--expires-in", text))["exp"], seconds)
        for text, seconds in (("30s", 30), ("-2h", -7200), ("2d", 172800)):
            claims = self.payload(self.sign("P-256.pem", "--not-before", text))
            self.assertEqual(claims["nbf"] - claims["iat"], seconds)

    def test_claims_are_accepted(self):
        token = self.sign("P-256.pem", "--iss", "i", "--aud", "a", "--aud", "b", "--sub", "s", "--expires-in", "10m",
                          "--typ", "application/at+jwt")
        for policy in (("--iss", "i"), ("--iss", "h", "--iss", "i"), ("--aud", "b"), ("--sub", "s"),
                       ("--typ", "AT+JWT"), ("--require", "sub", "--require", "iat"), ("--leeway", "30s"),
                       ("--max-age", "1m"), ("--allow-no-expiry",), ("--no-policy",), ()):
            self.assertEqual(json.loads(self.text("verify", "--key", self.key("P-256.pem"), *policy, stdin=token)),
                             self.payload(token), policy)
        expired = self.sign("P-256.pem", "--expires-in", "-20s")
        self.succeed("verify", "--key", self.key("P-256.pem"), "--leeway", "10m", stdin=expired)
        self.succeed("verify", "--key", self.key("P-256.pem"), "--iss", "i", "--allow-no-expiry",
                     stdin=self.sign("P-256.pem", "--iss", "i"))

    def test_rejected_claims_exit_with_8_and_say_what_was_there_and_what_was_wanted(self):
        day = 86400
        old = int(time.time()) - 3 * day - 60
        ahead = int(time.time()) + 3 * day + 60
        good = {"iss": "i", "aud": ["a", "b"], "sub": "s", "exp": ahead, "iat": old}
        for policy, changes, error in (
                (("--iss", "i"), {"exp": old}, f'The token has expired: "exp" was {utc(old)} (3 days ago).'),
                (("--iss", "i"), {"exp": None},
                 'A claim is malformed: "exp" was null, wanted a number of seconds since 1970.'),
                (("--leeway", "1s"), {"nbf": ahead}, f'The token is not valid yet: "nbf" is {utc(ahead)} (in 3 days).'),
                (("--iss", "j"), {}, 'The token is from another issuer: "iss" was "i", wanted "j".'),
                (("--iss", "j", "--iss", "k"), {},
                 'The token is from another issuer: "iss" was "i", wanted one of "j", "k".'),
                (("--iss", "j"), {"iss": "x" * 200},
                 f'The token is from another issuer: "iss" was "{"x" * 100}...", wanted "j".'),
                (("--aud", "c"), {}, 'The token is for another audience: "aud" was ["a","b"], wanted "c".'),
                (("--aud", "c"), {"aud": "a"}, 'The token is for another audience: "aud" was "a", wanted "c".'),
                (("--sub", "t"), {}, 'The token is about another subject: "sub" was "s", wanted "t".'),
                (("--sub", "t"), {"sub": 5}, 'A claim is malformed: "sub" was 5, wanted a string.'),
                (("--require", "jti"), {}, 'The token lacks a claim: "jti" is missing.'),
                (("--require", "jti"), {"jti": None}, 'The token lacks a claim: "jti" was null.'),
                (("--max-age", "2d"), {},
                 f'The token is too old: "iat" was {utc(old)} (3 days ago), wanted at most 2d ago.'),
                (("--typ", "at+jwt"), {}, 'The token is of another type: "typ" was "JWT", wanted "at+jwt".')):
            claims = json.dumps({**good, **changes})
            token = self.sign("P-256.pem", "--claims", claims, "--typ", "JWT")
            with self.subTest(policy=policy, changes=changes):
                for more in ((), ("--json",), ("-o", "out")):
                    self.reject(8, error, "verify", "--key", self.key("P-256.pem"), *policy, *more, stdin=token)
                self.assertEqual(os.listdir(self.folder), [])
        for policy, missing, error in ((("--iss", "i"), "exp", '"exp" is missing.'),
                                       (("--iss", "i"), "iss", '"iss" is missing, wanted "i".'),
                                       (("--aud", "a"), "aud", '"aud" is missing, wanted "a".'),
                                       (("--sub", "s"), "sub", '"sub" is missing, wanted "s".')):
            token = self.sign("P-256.pem", "--claims",
                              json.dumps({name: value for name, value in good.items() if name != missing}))
            self.reject(8, "The token lacks a claim: " + error, "verify", "--key", self.key("P-256.pem"), *policy,
                        stdin=token,
                        hint="--allow-no-expiry accepts claims without it." if missing == "exp" else None)
        self.reject(8, 'The token is of another type: "typ" is missing, wanted "x".', "verify", "--key",
                    self.key("P-256.pem"), "--typ", "x", stdin=token)
        self.reject(8, "The payload is not a JSON object, so it has no claims to check.", "verify", "--key",
                    self.key("P-256.pem"), "--iss", "i", stdin=self.sign("P-256.pem", stdin="[]"))

    def test_the_terminal_shows_that_claims_were_not_checked(self):
        token = self.path("token", self.sign("P-256.pem", "--iss", "i", "--expires-in", "1m"))
        note = "torvane: The claims were not checked; --iss, --aud, --sub, --require, --max-age and --typ check " \
               "them, --no-policy silences this.\n"
        text = self.path("text", self.sign("P-256.pem", stdin="not claims"))
        for file, policy, expected in ((token, (), note), (token, ("--no-policy",), ""), (token, ("--iss", "i"), ""),
                                       (text, (), "")):
            shown = Terminal("verify", "--key", self.key("P-256.pem"), *policy, file, folder=self.folder).finish()
            self.assertEqual(shown[0], 0)
            self.assertTrue(shown[1].endswith(("}\n" if file == token else "claims\n") + expected), shown)
        self.succeed("jwks", "make", "sig:s=" + self.key("RSA-2048.pem"), "enc:e=" + self.key("RSA-2048.pem"), "-o",
                     "set")
        self.path("nested", self.succeed("encode", "--own", "sig:s=" + self.key("RSA-2048.pem"), "--peer", "set",
                                         "--encrypt-to", "e", stdin='{"iss": "i"}'))
        for more, note in (((), "torvane: The claims were not checked; `torvane nested decode --iss ...` checks them, "
                                "--no-policy silences this.\n"), (("--no-policy",), "")):
            shown = Terminal("decode", "--own", "enc:e=" + self.key("RSA-2048.pem"), "--peer", "set", "nested", *more,
                             folder=self.folder).finish()
            self.assertEqual(shown, (0, '{"iss": "i"}\n' + note))


if __name__ == "__main__":
    unittest.main()
