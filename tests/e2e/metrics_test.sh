#!/usr/bin/env bash
# A real Prometheus scrapes an agent that watches a real Tomcat: what it has is what the rows say, counts grow by
# what each interval brought, and what the package ships for it holds.
# Usage: metrics_test.sh BUILD_DIRECTORY.  Status 77: skipped.
set -euo pipefail

build=$(cd "$1" && pwd)
packaging=$(cd "$(dirname "$0")/../../packaging" && pwd)
source "$(dirname "$0")/scratch.sh"
for part in collector/zov-collector.jar collector/demo.classpath; do
  [ -e "$build/$part" ] || skip "$part was not built (it needs default-jdk-headless, libtomcat10-java and libhsqldb-java)"
done
{ command -v prometheus && command -v promtool; } >/dev/null || skip "prometheus is not installed (scripts/install.sh metrics)"

promtool check rules "$packaging"/prometheus/*.rules.yml

free_port() {
  local port
  while port=$((20000 + RANDOM % 12000)) && (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; do :; done
  echo "$port"
}
port=$(free_port)
hub=127.0.0.1:$(free_port) prometheus=127.0.0.1:$(free_port)
host=$(uname -n)
mkdir "$work/config" "$work/shop"
cat >"$work/config/${host%%.*}_ov.cfg" <<EOT
[Basic_Config]
ZOV_REQ_SAMPLEMETHOD = FIXED
ZOV_RESOURCE_SAMPLEMETHOD = FIXED
[Advanced_Agent_Config]
ZOV_PORT = $port
[Advanced_J2EE_Config]
ZOV_REQ_FIXEDINTERVAL_TIME = 4
ZOV_RESOURCE_FIXEDINTERVAL_TIME = 4
EOT
ZOV_CONFIG_DIR="$work/config" ZOV_START_DELAY=0 ZOV_HUB_ADDRESS=$hub ZOV_HUB_TOKEN=token-of-the-test \
  "$build/bin/zovagent" >"$work/agent.log" 2>&1 &
pids+=($!)
java "-javaagent:$build/collector/zov-collector.jar=agent=127.0.0.1:$port,name=shop,root=$work/shop,log=$work/collector.log" \
  "@$build/collector/demo.classpath" zov.demo.Shop "$(free_port)" "$work/shop" >"$work/shop.log" 2>&1 &
pids+=($!)
cat >"$work/prometheus.yml" <<EOT
global: {scrape_interval: 500ms}
rule_files: ["$packaging/prometheus/*.rules.yml"]
scrape_configs:
  - job_name: zov
    authorization: {credentials: token-of-the-test}
    static_configs: [targets: ["$hub"]]
EOT
prometheus --config.file="$work/prometheus.yml" --storage.tsdb.path="$work/tsdb" --web.listen-address="$prometheus" \
  >"$work/prometheus.log" 2>&1 &
pids+=($!)

ask() { curl -sf -H 'Authorization: Bearer token-of-the-test' "$@"; }
# field TABLE COLUMN [QUERY]: of the first row
field() { ask -H 'Accept: text/csv' "http://$hub/v1/tables/$1/rows?names=readable&limit=1&${3:-}" | tr -d '\r' |
  awk -F, -v wanted="$2" 'NR == 1 { for (i = 1; i <= NF; i++) if ($i == wanted) column = i } NR == 2 { print $column }'; }
# known QUERY: the one value that Prometheus has; nothing when there is none
known() { promtool query instant "http://$prometheus" "$1" 2>/dev/null | sed -n 's/.*=> \([^ ]*\) @.*/\1/p' | head -n 1; }
orders='request_name=/order'
total='sum(zov_request_total{request_name="/order"})'

eventually eval '[ -n "$(known "$total")" ]'
echo "--- A gauge and the row of the same moment"
same() {
  local before
  before=$(field ZOVAPSRV used_memory)
  sleep 1
  [ -n "$before" ] && [ "$(known "zov_server_used_memory_bytes / 1024")" = "$before" ] && [ "$(field ZOVAPSRV used_memory)" = "$before" ]
}
eventually same
[ "$(known zov_server_up)" = 1 ] || fail "the server is not up"

echo "--- A count grows by what each interval brought"
interval() { field ZOVREQUEST sample_time "$orders"; }
next_interval() { [ "$(interval)" != "$1" ]; }
grown() {
  local last before count
  last=$(interval)
  eventually next_interval "$last"
  sleep 1.2 # for two scrapes
  before=$(known "$total") last=$(interval)
  eventually next_interval "$last"
  sleep 1.2
  count=$(field ZOVREQUEST request_count "$orders")
  [ "$(interval)" != "$last" ] || return 1
  echo "$before + $count = $(known "$total")"
  [ "$count" -gt 0 ] && [ "$(known "$total")" = $((before + count)) ]
}
eventually grown
eventually eval '[ "$(known "zov_request_time_seconds_count{request_name=\"/order\"}")" = "$(known "$total")" ]'

echo "--- What Prometheus and promtool find wrong"
ask "http://$hub/metrics" | promtool check metrics || fail "promtool finds fault"
[ "$(known 'up{job="zov"}')" = 1 ] || fail "the scrape has failed"
[ "$(known zov_agent_metrics_left_out_series)" = 0 ] || fail "series were left out"
! grep -E 'level=(warn|error)' "$work/prometheus.log" | grep -v "Found no API" || fail "Prometheus complains"
grep -ohE '"expr": *"([^"\\]|\\.)*"' "$packaging"/grafana/*.json |
  sed 's/^"expr": *"//; s/"$//; s/\\"/"/g; s/\$__rate_interval/5m/g; s/\$node/.*/g' >"$work/queries"
[ -s "$work/queries" ] || fail "the dashboard asks for nothing"
while read -r query; do
  promtool query instant "http://$prometheus" "$query" >"$work/answer" || fail "the dashboard's query is not one: $query"
done <"$work/queries"
for metric in $(grep -oE '\bzov_[a-z0-9_]+' "$work/queries" | sort -u); do
  [ -n "$(known "count($metric)")" ] || fail "the dashboard asks for $metric, which there is not"
done
[ "$(curl -s -o /dev/null -w '%{http_code}' "http://$hub/metrics")" = 401 ] || fail "a scrape without the token is answered"
