#!/usr/bin/env bash
# Builds the Release tree and runs every benchmark on one core, then prints a short table.
# Extra arguments go to both benchmark programs (e.g. --benchmark_filter=ifs:1000/).
# --smoke (first argument): every benchmark a few iterations, ticks of 1k and 10k interfaces only,
# to show that the programs build and run (seconds in all; the figures mean nothing).
# BUILD_DIR chooses the build tree (default build).
set -euo pipefail
cd "$(dirname "$0")/.."
build=${BUILD_DIR:-build}
encode_args=()
tick_args=()
if [ "${1:-}" = --smoke ]; then
  shift
  encode_args=(--iterations=3)
  tick_args=(--iterations=1 '--benchmark_filter=(ifs:|Read/)10{3,4}/')
fi
scripts/deps.sh
command -v taskset >/dev/null || { echo "taskset missing (util-linux)"; exit 1; }
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DZOR_BUILD_BENCH=ON >/dev/null
cmake --build "$build" -j "$(nproc)" --target zor_encode_bench zor_tick_bench
mkdir -p "$build/bench-results"
taskset -c 0 "$build/bench/zor_encode_bench" --benchmark_out="$build/bench-results/encode.json" \
  --benchmark_out_format=json "${encode_args[@]}" "$@" >/dev/null
taskset -c 0 "$build/bench/zor_tick_bench" --benchmark_out="$build/bench-results/tick.json" \
  --benchmark_out_format=json "${tick_args[@]}" "$@" >/dev/null

echo "== Encoding one chunk (CPU ns per chunk, least of the repetitions; ratio: fastest peer over our GPB)"
jq -r '
  [.benchmarks[] | select(.run_type == "iteration")
   | {sensor: (.name | split("/")[0] | split("_")[1]), path: (.name | split("/")[0] | split("_")[2]),
      ns: .cpu_time}]
  | group_by(.sensor)[]
  | (group_by(.path) | map({(.[0].path): (map(.ns) | min)}) | add) as $p
  | [ .[0].sensor, ($p.Gpb | round), ($p.Protobuf | round), ($p.ProtobufC | round), ($p.Nanopb | round),
      ($p.Json | round), (([$p.Protobuf, $p.ProtobufC, $p.Nanopb] | min) / $p.Gpb * 100 | round / 100) ]
  | @tsv' "$build/bench-results/encode.json" |
  (printf 'sensor\tgpb\tprotobuf\tprotobuf-c\tnanopb\tjson\tpeer/gpb\n'; cat) | column -t -s $'\t'

echo
echo "== Full tick (sensor; ifs; json; suppress; ms/tick; ns/interface; allocs/tick; peak bytes)"
jq -r '
  .benchmarks[] | select(.name | startswith("BM_Tick"))
  | (.name | capture("ifs:(?<ifs>[0-9]+)/sensor:[0-9]+/json:(?<json>[0-9])/suppress:(?<sup>[0-9])")) as $a
  | [ .label, $a.ifs, $a.json, $a.sup, (.real_time * 100 | round / 100), (.per_if * 1e9 | round),
      (.["allocs/tick"] | round), (.peak_bytes | round) ]
  | @tsv' "$build/bench-results/tick.json" |
  (printf 'sensor\tifs\tjson\tsuppress\tms/tick\tns/if\tallocs/tick\tpeak bytes\n'; cat) | column -t -s $'\t'

echo
echo "== Stand-in store alone: keyed read of every port row with its 23 step columns"
jq -r '.benchmarks[] | select(.name | startswith("BM_StoreKeyed")) | [.name, (.real_time * 100 | round / 100),
  "ms"] | @tsv' "$build/bench-results/tick.json" | column -t -s $'\t'
