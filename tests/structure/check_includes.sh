#!/bin/sh
# Fails when a file includes one that is above it, when a public header includes a private one, and when a third-party
# header is included outside the sources and private folders of platform/. Also fails when a folder of torvane/ has
# sources and the folder of the same path in tests/ has no test.
set -eu
cd "$(dirname "$0")/../.."

# From the bottom up. A file may include its own layer and those below; jws, jwe and jwt do not include each other.
layer() {
    case $1 in
        torvane/platform/core/*) echo 0 ;;
        torvane/platform/primitives/*) echo 1 ;;
        torvane/platform/encodings/*) echo 2 ;;
        torvane/platform/key_stores/*) echo 3 ;;
        torvane/platform/key_library/*) echo 4 ;;
        torvane/platform/jose/*) echo 5 ;;
        torvane/support/*) echo 6 ;;
        torvane/keys/*) echo 7 ;;
        torvane/jws/* | torvane/jwe/* | torvane/jwt/*) echo 8 ;;
        torvane/messaging/*) echo 9 ;;
        torvane/torvane.hpp) echo 10 ;;
        *) echo none ;;
    esac
}

is_private() {
    case $1 in */internal/* | torvane/platform/primitives/*) return 0 ;; esac
    return 1
}

bad=0
complain() { echo "$1" >&2; bad=1; }

files=$(find torvane -name '*.hpp' -o -name '*.cpp')
count=0
for file in $files; do
    count=$((count + 1))
    own=$(layer "$file")
    [ "$own" != none ] || { complain "$file is in a folder that has no layer here"; continue; }
    all_included=$(sed -n 's/^#include "\(torvane\/.*\)"/\1/p' "$file")
    for included in $all_included; do
        other=$(layer "$included")
        [ "$other" -le "$own" ] || complain "$file includes $included, which is above it"
        if [ "$own" = 8 ] && [ "$other" = 8 ] && [ "$(echo "$included" | cut -d/ -f2)" != "$(echo "$file" | cut -d/ -f2)" ]; then
            complain "$file includes $included, which is beside it"
        fi
        case $included in
            torvane/platform/primitives/*) [ "$own" -le 5 ] || complain "$file includes $included from above platform/" ;;
        esac
        case $file in
            *.hpp)
                if is_private "$included" && ! is_private "$file"; then
                    complain "$file is public and includes $included, which is private"
                fi ;;
        esac
    done
    case $file in torvane/platform/*.cpp | torvane/platform/*/internal/* | torvane/platform/primitives/*) continue ;; esac
    if grep -HnE '^#include <(openssl|nlohmann|secp256k1|p11-kit)' "$file" >&2; then bad=1; fi
done
[ "$count" -gt 50 ] || complain "only $count files were looked at"

folders=$(echo "$files" | grep '\.cpp$' | grep -v /internal/ | sed 's,/[^/]*$,,' | sort -u)
count=0
for folder in $folders; do
    count=$((count + 1))
    tests=$(find "tests/${folder#torvane/}" -maxdepth 1 -name '*_test.cpp' 2>/dev/null || true)
    [ -n "$tests" ] || complain "$folder has sources, but tests/${folder#torvane/} has no test"
done
[ "$count" -gt 8 ] || complain "only $count folders were looked at"
exit $bad
