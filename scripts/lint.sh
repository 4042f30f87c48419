#!/usr/bin/env bash
# Static analysis of the plugin proper (core/, runtime/, selection/, store/, encoding/, sensors/):
# clang-tidy with the checks of .clang-tidy, over the compile commands of a build tree, and
# cppcheck. Any finding fails the run. Suppressions are in place in the code, each with its reason.
#   scripts/lint.sh [BUILD_DIR]   (default build; it must have been configured by CMake)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
if [ ! -f "$build/compile_commands.json" ]; then
  echo "lint: no $build/compile_commands.json; configure $build with CMake first" >&2
  exit 2
fi
mapfile -t sources < <(find core runtime selection store encoding sensors -name '*.cpp' 2>/dev/null | sort)
status=0

echo "clang-tidy: ${#sources[@]} files"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
printf '%s\n' "${sources[@]}" | xargs -P 2 -n 4 clang-tidy -p "$build" --quiet >"$log" 2>&1 || status=1
grep -v -E '^[0-9]+ warnings? (and [0-9]+ errors? )?generated\.$' "$log" || true

echo "cppcheck: ${#sources[@]} files"
cppcheck --std=c++17 --language=c++ -I . -q -j 2 --enable=warning,style,performance,portability \
  --inline-suppr --suppress=missingIncludeSystem --error-exitcode=1 \
  --template='{file}:{line}: {severity}: {message} [{id}]' "${sources[@]}" || status=1

[ "$status" = 0 ] && echo "lint: clean" || echo "lint: findings above"
exit "$status"
