#!/usr/bin/env bash
# Installs what is missing, builds Release into build/ and runs the host.
# Without arguments: the default demo (every sensor the plugin registers, GPB and JSON, three
# simulated minutes on the default top-of-rack device), written to out/demo.jsonl and summarised.
# With arguments: the host with those arguments, e.g. scripts/run.sh --sub 'ipstat 10s' | jq .
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh >&2
echo "building zor_host and the plugin (Release, build/) ..." >&2
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
if ! cmake --build build -j "$(nproc)" --target zor_host >build/run-build.log 2>&1; then
  cat build/run-build.log >&2
  exit 1
fi
host=build/host/zor_host

if [ $# -gt 0 ]; then
  exec "$host" "$@"
fi

mkdir -p out
out=out/demo.jsonl
echo "== zor_host: 3 simulated minutes, every sensor in GPB and JSON, every 10 s"
"$host" --duration 3m --output "$out"
echo
echo "== the first message of each sensor (GPB) that reports GE1/0/1, cut to that interface"
jq -c 'select(.encoding == "gpb")' "$out" | jq -s 'group_by(.sensor)
  | map((map(select(any(.interfaces[]; .name == "GE1/0/1"))) + .)[0]) | .[]
  | .interfaces |= ((map(select(.name == "GE1/0/1")) + .)[:1])'
echo
echo "== GE1/0/1 over time (common-statistics): receive bit rate, use rate, bytes received"
jq -r 'select(.sensor == "ZOR_IFM_COMMONIFSTAT" and .encoding == "gpb") | .time as $t
  | .interfaces[] | select(.name == "GE1/0/1")
  | "\($t)  \(."common-statistics"."in-bit-rate") bit/s  \(."common-statistics"."in-use-rate")  \(."common-statistics"."receive-byte") bytes"' "$out"
echo
echo "== the same samples in both encodings decode alike:"
for s in ZOR_IFM_SUBIFSTAT ZOR_IFM_IFSTAT ZOR_IFM_MIBIFSTAT ZOR_IFM_COMMONIFSTAT; do
  g=$(jq -c "select(.sensor == \"$s\" and .encoding == \"gpb\") | .interfaces" "$out" | md5sum | cut -c1-12)
  j=$(jq -c "select(.sensor == \"$s\" and .encoding == \"json\") | .interfaces" "$out" | md5sum | cut -c1-12)
  printf '   %-22s gpb %s  json %s  %s\n' "$s" "$g" "$j" "$([ "$g" = "$j" ] && echo same || echo DIFFERENT)"
done
echo
echo "all $(wc -l <"$out") messages: $out   (one JSON line per envelope; try: jq -c '.interfaces[0]' $out | head)"
