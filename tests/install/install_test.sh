#!/usr/bin/env bash
# Installs the build into a temporary prefix, runs the installed kazfx without options, and builds
# docs/examples/minimal_host.cpp against the prefix with find_package and with pkg-config.
#   install_test.sh BUILD SOURCE CMAKE CXX [SANITIZERS]
set -euo pipefail
build=$1 source=$2 cmake=$3 cxx=$4
flags="-Wall -Wextra -Werror"
# An instrumented plug-in loads only into an instrumented program.
[ -n "${5:-}" ] && flags+=" -fsanitize=$5 -fno-sanitize-recover=all"
work=$(realpath "$(mktemp -d)")
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
fail() { echo "FAIL: $*" >&2; exit 1; }

"$cmake" --install "$build" --prefix "$prefix" >"$work/install.log"
pcdir=$(dirname "$(find "$prefix" -name kazAiFilterPlugin.pc)")
plugindir=$(PKG_CONFIG_PATH=$pcdir pkg-config --variable=plugindir kazAiFilterPlugin)
for f in kazAiFilterPlugin.kaz libquorin_kernel.so libquorin_module_human_segment.so; do
  [ -f "$plugindir/$f" ] || fail "$f is not in the plug-in folder $plugindir"
done

# Found without options, from the prefix, not from the build or the source tree.
"$prefix/bin/kazfx" list >"$work/list.txt" || fail "installed kazfx list: $(cat "$work/list.txt")"
grep -qx "plug-in:   $(realpath "$plugindir")/kazAiFilterPlugin.kaz" "$work/list.txt" ||
  fail "installed kazfx did not take the installed plug-in: $(head -3 "$work/list.txt")"
grep -qx "resources: $prefix/share/kazAiFilterPlugin/resources" "$work/list.txt" ||
  fail "installed kazfx did not take the installed resources: $(head -3 "$work/list.txt")"
grep -qx "Person Mask" "$work/list.txt" || fail "the installed resources hold no Person Mask"
if KAZFX_RESOURCES=$work/elsewhere "$prefix/bin/kazfx" list >/dev/null 2>"$work/env.txt" ||
  ! grep -q "$work/elsewhere" "$work/env.txt"; then
  fail "KAZFX_RESOURCES does not come before the installed resources"
fi

"$cmake" -S "$source/docs/examples" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF >"$work/configure.log" || fail "$(cat "$work/configure.log")"
"$cmake" --build "$work/cmake" >"$work/build.log" || fail "$(cat "$work/build.log")"
export PKG_CONFIG_PATH=$pcdir
# shellcheck disable=SC2046,SC2086
"$cxx" -std=c++17 $flags $(pkg-config --cflags kazAiFilterPlugin) \
  -DKAZ_PLUGIN_PATH="\"$(pkg-config --variable=plugin kazAiFilterPlugin)\"" \
  -DKAZ_RESOURCES_DIR="\"$(pkg-config --variable=resourcesdir kazAiFilterPlugin)\"" \
  "$source/docs/examples/minimal_host.cpp" -o "$work/pc_host" $(pkg-config --libs kazAiFilterPlugin)

if [ -n "${5:-}" ]; then
  # AddressSanitizer intercepts dlopen, which then no longer sees the plug-in's RUNPATH; the plain
  # build's run checks that the runtime is found beside the plug-in without help.
  echo "sanitized build: the runtime is named on LD_LIBRARY_PATH"
  export LD_LIBRARY_PATH=$plugindir
fi
for host in "$work/cmake/minimal_host" "$work/pc_host"; do
  "$host" >"$work/run.txt" || fail "$host: $(cat "$work/run.txt")"
  grep -q "3 of 3 frames rendered, [1-9][0-9]* models made, 0 libraries missing" "$work/run.txt" ||
    fail "$host: $(cat "$work/run.txt")"
  grep -q "^$prefix" "$work/run.txt" || fail "$host did not load the installed plug-in"
  cat "$work/run.txt"
done
