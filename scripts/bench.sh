#!/usr/bin/env bash
# Builds the Release tree and runs every benchmark on one core, then prints a short table.
# Extra arguments go to both benchmark programs (e.g. --benchmark_filter=ifs:1000/).
# BUILD_DIR chooses the build tree (default build).
set -euo pipefail
cd "$(dirname "$0")/.."
build=${BUILD_DIR:-build}
scripts/deps.sh
command -v taskset >/dev/null || { echo "taskset missing (util-linux)"; exit 1; }
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DZOR_BUILD_BENCH=ON >/dev/null
cmake --build "$build" -j "$(nproc)" --target zor_encode_bench zor_tick_bench
mkdir -p "$build/bench-results"
taskset -c 0 "$build/bench/zor_encode_bench" --benchmark_out="$build/bench-results/encode.json" \
  --benchmark_out_format=json "$@" >/dev/null
taskset -c 0 "$build/bench/zor_tick_bench" --benchmark_out="$build/bench-results/tick.json" \
  --benchmark_out_format=json "$@" >/dev/null

echo "== Encoding one chunk (records/s; ratios: our GPB over generated protobuf, our JSON over our GPB)"
jq -r '
  [.benchmarks[] | {sensor: (.name | split("_")[1]), path: (.name | split("_")[2]), ips: .items_per_second,
                    bps: .bytes_per_second}]
  | group_by(.sensor)[]
  | (map({(.path): .}) | add) as $p
  | [ .[0].sensor,
      ($p.Gpb.ips | floor), ($p.Protobuf.ips | floor), ($p.Json.ips | floor),
      (($p.Gpb.ips / $p.Protobuf.ips) * 100 | round / 100),
      (($p.Json.ips / $p.Gpb.ips) * 100 | round / 100) ]
  | @tsv' "$build/bench-results/encode.json" |
  (printf 'sensor\tgpb rec/s\tprotobuf rec/s\tjson rec/s\tgpb/protobuf\tjson/gpb\n'; cat) | column -t -s $'\t'

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
