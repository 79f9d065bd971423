#!/usr/bin/env bash
# Per-pass frame costs on this machine's GL for the FZK house and synth
# cities of 1,000 and 10,000 objects, at 1024x700:
#   bench/frame-bench.sh [BUILD_DIR] [FRAMES]
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="${1:-$ROOT/build}"
FRAMES="${2:-15}"
WORK="${TMPDIR:-/tmp}/velda-frame-bench"
mkdir -p "$WORK"
for n in 1000 10000; do
  [ -f "$WORK/city-$n/index" ] || "$BUILD/bin/velda-pack" synth "$WORK/city-$n" --objects "$n" > /dev/null
done
rm -rf "${TMPDIR:-/tmp}/velda-bench-frames-cache"
"$BUILD/bin/bench_frames" --frames "$FRAMES" \
  "fzk-haus=$BUILD/samples/fzk-haus" "city=$WORK/city-1000" "city=$WORK/city-10000"
