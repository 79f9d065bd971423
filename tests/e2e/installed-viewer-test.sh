#!/usr/bin/env bash
# cmake --install puts the programs, the sign module and SkyResources/ into
# one folder with links in bin/, a desktop entry with its model types, the
# types the system lacks, icons and a manual page; the installed viewer
# finds its sign module and its sky there, opens a model file with the
# installed packer, and xdg-open opens an IFC file with it.
#   installed-viewer-test.sh BUILD_DIR SAMPLE_PROJECT
set -euo pipefail
BUILD="$1"
SAMPLE="$2"
HOUSE=/usr/share/assimp/models/IFC/AC14-FZK-Haus.ifc
WORK="$(mktemp -d "${TMPDIR:-/tmp}/velda-install-XXXXXX")"
PIDS=()
GROUPS_STARTED=()
cleanup() {
  local pid
  for pid in "${GROUPS_STARTED[@]}"; do kill -9 -- "-$pid" 2> /dev/null || true; done
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
[ -x "$LIBDIR/velda-pack" ] || fail "velda-pack is not beside the viewer"
ENTRY="$PREFIX/share/applications/velda-viewer.desktop"
[ -f "$ENTRY" ] || fail "no desktop entry"
desktop-file-validate "$ENTRY" || fail "the desktop entry is not valid"
grep -q "^Exec=velda-viewer %f$" "$ENTRY" || fail "the entry does not pass the file"
grep -q "^MimeType=.*application/x-step;" "$ENTRY" || fail "the entry does not take IFC"
[ -f "$PREFIX/share/mime/packages/velda-viewer.xml" ] || fail "no MIME package"
[ -f "$PREFIX/share/icons/hicolor/scalable/apps/velda-viewer.svg" ] || fail "no scalable icon"
for size in 16 32 48 256; do
  icon="$PREFIX/share/icons/hicolor/${size}x${size}/apps/velda-viewer.png"
  [ "$(identify -format "%wx%h" "$icon" 2> /dev/null)" = "${size}x${size}" ] || fail "no ${size}x${size} icon"
done
[ -f "$PREFIX/share/man/man1/velda-viewer.1.gz" ] || fail "no manual page"

export QEM_SESSION="$WORK/session.json"
export APPDATA="$WORK/appdata"
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
wait_for 60 grep -qs "load sky callback, parse index info over!" "$LOG" || fail "the installed viewer did not read its sky"
kill -9 "${PIDS[-1]}"
wait "${PIDS[-1]}" 2> /dev/null || true

# A model file, with no client: the installed packer packs it into the
# application data folder and the window opens.
packed() { compgen -G "$1/Qem Files/Models/*/*/index" > /dev/null; }
window() { xdotool search --onlyvisible --name "岚舟三维浏览器" > /dev/null 2>&1; }
APPDATA="$WORK/file-appdata" "$PREFIX/bin/velda-viewer" "$HOUSE" > /dev/null 2>&1 &
PIDS+=($!)
wait_for 120 packed "$WORK/file-appdata" || fail "the installed viewer did not pack the house"
wait_for 60 window || fail "no window for the house"
kill -9 "${PIDS[-1]}"
wait "${PIDS[-1]}" 2> /dev/null || true
wait_for 20 bash -c "! xdotool search --onlyvisible --name 岚舟三维浏览器 > /dev/null 2>&1" || true

# The desktop knows it: after update-mime-database and
# update-desktop-database, an IFC file is application/x-step, the viewer
# is its default, and xdg-open opens it there (Escape ends it again).
update-mime-database "$PREFIX/share/mime" > /dev/null 2>&1
update-desktop-database "$PREFIX/share/applications"
export XDG_DATA_DIRS="$PREFIX/share:/usr/share" XDG_DATA_HOME="$WORK/xdg-data" XDG_CONFIG_HOME="$WORK/xdg-config"
export XDG_CURRENT_DESKTOP= PATH="$PREFIX/bin:$PATH"
cp "$HOUSE" "$WORK/house.ifc"
[ "$(xdg-mime query filetype "$WORK/house.ifc")" = "application/x-step" ] || fail "an IFC file is not application/x-step"
[ "$(xdg-mime query default application/x-step)" = "velda-viewer.desktop" ] || fail "the viewer is not the default for IFC"
APPDATA="$WORK/open-appdata" setsid xdg-open "$WORK/house.ifc" > /dev/null 2>&1 &
OPENER=$!
GROUPS_STARTED+=("$OPENER")
wait_for 120 packed "$WORK/open-appdata" || fail "xdg-open did not open the house in the viewer"
wait_for 60 window || fail "no window after xdg-open"
xdotool search --onlyvisible --name "岚舟三维浏览器" windowfocus --sync key Escape
code=0
wait_for 30 bash -c "! kill -0 $OPENER 2> /dev/null" || fail "the viewer opened by xdg-open did not end on Escape"
wait "$OPENER" || code=$?
[ "$code" -eq 0 ] || fail "xdg-open ended with $code"
echo "installed viewer: ok"
