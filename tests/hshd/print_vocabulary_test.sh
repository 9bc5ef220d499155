#!/usr/bin/env bash
# print_vocabulary_test.sh HSHD GOLDEN: what hshd prints of its vocabulary is what clients send.
set -euo pipefail
diff <("$1" --print-vocabulary | sed 's/ /-v/' | sort) \
    <(grep -v '^#' "$2" | cut -d ' ' -f 1,2,4 | sort)
