#!/bin/sh
# Runs each fuzz target for SECONDS, one target per processor at a time: `fuzz.sh SECONDS [TARGET...]`. Starts from the
# inputs in fuzz/corpus and keeps new ones in build/fuzz/corpus. Inputs that break something go to build/fuzz/found; to
# make a test of one, copy it to fuzz/corpus/TARGET.
set -eu
cd "$(dirname "$0")/.."

seconds=${1:?usage: fuzz.sh SECONDS [TARGET...]}
shift
[ $# -gt 0 ] || set -- base64url claims compact decoding driver json jwk key_files key_uris layers message sets

scripts/install-packages.sh
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
mkdir -p build/fuzz/found build/fuzz/logs
for target; do mkdir -p "build/fuzz/corpus/$target"; done

# shellcheck disable=SC2016 # the inner shell expands these
printf '%s\n' "$@" | xargs -P "$(nproc)" -I TARGET sh -c '
    build/fuzz/fuzz/fuzz_TARGET -max_total_time='"$seconds"' -timeout=30 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix=build/fuzz/found/TARGET- build/fuzz/corpus/TARGET fuzz/corpus/TARGET \
        >build/fuzz/logs/TARGET 2>&1 || { tail -n 40 build/fuzz/logs/TARGET; exit 1; }
    printf "%-10s %s inputs run, %s kept\n" TARGET "$(sed -n "s/^stat::number_of_executed_units: *//p" build/fuzz/logs/TARGET)" \
        "$(find build/fuzz/corpus/TARGET -type f | wc -l)"'
