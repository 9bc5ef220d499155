#!/usr/bin/env bash
# What the module's library shows to the outside, stripped as it is shipped: its symbols, its manifest, the libraries it
# needs. usage: library_test.sh LIBRARY MANIFEST FRAMEWORK
set -euo pipefail
library=$1 manifest=$2 framework=$3
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
strip -o "$place/stripped.so" "$library"

expect() { # WHAT EXPECTED ACTUAL
    diff <(printf '%s\n' "$2") <(printf '%s\n' "$3") || { echo "^ $1: expected (<), found (>)"; exit 1; }
}

expect "exported symbols" "DeleteInstance_ZelkorLoginImpl
DeleteInstance_login_spf_LoginVetoer
DeleteInstance_login_spf_ZelkorLogin
DeleteInstance_login_spf_detail_ZelkorLogin
DeleteInstance_login_spf_interactive_daemon_ZelkorLogin
DeleteInstance_login_spf_interactive_desktop_ZelkorLogin
DeleteInstance_login_spf_session_ZelkorLogin
NewInstance_ZelkorLoginImpl
NewInstance_login_spf_LoginVetoer
NewInstance_login_spf_ZelkorLogin
NewInstance_login_spf_detail_ZelkorLogin
NewInstance_login_spf_interactive_daemon_ZelkorLogin
NewInstance_login_spf_interactive_desktop_ZelkorLogin
NewInstance_login_spf_session_ZelkorLogin
_us_set_bundle_context_instance_com_halvorin_zelkorloginclient" \
    "$(nm -D --defined-only --format=posix "$place/stripped.so" | cut -d' ' -f1 | LC_ALL=C sort)"

objcopy -O binary --only-section=.us_resources --set-section-flags .us_resources=alloc \
    "$place/stripped.so" "$place/resources.zip"
(cd "$place" && cmake -E tar xf resources.zip)
expect "files in the section" "com_halvorin_zelkorloginclient/manifest.json" "$(cd "$place" && find com_* -type f)"
cmp "$manifest" "$place/com_halvorin_zelkorloginclient/manifest.json"

if [[ $framework == embedded ]]; then
    expect "needed libraries" "ld-linux-x86-64.so.2
libboost_json.so.1.81.0
libboost_log.so.1.81.0
libc.so.6
libgcc_s.so.1
libstdc++.so.6" "$(readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | LC_ALL=C sort)"
fi
