#!/usr/bin/env bash
# Debian's tomcat10, started by its own scripts with the line of docs/collector.md: its requests come out as a row,
# all of them, a reload in between, and each as the access log has it.
# Usage: tomcat_test.sh BUILD_DIRECTORY.  Status 77: skipped.
set -euo pipefail

build=$(cd "$1" && pwd)
home=/usr/share/tomcat10
jar=$build/collector/zov-collector.jar
source "$(dirname "$0")/scratch.sh"
[ -e "$jar" ] || skip "the collector was not built (it needs default-jdk-headless)"
[ -x $home/bin/catalina.sh ] || skip "no tomcat10 here; scripts/install.sh servers installs it"

# eventually COMMAND...: within 60 seconds
eventually() {
  for _ in {1..300}; do
    "$@" && return
    sleep 0.2
  done
  fail "has not come about: $*"
}

port=$((20000 + RANDOM % 4000))
hub=http://127.0.0.1:$((port + 4000))
web=http://127.0.0.1:$((port + 8000))
base=$work/base
mkdir -p "$base"/{conf,logs,temp,work} "$base/webapps/shop/WEB-INF" "$work/config"
cat >"$base/conf/server.xml" <<EOF
<Server port="-1">
  <Service name="Catalina">
    <Connector port="${web##*:}" address="127.0.0.1"/>
    <Engine name="Catalina" defaultHost="localhost" backgroundProcessorDelay="1">
      <Host name="localhost" appBase="webapps">
        <Valve className="org.apache.catalina.valves.AccessLogValve" pattern="%U %s" buffered="false"/>
      </Host>
    </Engine>
  </Service>
</Server>
EOF
cp $home/etc/{web.xml,catalina.properties} "$base/conf/"
echo '<Context><WatchedResource>WEB-INF/web.xml</WatchedResource></Context>' >"$base/conf/context.xml"
echo '<% Thread.sleep(5); %>a page' >"$base/webapps/shop/page.jsp"
echo '<web-app xmlns="https://jakarta.ee/xml/ns/jakartaee" version="6.0"/>' >"$base/webapps/shop/WEB-INF/web.xml"
touch -d '1 hour ago' "$base/webapps/shop/WEB-INF/web.xml"
host=$(uname -n)
cat >"$work/config/${host%%.*}_ov.cfg" <<EOF
[Basic_Config]
ZOV_REQ_SAMPLEMETHOD = ONDEMAND

[Advanced_Agent_Config]
ZOV_PORT = $port

[Advanced_J2EE_Config]
ZOV_REQ_ONDEMAND_MAXSAMPLEAGE = 1
EOF

ZOV_CONFIG_DIR="$work/config" ZOV_START_DELAY=0 ZOV_LOCAL_ADDRESS=127.0.0.1 ZOV_HUB_ADDRESS=${hub#http://} \
  "$build/bin/zovagent" >"$work/agent.log" 2>&1 &
pids+=($!)
export CATALINA_HOME=$home CATALINA_BASE=$base CATALINA_TMPDIR=$base/temp
JAVA_OPTS="\"-javaagent:$jar=agent=127.0.0.1:$port,name=my shop,root=$base\"" \
  $home/bin/catalina.sh run >"$work/tomcat.log" 2>&1 &
pids+=($!)

# rows TABLE [PATTERN]: its rows that match, a line each
rows() { curl -sf "$hub/v1/tables/$1/rows" | grep -o '{"originnode[^}]*}' | grep -E "${2:-.}"; }
asked() { rows ZOVREQUEST '"req_name":"shop"' >"$work/row"; }
served() { curl -sf -o /dev/null "$web/shop/page.jsp?[1-$1]"; }
# At once, the sample from before may still be young enough to be the answer.
counted() { asked && grep -q "\"c7\":$1," "$work/row"; }
reloaded() { grep -q 'Reloading Context.*is completed' "$work/tomcat.log" "$base"/logs/* 2>/dev/null; }

eventually served 1
eventually asked
eventually rows ZOVAPSRV '"server_nam":"my shop".*"status":1,"tsl_vers":"10\.' >"$work/server"
grep -qx "zov-collector: its log is $base/logs/zov-collector.log" "$work/tomcat.log" || fail "where the log is"

accesses=$(wc -l <"$base"/logs/access_log.*)
served 30
touch -d '10 seconds ago' "$base/webapps/shop/WEB-INF/web.xml"
eventually reloaded
served 12
eventually counted 42
cat "$work/server" "$work/row"
[ $(($(wc -l <"$base"/logs/access_log.*) - accesses)) -eq 42 ] || fail "the access log has another count"
grep -Eq '"c10":[1-9]' "$work/row" || fail "a request of 5 ms and more has no mean time"
