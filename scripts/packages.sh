# shellcheck shell=bash
# Debian packages: which are needed for what, and how the missing ones get here.

declare -A package_reason=(
    [g++]="the compiler"
    [cmake]="configures the build"
    [ninja-build]="runs the build"
    [ccache]="keeps compiled files, so that the next build is quick"
    [pkg-config]="finds libraries"
    [libboost1.81-dev]="uuid, optional, type index, exception and asio"
    [libboost-log1.81-dev]="the log"
    [libboost-json1.81-dev]="JSON"
    [libboost-thread1.81-dev]="needed by the log"
    [capnproto]="compiles the wire schema"
    [libcapnp-dev]="encodes wire messages"
    [libsqlite3-dev]="the daemon's state"
    [libsodium-dev]="password hashes of the daemon's accounts"
    [libcurl4-openssl-dev]="talks to identity providers"
    [libcjose-dev]="verifies their ID tokens"
    [libjansson-dev]="needed by libcjose"
    [libssl-dev]="needed by libcjose"
    [libsecret-1-dev]="keeps the daemon's key in the desktop's keyring"
    [libcli11-dev]="command lines"
    [libgtest-dev]="tests"
    [libgmock-dev]="tests"
    [libbenchmark-dev]="benchmarks"
    [libzip-dev]="reads a bundle's archive"
    [libelf-dev]="finds it in the library"
    [nodejs]="runs the identity provider of the tests"
    [npm]="installs it"
    [chromium]="the browser of a test that signs in"
    [clang]="checks the lock annotations, builds the fuzz targets"
    [libclang-rt-14-dev]="run-time library of the fuzz targets"
    [clang-tidy]="static checks"
    [clang-format]="checks the layout of the sources"
)
build_packages=(
    g++ cmake ninja-build ccache pkg-config
    libboost1.81-dev libboost-log1.81-dev libboost-json1.81-dev libboost-thread1.81-dev
    capnproto libcapnp-dev libsqlite3-dev libsodium-dev libcli11-dev
    libcurl4-openssl-dev libcjose-dev libjansson-dev libssl-dev libsecret-1-dev
    libgtest-dev libgmock-dev libbenchmark-dev libzip-dev libelf-dev
)
clang_packages=(clang libclang-rt-14-dev)

# ensure_packages NAME...: installs those that are missing; asks nothing. A machine that has everything
# pays for one dpkg-query.
ensure_packages() {
    # For other distributions, and for machines whose packages somebody else looks after.
    if [[ ${ZELKOR_SKIP_PACKAGES:-} == 1 ]]; then return; fi
    command -v dpkg-query >/dev/null ||
        fail "this is not a Debian-like system (no dpkg-query), so nothing can be installed here." \
            "Install the equivalents of these Debian 12 packages, then set ZELKOR_SKIP_PACKAGES=1:" "$*"

    local package installed
    local -a missing=()
    # dpkg-query exits with 1 when it does not know one of the names: that one is missing, no error.
    installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "$@" 2>/dev/null || true)
    for package in "$@"; do
        if ! grep -qxF "installed $package" <<<"$installed"; then missing+=("$package"); fi
    done
    if ((${#missing[@]} == 0)); then return; fi

    step "Installing missing Debian packages (${#missing[@]})"
    for package in "${missing[@]}"; do
        printf '  %-26s %s\n' "$package" "${package_reason[$package]:-}"
    done
    install_packages "${missing[@]}"
}

install_packages() {
    command -v apt-get >/dev/null ||
        fail "apt-get was not found. Install these packages, then run this again:" "$*"
    local -a as_root=()
    if [[ $(id -u) != 0 ]]; then
        command -v sudo >/dev/null ||
            fail "installing packages needs root, and sudo was not found. As root, run:" \
                "apt-get update && apt-get install $*"
        as_root=(sudo)
        # Without a terminal a question for the password would wait for ever.
        if [[ ! -t 0 ]]; then as_root+=(-n); fi
    fi
    as_root+=(env DEBIAN_FRONTEND=noninteractive)
    # Another package manager may be at work, as on a freshly started machine.
    local -a options=(-q -y -o DPkg::Lock::Timeout=300 -o Acquire::Retries=3)

    "${as_root[@]}" apt-get "${options[@]}" update </dev/null ||
        fail "apt-get update failed (see above). Check the network and the package sources, then run this again."
    # --no-remove: another Boost -dev package would have to go; that is for its owner to decide.
    "${as_root[@]}" apt-get "${options[@]}" install --no-install-recommends --no-remove "$@" </dev/null ||
        fail "apt-get could not install: $*" \
            "The messages above say why. The packages are those of Debian 12; if one of them is in conflict" \
            "with a package you have, remove that one first."
}
