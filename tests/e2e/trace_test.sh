#!/usr/bin/env bash
# Requests traced in a Tomcat that publishes no MBeans and in a Jetty: each page's count is that of the load, and its
# times those of the page's own clock, whatever way its requests end.
# Usage: trace_test.sh BUILD_DIRECTORY.  Status 77: skipped.
set -euo pipefail

build=$(cd "$1" && pwd)
source "$(dirname "$0")/scratch.sh"
jar=$build/collector/zov-collector.jar
sources=$(cd "$(dirname "$0")/trace" && pwd)
[ -s "$build/collector/zov-weaver.jar" ] || skip "the collector was not built, or without libasm-java"
# jars NAME...: of Debian, as a class path
jars() {
  local path=
  for name in "$@"; do
    [ -e "/usr/share/java/$name.jar" ] || skip "no $name.jar here; scripts/install.sh servers installs it"
    path+=/usr/share/java/$name.jar:
  done
  echo "$path"
}
tomcat_jars=$(jars tomcat10-{catalina,coyote,util,util-scan,juli,api,annotations-api,jaspic-api,servlet-api,jsp-api,el-api})
jetty_jars=$(jars jetty9-{server,servlet,util,http,io,security} servlet-api)
asm=$(jars asm)
mkdir "$work/other"
javac -cp "$asm" -d "$work/other" "$sources/OtherAgent.java"
printf 'Premain-Class: OtherAgent\nCan-Retransform-Classes: true\n' >"$work/other.mf"
jar cfm "$work/other.jar" "$work/other.mf" -C "$work/other" .

port=$((20000 + RANDOM % 4000))
hub=http://127.0.0.1:$((port + 4000))
web_port=$((port + 8000))
web=http://127.0.0.1:$web_port/shop
mkdir -p "$work"/{config,tomcat,jetty}
host=$(uname -n)
cat >"$work/config/${host%%.*}_ov.cfg" <<END
[Basic_Config]
ZOV_REQ_SAMPLEMETHOD = ONDEMAND

[Advanced_Agent_Config]
ZOV_PORT = $port

[Advanced_J2EE_Config]
ZOV_REQ_ONDEMAND_MAXSAMPLEAGE = 1
END
ZOV_CONFIG_DIR="$work/config" ZOV_START_DELAY=0 ZOV_LOCAL_ADDRESS=127.0.0.1 ZOV_HUB_ADDRESS=${hub#http://} \
  "$build/bin/zovagent" >"$work/agent.log" 2>&1 &
pids+=($!)

# start SERVER CLASS_PATH MAIN ARGUMENT...
start() {
  mkdir -p "$work/$1/webapp/WEB-INF/classes" "$work/classes-$1"
  javac -cp "$2" -d "$work/classes-$1" "$work/$1/Pages.java" "$sources/$3.java" 2>"$work/javac.log"
  cp "$work/classes-$1/Pages.class" "$work/$1/webapp/WEB-INF/classes/"
  java "-javaagent:$work/other.jar" \
    "-javaagent:$jar=agent=127.0.0.1:$port,name=$1,root=$work/$1,log=$work/$1/collector.log,statistics=off" \
    -cp "$2$asm:$work/classes-$1" "$3" "$web_port" "$work/$1" "${@:4}" >"$work/$1.log" 2>&1 &
  server=$!
  pids+=("$server")
}
# rows SERVER: a line each of page, requests, total time and longest time
rows() {
  curl -sf "$hub/v1/tables/ZOVREQUEST/rows" | sed 's/},{"originnode/}\n{"originnode/g' | grep "\"server_nam\":\"$1\"" |
    sed -E 's/.*"req_name":"([^"]*)","req_detail":"([^"]*)","c7":([-0-9]*),.*"c9":([-0-9]*),.*"c11":([-0-9]*),.*/\1\2 \3 \4 \5/'
}
told() { rows "$1" | grep -q "$2"; }
get() { curl -s -o /dev/null --max-time "${2:-20}" "$web$1" || true; }
# One of each at a time: on one processor, requests side by side wait outside of the pages' clocks.
load() {
  get "/work?[1-20]"
  get "/items/[11-20]"
  get "/throws?[1-5]"
  get "/refuses?[1-3]"
  get "/later?[1-6]"
  get "/again?[1-4]"
  get "/passes?[1-5]"
  get /never 0.2
}
# agree: of "$work/clocks" and "$work/rows"
agree() {
  awk '
    FNR == NR { name = "shop" ($1 == "/items" ? "/items/{id}" : $1); count[name] = $2; total[name] = $3 / 1e6; longest[name] = $4 / 1e6; next }
    function near(a, b, what) { if (a < 0.95 * b - 2 || a > 1.05 * b + 4) { print $1 ": " what " " a ", and by its own clock " b; bad = 1 } }
    $1 in count {
      if ($2 != count[$1]) { print $1 ": " $2 " requests, and by its own count " count[$1]; bad = 1 }
      if (total[$1] > 50) { near($3, total[$1], "time"); near($4, longest[$1], "longest") }
      delete count[$1]
    }
    $1 == "shop/never" { print "a request that never ended is told"; bad = 1 }
    END { for (name in count) { print name ": no row"; bad = 1 } exit bad }' "$work/clocks" "$work/rows"
}
# act COMMAND
act() {
  curl -sf -H "Authorization: Bearer $(cat "$work/config/hub.token")" -H 'Content-Type: application/json' \
    -d "{\"node\":\"$node\",\"command\":\"$1\"}" "$hub/v1/actions" >/dev/null
}

mkdir -p "$work"/{tomcat,jetty}
cp "$sources/Pages.java" "$work/tomcat/"
sed 's/jakarta\./javax./' "$sources/Pages.java" >"$work/jetty/Pages.java"
for name in tomcat jetty; do
  if [ $name = tomcat ]; then start tomcat "$tomcat_jars" TomcatHost 50; else start jetty "$jetty_jars" JettyHost; fi
  eventually curl -sf -o /dev/null "$web/told"
  eventually told $name shop/told
  if [ $name = tomcat ]; then
    touch "$work/tomcat/redeploy"
    eventually grep -qx 'left of 50: 0' "$work/tomcat.log"
    told tomcat 'brief/later 50 ' || fail "requests of applications that came and went are not told"
  fi
  load # which loads classes
  sleep 2
  rows $name >/dev/null
  get /told
  load
  sleep 1
  curl -sf "$web/told" | sort >"$work/clocks"
  rows $name | sort >"$work/rows"
  paste -d'|' "$work/clocks" "$work/rows"
  agree || fail "$name's rows are not what its pages had"

  node=$(curl -sf "$hub/v1/nodes" | grep -o "\"${name}:[^\"]*\"" | head -1 | tr -d '"')
  act StopRequestMonitor
  get "/work?[1-5]"
  act StartRequestMonitor
  get "/work?[1-7]"
  eventually told $name 'shop/work 7 '
  kill "$server"
  wait "$server" || true
done
