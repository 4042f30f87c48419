#!/usr/bin/env bash
# Line and branch coverage of the plugin proper (core/, runtime/, selection/, store/, encoding/,
# sensors/) from every CTest test (unit, end-to-end, host, and any corpus replay registered with
# CTest), measured in a separate Debug tree built with gcc --coverage (build-coverage/).
#   scripts/coverage.sh [CTEST_ARGS...]    e.g. scripts/coverage.sh -R Json
# Without arguments the tests labelled real-system (the host on this machine's links, timed in
# real time and too slow to keep time in this tree) are left out.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build-coverage
jobs=${JOBS:-2}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DZOR_BUILD_BENCH=OFF -DCMAKE_C_FLAGS=--coverage \
  -DCMAKE_CXX_FLAGS=--coverage -DCMAKE_EXE_LINKER_FLAGS=--coverage -DCMAKE_SHARED_LINKER_FLAGS=--coverage >/dev/null
# Counts of this run only: stale ones go before the build, and those of the build's own runs of
# the test programs (listing their tests) after it.
find "$build" -name '*.gcda' -delete
cmake --build "$build" -j "$jobs"
find "$build" -name '*.gcda' -delete
[ $# -gt 0 ] || set -- -LE real-system
(cd "$build" && ctest -j "$jobs" --output-on-failure "$@" | sed -n '/tests passed/,$p')

filters=()
for d in core runtime selection store encoding sensors; do
  filters+=(--filter "$d/")
done
# One gcov pass into a trace file, then the reports from it. Throw branches do not exist in the
# plugin (built without exceptions); branches the compiler adds on lines without a decision
# (unreachable) are left out. CMake's compiler probes are no sources of ours.
gcovr -r . --object-directory "$build" --exclude-directories '.*/CompilerId' "${filters[@]}" \
  --exclude-throw-branches --exclude-unreachable-branches -j "$jobs" --json "$build/coverage.json"
echo "== Lines not run, per file"
gcovr -r . -a "$build/coverage.json" --txt - | sed -n '/^File/,$p'
echo "== Branches not taken, per file"
gcovr -r . -a "$build/coverage.json" --branches --txt - | sed -n '/^File/,$p'
echo "== Plugin proper"
# The full report goes to a file in the build tree: gcovr replaces its --txt target, so naming
# /dev/null there would turn it into a regular file.
gcovr -r . -a "$build/coverage.json" --print-summary --txt "$build/coverage.txt"
