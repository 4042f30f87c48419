#!/usr/bin/env bash
# Builds the project twice (Release, and Debug with AddressSanitizer and UndefinedBehaviorSanitizer)
# and runs the whole test suite in both builds.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
jobs=$(nproc)
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j "$jobs"
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DZOR_SANITIZE=ON -DZOR_BUILD_BENCH=OFF >/dev/null
cmake --build build-asan -j "$jobs"
# Benchmarks: every benchmark a few iterations on the Release tree, so that they always build and
# run; the tables they print mean nothing at that length. The instruction budgets are a test of
# the Release tree below (instruction_budget, under callgrind).
echo "== Benchmark smoke run"
scripts/bench.sh --smoke
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
# Fault sweeps and soak (CTest cases in both trees): fault_sweep_test fails every platform call
# of a tick of every sensor once and from then on (about 8 s of CPU here, 130 s under the
# sanitizers); soak_short runs the soak for 10000 simulated seconds (3000 under the sanitizers).
# scripts/soak.sh runs the full soak.
echo "== Release build"
(cd build && ctest --output-on-failure -j "$jobs")
echo "== AddressSanitizer + UndefinedBehaviorSanitizer build"
(cd build-asan && ctest --output-on-failure -j "$jobs")

