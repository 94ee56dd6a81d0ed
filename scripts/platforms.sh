#!/bin/sh
# Builds and tests the library for other systems and processors, and writes the table of docs/platforms.md:
# `platforms.sh [NAME...]`, where tests/platforms/cells.py has the names. `platforms.sh ci` does so for i386 and arm64,
# and writes nothing. Makes Debian systems in a temporary folder and removes them at the end. Needs root, 8 GB of disk
# and, for all names, about an hour on 2 processors.
set -eu
cd "$(dirname "$0")/.."

[ "$(id -u)" -eq 0 ] || { echo "platforms.sh needs root, for chroot and debootstrap." >&2; exit 1; }
scripts/install-packages.sh platforms
exec python3 -B tests/platforms/platforms.py "$@"
