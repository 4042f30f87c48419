#!/usr/bin/env bash
# Runs the soak on the Release build: all four sensors on a churning simulated device with about
# 1 % of the platform calls failing, and fails when memory does not stay flat.
#   scripts/soak.sh [TICKS [SEED]]     (100000 simulated seconds, seed 1)
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j "$(nproc)" --target zor_soak
exec build/tools/soak/zor_soak --ticks "${1:-100000}" --seed "${2:-1}"
