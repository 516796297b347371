#!/usr/bin/env bash
# Arguments reach the script in the emulator exactly as given: spaces, commas, percent signs, empty
# arguments, bytes beyond ASCII, and ones that look like options after the script.
set -euo pipefail
wrapper=$1
work=$(mktemp -d "${TMPDIR:-/tmp}/velmar-boot-arguments.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
cat >args.lua <<'LUA'
for i = -1, #arg do print(i, "[" .. arg[i] .. "]", #arg[i]) end
LUA
status=0
"$wrapper" -e 'x = "a, b"' args.lua one 'two  words' '' 'a,b%c%41' $'caf\xc3\xa9' -x -- $'tab\there' >out 2>err || status=$?
expected=$'-1\t[x = "a, b"]\t10
0\t[args.lua]\t8
1\t[one]\t3
2\t[two  words]\t10
3\t[]\t0
4\t[a,b%c%41]\t8
5\t[caf\xc3\xa9]\t5
6\t[-x]\t2
7\t[--]\t2
8\t[tab\there]\t8'
if [ "$status" != 0 ] || [ "$(cat out)" != "$expected" ] || [ -s err ]; then
    echo "status $status; output, then standard error:" >&2
    cat out err >&2
    diff -u <(printf '%s\n' "$expected") out >&2 || true
    exit 1
fi
