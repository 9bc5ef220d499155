# shellcheck shell=bash
# The identity provider of the sign-in tests: a package of npm's, kept in build/provider for all presets.

provider_source=tests/hshd/oidc/provider
provider_directory=build/provider

# ensure_provider: a second call costs a comparison.
ensure_provider() {
    if [[ ! -d $provider_source ]]; then return; fi
    if ! command -v node >/dev/null || ! command -v npm >/dev/null; then ensure_packages nodejs npm; fi
    if ! command -v npm >/dev/null; then
        say "There is no npm, so the tests that sign in at a provider are skipped."
        return
    fi
    if [[ ! -x ${CHROMIUM:-/usr/bin/chromium} ]]; then ensure_packages chromium; fi
    mkdir -p "$provider_directory"
    cp "$provider_source"/*.mjs "$provider_source"/package.json "$provider_directory"
    if ! cmp -s "$provider_source/package-lock.json" "$provider_directory/installed.json"; then
        step "Installing the identity provider of the tests"
        cp "$provider_source/package-lock.json" "$provider_directory"
        (cd "$provider_directory" && npm ci --no-audit --no-fund --loglevel=error) ||
            fail "npm could not install the identity provider of the tests (see above)." \
                "Check the network and npm's registry, then run this again."
        cp "$provider_source/package-lock.json" "$provider_directory/installed.json"
    fi
}
