#!/usr/bin/env bash
# Installs the build into a scratch prefix, then builds a consumer with find_package and with pkg-config.
set -euo pipefail
build_dir=$1
source_dir=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null
expected="[42, VelmarLua 0.2]"

cmake -S "$source_dir/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/consumer" >/dev/null
actual=$("$work/consumer/consumer")
[ "$actual" = "$expected" ] || { echo "find_package consumer printed: $actual"; exit 1; }

libdir=$(dirname "$(find "$work/prefix" -name velmarlua.pc)")
flags=$(PKG_CONFIG_PATH="$libdir" pkg-config --cflags --libs velmarlua)
case "$flags" in *-std=*) echo "pkg-config forces a language standard: $flags"; exit 1 ;; esac
# shellcheck disable=SC2086
c++ "$source_dir/consumer/main.cpp" $flags -o "$work/pc-consumer"
actual=$(LD_LIBRARY_PATH="$libdir/.." "$work/pc-consumer")
[ "$actual" = "$expected" ] || { echo "pkg-config consumer printed: $actual"; exit 1; }

[ "$("$work/prefix/bin/velmarlua" -v)" = "VelmarLua 0.2" ] || { echo "installed velmarlua does not run"; exit 1; }
manual="$work/prefix/share/man/man1/velmarlua.1"
[ -f "$manual" ] || { echo "the manual page is not installed"; exit 1; }
echo "install: 4 passed, 0 failed"
