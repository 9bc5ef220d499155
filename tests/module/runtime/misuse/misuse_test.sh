#!/usr/bin/env bash
# misuse_test.sh ROOT "CASE..." COMPILER [OPTION]...: misuses.cpp beside this file compiles, and with MISUSE set to each
# case it does not, for the reason that stands here.
set -euo pipefail
source=$(dirname -- "${BASH_SOURCE[0]}")/misuses.cpp
root=$1 cases=$2
shift 2
declare -A reason=(
    [1]='no match for call|no matching function'
    [2]='no match for call|no matching function'
    [3]='private'
    [4]="no member named"
    [5]="acquiring shared_mutex 'state' that is already held"
    [6]='deleted'
)
check=("$@" -std=c++20 -fsyntax-only -I"$root" -I"$root/ground/foundation/include")

"${check[@]}" "$source"
for misuse in $cases; do
    if output=$(LC_ALL=C "${check[@]}" -DMISUSE="$misuse" "$source" 2>&1); then
        printf 'misuse %s compiles\n' "$misuse"
        exit 1
    fi
    if ! grep -qE -- "${reason[$misuse]}" <<<"$output"; then
        printf 'misuse %s fails for another reason:\n%s\n' "$misuse" "$output"
        exit 1
    fi
done
