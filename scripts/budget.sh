#!/usr/bin/env bash
# Instruction budgets: runs bench/budget_driver.cpp under callgrind (one tick of every sensor in
# GPB and JSON at 1k and 10k interfaces, and 20 chunks of every encoder) and checks the figures
# against bench/budget.txt (more than 3 % over a budget fails), or rewrites that file.
#   scripts/budget.sh [--check|--write] [--no-build] [--build-dir DIR]
# Default: --check on the Release tree build/ (built first unless --no-build).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
mode=check
build=$root/build
do_build=1
while [ $# -gt 0 ]; do
  case $1 in
    --check) mode=check ;;
    --write) mode=write ;;
    --no-build) do_build=0 ;;
    --build-dir) build=$2; shift ;;
    *) echo "unknown argument $1"; exit 2 ;;
  esac
  shift
done
if [ $do_build = 1 ]; then
  "$root/scripts/deps.sh"
  cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DZOR_BUILD_BENCH=ON >/dev/null
  cmake --build "$build" -j "$(nproc)" --target zor_budget_driver zor_ifm-telemetry-plugin
fi
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
LD_BIND_NOW=1 valgrind --tool=callgrind --instr-atstart=no --collect-atstart=no \
  --callgrind-out-file="$out/cg.out" --log-file="$out/valgrind.log" \
  "$build/bench/zor_budget_driver" "$build/libzor_ifm-telemetry-plugin.so" ||
  { cat "$out/valgrind.log"; exit 1; }
python3 "$root/scripts/budget_figures.py" "$mode" "$root/bench/budget.txt" "$out"/cg.out.*
