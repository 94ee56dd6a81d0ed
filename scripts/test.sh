#!/bin/sh
# Builds and tests everything: optimised with GCC and against other implementations, then under the sanitizers with
# Clang. Needs a Debian 12 and nothing else. `test.sh release` (or debug, asan, tsan) runs one preset only.
set -eu
cd "$(dirname "$0")/.."

scripts/install-packages.sh
for preset in ${*:-release asan tsan}; do
    echo "== $preset"
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset"
    ctest --preset "$preset" --test-output-size-passed 1000000 --output-junit results.xml
    [ "$preset" = release ] || continue
    python3 tests/counts.py build/release/results.xml
    scripts/interop.sh
done
