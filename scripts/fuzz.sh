#!/usr/bin/env bash
# Runs a fuzz campaign: builds the libFuzzer tree (clang, ASan + UBSan; build-fuzz/, or BUILD_DIR)
# and runs one target for SECONDS, starting from its checked-in corpus.
#   scripts/fuzz.sh TARGET SECONDS [libFuzzer options...]
# TARGET is task, decode, inventory or subscriptions (what each feeds and checks is described at the
# top of fuzz/TARGET_fuzz.cpp). New inputs go to BUILD_DIR/fuzz/work/TARGET/, findings (crash-*, leak-*,
# timeout-*) next to them; replay one with build/fuzz/zor_fuzz_TARGET FILE, and after fixing it copy
# it into fuzz/corpus/TARGET/. Ends with libFuzzer's statistics (executions, new inputs).
set -euo pipefail
cd "$(dirname "$0")/.."
if [ $# -lt 2 ]; then
  echo "usage: scripts/fuzz.sh TARGET SECONDS [libFuzzer options...]" >&2
  exit 2
fi
target=$1 seconds=$2
shift 2
build=${BUILD_DIR:-build-fuzz}
scripts/deps.sh >&2
CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZOR_FUZZ=ON >/dev/null
cmake --build "$build" -j "$(nproc)" --target "zor_fuzz_$target" >&2
work=$build/fuzz/work/$target
mkdir -p "$work"
exec "$build/fuzz/zor_fuzz_$target" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
  -artifact_prefix="$work/" "$@" "$work" "fuzz/corpus/$target"
