# shellcheck shell=bash
# ./zelkor test: suites, repeated concurrency tests, fuzz targets, and the count of them all.

passed=0
failed=0
skipped=0

test_help() {
    cat <<'TEXT'
Usage: ./zelkor test [--preset NAME]... [--repeat-concurrency N] [ctest arguments]

Builds and runs the test suite. Its last line is 'N passed, N failed'; it exits with 0 if nothing failed.

  --preset NAME            default (when none is given), asan-ubsan, tsan or clang-tsa; may be repeated.
                           clang-tsa checks the lock annotations, that misuses of the state lock do not
                           compile, and runs each fuzz target for FUZZ_SECONDS
                           (default 10) instead of the suite.
  --repeat-concurrency N   runs only the tests labelled concurrency, each N times or until it fails
  ctest arguments          passed on, for instance -R Tracker or --rerun-failed

Environment: ZELKOR_JOBS (programs at once), FUZZ_SECONDS, and the sanitizers' own TSAN_OPTIONS and the like.
TEXT
}

test_command() {
    local preset repeat=0 ok=1
    local -a chosen=()
    while (($# > 0)); do
        case $1 in
        --preset | --repeat-concurrency)
            (($# > 1)) || fail "$1 needs a value; see ./zelkor test --help"
            if [[ $1 == --preset ]]; then chosen+=("$2"); else repeat=$2; fi
            shift 2
            ;;
        --preset=*) chosen+=("${1#*=}") && shift ;;
        --repeat-concurrency=*) repeat=${1#*=} && shift ;;
        --help | -h) test_help && return ;;
        *) break ;;
        esac
    done
    if ((${#chosen[@]} == 0)); then chosen=(default); fi
    for preset in "${chosen[@]}"; do check_preset "$preset"; done
    [[ $repeat =~ ^(0|[1-9][0-9]{0,5})$ ]] || fail "--repeat-concurrency takes a whole number, not '$repeat'."

    ensure_provider
    for preset in "${chosen[@]}"; do
        build "$preset"
        if [[ $preset == clang-tsa ]]; then
            check_lock_misuses || ok=0
            run_fuzz_targets "$(build_dir "$preset")" || ok=0
        elif ((repeat > 0)); then
            repeat_concurrency "$preset" "$repeat" "$@" || ok=0
        else
            run_suite "$preset" "$@" || ok=0
        fi
    done
    if ((skipped > 0)); then say "$skipped skipped or disabled"; fi
    say "$passed passed, $failed failed"
    ((ok == 1 && failed == 0))
}

# run_suite PRESET [ctest arguments]
run_suite() {
    local preset=$1 dir report code=0
    shift
    dir=$(build_dir "$preset")
    report=$dir/test-report.xml
    rm -f "$report"
    step "Testing $preset"
    # --timeout is for tests that set none of their own.
    "${fixed_addresses[@]}" ctest --test-dir "$dir" -j "$jobs" --timeout 300 --output-on-failure \
        --no-tests=error --output-junit "$report" "$@" || code=$?
    # Listing tests (-N) writes no report.
    if [[ -f $report ]]; then add_report "$report"; fi
    return "$code"
}

# Repeating happens partly inside a process (less time lost in starting it) and partly by new processes (each
# with its own addresses, and the test's time limit is for some repetitions, not for all of them).
repeat_concurrency() {
    local preset=$1 times=$2 inside=10
    shift 2
    if ((times < inside)); then inside=$times; fi
    GTEST_REPEAT=$inside GTEST_BRIEF=1 run_suite "$preset" -L '^concurrency$' \
        --repeat "until-fail:$(((times + inside - 1) / inside))" "$@"
}

# The report opens with the counts of the whole run, one attribute a line.
add_report() {
    local name
    local -A count=()
    for name in tests failures skipped disabled; do
        count[$name]=$(sed -n "s/^[[:space:]]*$name=\"\([0-9]\{1,\}\)\".*/\1/p" "$1" | head -n 1)
        [[ -n ${count[$name]} ]] || fail "ctest wrote a report without the number of $name: $1"
    done
    failed=$((failed + count[failures]))
    skipped=$((skipped + count[skipped] + count[disabled]))
    passed=$((passed + count[tests] - count[failures] - count[skipped] - count[disabled]))
}

# The misuses of the state lock, the one included that only the analysis sees.
check_lock_misuses() {
    step "Compiling misuses of the state lock, which must fail"
    if bash "$root/tests/module/runtime/misuse/misuse_test.sh" "$root" "1 2 3 4 5 6" \
        clang++ -Wthread-safety -Werror; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        return 1
    fi
}

# run_fuzz_targets DIR: every libFuzzer program fuzz_* in it, FUZZ_SECONDS each, as many at once as there are processors.
run_fuzz_targets() {
    local dir=$1 seconds=${FUZZ_SECONDS:-10} target bad=0
    local -a targets=()
    [[ $seconds =~ ^[1-9][0-9]*$ ]] || fail "FUZZ_SECONDS is '$seconds'; set it to a whole number from 1."
    # Programs that only make seeds are no targets.
    mapfile -t targets < <(find "$dir" -type f -name 'fuzz_*' -executable \
        -exec grep -q LLVMFuzzerTestOneInput {} \; -print | sort)
    if ((${#targets[@]} == 0)); then
        say "No fuzz target was built in $dir." >&2
        return 1
    fi
    step "Running ${#targets[@]} fuzz targets, $seconds seconds each, $jobs at once"
    rm -rf "$dir/fuzz-results"
    mkdir "$dir/fuzz-results"
    export -f fuzz_one
    # xargs answers 123 when a target failed; which ones did stands in their result files.
    printf '%s\0' "${targets[@]}" |
        xargs -0 -n 1 -P "$jobs" bash -c 'fuzz_one "$@"' fuzz "$dir" "$root" "$seconds" || true
    for target in "${targets[@]}"; do
        if [[ -f $dir/fuzz-results/${target##*/}.passed ]]; then
            passed=$((passed + 1))
        else
            failed=$((failed + 1))
            bad=1
        fi
    done
    return "$bad"
}

# fuzz_one DIR ROOT SECONDS TARGET: starts from the seeds in the sources and those made by the build. What it finds is
# kept in DIR/fuzz-results, what it learns is not.
fuzz_one() {
    local results=$1/fuzz-results seconds=$3 target=$4 name=${4##*/} seeds code=0
    local learned=$results/$name.learned
    local -a corpus=("$learned")
    mkdir "$learned"
    for seeds in {"$1","$2"}/fuzz/corpus/{"$name","${name#fuzz_}"}; do
        if [[ -d $seeds ]]; then corpus+=("$seeds"); fi
    done
    "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$results/$name." "${corpus[@]}" >"$results/$name.log" 2>&1 || code=$?
    rm -rf "$learned"
    if ((code == 0)); then
        touch "$results/$name.passed"
        printf '  %s: nothing found in %s runs\n' "$name" \
            "$(sed -n 's/^stat::number_of_executed_units: *//p' "$results/$name.log")"
    else
        tail -n 60 "$results/$name.log"
        printf '  %s: FAILED with exit code %s; its log and the input that caused it are in %s\n' \
            "$name" "$code" "$results"
    fi
    return "$code"
}
