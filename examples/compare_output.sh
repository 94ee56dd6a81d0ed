#!/bin/sh
# compare_output.sh EXPECTED PROGRAM: fails when the program fails, or prints anything but the expected text.
set -eu
printed=$("$2")
printf '%s\n' "$printed" | diff -u "$1" -
