#!/usr/bin/env bash
# What integrators get: installs a build into an empty prefix, builds the example host against nothing but that prefix,
# by CMake (shared and static) and by pkg-config, with the compiler's default standard, and runs it beside the installed daemon.
# usage: installed_package_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1 source=$2
place=$(mktemp -d)
hshd=
trap '[[ -z $hshd ]] || kill "$hshd" 2>/dev/null; rm -rf "$place"' EXIT
prefix=$place/prefix

cmake --install "$build" --prefix "$prefix" --strip >/dev/null
export XDG_RUNTIME_DIR=$place/run
mkdir -m 700 "$XDG_RUNTIME_DIR"
"$prefix/bin/hshd" --state-dir "$place/state" --signed-in ada:2 2>"$place/hshd.log" &
hshd=$!

# Nothing but the prefix says where things are.
unset LD_LIBRARY_PATH
export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name zelkor.pc)")
module=$(pkg-config --variable=module zelkor)

run() { # PROGRAM: says who is logged in
    local output
    output=$("$1" "$module") || { echo "$1 ended with $?: $output"; exit 1; }
    [[ $output == *ada* ]] || { echo "$1 does not know who is logged in: $output"; exit 1; }
}

cmake -S "$source/examples" -B "$place/by-cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$place/by-cmake" >/dev/null
run "$place/by-cmake/minimal_host"

mkdir "$place/static"
cat >"$place/static/CMakeLists.txt" <<CMAKE
cmake_minimum_required(VERSION 3.25)
project(static_host LANGUAGES C CXX)
find_package(zelkor REQUIRED COMPONENTS static)
add_executable(static_host $source/examples/minimal_host.cpp)
target_link_libraries(static_host PRIVATE zelkor::host_static)
CMAKE
cmake -S "$place/static" -B "$place/static/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$place/static/build" >/dev/null
run "$place/static/build/static_host"

read -ra flags < <(pkg-config --cflags --libs zelkor)
g++ "$source/examples/minimal_host.cpp" -o "$place/by-pkg-config" "${flags[@]}"
run "$place/by-pkg-config"

"$prefix/bin/zelkorlogin" status
