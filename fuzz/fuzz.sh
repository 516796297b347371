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

# The script-running harnesses record timeouts in the findings without stopping the run (fork mode)
# until pattern matching spends steps of the step limit: a backtracking pattern can run for minutes
# inside one call.
case "$name" in
    compile) script_flags=() ;;
    *) script_flags=(-fork=1 -ignore_timeouts=1) ;;
esac
leaks=1
export ASAN_OPTIONS="detect_leaks=$leaks${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
flags=(-detect_leaks=$leaks -timeout=20 -rss_limit_mb=3072 -max_len=16384 -dict="$here/lua.dict" -print_final_stats=1)

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
        "$binary" "${flags[@]}" "${script_flags[@]}" -max_total_time="$seconds" -artifact_prefix="$findings/" "$@" \
            "$work" "$corpus/seeds/$name" "$regressions"
        ;;
    *)
        echo "unknown mode $mode" >&2
        exit 2
        ;;
esac
