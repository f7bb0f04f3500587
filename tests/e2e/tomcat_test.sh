#!/usr/bin/env bash
# Debian's tomcat10, started by its own scripts with the line of docs/collector.md: its requests come out as a row,
# all of them, a reload in between, and each as the access log has it; and what it counts itself is in the tables as
# its own MBeans have it, by way of a statistics JVM that comes back when it is killed and goes with its server.
# Usage: tomcat_test.sh BUILD_DIRECTORY.  Status 77: skipped.
set -euo pipefail

build=$(cd "$1" && pwd)
home=/usr/share/tomcat10
jar=$build/collector/zov-collector.jar
source "$(dirname "$0")/scratch.sh"
[ -e "$jar" ] || skip "the collector was not built (it needs default-jdk-headless)"
for jar_of in hsqldb ehcache-core slf4j-api slf4j-nop; do
  [ -e /usr/share/java/$jar_of.jar ] || skip "no $jar_of.jar here; scripts/install.sh servers installs it"
done
[ -x $home/bin/catalina.sh ] || skip "no tomcat10 here; scripts/install.sh servers installs it"

port=$((20000 + RANDOM % 4000))
hub=http://127.0.0.1:$((port + 4000))
web=http://127.0.0.1:$((port + 8000))
look=http://127.0.0.1:$((port + 12000)) # with threads of its own
base=$work/base
mkdir -p "$base"/{conf,lib,logs,temp,work} "$base"/webapps/{shop/WEB-INF,look} "$work/config"
cat >"$base/conf/server.xml" <<EOF
<Server port="-1">
  <Service name="Catalina">
    <Executor name="workers" minSpareThreads="2" maxThreads="9"/>
    <Connector port="${web##*:}" address="127.0.0.1" executor="workers"/>
    <Connector port="${look##*:}" address="127.0.0.1"/>
    <Engine name="Catalina" defaultHost="localhost" backgroundProcessorDelay="1">
      <Host name="localhost" appBase="webapps">
        <Valve className="org.apache.catalina.valves.AccessLogValve" pattern="%U %s" buffered="false"/>
      </Host>
    </Engine>
  </Service>
</Server>
EOF
cp $home/etc/{web.xml,catalina.properties,logging.properties} "$base/conf/"
ln -s /usr/share/java/{hsqldb,ehcache-core,slf4j-api,slf4j-nop}.jar "$base/lib/"
pool='auth="Container" type="javax.sql.DataSource" driverClassName="org.hsqldb.jdbc.JDBCDriver" username="SA" password=""'
cat >"$base/conf/context.xml" <<EOF
<Context>
  <WatchedResource>WEB-INF/web.xml</WatchedResource>
  <Resource name="jdbc/one" url="jdbc:hsqldb:mem:one" maxTotal="8" $pool/>
  <Resource name="jdbc/two" url="jdbc:hsqldb:mem:two" maxActive="4" $pool
            factory="org.apache.tomcat.jdbc.pool.DataSourceFactory"/>
</Context>
EOF
echo '<% Thread.sleep(5); %>a page' >"$base/webapps/shop/page.jsp"
echo '<%@ page session="false" %><% if (true) throw new RuntimeException(); %>' >"$base/webapps/shop/broken.jsp"
cat >"$base/webapps/shop/slow.jsp" <<'EOF'
<%@ page session="false" import="java.sql.Connection,javax.sql.DataSource" %><%
javax.naming.Context names = (javax.naming.Context) new javax.naming.InitialContext().lookup("java:comp/env/jdbc");
try (Connection one = ((DataSource) names.lookup("one")).getConnection();
     Connection two = ((DataSource) names.lookup("two")).getConnection()) { Thread.sleep(8000); } %>
EOF
cat >"$base/webapps/shop/cache.jsp" <<'EOF'
<%@ page session="false" import="net.sf.ehcache.*,net.sf.ehcache.config.*" %><%
CacheManager manager = CacheManager.create(new Configuration().updateCheck(false));
if (!manager.cacheExists("items")) {
  manager.addCache(new Cache(new CacheConfiguration("items", 50).statistics(true)));
  net.sf.ehcache.management.ManagementService.registerMBeans(
      manager, java.lang.management.ManagementFactory.getPlatformMBeanServer(), false, false, true, true);
}
Cache items = manager.getCache("items");
items.put(new Element("a", 1));
items.get("a");
items.get("b"); %>
EOF
cat >"$base/webapps/look/mbean.jsp" <<'EOF'
<%@ page session="false" trimDirectiveWhitespaces="true" import="javax.management.*" %><%
MBeanServer server = java.lang.management.ManagementFactory.getPlatformMBeanServer();
ObjectName name = server.queryNames(new ObjectName(request.getParameter("name")), null).iterator().next();
out.print(server.getAttribute(name, request.getParameter("attribute"))); %>
EOF
echo '<web-app xmlns="https://jakarta.ee/xml/ns/jakartaee" version="6.0"/>' >"$base/webapps/shop/WEB-INF/web.xml"
touch -d '1 hour ago' "$base/webapps/shop/WEB-INF/web.xml"
host=$(uname -n)
cat >"$work/config/${host%%.*}_ov.cfg" <<EOF
[Basic_Config]
ZOV_REQ_SAMPLEMETHOD = ONDEMAND
ZOV_RESOURCE_SAMPLEMETHOD = ONDEMAND

[Advanced_Agent_Config]
ZOV_PORT = $port

[Advanced_J2EE_Config]
ZOV_REQ_ONDEMAND_MAXSAMPLEAGE = 1
ZOV_RESOURCE_ONDEMAND_MAXSAMPLEAGE = 1
ZOV_APPSRVR_LOGSCANINTERVAL = 1
ZOV_LOG_FORMAT = TOMCAT
EOF

ZOV_CONFIG_DIR="$work/config" ZOV_START_DELAY=0 ZOV_LOCAL_ADDRESS=127.0.0.1 ZOV_HUB_ADDRESS=${hub#http://} \
  "$build/bin/zovagent" >"$work/agent.log" 2>&1 &
pids+=($!)
export CATALINA_HOME=$home CATALINA_BASE=$base CATALINA_TMPDIR=$base/temp
JAVA_OPTS="\"-javaagent:$jar=agent=127.0.0.1:$port,name=my shop,root=$base\"" \
  $home/bin/catalina.sh run >"$work/tomcat.log" 2>&1 &
tomcat=$!
pids+=("$tomcat")

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
eventually rows ZOVLOGANAL '"component":"[^"]*StandardContext.reload".*"severity":1,.*"err_msg":"Reloading Context' >/dev/null
cat "$work/server" "$work/row"
[ $(($(wc -l <"$base"/logs/access_log.*) - accesses)) -eq 42 ] || fail "the access log has another count"
grep -Eq '"c10":[1-9]' "$work/row" || fail "a request of 5 ms and more has no mean time"

# --- What the server counts itself.

# figure TABLE NAME COLUMN: of the row with that name
figure() { rows "$1" "\"$2\"" | grep -o "\"$3\":[-0-9]*" | cut -d: -f2; }
# mbean NAME ATTRIBUTE: as another reader of the server's MBeans sees it, and with no thread or session of its own
mbean() { curl -sfG "$look/look/mbean.jsp" --data-urlencode "name=$1" --data-urlencode "attribute=$2"; }
# agree WHAT ROW MBEAN
agree() {
  echo "$1: $2 in the row, $3 in the MBean"
  [ "$2" = "$3" ] && [ "$2" -gt 0 ] || fail "$1: $2 in the row, $3 in the MBean"
}
cache='net.sf.ehcache:type=CacheStatistics,*'
module='*:j2eeType=WebModule,name=//localhost/shop,*' manager='*:type=Manager,context=/shop,*'
of='host=localhost,context=/shop'
one="Catalina:type=DataSource,$of,class=javax.sql.DataSource,name=\"jdbc/one\",connectionpool=connections"
two="tomcat.jdbc:type=ConnectionPool,engine=Catalina,$of,class=org.apache.tomcat.jdbc.pool.DataSource,name=\"jdbc/two\""
collected() { [ "$(figure ZOVAPP shop num_req)" -ge 0 ]; } 2>/dev/null

curl -sf -o /dev/null "$web/shop/cache.jsp"
eventually collected
sleep 2
# The first reading of a kind loads classes, for which its time may be too short.
for table in ZOVAPP ZOVSERVS ZOVCACHT; do eventually rows $table >/dev/null; done
slow=()
before=("$(mbean "$module" requestCount)" "$(mbean "$module" errorCount)" "$(mbean "$manager" sessionCounter)"
  "$(mbean "$cache" CacheMisses)")
served 20
curl -sf -o /dev/null "$web/shop/cache.jsp?[1-6]"
for _ in {1..3}; do curl -s -o /dev/null "$web/shop/broken.jsp"; done
for _ in {1..4}; do
  curl -s -o /dev/null "$web/shop/slow.jsp" &
  slow+=($!)
done
sleep 2
for table in ZOVTHRDP ZOVDBCONP; do rows $table >/dev/null; done # loads are means since the reading before
sleep 2
rows ZOVTHRDP >"$work/threads"
rows ZOVDBCONP >"$work/pools"
row() { grep "\"$2\"" "$work/$1" | grep -o "\"$3\":[-0-9]*" | cut -d: -f2; }
agree "busy threads" "$(row threads workers num_actthr)" "$(($(mbean '*:type=Executor,name=workers' activeCount) * 1000))"
[ "$(grep -c http-nio "$work/threads")" -eq 1 ] || fail "the connector beside its executor"
agree "most threads" "$(row threads workers max_size)" "$(mbean '*:type=Executor,name=workers' maxThreads)"
agree "connections in use, of 8" "$(row pools shop:jdbc/one pct_used)" "$(($(mbean "$one" NumActive) * 100 / 8 * 1000))"
agree "connections in use, of 4" "$(row pools shop:jdbc/two pct_max)" "$(($(mbean "$two" Active) * 25000))"
agree "most connections" "$(row pools shop:jdbc/two max_size)" "$(mbean "$two" MaxActive)"
wait "${slow[@]}"
rows ZOVAPP >"$work/applications"
rows ZOVSERVS >"$work/sessions"
rows ZOVCACHT >"$work/caches"
agree "requests" "$(row applications shop num_req)" "$(($(mbean "$module" requestCount) - before[0]))"
agree "errors" "$(row applications shop num_errors)" "$(($(mbean "$module" errorCount) - before[1]))"
agree "new sessions" "$(row sessions shop num_screat)" "$(($(mbean "$manager" sessionCounter) - before[2]))"
agree "misses of a cache" "$(row caches items num_misses)" "$(($(mbean "$cache" CacheMisses) - before[3]))"
agree "entries of all caches" "$(figure ZOVCACHE my.shop cache_size)" "$(mbean "$cache" MemoryStoreObjectCount)"
agree "sessions" "$(row sessions shop avg_livses)" "$(($(mbean "$manager" activeSessions) * 1000))"

# --- The statistics JVM.

child() { pgrep -P "$tomcat" -f StatisticsMain; }
gone() { ! kill -0 "$1" 2>/dev/null; }
# listening PID: whether one of its sockets does
listening() {
  local inodes
  inodes=$(find "/proc/$1/fd" -printf '%l\n' | sed -n 's/^socket:\[\(.*\)\]$/\1/p')
  awk '$4 == "0A" { print $10 }' /proc/net/tcp /proc/net/tcp6 | grep -qxF "$inodes"
}
first=$(child)
listening "$tomcat" || fail "a listening socket is not seen as one"
! listening "$first" || fail "the statistics JVM listens"
resident=$(awk '/VmHWM/ { print $2 }' "/proc/$first/status")
echo "statistics JVM: $resident KiB, $(ps -o time= "$first") of processor time in $(ps -o etime= "$first")"
[ "$resident" -lt 65536 ] || fail "the statistics JVM takes $resident KiB"
kill -KILL "$first"
eventually gone "$first"
sleep 2
rows ZOVAPP >/dev/null || true # by which the agent notices
eventually child >"$work/second"
second=$(cat "$work/second")
served 7
seven() { [ "$(figure ZOVAPP shop num_req)" -eq 7 ]; } 2>/dev/null
eventually seven
kill -KILL "$tomcat"
eventually gone "$second"
