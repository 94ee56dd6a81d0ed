"""Shell completion: the candidates, and what bash, fish and zsh make of them on a terminal."""
import json
import os
import unittest

from jwcrypto.jwk import JWK

from running import CommandTest, ENVIRONMENT, EVIL, TORVANE, Terminal

SCRIPTS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "cli", "completions")
KEY = JWK.generate(kty="EC", crv="P-256")
COMMANDS = ["key", "jwks", "sign", "verify", "encrypt", "decrypt", "nested", "encode", "decode", "inspect", "help"]

# In place of the command: it completes words, and otherwise only records its arguments.
RECORDER = f"""#!/bin/sh
[ "$1" = complete ] && exec '{TORVANE}' "$@"
printf '%s\\0' "$@" >arguments.new
mv arguments.new arguments
echo recorded
"""

# The program, its arguments, and the file that it reads at its start.
SHELLS = {
    "bash": (("--noprofile", "--rcfile", "start", "-i"), "start",
             f"PS1='ready> '; set +o history; . '{SCRIPTS}/torvane.bash'"),
    "fish": (("--no-config", "-i", "-C", "source start"), "start",
             f"function fish_prompt; echo -n 'ready> '; end; source '{SCRIPTS}/torvane.fish'"),
    "zsh": (("-d", "-i"), ".zshrc",
            f"PS1='ready> '; fpath=('{SCRIPTS}' $fpath); autoload -U compinit; compinit -u -d dump")}


class Candidates(CommandTest):
    ROWS = (("key n", ["new"]), ("", COMMANDS), ("help jw", ["jwks"]), ("help jwks m", ["make"]),
            ("key new P-", ["P-256", "P-384", "P-521"]), ("encode --jwe-alg RSA-OAEP-2", ["RSA-OAEP-256"]),
            ("encode --own sig:a=x --jwe-enc A256", ["A256CBC-HS512", "A256GCM"]),
            ("jwks select --kty ", ["RSA", "EC"]), ("inspect --js", ["--json"]), ("inspect --peer ", []),
            ("inspect --own ", []), ("inspect --own en", ["enc:"]), ("inspect --own .jwks#o", [".jwks#other"]),
            ("inspect --is", ["--iss"]), ("inspect --no-p", []),
            ("key new P-256 ", []), ("decode --peer set --out", ["--output"]),
            ("encode --peer .jwks --encrypt-to ", ["2026-enc", "other"]),
            ("encode --peer .jwks --encrypt-to o", ["other"]),
            ("encode --peer none --encrypt-to ", []),
            ("encode --own sig:a=x --own enc:b=y --own sig_enc:c=z --sign-with ", ["a", "c"]),
            ("jwks remove .jwks --kid o", ["other"]), ("jwks remove .jwks --thumbprint ", [KEY.thumbprint()]),
            ("jwks select .jwks --kid ", ["2026-sig", "2026-enc", "other"]),
            ("decode --own e", ["enc:"]), ("encode --own sig", ["sig:", "sig_enc:"]),
            ("jwks make sig/ES25", ["sig/ES256:", "sig/ES256K:"]),
            ("jwks make sig:a=x enc/RSA-OAEP-3", ["enc/RSA-OAEP-384:"]),
            ("jwks select --alg ES256", ["ES256", "ES256K"]),
            ("sign --alg ES", ["ES256", "ES384", "ES512", "ES256K"]), ("verify --alg PS3", ["PS384"]),
            ("encrypt --alg ECDH-ES+A1", ["ECDH-ES+A128KW", "ECDH-ES+A192KW"]),
            ("decrypt --enc A2", ["A256CBC-HS512", "A256GCM"]),
            ("nested encode --jws-alg ES2", ["ES256", "ES256K"]), ("encode --jws-alg E", []),
            ("sign --key .jwks#2", [".jwks#2026-sig", ".jwks#2026-enc"]),
            ("nested decode --from .jwks#o", [".jwks#other"]), ("verify --key none#", []),
            ("jwks rotate .jwks --key .jwks#", []), ("jwks rotate .jwks --kid ", []),
            ("jwks rotate .jwks --replaces o", ["other"]), ("jwks rotate .jwks --use ", ["sig", "enc"]),
            ("jwks remove .jwks --use ", ["sig", "enc", "sig_enc"]), ("sign .jwks --kid ", []),
            ("jwks select .jwks --thumbprint ", [KEY.thumbprint()]))

    def candidates(self, *words):
        return [line.split("\t")[0] for line in self.text("complete", "--", *words).splitlines()]

    def test_the_last_word_has_wrong_candidates(self):
        keys = (("2026-sig", "sig"), ("2026-enc", "enc"), ("other", "enc"), ("evil\u001b[2J", "enc"))
        readable = {name: KEY.export_public(as_dict=True)[name] for name in ("kty", "crv", "x", "y")}
        self.path(".jwks", json.dumps({"keys": [*({"kty": "RSA", "kid": keyId, "use": use} for keyId, use in keys),
                                                readable]}))
        for line, expected in self.ROWS:
            self.assertEqual(self.candidates(*line.split(" ")), expected, line)

    def test_a_candidate_has_control_or_invisible_characters(self):
        evil = ["a" + character for character in EVIL + "\n\t" if character not in "]0;x2J"]
        names = [keyId + ".jwks" for keyId in evil] + ["good.jwks"]
        for name in names:
            self.path(name, json.dumps({"keys": [{"kid": keyId, "use": "enc"} for keyId in (*evil, "good")]}))
        for words, expected in ((("encode", "--peer", "good.jwks", "--encrypt-to", ""), ["good"]),
                                (("jwks", "remove", "good.jwks", "--kid", "a"), []),
                                (("sign", "--key", "good.jwks#"), ["good.jwks#good"]),
                                *((("sign", "--key", name + "#good"), []) for name in names[:-1]),
                                (("encode", *(word for keyId in evil for word in ("--own", f"sig:{keyId}=k.pem")),
                                  "--own", "sig:good=k.pem", "--sign-with", ""), ["good"])):
            self.assertEqual(self.candidates(*words), expected, words)


class Shells(CommandTest):
    """A line, TAB and Enter are typed, and the command records its last argument."""

    KEY_IDS = ("$(touch pwned)", "`touch pwned`", "; touch pwned;", "x>pwned", "&touch pwned", "$HOME", "~", "#1", "!!",
               "*.jwks", "?et.jwks", "[s]et.jwks", "{a,b}", "a b", " a", "it's \"so\"", "back\\slash", "back\\\\:slash",
               "a\\:b", "a=b", "user@host", "urn:x:1", "sig:", "-n", "\u00e9", "a,b", "%1", "^a", "(a)", "a|b")
    # Key ids of "set.jwks" and "my set.jwks", what is typed before TAB, and the last argument.
    LINES = (
        (["urn:x:1"], "encode --peer set.jwks --encrypt-to urn:x:", "urn:x:1"),
        (["urn:x:1 $(a)"], "encode --peer set.jwks --encrypt-to urn:", "urn:x:1 $(a)"),
        (["urn:x=1"], "encode --peer set.jwks --encrypt-to urn:x=", "urn:x=1"),
        (["a@host"], "encode --peer set.jwks --encrypt-to a@", "a@host"),
        (["urn:x:1"], "encode --peer set.jwks --encrypt-to 'urn:", "urn:x:1"),
        (["urn:x y"], "encode --peer set.jwks --encrypt-to \"urn:x ", "urn:x y"),
        (["urn:x y"], "encode --peer set.jwks --encrypt-to urn:x\\ ", "urn:x y"),
        (["urn:x y"], "encode --peer 'my set.jwks' --encrypt-to u", "urn:x y"),
        (["urn:x y"], "encode --peer my\\ set.jwks --encrypt-to u", "urn:x y"),
        (["a"], "encode --own sig:own-1=rsa.pem --sign-with ", "own-1"),
        (["a"], "encode --own 'sig:urn:x y=rsa.pem' --sign-with urn:x", "urn:x y"),
        (["a"], "encode --own sig:a=rs", "sig:a=rsa.pem"),
        (["a"], "encode --peer my", "my set.jwks"),
        (["urn:x:1"], "sign --key set.jwks#", "set.jwks#urn:x:1"),
        (["urn:x:1"], "sign --key set.jwks#urn:x", "set.jwks#urn:x:1"),
        (["$(touch pwned)"], "sign --key my\\ set.jwks#", "my set.jwks#$(touch pwned)"),
        (["b c"], "sign --key 'my set.jwks#b", "my set.jwks#b c"),
        (["b c"], "sign --key \"my set.jwks\"#", "my set.jwks#b c"),
        (["a"], "encrypt --alg ECDH-ES+A2", "ECDH-ES+A256KW"),
        (["a"], "jwks make enc/RSA-OAEP-3", "enc/RSA-OAEP-384:"),
        (["a"], "decode --own e", "enc:"),
        (["a"], "jwks chec", "check"),
        (["a"], "inspect --js", "--json"))

    def setUp(self):
        super().setUp()
        os.mkdir(self.path("bin"))
        os.chmod(self.path("bin/torvane", RECORDER), 0o755)
        self.path("rsa.pem", "")

    def start(self, shell):
        arguments, name, content = SHELLS[shell]
        self.path(name, content + "\n")
        path = self.path("bin") + os.pathsep + ENVIRONMENT["PATH"]
        terminal = Terminal(*arguments, folder=self.folder, program=shell,
                            env={"PATH": path, "HOME": self.folder, "ZDOTDIR": self.folder})
        terminal.wait_for("ready> ")
        return terminal

    def complete(self, terminal, keyIds, line):
        keys = json.dumps({"keys": [{"kty": "RSA", "kid": keyId, "use": "enc"} for keyId in keyIds]})
        self.path("set.jwks", keys)
        self.path("my set.jwks", keys)
        terminal.shown = b""
        os.write(terminal.master, f"torvane {line}\t\n".encode())
        terminal.wait_for("recorded")
        terminal.shown = terminal.shown.split(b"recorded")[1]
        terminal.wait_for("ready> ")
        with open(self.path("arguments"), encoding="utf-8") as file:
            *arguments, end = file.read().split("\0")
        self.assertEqual((end, os.path.exists(self.path("pwned"))), ("", False), line)
        return arguments[-1]

    def check(self, shell, **not_offered):
        terminal = self.start(shell)
        found = [self.complete(terminal, keyIds, line) for keyIds, line, _ in self.LINES]
        self.assertEqual(found, [expected for _, _, expected in self.LINES])
        found = [self.complete(terminal, [keyId], "encode --peer set.jwks --encrypt-to ") for keyId in self.KEY_IDS]
        self.assertEqual(found, [not_offered.get(keyId, keyId) for keyId in self.KEY_IDS])
        os.write(terminal.master, b"exit\n")
        self.assertEqual(terminal.finish()[0], 0)

    def test_bash_passes_on_another_word_than_the_candidate(self):
        self.check("bash")

    def test_bash_runs_a_key_id_between_double_quotes(self):
        terminal = self.start("bash")
        self.assertEqual(self.complete(terminal, ["$(touch pwned)"], 'encode --peer set.jwks --encrypt-to "\t" x'), "x")

    def test_fish_passes_on_another_word_than_the_candidate(self):
        self.check("fish", **{"~": "--encrypt-to"})

    def test_zsh_passes_on_another_word_than_the_candidate(self):
        self.check("zsh")


if __name__ == "__main__":
    unittest.main()
