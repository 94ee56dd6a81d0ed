"""`encode` and `decode`: streams and files, another implementation, and the exit code of each failure."""
import json
import os
import resource
import subprocess
import time
import unittest

from jwcrypto.jwe import JWE
from jwcrypto.jwk import JWK
from jwcrypto.jws import JWS

from running import CommandTest, ENVIRONMENT, TORVANE, Terminal


class Messages(CommandTest):
    @classmethod
    def setUpKeys(cls):
        for name in ("sign", "decrypt", "other"):
            cls.make("key", "new", "RSA-2048", name + ".pem")
        cls.make("key", "new", "P-256", "ec.pem")
        cls.make("jwks", "make", "sig:s=sign.pem", "enc:e=decrypt.pem", "-o", "set")
        cls.make("jwks", "make", "sig:s=other.pem", "enc:e=decrypt.pem", "-o", "other-set")
        cls.make("jwks", "make", "sig:x=sign.pem", "-o", "renamed-set")

    def encode(self, message, *more):
        return self.succeed("encode", "--own", "sig:s=" + self.key("sign.pem"), "--peer", self.key("set"),
                            "--encrypt-to", "e", *more, stdin=message)

    def decoding(self, *more, peer="set", own="enc:e=decrypt.pem"):
        name, _, file = own.partition("=")
        return ("decode", "--own", f"{name}={self.key(file)}", "--peer", self.key(peer), *more)

    def jwk(self, name):
        with open(self.key(name + ".pem"), "rb") as file:
            return JWK.from_pem(file.read())

    def test_messages_survive_a_round_trip_by_streams_and_by_files(self):
        for message in (b"", b"\n", bytes(range(256)), os.urandom(3_000_000)):
            token = self.encode(message)
            self.assertRegex(token, rb"\A[\w.-]+\Z")
            self.assertEqual(self.succeed(*self.decoding(), stdin=token), message)
            self.path("message", message)
            self.encode(b"not this", "-o", "token", "--jws-header", "a=b", "message")
            self.assertEqual(self.succeed(*self.decoding("token", "-o", "decoded")), b"")
            with open(self.path("decoded"), "rb") as file:
                self.assertEqual(file.read(), message)
        self.assertEqual(self.succeed(*self.decoding("-", "-o", "-"), stdin=b" \r\n" + token + b"\r\n "), message)

    def test_a_message_does_not_control_the_terminal(self):
        message = "two\tlines\r\nand\n\u001b[2J\u009b\r\u061c\u180e\u00ad\ufff9\u3164\u115f\n".encode() + b"\xff\n"
        self.path("token", self.encode(message))
        shown = "two\tlines\nand\n\\u001b[2J\\u009b\\r\\u061c\\u180e\\u00ad\\ufff9\\u3164\\u115f\n\\xff\n"
        for output in ((), ("-o", "-"), ("-o", "/dev/tty")):
            self.assertEqual(Terminal(*self.decoding("token", *output), folder=self.folder).finish(), (0, shown))
        self.assertEqual(self.succeed(*self.decoding("token")), message)

    def test_tokens_are_exchanged_with_another_implementation(self):
        token = self.encode("to another", "--jws-alg", "PS384", "--jwe-alg", "RSA-OAEP", "--jwe-enc", "A256GCM",
                            "--jws-header", "a=1=2", "--jws-header", "typ=x", "--jwe-header", "b=")
        outer = JWE()
        outer.deserialize(token.decode().strip(), self.jwk("decrypt"))
        self.assertEqual(outer.jose_header, {"alg": "RSA-OAEP", "enc": "A256GCM", "kid": "e", "cty": "JWT", "b": ""})
        inner = JWS()
        inner.deserialize(outer.payload.decode(), self.jwk("sign"))
        self.assertEqual((inner.payload, inner.jose_header),
                         (b"to another", {"alg": "PS384", "kid": "s", "a": "1=2", "typ": "x"}))
        theirs = JWS(b"from another")
        theirs.add_signature(self.jwk("sign"), None, json.dumps({"alg": "PS384", "kid": "s"}))
        theirs = JWE(theirs.serialize(compact=True), json.dumps({"alg": "RSA-OAEP", "enc": "A256GCM", "kid": "e"}))
        theirs.add_recipient(self.jwk("decrypt"))
        algorithms = ("--jws-alg", "PS384", "--jwe-alg", "RSA-OAEP", "--jwe-enc", "A256GCM")
        self.assertEqual(self.text(*self.decoding(*algorithms), stdin=theirs.serialize(compact=True)), "from another")

    def test_each_failure_has_its_exit_code_and_writes_nothing(self):
        token = self.encode("secret").decode()
        parts = token.strip().split(".")
        changed = ".".join(parts[:3] + [("A" if parts[3][0] != "A" else "B") + parts[3][1:], parts[4]])
        not_signed = JWE(b"eyJhbGciOiJub25lIn0.e30.AA", json.dumps({"alg": "RSA-OAEP-256", "enc": "A128CBC-HS256"}))
        not_signed.add_recipient(self.jwk("decrypt"))
        for arguments, stdin, code, error in (
                (self.decoding(), changed, 6, "The JWE could not be decrypted.\n"),
                (self.decoding("--jwe-enc", "A256GCM"), token, 6,
                 "The token is encrypted with A128CBC-HS256, not A256GCM.\n"),
                (self.decoding(peer="other-set"), token, 7, "The signature does not verify.\n"),
                (self.decoding("--jws-alg", "RS512"), token, 7, "The token is signed with RS256, not RS512.\n"),
                (self.decoding(), not_signed.serialize(compact=True), 7,
                 'The token is not signed: its algorithm is "none".\n'),
                (self.decoding(peer="renamed-set"), token, 4,
                 f'No key "s" in "{self.key("renamed-set")}"; it has x.\n'),
                (self.decoding(own="enc:f=decrypt.pem"), token, 4, 'The token is for "e"; you gave "f".\n'),
                (self.decoding(own="enc:e=ec.pem"), token, 4, 'The key "e" is on P-256; decode takes RSA keys.\n'),
                (self.decoding(), "no token", 5,
                 "Missing component separator character. Invalid compact serialized string.\n"),
                (self.decoding(), "", 5, "The input is empty, not a compact token.\n"),
                (self.decoding("--jws-alg", "none"), token, 2,
                 "Algorithm 'none' is not supported for signing/verifying data.\n"),
                (self.decoding("--jwe-alg", "RSA1_5"), token, 2,
                 "RSA1_5 algorithm is not supported for key management.\n"),
                (self.decoding(peer="none"), token, 4,
                 f'Cannot read "{self.key("none")}": No such file or directory.\n'),
                (self.decoding(peer="sign.pem"), token, 4, f'"{self.key("sign.pem")}" is a PEM file; '),
                (self.decoding("none"), "", 3, 'Cannot read "none": No such file or directory.\n'),
                (self.decoding(own="enc/RSA-OAEP:e=decrypt.pem"), token, 2,
                 'The key "enc/RSA-OAEP:e" must not name an algorithm.\n')):
            with self.subTest(arguments=arguments, stdin=stdin[:20]):
                done = self.run_command(*arguments, "-o", "out", stdin=stdin)
                lines = done.stderr.decode().splitlines(keepends=True)
                self.assertEqual((done.returncode, done.stdout), (code, b""), lines)
                has_hint = "Cannot read" not in error and "must not" not in error and 'is "none"' not in error
                self.assertEqual([line[:6] for line in lines[1:]], ["hint: "] * has_hint, lines)
                self.assertTrue(lines[0].startswith("torvane: " + error), lines)
                self.assertFalse(os.path.exists(self.path("out")))
        encoding = ("encode", "--own", "sig:s=" + self.key("sign.pem"), "--peer", self.key("set"), "--encrypt-to", "e")
        for header, error, hint in (
                ("nothing", "is not of the form NAME=VALUE.", None), ("=x", "is not of the form NAME=VALUE.", None),
                ("alg=none", "sets a parameter that another option sets.",
                 "--alg sets it, or --jws-alg and --jwe-alg where there are two algorithms."),
                ("kid=z", "sets a parameter that another option sets.",
                 "--kid sets it; in encode, it is the KID of --own and of the peer's key.")):
            self.reject(2, f'"{header}" {error}', *encoding, "--jws-header", header, hint=hint)
        self.reject(2, '"a=2" repeats a header parameter.', *encoding, "--jwe-header", "a=1",
                    "--jwe-header", "a=2")
        for option, code in (("--jws-header", 2), ("--jwe-header", 2)):
            self.assertEqual(self.run_command(*encoding, option, "crit=x").returncode, code)
        self.assertEqual(self.run_command(*encoding, "--jws-alg", "ES256").returncode, 4)
        self.reject(3, 'Cannot write "none/out": No such file or directory.', *self.decoding("-o", "none/out"),
                    stdin=token)

    def test_a_key_for_both_uses_signs_and_decrypts(self):
        token = self.succeed("encode", "--own", "sig_enc:s=" + self.key("sign.pem"), "--peer", self.key("set"),
                             "--encrypt-to", "e", stdin="both")
        self.assertEqual(self.text(*self.decoding(own="sig_enc:e=decrypt.pem"), stdin=token), "both")

    def test_a_fifo_is_read_only_while_a_process_writes_to_it(self):
        self.path("token", self.encode("by a FIFO"))
        self.succeed("key", "new", "P-256", "locked.pem", "--secret-file", self.path("secret", "open sesame"))
        os.mkfifo(self.path("fifo"))
        key, peer = self.key("decrypt.pem"), self.key("set")
        for arguments, code, error in (
                (("key", "show", "fifo"), 4, 'The file "fifo" cannot be read'),
                (("key", "show", "locked.pem", "--secret-file", "fifo"), 3, 'Cannot read "fifo"'),
                (("decode", "--own", "enc:e=" + key, "--peer", "fifo", "token"), 4, 'Cannot read "fifo"'),
                (self.decoding("fifo"), 3, 'Cannot read "fifo"')):
            done = subprocess.run([TORVANE, *arguments], capture_output=True, cwd=self.folder, env=ENVIRONMENT,
                                  timeout=20)
            self.assertEqual((done.returncode, done.stderr.decode()),
                             (code, f"torvane: {error}: No process writes to it.\n"))
        # The writer may wait for the reader, be slow, or have finished.
        for script, shown in (
                (f"cat token > fifo & sleep 1; torvane decode --own enc:e={key} --peer {peer} fifo", "by a FIFO"),
                (f"torvane decode --own enc:e=<(sleep 1; cat {key}) --peer <(cat {peer}) <(sleep 2; cat token)",
                 "by a FIFO"),
                (f"cat token | torvane decode --own enc:e={key} --peer {peer} /dev/stdin", "by a FIFO"),
                ("torvane key show locked.pem --secret-file <(cat secret) | head -1", "family      EC\n"),
                ("exec 3< <(true); sleep 1; torvane encode --own sig:s={} --peer {} --encrypt-to e /dev/fd/3 |"
                 " grep -c ^ey".format(self.key("sign.pem"), peer), "1\n")):
            done = subprocess.run(["bash", "-c", script], capture_output=True, cwd=self.folder, env=ENVIRONMENT,
                                  timeout=20)
            self.assertEqual((done.stdout.decode(), done.stderr), (shown, b""), script)

    def test_closed_or_reused_standard_input_is_an_error(self):
        encoding = ["encode", "--own", "sig:s=" + self.key("sign.pem"), "--encrypt-to", "e", "--peer"]
        closed = subprocess.run(["sh", "-c", '"$0" "$@" <&-', TORVANE, *encoding, self.key("set")], capture_output=True,
                                cwd=self.folder, env=ENVIRONMENT)
        self.assertEqual((closed.returncode, closed.stdout, closed.stderr),
                         (3, b"", b"torvane: Cannot read standard input: Bad file descriptor.\n"))
        with open(self.key("set"), "rb") as file:
            self.reject(2, "Standard input can be read only once.", *encoding, "-", stdin=file.read())
        for option in ("--peer=", "--own=", "--encrypt-to=", "-o", "--jws-alg="):
            done = self.run_command(*encoding, self.key("set"), *([option, ""] if option == "-o" else [option]))
            self.assertEqual((done.returncode, done.stdout), (2, b""), option)

    def test_a_failed_write_is_an_error_and_leaves_the_old_file(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([TORVANE, *self.decoding()], input=self.encode("x"), stdout=full, cwd=self.folder,
                                  stderr=subprocess.PIPE, env=ENVIRONMENT, timeout=60)
        self.assertEqual((done.returncode, done.stderr), (3, b"torvane: Cannot write standard output: "
                                                             b"No space left on device.\n"))
        # A file keeps its mode, and a link stays a link.
        os.chmod(self.path("private", "x" * 9000), 0o600)
        os.symlink("private", self.path("link"))
        for name in ("private", "link"):
            self.succeed(*self.decoding("-o", name), stdin=self.encode(name))
            with open(self.path("private"), encoding="ascii") as file:
                self.assertEqual((file.read(), os.fstat(file.fileno()).st_mode & 0o777), (name, 0o600))
        self.assertTrue(os.path.islink(self.path("link")))
        os.remove(self.path("private"))
        os.remove(self.path("link"))
        # After a failure the old content is still there, and no temporary file.
        self.path("out", "before")
        done = subprocess.run([TORVANE, *self.decoding("-o", "out")], input=self.encode(bytes(5000)), env=ENVIRONMENT,
                              cwd=self.folder, stderr=subprocess.PIPE, timeout=60,
                              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000)))
        self.assertEqual((done.returncode, done.stderr), (3, b'torvane: Cannot write "out": File too large.\n'))
        with open(self.path("out"), "rb") as file:
            self.assertEqual((os.listdir(self.folder), file.read()), (["out"], b"before"))

    def test_progress_of_a_long_input_is_shown_and_erased(self):
        reader, writer = os.pipe()
        terminal = Terminal("encode", "--own", "sig:s=" + self.key("sign.pem"), "--peer", self.key("set"),
                            "-o", "token", folder=self.folder, stdin=reader)
        os.close(reader)
        for _ in range(4):
            os.write(writer, b"x" * 10240)
            time.sleep(0.2)
        terminal.wait_for("\r\033[Kreading ")
        os.close(writer)
        code, shown = terminal.finish()
        self.assertEqual((code, shown[-4:]), (0, "\r\033[K"))
        self.path("long", bytes(20 << 20))
        terminal = Terminal("encode", "--own", "sig:s=" + self.key("sign.pem"), "--peer", self.key("set"),
                            "-o", "token", "long", folder=self.folder)
        code, shown = terminal.finish()
        self.assertEqual(code, 0)
        self.assertIn("\r\033[Kencoding 20.0 MiB\r\033[K", shown)


if __name__ == "__main__":
    unittest.main()
