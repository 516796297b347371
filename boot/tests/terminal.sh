#!/usr/bin/env bash
# The prompt in a real terminal (tmux): started by itself when standard input is a terminal, output
# shown line by line as it is typed, and Esc alone on a line to leave.
set -euo pipefail
wrapper=$1
command -v tmux >/dev/null || { echo "tmux is missing (scripts/install-prerequisites.sh test)" >&2; exit 1; }
work=$(mktemp -d "${TMPDIR:-/tmp}/velmar-boot-terminal.XXXXXX")
session="velmar-boot-$$"
trap 'tmux kill-session -t "$session" 2>/dev/null || true; rm -rf "$work"' EXIT
printf 'print("index ran")\n' >"$work/index.lua"
tmux new-session -d -s "$session" -x 100 -y 20 \
    "cd '$work' && '$wrapper'; echo \"ended with \$?\"; sleep 60"

# Waits until a line of the screen matches the extended regular expression, up to 30 seconds.
await() {
    for _ in $(seq 1 300); do
        tmux capture-pane -t "$session" -p | grep -qE -- "$1" && return 0
        sleep 0.1
    done
    echo "the screen never showed '$1'; it shows:" >&2
    tmux capture-pane -t "$session" -p >&2
    exit 1
}

await '^index ran$'
tmux send-keys -t "$session" 'x = 6 * 7' Enter
# The next prompt, alone on its line, before typing on: typed ahead, the line would land before it.
await '^> x = 6 \* 7$'
await '^> *$'
tmux send-keys -t "$session" 'return x, "typed"' Enter
await '^42 +typed$' # the terminal shows the tab as spaces
tmux send-keys -t "$session" Escape Enter
await '^ended with 0$'
