#!/usr/bin/env bash
# Installs every Debian package the viewer, its tools and its tests need.
# Safe to run again: packages already present are left alone and the
# package lists are refreshed only when something is missing.
set -euo pipefail

PACKAGES=(
  build-essential g++ cmake ninja-build pkg-config git
  qtbase5-dev qtbase5-dev-tools libqt5opengl5-dev libqt5svg5-dev qttools5-dev-tools
  libglew-dev libglu1-mesa-dev libgl-dev libfreeimage-dev
  libcurl4-openssl-dev zlib1g-dev rapidjson-dev libeasyloggingpp-dev
  libassimp-dev assimp-testmodels libifcplusplus-dev libboost-dev libcpp-httplib-dev libssl-dev
  libsqlite3-dev sqlite3 libzip-dev libxml2-utils
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  libx11-dev xvfb xauth x11-utils mesa-utils libgl1-mesa-dri libglx-mesa0 libegl-mesa0 libegl1 libegl-dev
  glslang-tools fonts-wqy-microhei imagemagick xdotool
  xdg-utils libfile-mimeinfo-perl desktop-file-utils shared-mime-info dpkg-dev lintian
)

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all ${#PACKAGES[@]} packages present"
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
echo "install-deps: installing ${missing[*]}"
$SUDO apt-get update
$SUDO apt-get install -y --no-install-recommends "${missing[@]}"
