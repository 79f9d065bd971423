#!/usr/bin/env bash
# velda-pack on a generated IFC4 file of about MEGABYTES (default 50) and on
# the FZK house: wall time and peak memory of the packer and of its largest
# geometry worker.
#   bench/pack-ifc.sh [BUILD_DIR] [MEGABYTES]
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="${1:-$ROOT/build}"
MB="${2:-50}"
WORK="$(mktemp -d "${TMPDIR:-/tmp}/velda-pack-ifc-XXXXXX")"
trap 'rm -rf "$WORK"' EXIT
"$BUILD/bin/bench_ifc_city" "$WORK/city.ifc" "$MB"
for model in "$WORK/city.ifc" /usr/share/assimp/models/IFC/AC14-FZK-Haus.ifc; do
  echo "== $(basename "$model"): $(du -m "$model" | cut -f1) MB"
  /usr/bin/time -v "$BUILD/bin/velda-pack" "$model" "$WORK/out" --report 2> "$WORK/time.txt"
  grep -E "Elapsed|Maximum resident" "$WORK/time.txt"
  rm -rf "$WORK/out"
done
