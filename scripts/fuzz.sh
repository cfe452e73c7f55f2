#!/usr/bin/env bash
# Builds the fuzzers with clang (build-fuzz/) and runs each for SECONDS (default 600), one after
# the other, niced. The corpus grows in build-fuzz/corpus/NAME; a crash stops the run and is left
# in build-fuzz/crashes/ (add it to tests/fuzz/regressions/NAME/ once fixed).
#   scripts/fuzz.sh [SECONDS] [NAME...]    e.g. scripts/fuzz.sh 1800 conf_fuzzer
# KAZ_FUZZ_DIR names another build folder (a fresh corpus).
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-600}
shift || true
all=(conf_fuzzer xml_fuzzer model_fuzzer param_fuzzer frame_fuzzer)
names=("$@")
[ ${#names[@]} -gt 0 ] || names=("${all[@]}")
dir=${KAZ_FUZZ_DIR:-build-fuzz}

CC=clang CXX=clang++ cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKAZ_BUILD_FUZZ=ON \
  -DKAZ_BUILD_BENCH=OFF >/dev/null
nice -n 10 cmake --build "$dir" -j"${KAZ_JOBS:-2}" --target "${names[@]}"
# Inputs that once crashed a fuzzer are replayed first.
[ ! -d tests/fuzz/regressions ] || ctest --test-dir "$dir" -R '_regressions$' --output-on-failure

mkdir -p "$dir/crashes"
for name in "${names[@]}"; do
  seeds="" env=""
  # shellcheck source=/dev/null
  source "$dir/fuzz/$name.env"
  mkdir -p "$dir/corpus/$name"
  log="$dir/corpus/$name.log"
  # shellcheck disable=SC2086
  if ! env $env nice -n 10 "$dir/fuzz/$name" -max_total_time="$seconds" -timeout=10 \
    -artifact_prefix="$dir/crashes/$name-" "$dir/corpus/$name" $seeds >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    echo "fuzz: $name failed; the input is in $dir/crashes/, the log in $log" >&2
    exit 1
  fi
  echo "fuzz: $name: $(grep -E 'DONE +cov' "$log" | tail -n 1)"
done
