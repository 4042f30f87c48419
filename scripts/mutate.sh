#!/usr/bin/env bash
# Seeded-fault run: applies each fault of a list (scripts/mutations.txt by default) on its own to a
# scratch copy of the tree (tracked and new files; the working tree is never touched), rebuilds the
# Release tree there and runs the CTest suite that CI runs, without the benchmarks (their
# instruction budgets would fail on any change of cost, not of behaviour). A fault is killed when
# the suite fails.
# Prints one line per fault (with the first tests that failed) and the kill rate.
#
#   scripts/mutate.sh [--check] [LIST [N...]]
#     --check  only verify that every original text occurs exactly once in its file
#     N...     run only the faults with these numbers (1-based, in list order)
#   MUTATE_SANITIZE=1      use the ASan/UBSan Debug build instead of Release
#   MUTATE_CTEST_ARGS=...  extra ctest arguments (for example a label filter)
#
# Not run in CI: each fault costs an incremental rebuild and a suite run (see README, Robustness).
set -euo pipefail
shopt -u patsub_replacement 2>/dev/null || true # "&" in a replacement is literal
root=$(cd "$(dirname "$0")/.." && pwd)
check=0
if [ "${1:-}" = "--check" ]; then
  check=1
  shift
fi
list=$(realpath "${1:-$root/scripts/mutations.txt}")
shift $(($# > 0 ? 1 : 0))
only=("$@")

# ---- Parse the list into parallel arrays.
files=() descs=() origs=() reps=()
cur=-1
while IFS= read -r line || [ -n "$line" ]; do
  case "$line" in
    '@ '*)
      cur=${#files[@]}
      head=${line#@ }
      files+=("${head%% | *}")
      descs+=("${head#* | }")
      origs+=("")
      reps+=("")
      ;;
    '-'|'- '*)
      [ -n "${origs[cur]}" ] && origs[cur]+=$'\n'
      origs[cur]+=${line:2}
      ;;
    '+'|'+ '*)
      [ -n "${reps[cur]}" ] && reps[cur]+=$'\n'
      reps[cur]+=${line:2}
      ;;
  esac
done <"$list"
total=${#files[@]}

# Number of times $2 occurs in the text $1.
occurrences() {
  local rest=${1//"$2"/}
  echo $(((${#1} - ${#rest}) / ${#2}))
}

if [ "$check" = 1 ]; then
  bad=0
  for ((i = 0; i < total; i++)); do
    n=$(occurrences "$(<"$root/${files[i]}")" "${origs[i]}")
    if [ "$n" != 1 ]; then
      echo "#$((i + 1)) ${files[i]}: original text found $n times"
      bad=1
    fi
  done
  echo "$total faults listed"
  exit $bad
fi

# ---- Scratch copy and its build tree.
scratch=$(mktemp -d "${TMPDIR:-/tmp}/zor-mutate.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
(cd "$root" && git ls-files -z --cached --others --exclude-standard |
  tar --null -T - --ignore-failed-read -cf - 2>/dev/null) | tar -xf - -C "$scratch"
build=$scratch/build
if [ "${MUTATE_SANITIZE:-0}" = 1 ]; then
  cmake -S "$scratch" -B "$build" -DCMAKE_BUILD_TYPE=Debug -DZOR_SANITIZE=ON -DZOR_BUILD_BENCH=OFF >/dev/null
  export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
else
  cmake -S "$scratch" -B "$build" -DCMAKE_BUILD_TYPE=Release -DZOR_BUILD_BENCH=OFF >/dev/null
fi
read -r -a ctest_args <<<"${MUTATE_CTEST_ARGS:-}"
suite() { (cd "$build" && ctest -j 2 --timeout 600 "${ctest_args[@]}" >"$scratch/ctest.log" 2>&1); }

start=$SECONDS
echo "building the unmodified tree in $build"
nice -n 10 cmake --build "$build" -j 2 >"$scratch/build.log" 2>&1 || { tail -20 "$scratch/build.log"; exit 1; }
suite || { echo "the unmodified suite fails:"; tail -20 "$scratch/ctest.log"; exit 1; }
echo "baseline green after $((SECONDS - start)) s"

killed=0 survived=0 skipped=0
survivors=()
for ((i = 0; i < total; i++)); do
  num=$((i + 1))
  if [ ${#only[@]} -gt 0 ] && [[ " ${only[*]} " != *" $num "* ]]; then
    continue
  fi
  file=$scratch/${files[i]}
  label="#$num ${files[i]}: ${descs[i]}"
  text=$(<"$file")
  if [ "$(occurrences "$text" "${origs[i]}")" != 1 ]; then
    echo "SKIPPED   $label (original text not found exactly once)"
    skipped=$((skipped + 1))
    continue
  fi
  cp -p "$file" "$scratch/original"
  printf '%s\n' "${text/"${origs[i]}"/"${reps[i]}"}" >"$file"
  t0=$SECONDS
  if ! nice -n 10 cmake --build "$build" -j 2 >"$scratch/build.log" 2>&1; then
    echo "SKIPPED   $label (does not build)"
    skipped=$((skipped + 1))
  elif suite; then
    echo "SURVIVED  $label ($((SECONDS - t0)) s)"
    survived=$((survived + 1))
    survivors+=("#$num")
  else
    by=$(sed -n 's/^[[:space:]]*[0-9]* - \([^ ]*\) (.*/\1/p' "$scratch/ctest.log" | head -3 | paste -sd, -)
    echo "KILLED    $label ($((SECONDS - t0)) s; ${by:-suite failed})"
    killed=$((killed + 1))
  fi
  cp "$scratch/original" "$file" # a new time stamp: the next build recompiles it
done

tried=$((killed + survived))
echo "killed $killed of $tried faults ($((tried > 0 ? 100 * killed / tried : 0)) %), skipped $skipped," \
  "$((SECONDS - start)) s in all${survivors[*]:+; survived: ${survivors[*]}}"
[ "$survived" = 0 ]
