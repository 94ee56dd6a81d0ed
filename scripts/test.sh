#!/bin/sh
# Builds and tests everything: optimised with GCC, also against other implementations; without optional parts; and with
# the sanitizers of Clang. Needs only a Debian 12. `test.sh release` (or debug, minimal, asan, tsan, coverage) runs one
# preset.
set -eu
cd "$(dirname "$0")/.."

scripts/install-packages.sh
[ $# -gt 0 ] || set -- release minimal asan tsan
for preset; do
    echo "== $preset"
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset"
    rm -rf "build/$preset/profiles"
    ctest --preset "$preset" --test-output-size-passed 1000000 --output-junit results.xml
    [ "$preset" != coverage ] || { scripts/install-packages.sh coverage; python3 tests/coverage.py build/coverage; }
    [ "$preset" = release ] || continue
    python3 tests/counts.py build/release/results.xml
    scripts/interop.sh
done
python3 -B tests/skipped.py "$@"
