#!/usr/bin/env bash
# Times programs through the desktop velmarlua and through velmarlua-boot (the boot image in the
# emulator), checks that both print the same, and prints a Markdown table: each time, their ratio, and
# the boot heap's high-water mark. The emulator's start-up (an empty script) is measured once and
# subtracted from the boot times.
#
# Usage: bench/boot-ratio.sh FILE.lua...
# Environment: VELMARLUA (default build/cli/velmarlua), VELMARLUA_BOOT (default build-boot/velmarlua-boot)
set -euo pipefail
export LC_ALL=C
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
desktop=${VELMARLUA:-$root/build/cli/velmarlua}
boot=${VELMARLUA_BOOT:-$root/build-boot/velmarlua-boot}
[ $# -gt 0 ] || { echo "usage: $0 FILE.lua..." >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
now() { date +%s.%N; }
seconds() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.6f", b - a }'; }

: >"$work/empty.lua"
start=$(now); "$boot" "$work/empty.lua"; startup=$(seconds "$start" "$(now)")
printf 'Emulator start-up (empty script): %.2f s\n\n' "$startup"
echo '| program | desktop s | boot s (less start-up) | ratio | boot heap high-water |'
echo '|---|---:|---:|---:|---:|'
for program in "$@"; do
    start=$(now); "$desktop" "$program" >"$work/desktop.out"; desktopTime=$(seconds "$start" "$(now)")
    start=$(now)
    if ! VELMAR_BOOT_REPORT=1 "$boot" "$program" >"$work/boot.out" 2>"$work/boot.err"; then
        printf '| %s | %.3f | failed: %s | | |\n' "$(basename "$program" .lua)" "$desktopTime" "$(head -n 1 "$work/boot.err")"
        continue
    fi
    bootTime=$(seconds "$startup" "$(seconds "$start" "$(now)")")
    if ! cmp -s "$work/desktop.out" "$work/boot.out"; then
        echo "$program: the outputs differ" >&2
        exit 1
    fi
    highWater=$(sed -n 's/^velmarlua-boot: heap high-water mark \([0-9]*\) bytes$/\1/p' "$work/boot.err")
    printf '| %s | %.3f | %.2f | %.0f | %s KiB |\n' "$(basename "$program" .lua)" "$desktopTime" "$bootTime" \
        "$(awk -v a="$bootTime" -v b="$desktopTime" 'BEGIN { printf "%.6f", a / b }')" "$((highWater / 1024))"
done
