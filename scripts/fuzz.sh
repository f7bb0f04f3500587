#!/usr/bin/env bash
# Builds the fuzz targets with clang, the address and the undefined behaviour sanitizer, and runs one after the other.
# What one finds is kept, as the input that caused it, in build/fuzz/findings.
# Usage: scripts/fuzz.sh [seconds for each target, 300] [target ...]
# Exit status: 0 when nothing was found.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=300
if [[ ${1:-} =~ ^[0-9]+$ ]]; then
  seconds=$1
  shift
fi
if [ $# -eq 0 ]; then
  set -- fuzz/*_fuzz.cpp
  set -- "${@#fuzz/}"
  set -- "${@%_fuzz.cpp}"
fi

scripts/install.sh build fuzz
build=build/fuzz
echo "Building (the first time takes some minutes) ..."
cmake -S . -B $build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ -DZOV_FUZZ=ON \
  -DZOV_SANITIZE=address,undefined -DZOV_BUILD_TESTS=OFF >/dev/null
cmake --build $build --target "${@/#/fuzz_}"
mkdir -p $build/findings

status=0
table=
for target in "$@"; do
  echo "Fuzzing $target for $seconds s ..."
  grown=$build/grown/$target # what libFuzzer keeps of its own, for the next time
  mkdir -p "$grown"
  log=$build/$target.log
  found=no
  $build/bin/fuzz_"$target" -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 -print_final_stats=1 \
    -artifact_prefix=$build/findings/"$target"- "$grown" fuzz/corpus/"$target" >"$log" 2>&1 || found=yes
  if [ $found = yes ]; then
    status=1
    grep -E -m 3 'ERROR: |runtime error: |SUMMARY: ' "$log" || tail -3 "$log"
  fi
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  covered=$(grep -oE 'cov: [0-9]+' "$log" | tail -1 || true)
  table+=$(printf '%-16s %12s %10s  %s' "$target" "${runs:-?}" "${covered#cov: }" "$found")$'\n'
done
printf '\n%-16s %12s %10s  %s\n%s' target runs covered finding "$table"
[ $status -eq 0 ] || echo "The inputs are in $build/findings, what was said in $build/<target>.log."
exit $status
