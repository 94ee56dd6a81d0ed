"""Compiles every source against the headers of a system for which nothing can be linked here."""

import concurrent.futures
import os
import subprocess

from chroot import BUILDS, SOURCES, Failure

# Sources that do not compile for a system, and the one that is compiled there instead.
FOLDER = "torvane/platform/system"
POSIX, WINDOWS = ([f"{FOLDER}/{name}_{system}.cpp" for name in ("file", "file_lock", "hidden_input", "process")]
                  for system in ("posix", "windows"))
SUBSTITUTES = {
    "musl": dict(zip(WINDOWS, POSIX)),
    "mingw-w64": dict(zip(POSIX, WINDOWS)),
}
PACKAGES = {
    "musl": ("clang", "libc++-dev", "musl-dev"),
    "mingw-w64": ("g++-mingw-w64-x86-64-posix",),
}
# Headers that are the same on all systems, without those of glibc beside them.
INCLUDE = "/build/include"
COPY_HEADERS = f"""
    rm -rf {INCLUDE}; mkdir -p {INCLUDE}/openssl
    cp -r /usr/include/nlohmann /usr/include/secp256k1*.h /usr/include/CLI /usr/include/p11-kit-1/p11-kit {INCLUDE}
    cp /usr/include/openssl/* /usr/include/x86_64-linux-gnu/openssl/* {INCLUDE}/openssl
"""
FLAGS = f"-std=c++20 -fsyntax-only -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror -isystem {INCLUDE}"
COMPILERS = {
    # libstdc++ in Debian needs glibc; libc++ does not.
    "musl": """clang++ --target=x86_64-linux-musl -nostdinc -nostdinc++ -D_LIBCPP_HAS_MUSL_LIBC
        -isystem $(echo /usr/lib/llvm-*/include/c++/v1) -isystem /usr/include/x86_64-linux-musl
        -isystem $(clang++ -print-resource-dir)/include""",
    "mingw-w64": "x86_64-w64-mingw32-g++-posix",
}


def compile_sources(chroot, system):
    """Returns how many sources were compiled, and those left out with their substitutes."""
    chroot.install("g++", *PACKAGES[system])
    chroot.install_libraries("amd64")
    chroot.run("sh", "-euc", COPY_HEADERS)
    # For the generated header.
    chroot.run("cmake", "-S", SOURCES, "-B", f"{BUILDS}/headers", "-G", "Ninja", "-DTORVANE_BUILD_TESTS=OFF",
               "-DTORVANE_BUILD_CLI=OFF")
    root = chroot.root / SOURCES.lstrip("/")
    sources = sorted(str(path.relative_to(root)) for part in ("torvane", "cli")
                     for path in (root / part).rglob("*.cpp"))
    substitutes = SUBSTITUTES[system]
    unknown = [name for pair in substitutes.items() for name in pair if name not in sources]
    if unknown:
        raise Failure(f"no such sources: {' '.join(unknown)}")
    compiled = [source for source in sources if source not in substitutes]

    def fails(source):
        command = (f"cd '{SOURCES}'; {COMPILERS[system]} {FLAGS} -I. -I'{BUILDS}/headers' "
                   f"-DTORVANE_VERSION='\"\"' {source}")
        return subprocess.run(chroot.command("sh", "-c", " ".join(command.split())), check=False).returncode != 0

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        failed = [source for source, bad in zip(compiled, pool.map(fails, compiled)) if bad]
    if failed:
        raise Failure(f"these do not compile: {' '.join(failed)}")
    return len(compiled), substitutes
