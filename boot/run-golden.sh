#!/usr/bin/env bash
# Runs one golden script through velmarlua-boot and compares what a user sees with its expected file.
#
#   run-golden.sh WRAPPER SCRIPTS_DIR AREA/NAME.lua
#
# The script runs as "AREA/NAME.lua" (its chunk name) in a fresh scratch directory. The expected file
# holds the console lines, then "error: MESSAGE" for a failed run (velmarlua: the message on standard
# error, status 1) or "exit: N" for os.exit(N) (status N; os.exit(0) ends like a plain run, status 0).
set -euo pipefail

wrapper=$1
scripts=$2
name=$3
expected="$scripts/${name%.lua}.expected"

work=$(mktemp -d "${TMPDIR:-/tmp}/velmar-boot-golden.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/$(dirname "$name")"
cp "$scripts/$name" "$work/$name"

status=0
(cd "$work" && "$wrapper" "$name" </dev/null >"$work/.stdout" 2>"$work/.stderr") || status=$?

actual="$work/.actual"
cp "$work/.stdout" "$actual"
if [ -s "$work/.stderr" ]; then
    if [ "$status" -ne 1 ]; then
        echo "status $status with a message on standard error (a failed run gives 1):" >&2
        cat "$work/.stderr" >&2
        exit 1
    fi
    { printf 'error: '; cat "$work/.stderr"; } >>"$actual"
elif [ "$status" -ne 0 ] || [ "$(tail -n 1 "$expected")" = "exit: 0" ]; then
    printf 'exit: %d\n' "$status" >>"$actual"
fi

if ! cmp -s "$expected" "$actual"; then
    echo "$name: output differs from $expected (expected, then actual):" >&2
    diff -u "$expected" "$actual" >&2 || true
    exit 1
fi
