#!/usr/bin/env bash
# Builds the suite with gcov instrumentation in build-coverage/ (or $1), runs every test and prints
# gcovr's line and branch summary for the library, the command-line host and the public headers.
#
#   scripts/coverage.sh [BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-coverage}
scripts/install-prerequisites.sh build test coverage
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DVELMAR_LUA_COVERAGE=ON >/dev/null
cmake --build "$build" -j2
# Counts from an earlier run would be added to this one's.
find "$build" -name '*.gcda' -delete
ctest --test-dir "$build" -j2 --output-on-failure
gcovr --root . --object-directory "$build" --filter 'src/' --filter 'include/' --filter 'cli/' \
    --print-summary --output "$build/coverage.txt"
