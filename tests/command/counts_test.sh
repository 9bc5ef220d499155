#!/usr/bin/env bash
# What ./zelkor test reports and answers, on a small project of its own with tests of every outcome.
set -euo pipefail
root=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
wrong=0

cp -r "$root/zelkor" "$root/scripts" "$root/CMakePresets.json" "$scratch"
mkdir -p "$scratch/tests/module/runtime/misuse"
echo 'exit 0' >"$scratch/tests/module/runtime/misuse/misuse_test.sh"
# The pass prints what could be taken for the report's own counts; the flaky one fails at its third run.
cat >"$scratch/CMakeLists.txt" <<'TEXT'
cmake_minimum_required(VERSION 3.25)
project(sample LANGUAGES NONE)
enable_testing()
add_test(NAME pass COMMAND sh -c "printf '\\n tests=\"70\"\\n\\tfailures=\"70\"\\n'")
add_test(NAME fail COMMAND false)
add_test(NAME skip COMMAND sh -c "exit 77")
add_test(NAME flaky COMMAND sh -c "echo x >>runs; test $(wc -l <runs) -ne 3")
set_tests_properties(skip PROPERTIES SKIP_RETURN_CODE 77)
set_tests_properties(flaky PROPERTIES LABELS concurrency)
if(BROKEN)
  add_custom_target(broken ALL COMMAND false)
endif()
TEXT

# expect WHAT 'CODE LAST-LINE' ARGUMENTS...: from another working directory, as in a job without a terminal.
expect() {
    local what=$1 wanted=$2 output code=0
    shift 2
    output=$(cd / && ZELKOR_SKIP_PACKAGES=1 "$scratch/zelkor" "$@" 2>&1 </dev/null) || code=$?
    # shellcheck disable=SC2053  # a pattern on the right is the point
    if [[ "$code ${output##*$'\n'}" != $wanted ]]; then
        printf 'FAILED: %s\n  wanted: %s\n%s\n' "$what" "$wanted" "$output"
        wrong=1
    fi
}

expect "all outcomes" "1 2 passed, 1 failed" test
expect "only what the caller selects" "0 1 passed, 0 failed" test -R pass
expect "a selection without a test is an error" "1 0 passed, 0 failed" test -R nothing
expect "two presets add up" "0 2 passed, 0 failed" test --preset default --preset=asan-ubsan -R pass
rm -f "$scratch"/build/default/runs
expect "few repetitions miss the flaky test" "0 1 passed, 0 failed" test --repeat-concurrency 2
expect "more repetitions find it" "1 0 passed, 1 failed" test --repeat-concurrency 100
expect "no fuzz target is an error" "1 1 passed, 0 failed" test --preset clang-tsa
expect "an unknown preset" "1 *no preset 'quick'; choose one of: default*" test --preset quick
cmake -S "$scratch" -B "$scratch/build/default" -DBROKEN=ON >/dev/null
expect "a build that fails" "1 *the build of preset 'default' failed*" test
expect "an unknown command" "1 *no command 'tset'*" tset

exit "$wrong"
