#!/usr/bin/env bash
# Packs sample models of Debian's assimp-testmodels into project folders:
#   scripts/pack-samples.sh [VELDA_PACK] [OUTPUT_FOLDER]
# (defaults: build/bin/velda-pack, build/samples).
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
PACK="${1:-$ROOT/build/bin/velda-pack}"
OUT="${2:-$ROOT/build/samples}"
MODELS=/usr/share/assimp/models

mkdir -p "$OUT"
pack() {
  local name="$1" model="$2"
  rm -rf "$OUT/$name"
  "$PACK" "$MODELS/$model" "$OUT/$name" --report
}
pack fzk-haus IFC/AC14-FZK-Haus.ifc
pack 2cylinder-engine glTF2/2CylinderEngine-glTF-Binary/2CylinderEngine.glb
pack milk-truck glTF/CesiumMilkTruck/CesiumMilkTruck.gltf
