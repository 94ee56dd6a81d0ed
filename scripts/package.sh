#!/bin/sh
# Makes the Debian packages and their SBOM in build/package. The same commit gives the same bytes: times in them are
# that of the commit, unless SOURCE_DATE_EPOCH is set. Needs only a Debian 12.
set -eu
cd "$(dirname "$0")/.."

scripts/install-packages.sh
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}
export SOURCE_DATE_EPOCH
# CPack gives folders in the packages what the umask leaves.
umask 022
cmake --preset package >/dev/null
cmake --build --preset package
cpack --preset package
python3 -B scripts/sbom.py build/package
