#!/bin/sh
# Exchanges keys and tokens with other implementations, every algorithm in both directions, and prints the table.
# `interop.sh --write` also writes it to docs/interop.md. Needs the release build.
set -eu
cd "$(dirname "$0")/.."

build=build/release
gojose=$build/tests/interop/gojose_partner
GOPATH=/usr/share/gocode GO111MODULE=off GOFLAGS='' GOCACHE="$PWD/$build/go" \
    go build -o "$gojose" tests/interop/partners/gojose_partner.go
write=
[ "${1:-}" != --write ] || write="--write docs/interop.md"
# shellcheck disable=SC2086 # no argument, or two words
/usr/bin/python3 tests/interop/matrix.py $build/tests/interop/torvane_partner "$gojose" $write
