#!/usr/bin/env bash
# How ./zelkor installs packages, on machines made of stand-in programs in a PATH of their own.
set -euo pipefail
root=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
wrong=0
unset ZELKOR_SKIP_PACKAGES

# stand_in NAME: reads a script from its input. Each call is recorded in calls.
stand_in() {
    { printf '#!/bin/bash\nprintf "%%s %%s\\n" %s "$*" >>%q\n' "$1" "$scratch/calls" && cat; } >"$scratch/bin/$1"
    chmod +x "$scratch/bin/$1"
}

# machine INSTALLED UID: a Debian machine with these packages, without sudo.
machine() {
    rm -rf "${scratch:?}/bin"
    mkdir "$scratch/bin"
    local tool
    for tool in bash cat env grep dirname readlink rm; do ln -s "$(type -P "$tool")" "$scratch/bin/$tool"; done
    printf 'printf "installed %%s\\n" %s; printf "config-files ninja-build\\n"; exit 1' "$1" | stand_in dpkg-query
    stand_in apt-get <<<''
    printf 'echo %s' "$2" | stand_in id
}

# run: what ensure_packages g++ ninja-build does there; leaves exit_code, output and calls (dpkg-query left out).
run() {
    : >"$scratch/calls"
    exit_code=0
    output=$(PATH=$scratch/bin bash -c 'set -euo pipefail; root=$1
        source "$root/scripts/common.sh"; source "$root/scripts/packages.sh"; ensure_packages g++ ninja-build' \
        bash "$root" 2>&1 </dev/null) || exit_code=$?
    calls=$(grep -v '^dpkg-query\|^id' "$scratch/calls" || true)
}

expect() { # expect WHAT VALUE PATTERN
    # shellcheck disable=SC2053  # a pattern on the right is the point
    if [[ $2 != $3 ]]; then
        printf 'FAILED: %s\n  wanted: %s\n  got:    %s\n' "$1" "$3" "$2"
        wrong=1
    fi
}

machine 'g++ ninja-build' 0 && run
expect "a complete machine needs no package manager" "$exit_code$calls" "0"

# ninja-build was removed once and left its configuration; "g" and "ninja-builds" are other packages.
machine 'g++ g ninja-builds' 0 && run
expect "a package is missing: success" "$exit_code" 0
expect "a package is missing: it is named with its reason" "$output" "*ninja-build *runs the build*"
expect "a package is missing: one update, then only it, and nothing is removed" "$calls" \
    "apt-get *update"$'\n'"apt-get *install*--no-remove ninja-build"

machine 'g++' 0 && stand_in apt-get <<<'if [[ $* == *install* ]]; then exit 100; fi' && run
expect "apt-get fails: so does the command, and names the package" "$exit_code $output" "1 *could not install: ninja-build*"

machine 'g++' 1000 && run
expect "no root, no sudo: the line to run as root" "$exit_code $output" "1 *apt-get update && apt-get install ninja-build*"
expect "no root, no sudo: nothing is tried" "$calls" ""

machine 'g++' 1000 && stand_in sudo <<<'shift; exec "$@"' && run
expect "no root, no terminal: sudo asks for no password" "$exit_code $calls" "0 sudo -n env *update*sudo -n env *install*"

machine '' 0 && rm "$scratch/bin/dpkg-query" && run
expect "not Debian: the list" "$exit_code $output" "1 *not a Debian-like system*g++ ninja-build*"
ZELKOR_SKIP_PACKAGES=1 run
expect "not Debian, packages looked after otherwise" "$exit_code$output" "0"

exit "$wrong"
