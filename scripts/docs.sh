#!/bin/sh
# Makes the HTML pages of docs/ and of the public headers in a folder: docs.sh [FOLDER], build/docs unless given.
# Fails on a warning of Doxygen's, such as a public name without a docstring.
set -eu
folder=$(realpath -m "${1:-$(dirname "$0")/../build/docs}")
cd "$(dirname "$0")/.."

rm -rf "$folder/html" "$folder/xml"
mkdir -p "$folder"
{
    cat docs/Doxyfile
    # The private headers are those in private folders.
    find torvane -name '*.hpp' -not -path '*/internal/*' -not -path '*/primitives/*' | sort | sed 's/^/INPUT += /'
    echo "OUTPUT_DIRECTORY = \"$folder\""
} | doxygen -
python3 scripts/undocumented.py "$folder/xml"
