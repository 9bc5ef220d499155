#!/bin/sh
# compare.sh EXPECTED PROGRAM [ARGUMENT...]: runs the program and compares what it prints.
expected=$1
shift
printed=$(mktemp) || exit 1
trap 'rm -f "$printed"' EXIT
"$@" > "$printed"
result=$?
diff -u "$expected" "$printed" && [ $result -eq 0 ]
