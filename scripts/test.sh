#!/bin/sh
# Builds and tests everything: optimised with GCC and against other implementations, without what is optional, then under
# the sanitizers with Clang. Needs a Debian 12 and nothing else. `test.sh release` (or debug, minimal, asan, tsan) runs
# one preset only.
set -eu
cd "$(dirname "$0")/.."

scripts/install-packages.sh
for preset in ${*:-release minimal asan tsan}; do
    echo "== $preset"
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset"
    ctest --preset "$preset" --test-output-size-passed 1000000 --output-junit results.xml
    [ "$preset" = release ] || continue
    python3 tests/counts.py build/release/results.xml
    scripts/interop.sh
done
