#!/usr/bin/env bash
# Installs the Debian packages that the named stages need and that are missing; does nothing (and asks
# no package server) when all of them are present.
#
#   scripts/install-prerequisites.sh build test fuzz
#
# Each stage is one list below. A stage added for a new build or test step is one more case.
set -euo pipefail

packages_for() {
    case "$1" in
        # The library and velmarlua (libedit gives the prompt line editing and history).
        build) echo cmake make g++ libedit-dev ;;
        # The unit, script, CLI and install tests: GoogleTest, tmux for the prompt tests, pkg-config for
        # the install test, groff to check the manual page.
        test) echo libgtest-dev tmux pkg-config groff-base ;;
        # The libFuzzer harnesses.
        fuzz) echo clang libclang-rt-dev ;;
        # Line coverage of the test suite.
        coverage) echo gcovr ;;
        # The benchmark comparison with the reference interpreter, and instruction counts.
        bench) echo lua5.4 valgrind ;;
        # The freestanding 32-bit Arm image, the emulator that runs it, and tmux for its terminal test
        # (see boot/README.md).
        boot) echo qemu-system-arm gcc-arm-none-eabi libstdc++-arm-none-eabi-picolibc picolibc-arm-none-eabi tmux ;;
        *) return 1 ;;
    esac
}

if [ $# -eq 0 ]; then
    echo "usage: $0 STAGE... (stages: build test fuzz coverage bench boot)" >&2
    exit 2
fi

wanted=()
for stage in "$@"; do
    if ! list=$(packages_for "$stage"); then
        echo "install-prerequisites: unknown stage '$stage' (stages: build test fuzz coverage bench boot)" >&2
        exit 2
    fi
    # shellcheck disable=SC2206
    wanted+=($list)
done

if ! command -v dpkg-query >/dev/null 2>&1; then
    echo "install-prerequisites: not a Debian system; make sure these are installed: ${wanted[*]}" >&2
    exit 0
fi

missing=()
for package in "${wanted[@]}"; do
    status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
    if [ "$status" != "install ok installed" ]; then
        missing+=("$package")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "install-prerequisites: installing ${missing[*]}" >&2
if [ "$(id -u)" -eq 0 ]; then
    as_root=()
elif command -v sudo >/dev/null 2>&1; then
    as_root=(sudo)
else
    echo "install-prerequisites: run as root, or install: ${missing[*]}" >&2
    exit 1
fi
# Waits for another package manager run instead of failing on its lock.
apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600 -q)
"${apt[@]}" update >/dev/null
"${apt[@]}" install -y --no-install-recommends "${missing[@]}" >/dev/null
