#!/usr/bin/env bash
# The agent is killed and started again while the demo's shop is under load: within 5 seconds it has rows of the
# shop's requests again.  Usage: restart_test.sh BUILD_DIRECTORY.  Status 77: skipped.
set -euo pipefail

build=$(cd "$1" && pwd)
source "$(dirname "$0")/scratch.sh"
built zov-collector.jar zov-demo.jar demo.classpath

port=$((20000 + RANDOM % 4000))
hub=127.0.0.1:$((port + 4000))
mkdir "$work/config" "$work/shop"
host=$(uname -n)
cat >"$work/config/${host%%.*}_ov.cfg" <<EOF
[Basic_Config]
ZOV_REQ_SAMPLEMETHOD = FIXED

[Advanced_Agent_Config]
ZOV_PORT = $port

[Advanced_J2EE_Config]
ZOV_REQ_FIXEDINTERVAL_TIME = 5
EOF

start_agent() {
  ZOV_CONFIG_DIR="$work/config" ZOV_START_DELAY=0 ZOV_LOCAL_ADDRESS=127.0.0.1 ZOV_HUB_ADDRESS=$hub \
    "$build/bin/zovagent" >>"$work/agent.log" 2>&1 &
  agent=$!
  pids+=("$agent")
}

# rows_within SECONDS: of the shop's requests
rows_within() {
  local end=$((SECONDS + $1))
  while [ "$SECONDS" -lt "$end" ]; do
    if curl -sf -m 2 "http://$hub/v1/tables/ZOVREQUEST/rows" | grep -q '"req_name":"shop"'; then return; fi
    sleep 0.1
  done
  return 1
}

start_agent
java "-javaagent:$build/collector/zov-collector.jar=agent=127.0.0.1:$port,name=shop,root=$work/shop,log=$work/collector.log" \
  "@$build/collector/demo.classpath" zov.demo.Shop $((port + 8000)) "$work/shop" >"$work/shop.log" 2>&1 &
pids+=($!)
for _ in {1..300}; do
  (exec 3<>"/dev/tcp/127.0.0.1/$((port + 8000))") 2>/dev/null && break
  sleep 0.2
done
sleep 3 # of load, so that there is something to tell

kill -KILL "$agent"
wait "$agent" 2>/dev/null || true
curl -sf -o /dev/null "http://127.0.0.1:$((port + 8000))/shop/order?item=1" # which nobody has been told of
start_agent
rows_within 5 || fail "no rows of the shop's requests within 5 seconds"
