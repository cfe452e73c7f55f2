#!/usr/bin/env bash
# Installs the Debian packages the project builds, tests and runs with, then the pretrained
# networks (scripts/models.sh). Safe to run again: it only asks apt for what is missing.
set -euo pipefail

packages=(
  build-essential cmake pkg-config binutils git
  libopencv-dev opencv-data nlohmann-json3-dev libtinyxml2-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  python3-onnx python3-numpy python3-flatbuffers python3-opencv
  clang libclang-rt-14-dev
)
# npm fetches the networks; a Node.js that brings its own npm is left alone.
command -v npm >/dev/null || packages+=(npm)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  echo "setup: installing ${missing[*]}" >&2
  export DEBIAN_FRONTEND=noninteractive
  # A fresh machine may have no package lists yet; refresh them only when an install needs it.
  if ! $sudo apt-get install -y --no-install-recommends "${missing[@]}"; then
    $sudo apt-get update
    $sudo apt-get install -y --no-install-recommends "${missing[@]}"
  fi
fi

# The networks are optional: without them the runtime uses its classical backend.
bash "$(dirname "$0")/models.sh" || echo "setup: networks not installed; the classical backend stays in use" >&2
