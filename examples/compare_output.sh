#!/bin/sh
# compare_output.sh EXPECTED PROGRAM: fails if the program fails, or if its output differs from the file EXPECTED.
set -eu
printed=$("$2")
printf '%s\n' "$printed" | diff -u "$1" -
