#!/bin/sh
# Plants faults in torvane/, one at a time, and checks that a test fails: `mutate.sh [--count N] [PATH...]`, with PATH a
# file or folder of torvane/. See CONTRIBUTING.md.
set -eu
cd "$(dirname "$0")/.."

scripts/install-packages.sh coverage
exec python3 tests/mutation/mutate.py "$@"
