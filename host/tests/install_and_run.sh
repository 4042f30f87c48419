#!/usr/bin/env bash
# Usage: install_and_run.sh CMAKE BUILD_DIR STAGING BINDIR [EMULATOR ARGS...]
# Installs the plugin and tools components of BUILD_DIR under STAGING (as DESTDIR, prefix /usr),
# runs the installed host for 30 simulated seconds on the installed default inventory and checks
# that it took the installed plugin and that every envelope decoded.
set -euo pipefail
cmake="$1"; build="$2"; stage="$3"; bindir="$4"; shift 4
rm -rf "$stage"
mkdir -p "$stage"
stage=$(cd "$stage" && pwd -P)
for component in plugin tools; do
  DESTDIR="$stage" "$cmake" --install "$build" --prefix /usr --component "$component" >/dev/null
done
share="$stage/usr/share/zor_ifm-telemetry-plugin"
plugin=$(find "$stage/usr" -name 'libzor_ifm-telemetry-plugin.so')
for f in "$plugin" "$plugin.1" "$share/proto/ifm.proto" "$share/default-inventory.txt"; do
  [ -e "$f" ] || { echo "not installed: $f"; exit 1; }
done

out="$stage/run.jsonl"
err="$stage/run.err"
if ! "$@" "$stage/usr/$bindir/zor_host" --duration 30s --inventory "$share/default-inventory.txt" \
    --output "$out" 2>"$err"; then
  echo "installed host failed:"; cat "$err"; exit 1
fi
grep -q "^zor_host: plugin $stage/usr/" "$err" || { echo "host did not take the installed plugin:"; cat "$err"; exit 1; }
lines=$(wc -l <"$out")
decoded=$(grep -c '"interfaces":\[{' "$out" || true)
if [ "$lines" -lt 8 ] || [ "$decoded" -ne "$lines" ] || grep -q '"error"\|"warnings"' "$out"; then
  echo "output of the installed host: $lines envelopes, $decoded decoded with interfaces"; head -3 "$out"; exit 1
fi
echo "installed host ran the installed plugin: $lines envelopes decoded"
