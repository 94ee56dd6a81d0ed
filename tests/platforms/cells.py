"""The systems that platforms.sh builds for, and what each needs."""

import dataclasses


@dataclasses.dataclass(frozen=True)
class Cell:
    name: str
    suite: str
    """The Debian release, or "testing"."""
    system: str
    """What the table calls it."""
    compiler: str = "g++"
    packages: tuple = ()
    """Packages beside those that all need."""
    architecture: str = "amd64"
    """Debian's name. The libraries of another architecture stand beside those of this machine."""
    library_folder: str = "x86_64-linux-gnu"
    """Where they stand in /usr/lib."""
    options: tuple = ()
    """For CMake."""
    emulator: str = ""
    """The program that binfmt_misc has to start for programs of this architecture, if the processor cannot."""
    left_out: tuple = ()
    """Tests that cannot run there."""


def cross(name, triplet, processor, system, suite="trixie", options=(), packages=(), **more):
    compiler = f"{triplet}-g++"
    return Cell(name, suite, system, compiler, architecture=name, library_folder=triplet.replace("i686", "i386"),
                packages=("g++-" + triplet.replace("_", "-"), *packages),
                options=("-DCMAKE_SYSTEM_NAME=Linux", f"-DCMAKE_SYSTEM_PROCESSOR={processor}", *options), **more)


# What the tests of the command call. Cells without these leave them out.
FOR_COMMAND = ("fish", "mandoc", "python3-jwcrypto", "zsh")

CELLS = [
    Cell("debian-12", "bookworm", "Debian 12, x86-64", packages=FOR_COMMAND),
    Cell("debian-13", "trixie", "Debian 13, x86-64", packages=FOR_COMMAND),
    Cell("testing-gcc", "testing", "Debian testing, x86-64", packages=FOR_COMMAND),
    Cell("testing-clang", "testing", "Debian testing, x86-64", compiler="clang++", packages=("clang",)),
    cross("arm64", "aarch64-linux-gnu", "aarch64", "Debian 13, 64-bit ARM", emulator="qemu-aarch64"),
    # GCC notes each type whose passing changed in GCC 7.
    cross("armhf", "arm-linux-gnueabihf", "arm", "Debian 13, 32-bit ARM", options=("-DCMAKE_CXX_FLAGS=-Wno-psabi",),
          emulator="qemu-arm"),
    # Debian 13 has libraries for 32-bit x86, but is no system for it any more.
    cross("i386", "i686-linux-gnu", "i686", "Debian 12, 32-bit x86, undefined-behaviour sanitizer", suite="bookworm",
          options=("-DTORVANE_SANITIZERS=undefined",), packages=("libubsan1:i386",)),
    # Its OpenSSL allocates memory while it is loaded, before a test can watch or refuse allocations.
    cross("s390x", "s390x-linux-gnu", "s390x", "Debian 13, s390x (big endian)", emulator="qemu-s390x",
          left_out=("harness.FreedMemory", "harness.FailingAllocations")),
    Cell("libc++", "trixie", "Debian 13, x86-64, with libc++", compiler="clang++",
         packages=("clang", "libc++-dev", "libc++abi-dev", "googletest"),
         options=("-DCMAKE_CXX_FLAGS=-stdlib=libc++", "-DCMAKE_PREFIX_PATH=/build/googletest-libc++",
                  # One of them needs cpp-httplib, which Debian builds with libstdc++.
                  "-DTORVANE_BUILD_EXAMPLES=OFF")),
]

# Every source is compiled against the headers of these systems; nothing is linked.
HEADERS_ONLY = {
    "musl": "Linux with musl, x86-64",
    "mingw-w64": "Windows with mingw-w64, x86-64",
}

CI = ["i386", "arm64"]
