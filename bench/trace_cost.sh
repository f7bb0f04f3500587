#!/usr/bin/env bash
# What tracing costs a Tomcat: its requests a second under wrk, in turns without the collector, at level 1 and at
# level 2 with all requests measured, and the processor time that one takes; the differences are medians of the turns.
# Usage: trace_cost.sh BUILD_DIRECTORY [TURNS [SECONDS]]   (needs wrk, and what tests/e2e/trace_test.sh needs)
set -euo pipefail

build=$(cd "$1" && pwd)
turns=${2:-5}
seconds=${3:-6}
here=$(cd "$(dirname "$0")" && pwd)
source "$here/../tests/e2e/scratch.sh"
jar=$build/collector/zov-collector.jar
port=$((30000 + RANDOM % 500 * 4))
hub=http://127.0.0.1:$((port + 1))
path=
for name in tomcat10-{catalina,coyote,util,util-scan,juli,api,annotations-api,jaspic-api,servlet-api,jsp-api,el-api}; do
  path+=/usr/share/java/$name.jar:
done
mkdir -p "$work"/{config,classes,base}
javac -cp "$path" -d "$work/classes" "$here"/../tests/e2e/trace/{Pages,TomcatHost}.java 2>"$work/javac.log"
host=$(uname -n)
printf '[Basic_Config]\nZOV_REQ_SAMPLEMETHOD = FIXED\n[Advanced_Agent_Config]\nZOV_PORT = %s\n' "$port" \
  >"$work/config/${host%%.*}_ov.cfg"
ZOV_CONFIG_DIR="$work/config" ZOV_START_DELAY=0 ZOV_LOCAL_ADDRESS=127.0.0.1 ZOV_HUB_ADDRESS=${hub#http://} \
  "$build/bin/zovagent" >"$work/agent.log" 2>&1 &
pids+=($!)

# start NAME JVM_OPTION...: a Tomcat, warm
start() {
  local web=http://127.0.0.1:$((port + 2 + ${#pids[@]})) # a port of its own
  java -Xms256m -Xmx256m "${@:2}" -cp "$path$work/classes" TomcatHost "${web##*:}" "$work/base" >"$work/$1.log" 2>&1 &
  pids+=($!)
  servers[$1]=$!
  until curl -sf -o /dev/null "$web/shop/told"; do sleep 0.2; done
  urls[$1]=$web/shop/told
}
# act SERVER COMMAND
act() {
  local node
  node=$(curl -sf "$hub/v1/nodes" | grep -o "\"$1:[^\"]*\"" | head -1 | tr -d '"')
  curl -sf -H "Authorization: Bearer $(cat "$work/config/hub.token")" -H 'Content-Type: application/json' \
    -d "{\"node\":\"$node\",\"command\":\"$2\"}" "$hub/v1/actions" >/dev/null
}
# ticks SERVER: of processor time so far
ticks() { awk '{ print $14 + $15 }' "/proc/${servers[$1]}/stat"; }
# load SERVER SECONDS: requests a second, and microseconds of processor time for one
load() {
  local before
  before=$(ticks "$1")
  wrk -t1 -c8 -d"$2s" "${urls[$1]}" >"$work/wrk"
  awk -v ticks=$(($(ticks "$1") - before)) -v hertz="$(getconf CLK_TCK)" \
    '/requests in/ { n = $1 } /Requests\/sec/ { rate = $2 } END { print rate, 1e6 * ticks / hertz / n }' "$work/wrk"
}

declare -A urls servers
for name in without level1 level2; do
  option=()
  [ $name = without ] || option=("-javaagent:$jar=agent=127.0.0.1:$port,name=$name,root=$work,log=$work/$name.clog,statistics=off")
  start $name "${option[@]}"
done
for level in 1 2; do
  until grep -q 'collects request data' "$work/level$level.clog" 2>/dev/null; do sleep 0.2; done
  act level$level "SetRequestSamplingRate 100"
  act level$level "StartRequestMonitor $level"
done
sleep 1
tail -qn 1 "$work"/level?.clog
for name in without level1 level2; do load $name 8 >/dev/null; done # until it is compiled
for ((turn = 0; turn < turns; turn++)); do
  line=
  for name in without level1 level2; do line+=" $(load $name "$seconds")"; done
  echo "$line"
done | awk '
  function less(now, before) { return (now / before - 1) * 100 }
  function median(of, n,  i, j, t) {
    for (i = 1; i <= n; i++) for (j = i; j > 1 && of[j] < of[j - 1]; j--) { t = of[j]; of[j] = of[j - 1]; of[j - 1] = t }
    return of[int((n + 1) / 2)]
  }
  {
    printf "%6.0f /s %5.1f us   %6.0f /s %5.1f us   %6.0f /s %5.1f us\n", $1, $2, $3, $4, $5, $6
    rate1[NR] = less($3, $1); time1[NR] = less($4, $2); rate2[NR] = less($5, $1); time2[NR] = less($6, $2)
  }
  END {
    printf "level 1: %+.1f %% requests a second, %+.1f %% processor time of one\n", median(rate1, NR), median(time1, NR)
    printf "level 2: %+.1f %% requests a second, %+.1f %% processor time of one\n", median(rate2, NR), median(time2, NR)
  }'
