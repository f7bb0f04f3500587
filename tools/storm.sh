#!/usr/bin/env bash
# A storm over the agent: about 250 collectors that do everything a peer can do, for some minutes, and measurements of
# how the agent takes it. All traffic is on loopback, and ends by itself.
# Usage: tools/storm.sh [minutes, 30] [further options of the program: --seed N, --kinds NAME,..., --seconds N]
set -euo pipefail
cd "$(dirname "$0")/.."
minutes=30
if [[ ${1:-} =~ ^[0-9]+$ ]]; then
  minutes=$1
  shift
fi
build=build/release
scripts/install.sh build
echo "Building (the first time takes some minutes) ..." >&2
cmake --preset release >/dev/null
cmake --build --preset release --target zovagent storm >/dev/null
# Within the storm's time, so that what the floods leave can be seen to stay level.
export ZOV_MEMORY_LIMIT=${ZOV_MEMORY_LIMIT:-512M}
exec "$build/bin/storm" "$build/bin/zovagent" --minutes "$minutes" --log "$build/storm.log" "$@"
