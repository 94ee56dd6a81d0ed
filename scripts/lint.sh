#!/bin/sh
# Checks the format of all C++ files, runs shellcheck and flake8 on all scripts, and clang-tidy on the C++ files that
# changed: `lint.sh [BASE | --all]`. lint.py says which files count as changed. Needs only a Debian 12.
set -eu
cd "$(dirname "$0")/.."

scripts/install-packages.sh lint
cmake --preset lint >/dev/null
exec python3 scripts/lint.py "$@"
