# shellcheck shell=bash
# What the sanitizers' run-time libraries need.

# Put in front of every program of the preset in use; empty or "setarch <machine> -R".
fixed_addresses=()

# sanitizer_settings PRESET: exports the options; what the caller has in the environment comes last and wins.
sanitizer_settings() {
    fixed_addresses=()
    case $1 in
    tsan)
        TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1$(suppressions tsan) ${TSAN_OPTIONS:-}"
        export TSAN_OPTIONS
        probe_addresses "$(build_dir "$1")/address-probe"
        ;;
    asan-ubsan | clang-tsa)
        export ASAN_OPTIONS="detect_leaks=1 ${ASAN_OPTIONS:-}"
        export UBSAN_OPTIONS="print_stacktrace=1 ${UBSAN_OPTIONS:-}"
        LSAN_OPTIONS="$(suppressions lsan) ${LSAN_OPTIONS:-}"
        export LSAN_OPTIONS
        ;;
    esac
}

suppressions() {
    local file=$root/cmake/$1.supp
    if [[ -f $file ]]; then printf " suppressions='%s'" "$file"; fi
}

# Kernels that randomise addresses with more bits than the thread sanitizer expects kill its programs at
# their start, now and then. A trial program tells; without randomisation they run.
probe_addresses() {
    local probe=$1 messages
    if [[ ! -x $probe ]]; then
        printf 'int main() {}\n' >"$probe.cpp"
        g++ -fsanitize=thread "$probe.cpp" -o "$probe" || fail "g++ cannot build with -fsanitize=thread (see above)."
    fi
    messages=$(for _ in {1..8}; do "$probe" 2>&1 || true; done)
    if [[ $messages != *"unexpected memory mapping"* ]]; then return; fi
    fixed_addresses=(setarch "$(uname -m)" -R)
    "${fixed_addresses[@]}" true 2>/dev/null ||
        fail "the thread sanitizer cannot start: this kernel randomises addresses too much, and setarch -R is" \
            "not allowed here. As root, run: sysctl vm.mmap_rnd_bits=28"
    say "Programs run without address randomisation, which the thread sanitizer does not bear on this kernel."
}
