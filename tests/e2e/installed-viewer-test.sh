#!/usr/bin/env bash
# cmake --install puts the programs, the sign module and SkyResources/ into
# one folder with links in bin/, a desktop entry and an icon; the installed
# viewer finds its sign module and its sky there.
#   installed-viewer-test.sh BUILD_DIR SAMPLE_PROJECT
set -euo pipefail
BUILD="$1"
SAMPLE="$2"
WORK="$(mktemp -d "${TMPDIR:-/tmp}/velda-install-XXXXXX")"
PIDS=()
cleanup() {
  local pid
  for pid in "${PIDS[@]}"; do kill -9 "$pid" 2> /dev/null || true; done
  for pid in "${PIDS[@]}"; do wait "$pid" 2> /dev/null || true; done
  rm -rf "$WORK"
}
trap cleanup EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/local-service.sh"

PREFIX="$WORK/root/usr/local"
DESTDIR="$WORK/root" cmake --install "$BUILD" --prefix /usr/local > /dev/null
for program in velda-viewer velda-service velda-pack velda-inspect qem-client; do
  [ -x "$PREFIX/bin/$program" ] || fail "bin/$program is missing"
done
LIBDIR="$(dirname "$(readlink -f "$PREFIX/bin/velda-viewer")")"
[ -f "$LIBDIR/libQemGate.so" ] || fail "libQemGate.so is not beside the viewer"
[ -f "$LIBDIR/SkyResources/index" ] || fail "SkyResources/ is not beside the viewer"
[ -f "$PREFIX/share/applications/velda-viewer.desktop" ] || fail "no desktop entry"
[ -f "$PREFIX/share/icons/hicolor/scalable/apps/velda-viewer.svg" ] || fail "no icon"
grep -q "^Exec=velda-viewer" "$PREFIX/share/applications/velda-viewer.desktop" || fail "the entry runs something else"

export APPDATA="$WORK/appdata" QEM_SESSION="$WORK/session.json"
LOG="$APPDATA/Qem Files/myeasylog.log"
# Without a session: -1, no window.
code=0
"$PREFIX/bin/velda-viewer" -d > /dev/null 2>&1 || code=$?
[ "$code" -eq 255 ] || fail "without a session the installed viewer ended with $code"

# With the installed service and client: the viewer boots and reads its sky.
serve_project "$PREFIX/bin" "$WORK/data" s "$SAMPLE" || fail "the installed service did not start"
rm -f "$LOG"
"$PREFIX/bin/velda-viewer" -d > /dev/null 2>&1 &
PIDS+=($!)
wait_for 60 grep -q "load sky callback, parse index info over!" "$LOG" || fail "the installed viewer did not read its sky"
echo "installed viewer: ok"
