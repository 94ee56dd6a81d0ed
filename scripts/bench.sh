#!/bin/sh
# Runs all benchmarks and compares them with the goals: `bench.sh [--quick] [--write]`. --quick takes three minutes and
# only checks that everything runs; --write puts the tables and pictures into docs/benchmarks.md. A full run takes
# fifteen minutes, and nothing else should run meanwhile. Needs only a Debian 12.
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
    message_benchmark operation_benchmark base64_benchmark base64_benchmark_portable instruction_count heap_calls growth
/usr/bin/python3 -B bench/report/measure.py build/release/bench build/release/bench/results $quick
# shellcheck disable=SC2086 # no argument, or two words
/usr/bin/python3 -B bench/report/report.py build/release/bench/results $write
