#!/usr/bin/env bash
# Builds the plugin alone (as for a device), then the project twice (Release, and Debug with
# AddressSanitizer and UndefinedBehaviorSanitizer) and runs the whole test suite in both builds
# (the fuzz corpora are replayed in both); the Release tree also makes the Debian packages. Then
# builds the fuzz targets with clang and libFuzzer and runs each for a bounded time.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
jobs=$(nproc)

# Every CTest run goes through run_ctest, which adds its counts to the closing summary line.
passed=0
failed=0
run_ctest() {
  local dir=$1 log rc
  shift
  log=$(mktemp)
  set +e
  (cd "$dir" && ctest --output-on-failure "$@") 2>&1 | tee "$log"
  rc=${PIPESTATUS[0]}
  set -e
  local line total bad
  line=$(grep -E 'tests passed, [0-9]+ tests failed out of [0-9]+' "$log" | tail -n 1)
  rm -f "$log"
  total=$(sed -E 's/.*out of ([0-9]+).*/\1/' <<<"$line")
  bad=$(sed -E 's/.*passed, ([0-9]+) tests failed.*/\1/' <<<"$line")
  passed=$((passed + ${total:-0} - ${bad:-0}))
  failed=$((failed + ${bad:-0}))
  [ "$rc" -eq 0 ] || { echo "total: $passed passed, $failed failed"; exit "$rc"; }
}

# ---- The plugin alone, as a device build makes it: only the C++ compiler, CMake and cJSON.
# GoogleTest, protobuf, Google Benchmark and Threads are disabled for find_package, so a
# plugin-only configuration that reached for one of them would fail here. CTest then runs the
# plugin's symbol checks (exports, and imports against platform/imports.txt).
echo "== Plugin-only build"
start=$(date +%s)
rm -rf build-plugin
cmake -S . -B build-plugin -DZOR_PLUGIN_ONLY=ON -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON \
  -DCMAKE_DISABLE_FIND_PACKAGE_Protobuf=ON -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON \
  -DCMAKE_DISABLE_FIND_PACKAGE_Threads=ON --no-warn-unused-cli >/dev/null
cmake --build build-plugin -j "$jobs" >/dev/null
built=$(cd build-plugin && find . -name '*.so*' -o -type f -perm -u+x -name 'zor_*' | sort | tr '\n' ' ')
if [ "$built" != "./libzor_ifm-telemetry-plugin.so ./libzor_ifm-telemetry-plugin.so.1 ./libzor_ifm-telemetry-plugin.so.1.0.0 " ]; then
  echo "plugin-only build made more than the plugin: $built"; exit 1
fi
run_ctest build-plugin
echo "plugin-only build and checks: $(($(date +%s) - start)) s"

# The Release tree installs under /usr so that its packages use the multiarch library directory.
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr >/dev/null
cmake --build build -j "$jobs"
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DZOR_SANITIZE=ON -DZOR_BUILD_BENCH=OFF >/dev/null
cmake --build build-asan -j "$jobs"
# Benchmarks: every benchmark a few iterations on the Release tree, so that they always build and
# run; the tables they print mean nothing at that length. The instruction budgets are a test of
# the Release tree below (instruction_budget, under callgrind).
echo "== Benchmark smoke run"
scripts/bench.sh --smoke

# ---- Debian packages: the plugin, and the tools depending on it (install_and_run, a CTest test
# in both trees, runs the installed host against the installed plugin).
echo "== Debian packages"
rm -f build/*.deb
(cd build && cpack >/dev/null)
for deb in build/*.deb; do
  echo "$(basename "$deb"): $(stat -c %s "$deb") bytes, Depends: $(dpkg-deb -f "$deb" Depends)"
done
dpkg-deb -f build/zor-ifm-telemetry-plugin_*.deb Depends | grep -q libcjson1
dpkg-deb -f build/zor-ifm-telemetry-tools_*.deb Depends | grep -q 'zor-ifm-telemetry-plugin (='

# ---- Static analysis of the plugin proper: clang-tidy (bugprone, cert, performance; see
# .clang-tidy) over the Release tree's compile commands, and cppcheck. Any finding fails CI.
# 20 to 60 s on two cores. Coverage (scripts/coverage.sh) and the seeded-fault run
# (scripts/mutate.sh) are not part of CI: they rebuild the tree and take longer.
echo "== Static analysis"
scripts/lint.sh build

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
# Fault sweeps and soak (CTest cases in both trees): fault_sweep_test fails every platform call
# of a tick of every sensor once and from then on (about 8 s of CPU here, 130 s under the
# sanitizers); soak_short runs the soak for 10000 simulated seconds (3000 under the sanitizers).
# scripts/soak.sh runs the full soak.
echo "== Release build"
run_ctest build -j "$jobs" -LE real-system
echo "== AddressSanitizer + UndefinedBehaviorSanitizer build"
run_ctest build-asan -j "$jobs" -LE real-system

# == The host on the machine itself (label real-system, about a minute; needs root):
#    zor_host --source linux in network namespaces the tests create (veth traffic, link changes,
#    bond and VLAN where the kernel has them, --netns), in both builds; and the Prometheus endpoint
#    checked by promtool and scraped for 30 s by a Prometheus server on loopback (Release only).
echo "== Host on this machine's links and with Prometheus (Release)"
run_ctest build -j "$jobs" -L real-system
echo "== Host on this machine's links (AddressSanitizer + UndefinedBehaviorSanitizer)"
run_ctest build-asan -j "$jobs" -L real-system -E '^HostPrometheus'

# ---- Fuzzing: the libFuzzer tree (clang, ASan + UBSan, build-fuzz/) runs every fuzz target for
# ZOR_FUZZ_SECONDS (50 s) from its checked-in corpus, two at a time; about 3 minutes with the build.
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZOR_FUZZ=ON >/dev/null
cmake --build build-fuzz -j "$jobs"
echo "== Fuzz targets (libFuzzer), a bounded run each"
run_ctest build-fuzz -j "$jobs"

echo
echo "total: $passed passed, $failed failed"
