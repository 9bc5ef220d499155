# shellcheck shell=bash
# Configure and build one preset of CMakePresets.json in build/<preset>.

presets=(default asan-ubsan tsan clang-tsa)
# Compilers or programs at once; set by build.
jobs=1

check_preset() {
    local preset
    for preset in "${presets[@]}"; do
        if [[ $preset == "$1" ]]; then return; fi
    done
    fail "there is no preset '$1'; choose one of: ${presets[*]}"
}

build_dir() { say "$root/build/$1"; }

# build PRESET [TARGET...]: installs, configures when needed, builds (everything, or the targets named).
build() {
    local preset=$1 dir
    shift
    dir=$(build_dir "$preset")
    ensure_packages "${build_packages[@]}"
    if [[ $preset == clang-tsa ]]; then ensure_packages "${clang_packages[@]}"; fi
    jobs=$(job_count)
    mkdir -p "$dir"
    # Two builds in one folder would write the same files.
    exec {build_lock}>"$dir/.zelkor-lock"
    if ! flock -n "$build_lock"; then
        say "Another build runs in ${dir#"$root/"}; waiting for it."
        flock "$build_lock"
    fi
    # Before the build, for it runs the test programs to list their tests.
    sanitizer_settings "$preset"
    configure "$preset" "$dir"
    step "Building $preset${*:+: $*}"
    run_ninja -C "$dir" -j "$jobs" "$@" || fail "the build of preset '$preset' failed (see above)."
    exec {build_lock}>&-
}

# CMake itself notices changed CMakeLists.txt files; the presets it reads only when told.
configure() {
    local preset=$1 dir=$2 stamp=$2/.zelkor-configured
    if [[ -f $dir/build.ninja && -f $stamp && ! $root/CMakePresets.json -nt $stamp ]]; then return; fi
    step "Configuring $preset"
    (cd "$root" && cmake --preset "$preset") >"$dir/configure.log" 2>&1 || {
        cat "$dir/configure.log" >&2
        fail "configuring preset '$preset' failed (see above)." \
            "If the sources were moved or a compiler replaced, delete ${dir#"$root/"} and run this again."
    }
    touch "$stamp"
}

# On a terminal ninja shows its own status line. Elsewhere a line for each tenth of the way is enough;
# everything else that ninja prints (a failed command, its errors) passes.
run_ninja() {
    if [[ -t 1 ]]; then
        "${fixed_addresses[@]}" ninja "$@"
    else
        NINJA_STATUS='[%f/%t] ' "${fixed_addresses[@]}" ninja "$@" 2>&1 | thin_out
    fi
}

thin_out() {
    local line tenth last=-1
    while IFS= read -r line; do
        if [[ $line =~ ^\[([0-9]+)/([0-9]+)\]\  ]]; then
            tenth=$((10 * BASH_REMATCH[1] / BASH_REMATCH[2]))
            if ((tenth > last)); then
                say "  ${BASH_REMATCH[1]} of ${BASH_REMATCH[2]} steps"
                last=$tenth
            fi
        else
            printf '%s\n' "$line"
        fi
    done
}
