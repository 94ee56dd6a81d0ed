"""`jwks rotate`."""
import json
import os
import stat
import subprocess
import unittest

from jwcrypto.jwk import JWK

from running import ENVIRONMENT, TORVANE, CommandTest

DONE = "with `torvane jwks remove` when no signature by the old key remains to be verified."
TRANSIT = "when no peer uses the old set and no token for an old key is in transit."
KEEP = "2. Keep both private keys: tokens for both arrive until every peer has read the set.\n"

# The cases whose new key fits the "alg" of the old one.
ALG_KEPT = ("signing", "signing instead of a named key")


class SetsRotate(CommandTest):
    @classmethod
    def setUpKeys(cls):
        for kind in ("RSA-2048", "P-256", "P-384"):
            cls.make("key", "new", kind, kind + ".pem")
        cls.make("jwks", "make", "sig/ES256:s=P-256.pem", "enc:e=RSA-2048.pem", "enc:f=P-384.pem", "-o", "set")
        cls.make("jwks", "make", "sig_enc:both=RSA-2048.pem", "-o", "both")
        cls.make("jwks", "make", "sig/ES256:p=P-256.pem", "sig:r=RSA-2048.pem", "sig:q=P-384.pem", "-o", "several")

    def setUp(self):
        super().setUp()
        for name in ("set", "both", "several"):
            with open(self.key(name), "rb") as file:
                self.path(name, file.read())

    def read(self, name="set"):
        with open(self.path(name), encoding="utf-8") as file:
            return json.load(file)

    def rotate(self, *arguments, stdin=b""):
        """Standard output and standard error of a command that must succeed."""
        done = self.run_command("jwks", "rotate", *arguments, stdin=stdin)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout.decode(), done.stderr.decode()

    # The options, the ids of the keys afterwards, the kind of the new key, and the steps to take.
    CASES = (
        ("signing", "set --use sig", ["s", "e", "f", "new"], "P-256",
         '1. Publish the set now, and keep signing with "s".\n'
         '2. Sign with "new" when every peer has read the set.\n'
         f'3. Remove "s" from the set {DONE}\n'),
        ("signing with another kind", "set --use sig --kind rsa-2048", ["s", "e", "f", "new"], "RSA 2048",
         '1. Publish the set now, and keep signing with "s".\n'
         '2. Sign with "new" when every peer has read the set.\n'
         f'3. Remove "s" from the set {DONE}\n'),
        ("encryption, where a key of another type stays", "set --use enc --kind P-384", ["s", "e", "new"], "P-384",
         '1. Publish the set now. It has "new" instead of "f".\n' + KEEP +
         f'3. Delete the private key of "f" {TRANSIT}\n'),
        ("encryption with another type", "set --use enc --kind RSA-2048", ["s", "f", "new"], "RSA 2048",
         '1. Publish the set now. It has "new" instead of "e".\n' + KEEP +
         f'3. Delete the private key of "e" {TRANSIT}\n'),
        ("encryption with the old key", "set --use enc --keep-old --replaces f", ["s", "e", "f", "new"], "P-384",
         '1. Publish the set now. Peers must choose "new" by its id.\n' + KEEP +
         f'3. Remove "f" from the set with `torvane jwks remove`, and delete the private key, {TRANSIT}\n'),
        ("encryption instead of a named key", "set --use enc --replaces e", ["s", "f", "new"], "RSA 2048",
         '1. Publish the set now. It has "new" instead of "e".\n' + KEEP +
         f'3. Delete the private key of "e" {TRANSIT}\n'),
        ("encryption instead of named keys", "set --use enc --replaces f --replaces e --kind P-256", ["s", "new"],
         "P-256",
         '1. Publish the set now. It has "new" instead of "e", "f".\n' + KEEP +
         f'3. Delete the private key of "e", "f" {TRANSIT}\n'),
        ("signing, where keys of another type stay", "several --use sig --kind P-256", ["p", "r", "q", "new"], "P-256",
         '1. Publish the set now, and keep signing with "p", "q".\n'
         '2. Sign with "new" when every peer has read the set.\n'
         f'3. Remove "p", "q" from the set {DONE}\n'),
        ("signing instead of a named key", "several --use sig --replaces p", ["p", "r", "q", "new"], "P-256",
         '1. Publish the set now, and keep signing with "p".\n'
         '2. Sign with "new" when every peer has read the set.\n'
         f'3. Remove "p" from the set {DONE}\n'),
        ("a first key", "empty --use sig --kind P-256", ["new"], "P-256",
         '1. Publish the set now.\n2. Sign with "new" when every peer has read the set.\n'),
        ("a first key for encryption", "empty --use enc --kind P-256", ["new"], "P-256", "1. Publish the set now.\n"),
        ("encryption beside a key for both uses", "both --use enc", ["both", "new"], "RSA 2048",
         '1. Publish the set now.\n'
         'The key "both" is for both uses and stays in the set: peers may still encrypt to it.\n'),
        ("signing beside a key for both uses", "both --use sig", ["both", "new"], "RSA 2048",
         '1. Publish the set now, and keep signing with "both".\n'
         '2. Sign with "new" when every peer has read the set.\n'
         f'3. Remove "both" from the set {DONE}\n'))

    def test_rotate_adds_the_new_key_and_says_what_to_do(self):
        self.path("empty", '{"keys": []}')
        for number, (what, arguments, kids, kind, steps) in enumerate(self.CASES):
            with self.subTest(what):
                self.setUpSets()
                name, *options = arguments.split()
                before = self.read(name)["keys"]
                key = f"new{number}.pem"
                printed, said = self.rotate(name, *options, "--kid", "new", "--key", key)
                self.assertEqual((printed, said), ("", f'The new key pair "new" ({kind}) is in "{key}".\n' + steps))
                *old, new = self.read(name)["keys"]
                self.assertEqual([each["kid"] for each in (*old, new)], kids)
                self.assertEqual(old, [each for each in before if each["kid"] in kids])
                with open(self.path(key), "rb") as file:
                    pair = JWK.from_pem(file.read())
                self.assertEqual((JWK(**new).thumbprint(), pair.has_private, new["use"], "d" in new),
                                 (pair.thumbprint(), True, options[1], False))
                self.assertEqual(stat.S_IMODE(os.stat(self.path(key)).st_mode), 0o600)
                self.assertEqual(new.get("alg"), "ES256" if what in ALG_KEPT else None)

    def setUpSets(self):
        for name in ("set", "both", "several"):
            with open(self.key(name), "rb") as file:
                self.path(name, file.read())
        self.path("empty", '{"keys": []}')

    def test_the_thumbprint_is_the_default_id_and_other_members_stay(self):
        content = {"keys": [{"kty": "OKP", "x5c": [1]}, *self.read()["keys"], 5], "issuer": "https://a/é"}
        os.chmod(self.path("set", json.dumps(content)), 0o640)
        self.rotate("set", "--use", "sig", "--key", "new.pem")
        found = self.read()
        new = found["keys"].pop()
        self.assertEqual((found, new["kid"]), (content, JWK(**new).thumbprint()))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("set")).st_mode), 0o640)
        self.assertEqual(sorted(os.listdir(self.folder)), ["both", "new.pem", "set", "several"])

    def test_the_set_may_be_read_from_and_written_to_another_place(self):
        before = json.dumps(self.read())
        printed, _ = self.rotate("-", "--use", "sig", "--kid", "a", "--key", "a.pem", stdin=before)
        self.assertEqual([key["kid"] for key in json.loads(printed)["keys"]], ["s", "e", "f", "a"])
        self.rotate("set", "--use", "sig", "--kid", "b", "--key", "b.pem", "-o", "next")
        self.assertEqual([key["kid"] for key in self.read("next")["keys"]], ["s", "e", "f", "b"])
        self.assertEqual(json.dumps(self.read()), before)

    def test_errors_leave_the_set_and_make_no_key(self):
        self.path("private", json.dumps({"keys": [{"kty": "RSA", "d": "AA"}]}))
        self.path("jwk", json.dumps(self.read()["keys"][0]))
        self.path("there.pem", "x")
        os.mkdir(self.path("folder"))
        kinds = "RSA-2048 RSA-3072 RSA-4096 P-256 P-384 P-521 secp256k1"
        listing, before = sorted(os.listdir(self.folder)), self.read()
        for arguments, code, error, hint in (
                ("set --use sig --key there.pem", 4, 'The file "there.pem" cannot be written: File exists.',
                 "A key is never overwritten: choose another name."),
                ("set --use sig_enc --key k", 2, "The use must be sig or enc.", None),
                ("set --use sig --kind P-1 --key k", 2, f"The kind of key must be one of {kinds}.", None),
                ("set --use enc --kind SECP256K1 --key k", 2, "A secp256k1 key is for signatures only.", None),
                ("set --use sig --kid s --key k", 2, 'The set has a key "s" for this use already.',
                 "Choose another id with --kid."),
                ("both --use sig --kid both --key k", 2, 'The set has a key "both" for this use already.',
                 "Choose another id with --kid."),
                ("set --use sig --keep-old --key k", 2,
                 "--keep-old is for --use enc only: the old keys for signatures always stay.", None),
                ("set --use enc --key k", 2, 'The keys for enc are of different kinds: "e" (RSA 2048), "f" (P-384).',
                 "Name the old key with --replaces, or the kind of the new one with --kind."),
                ("set --use enc --replaces s --key k", 4, 'No key "s" for enc in "set"; for this use it has "e", "f".',
                 None),
                ("set --use enc --replaces e --replaces x --key k", 4,
                 'No key "x" for enc in "set"; for this use it has "e", "f".', None),
                ("none --use sig --key k", 4, 'Cannot read "none": No such file or directory.', None),
                ("jwk --use sig --key k", 4, '"jwk" is a JWK; a JWK Set is needed here.',
                 'Put it into a set: {"keys": [JWK]}.'),
                ("private --use sig --key k", 4, '"private" has private keys; a set of public keys is needed here.',
                 "`torvane jwks select FILE` writes the public members of its keys."),
                ("set --use sig --key k -o private", 2, 'The output would overwrite the private key "private".',
                 "Choose another name, or delete the key first."),
                ("set --use sig --key k -o none/set", 3, 'Cannot write "none/set": No such file or directory.', None),
                ("set --use sig --key k -o /proc/set", 3, 'Cannot write "/proc/set": No such file or directory.', None),
                ("set --use sig --key k -o folder", 3, 'Cannot write "folder": Is a directory.', None),
                ("set --use sig --key k -o k", 2, "The output would overwrite the new key.", None),
                ("set --use sig --key ./k -o folder/../k", 2, "The output would overwrite the new key.", None),
                ("set --use sig --key file:k -o k", 2, "The output would overwrite the new key.", None)):
            with self.subTest(arguments):
                self.reject(code, error, "jwks", "rotate", *arguments.split(), hint=hint)
                self.assertEqual((sorted(os.listdir(self.folder)), self.read()), (listing, before))
        self.reject(2, "The set has no key for enc that tells the kind of the new one.", "jwks", "rotate", "-", "--use",
                    "enc", "--key", "k", stdin='{"keys": []}', hint=f"Choose it with --kind: {kinds}.")

    def test_private_keys_of_every_kind_are_rejected(self):
        for kind in ({"kty": "RSA", "size": 2048}, {"kty": "EC", "crv": "P-256"}, {"kty": "EC", "crv": "secp256k1"},
                     {"kty": "OKP", "crv": "Ed25519"}, {"kty": "oct", "size": 256}):
            key = {**JWK.generate(**kind).export(as_dict=True, private_key=True), "use": "sig", "kid": "p", "alg": "x"}
            for member in ({}, {"alg": "ES256K"}, {"d": "AA"}, {"d": 5, "k": 5}):
                for options in (("--use", "sig"), ("--use", "enc", "--kind", "P-256")):
                    self.path("private", json.dumps({"keys": [*self.read()["keys"], {**key, **member}]}))
                    self.reject(4, '"private" has private keys; a set of public keys is needed here.', "jwks", "rotate",
                                "private", *options, "--key", "k",
                                hint="`torvane jwks select FILE` writes the public members of its keys.")

    def test_a_failure_after_the_new_key_was_made_says_where_the_key_is(self):
        os.symlink("k.pem", self.path("link"))
        before = self.read()
        for output, code, error in (("/dev/full", 3, 'Cannot write "/dev/full": No space left on device.'),
                                    ("link", 2, 'The output would overwrite the private key "link".')):
            self.reject(code, error, "jwks", "rotate", "set", "--use", "sig", "--key", "k.pem", "-o", output,
                        hint='The new key pair is in "k.pem", but in no set: delete it before you try again.')
            with open(self.path("k.pem"), "rb") as file:
                self.assertTrue(JWK.from_pem(file.read()).has_private)
            os.remove(self.path("k.pem"))
        self.assertEqual(self.read(), before)

    def test_no_new_key_is_lost_when_several_commands_change_a_set(self):
        rotate = (TORVANE, "jwks", "rotate", "set", "--use", "sig")
        commands = [subprocess.Popen([*rotate, "--kid", f"new {number}", "--key", f"{number}.pem"], cwd=self.folder,
                                     env=ENVIRONMENT, stderr=subprocess.DEVNULL) for number in range(8)]
        self.assertEqual([command.wait(60) for command in commands], [0] * 8)
        self.assertEqual(sorted(key["kid"] for key in self.read()["keys"]),
                         ["e", "f", *(f"new {number}" for number in range(8)), "s"])

    def test_json_tells_scripts_what_was_done_and_what_is_to_be_done(self):
        printed, said = self.rotate("set", "--use", "enc", "--replaces", "f", "--kid", "new", "--key",
                                    "new.pem", "--json")
        told = json.loads(printed)
        new = self.read()["keys"][-1]
        self.assertEqual((said, told["added"]),
                         ("", {"kid": "new", "use": "enc", "kind": "P-384", "alg": "", "uri": "new.pem",
                               "thumbprint": JWK(**new).thumbprint()}))
        self.assertEqual([(key["kid"], key["kind"]) for key in told["old"]], [("f", "P-384")])
        self.assertEqual((told["forBoth"], told["steps"][0], len(told["steps"])),
                         ([], 'Publish the set now. It has "new" instead of "f".', 3))
        told = json.loads(self.rotate("both", "--use", "enc", "--key", "other.pem", "--json")[0])
        self.assertEqual(([key["kid"] for key in told["forBoth"]], told["old"]), (["both"], []))
        for arguments in (("set", "-o", "-"), ("-",)):
            self.reject(2, "--json and the set cannot both be written to standard output.", "jwks", "rotate",
                        *arguments, "--use", "sig", "--key", "k", "--json", stdin=json.dumps(self.read()),
                        hint="Write the set to a file with -o.")
        self.assertNotIn("k", os.listdir(self.folder))

    def test_the_new_key_may_be_encrypted(self):
        self.path("secret", "open sesame\n")
        self.rotate("set", "--use", "sig", "--kid", "a", "--key", "a.pem", "--secret-file", "secret")
        with open(self.path("a.pem"), "rb") as file:
            pair = JWK.from_pem(file.read(), password=b"open sesame")
        self.assertEqual(pair.thumbprint(), JWK(**self.read()["keys"][-1]).thumbprint())


if __name__ == "__main__":
    unittest.main()
