"""Help, usage errors, shell completion, and the manual page."""
import os
import re
import subprocess
import unittest

from running import CommandTest, ENVIRONMENT

SOURCE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "cli")
COMMANDS = ("", "key", "key new", "key show", "jwks", "jwks make", "jwks list", "jwks check", "jwks select", "encode",
            "decode", "inspect")


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
            if command not in ("key", "jwks"):
                self.assertRegex(self.help(command), r"\n  (echo Hello \| )?torvane " + command)
        self.assertRegex(self.text("--version"), r"\Atorvane \d+\.\d+\.\d+\n\Z")

    def test_usage_errors_are_one_line_and_exit_with_2(self):
        for arguments, error in (((), "A subcommand is required"), (("key",), "A subcommand is required"),
                                 (("frobnicate",), 'Unknown command "frobnicate".'),
                                 (("jwks", "build"), 'Unknown command "build".'),
                                 (("key", "new"), "kind is required"), (("decode",), "--peer is required"),
                                 (("inspect", "a", "b"), "The following argument was not expected: b"),
                                 (("inspect", "--peer"), "--peer: 1 required FILE missing")):
            done = self.run_command(*arguments)
            self.assertEqual((done.returncode, done.stdout), (2, b""), arguments)
            self.assertRegex(done.stderr.decode(), rf"\Atorvane: {error}.*\(See torvane --help\.\)\n\Z")

    CANDIDATES = (("key n", ["new"]), ("", ["key", "jwks", "encode", "decode", "inspect"]),
                  ("key new P-", ["P-256", "P-384", "P-521"]), ("encode --jwe-alg RSA-OAEP-2", ["RSA-OAEP-256"]),
                  ("encode --own sig:a=x --jwe-enc A256", ["A256CBC-HS512", "A256GCM"]),
                  ("jwks select --kty ", ["RSA", "EC"]), ("inspect --js", ["--json"]), ("inspect --peer ", []),
                  ("key new P-256 ", []), ("decode --peer set --out", ["--output"]))

    def test_bash_completes(self):
        script = f'. {SOURCE}/completions/torvane.bash; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _torvane; ' \
                 'printf "%s\\n" "${COMPREPLY[@]}"'
        for line, expected in self.CANDIDATES:
            done = subprocess.run(["bash", "-c", script, "bash", "torvane", *line.split(" ")], capture_output=True,
                                  text=True, cwd=self.folder, env=ENVIRONMENT, check=True)
            self.assertEqual((done.stdout.split(), done.stderr), (expected, ""), line)

    def test_fish_completes(self):
        for line, expected in self.CANDIDATES:
            done = subprocess.run(["fish", "--no-config", "-c", f"source {SOURCE}/completions/torvane.fish; "
                                   f"complete -C 'torvane {line}'"], capture_output=True, text=True, cwd=self.folder,
                                  env={**ENVIRONMENT, "HOME": self.folder})
            found = [row.split("\t")[0] for row in done.stdout.splitlines()]
            self.assertEqual((sorted(found), done.stderr), (sorted(expected), ""), line)

    def test_zsh_completes(self):
        # Stands in for the completion functions of zsh, which need a terminal.
        script = f'compdef() {{ }}; compset() {{ }}; _describe() {{ print -l -- ${{(P)2}}; }}; ' \
                 '_files() { print files; }; ' \
                 f'words=("$@"); CURRENT=$#; . {SOURCE}/completions/_torvane'
        for line, expected in self.CANDIDATES:
            done = subprocess.run(["zsh", "-f", "-c", script, "zsh", "torvane", *line.split(" ")], capture_output=True,
                                  text=True, cwd=self.folder, env=ENVIRONMENT)
            found = [row.split(":")[0] for row in done.stdout.splitlines()]
            self.assertEqual((found, done.stderr), (expected or ["files"], ""), line)


if __name__ == "__main__":
    unittest.main()
