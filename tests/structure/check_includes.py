"""Checks the includes of torvane/, and that each of its folders with sources has a test: check_includes.py

A file may include its own layer and lower ones. An internal header of another folder needs an entry in ALLOWED, and an
entry that no include needs is a fault too. Public headers include no private ones. Only the sources and private headers
of platform/ include headers of third parties, and only those of platform/system/ headers of the operating system. Every
include of a file in torvane/ must name its path from torvane/ on.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
FEWEST_FILES, FEWEST_FOLDERS = 100, 10

# Calls of the operating system, for the library and the command.
SYSTEM = "torvane/platform/system/"

# From the bottom up. Folders of one layer do not include each other.
LAYERS = (
    ("torvane/platform/core/",),
    ("torvane/platform/primitives/", "torvane/platform/system/"),
    ("torvane/platform/encodings/",),
    ("torvane/platform/key_stores/",),
    ("torvane/platform/key_library/",),
    ("torvane/platform/jose/",),
    ("torvane/support/",),
    ("torvane/keys/",),
    ("torvane/jws/", "torvane/jwe/", "torvane/jwt/"),
    ("torvane/messaging/",),
    ("torvane/torvane.hpp",),
)
LEVELS = {folder: level for level, folders in enumerate(LAYERS) for folder in folders}

# A file or a folder, and an internal header of a lower layer that it may include.
ALLOWED = (
    # core/ calls OpenSSL for random bytes, so the guard of OpenSSL's error queue is in core/.
    ("torvane/platform/primitives/openssl.hpp", "torvane/platform/core/internal/error_scope.hpp"),
    # isUTF8() reads code points as the functions that escape them do.
    ("torvane/platform/encodings/utf8.cpp", "torvane/platform/core/internal/code_points.hpp"),
    # Letters are compared, and bytes shown, as the functions that escape text do.
    ("torvane/platform/key_stores/internal/", "torvane/platform/core/internal/ascii.hpp"),
    # The sizes of texts and tokens are added up without wrapping around.
    ("torvane/platform/encodings/base64.cpp", "torvane/platform/core/internal/add_sizes.hpp"),
    ("torvane/platform/jose/internal/", "torvane/platform/core/internal/add_sizes.hpp"),
    # A broken precondition stops the process in any layer.
    ("torvane/platform/primitives/", "torvane/platform/core/internal/stop_process.hpp"),
    ("torvane/keys/json_web_key_set.cpp", "torvane/platform/core/internal/stop_process.hpp"),
    ("torvane/jwt/json_web_structure.cpp", "torvane/platform/core/internal/stop_process.hpp"),
    # Code of the key stores also reads and writes the files and the PEM of secp256k1 keys.
    ("torvane/platform/key_library/key.cpp", "torvane/platform/key_stores/internal/key_encoding.hpp"),
    ("torvane/platform/key_library/open_key.cpp", "torvane/platform/key_stores/internal/key_file.hpp"),
    ("torvane/platform/key_library/open_key.cpp", "torvane/platform/key_stores/internal/software_key.hpp"),
    # Certificates come in PEM, as keys do.
    ("torvane/platform/jose/certificates.cpp", "torvane/platform/key_stores/internal/pem_block.hpp"),
    # A build may have no secp256k1 keys; ES256K is then an unknown name.
    ("torvane/jws/internal/jws_operations.cpp", "torvane/platform/key_library/internal/secp256k1_key.hpp"),
    # Only a JWK has the coordinates of a secp256k1 key, so no public function checks them.
    ("torvane/keys/", "torvane/platform/key_library/internal/secp256k1_key.hpp"),
    # Keys that are not known are left out one by one, so the list of JWKs is read as JSON.
    ("torvane/keys/known_keys.cpp", "torvane/platform/jose/internal/jwk_set_json.hpp"),
    # Each operation wraps its errors in its own case of JOSEError.
    ("torvane/keys/", "torvane/support/internal/wrap_errors.hpp"),
    ("torvane/jws/", "torvane/support/internal/wrap_errors.hpp"),
    ("torvane/jwe/", "torvane/support/internal/wrap_errors.hpp"),
    # A nested message is signed and encrypted in one pass, chunk by chunk; the public classes take a whole payload.
    ("torvane/messaging/internal/nested_message.cpp", "torvane/platform/jose/internal/compact.hpp"),
    ("torvane/messaging/internal/nested_message.cpp", "torvane/platform/jose/internal/jwe_writer.hpp"),
    ("torvane/messaging/internal/nested_message.cpp", "torvane/platform/jose/internal/jws_writer.hpp"),
    ("torvane/messaging/internal/nested_message.cpp", "torvane/jwe/internal/jwe_operations.hpp"),
    ("torvane/messaging/internal/nested_message.cpp", "torvane/jws/internal/jws_operations.hpp"),
    # resolveAlgorithm() turns the name of a signature algorithm into the algorithm.
    ("torvane/messaging/jose_helper.cpp", "torvane/jws/internal/jws_operations.hpp"),
    ("torvane/messaging/token_verifier.cpp", "torvane/jws/internal/jws_operations.hpp"),
    # Each step wraps its errors in a TokenError.
    ("torvane/messaging/internal/", "torvane/support/internal/wrap_errors.hpp"),
)

# The headers of other libraries, of the processor's instructions, and of the command's parser.
THIRD_PARTY = re.compile(r"(CLI|nlohmann|openssl|p11-kit|valgrind)/|(immintrin|arm_neon|secp256k1)\.h$")

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*([<"])([^>"\n]+)', re.MULTILINE)


def layer_folder(file):
    """Returns the folder of LAYERS that contains the file, or nothing."""
    return next((folder for folder in LEVELS if file.startswith(folder)), None)


def is_private(file):
    return "/internal/" in file or file.startswith(("torvane/platform/primitives/", SYSTEM))


def is_public_header(file):
    return file.endswith(".hpp") and not is_private(file)


def not_standard(included):
    """The headers of the C++ standard library have neither a dot nor a slash."""
    return re.search("[./]", included)


def system_includes(file, included):
    """Yields a fault for a header of the operating system, except in the folder for them."""
    is_known = included.startswith("torvane/") or THIRD_PARTY.match(included)
    if not_standard(included) and not is_known and not file.startswith(SYSTEM):
        yield f"{file} includes <{included}> of the operating system, which only system/ may do"


def own_faults(file, included):
    """Yields what is wrong with the include of a file of torvane/, apart from internal headers of other folders."""
    own, other = layer_folder(file), layer_folder(included)
    if LEVELS[other] > LEVELS[own]:
        yield "a higher layer"
    if LEVELS[other] == LEVELS[own] and other != own:
        yield "a folder beside its own"
    if other in ("torvane/platform/primitives/", SYSTEM) and not own.startswith("torvane/platform/"):
        yield "primitives/ or system/, which only platform/ may use"
    if is_private(included) and is_public_header(file):
        yield "private code, from a public header"


def include_faults(files, allowed=ALLOWED):
    """Yields the faults of all includes. `files` maps the path of each file of torvane/ to its text."""
    used = set()
    for file, text in sorted(files.items()):
        if not layer_folder(file):
            yield f"{file} is in a folder that LAYERS does not list"
            continue
        for bracket, included in INCLUDE.findall(text):
            if bracket == "<" and not included.startswith("torvane/"):
                in_platform = file.startswith("torvane/platform/") and not is_public_header(file)
                if not_standard(included) and not in_platform:
                    yield f"{file} includes <{included}>, which only sources and private headers of platform/ may do"
                yield from system_includes(file, included)
                continue
            if not layer_folder(included) or ".." in included:
                yield f"{file} includes {included}, which is not the path from torvane/ of a file in LAYERS"
                continue
            yield from (f"{file} includes {included}: {fault}" for fault in own_faults(file, included))
            if "/internal/" in included and layer_folder(included) != layer_folder(file):
                entries = [entry for entry in allowed if included == entry[1]
                           and (file.startswith(entry[0]) if entry[0].endswith("/") else file == entry[0])]
                used.update(entries[:1])
                if not entries:
                    yield f"{file} includes {included}: internal to another folder, and not in ALLOWED"
    for entry in allowed:
        if entry not in used:
            yield f"ALLOWED lists {entry[0]} -> {entry[1]}, which no include needs"


def private_includes(programs):
    """Yields a fault for each private header that a program includes, and for the system's that the command does."""
    for file, text in programs.items():
        for bracket, included in INCLUDE.findall(text):
            if bracket == "<" and file.startswith("cli/"):
                yield from system_includes(file, included)
            if included.startswith("torvane/") and is_private(included) and not included.startswith(SYSTEM):
                yield f"{file} includes {included}: private to the library"


def untested(files, tests):
    """Yields a fault for each folder that has sources and no test. `files` and `tests` are paths."""
    tested = {path.rpartition("/")[0] for path in tests}
    for folder in sorted(source_folders(files)):
        if folder.replace("torvane", "tests", 1) not in tested:
            yield f"{folder} has sources, but {folder.replace('torvane', 'tests', 1)} has no test"


def source_folders(files):
    return {file.rpartition("/")[0] for file in files if file.endswith(".cpp") and "/internal/" not in file}


def paths(pattern):
    return [path.relative_to(ROOT).as_posix() for path in ROOT.glob(pattern)]


def main():
    files = {path: (ROOT / path).read_text() for path in paths("torvane/**/*.?pp")}
    programs = {path: (ROOT / path).read_text() for path in paths("cli/*.?pp") + paths("examples/*.?pp")}
    faults = [*include_faults(files), *private_includes(programs), *untested(files, paths("tests/**/*_test.cpp"))]
    folders = source_folders(files)
    if len(files) < FEWEST_FILES or len(folders) < FEWEST_FOLDERS:
        faults.append(f"only {len(files)} files and {len(folders)} folders with sources were found")
    print(f"{len(files)} files, {len(folders)} folders with sources, {len(ALLOWED)} entries of ALLOWED")
    sys.exit("\n".join(faults) or 0)


if __name__ == "__main__":
    main()
