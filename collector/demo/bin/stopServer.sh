#!/usr/bin/env bash
# Stops the example server of the directory above, and returns once it has ended.
# Usage: stopServer.sh NAME [-user USER -password PASSWORD]   (it asks for neither)
set -euo pipefail

cd "$(dirname "$0")/.."
if ! pid=$(cat server.pid 2>/dev/null) || ! kill -TERM "$pid" 2>/dev/null; then
  echo "$1 does not run" >&2
  exit 1
fi
for _ in {1..200}; do
  kill -0 "$pid" 2>/dev/null || break
  sleep 0.1
done
kill -KILL "$pid" 2>/dev/null || true
rm server.pid
