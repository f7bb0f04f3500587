#!/usr/bin/env bash
# Builds the tree and runs all tests.  Usage: ./test.sh [release|debug|asan|tsan] [ctest arguments]
set -euo pipefail
cd "$(dirname "$0")"
preset=${1:-release}
[ $# -gt 0 ] && shift

scripts/install.sh build demo
echo "Building ($preset) ..."
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
echo "Testing ($preset) ..."
ctest --test-dir "build/$preset" --output-on-failure -j "$(nproc)" "$@"
