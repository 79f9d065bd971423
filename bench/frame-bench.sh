#!/usr/bin/env bash
# The fast and the specified (faithful) path side by side, for the FZK
# house and synth cities of 10,000 and 100,000 objects, at 1024x700:
#   - headless (bench_frames, one process a path): load from a filled cache,
#     still and moving frame ms, draw calls of a still frame, peak memory;
#   - the viewer (viewer_figures under Xvfb, served by velda-service): ready
#     from a filled cache, idle frames and CPU over 10 s, orbiting fps, peak
#     memory. The faithful viewer hands over one file a frame at several
#     seconds a frame for the big city, so it is left out there.
#   bench/frame-bench.sh [BUILD_DIR] [FRAMES]
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="$(cd "${1:-$ROOT/build}" && pwd)"
FRAMES="${2:-9}"
WORK="${TMPDIR:-/tmp}/velda-frame-bench"
mkdir -p "$WORK"
for n in 10000 100000; do
  [ -f "$WORK/city-$n/index" ] || "$BUILD/bin/velda-pack" synth "$WORK/city-$n" --objects "$n" > /dev/null
done
PROJECTS=("fzk-haus=$BUILD/samples/fzk-haus" "city-10000=$WORK/city-10000" "city-100000=$WORK/city-100000")

echo "== Headless frames"
header=--header
for p in "${PROJECTS[@]}"; do
  for path in fast faithful; do
    rm -rf "${TMPDIR:-/tmp}/velda-bench-frames-cache"
    flag=""
    [ "$path" = faithful ] && flag=--faithful
    "$BUILD/bin/bench_frames" $header --frames "$FRAMES" $flag "$p"
    header=""
  done
done

if [ -x "$BUILD/bin/viewer_figures" ]; then
  echo "== The viewer (filled cache is the second line of each path)"
  for p in "${PROJECTS[@]}"; do
    echo "-- ${p%%=*}"
    only=""
    [ "${p%%=*}" = city-100000 ] && only=--fast-only
    timeout 3000 xvfb-run -a -s "-screen 0 1280x800x24 -noreset" "$BUILD/bin/viewer_figures" "${p#*=}" $only ||
      echo "(viewer figures failed or timed out)"
  done
fi
