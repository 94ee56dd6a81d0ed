#!/bin/sh
# Writes docs/ and the public headers as HTML to a folder, by default build/docs: docs.sh [FOLDER]. Fails when Doxygen
# warns, for example of a public name without a docstring.
set -eu
folder=$(realpath -m "${1:-$(dirname "$0")/../build/docs}")
cd "$(dirname "$0")/.."

rm -rf "$folder/html" "$folder/xml"
mkdir -p "$folder"
# Doxygen follows no link between pages whose path contains a space.
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
cp -R ./*.md docs torvane "$copy"
(
    cd "$copy"
    {
        cat docs/Doxyfile
        # Headers in other folders are private.
        find torvane -name '*.hpp' -not -path '*/internal/*' -not -path '*/primitives/*' -not -path '*/system/*' |
            sort | sed 's/^/INPUT += /'
        echo "OUTPUT_DIRECTORY = \"$folder\""
    } | doxygen -
)
python3 scripts/undocumented.py "$folder/xml"
