#!/usr/bin/env bash
# velda-render against f3d on the FZK house: both draw a 1024x700 PNG, five
# runs each, taking turns; prints the median wall times, their ratio and the
# peak memories.
#   bash bench/render-vs-f3d.sh [BUILD_DIR]      (default: build)
# velda-render runs with no X display at all. Debian's f3d needs one even to
# draw off screen, so it gets a private Xvfb, started once before the runs so
# that the server's start is not counted.
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="$(cd "${1:-$ROOT/build}" && pwd)"
RUNS=5
MODEL=/usr/share/assimp/models/IFC/AC14-FZK-Haus.ifc
RENDER="$BUILD/bin/velda-render"
PROJECT="$BUILD/samples/fzk-haus"

missing=()
for p in f3d assimp-utils assimp-testmodels time xvfb xauth; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""
  if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
  echo "installing ${missing[*]}"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

if [ ! -x "$RENDER" ] || [ ! -f "$PROJECT/index" ]; then
  echo "no $RENDER or $PROJECT: build first (cmake --build build)" >&2
  exit 1
fi

WORK="$(mktemp -d)"
XVFB_PID=""
cleanup() {
  if [ -n "$XVFB_PID" ]; then kill "$XVFB_PID" 2>/dev/null || true; wait "$XVFB_PID" 2>/dev/null || true; fi
  rm -rf "$WORK"
}
trap cleanup EXIT

assimp export "$MODEL" "$WORK/fzk-haus.glb" >"$WORK/export.log" 2>&1 ||
  { cat "$WORK/export.log"; exit 1; }

# Xvfb picks a free display and writes its number to descriptor 3.
Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$WORK/display" 2>"$WORK/xvfb.log" &
XVFB_PID=$!
for _ in $(seq 100); do
  [ -s "$WORK/display" ] && break
  sleep 0.1
done
[ -s "$WORK/display" ] || { echo "Xvfb did not start:" >&2; cat "$WORK/xvfb.log" >&2; exit 1; }
F3D_DISPLAY=":$(tr -d '[:space:]' <"$WORK/display")"

# measure NAME COMMAND...: one run; appends its milliseconds and peak KiB.
measure() {
  local name="$1"; shift
  local start end
  start=$(date +%s%N)
  if ! /usr/bin/time -f %M -o "$WORK/mem" "$@" >"$WORK/out" 2>"$WORK/err"; then
    echo "$name failed:" >&2; cat "$WORK/err" >&2; exit 1
  fi
  end=$(date +%s%N)
  echo $(( (end - start) / 1000000 )) >>"$WORK/$name.ms"
  tail -n 1 "$WORK/mem" >>"$WORK/$name.kib"
}

for _ in $(seq "$RUNS"); do
  measure velda-render env -u DISPLAY -u WAYLAND_DISPLAY "$RENDER" "$PROJECT" -o "$WORK/velda.png" \
    --size 1024x700 --cache "$WORK/cache"
  measure f3d env DISPLAY="$F3D_DISPLAY" f3d "$WORK/fzk-haus.glb" --output "$WORK/f3d.png" --resolution 1024,700
done

median() { sort -n "$1" | awk '{v[NR] = $1} END {print v[int((NR + 1) / 2)]}'; }
highest() { sort -n "$1" | tail -n 1; }

vr_ms=$(median "$WORK/velda-render.ms"); f3d_ms=$(median "$WORK/f3d.ms")
vr_kib=$(highest "$WORK/velda-render.kib"); f3d_kib=$(highest "$WORK/f3d.kib")
driver=$(DISPLAY="$F3D_DISPLAY" glxinfo -B 2>/dev/null | sed -n 's/.*renderer string: //p' | head -n 1 || true)
echo "FZK house, 1024x700 PNG, $RUNS runs each${driver:+, $driver}"
printf "%-13s median %6d ms   peak memory %8d KiB\n" velda-render "$vr_ms" "$vr_kib"
printf "%-13s median %6d ms   peak memory %8d KiB\n" f3d "$f3d_ms" "$f3d_kib"
awk -v a="$vr_ms" -v b="$f3d_ms" -v c="$vr_kib" -v d="$f3d_kib" \
  'BEGIN {printf "velda-render / f3d: time %.2f, memory %.2f\n", (b > 0 ? a / b : 0), (d > 0 ? c / d : 0)}'
