#!/usr/bin/env bash
# Runs the benchmark programs through a Release velmarlua and, when it is installed,
# through lua5.4, interleaved run by run; checks that both print the same output and
# prints a Markdown table of median times and peak memory.
#
# Usage: bench/run.sh [PROGRAM...]      (names from bench/programs, without .lua)
# Environment:
#   RUNS=5           runs per program and interpreter
#   STARTUP_RUNS=20  runs of an empty script for the start-up time
#   TIMEOUT=600      seconds before one run is killed and counted as a failure
#   SKIP_BUILD=1     use the existing build-bench/ instead of building
#   LUA=lua5.4       the reference interpreter to compare against
# Exit status: 0 when every run succeeded and the outputs agree, 1 otherwise, 2 on bad usage.
set -u
export LC_ALL=C

RUNS=${RUNS:-5}
STARTUP_RUNS=${STARTUP_RUNS:-20}
TIMEOUT=${TIMEOUT:-600}
LUA=${LUA:-lua5.4}

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/.." && pwd)
programs_dir="$here/programs"
velmarlua="$root/build-bench/cli/velmarlua"

log() { printf '%s\n' "$*" >&2; }

case "$RUNS$STARTUP_RUNS$TIMEOUT" in
    *[!0-9]*) log "RUNS, STARTUP_RUNS and TIMEOUT must be whole numbers"; exit 2 ;;
esac
if [ "$RUNS" -lt 1 ] || [ "$STARTUP_RUNS" -lt 1 ]; then
    log "RUNS and STARTUP_RUNS must be at least 1"
    exit 2
fi

# Which programs: the arguments, or every program in bench/programs.
names=()
if [ $# -gt 0 ]; then
    for name in "$@"; do
        name=${name%.lua}
        if [ ! -f "$programs_dir/$name.lua" ]; then
            log "no such benchmark program: $name (see bench/programs/)"
            exit 2
        fi
        names+=("$name")
    done
else
    for file in "$programs_dir"/*.lua; do
        name=$(basename "$file" .lua)
        names+=("$name")
    done
fi

if [ "${SKIP_BUILD:-0}" != 1 ]; then
    log "building Release velmarlua in build-bench/"
    (cd "$root" &&
        cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DVELMAR_LUA_BUILD_TESTS=OFF >/dev/null &&
        cmake --build build-bench -j2 --target velmarlua >/dev/null) || {
        log "build failed"
        exit 1
    }
fi
if [ ! -x "$velmarlua" ]; then
    log "velmarlua not found at $velmarlua"
    exit 1
fi

have_lua=0
if command -v "$LUA" >/dev/null 2>&1; then
    have_lua=1
else
    log "$LUA is not on PATH: timing velmarlua alone (install it with: apt-get install lua5.4)"
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Measuring one run. GNU time gives the peak resident set; without it a small Python
# helper reads the same figure from wait4. Wall time comes from the shell's clock
# either way, to the microsecond.
# MEASURE=python forces the helper (useful to check it on a machine that has time).
measure_mode=${MEASURE:-}
if [ -z "$measure_mode" ] && [ -x /usr/bin/time ]; then
    measure_mode=time
fi
if [ "$measure_mode" != time ]; then
    measure_mode=python
    if ! command -v python3 >/dev/null 2>&1; then
        log "need either /usr/bin/time or python3 to measure memory"
        exit 1
    fi
    # posix_spawn keeps the helper free of the subprocess module; what is left of its own
    # resident size still counts in its child's figure (see the floor below).
    cat >"$work/measure.py" <<'PY'
import os, sys, time
timeout, out_path, err_path, argv = float(sys.argv[1]), sys.argv[2], sys.argv[3], sys.argv[4:]
flags = os.O_WRONLY | os.O_CREAT | os.O_TRUNC
actions = [(os.POSIX_SPAWN_OPEN, 0, os.devnull, os.O_RDONLY, 0),
           (os.POSIX_SPAWN_OPEN, 1, out_path, flags, 0o644),
           (os.POSIX_SPAWN_OPEN, 2, err_path, flags, 0o644)]
start = time.perf_counter()
try:
    pid = os.posix_spawnp(argv[0], argv, os.environ, file_actions=actions)
except OSError as error:
    with open(err_path, "w") as err:
        err.write(f"{argv[0]}: {error}\n")
    print("0 0 127")
    sys.exit(0)
killed = False
while True:
    done, status, usage = os.wait4(pid, os.WNOHANG)
    if done:
        break
    if not killed and time.perf_counter() - start > timeout:
        os.kill(pid, 9)
        killed = True
    time.sleep(0.001)
seconds = time.perf_counter() - start
code = os.waitstatus_to_exitcode(status)
print(f"{seconds:.6f} {usage.ru_maxrss} {code if code >= 0 else 128 - code}")
PY
fi

# measure OUT ERR COMMAND...: prints "seconds peak_kb status".
measure() {
    local out=$1 err=$2
    shift 2
    if [ "$measure_mode" = python ]; then
        python3 "$work/measure.py" "$TIMEOUT" "$out" "$err" "$@"
        return
    fi
    local start end status kb
    start=$EPOCHREALTIME
    timeout "$TIMEOUT" /usr/bin/time -f '%M' -o "$work/mem" "$@" >"$out" 2>"$err" </dev/null
    status=$?
    end=$EPOCHREALTIME
    kb=$(tail -n 1 "$work/mem" 2>/dev/null)
    case "$kb" in '' | *[!0-9]*) kb=0 ;; esac
    awk -v s="$start" -v e="$end" -v kb="$kb" -v st="$status" 'BEGIN { printf "%.6f %d %d\n", e - s, kb, st }'
}

# A child's peak resident size starts at that of the process that spawned it. GNU time
# is small enough not to matter; the Python helper is not, so measure its floor once and
# show figures at the floor as an upper bound ("<=") rather than as a measurement.
floor_kb=0
if [ "$measure_mode" = python ]; then
    read -r _ floor_kb _ < <(measure "$work/floor_out" "$work/floor_err" true)
    log "python helper: peak memory below $(awk -v kb="$floor_kb" 'BEGIN { printf "%.1f", kb / 1024 }') MB cannot be measured"
fi

# megabytes KB: the figure for the table.
megabytes() {
    awk -v kb="$1" -v floor="$floor_kb" 'BEGIN { if (floor > 0 && kb <= floor * 1.05) printf "<=%.1f", kb / 1024; else printf "%.1f", kb / 1024 }'
}

# run_once LABEL PREFIX COMMAND...: one measured run of the current program. Appends its
# time and peak memory to $work/PREFIX_times and PREFIX_mem and leaves its output in
# $work/PREFIX_out; on failure shows the start of its error output and returns 1.
run_once() {
    local label=$1 prefix=$2 secs kb status
    shift 2
    read -r secs kb status < <(measure "$work/${prefix}_out" "$work/${prefix}_err" "$@")
    if [ "$status" != 0 ]; then
        log "  $label failed on $name (status $status):"
        sed 's/^/    /' "$work/${prefix}_err" | head -n 5 >&2
        return 1
    fi
    echo "$secs" >>"$work/${prefix}_times"
    echo "$kb" >>"$work/${prefix}_mem"
}

# startup_ms FILE COMMAND...: appends the wall time of one run of COMMAND, in milliseconds.
startup_ms() {
    local file=$1 start end
    shift
    start=$EPOCHREALTIME
    "$@" >/dev/null 2>&1 </dev/null
    end=$EPOCHREALTIME
    awk -v s="$start" -v e="$end" 'BEGIN { printf "%.3f\n", (e - s) * 1000 }' >>"$file"
}

median() { sort -g | awk '{ v[NR] = $1 } END { if (NR == 0) exit; if (NR % 2) print v[(NR + 1) / 2]; else print (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
maximum() { sort -g | tail -n 1; }

failed=0
rows=()
ratios=()
for name in "${names[@]}"; do
    file="$programs_dir/$name.lua"
    : >"$work/v_times"; : >"$work/v_mem"; : >"$work/l_times"; : >"$work/l_mem"
    status_note=""
    for run in $(seq 1 "$RUNS"); do
        log "$name: run $run/$RUNS"
        if ! run_once velmarlua v "$velmarlua" "$file"; then
            status_note="velmarlua failed"
            break
        fi
        if [ "$run" = 1 ]; then
            cp "$work/v_out" "$work/v_first"
        elif ! cmp -s "$work/v_out" "$work/v_first"; then
            log "  velmarlua printed different output on run $run of $name"
            status_note="velmarlua output not deterministic"
            break
        fi
        if [ "$have_lua" = 1 ]; then
            if ! run_once "$LUA" l "$LUA" "$file"; then
                status_note="$LUA failed"
                break
            fi
            if ! cmp -s "$work/l_out" "$work/v_first"; then
                log "  OUTPUT MISMATCH on $name (< velmarlua, > $LUA):"
                diff "$work/v_first" "$work/l_out" | head -n 20 | sed 's/^/    /' >&2
                status_note="output mismatch"
                break
            fi
        fi
    done
    if [ -n "$status_note" ]; then
        failed=1
        rows+=("| $name | $status_note | | | | | |")
        continue
    fi
    v_time=$(median <"$work/v_times")
    v_mb=$(megabytes "$(maximum <"$work/v_mem")")
    if [ "$have_lua" = 1 ]; then
        l_time=$(median <"$work/l_times")
        l_mb=$(megabytes "$(maximum <"$work/l_mem")")
        ratio=$(awk -v v="$v_time" -v l="$l_time" 'BEGIN { printf "%.2f", v / l }')
        mem_ratio=$(awk -v v="$v_mb" -v l="$l_mb" 'BEGIN { if (v ~ /^</ || l ~ /^</ || l + 0 <= 0) print "-"; else printf "%.2f", v / l }')
        ratios+=("$(awk -v v="$v_time" -v l="$l_time" 'BEGIN { printf "%.6f", v / l }')")
        rows+=("$(printf '| %s | %.3f | %.3f | %s | %s | %s | %s |' "$name" "$v_time" "$l_time" "$ratio" "$v_mb" "$l_mb" "$mem_ratio")")
    else
        rows+=("$(printf '| %s | %.3f | - | - | %s | - | - |' "$name" "$v_time" "$v_mb")")
    fi
done

# Start-up: an empty script, run many times.
: >"$work/empty.lua"
: >"$work/v_startup"; : >"$work/l_startup"
log "start-up: $STARTUP_RUNS runs of an empty script"
for run in $(seq 1 "$STARTUP_RUNS"); do
    startup_ms "$work/v_startup" "$velmarlua" "$work/empty.lua"
    if [ "$have_lua" = 1 ]; then
        startup_ms "$work/l_startup" "$LUA" "$work/empty.lua"
    fi
done

echo "| program | VelmarLua median s | Lua median s | ratio | VelmarLua peak MB | Lua peak MB | memory ratio |"
echo "|---|---:|---:|---:|---:|---:|---:|"
printf '%s\n' "${rows[@]}"
echo
if [ "${#ratios[@]}" -gt 0 ]; then
    printf '%s\n' "${ratios[@]}" | awk '{ s += log($1); n++ } END { printf "Geometric mean of time ratios: %.2f over %d programs (%d runs each)\n", exp(s / n), n, '"$RUNS"' }'
fi
startup=$(median <"$work/v_startup")
if [ "$have_lua" = 1 ]; then
    lua_startup=$(median <"$work/l_startup")
    printf 'Start-up on an empty script (median of %d): VelmarLua %.2f ms, Lua %.2f ms\n' "$STARTUP_RUNS" "$startup" "$lua_startup"
else
    printf 'Start-up on an empty script (median of %d): VelmarLua %.2f ms\n' "$STARTUP_RUNS" "$startup"
fi
if [ "$failed" != 0 ]; then
    echo
    echo "FAILED: at least one program failed or printed output that differs (details above on standard error)"
    exit 1
fi
exit 0
