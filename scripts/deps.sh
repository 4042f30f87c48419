#!/usr/bin/env bash
# Installs the Debian packages the build, the tests, the host and the benchmarks need, if missing.
# Arguments name more packages to install the same way (scripts/cross-test.sh passes its own).
set -euo pipefail
pkgs=(cmake make g++ pkg-config binutils libcjson-dev libgtest-dev libgmock-dev libbenchmark-dev
      libprotobuf-dev protobuf-compiler jq bsdextrautils dpkg-dev file
      libprotobuf-c-dev protobuf-c-compiler nanopb libnanopb-dev valgrind python3 "$@")
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
