#!/bin/sh
# Fails if the program $2, disassembled by $1, divides: how long a division takes depends on its operands, and valgrind
# does not report that.
set -eu
listing=$("$1" --disassemble --no-show-raw-insn "$2")
case $listing in
*'<main>:'*) ;;
*) echo "$2 contains no main()" && exit 2 ;;
esac
! printf '%s\n' "$listing" | grep -E '[[:space:]][ius]?div[bwlq]?[[:space:]]'
