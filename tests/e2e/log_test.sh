#!/usr/bin/env bash
# What the demo's Tomcat logs is pushed within one look at its log, with its severity, and once each while the log is
# rotated; and the rows of its requests, summed over the polls, have as many as were sent.
# Usage: log_test.sh BUILD_DIRECTORY.  Status 77: skipped.
set -euo pipefail

build=$(cd "$1" && pwd)
source "$(dirname "$0")/scratch.sh"
built zov-collector.jar zov-demo.jar demo.classpath

look=2 # seconds from one look at the log to the next
port=$((20000 + RANDOM % 4000))
hub=http://127.0.0.1:$((port + 4000))
web=http://127.0.0.1:$((port + 8000))
host=$(uname -n)
mkdir "$work/config" "$work/shop"
cat >"$work/config/${host%%.*}_ov.cfg" <<EOF
[Basic_Config]
ZOV_REQ_SAMPLEMETHOD = ONDEMAND
[Advanced_Agent_Config]
ZOV_PORT = $port
[Advanced_J2EE_Config]
ZOV_REQ_ONDEMAND_MAXSAMPLEAGE = 1
ZOV_APPSRVR_LOGSCANINTERVAL = $look
EOF
handler=java.util.logging.FileHandler
cat >"$work/logging.properties" <<EOF
handlers = $handler
$handler.formatter = zov.collector.ActivityLogFormatter
$handler.pattern = $work/server%g.log
$handler.limit = 20000
$handler.count = 2
EOF
ZOV_CONFIG_DIR="$work/config" ZOV_START_DELAY=0 ZOV_LOCAL_ADDRESS=127.0.0.1 ZOV_HUB_ADDRESS=${hub#http://} \
  "$build/bin/zovagent" >"$work/agent.log" 2>&1 &
pids+=($!)
jar=$build/collector/zov-collector.jar
java "-javaagent:$jar=agent=127.0.0.1:$port,name=shop,root=$work/shop,log=$work/collector.log" \
  "-Djava.util.logging.config.file=$work/logging.properties" -Dzov.demo.customers=0 \
  "@$build/collector/demo.classpath" zov.demo.Shop "${web##*:}" "$work/shop" >"$work/shop.log" 2>&1 &
pids+=($!)
eventually curl -sf -o /dev/null "$hub/healthz"
curl -sfN "$hub/v1/events?table=ZOVLOGANAL" >"$work/events" &
pids+=($!)

# page PATH: its requests, of which none fails
page() { curl -sf -o /dev/null "$web/shop/$1"; }
# pushed TEXT [SEVERITY]
pushed() { grep "\"err_msg\":\"$1" "$work/events" | grep -q "\"severity\":${2:-}"; }
logged() { page "inventory.jsp?item=$1" && pushed "Item $1"; }
# poll: there are no rows when nothing came
poll() { curl -sf "$hub/v1/tables/ZOVREQUEST/rows?REQ_NAME=shop" | grep -o '{"originnode[^}]*}' >>"$work/polls" || true; }
# told PAGE: how many requests of it the polls have told, each poll once
told() {
  sort -u "$work/polls" | comm -13 "$work/before" - | sed -n "s|.*\"req_detail\":\"/$1\".*\"c7\":\([0-9]*\),.*|\1|p" |
    awk '{ sum += $1 } END { print sum + 0 }'
}
agrees() {
  poll
  [ "$(told inventory.jsp) $(told catalog) $(told order)" = "$1" ]
}

eventually logged first
begun=$(date +%s%N)
page "inventory.jsp?item=timed"
eventually pushed "Item timed"
millis=$((($(date +%s%N) - begun) / 1000000))
echo "pushed after $millis ms"
[ "$millis" -le $((look * 1000 + 5000)) ] || fail "a line was pushed after $millis ms"

heard() { poll && [ -s "$work/polls" ]; }
eventually heard
sleep 2
poll
sort -u "$work/polls" >"$work/before"
for part in 1 2 3 4; do
  page "inventory.jsp?item=of-$part-[1-100]"
  page "catalog?[1-20]"
  page "order?[1-5]"
  poll
done
page "inventory.jsp?item={1,12}"
eventually agrees "402 80 20"
sleep 2
agrees "402 80 20" || fail "the rows tell of $(told inventory.jsp) $(told catalog) $(told order) requests"
[ -e "$work/server1.log" ] || fail "the log was not rotated"
eventually pushed "Nobody knows item 12" 22
pushed "Item 1 runs low" 21 || fail "no warning"
pushed "Item of-4-100 was counted" 1 || fail "no information"
for part in 1 2 3 4; do
  for item in {1..100}; do echo "Item of-$part-$item was"; done
done | sort >"$work/sent"
grep -o 'Item of-[0-9-]* was' "$work/events" | sort | diff - "$work/sent" || fail "what was pushed is not what was sent"
