"""Mistakes that people make at first: the whole text of each error, and the hint that says what was meant."""
import json
import os
import subprocess
import unittest

from running import CommandTest, ENVIRONMENT, TORVANE
from token_keys import Pkcs11KeysTest

NEEDS_SECRET = "Without a terminal, --secret-file FILE gives the passphrase or PIN."
GIVE_TOKEN = "Give a token: a file, a pipe, or the token itself as the argument."


class Mistakes(CommandTest):
    @classmethod
    def setUpKeys(cls):
        cls.make("key", "new", "RSA-2048", "sign.pem")
        cls.make("key", "new", "P-256", "ec.pem")
        with open(os.path.join(cls.keys, "secret"), "w", encoding="ascii") as file:
            file.write("open sesame\n")
        cls.make("key", "new", "P-256", "locked.pem", "--secret-file", "secret")
        subprocess.run(["openssl", "genpkey", "-algorithm", "ed25519", "-out", "ed.pem"], cwd=cls.keys, check=True)
        cls.make("jwks", "make", "sig:s=sign.pem", "enc:e=sign.pem", "-o", "both.jwks")
        for number in "12":
            cls.make("sign", "--key", "sign.pem", "--kid", "s", "--sub", number, "-o", "token" + number)

    def setUp(self):
        super().setUp()
        for name in os.listdir(self.keys):
            os.symlink(self.key(name), self.path(name))
        with open(self.key("token1"), encoding="ascii") as file:
            self.token = file.read().strip()
        self.path("empty", "\n")
        self.path("client.json", '{"client_id": "app"}')

    def reject_rows(self, code, rows):
        for arguments, stdin, error, hint in rows:
            with self.subTest(arguments, stdin=stdin):
                self.reject(code, error, *arguments, stdin=stdin, hint=hint)

    def test_an_input_that_is_no_compact_token_is_recognised(self):
        with open(self.key("both.jwks"), encoding="utf-8") as file:
            keys = file.read()
        head, payload, signature = self.token.split(".")
        in_json = json.dumps({"payload": payload, "signatures": [{"protected": head, "signature": signature}]})
        encrypted = json.dumps({"protected": head, "ciphertext": "AA", "iv": "AA", "tag": "AA"})
        show_keys = "`torvane jwks list` shows it; --key takes keys, and the token is an argument."
        compact = "torvane reads compact tokens: parts with a dot between each two."
        verify, inspect = ("verify", "--key", "both.jwks"), ("inspect",)
        decode = ("decode", "--own", "enc:e=sign.pem", "--peer", "both.jwks")
        for command in (verify, inspect, decode, ("decrypt", "--key", "sign.pem")):
            self.reject_rows(5, (
                (command, "", "The input is empty, not a compact token.", GIVE_TOKEN),
                (command, " \r\n", "The input is empty, not a compact token.", GIVE_TOKEN),
                ((*command, "ec.pem"), "", "The input is a PEM file, not a compact token.",
                 "`torvane key show` shows it; --key takes keys, and the token is an argument."),
                (command, keys, "The input is a JWK Set, not a compact token.", show_keys),
                (command, json.dumps(json.loads(keys)["keys"][0]), "The input is a JWK, not a compact token.",
                 show_keys),
                (command, in_json, "The input is a token in JSON serialization, not a compact token.", compact),
                (command, encrypted, "The input is a token in JSON serialization, not a compact token.", compact),
                (command, json.dumps({"protected": "e30", "header": {"epk": {"kty": "EC"}}, "ciphertext": "x"}),
                 "The input is a token in JSON serialization, not a compact token.", compact),
                (command, json.dumps({"x; rm ~ #": self.token}), 'The input is JSON with a token in "x; rm ~ #".',
                 "Give the token alone."),
                (command, '{"a": 1}', "The input is other JSON, not a compact token.", GIVE_TOKEN),
                (command, json.dumps({"token_type": "Bearer", "access_token": self.token}),
                 'The input is JSON with a token in "access_token".',
                 "Give the token alone: jq -r .access_token FILE | torvane ..."),
                (command, f'"{self.token}"\n', "The token is in quotation marks.",
                 "Give the token alone: tr -d '\"' <FILE | torvane ...")))
        wrapped = "\n".join(self.token[at:at + 64] for at in range(0, len(self.token), 64))
        done = self.run_command(*verify, stdin=wrapped)
        lines = done.stderr.decode().splitlines()
        self.assertEqual((done.returncode, lines[1:]),
                         (5, ["hint: Join its lines: tr -d ' \\r\\n' <FILE | torvane ..."]))
        self.assertRegex(lines[0], r"\Atorvane: The token is malformed\. The (header|payload) is not base64url without "
                                   r"padding: it has a line break\.\Z")

    def test_a_file_that_is_no_key_is_recognised(self):
        swapped = "Are the arguments swapped? The token is the argument without an option."
        set_needed, key_needed = "; a JWK Set is needed here.", "; a PEM, DER or PKCS #12 file is needed here."
        self.reject_rows(4, (
            (("verify", "--key", "token1", "both.jwks"), "", "token1 is a token, not a key.", swapped),
            (("verify", "--key", "-", "both.jwks"), self.token, "standard input is a token, not a key.", swapped),
            (("verify", "--key", "empty"), self.token, "empty is empty.", None),
            (("sign", "--key", "/dev/null"), "x", "/dev/null is empty.", None),
            (("key", "show", "token1"), "", '"token1" is a token' + key_needed, "`torvane inspect` shows it."),
            (("key", "show", "empty"), "", '"empty" is empty' + key_needed, None),
            (("jwks", "list", "empty"), "", '"empty" is empty' + set_needed, None),
            (("inspect", "--peer", "empty"), self.token, '"empty" is empty' + set_needed, None)))
        kind = "Keys of this kind, such as Ed25519 or DSA, are not supported; torvane takes RSA keys and EC keys on " \
               "P-256, P-384, P-521 and secp256k1."
        self.reject_rows(4, ((("key", "show", "ed.pem"), "", kind, None),
                             (("sign", "--key", "ed.pem"), "x", "ed.pem cannot be used. " + kind, None)))

    def test_a_secret_that_nobody_can_be_asked_for_is_explained(self):
        for command, error in ((("key", "show", "locked.pem"), 'A passphrase is needed for "locked.pem".'),
                               (("sign", "--key", "locked.pem"), 'A passphrase is needed for "locked.pem".'),
                               (("jwks", "make", "sig=locked.pem"), 'A passphrase is needed for "locked.pem".'),
                               (("key", "new", "P-256", "--encrypt", "new.pem"),
                                'There is no terminal to ask for a new passphrase of "new.pem".')):
            done = subprocess.run([TORVANE, *command], capture_output=True, cwd=self.folder, env=ENVIRONMENT,
                                  stdin=subprocess.DEVNULL, start_new_session=True)
            self.assertEqual((done.returncode, done.stderr.decode()),
                             (4, f"torvane: {error}\nhint: {NEEDS_SECRET}\n"), command)

    def test_a_url_is_not_opened(self):
        url = "https://id.example/jwks"
        hint = f"Pipe it in, with - in its place: curl -s {url} | torvane ..."
        error = f'"{url}" is a URL, and torvane opens no URLs.'
        self.reject_rows(2, ((arguments, "", error, hint) for arguments in (
            ("verify", "--key", url, "token1"), ("verify", "--key", url + "#kid", "token1"),
            ("inspect", "--peer", url, "token1"), ("jwks", "list", url), ("jwks", "diff", "both.jwks", url),
            ("key", "show", url), ("key", "new", "P-256", url), ("jwks", "make", "sig=" + url))))

    def test_claims_in_the_wrong_place_are_recognised(self):
        sign = ("sign", "--key", "sign.pem")
        nested = ("nested", "encode", "--key", "sign.pem", "--to", "both.jwks#e")
        file = "--claims @client.json adds the claims of a file."
        self.reject_rows(2, (
            ((*sign, "--claims", "client.json"), "",
             "The text of --claims must be a JSON object. The text is not JSON: syntax error at byte 1.",
             "--claims @client.json reads the file."),
            ((*sign, "--claims", "[1]"), "", "The text of --claims must be a JSON object. It is another JSON value.",
             None),
            ((*sign, "client.json", "--sub", "a"), "",
             'The claims are the payload: "client.json" cannot be signed, too.', file),
            ((*nested, "client.json", "--sub", "a"), "",
             'The claims are the message: "client.json" cannot be sent, too.', file),
            ((*sign, "client.json", "--jti"), "", 'The claims are the payload: "client.json" cannot be signed, too.',
             file),
            ((*sign, "--jti", "abc"), "", 'The claims are the payload: "abc" cannot be signed, too.',
             "For an id of your own: --jti=abc")))

    def test_words_of_other_programs_are_understood(self):
        sign, verify = ("sign", "--key", "k"), ("verify", "--key", "k")
        for command, word, meant in (
                (sign, "--issuer", "--iss"), (sign, "--audience", "--aud"), (sign, "--subject", "--sub"),
                (sign, "--exp", "--expires-in"), (sign, "--expires", "--expires-in"), (sign, "--nbf", "--not-before"),
                (sign, "--not_before", "--not-before"), (sign, "--pin", "--secret-file"),
                (sign, "--passphrase", "--secret-file"), (sign, "--password", "--secret-file"),
                (verify, "--issuer", "--iss"), (("verify",), "--jwks", "--key"), (("verify",), "-k", "--key"),
                (("decode",), "--jwks", "--peer"), (("decode",), "--key", "--own"), (("inspect",), "--key", "--own"),
                (("verify",), "--peer", "--key"), (("encrypt",), "--to", "--key")):
            self.reject(2, f'Unknown option "{word}".', *command, word, "x",
                        hint=f'Did you mean "{meant}"? See torvane {command[0]} --help.')
        for words, meant, helping in ((("gen",), "key new", ""), (("generate",), "key new", ""),
                                      (("keygen", "x"), "key new", ""), (("version",), "--version", ""),
                                      (("jwks", "show", "x"), "list", " jwks"),
                                      (("jwks", "rm"), "remove", " jwks"), (("jwks", "compare"), "diff", " jwks"),
                                      (("key", "export"), "show", " key"), (("key", "generate"), "new", " key"),
                                      (("show", "x"), "key show", "")):
            word = words[1] if helping else words[0]
            self.reject(2, f'Unknown command "{word}".', *words,
                        hint=f'Did you mean "{meant}"? See torvane{helping} --help.')

    def test_words_before_the_command_are_recognised(self):
        self.reject_rows(2, (
            (("--key", "both.jwks", "verify", "token1"), "", 'The option "--key" stands before the command.',
             "Options follow the command: torvane verify --key ..."),
            (("jwt", "verify"), "", 'Unknown command "jwt".', "See torvane --help."),
            (("jwt", "verify", "--key", "both.jwks", "token1"), "", 'Unknown command "jwt".', "See torvane --help.")))

    def test_missing_and_repeated_arguments_are_named_in_words(self):
        self.reject_rows(2, (
            (("key", "new", "P-256"), "", "The file or the pkcs11: URI of the key is missing.",
             "See torvane key new --help."),
            (("key", "new"), "", "The kind of the new key is missing, for example P-256.",
             "See torvane key new --help."),
            (("key", "show"), "", "The file or the pkcs11: URI of the key is missing.", "See torvane key show --help."),
            (("jwks", "make"), "", "The keys are missing, for example sig=sign.pem.", "See torvane jwks make --help."),
            (("jwks", "diff", "a"), "", "The second set is missing: the one to compare the first with.",
             "See torvane jwks diff --help."),
            (("jwks", "diff"), "", "The two sets to compare are missing.", "See torvane jwks diff --help."),
            (("jwks", "rotate", "--use", "sig", "--key", "x"), "", "The set to change is missing.",
             "See torvane jwks rotate --help."),
            (("verify", "--key", "k", "--leeway", "1s", "--leeway", "2s"), "", "--leeway may be given only once.",
             "See torvane verify --help."),
            (("sign", "--key", "k", "--key", "l"), "", "--key may be given only once.", "See torvane sign --help.")))

    def test_a_key_argument_without_its_use_is_recognised(self):
        form = 'The key "{}" is not of the form USE[/ALG][:KID]=URI: '
        decode = ("decode", "--peer", "both.jwks", "--own")
        self.reject_rows(2, (
            ((*decode, "sign.pem"), "",
             form.format("sign.pem") + "the use is missing, as in sig=sign.pem or enc=sign.pem.", None),
            ((*decode, "sig"), "", form.format("sig") + "the URI is missing.", None),
            ((*decode, "verify=sign.pem"), "", form.format("verify") + "the use must be sig, enc or sig_enc.", None),
            (("key", "new", "P-256", "sig:x=new.pem"), "",
             "The URI of a new key stands alone, without a use and an id.",
             'Leave out "sig:x="; `torvane jwks make` takes it.')))
        self.assertFalse(os.path.exists(self.path("sig:x=new.pem")))

    def test_reserved_header_parameters_name_their_option(self):
        sign = ("sign", "--key", "sign.pem", "--header")
        for parameter, hint in (
                ("alg=x", "--alg sets it, or --jws-alg and --jwe-alg where there are two algorithms."),
                ("enc=x", "--enc sets it, or --jwe-enc where there are two tokens."),
                ("kid=x", "--kid sets it; in encode, it is the KID of --own and of the peer's key.")):
            self.reject(2, f'"{parameter}" sets a parameter that another option sets.', *sign, parameter, hint=hint)

    def test_a_token_without_an_expiry_can_be_accepted(self):
        error = 'The token lacks a claim: "exp" is missing.'
        self.reject(8, error, "verify", "--key", "both.jwks", "--sub", "1", "token1",
                    hint="--allow-no-expiry accepts claims without it.")
        self.reject(8, error, "verify", "--key", "both.jwks", "--require", "exp", "token1")
        self.assertIn('"sub":"1"', self.text("verify", "--key", "both.jwks", "--sub", "1", "--allow-no-expiry",
                                             "token1"))

    def test_algorithms_and_types_are_taken_in_any_case(self):
        keys = ("--peer", "both.jwks", "--jws-alg", "ps256", "--jwe-alg", "rsa-oaep", "--jwe-enc", "a256gcm")
        token = self.text("encode", "--own", "sig:s=sign.pem", *keys, stdin="message").strip()
        self.assertEqual(self.text("decode", "--own", "enc:e=sign.pem", *keys, stdin=token), "message")
        self.assertEqual(self.text("decode", "--own", "enc:e=sign.pem", *keys, token), "message")
        made = self.text("jwks", "make", "sig/es256:a=ec.pem")
        self.assertEqual(json.loads(made)["keys"][0]["alg"], "ES256")
        for options in (("--alg", "es256"), ("--kty", "ec"), ("--kty", "Ec", "--alg", "Es256")):
            self.assertEqual(self.text("jwks", "select", *options, stdin=made), made, options)

    def test_a_file_uri_is_a_key_of_every_kind(self):
        claims = self.text("verify", "--key", "both.jwks", "token1")
        for key in ("file:both.jwks", "file:both.jwks#s", "file:" + self.path("both.jwks"),
                    "file://" + self.path("both%2Ejwks"), "FILE:sign.pem"):
            self.assertEqual(self.text("verify", "--key", key, "token1"), claims, key)
        self.assertIn("not verified", self.text("inspect", "token1"))
        self.assertNotIn("not verified", self.text("inspect", "--peer", "file:both.jwks", "token1"))

    def test_a_key_or_set_that_cannot_be_read_exits_with_4_everywhere(self):
        missing = "No such file or directory."
        for arguments in (("sign", "--key", "none"), ("verify", "--key", "none"), ("key", "show", "none")):
            self.reject(4, f'The file "none" cannot be read: {missing}', *arguments, stdin=self.token)
        for arguments in (("inspect", "--peer", "none"), ("jwks", "list", "none"), ("jwks", "check", "none"),
                          ("decode", "--own", "enc:e=sign.pem", "--peer", "none")):
            self.reject(4, f'Cannot read "none": {missing}', *arguments, stdin=self.token)
        with open(self.path("large"), "wb") as file:
            file.truncate((16 << 20) + 1)
        self.reject(4, 'Cannot read "large": The file is longer than 16.0 MiB.', "verify", "--key", "large",
                    stdin=self.token)
        self.reject(3, f'Cannot read "none": {missing}', "verify", "--key", "both.jwks", "none")


@unittest.skipUnless(os.environ.get("SOFTHSM2_MODULE"), "built without PKCS #11")
class EmptyPin(Pkcs11KeysTest):
    def test_an_empty_secret_file_spends_no_try_of_the_pin(self):
        uri = self.uri("P-256")
        self.path("blank", "\n1234\n")
        for file in ("/dev/null", "blank"):
            for command in (("sign", "--key", uri), ("key", "show", uri), ("key", "new", "P-256", self.uri("new"))):
                self.reject(4, f'The first line of "{file}" is empty, so it is no PIN.', *command, "--secret-file",
                            file, env=self.environment)
        self.succeed("sign", "--key", uri, "--secret-file", self.key("pin.txt"), "--sub", "a", env=self.environment)


if __name__ == "__main__":
    unittest.main()
