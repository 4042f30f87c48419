#!/usr/bin/env bash
# Installs the Debian packages the build, the tests, the host and the benchmarks need, if missing.
# Arguments name more packages to install the same way (scripts/cross-test.sh passes its own).
set -euo pipefail
pkgs=(cmake make g++ pkg-config binutils libcjson-dev libgtest-dev libgmock-dev libbenchmark-dev
      libprotobuf-dev protobuf-compiler jq bsdextrautils dpkg-dev file
      libprotobuf-c-dev protobuf-c-compiler nanopb libnanopb-dev valgrind python3
      # zor_host --source linux reads links over rtnetlink; --listen serves Prometheus metrics;
      # the tests create namespaces and links with ip and check scrapes with promtool and prometheus.
      libnl-route-3-dev libcpp-httplib-dev iproute2 prometheus
      clang libclang-rt-14-dev  # clang and its libFuzzer/sanitizer runtimes: the fuzz tree
      # static analysis (scripts/lint.sh, in CI) and coverage (scripts/coverage.sh)
      clang-tidy cppcheck gcovr "$@")
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  # The prometheus package starts its service when installed; a policy that refuses service starts
  # keeps it down (the tests run a server of their own on loopback).
  if [ ! -e /usr/sbin/policy-rc.d ]; then
    printf '#!/bin/sh\nexit 101\n' >/usr/sbin/policy-rc.d
    chmod +x /usr/sbin/policy-rc.d
    trap 'rm -f /usr/sbin/policy-rc.d' EXIT
  fi
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    -o DPkg::Lock::Timeout=600 "${missing[@]}"
fi
