#!/usr/bin/env bash
# What pages of the demo's Tomcat waited for, in the tables as the pages have it by their own clocks: statements of a
# database and its connections, messages of a broker, calls of a server, look-ups; and no literal of a statement.
# Usage: delays_test.sh BUILD_DIRECTORY.  Status 77: skipped.
set -euo pipefail

build=$(cd "$1" && pwd)
source "$(dirname "$0")/scratch.sh"
built zov-collector.jar zov-weaver.jar zov-demo.jar demo.classpath

port=$((20000 + RANDOM % 4000))
hub=http://127.0.0.1:$((port + 4000))
web=http://127.0.0.1:$((port + 8000))
host=$(uname -n)
mkdir "$work/config"
cat >"$work/config/${host%%.*}_ov.cfg" <<EOT
[Basic_Config]
ZOV_REQ_SAMPLEMETHOD = FIXED
ZOV_REQ_MONITORING_LEVEL = LEVEL2
[Advanced_Agent_Config]
ZOV_PORT = $port
[Advanced_J2EE_Config]
ZOV_REQ_FIXEDINTERVAL_TIME = 10
ZOV_REQ_SAMPLE_RATE = 100
EOT
ZOV_CONFIG_DIR="$work/config" ZOV_START_DELAY=0 ZOV_HUB_ADDRESS=${hub#http://} \
  "$build/bin/zovagent" >"$work/agent.log" 2>&1 &
pids+=($!)
java "-javaagent:$build/collector/zov-collector.jar=agent=127.0.0.1:$port,name=shop,root=$work,log=$work/collector.log" \
  -Dzov.demo.customers=0 "@$build/collector/demo.classpath" zov.demo.Shop "${web##*:}" "$work/site" >"$work/shop.log" 2>&1 &
pids+=($!)

# rows TABLE: a line each
rows() { curl -sf "$hub/v1/tables/$1/rows" | grep -o '{"originnode[^}]*}'; }
pages() { for page in report stocktake notices supplier; do curl -sf "$web/depot/$page?n=[1-$1]"; done; }
# When the poll was that the rows are of; the next has one row at least.
polled() {
  curl -sf -o /dev/null "$web/depot/health"
  rows ZOVREQUEST | grep -o '"c2":"[^"]*"' | sort -u || true
}
polled_after() {
  local now
  now=$(polled)
  [ -n "$now" ] && [ "$now" != "$1" ]
}

eventually curl -sf -o /dev/null "$web/depot/health"
eventually polled_after ""
pages 20 >"$work/first"
for _ in {1..3}; do # until no poll comes in between
  eventually polled_after "$(polled)"
  begun=$(polled)
  pages 20 >"$work/own"
  [ "$begun" != "$(polled)" ] || break
done
eventually polled_after "$begun"
for table in ZOVREQSEL ZOVREQUEST ZOVDATAS ZOVJMSSUM; do rows $table >"$work/$table"; done

# agree OWN TABLE ROW COUNT TIME: of the rows that match, with what the pages say of OWN (times to within 5 percent, a
# millisecond, and 0.15 for each, which code that is not compiled yet takes around it); COUNT or TIME may be empty
agree() {
  local own row
  own=$(awk -v what="^($1)$" '$1 ~ what { n++; t += $2 } END { print n, t / 1e6 }' "$work/own")
  row=$(grep -E "$3" "$work/$2" | awk -v count="\"$4\":" -v time="\"$5\":" '
    function figure(name) { return substr($0, index($0, name) + length(name)) + 0 }
    { n += figure(count); t += figure(time) } END { print n + 0, t + 0 }')
  echo "$2 $3: $row, by the pages' own clock $own"
  awk -v own="$own" -v row="$row" -v counted="${4:+1}" -v timed="${5:+1}" 'BEGIN {
    split(own, o); split(row, r); d = r[2] - o[2]
    exit !(o[1] > 0 && (!counted || o[1] == r[1]) && (!timed || (d < 0 ? -d : d) <= 0.05 * o[2] + 1 + 0.15 * o[1])) }' || fail "$1: $own and $row"
}

db='"act_name":"hsqldb:mem:depot"' jms='"act_name":"org.apache.activemq"'
agree query ZOVREQSEL "/report\".*\"act_type\":4,$db,\"act_detail\":\"SELECT pause\(\?\) FROM shelf WHERE item = \?\"" num_occur total_time
agree update ZOVREQSEL "\"act_type\":5,$db,.*number \+ pause\(\?\) WHERE item IN \(\?\)\"" num_occur total_time
agree connection ZOVREQSEL "/report\".*\"act_type\":3,$db" num_occur ""
agree 'commit|rollback' ZOVREQSEL "\"act_type\":6,$db,\"act_detail\":\"(commit|rollback)\"" num_occur ""
agree get ZOVREQSEL "\"act_type\":7,$jms,\"act_detail\":\"depot.notices\"" num_occur total_time
agree look-up ZOVREQSEL '/report".*"act_type":11,"act_name":"java:comp/env/jdbc/depot"' num_occur ""
agree call ZOVREQSEL "/supplier\".*\"act_type\":12,\"act_name\":\"$web\",\"act_detail\":\"GET /stock/level\"" num_occur total_time
agree query ZOVREQUEST '"req_detail":"/report"' c27 c28
agree query ZOVDATAS '"name":"hsqldb:mem:depot","prod_name":"HSQL' num_query tot_qresp
agree update ZOVDATAS '"name":"hsqldb:mem:depot"' '' tot_uresp
queue='"qmgr_name":"org.apache.activemq","queue_name":"depot.notices"'
agree put ZOVJMSSUM "$queue" num_put tot_ptime
agree get ZOVJMSSUM "$queue" num_get tot_gtime
agree browse ZOVJMSSUM "$queue" num_browse tot_btime
agree publish ZOVJMSSUM '"queue_name":"depot.news"' num_pub tot_putime
