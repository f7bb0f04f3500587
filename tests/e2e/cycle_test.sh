#!/usr/bin/env bash
# The agent restarts the demo's shop: its row is of a server that is not connected, and then of a new process that
# is; and the end of the agent is not that of the shop.  Usage: cycle_test.sh BUILD_DIRECTORY.  Status 77: skipped.
set -euo pipefail

build=$(cd "$1" && pwd)
source "$(dirname "$0")/scratch.sh"
built zov-collector.jar zov-demo.jar demo.classpath

port=$((20000 + RANDOM % 4000))
hub=http://127.0.0.1:$((port + 4000))
host=$(uname -n)
mkdir "$work/config" "$work/logs"
echo -e "[Advanced_Agent_Config]\nZOV_PORT = $port" >"$work/config/${host%%.*}_ov.cfg"
"$(dirname "$0")/../../scripts/install_demo_server.sh" "$build" "$work/shop" shop "$port" $((port + 8000)) "$work/logs"
trap '"$work/shop/bin/stopServer.sh" shop 2>/dev/null || true; cleanup' EXIT

token=none:
# answers PATH PATTERN: with the token
answers() { curl -sf -H "$token" "$hub$1" | grep -q "$2"; }

ZOV_CONFIG_DIR="$work/config" ZOV_START_DELAY=0 ZOV_LOCAL_ADDRESS=127.0.0.1 ZOV_HUB_ADDRESS=${hub#http://} \
  "$build/bin/zovagent" >>"$work/logs/agent.log" 2>&1 &
agent=$!
pids+=("$agent")
"$work/shop/bin/startServer.sh" shop
status=/v1/tables/ZOVAPSST/rows
eventually answers $status '"status":1'
before=$(cat "$work/shop/server.pid")
token="Authorization: Bearer $(cat "$work/config/hub.token")"

place=$(curl -sf -D - -o /dev/null -H "$token" -H 'Content-Type: application/json' "$hub/v1/actions" \
  -d "{\"node\":\"shop:${host%%.*}:ZOVS\",\"command\":\"CycleAppSvr me secret\"}" |
  sed -n 's/^Location: \(.*\)\r$/\1/p')
eventually answers $status '"status":0'
eventually answers "$place" '"result":"done"'
eventually answers $status '"status":1'
after=$(cat "$work/shop/server.pid")
[ "$after" -ne "$before" ] || fail "it is the same process"
! grep -r secret "$work/config" "$work/logs" || fail "the password can be read"

kill -QUIT "$agent"
wait "$agent"
kill -0 "$after" || fail "the server has ended with the agent"
