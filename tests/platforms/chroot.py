"""A Debian system in a folder."""

import os
import pathlib
import subprocess

# Where the sources and the builds stand in it. The spaces find scripts and tests that do not quote a path.
SOURCES = "/the sources/torvane"
BUILDS = "/the builds"
# For building; they run on this machine's processor.
TOOLS = ("cmake", "file", "libcli11-dev", "ninja-build", "nlohmann-json3-dev", "openssl", "pkg-config", "python3",
         "valgrind")
# Libraries, and programs that load them. Those of SoftHSM exclude those of another architecture.
LIBRARIES = ("libcpp-httplib-dev", "libgtest-dev", "libjansson-dev", "libp11-kit-dev", "libsecp256k1-dev",
             "libsofthsm2", "libssl-dev", "p11-kit", "p11-kit-modules", "softhsm2")

# The mounts and processes end with the command.
ENTER = ["unshare", "--mount", "--pid", "--fork", "--kill-child", "sh", "-euc", """
    root=$1; shift
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    exec chroot "$root" "$@" """, "sh"]


class Failure(Exception):
    """A command that failed in such a system."""


class Chroot:
    def __init__(self, suite, root, packages=TOOLS):
        self.root = pathlib.Path(root)
        if not (self.root / "etc" / "debian_version").exists():
            subprocess.run(["debootstrap", "--variant=minbase", suite, self.root], check=True,
                           stdout=subprocess.DEVNULL)
        self.update_lists()
        self.install(*packages)

    def command(self, *words):
        return [*ENTER, str(self.root), *map(str, words)]

    def run(self, *words, check=True, **variables):
        """Returns what the command printed. Prints it if the command fails."""
        result = subprocess.run(self.command(*words), env={**os.environ, "LC_ALL": "C.UTF-8", **variables}, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, errors="replace")
        if check and result.returncode != 0:
            print(result.stdout[-20000:])
            raise Failure(f"{' '.join(map(str, words))} failed in {self.root.name}")
        return result.stdout

    def update_lists(self):
        # Lists of packages in testing expire after a week, and a mirror may still have older ones.
        self.run("apt-get", "-o", "Acquire::Check-Valid-Until=no", "update", "-qq")

    def install(self, *packages):
        self.run("apt-get", "install", "-y", "-qq", "--no-install-recommends", *packages,
                 DEBIAN_FRONTEND="noninteractive")

    def install_libraries(self, architecture):
        self.run("dpkg", "--add-architecture", architecture)
        self.update_lists()
        self.install(*(f"{package}:{architecture}" for package in (*LIBRARIES, "libstdc++6")))
