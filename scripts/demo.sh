#!/usr/bin/env bash
# Shows the road from a running Java server to a row: starts the agent and an example Tomcat with the collector
# inside it, and a table of what the agent sees. Everything it starts ends with it, on Ctrl-C too.
#
# Usage: scripts/demo.sh BUILD_DIRECTORY            live table, until Ctrl-C
#        scripts/demo.sh BUILD_DIRECTORY --once     waits for the rows, prints them once; status 0 when they came
set -euo pipefail

build=$(cd "${1:?"usage: scripts/demo.sh BUILD_DIRECTORY [--once]"}" && pwd)
mode=${2:-live}
seconds=90
pids=()
work=$(mktemp -d)

cleanup() {
  trap '' HUP INT TERM
  for pid in "${pids[@]}"; do kill -TERM "$pid" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do
    for _ in {1..80}; do
      kill -0 "$pid" 2>/dev/null || break
      sleep 0.1
    done
    kill -KILL "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  done
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

say() { echo "$@" >&2; }

listening() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }

# The first free port from the given one on.
free_port() {
  local port=$1
  while listening "$port"; do port=$((port + 1)); done
  echo "$port"
}

# started NAME PID PORT: waits until the process listens.
started() {
  for _ in {1..300}; do
    listening "$3" && return
    if ! kill -0 "$2" 2>/dev/null; then break; fi
    sleep 0.1
  done
  say "$1 has not opened its port $3. Its last words:"
  tail -n 20 "$work/$1.log" >&2
  exit 1
}

collector_port=63335 hub_port=63390 http_port=8080
if [ "$mode" = --once ]; then
  # Beside a demo that is being looked at, and beside other tests.
  collector_port=$((20000 + RANDOM % 4000)) hub_port=$((collector_port + 4000)) http_port=$((collector_port + 8000))
fi
collector_port=$(free_port "$collector_port")
hub_port=$(free_port "$hub_port")
http_port=$(free_port "$http_port")

host=$(uname -n)
mkdir "$work/config" "$work/shop"
cat >"$work/config/${host%%.*}_ov.cfg" <<EOF
[Basic_Config]
ZOV_REQ_SAMPLEMETHOD = FIXED
ZOV_REQ_MONITORING_LEVEL = LEVEL2
ZOV_RESOURCE_SAMPLEMETHOD = FIXED

[Advanced_Agent_Config]
ZOV_PORT = $collector_port

[Advanced_J2EE_Config]
ZOV_REQ_FIXEDINTERVAL_TIME = 5
ZOV_REQ_SAMPLE_RATE = 100
ZOV_RESOURCE_FIXEDINTERVAL_TIME = 5
EOF

say "Starting the agent ..."
ZOV_CONFIG_DIR="$work/config" ZOV_START_DELAY=0 ZOV_HUB_ADDRESS=127.0.0.1:$hub_port \
  "$build/bin/zovagent" >"$work/agent.log" 2>&1 &
pids+=($!)
started agent $! "$hub_port"

say "Starting Tomcat with the collector ..."
options="agent=127.0.0.1:$collector_port,name=shop,root=$work/shop,log=$work/collector.log"
java "-javaagent:$build/collector/zov-collector.jar=$options" \
  "@$build/collector/demo.classpath" zov.demo.Shop "$http_port" "$work/shop" >"$work/shop.log" 2>&1 &
pids+=($!)
started shop $! "$http_port"

hub=http://127.0.0.1:$hub_port
footer="Shop  http://127.0.0.1:$http_port/shop/catalog  http://127.0.0.1:$http_port/shop/order
Rows  $hub/v1/tables/ZOVREQUEST/rows  also ZOVREQSEL, ZOVDATAS, ZOVJMSSUM, ZOVTHRDP, ZOVAPP, ZOVDBCONP
Ctrl-C ends all of it."
if [ "$mode" = --once ]; then
  say "Waiting for rows (at most $seconds seconds) ..."
  view=(once "$seconds" /order /catalog /level)
elif [ -t 1 ]; then
  view=(terminal "$footer")
else
  say "$footer"
  view=(live)
fi

# In the background, so that a signal to this script is handled at once.
java "@$build/collector/demo.classpath" zov.demo.LiveTable "$hub" "${view[@]}" &
pids+=($!)
status=0
wait $! || status=$?
if [ "$status" -ne 0 ]; then
  for log in "$work"/*.log; do
    say "--- The end of $(basename "$log"):"
    tail -n 20 "$log" >&2
  done
fi
exit "$status"
