#!/bin/sh
# Measures everything and prints it beside the goals: `bench.sh [--quick] [--write]`. --quick only shows in three minutes
# that all of it works; --write puts tables and pictures into docs/benchmarks.md. Takes some fifteen minutes, in which
# nothing else should run. Needs a Debian 12 and nothing else.
set -eu
cd "$(dirname "$0")/.."

quick=
write=
for option; do
    case $option in
        --quick) quick=--quick ;;
        --write) write='--write docs/benchmarks.md' ;;
        *) echo "usage: bench.sh [--quick] [--write]" >&2; exit 2 ;;
    esac
done

scripts/install-packages.sh bench
cmake --preset release >/dev/null
cmake --build --preset release --target \
    message_benchmark operation_benchmark base64_benchmark base64_benchmark_portable calls heap_calls growth
/usr/bin/python3 -B bench/measure.py build/release/bench build/release/bench/results $quick
# shellcheck disable=SC2086 # no argument, or two words
/usr/bin/python3 -B bench/report.py build/release/bench/results $write
