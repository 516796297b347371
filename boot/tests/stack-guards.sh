#!/usr/bin/env bash
# The stack guards hold on the boot stack: runaway recursion (also inside pcall), deep nesting in the
# parser and in expressions, and a deep pattern each fail with their message, and the image goes on.
set -euo pipefail
wrapper=$1
work=$(mktemp -d "${TMPDIR:-/tmp}/velmar-boot-stack.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
failed=0
expect() { # NAME FILE EXPECTED_OUTPUT EXPECTED_ERROR_PATTERN EXPECTED_STATUS
    local status=0
    "$wrapper" "$2" >out 2>err || status=$?
    if [ "$(cat out)" != "$3" ] || ! grep -Eqx "$4" err || [ "$status" != "$5" ]; then
        echo "FAIL $1: status $status (expected $5); output and error:" >&2
        cat out err >&2
        failed=1
    fi
}
repeat() { local out='' i; for ((i = 0; i < $2; i++)); do out+=$1; done; printf '%s' "$out"; }

cat >recursion.lua <<'LUA'
local function down(n) return down(n + 1) + 1 end
print(pcall(down, 1))
local depth = 0
local function deeper() depth = depth + 1; local t = {depth}; return deeper() end
local ok, message = pcall(deeper)
print(ok, message, depth > 500)
print("after")
down(1)
LUA
expect recursion recursion.lua $'false\tstack overflow\nfalse\tstack overflow\ttrue\nafter' 'recursion\.lua:1: stack overflow' 1

printf 'return %s1%s\n' "$(repeat '(' 20000)" "$(repeat ')' 20000)" >parens.lua
expect parens parens.lua '' 'parens\.lua:1:[0-9]+: nesting too deep' 1

{ repeat 'if true then ' 20000; repeat 'end ' 20000; echo; } >blocks.lua
expect blocks blocks.lua '' 'blocks\.lua:1:[0-9]+: nesting too deep' 1

printf 'local t = %s1%s\nprint("unreached")\n' "$(repeat '{' 20000)" "$(repeat '}' 20000)" >tables.lua
expect tables tables.lua '' 'tables\.lua:1:[0-9]+: nesting too deep' 1

exit $failed
