#!/usr/bin/env bash
# Whoever searches docs/troubleshooting.md for a line from a log has to find it: every text quoted there, in a log line
# or in the first column of a table, stands in the code. "..." and the named examples stand for what varies. And
# docs/integrating.md shows the example host as it is.
set -euo pipefail
root=$1
page=$root/docs/troubleshooting.md

# All of the code as one line, in which literals that the compiler joins are joined.
code=$(cd "$root" && find host hshd module transport contract ground -name '*.cpp' -exec cat {} + -o -name '*.h' -exec cat {} + |
    tr '\n' ' ' | sed -E 's/" *"//g')

# A text is cut where the code may put it together: at what varies, and at punctuation.
# shellcheck disable=SC2016  # the backticks are those of the page
quoted() {
    sed -nE 's/^ {4}(2|4|8|16|256|512) (debug|info|warning|notice|error|severe) +//p' "$page"
    sed -nE 's/^\| ([^|]*) \|.*/\1/p' "$page" | grep -oE '`[^`]*\.\.\.[^`]*`' | tr -d '`'
}

checked=0
wrong=0
while IFS= read -r fragment; do
    # Shorter ones would be found anywhere.
    if ((${#fragment} < 8)); then continue; fi
    checked=$((checked + 1))
    if [[ $code != *"$fragment"* ]]; then
        printf 'quoted, but in no source file: %s\n' "$fragment"
        wrong=1
    fi
done < <(quoted | sed -E 's/\.\.\.|ZelkorLogin-v2\.1|getRelease|addStatusListener|Connection refused|<the reason>| {2,}.*|[-0-9]+|[`:,(=]|\. /\n/g' |
    sed -E 's/^ +//; s/ +$//')

# shellcheck disable=SC2016  # the backticks are those of the page
shown=$(sed -n '/^```cpp$/,/^```$/p' "$root/docs/integrating.md")
if [[ $shown != *"$(<"$root/examples/minimal_host.cpp")"* ]]; then
    echo 'docs/integrating.md has to show examples/minimal_host.cpp'
    wrong=1
fi
((checked > 60)) || { printf 'only %d texts found in %s\n' "$checked" "$page" && wrong=1; }
exit "$wrong"
