#!/usr/bin/env bash
# What the module's library shows to the outside, stripped as it is shipped: its symbols, its manifest, the libraries it
# needs. usage: library_test.sh LIBRARY MANIFEST FRAMEWORK
set -euo pipefail
library=$1 manifest=$2 framework=$3
here=$(dirname -- "${BASH_SOURCE[0]}")
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
strip -o "$place/stripped.so" "$library"

expect() { # WHAT EXPECTED ACTUAL
    diff <(printf '%s\n' "$2") <(printf '%s\n' "$3") || { echo "^ $1: expected (<), found (>)"; exit 1; }
}

expect "exported symbols" "$(<"$here/symbols.golden")" \
    "$(nm -D --defined-only --format=posix "$place/stripped.so" | cut -d' ' -f1 | LC_ALL=C sort)"

objcopy -O binary --only-section=.us_resources --set-section-flags .us_resources=alloc \
    "$place/stripped.so" "$place/resources.zip"
(cd "$place" && cmake -E tar xf resources.zip)
expect "files in the section" "com_halvorin_zelkorloginclient/manifest.json" "$(cd "$place" && find com_* -type f)"
cmp "$manifest" "$place/com_halvorin_zelkorloginclient/manifest.json"

if [[ $framework == embedded ]]; then
    expect "needed libraries" "$(<"$here/libraries.golden")" \
        "$(readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | LC_ALL=C sort)"
fi
