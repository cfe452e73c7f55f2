#!/usr/bin/env bash
# One entry for everything: installs what is missing, builds, then runs the task.
#   scripts/run.sh demo    the capture-blur effect over a sample clip the project renders
#   scripts/run.sh test    all tests, then all tests again under AddressSanitizer and UBSan
#   scripts/run.sh build   just the release build (build/)
set -euo pipefail
cd "$(dirname "$0")/.."
task=${1:-}
case "$task" in demo | test | build) ;; *)
  echo "usage: scripts/run.sh demo|test|build" >&2
  exit 2
  ;;
esac

bash scripts/setup.sh
jobs=${KAZ_JOBS:-2}

build() { # build DIR [cmake options...]
  local dir=$1
  shift
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
  cmake --build "$dir" -j"$jobs"
}

case "$task" in
  build) build build ;;
  test)
    build build
    ctest --test-dir build -j"$jobs" --output-on-failure
    build build-asan -DKAZ_SANITIZE=address,undefined -DKAZ_BUILD_BENCH=OFF
    ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
      UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
      ctest --test-dir build-asan -j"$jobs" --output-on-failure
    ;;
  demo)
    build build -DKAZ_BUILD_TESTS=OFF -DKAZ_BUILD_BENCH=OFF
    echo "demo: not wired yet" >&2
    exit 1
    ;;
esac
