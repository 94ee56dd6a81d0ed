"""Shell completion on a terminal."""
import json
import os
import unittest

from running import CommandTest, ENVIRONMENT, TORVANE, Terminal

SCRIPTS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "cli", "completions")
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
             f"PS1='ready> '; set +o history; . '{SCRIPTS}/torvane.bash'")}


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

    def check(self, shell):
        terminal = self.start(shell)
        found = [self.complete(terminal, keyIds, line) for keyIds, line, _ in self.LINES]
        self.assertEqual(found, [expected for _, _, expected in self.LINES])
        found = [self.complete(terminal, [keyId], "encode --peer set.jwks --encrypt-to ") for keyId in self.KEY_IDS]
        self.assertEqual(found, list(self.KEY_IDS))
        os.write(terminal.master, b"exit\n")
        self.assertEqual(terminal.finish()[0], 0)

    def test_bash_passes_on_another_word_than_the_candidate(self):
        self.check("bash")

    def test_bash_runs_a_key_id_between_double_quotes(self):
        terminal = self.start("bash")
        self.assertEqual(self.complete(terminal, ["$(touch pwned)"], 'encode --peer set.jwks --encrypt-to "\t" x'), "x")


if __name__ == "__main__":
    unittest.main()
