#!/bin/sh
# Two applications exchange a message: demo.sh [FILE]. Needs only a Debian 12 or 13.
set -eu
start=$PWD
cd "$(dirname "$0")/.."

scripts/install-packages.sh demo
mkdir -p build
{ cmake --preset demo && cmake --build --preset demo; } >build/demo.log 2>&1 ||
    { cat build/demo.log; rm -f build/demo.log; exit 1; }
rm -f build/demo.log

program=$PWD/build/demo/examples/example_two_parties
cd "$start"
exec "$program" "$@"
