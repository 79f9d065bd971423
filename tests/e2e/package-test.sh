#!/usr/bin/env bash
# cpack -G DEB makes the Debian package: its control data (dependencies
# from dpkg-shlibdeps and the ones it cannot see), its files (programs,
# links on the PATH, desktop entry, MIME package, icons, documents), no
# lintian error (the warnings are counted and printed), and apt resolves
# its installation.
#   package-test.sh BUILD_DIR
set -euo pipefail
BUILD="$1"
WORK="$(mktemp -d "${TMPDIR:-/tmp}/velda-package-XXXXXX")"
trap 'rm -rf "$WORK"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

cpack -G DEB -B "$WORK" --config "$BUILD/CPackConfig.cmake" > "$WORK/cpack.log" 2>&1 || { cat "$WORK/cpack.log"; fail "cpack"; }
DEB="$(ls "$WORK"/velda-viewer_*.deb)"
[ -f "$DEB" ] || fail "no velda-viewer_*.deb"

INFO="$(dpkg-deb --info "$DEB")"
field() { sed -n "s/^ $1: //p" <<< "$INFO"; }
[ "$(field Architecture)" = "$(dpkg --print-architecture)" ] || fail "the architecture"
[ "$(field Package)" = "velda-viewer" ] || fail "the package's name"
[ "$(field Section)" = "graphics" ] || fail "the section"
DEPENDS="$(field Depends)"
for needed in libqt5widgets5 libqt5gui5 libglew2.2 libfreeimage3 libassimp5 libcurl4 libsqlite3-0 libifcplusplus \
              libqt5svg5 fonts-wqy-microhei; do
  [[ ", $DEPENDS," == *", $needed"[\ ,]* ]] || fail "Depends lacks $needed: $DEPENDS"
done
if dpkg-deb --ctrl-tarfile "$DEB" | tar -t | grep -q shlibs; then fail "a shlibs file for a private library"; fi

CONTENTS="$(dpkg-deb --contents "$DEB" | awk '{print $6 ($7 ? " " $7 " " $8 : "")}')"
for path in "./usr/bin/velda-viewer -> ../lib/velda-viewer/velda-viewer" "./usr/bin/velda-pack -> ../lib/velda-viewer/velda-pack" \
            ./usr/lib/velda-viewer/velda-viewer ./usr/lib/velda-viewer/velda-pack ./usr/lib/velda-viewer/libQemGate.so \
            ./usr/lib/velda-viewer/SkyResources/index ./usr/share/applications/velda-viewer.desktop \
            ./usr/share/mime/packages/velda-viewer.xml ./usr/share/icons/hicolor/scalable/apps/velda-viewer.svg \
            ./usr/share/icons/hicolor/48x48/apps/velda-viewer.png ./usr/share/doc/velda-viewer/copyright \
            ./usr/share/doc/velda-viewer/changelog.gz ./usr/share/man/man1/velda-viewer.1.gz; do
  grep -qxF "$path" <<< "$CONTENTS" || fail "the package lacks $path"
done

# lintian refuses to judge as root without this note; its findings counted.
lintian --allow-root "$DEB" > "$WORK/lintian.txt" 2>&1 || true
errors="$(grep -c '^E: ' "$WORK/lintian.txt" || true)"
warnings="$(grep -c '^W: ' "$WORK/lintian.txt" || true)"
grep -E '^(E|W): ' "$WORK/lintian.txt" || true
echo "lintian: $errors errors, $warnings warnings"
[ "$errors" -eq 0 ] || fail "lintian errors"

# apt takes it with its dependencies (a simulation: nothing is installed).
apt-get install --simulate "$DEB" > "$WORK/apt.txt" 2>&1 || { cat "$WORK/apt.txt"; fail "apt cannot install it"; }
grep -q "^Inst velda-viewer " "$WORK/apt.txt" || { cat "$WORK/apt.txt"; fail "apt would not install velda-viewer"; }
echo "package: $(basename "$DEB"), $(stat -c %s "$DEB") bytes: ok"
