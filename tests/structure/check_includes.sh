#!/bin/sh
# Fails when an include runs up the stairs, or when a third-party header is outside platform/*.cpp and platform/crypto.
set -eu
cd "$(dirname "$0")/../.."

# From the bottom up; a file may include its own floor and those below. The three of one floor don't see each other.
floor() {
    case $1 in
        torvane/platform/crypto/*) echo 1 ;;
        torvane/platform/security/*) echo 2 ;;
        torvane/platform/services/*) echo 3 ;;
        torvane/platform/zennet/*) echo 4 ;;
        torvane/platform/jose/*) echo 5 ;;
        torvane/platform/*) echo 0 ;;
        torvane/support/*) echo 6 ;;
        torvane/keys/*) echo 7 ;;
        torvane/jws/* | torvane/jwe/* | torvane/jwt/*) echo 8 ;;
        torvane/messaging/*) echo 9 ;;
        *) echo 10 ;;
    esac
}

bad=0
complain() { echo "$1" >&2; bad=1; }

files=$(find torvane -name '*.hpp' -o -name '*.cpp')
count=0
for file in $files; do
    count=$((count + 1))
    for included in $(sed -n 's/^#include "\(torvane\/.*\)"/\1/p' "$file"); do
        [ "$(floor "$included")" -le "$(floor "$file")" ] || complain "$file includes $included, which is above it"
        if [ "$(floor "$file")" = 8 ] && [ "$(floor "$included")" = 8 ]; then
            [ "${included%/*}" = "${file%/*}" ] || complain "$file includes $included, which is beside it"
        fi
    done
    case $file in torvane/platform/*.cpp | torvane/platform/crypto/*) continue ;; esac
    if grep -HnE '^#include <(openssl|nlohmann|secp256k1|p11-kit)' "$file" >&2; then bad=1; fi
    if grep -HnE '^#include "torvane/platform/crypto/' "$file" >&2; then
        case $file in *_access.hpp) ;; *) bad=1 ;; esac
    fi
done
[ "$count" -gt 50 ] || complain "only $count files were looked at"
exit $bad
