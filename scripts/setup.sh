#!/usr/bin/env bash
# Installs the Debian packages the project builds, tests and runs with.
# Safe to run again: it only asks apt for what is missing.
set -euo pipefail

packages=(
  build-essential cmake pkg-config binutils git
  libopencv-dev opencv-data nlohmann-json3-dev libtinyxml2-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  python3-onnx python3-numpy
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
echo "setup: installing ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
# A fresh machine may have no package lists yet; refresh them only when an install needs it.
if ! $sudo apt-get install -y --no-install-recommends "${missing[@]}"; then
  $sudo apt-get update
  $sudo apt-get install -y --no-install-recommends "${missing[@]}"
fi
