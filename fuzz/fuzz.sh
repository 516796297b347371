#!/usr/bin/env bash
# Runs one harness.
#   fuzz.sh replay NAME BINARY                      run every saved input in regressions/NAME once
#   fuzz.sh smoke  NAME BINARY CORPUS SECONDS       fresh, seeded run from the seeds (for ctest)
#   fuzz.sh run    NAME BINARY CORPUS SECONDS [FLAGS...]
#                                                   long run; new inputs accumulate in CORPUS/NAME,
#                                                   crashing inputs land in CORPUS/NAME-findings/
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
mode=$1
name=$2
binary=$3

# Every harness checks for leaks, and an input that runs past the timeout is a finding like a crash:
# scripts run under a step limit that covers pattern matching and string work too.
export ASAN_OPTIONS="detect_leaks=1${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
flags=(-detect_leaks=1 -timeout=20 -rss_limit_mb=3072 -max_len=16384 -dict="$here/lua.dict" -print_final_stats=1)

regressions="$here/regressions/$name"
mkdir -p "$regressions"

case "$mode" in
    replay)
        mapfile -t inputs < <(find "$regressions" -type f ! -name '*.md' | sort)
        if [ "${#inputs[@]}" -eq 0 ]; then
            echo "$name: no saved regression inputs"
            exit 0
        fi
        "$binary" "${flags[@]}" "${inputs[@]}"
        echo "$name: ${#inputs[@]} regression inputs passed"
        ;;
    smoke | run)
        corpus=$4
        seconds=$5
        shift 5
        work="$corpus/$name"
        findings="$corpus/$name-findings"
        if [ "$mode" = smoke ]; then
            rm -rf "$work" "$findings"
            set -- -seed=1 "$@"
        fi
        mkdir -p "$work" "$findings"
        "$binary" "${flags[@]}" -max_total_time="$seconds" -artifact_prefix="$findings/" "$@" \
            "$work" "$corpus/seeds/$name" "$regressions"
        ;;
    *)
        echo "unknown mode $mode" >&2
        exit 2
        ;;
esac
