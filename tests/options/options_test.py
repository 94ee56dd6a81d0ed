"""Configures the library with each combination of its options: options_test.py SOURCE CMAKE COMPILER

The options may change which sources are compiled, not how, and which libraries the static library asks for.
"""

import itertools
import json
import pathlib
import subprocess
import sys
import tempfile

SOURCE, CMAKE, COMPILER = sys.argv[1:]
# For each option: sources with it, the source without it if there is one, and what it needs.
OPTIONS = {
    "FILES": ({"file_io.cpp", "key_file.cpp", "file_posix.cpp"}, "files_absent.cpp", None),
    "PKCS11": ({"pkcs11_key_store.cpp", "objects.cpp", "operations.cpp", "process_state.cpp", "session.cpp",
                "token.cpp", "token_search.cpp", "uri.cpp"}, "pkcs11_key_store_absent.cpp", "-lp11-kit"),
    "POLICIES": ({"claims_error.cpp", "claims_policy.cpp", "key_set_source.cpp",
                  "key_set_source_error.cpp", "known_keys.cpp", "key_choice.cpp", "message_rules.cpp",
                  "nested_token.cpp", "token_error.cpp", "token_profiles.cpp", "token_steps.cpp",
                  "token_verifier.cpp", "certificates.cpp", "thumbprint_uri.cpp",
                  "key_thumbprint_uri.cpp"}, None, None),
    "SECP256K1": ({"secp256k1_curve.cpp"}, "secp256k1_curve_absent.cpp", "-lsecp256k1"),
}


def configure(folder, options):
    """Returns the words of each source's compiler call, and what torvane.pc links."""
    build = pathlib.Path(folder)
    subprocess.run([CMAKE, "-S", SOURCE, "-B", build, "-G", "Ninja", f"-DCMAKE_CXX_COMPILER={COMPILER}",
                    "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", "-DTORVANE_BUILD_TESTS=OFF", "-DTORVANE_HARDENING=OFF",
                    *options], check=True, stdout=subprocess.DEVNULL)
    commands = {pathlib.Path(entry["file"]).name: entry["command"].split() for entry in
                json.loads((build / "compile_commands.json").read_text()) if "/torvane/" in entry["file"]}
    required = [line for line in (build / "torvane.pc").read_text().splitlines() if line.startswith("Libs:")]
    return commands, required[0]


def flags(words):
    """All but names of files and the folders of headers."""
    return [word for word, before in zip(words[1:], words) if word[0] == "-" and word[:2] != "-I"
            and word != "-isystem" and before not in ("-isystem", "-o", "-c")]


def main():
    expected_flags = None
    for present in itertools.product((False, True), repeat=len(OPTIONS)):
        with tempfile.TemporaryDirectory() as folder:
            commands, required = configure(folder, ["-DTORVANE_BUILD_CLI=OFF"] + [
                f"-DTORVANE_{name}={'ON' if on else 'OFF'}" for name, on in zip(OPTIONS, present)])
        for (name, (sources, absent, library)), on in zip(OPTIONS.items(), present):
            assert (sources <= commands.keys()) == on, (name, on, sorted(commands))
            assert absent is None or (absent in commands) != on, (name, on, sorted(commands))
            assert on or not sources & commands.keys(), (name, sorted(commands))
            assert library is None or (library in required) == on, (name, on, required)
        expected_flags = expected_flags or flags(commands["error.cpp"])
        different = [name for name, words in commands.items()
                     if flags(words) != expected_flags]
        assert not different, (present, different)
    for name in ("FILES", "POLICIES"):
        with tempfile.TemporaryDirectory() as folder:
            refused = subprocess.run([CMAKE, "-S", SOURCE, "-B", folder, f"-DCMAKE_CXX_COMPILER={COMPILER}",
                                      f"-DTORVANE_{name}=OFF", "-DTORVANE_BUILD_TESTS=OFF"], capture_output=True,
                                     text=True)
        assert refused.returncode != 0 and f"TORVANE_BUILD_CLI needs TORVANE_{name}" in refused.stderr, refused


if __name__ == "__main__":
    main()
