#!/usr/bin/env bash
# Usage: scripts/cross-test.sh aarch64
# Cross-builds the plugin, the stand-in, the host and the test suite for 64-bit ARM (Release, into
# build-aarch64/; no benchmarks) and runs the whole CTest suite under qemu-user. Installs what it
# needs first, as root: the arm64 architecture for dpkg, the cross compiler, qemu-user, and the
# arm64 libraries beside the build machine's (protoc stays the build machine's).
set -euo pipefail
cd "$(dirname "$0")/.."
case "${1:-}" in
  aarch64) debarch=arm64 ;;
  *) echo "usage: $0 aarch64" >&2; exit 2 ;;
esac
arch=$1
start=$(date +%s)
if ! dpkg --print-foreign-architectures | grep -qx "$debarch"; then
  dpkg --add-architecture "$debarch"
  apt-get update -qq
fi
scripts/deps.sh g++-aarch64-linux-gnu qemu-user \
  "libcjson-dev:$debarch" "libgtest-dev:$debarch" "libprotobuf-dev:$debarch" \
  "libnl-route-3-dev:$debarch" "libcpp-httplib-dev:$debarch"
installed=$(date +%s)

build=build-$arch
cmake -S . -B "$build" -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchain-$arch.cmake" -DCMAKE_BUILD_TYPE=Release \
  -DZOR_BUILD_BENCH=OFF >/dev/null
nice -n 10 cmake --build "$build" -j "$(nproc)"
built=$(date +%s)
echo "cross-test $arch: packages $((installed - start)) s, build $((built - installed)) s"
echo "== $arch under $(qemu-aarch64 --version | head -1)"
(cd "$build" && ctest --output-on-failure -j "$(nproc)")
end=$(date +%s)
echo "cross-test $arch: tests $((end - built)) s"
