#!/usr/bin/env bash
# What the garbage collector of a real JVM did, in the tables as in the JVM's own log of the same seconds: how many
# collections, which of them for want of room, and for each how much of the heap was used after it.
# Usage: gc_test.sh BUILD_DIRECTORY.  Status 77: skipped.
set -euo pipefail

build=$(cd "$1" && pwd)
jar=$build/collector/zov-collector.jar
source "$(dirname "$0")/scratch.sh"
[ -e "$jar" ] || skip "the collector was not built (it needs default-jdk-headless)"

port=$((20000 + RANDOM % 4000))
hub=http://127.0.0.1:$((port + 4000))
host=$(uname -n)
mkdir "$work/config"
cat >"$work/config/${host%%.*}_ov.cfg" <<EOT
[Basic_Config]
ZOV_REQ_SAMPLEMETHOD = FIXED
[Advanced_Agent_Config]
ZOV_PORT = $port
[Advanced_J2EE_Config]
ZOV_REQ_FIXEDINTERVAL_TIME = 3
EOT
ZOV_CONFIG_DIR="$work/config" ZOV_START_DELAY=0 ZOV_HUB_ADDRESS=${hub#http://} \
  "$build/bin/zovagent" >"$work/agent.log" 2>&1 &
pids+=($!)
mkfifo "$work/words"
java -XX:+UseSerialGC -Xms48m -Xmx48m "-Xlog:gc:file=$work/gc.log" \
  "-javaagent:$jar=agent=127.0.0.1:$port,name=shop,root=$work,log=$work/collector.log" \
  -cp "$build/collector/zov-collector-tests.jar" zov.collector.Waiting <"$work/words" >"$work/host.log" 2>&1 &
pids+=($!)
exec 3>"$work/words"

# rows TABLE: a line each
rows() { curl -sf "$hub/v1/tables/$1/rows" | grep -o '{"originnode[^}]*}'; }
# numbers COLUMN: of the rows that come in
numbers() { grep -o "\"$1\":[-0-9]*" | cut -d: -f2; }
logged() { grep 'Pause.*->' "$work/gc.log" || true; }
polled() { rows ZOVGCACT | grep -o '"sdate_time":"[^"]*"' || true; }
polled_after() { [ -n "$(polled)" ] && [ "$(polled)" != "$1" ]; }
agree() {
  echo "$1: $(tr '\n' ' ' <<<"$2")"
  [ -n "$2" ] && [ "$2" = "$3" ] || fail "$1: $2 in the rows, $3 in the log"
}

eventually polled_after none
eventually polled_after "$(polled)" # what was before is told
before=$(logged | wc -l)
last=$(polled)
printf x >&3
eventually grep -q "done" "$work/host.log"
eventually polled_after "$last"

logged | tail -n +$((before + 1)) >"$work/pauses"
rows ZOVGCCYC >"$work/cycles"
agree "collections" "$(rows ZOVGCACT | numbers num_run)" "$(wc -l <"$work/pauses")"
agree "allocation failures" "$(rows ZOVGCAF | wc -l)" "$(grep -c 'Allocation Failure' "$work/pauses")"
agree "used after each, in MiB" "$(paste -d' ' <(numbers gc_no <"$work/cycles") <(numbers heap_total <"$work/cycles") \
  <(numbers heap_avail <"$work/cycles") | sort -n | awk '{ print int(($2 - $3) / 1024) }')" \
  "$(sed 's/.*->\([0-9]*\)M.*/\1/' "$work/pauses")"

curl -sf -o /dev/null -H "Authorization: Bearer $(cat "$work/config/hub.token")" -H 'Content-Type: application/json' \
  -d "{\"node\":\"shop:${host%%.*}:ZOVS\",\"command\":\"StopGCMonitor\"}" "$hub/v1/actions"
eventually eval '! rows ZOVGCCYC'
