#!/usr/bin/env bash
# Fetches real footage for the demo and the measurements from Debian's opencv-doc package
# (about 270 MB unpacked, so it is downloaded and unpacked here rather than installed) into
# samples/. Safe to run again: it does nothing when the files are there.
set -euo pipefail
cd "$(dirname "$0")/.."
files=(messi5.jpg basketball1.png basketball2.png vtest.avi)
have=yes
for f in "${files[@]}"; do [ -s "samples/$f" ] || have=no; done
[ "$have" = yes ] && exit 0

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if ! (cd "$work" && apt-get download opencv-doc >/dev/null 2>"$work/apt.log"); then
  # A fresh machine may have no package lists yet.
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update >/dev/null
  (cd "$work" && apt-get download opencv-doc >/dev/null)
fi
dpkg -x "$work"/opencv-doc_*.deb "$work/x"
data="$work/x/usr/share/doc/opencv-doc/examples/data"
mkdir -p samples
for f in "${files[@]}"; do
  cp "$data/$f" "samples/$f.tmp"
  mv "samples/$f.tmp" "samples/$f"
done
echo "samples: $(printf '%s ' "${files[@]}")in $PWD/samples"
