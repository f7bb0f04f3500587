#!/usr/bin/env bash
# Runs clang-tidy (.clang-tidy) over the sources, and prints each finding; status 1 when there is one.
# Usage: scripts/tidy.sh [path ...]       paths below src/; without any, all of src/
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install.sh build clang
cmake --preset clang >/dev/null
find "${@:-src}" -name '*.cpp' -print0 | sort -z |
  xargs -0 -n 4 -P "$(nproc)" clang-tidy -p build/clang --quiet 2> >(grep -vE '^[0-9]+ warnings? .*generated' >&2)
