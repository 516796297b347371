#!/usr/bin/env bash
# The prompt in the emulator: the banner, index.lua run first, expressions shown, chunks over several
# lines, an error reported without ending the prompt, and `exit` (or Esc alone on a line) to leave.
set -euo pipefail
wrapper=$1
work=$(mktemp -d "${TMPDIR:-/tmp}/velmar-boot-prompt.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
printf 'print("index ran")\ngreeting = "hi"\n' >index.lua

banner='VelmarLua Desktop For VelmarBoot
type Lua code at the VelmarBoot prompt and press Enter
type exit or press Esc on an empty prompt to leave
autoruns index.lua if it is present
use dofile("name.lua") to run files from disk
'
failed=0
check() { # NAME INPUT EXPECTED_OUTPUT EXPECTED_ERROR EXPECTED_STATUS
    local status=0
    printf '%s' "$2" | "$wrapper" -i >out 2>err || status=$?
    if [ "$(cat out)" != "$3" ] || [ "$(cat err)" != "$4" ] || [ "$status" != "$5" ]; then
        echo "FAIL $1: status $status (expected $5)" >&2
        diff -u <(printf '%s\n' "$3") out >&2 || true
        diff -u <(printf '%s\n' "$4") err >&2 || true
        failed=1
    fi
}

check 'a session' $'x = 40 + 2\nreturn x, greeting\nfunction f(a)\nreturn a * 2\nend\nprint(f(21))\nerror("oops")\nprint("still here")\n  exit \nprint("never")\n' \
    "$banner
index ran
> > 42	hi
> >> >> > 42
> > still here
> " 'stdin:1: oops' 0
check 'Esc leaves' $'print(1)\n\x1b\nprint(2)\n' "$banner
index ran
> 1
> " '' 0
check 'end of input leaves' $'print(3)\n' "$banner
index ran
> 3
> " '' 0
check 'os.exit ends with its status' $'os.exit(7)\nprint(4)\n' "$banner
index ran
> " '' 7
exit $failed
