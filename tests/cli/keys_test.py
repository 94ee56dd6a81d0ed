"""`key new` and `key show`: another implementation reads the keys, and private values stay private."""
import json
import os
import resource
import select
import signal
import stat
import subprocess
import time
import unittest

from jwcrypto.jwk import JWK

from running import CommandTest, ENVIRONMENT, EVIL, TORVANE, Terminal
from token_keys import Pkcs11Test

KINDS = {"RSA-2048": ("RSA", "size        2048 bits"), "RSA-3072": ("RSA", "size        3072 bits"),
         "RSA-4096": ("RSA", "size        4096 bits"), "P-256": ("EC", "curve       P-256"),
         "P-384": ("EC", "curve       P-384"), "P-521": ("EC", "curve       P-521"),
         "secp256k1": ("EC", "curve       secp256k1")}


class Keys(CommandTest):
    def pem(self, name, password=None):
        with open(self.path(name), "rb") as file:
            return JWK.from_pem(file.read(), password)

    def test_each_kind_of_key_is_correct_and_readable_by_its_owner_only(self):
        for kind, (family, size) in KINDS.items():
            with self.subTest(kind):
                created = self.text("key", "new", kind, kind + ".pem")
                self.assertEqual(stat.S_IMODE(os.stat(self.path(kind + ".pem")).st_mode), 0o600)
                other = self.pem(kind + ".pem")
                members = other.export(as_dict=True)
                name = size.split("  ")[-1].strip().removesuffix(" bits")
                self.assertEqual(created, f"Created {kind}.pem: {'RSA ' * (family == 'RSA')}{name}, "
                                          f"thumbprint {other.thumbprint()}\n")
                shown = self.text("key", "show", kind + ".pem")
                self.assertEqual(shown, f"family      {family}\n{size}\nclass       private\n"
                                        f"thumbprint  {other.thumbprint()}\n")
                published = self.text("jwks", "make", f"sig:{kind}={kind}.pem")
                for member in {"d", "p", "q", "dp", "dq", "qi"} & members.keys():
                    self.assertNotIn(members[member], shown + published)
                with open(self.path("public.pem"), "wb") as file:
                    file.write(other.export_to_pem())
                self.assertEqual(self.text("key", "show", "public.pem"), shown.replace("private", "public"))
                self.assertEqual(self.text("key", "show", "--public", kind + ".pem"),
                                 shown.replace("private", "public"))

    EXISTS = "A key is never overwritten: choose another name."

    def test_nobody_types_a_passphrase_for_a_file_that_exists(self):
        self.path("a key.pem", "not a key")
        path = self.path("a key.pem")
        for uri in ("a key.pem", path, "file:" + path.replace(" ", "%20"), "FILE://localhost" + path, "file://" + path):
            terminal = Terminal("key", "new", "P-256", "--encrypt", uri, folder=self.folder)
            shown = path if ":" in uri else uri
            self.assertEqual(terminal.finish(), (4, f'torvane: The file "{shown}" cannot be written: File exists.\n'
                                                    f"hint: {self.EXISTS}\n"), uri)
        with open(path, encoding="ascii") as file:
            self.assertEqual(file.read(), "not a key")

    def test_kinds_may_be_written_in_lower_case(self):
        for kind in ("p-256", "P-384", "p-521", "SECP256K1", "rsa-2048"):
            shown = json.loads(self.text("key", "new", kind, kind + ".pem", "--json"))
            self.assertEqual(shown.pop("thumbprint"), self.pem(kind + ".pem").thumbprint())
            size = {"size": 2048} if "rsa" in kind else {"curve": "secp256k1" if "K1" in kind else kind.upper()}
            self.assertEqual(shown, {"class": "private", "family": "RSA" if "rsa" in kind else "EC",
                                     "uri": kind + ".pem", **size})

    def test_a_hyphen_is_a_stream_and_never_a_file(self):
        self.reject(2, "A private key is not written to standard output.", "key", "new", "P-256", "-",
                    hint="Name a new file, or a key in a PKCS #11 token.")
        self.assertEqual(os.listdir(self.folder), [])
        self.succeed("key", "new", "RSA-2048", "key.pem")
        with open(self.path("key.pem"), "rb") as file:
            private = file.read()
        public = JWK.from_pem(private).export_to_pem()
        shown = self.text("key", "show", "key.pem")
        self.assertEqual(self.text("key", "show", "-", stdin=private), shown)
        for given in (private, public):
            self.assertEqual(self.text("key", "show", "--public", "-", stdin=given), shown.replace("private", "public"))
        self.reject(4, "Standard input has no private key.", "key", "show", "-", stdin=public,
                    hint="`torvane key show --public -` shows a public key or a certificate.")
        made = self.succeed("jwks", "make", "sig:s=-", "enc:e=key.pem", "-o", "-", stdin=private)
        self.path("set", made)
        self.path("token", self.succeed("encode", "--own", "sig:s=-", "--peer", "set", "set", stdin=private))
        self.assertEqual(self.succeed("decode", "--own", "enc:e=-", "--peer", "set", "token", stdin=private), made)
        self.reject(2, "Standard input can be read only once.", "encode", "--own", "sig:s=-", "--peer", "-",
                    stdin=private)

    def test_a_key_is_never_overwritten_and_a_failure_leaves_no_file(self):
        self.succeed("key", "new", "P-256", "key.pem")
        before = self.text("key", "show", "key.pem")
        self.reject(4, 'The file "key.pem" cannot be written: File exists.', "key", "new", "P-256", "key.pem",
                    hint=self.EXISTS)
        self.assertEqual(self.text("key", "show", "key.pem"), before)
        self.reject(4, 'The file "none/key.pem" cannot be written: No such file or directory.',
                    "key", "new", "P-256", "none/key.pem")
        kinds = f"The kind of key must be one of {' '.join(KINDS)}."
        # A misplaced URI may hold a PIN, so the error does not quote it.
        for kind in ("RSA-1024", "pkcs11:token=t?pin-value=1234"):
            self.reject(2, kinds, "key", "new", kind, "small.pem")
        for option in ("--secret-file=", "--encrypt"):  # an unset variable must not mean "unencrypted"
            self.assertNotEqual(self.run_command("key", "new", "P-256", "small.pem", option).returncode, 0)
        self.reject(4, "There is no terminal to ask for a new passphrase of \"secret.pem\".",
                    "key", "new", "P-256", "secret.pem", "--encrypt",
                    hint="Without a terminal, --secret-file FILE gives the passphrase or PIN.")
        self.reject(4, "The passphrase is empty.", "key", "new", "P-256", "secret.pem", "--secret-file",
                    self.path("empty.txt", "\nsecond line\n"))
        self.assertEqual(sorted(os.listdir(self.folder)), ["empty.txt", "key.pem"])

    def test_a_key_beyond_the_limit_of_the_file_size_leaves_no_file(self):
        done = subprocess.run([TORVANE, "key", "new", "P-256", "key.pem"], capture_output=True, cwd=self.folder,
                              env=ENVIRONMENT,
                              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (100, 100)))
        self.assertEqual((done.returncode, done.stderr, os.listdir(self.folder)),
                         (4, b'torvane: The file "key.pem" cannot be written: File too large.\n', []))

    def test_a_passphrase_encrypts_the_file(self):
        secret = self.path("secret.txt", "open sesame\r\nnot this line\n")
        self.succeed("key", "new", "secp256k1", "key.pem", "--secret-file", secret)
        self.assertEqual(self.pem("key.pem", b"open sesame").get("crv"), "secp256k1")
        self.reject(4, 'A passphrase is needed for "key.pem".', "key", "show", "key.pem",
                    hint="Without a terminal, --secret-file FILE gives the passphrase or PIN.")
        self.reject(4, 'The passphrase does not decrypt "key.pem", or OpenSSL does not know its encryption.',
                    "key", "show", "key.pem", "--secret-file", self.path("wrong.txt", "open barley"))
        self.assertIn("private", self.text("key", "show", "key.pem", "--secret-file", secret))
        self.reject(4, "The passphrase is longer than 1024 bytes.", "key", "new", "P-256", "long.pem", "--secret-file",
                    self.path("long.txt", "x" * 1025))
        self.reject(3, 'Cannot read "/dev/zero": The file is longer than 64.0 KiB.', "key", "show", "key.pem",
                    "--secret-file", "/dev/zero")
        self.reject(3, 'Cannot read "none.txt": No such file or directory.', "key", "show", "key.pem",
                    "--secret-file", "none.txt")

    def test_a_passphrase_is_not_echoed_and_must_be_typed_twice(self):
        for second, code, ends in (("open sesame", 0, ""), ("open barley", 4,
                                                            "torvane: The two passphrases differ.\n")):
            name = f"key{code}.pem"
            terminal = Terminal("key", "new", "P-256", "--encrypt", name, folder=self.folder)
            terminal.answer(f'A new passphrase of "{name}": ', "open sesame")
            terminal.answer(f'A new passphrase of "{name}", again: ', second)
            code_and_text = terminal.finish()
            ends = ends or f"Created {name}: P-256, thumbprint {self.pem(name, b'open sesame').thumbprint()}\n"
            self.assertEqual(code_and_text, (code, f'A new passphrase of "{name}": \n'
                                                   f'A new passphrase of "{name}", again: \n{ends}'))
        terminal = Terminal("key", "new", "P-256", "--encrypt", "none.pem", folder=self.folder)
        terminal.answer('A new passphrase of "none.pem": ', "\x04", end="")
        self.assertEqual(terminal.finish()[1].splitlines()[-1], "torvane: No passphrase was entered.")
        self.assertEqual(os.listdir(self.folder), ["key0.pem"])
        terminal = Terminal("key", "show", "key0.pem", folder=self.folder, env={"NO_COLOR": "1"})
        terminal.answer('The passphrase of "key0.pem": ', "open sesame")
        terminal.wait_for("thumbprint")
        self.assertTrue(terminal.has_echo())
        code, shown = terminal.finish()
        self.assertEqual(code, 0)
        self.assertIn("curve       P-256", shown)

    QUESTION = 'The passphrase of "key.pem": '

    def make_locked_key(self):
        self.succeed("key", "new", "P-256", "key.pem", "--secret-file", self.path("secret.txt", "open sesame"))

    def test_no_file_name_controls_the_terminal(self):
        name = EVIL + ".pem"
        self.succeed("key", "new", "P-256", name, "--secret-file", self.path("secret.txt", "open sesame"))
        terminal = Terminal("key", "show", name, folder=self.folder, env={"NO_COLOR": "1"})
        terminal.answer('.pem": ', "wrong")
        code, shown = terminal.finish()
        self.assertEqual((code, shown.count("\\u{61C}")), (4, 2), shown)
        self.assert_harmless(shown)

    def test_a_signal_at_the_question_restores_the_terminal(self):
        self.make_locked_key()
        for typed, number in (("\x03", signal.SIGINT), ("\x1c", signal.SIGQUIT), ("", signal.SIGTERM),
                              ("", signal.SIGHUP)):
            terminal = Terminal("key", "show", "key.pem", folder=self.folder)
            echo = terminal.has_echo()
            terminal.answer(self.QUESTION, "half of it" + typed, end="")
            if not typed:
                os.kill(terminal.process, number)
            end = time.monotonic() + 60
            while os.waitpid(terminal.process, os.WNOHANG) == (0, 0):
                self.assertLess(time.monotonic(), end, "the command does not end")
                if select.select([terminal.master], [], [], 0.05)[0]:
                    terminal.read()
            self.assertTrue(echo and terminal.has_echo(), number)
            os.close(terminal.master)

    def test_the_echo_is_on_while_the_question_is_stopped_and_off_afterwards(self):
        self.make_locked_key()
        for stop in (signal.SIGTSTP, signal.SIGSTOP):
            # This shell changes no setting of the terminal itself.
            terminal = Terminal("-mc", '"$0" key show key.pem; echo stopped; read go; stty echo; fg',
                                TORVANE, program="dash", folder=self.folder)
            terminal.answer(self.QUESTION, "half", end="")
            os.kill(os.tcgetpgrp(terminal.master), stop)
            terminal.wait_for("stopped")
            if stop == signal.SIGTSTP:
                self.assertTrue(terminal.has_echo())
            terminal.shown = b""
            terminal.answer("", "go")
            terminal.wait_for(self.QUESTION)
            self.assertFalse(terminal.has_echo(), stop)
            terminal.answer("", "open sesame")
            terminal.wait_for("thumbprint")
            self.assertTrue(terminal.has_echo(), stop)
            code, shown = terminal.finish()
            self.assertEqual(code, 0)
            self.assertNotIn("sesame", shown)

    def test_a_missing_file_and_a_file_without_a_key_give_different_errors(self):
        for content, error in ((b"", '"file" is empty; a PEM, DER or PKCS #12 file is needed here.'),
                               (b"text", '"file" is no key file; a PEM, DER or PKCS #12 file is needed here.'),
                               (None, 'The file "file" cannot be read: No such file or directory.')):
            self.path("file", content) if content is not None else os.remove(self.path("file"))
            self.reject(4, error, "key", "show", "file")

    def test_json_for_machines(self):
        self.succeed("key", "new", "RSA-2048", "key.pem")
        thumbprint = self.pem("key.pem").thumbprint()
        self.assertEqual(self.text("key", "show", "key.pem", "--json"),
                         '{\n  "class": "private",\n  "family": "RSA",\n  "size": 2048,\n'
                         f'  "thumbprint": "{thumbprint}"\n}}\n')


@unittest.skipUnless(os.environ.get("SOFTHSM2_MODULE"), "built without PKCS #11")
class Pkcs11Tokens(Pkcs11Test):
    @classmethod
    def uri(cls, name):
        return super().uri(name).replace("pkcs11:", "PKCS11:")

    def test_the_pin_of_a_new_key_is_not_shown(self):
        for name, pin in (("a", ";pin-value=1234"), ("b", "?pin-value=1234&")):
            module = "module-path=" + os.environ["SOFTHSM2_MODULE"]
            uri = f"pkcs11:token=app;object={name}{pin}" + (module if "?" in pin else "?" + module)
            for more in ((), ("--json",)):
                done = self.run_command("key", "new", "P-256", uri, "--secret-file", self.key("pin.txt"), *more,
                                        env=self.environment)
                self.assertNotIn(b"1234", done.stdout + done.stderr)
                uri = uri.replace("object=", "object=json-")

    def test_a_key_is_created_and_used_in_a_pkcs11_token(self):
        pin = ("--secret-file", self.key("pin.txt"))
        for name in ("sign", "decrypt"):
            self.succeed("key", "new", "RSA-2048", self.uri(name), *pin, env=self.environment)
        shown = self.text("key", "show", self.uri("sign"), *pin, env=self.environment)
        self.assertRegex(shown, r"\Afamily      RSA\nsize        2048 bits\nclass       private\n"
                                r"thumbprint  [\w-]{43}\nlabel       sign\n\Z")
        self.assertEqual(self.text("key", "show", "--public", self.uri("sign"), env=self.environment).splitlines()[:4],
                         shown.replace("private", "public").splitlines()[:4])
        self.succeed("jwks", "make", "sig:s=" + self.uri("sign"), "enc:e=" + self.uri("decrypt"), "-o", "public.jwks",
                     env=self.environment)
        token = self.succeed("encode", "--own", "sig:s=" + self.uri("sign"), "--peer", "public.jwks",
                             "--encrypt-to", "e", *pin, stdin="by a device", env=self.environment)
        self.assertEqual(self.text("decode", "--own", "enc:e=" + self.uri("decrypt"), "--peer", "public.jwks", *pin,
                                   stdin=token, env=self.environment), "by a device")
        done = self.run_command("key", "show", self.uri("sign"), "--secret-file", self.path("wrong", "4321"),
                                env=self.environment)
        self.assertEqual(done.returncode, 4)
        self.assertIn("PIN", done.stderr.decode())
        refused = 'torvane: One wrong PIN would lock the PKCS #11 token "app": only the last try is left, ' \
                  "which is not used without permission.\n"
        last = {**self.environment, "QUIRK": "last try"}
        uri = self.uri("sign").replace(os.environ["SOFTHSM2_MODULE"], os.environ["QUIRKY_DRIVER"].replace(" ", "%20"))
        set_of_peer = ("--peer", "public.jwks", *pin)
        for arguments, stdin in ((("key", "new", "P-256", uri.replace("sign", "new"), *pin), b""),
                                 (("key", "show", uri, *pin), b""),
                                 (("encode", "--own", "sig:s=" + uri, "--encrypt-to", "e", *set_of_peer), b"x"),
                                 (("decode", "--own", "enc:e=" + uri.replace("sign", "decrypt"), *set_of_peer), token),
                                 (("inspect", "--own", "enc:e=" + uri.replace("sign", "decrypt"), *set_of_peer),
                                  token)):
            done = self.run_command(*arguments, stdin=stdin, env=last)
            self.assertEqual((done.returncode, done.stdout, done.stderr.decode()), (4, b"", refused), arguments)
            self.succeed(*arguments, "--last-pin-try", stdin=stdin, env=last)
        self.reject(4, 'The file "absent.pem" cannot be read: No such file or directory.', "key", "show",
                    "--last-pin-try", "absent.pem")
        self.reject(4, "A secp256k1 key cannot be made in a PKCS #11 token.", "key", "new", "secp256k1", self.uri("k"))

    # The system's list of trusted certificates is registered as a driver beside SoftHSM.
    def register(self):
        os.makedirs(self.path("config/pkcs11/modules"))
        self.path("config/pkcs11/modules/softhsm2.module", "module: " + os.environ["SOFTHSM2_MODULE"] + "\n")
        return {**self.environment, "XDG_CONFIG_HOME": self.path("config")}

    def test_rotate_names_the_new_key_of_a_pkcs11_token_without_the_pin(self):
        self.succeed("key", "new", "P-256", "old.pem")
        module = os.environ["SOFTHSM2_MODULE"]
        place = "pkcs11:token=app;object={}"
        for name, query in (("a", f"?module-path={module}&pin-value=1234"),
                            ("b", f"?pin-value=1234&module-path={module}")):
            self.succeed("jwks", "make", "sig:old=old.pem", "-o", "rotated")
            done = self.run_command("jwks", "rotate", "rotated", "--use", "sig", "--kid", name, "--key",
                                    place.format(name) + query, env=self.environment)
            self.assertEqual((done.returncode, done.stdout, done.stderr.decode().splitlines()[0]),
                             (0, b"", f'The new key pair "{name}" (P-256) is in "{place.format(name)}".'))
            self.assertNotIn(b"1234", done.stderr)
            with open(self.path("rotated"), encoding="utf-8") as file:
                *_, added = json.load(file)["keys"]
            shown = self.text("key", "show", "--json", place.format(name) + "?module-path=" + module, "--secret-file",
                              self.key("pin.txt"), env=self.environment)
            self.assertEqual(JWK(**added).thumbprint(), json.loads(shown)["thumbprint"])

    def test_the_certificates_that_the_system_trusts_are_not_searched(self):
        env = self.register()
        listed = subprocess.run(["p11-kit", "list-modules"], env={**ENVIRONMENT, **env}, capture_output=True, text=True,
                                check=True).stdout
        self.assertIn("p11-kit-trust", listed)
        drivers = "`p11-kit list-modules` lists the registered drivers; ?module-path=FILE at the end of the URI " \
                  "names another one."
        for uri in ("pkcs11:token=System%20Trust", "pkcs11:model=p11-kit-trust", "PKCS11:token=none"):
            self.reject(4, f'No PKCS #11 token matches "{uri}". Tokens present: "app".', "key", "show", "--public", uri,
                        env=env, hint=drivers)
        pin = ("--secret-file", self.key("pin.txt"))
        for number in range(7):
            created = self.text("key", "new", "p-256", f"pkcs11:token=app;object=many{number}", *pin, env=env)
            self.assertRegex(created, rf"\ACreated pkcs11:token=app;object=many{number}: P-256, thumbprint "
                                      r"[\w-]{43}\n\Z")
        # Without a name every device but the list of certificates is meant.
        for uri in ("pkcs11:", "PKCS11:token=app", "pkcs11:token=app?module-path=" + os.environ["SOFTHSM2_MODULE"]):
            done = self.run_command("key", "show", uri, *pin, env=env)
            self.assertEqual(done.returncode, 4)
            self.assertRegex(done.stderr.decode(),
                             r'\Atorvane: There is more than one p[a-z]+ key in the PKCS #11 token "app": '
                             r'("\w+" with id [0-9a-f]{32}, ){4}"\w+" with id [0-9a-f]{32} and \d more\.\n'
                             r"hint: Name the key: add object=LABEL to the path of the URI\.\n\Z")

    def test_a_missing_public_key_is_reported_without_a_question_for_the_pin(self):
        for name in ("nobody", "some%20body"):
            terminal = Terminal("key", "show", "--public", self.uri(name), folder=self.folder, env=self.environment)
            label = name.replace("%20", " ")
            self.assertEqual(terminal.finish(), (4, (
                f'torvane: The PKCS #11 token shows no public key "{label}" and no such certificate without its PIN.\n'
                "hint: `torvane key show` without --public asks for the PIN, and looks for the private key.\n")))
        done = self.run_command("key", "show", "--public", self.uri("nobody"), "--secret-file", self.key("pin.txt"),
                                env=self.environment)
        self.assertEqual(done.returncode, 4)
        self.assertTrue(done.stderr.startswith(b'torvane: There is no public key named "nobody" in '), done.stderr)

    def test_a_new_key_in_a_pkcs11_token_needs_a_name_and_no_passphrase(self):
        for uri, named in (("pkcs11:token=app", "pkcs11:token=app;object=NAME"), ("pkcs11:", "pkcs11:object=NAME"),
                           ("pkcs11:token=app?pin-value=1234", "pkcs11:token=app;object=NAME")):
            terminal = Terminal("key", "new", "P-256", uri, folder=self.folder, env=self.environment)
            self.assertEqual(terminal.finish(), (2, "torvane: The new key needs a name in the PKCS #11 token.\n"
                                                    f"hint: Add one to the URI: {named}\n"))
        self.reject(2, "--encrypt is for files: a PKCS #11 token protects its keys itself.", "key", "new", "P-256",
                    "--encrypt", self.uri("x"), hint="Leave out --encrypt; --secret-file gives the PIN.")
        shown = json.loads(self.text("key", "new", "P-256", self.uri("json"), "--json", "--secret-file",
                                     self.key("pin.txt"), env=self.environment))
        self.assertEqual((shown["uri"], shown["label"], shown["curve"]),
                         ("PKCS11:token=app;object=json", "json", "P-256"))


if __name__ == "__main__":
    unittest.main()
