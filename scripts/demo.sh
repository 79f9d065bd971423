#!/usr/bin/env bash
# One command for a first look: installs what is missing, builds, serves the
# packed FZK house with velda-service on a free loopback port, signs a user
# in with qem-client and starts velda-viewer on your display. Without a
# display it runs the viewer under Xvfb, waits until the house is ready,
# steps back with the mouse wheel (the start view stands inside the house),
# saves a screenshot of the window and prints its path. Everything it
# started ends with the viewer or on Ctrl+C.
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="${VELDA_BUILD_DIR:-$ROOT/build}"
BIN="$BUILD/bin"
SHOT_DIR="$BUILD/demo"

bash "$ROOT/scripts/install-deps.sh"
cmake -S "$ROOT" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release > /dev/null
cmake --build "$BUILD" -j "$(nproc)" --target velda-viewer velda-service qem-client QemGate sky_resources samples

WORK="$(mktemp -d "${TMPDIR:-/tmp}/velda-demo-XXXXXX")"
PIDS=()
cleanup() {
  local pid
  for pid in "${PIDS[@]}"; do kill "$pid" 2> /dev/null || true; done
  for pid in "${PIDS[@]}"; do wait "$pid" 2> /dev/null || true; done
  rm -rf "$WORK"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# Waits up to $1 seconds for the command after it to succeed.
wait_for() {
  local seconds="$1"; shift
  local end=$((SECONDS + seconds))
  until "$@"; do
    [ "$SECONDS" -lt "$end" ] || return 1
    sleep 0.2
  done
}

DATA="$WORK/data"
"$BIN/velda-service" init --data "$DATA" > /dev/null
"$BIN/velda-service" user --data "$DATA" --qemid 1001 --name "张三" --sign demo-sign
"$BIN/velda-service" project --data "$DATA" --id 7 --folder "$BUILD/samples/fzk-haus" --name "FZK Haus" \
  --group "示例" --groupid demo --uploader "张三" --uploaderqemid 1001 --uploadtime "$(date '+%Y-%m-%d %H:%M')"
"$BIN/velda-service" serve --data "$DATA" --port 0 --quiet > "$WORK/serve.out" &
PIDS+=($!)
wait_for 20 grep -q "^listening on " "$WORK/serve.out" || { echo "demo: velda-service did not start" >&2; exit 1; }

export APPDATA="$WORK/appdata" QEM_SESSION="$WORK/session.json"
QEM_SERVICE_URL="$(sed -n 's/^listening on //p' "$WORK/serve.out")"
export QEM_SERVICE_URL
"$BIN/qem-client" login --project 7 --user 1001 --name "张三" --sign demo-sign

if [ -n "${DISPLAY:-}" ] && xdpyinfo > /dev/null 2>&1; then
  echo "demo: the viewer opens on $DISPLAY; close it (or press Escape) to end the demo"
  "$BIN/velda-viewer" &
  VIEWER=$!
  PIDS+=("$VIEWER")
  wait "$VIEWER" || true
  exit 0
fi

# No display: a virtual one.
Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3> "$WORK/display" 2> /dev/null &
PIDS+=($!)
wait_for 20 test -s "$WORK/display" || { echo "demo: Xvfb did not start" >&2; exit 1; }
export DISPLAY=":$(cat "$WORK/display")"

"$BIN/velda-viewer" -d > "$WORK/viewer.out" 2>&1 &
VIEWER=$!
PIDS+=("$VIEWER")
LOG="$APPDATA/Qem Files/myeasylog.log"
ready() {
  kill -0 "$VIEWER" 2> /dev/null || { echo "demo: the viewer ended before the house was ready" >&2; exit 1; }
  grep -q "ready percent:1$" "$LOG" 2> /dev/null
}
wait_for 180 ready || { echo "demo: the house did not get ready in three minutes" >&2; exit 1; }
WINDOW="$(xdotool search --onlyvisible --name "岚舟三维浏览器" | head -n 1)"
eval "$(xdotool getwindowgeometry --shell "$WINDOW")"
xdotool mousemove $((X + WIDTH / 2)) $((Y + HEIGHT / 2)) click --repeat 20 --delay 40 5
sleep 1.5
mkdir -p "$SHOT_DIR"
SHOT="$SHOT_DIR/fzk-haus.png"
import -window root -crop "${WIDTH}x${HEIGHT}+${X}+${Y}" +repage "$SHOT"
"$BIN/qem-client" quit
wait_for 10 bash -c "! kill -0 $VIEWER 2> /dev/null" || true
echo "demo: screenshot of the viewer with the FZK house: $SHOT"
