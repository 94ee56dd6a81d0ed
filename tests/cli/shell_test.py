"""Help, usage errors, and the manual page."""
import os
import re
import subprocess
import unittest

from running import CommandTest, ENVIRONMENT, TORVANE, Terminal

SOURCE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "cli")
COMMANDS = ("", "key", "key new", "key show", "jwks", "jwks make", "jwks list", "jwks check", "jwks diff",
            "jwks remove", "jwks rotate", "jwks select", "sign", "verify", "encrypt", "decrypt", "nested",
            "nested encode", "nested decode", "encode", "decode", "inspect", "help")


class Shell(CommandTest):
    def help(self, command):
        return self.text(*command.split(), "--help")

    def test_the_manual_page_has_every_command_option_and_exit_code(self):
        with open(os.path.join(SOURCE, "torvane.1"), encoding="utf-8") as file:
            page = file.read()
        options = set()
        for command in COMMANDS:
            options |= set(re.findall(r"--([a-z-]+)", self.help(command)))
            self.assertIn(command.split(" ")[0], page)
            self.assertLessEqual(max(map(len, self.help(command).splitlines())), 110, command)
            if " " in command:
                self.assertRegex(page, rf"\.(It )?Cm .*\b{command}\b")
        self.assertGreaterEqual(len(options), 20)
        described = set(re.findall(r"-([a-z-]{2,})", re.sub(r"\\&", "", page.split(".Sh DESCRIPTION")[1])))
        self.assertEqual(options - described - {"version"}, set())
        with open(os.path.join(SOURCE, "exit_code.hpp"), encoding="utf-8") as file:
            codes = re.findall(r"^    \w+ = (\d)", file.read(), re.M)
        self.assertEqual(re.findall(r"^\.It (\d)", page, re.M), codes)
        lint = subprocess.run(["mandoc", "-Tlint", "-Wwarning", os.path.join(SOURCE, "torvane.1")], capture_output=True)
        self.assertEqual((lint.returncode, lint.stdout), (0, b""))

    def test_the_help_of_every_command_has_an_example(self):
        for command in COMMANDS:
            if command not in ("key", "jwks", "nested"):
                self.assertRegex(self.help(command), r"\n  (echo Hello \| )?torvane " + command)
        self.assertRegex(self.text("--version"), r"\Atorvane \d+\.\d+\.\d+\n\Z")

    def test_output_that_cannot_be_written_is_the_error(self):
        self.succeed("key", "new", "P-256", "key.pem")
        self.path("bad.jwks", '{"keys": [5]}')
        self.path("empty.jwks", '{"keys": []}')
        self.path("token", "a.b.c")
        for name, command in (("jws", ("sign", "--sub", "x")), ("jwe", ("encrypt", "token")),
                              ("nested", ("nested", "encode", "--to", "key.pem", "--sub", "x"))):
            self.succeed(*command, "--key", "key.pem", "-o", name)
        key = ("--key", "key.pem")
        for arguments in (("sign", *key, "token"), ("verify", *key, "jws"), ("verify", "--json", *key, "jws"),
                          ("encrypt", *key, "token"), ("decrypt", *key, "jwe"),
                          ("nested", "encode", *key, "--to", "key.pem", "token"),
                          ("nested", "decode", *key, "--from", "key.pem", "nested"),
                          ("--help",), ("key", "new", "--help"), ("--version",), ("complete", "--", ""),
                          ("key", "show", "key.pem"), ("key", "show", "--json", "key.pem"),
                          ("jwks", "make", "sig=key.pem"), ("jwks", "list", "bad.jwks"),
                          ("jwks", "list", "--json", "bad.jwks"), ("jwks", "check", "bad.jwks"),
                          ("jwks", "diff", "bad.jwks", "empty.jwks"), ("inspect", "token")):
            for redirection in (">/dev/full", ">&-"):
                done = subprocess.run(["sh", "-c", f'"$0" "$@" {redirection}', TORVANE, *arguments],
                                      capture_output=True, cwd=self.folder, env=ENVIRONMENT)
                self.assertEqual((done.returncode, done.stderr.count(b"\n")), (3, 1), (arguments, redirection))
                self.assertRegex(done.stderr, b"^torvane: Cannot write standard output[.:]")

    def test_a_usage_error_names_the_command_whose_help_explains_it(self):
        for arguments, error, hint in (
                (("frobnicate",), 'Unknown command "frobnicate".', "See torvane --help."),
                (("jwks", "build"), 'Unknown command "build".', "See torvane jwks --help."),
                (("key", "new"),
                 "The kind of the new key is missing, for example P-256.", "See torvane key new --help."),
                (("decode",), "--peer is required", "See torvane decode --help."),
                (("inspect", "a", "b"), "The following argument was not expected: b", "See torvane inspect --help."),
                (("inspect", "--peer"), "--peer: 1 required FILE missing", "See torvane inspect --help."),
                (("ecnode", "--peer", "x"), 'Unknown command "ecnode".',
                 'Did you mean "encode"? See torvane --help.'),
                (("Inspect",), 'Unknown command "Inspect".', 'Did you mean "inspect"? See torvane --help.'),
                (("jwks", "lsit"), 'Unknown command "lsit".', 'Did you mean "list"? See torvane jwks --help.'),
                (("new", "P-256"), 'Unknown command "new".', 'Did you mean "key new"? See torvane --help.'),
                (("help", "encdoe"), 'Unknown command "encdoe".', "`torvane help` lists the commands."),
                (("encode", "--peer", "x", "--encrypt-too", "y"), 'Unknown option "--encrypt-too".',
                 'Did you mean "--encrypt-to"? See torvane encode --help.'),
                (("encode", "--peer", "x", "--encypt-to=y"), 'Unknown option "--encypt-to".',
                 'Did you mean "--encrypt-to"? See torvane encode --help.'),
                (("key", "show", "x", "--frob"), 'Unknown option "--frob".', "See torvane key show --help."),
                (("key", "show", "x", "-p"), 'Unknown option "-p".', "See torvane key show --help."),
                (("key", "new", "rsa2048", "x"),
                 "The kind of key must be one of RSA-2048 RSA-3072 RSA-4096 P-256 P-384 P-521 secp256k1.",
                 'Did you mean "RSA-2048"?')):
            with self.subTest(arguments):
                self.reject(2, error, *arguments, hint=hint)

    def test_a_missing_command_is_answered_with_the_help(self):
        for arguments in ((), ("key",), ("jwks",)):
            done = self.run_command(*arguments)
            self.assertEqual((done.returncode, done.stdout, done.stderr.decode()),
                             (2, b"", self.text(*arguments, "--help")))
        terminal = Terminal(folder=self.folder)
        self.assertEqual(terminal.finish(), (2, self.text("--help")))

    def test_help_and_version_have_the_usual_names(self):
        for command in COMMANDS:
            self.assertEqual(self.text("help", *command.split()), self.help(command), command)
        self.assertEqual(self.text("-V"), self.text("--version"))

    # Command lines with a PIN, and the start of the error, which must not show it.
    URI = "pkcs11:token=app;object=sign?pin-value=8642"
    WITH_PIN = (
        (("key", "show", " " + URI), 'The file " pkcs11:token=app..." cannot be read'),
        (("key", "show", " PKCS11:token=app;PIN-VALUE=8642"), 'The file " PKCS11:token=app..." cannot be read'),
        (("key", "show", " pkcs11:pin-value=8642"), 'The file " pkcs11:pin-value..." cannot be read'),
        (("key", "show", "pkcs1:token=app;pin-value=8642"), 'The file "pkcs1:token=app;pin-value..." cannot be read'),
        (("key", "show", "file:///token=app;pin=8642"), 'The file "/token=app;pin..." cannot be read'),
        (("key", "show", "file://host/" + URI), '"file://host/pkcs11:token=app..." is neither a path'),
        (("key", "show", "key.pem", URI), "The following argument was not expected: pkcs11:token=app..."),
        (("key", "show", "locked.pem", "--secret-file", URI), 'Cannot read "pkcs11:token=app...": No such file'),
        (("key", "show", "key.pem", "--pin-value=8642"), 'Unknown option "--pin-value".'),
        (("key", "show", "key.pem", "--pin", "8642"), 'Unknown option "--pin".'),
        (("key", "show", "--", "--Pin", "8642"), "The following arguments were not expected: "),
        (("key", "show", "key.pem", "-p8642"), 'Unknown option "-p".'),
        (("key", "show", "key.pem", "-p", "8642"), 'Unknown option "-p".'),
        (("key", "show", "--pin", "8642"), 'Unknown option "--pin".'),
        (("key", "show", "key.pem", "--json=" + URI), "Could not convert: --json."),
        (("key", "new", "P-256", "--encrypt=my8642", "new.pem"), "Could not convert: --encrypt."),
        (("key", "new", URI, "new.pem"), "The kind of key must be one of"),
        (("key", "new", "P-256", "none/" + URI), 'The file "none/pkcs11:token=app..." cannot be written'),
        (("key", "new", "P-256", "--encrypt", " " + URI), "There is no terminal to ask for a new passphrase of"),
        ((URI,), 'Unknown command "pkcs11:token=app..."'),
        (("--pin", "8642"), 'Unknown option "--pin".'),
        (("key", URI), 'Unknown command "pkcs11:token=app..."'),
        (("jwks", "make", URI), 'The key "pkcs11:token" is not of the form'),
        (("jwks", "make", "sig:pkcs11;pin-value?8642"), 'The key "sig:pkcs11..." is not of the form'),
        (("jwks", "list", URI), 'Cannot read "pkcs11:token=app..."'),
        (("jwks", "list", "pin-value=8642"), 'Cannot read "pin-value...": No such file'),
        (("jwks", "list", URI.replace("8642", '86"42')), 'Cannot read "pkcs11:token=app..."'),
        (("jwks", "check", URI), 'Cannot read "pkcs11:token=app..."'),
        (("jwks", "diff", "set.jwks", URI), 'Cannot read "pkcs11:token=app..."'),
        (("jwks", "rotate", "set.jwks", "--use", "sig", "--key", "none/" + URI),
         'The file "none/pkcs11:token=app..." cannot be written'),
        (("jwks", "select", "--use", URI, "set"), "The use must be"),
        (("jwks", "remove", URI, "--kid", "a"), 'Cannot read "pkcs11:token=app..."'),
        (("jwks", "remove", "set.jwks", "--kid", URI), 'No key "pkcs11:token=app..." in "set.jwks"; it has "a", "b".'),
        (("jwks", "remove", "set.jwks", "--kid", "a", "-o", "none/" + URI),
         'Cannot write "none/pkcs11:token=app..."'),
        (("jwks", "select", "--kty", URI, "set"), "The key type must be"),
        (("jwks", "select", "--alg", URI, "set"), "The algorithm is unknown"),
        (("jwks", "select", "--kid", URI, "set.jwks"), "No key in the set matches."),
        (("jwks", "select", "--thumbprint", URI, "set.jwks"), "The thumbprint must have 43 characters of base64url."),
        (("jwks", "make", "sig=key.pem", "-o", "none/" + URI), 'Cannot write "none/pkcs11:token=app..."'),
        (("jwks", "make", "sig=key.pem", "-onone/pin-value=8642"), 'Cannot write "none/pin-value..."'),
        (("encode", "--own", URI, "--peer", "set.jwks"), 'The key "pkcs11:token" is not of the form'),
        (("encode", "--own", "sig:a=key.pem", "--peer", URI), 'Cannot read "pkcs11:token=app..."'),
        (("encode", "--own", "sig:a=key.pem", "--peer", "set.jwks", URI), 'Cannot read "pkcs11:token=app..."'),
        (("encode", "--own", "sig:a=key.pem", "--peer", "set.jwks", "--sign-with", URI),
         'No key "pkcs11:token=app..." was given; there are a.'),
        (("encode", "--own", "sig:a=key.pem", "--peer", "set.jwks", "--encrypt-to", URI),
         'No key "pkcs11:token=app..." in "set.jwks"; it has a, b.'),
        (("encode", "--own", "sig:a=key.pem", "--peer", "set.jwks", "--jws-alg", URI),
         "Algorithm 'pkcs11:token=app...' is"),
        (("encode", "--own", "sig:a=key.pem", "--peer", "set.jwks", "--jwe-alg", URI.replace("8642", '86"42')),
         "pkcs11:token=app... algorithm is not supported"),
        (("encode", "--own", "sig:a=key.pem", "--peer", "set.jwks", "--jwe-enc", URI),
         "pkcs11:token=app... algorithm is not"),
        (("encode", "--own", "sig:a=key.pem", "--peer", "set.jwks", "--jws-header", "=" + URI), '"=pkcs11:'),
        (("encode", "--own", "sig:a=key.pem", "--peer", "set.jwks", "--jws-header", "alg=" + URI), '"alg=pkcs11:'),
        (("encode", "--own", "sig:a=key.pem", "--peer", "set.jwks", "--jwe-header", "pin?8642"), '"pin..." is not'),
        (("decode", "--own", "enc= " + URI, "--peer", "set.jwks"), 'The file " pkcs11:token=app..." cannot be read'),
        (("decode", "--own", "enc=key.pem", "--peer", "set.jwks", URI), 'Cannot read "pkcs11:token=app..."'),
        (("sign", "--key", URI.replace("pkcs11", "pkcs1"), "--iss", "i"),
         'The file "pkcs1:token=app;object=sign..." cannot'),
        (("sign", "--key", "key.pem#" + URI, "--iss", "i"), 'key.pem is not a JWK Set, so "#pkcs11:token=app..."'),
        (("sign", "--key", "set.jwks#" + URI, "--iss", "i"),
         'No key "pkcs11:token=app..." in "set.jwks"; it has a, b.'),
        (("sign", "--key", "key.pem", "--expires-in", URI), '--expires-in "pkcs11:token=app...": write'),
        (("verify", "--key", "key.pem", "--alg", URI), 'The algorithm "pkcs11:token=app..." is not one of'),
        (("inspect", URI), 'Cannot read "pkcs11:token=app..."'),
        (("inspect", "a", "b", "--", "--pin-value=8642"), 'Unknown option "--pin-value".'))

    def test_no_error_shows_a_pin(self):
        self.succeed("key", "new", "RSA-2048", "key.pem")
        self.succeed("key", "new", "P-256", "locked.pem", "--secret-file", self.path("secret", "open sesame"))
        self.succeed("jwks", "make", "sig:a=key.pem", "enc:b=key.pem", "-o", "set.jwks")
        for arguments, error in self.WITH_PIN:
            self.assertRegex("".join(arguments), '86"?42')
            done = self.run_command(*arguments)
            shown = done.stderr.decode()
            self.assertEqual((done.returncode > 0, done.stdout), (True, b""), arguments)
            self.assertRegex(shown, r"\A[^\n]*\n(hint: [^\n]*\n)?\Z", arguments)
            self.assertTrue(shown.startswith("torvane: " + error), (arguments, shown))
            self.assertNotIn("8642", re.sub(r"\W", "", shown), arguments)
        self.assertEqual(sorted(os.listdir(self.folder)), ["key.pem", "locked.pem", "secret", "set.jwks"])


if __name__ == "__main__":
    unittest.main()
