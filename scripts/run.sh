#!/usr/bin/env bash
# One entry for everything: installs what is missing, builds, then runs the task.
#   scripts/run.sh demo    effects over real footage from Debian's opencv-doc (scripts/samples.sh)
#   scripts/run.sh test    all tests, then all tests again under AddressSanitizer and UBSan, each
#                          fuzzer briefly (scripts/fuzz.sh) and the threaded tests under TSan
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
    build build -DKAZ_BUILD_TESTS=ON -DKAZ_BUILD_BENCH=ON
    ctest --test-dir build -j"$jobs" --output-on-failure
    build build-asan -DKAZ_SANITIZE=address,undefined -DKAZ_BUILD_BENCH=OFF
    ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
      UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
      ctest --test-dir build-asan -j"$jobs" --output-on-failure
    bash scripts/fuzz.sh "${KAZ_FUZZ_SECONDS:-15}"
    # The tests that run effects, wrappers and band-parallel invokers on several threads.
    tsan=(ai_tests effects_tests effects_analysis_tests person_effects_tests imaging_blend_test
      imaging_tables_test)
    export TSAN_OPTIONS="suppressions=$PWD/tests/tsan.supp halt_on_error=1 second_deadlock_stack=1"
    cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKAZ_SANITIZE=thread \
      -DKAZ_BUILD_BENCH=OFF >/dev/null
    cmake --build build-tsan -j"$jobs" --target "${tsan[@]}"
    ctest --test-dir build-tsan -j"$jobs" --output-on-failure \
      -R "^($(IFS='|'; echo "${tsan[*]}"))\$"
    ;;
  demo)
    build build -DKAZ_BUILD_TESTS=OFF -DKAZ_BUILD_BENCH=OFF
    mkdir -p out/demo
    # Real footage from Debian's opencv-doc; the project's own rendered clip when it cannot be had.
    if bash scripts/samples.sh; then
      build/bin/kazfx apply --effect "Background Blur" --param "Back Blur=30" --frames 300 \
        samples/vtest.avi out/demo/vtest_background_blur.mp4
      build/bin/kazfx apply --effect "Background Blur" --param "Back Blur=30" \
        samples/messi5.jpg out/demo/messi5_background_blur.png
      build/bin/kazfx apply --effect "Person Cut-Out" samples/basketball1.png \
        out/demo/basketball1_cutout.png
      echo "results: $PWD/out/demo/ (vtest_background_blur.mp4, messi5_background_blur.png," \
        "basketball1_cutout.png; sources in $PWD/samples/)"
    else
      echo "demo: no real footage (opencv-doc could not be downloaded); using a rendered clip" >&2
      build/bin/kazsample out/demo/sample.avi --size 1280x720
      build/bin/kazfx apply --effect "Background Blur" --param "Back Blur=30" \
        out/demo/sample.avi out/demo/background_blur.mp4
      echo "result: $PWD/out/demo/background_blur.mp4 (source: $PWD/out/demo/sample.avi)"
    fi
    ;;
esac
