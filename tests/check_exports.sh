#!/usr/bin/env bash
# The plug-in's dynamic symbol table must hold exactly the exported API listed in the map.
set -euo pipefail
plugin=$1 map=$2
expected=$(sed -n 's/^ *\([A-Za-z_][A-Za-z0-9_]*\);$/\1/p' "$map" | sort)
actual=$(nm -D --defined-only "$plugin" | awk '{print $3}' | sed 's/@.*//' | grep -v '^$' | sort)
if [ "$expected" != "$actual" ]; then
  echo "exported symbols differ from $map:"
  diff <(echo "$expected") <(echo "$actual") || true
  exit 1
fi
echo "exports: $(echo "$actual" | wc -l) symbols, as listed"
