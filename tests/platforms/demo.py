"""scripts/demo.sh in a Debian system with nothing installed."""

import time

from chroot import SOURCES, Failure

# Debian release, and what the table calls it.
SYSTEMS = {
    "demo-12": ("bookworm", "Debian 12, x86-64"),
    "demo-13": ("trixie", "Debian 13, x86-64"),
}


def run_demo(chroot):
    """Returns the columns: packages, megabytes, and seconds to install, and to build and run."""
    def count_packages():
        return len(chroot.run("dpkg-query", "-W").splitlines())

    chroot.run("apt-get", "clean")
    before, start = count_packages(), time.monotonic()
    chroot.run(f"{SOURCES}/scripts/install-packages.sh", "demo")
    installed = time.monotonic()
    printed = chroot.run(f"{SOURCES}/scripts/demo.sh")
    if "decodes 49 bytes, the same." not in printed:
        raise Failure(f"the demo printed {printed}")
    size = sum(package.stat().st_size for package in (chroot.root / "var/cache/apt/archives").glob("*.deb"))
    return [f"{count_packages() - before}", f"{size / 1e6:.0f}", f"{installed - start:.0f}",
            f"{time.monotonic() - installed:.0f}"]
