"""`jwks remove`."""
import fcntl
import json
import os
import stat
import subprocess
import unittest

from jwcrypto.jwk import JWK

from running import ENVIRONMENT, TORVANE, CommandTest, Terminal

NAMES = "--kid or --thumbprint must name the keys to remove."


class SetsRemove(CommandTest):
    @classmethod
    def setUpKeys(cls):
        cls.ec, cls.rsa, cls.p384 = (JWK.generate(**kind) for kind in (
            {"kty": "EC", "crv": "P-256"}, {"kty": "RSA", "size": 2048}, {"kty": "EC", "crv": "P-384"}))
        ec, rsa, p384 = ({**key.export_public(as_dict=True), "kid": None} for key in (cls.ec, cls.rsa, cls.p384))
        keys = [{**ec, "kid": "a", "use": "sig"}, {**rsa, "kid": "a", "use": "enc", "x5t": 7}, 5,
                {"kty": "OKP", "kid": "ed", "use": "sig", "x": ""}, {**rsa, "kid": "b", "use": "enc"},
                {name: value for name, value in p384.items() if value}]
        cls.content = {"issuer": "https://a/é", "keys": keys, "more": {"number": 1.5, "list": [None, True]}}

    def setUp(self):
        super().setUp()
        os.chmod(self.path("set", json.dumps(self.content)), 0o640)

    def read(self, name="set"):
        with open(self.path(name), encoding="utf-8") as file:
            return json.load(file)

    def without(self, *places):
        return {**self.content, "keys": [key for place, key in enumerate(self.content["keys"]) if place not in places]}

    def test_remove_takes_out_these_keys_and_nothing_else(self):
        ec, rsa, p384 = (key.thumbprint() for key in (self.ec, self.rsa, self.p384))
        first, second = 'Removed "a" (P-256, sig).\n', 'Removed "a" (RSA 2048, enc).\n'
        third, last = 'Removed "b" (RSA 2048, enc).\n', f'Removed "{p384}" (P-384).\n'
        for arguments, places, said in (
                (["--kid", "b"], [4], third), (["--kid", "a"], [0, 1], first + second),
                (["--kid", "a", "--use", "enc"], [1], second),
                (["--kid", "a", "--kid", "b", "--use", "enc"], [1, 4], second + third),
                (["--kid", "ed"], [3], 'Removed "ed" (OKP, sig).\n'), (["--thumbprint", p384], [5], last),
                (["--thumbprint", rsa], [1, 4], second + third),
                (["--thumbprint", ec, "--thumbprint", p384, "--kid", "a"], [0, 1, 5], first + second + last)):
            with self.subTest(arguments):
                os.chmod(self.path("set", json.dumps(self.content)), 0o640)
                done = self.run_command("jwks", "remove", "set", *arguments)
                self.assertEqual((done.returncode, done.stdout, done.stderr.decode()), (0, b"", said))
                self.assertEqual(self.read(), self.without(*places))
                self.assertEqual(stat.S_IMODE(os.stat(self.path("set")).st_mode), 0o640)
                self.assertEqual(os.listdir(self.folder), ["set"])

    def test_json_lists_the_keys_that_were_removed_and_kept(self):
        done = self.run_command("jwks", "remove", "set", "--kid", "a", "--use", "sig", "--json", "-o", "next")
        found = json.loads(done.stdout)
        self.assertEqual((done.returncode, done.stderr.decode()), (0, ""))
        self.assertEqual(found["removed"], [{"kid": "a", "use": "sig", "kind": "P-256", "alg": "",
                                             "thumbprint": self.ec.thumbprint()}])
        self.assertEqual([key["kid"] for key in found["kept"]], ["a", "", "ed", "b", ""])
        self.assertEqual((self.read("next"), self.read()), (self.without(0), self.content))

    def test_numbers_are_rounded_only_if_they_are_too_long(self):
        kept, rounded = "9223372036854775807, -9223372036854775808, 0.1, 1.5e-300, 123456789012345", (
            ("-0.0", "0"), ("1.50", "1.5"), ("1E2", "100"), ("12345678901234567890", "12345678901234567168"),
            ("0.1234567890123456789", "0.12345678901234568"))
        text = '{"keys": [{"kid": "a"}], "z": %s, "more": [%s]}'
        self.path("numbers", text % ("true", ", ".join([kept, *(before for before, _ in rounded)])))
        done = self.run_command("jwks", "remove", "numbers", "--kid", "a", "-o", "-")
        written = ", ".join([kept, *(after for _, after in rounded)])
        self.assertEqual("".join(done.stdout.decode().split()),
                         ('{"keys":[],"more":[%s],"z":true}' % written).replace(" ", ""))

    def test_the_set_may_come_from_standard_input(self):
        done = self.run_command("jwks", "remove", "-", "--kid", "b", stdin=json.dumps(self.content))
        self.assertEqual((done.returncode, json.loads(done.stdout), done.stderr.decode()),
                         (0, self.without(4), 'Removed "b" (RSA 2048, enc).\n'))

    def test_errors_leave_the_set(self):
        thumb = self.p384.thumbprint()
        has = 'it has "a", "a", a key without an id, "ed", "b" and 1 more.'
        self.path("jwk", json.dumps(self.content["keys"][0]))
        for arguments, code, error, hint in (
                ("set --kid c", 4, f'No key "c" in "set"; {has}', None),
                ("set --kid a --kid c", 4, f'No key "c" in "set"; {has}', None),
                ("set --kid A", 4, f'No key "A" in "set"; {has}', None),
                ("set --kid b --use sig", 4, 'No key "b" with the "use" sig in "set"; it has "a" (sig), "a" (enc), a '
                 'key without an id, "ed" (sig), "b" (enc) and 1 more.', None),
                ("set --thumbprint " + "A" * 43, 4, f'No key with the thumbprint {"A" * 43} in "set"; {has}', None),
                ("set --thumbprint abc", 2, "The thumbprint must have 43 characters of base64url.",
                 "`torvane jwks list` shows the thumbprints."),
                ("set", 2, NAMES, None), ("set --use sig", 2, NAMES, None),
                ("set --kid a --use x", 2, "The use must be sig, enc or sig_enc.", None),
                ("set --kid a -o none/set", 3, 'Cannot write "none/set": No such file or directory.', None),
                ("set --kid a --json -o -", 2, "--json and the set cannot both be written to standard output.",
                 "Write the set to a file with -o."),
                ("jwk --kid a", 4, '"jwk" is a JWK; a JWK Set is needed here.',
                 'Put it into a set: {"keys": [JWK]}.'),
                (f"absent --thumbprint {thumb}", 4, 'Cannot read "absent": No such file or directory.', None)):
            with self.subTest(arguments):
                self.reject(code, error, "jwks", "remove", *arguments.split(), hint=hint)
                self.assertEqual((self.read(), sorted(os.listdir(self.folder))), (self.content, ["jwk", "set"]))

    def test_a_private_key_is_taken_out_of_a_set_in_place_or_into_another_file(self):
        leaked = {**json.loads(self.ec.export_private()), "kid": "leaked", "use": "sig"}
        own = {**json.loads(self.p384.export_private()), "kid": "own", "use": "sig"}
        symmetric, public = {"kty": "oct", "kid": "leaked", "use": "sig", "k": "AAAA"}, self.content["keys"][4]
        note = "note: Keys with private members: 1 of 1. `torvane jwks select` leaves these members out.\n"
        os.symlink("private", self.path("link"))
        for keys, kept, said in (([leaked, public], [public], "P-256"), ([own, leaked], [own], "P-256"),
                                 ([public, symmetric], [public], "oct"), ([symmetric, own], [own], "oct")):
            said = f'Removed "leaked" ({said}, sig).\n' + (note if own in kept else "")
            for options, place in (((), "private"), (("-o", "-"), None), (("-o", "./private"), "private"),
                                   (("-o", "link"), "private"), (("-o", "next"), "next")):
                with self.subTest(said=said, options=options):
                    os.chmod(self.path("private", json.dumps({"keys": keys})), 0o640)
                    done = self.run_command("jwks", "remove", "private", "--kid", "leaked", *options)
                    self.assertEqual((done.returncode, done.stderr.decode()), (0, said))
                    self.assertEqual(self.read(place) if place else json.loads(done.stdout), {"keys": kept})
                    self.assertEqual(stat.S_IMODE(os.stat(self.path("private")).st_mode), 0o640)
                    if place != "private":
                        self.assertEqual(self.read("private"), {"keys": keys})
            os.remove(self.path("next"))

    def test_another_file_with_private_keys_is_not_replaced(self):
        self.path("private", json.dumps({"keys": [json.loads(self.ec.export_private())]}))
        os.symlink("private", self.path("link"))
        for name in ("private", "link"):
            self.reject(2, f'The output would overwrite the private key "{name}".', "jwks", "remove", "set", "--kid",
                        "a", "-o", name, hint="Choose another name, or delete the key first.")

    def test_a_set_named_by_a_uri_is_replaced(self):
        self.assertEqual(self.run_command("jwks", "remove", f"file:{self.path('set')}", "--kid", "b").returncode, 0)
        self.assertEqual((self.read(), os.listdir(self.folder)), (self.without(4), ["set"]))

    def start(self, *arguments):
        return subprocess.Popen([TORVANE, "jwks", "remove", *arguments], cwd=self.folder, env=ENVIRONMENT,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def test_no_key_comes_back_when_several_commands_change_a_set(self):
        keys = [{"kty": "x", "kid": str(number)} for number in range(24)]
        self.path("many", json.dumps({"keys": keys}))
        os.symlink("many", self.path("link"))
        commands = [self.start("link" if number % 2 else "many", "--kid", str(number)) for number in range(20)]
        self.assertEqual([command.wait(60) for command in commands], [0] * 20)
        self.assertEqual(self.read("many"), {"keys": keys[20:]})

    def test_a_command_waits_for_the_set_that_another_one_writes(self):
        with open(self.path("set"), "rb") as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            waiting = self.start("set", "--kid", "b")
            told = Terminal("jwks", "remove", "set", "--kid", "new", folder=self.folder)
            told.wait_for('note: Another command changes "set"; waiting for it.')
            # What is not changed in place is not waited for.
            for arguments in (("set", "-o", "next"), ("-",)):
                self.assertEqual(self.run_command("jwks", "remove", *arguments, "--kid", "b",
                                                  stdin=json.dumps(self.content)).returncode, 0)
            with self.assertRaises(subprocess.TimeoutExpired):
                waiting.wait(0.5)
            added = {"kty": "x", "kid": "new"}
            self.path("replacement", json.dumps({**self.content, "keys": [*self.content["keys"], added]}))
            os.rename(self.path("replacement"), self.path("set"))
        self.assertEqual((waiting.wait(60), told.finish()[0], self.read()), (0, 0, self.without(4)))


if __name__ == "__main__":
    unittest.main()
