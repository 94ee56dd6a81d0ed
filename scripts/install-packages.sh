#!/bin/sh
# Installs the packages of packages.txt that are missing, as root or with sudo: `install-packages.sh [WORD]`. With WORD,
# also those that packages.txt marks with it; with "demo", only those.
set -eu
here=$(cd "$(dirname "$0")" && pwd)

missing=$(
    awk -v word="${1:-}" '
        !/^#/ && ($2 == word || word != "demo" && (NF == 1 || $2 == "demo")) { print $1 }' "$here/packages.txt" |
        while read -r package; do
            status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
            [ "$status" = installed ] || printf ' %s' "$package"
        done
)
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "Needs root or sudo to install:$missing" >&2; exit 1; }
    as_root=sudo
fi
echo "Installing:$missing"
export DEBIAN_FRONTEND=noninteractive
$as_root apt-get update -qq
# shellcheck disable=SC2086 # one word per package
$as_root apt-get install -y -qq --no-install-recommends $missing >/dev/null
