# shellcheck shell=bash
# ./zelkor format and ./zelkor tidy.

format_command() {
    local -a arguments=(-i)
    case ${1:-} in
    '') ;;
    --check) arguments=(--dry-run -Werror) ;;
    *) fail "usage: ./zelkor format [--check]" ;;
    esac
    ensure_packages clang-format
    source_files | (cd "$root" && xargs -r -d '\n' clang-format "${arguments[@]}") ||
        fail "the layout of some files is not that of .clang-format (see above). To put it right, run: ./zelkor format"
}

# Without arguments: every file that the default preset compiles. Files may be named relative to the caller's folder.
tidy_command() {
    local file dir
    local -a files=()
    ensure_packages clang-tidy
    # Headers made from the wire schema have to be there.
    build default
    dir=$(build_dir default)
    if (($# > 0)); then
        for file in "$@"; do
            [[ -f $file ]] || fail "there is no file '$file'."
            files+=("$(realpath -- "$file")")
        done
    else
        # One line a file, in CMake's own layout; made files lie in the build folder.
        mapfile -t files < <(sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' "$dir/compile_commands.json" |
            grep -v "^$dir/" | sort -u)
    fi
    step "Checking ${#files[@]} files with clang-tidy"
    printf '%s\0' "${files[@]}" |
        xargs -0 -n 1 -P "$jobs" clang-tidy -p "$dir" --quiet --warnings-as-errors='*' ||
        fail "clang-tidy has findings (see above)."
    say "clang-tidy has no findings in ${#files[@]} files."
}
