# shellcheck shell=bash
# Messages, and what the other files need to know about this machine.
# $root, the repository, is set by the program that reads this file.

say() { printf '%s\n' "$*"; }
step() { printf '==> %s\n' "$*"; }

# fail TEXT...: one line each on stderr, then a non-zero exit.
fail() {
    printf 'zelkor: %s\n' "$1" >&2
    shift
    if (($# > 0)); then printf '        %s\n' "$@" >&2; fi
    exit 1
}

# How many compilers or tests run at once: one for each processor, fewer when memory is short
# (an optimised translation unit that includes Boost takes about 1 GB). ZELKOR_JOBS overrides it.
job_count() {
    if [[ -n ${ZELKOR_JOBS:-} ]]; then
        [[ $ZELKOR_JOBS =~ ^[1-9][0-9]*$ ]] ||
            fail "ZELKOR_JOBS is '$ZELKOR_JOBS'; set it to a whole number from 1, or unset it."
        say "$ZELKOR_JOBS"
        return
    fi
    local processors gigabytes
    processors=$(nproc)
    gigabytes=$(awk '/^MemAvailable:/ { print int($2 / 1048576) }' /proc/meminfo)
    if ((${gigabytes:-0} < 1)); then gigabytes=1; fi
    say $((processors < gigabytes ? processors : gigabytes))
}

# The C++ files of the repository, one a line, relative to its root.
source_files() {
    local folder
    local -a folders=(host hshd module transport contract ground demo examples tests bench fuzz)
    for folder in "${folders[@]}"; do # one that has moved is not to be left out without a word
        [[ -d $root/$folder ]] || fail "there is no folder '$folder' any more; correct source_files() in scripts/common.sh."
    done
    (cd "$root" && find "${folders[@]}" -type f \
        \( -name '*.h' -o -name '*.hpp' -o -name '*.cpp' \) | sort)
}
