#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole test suite: the
# Release tree under Xvfb (the viewer end to end on its own), then a
# sanitizer tree (AddressSanitizer and UndefinedBehaviorSanitizer) for the
# unit and fuzz tests (the long load runs, the end-to-end runs and the
# picture comparisons of the two render paths stay in the Release tree).
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="${VELDA_BUILD_DIR:-$ROOT/build}"
JOBS="$(nproc)"

bash "$ROOT/scripts/install-deps.sh"

cmake -S "$ROOT" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release
cmake --build "$BUILD" -j "$JOBS"

cmake -S "$ROOT" -B "$BUILD-asan" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVELDA_SANITIZE=ON -DVELDA_BUILD_BENCH=OFF
cmake --build "$BUILD-asan" -j "$JOBS"

# -noreset: the server must not restart when its last client leaves, or a
# test that starts at that moment finds no display.
XVFB=(xvfb-run -a -s "-screen 0 1280x800x24 -noreset")

echo "== Release tests (under Xvfb)"
# The viewer end to end on its own: it times frames and input.
"${XVFB[@]}" ctest --test-dir "$BUILD" --output-on-failure -j "$JOBS" -LE "fuzz|load|e2e"
echo "== The viewer end to end (Release, under Xvfb)"
"${XVFB[@]}" ctest --test-dir "$BUILD" --output-on-failure -L e2e
# Twenty load runs in a row beside a busy loop on every core, then the kill
# test: Release only, they take about a minute.
echo "== Service load (Release)"
ctest --test-dir "$BUILD" -L load -V > "$BUILD/load.log" 2>&1 || { cat "$BUILD/load.log"; exit 1; }
grep -E "(load|kill): " "$BUILD/load.log" || true

echo "== Sanitizer tests (under Xvfb)"
export ASAN_OPTIONS="detect_leaks=1:strict_string_checks=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
"${XVFB[@]}" ctest --test-dir "$BUILD-asan" --output-on-failure -j "$JOBS" -LE "load|picture"
