#!/usr/bin/env bash
# The Debian package in a throw-away copy of this host, with a network of its own: its units are sound, the agent runs
# as the unit has it, members of its group may act, a tomcat10 of another user is restarted by way of the helper's
# socket, and nothing is left when it has been purged. systemd is not there to start the units; what they say of user,
# environment and socket is taken from them.
# Usage: package_test.sh BUILD_DIRECTORY.  Status 77: skipped.
set -euo pipefail

build=$(cd "$1" && pwd)
source "$(dirname "$0")/scratch.sh"

# --- In the copy.

# of UNIT KEY: the values that the unit has
of() { sed -n "s/^$2=//p" "/lib/systemd/system/$1"; }
# as USER COMMAND...
as() { setpriv --reuid "$1" --regid "$(id -g "$1")" --init-groups --no-new-privs "${@:2}"; }
# Of the names in it: a manual page that was looked at is cached.
named() {
  find /etc /run /usr /var \( -path /var/cache -o -path /var/lib/dpkg -o -path "$work" \) -prune -o -name '*zov*' -print
}
leftovers() { named | grep -vxFf "$work/before" || true; }
hub=http://127.0.0.1:63390
# status NUMBER: that of the server
status() { curl -sf $hub/v1/tables/ZOVAPSST/rows | grep -q "\"server_nam\":\"shop\".*\"status\":$1"; }
# sessions NUMBER: so many have begun
sessions() { [ "$(grep -c ZOVA0012I "$work/agent.log")" -eq "$1" ]; }
# act USER COMMAND: with the token that zovctl finds where the package keeps it
act() { as "$1" zovctl act "shop:$(uname -n):ZOVS" "$2" >"$work/answer" 2>&1; }

startAgent() {
  local environment
  mapfile -t environment < <(of zovagent.service Environment)
  (umask "$(of zovagent.service UMask)" && cd / &&
    exec env -i PATH="$PATH" "${environment[@]}" ZOV_START_DELAY=0 \
      setpriv --reuid "$(of zovagent.service User)" --regid "$(of zovagent.service Group)" --init-groups \
      --no-new-privs --bounding-set=-all "$(of zovagent.service ExecStart)") >"$work/agent.log" 2>&1 &
  agent=$!
  eventually grep -q 'HTTP is served' "$work/agent.log"
}

startHelper() {
  local socket
  socket=$(of zovagent-scripts.socket ListenSequentialPacket)
  # shellcheck disable=SC2046
  systemd-socket-activate --accept --inetd --seqpacket -l "$socket" \
    $(of zovagent-scripts@.service ExecStart) 2>"$work/helper.log" &
  helper=$!
  eventually test -S "$socket"
  chown "$(of zovagent-scripts.socket SocketUser)" "$socket"
  chmod "$(of zovagent-scripts.socket SocketMode)" "$socket"
}

# A base of the packaged tomcat10 in /srv/shop that belongs to the user tomcat.
makeServer() {
  local base=/srv/shop
  mkdir -p $base/{bin,conf,logs,temp,webapps,work}
  cp /usr/share/tomcat10/etc/{web.xml,catalina.properties} $base/conf
  cat >$base/conf/server.xml <<'XML'
<Server port="-1"><Service name="Catalina"><Connector port="8099" address="127.0.0.1"/>
  <Engine name="Catalina" defaultHost="localhost"><Host name="localhost" appBase="webapps"/></Engine></Service></Server>
XML
  for verb in start stop; do
    cat >$base/bin/${verb}Server.sh <<SCRIPT
#!/bin/sh
id -un >>$base/logs/$verb
export CATALINA_BASE=$base CATALINA_HOME=/usr/share/tomcat10 CATALINA_PID=$base/temp/pid
export CATALINA_OPTS="-javaagent:/usr/share/java/zov-collector.jar=name=shop,root=$base"
exec \$CATALINA_HOME/bin/catalina.sh $verb $([ $verb = start ] || echo -force)
SCRIPT
  done
  chmod 755 $base/bin/*
  chown -R tomcat: $base
}

inside() {
  named >"$work/before"
  ip link set lo up
  dpkg -i "$work"/zovagent_*.deb
  id -nG zovagent | grep -qw adm || fail "the agent's user is not in adm"
  for unit in zovagent.service zovagent-scripts.socket zovagent-scripts@.service; do
    SYSTEMD_LOG_LEVEL=warning systemd-analyze verify "/lib/systemd/system/$unit" 2>"$work/verified" ||
      fail "$(cat "$work/verified")"
  done
  [ -L /etc/systemd/system/multi-user.target.wants/zovagent.service ] || fail "the unit is not enabled"

  as nobody zovctl check
  startAgent
  [ "$(stat -c '%U:%G %a' /var/lib/zovagent /var/lib/zovagent/hub.token | xargs)" = \
    "zovagent:zovagent 750 zovagent:zovagent 640" ] || fail "$(stat -c '%n %U:%G %a' /var/lib/zovagent/*)"
  sed -i 's/^# ZOV_REQ_SAMPLE_RATE = 2/ZOV_REQ_SAMPLE_RATE = 5/' /etc/zovagent/zovagent.cfg
  kill -HUP $agent
  eventually grep -q 'ZOVA0193I.* 1 changes count' "$work/agent.log"

  useradd member -G zovagent
  useradd stranger
  makeServer
  as tomcat /srv/shop/bin/startServer.sh >/dev/null
  eventually status 1
  ! act stranger StopAppSvr || fail "a stranger may act: $(cat "$work/answer")"
  startHelper
  chmod o+w /srv/shop/bin/stopServer.sh
  act member StopAppSvr || fail "a member may not act: $(cat "$work/answer")"
  eventually grep -q 'ZOVA0072E.*stopServer.sh.*can be written by others' "$work/agent.log"
  chmod o-w /srv/shop/bin/stopServer.sh
  act member CycleAppSvr || fail "$(cat "$work/answer")"
  eventually grep -q 'ZOVA0071I.*startServer.sh' "$work/agent.log"
  eventually sessions 2
  [ "$(xargs </srv/shop/logs/stop) $(xargs </srv/shop/logs/start)" = "tomcat tomcat tomcat" ] ||
    fail "the scripts did not run as their server's owner"
  kill $agent
  wait $agent
  kill "$(cat /srv/shop/temp/pid)" $helper

  rm -r /srv/shop "$(of zovagent-scripts.socket ListenSequentialPacket)"
  dpkg -r zovagent
  [ -e /etc/zovagent/zovagent.cfg ] || fail "a removal takes the configuration"
  gpasswd -d member zovagent >/dev/null
  dpkg -P zovagent
  ! getent passwd zovagent && ! getent group zovagent || fail "the user is left"
  [ -z "$(leftovers)" ] || fail "left behind: $(leftovers)"
  echo "installed, used and purged"
}

# --- Here.

if [ "${2:-}" = inside ]; then
  rm -rf "$work"
  work=/run/package_test
  inside
  exit 0
fi

[ "$(id -u)" -eq 0 ] || skip "only root can install a package"
for tool in lintian systemd-analyze systemd-socket-activate ip; do
  command -v $tool >/dev/null || skip "no $tool here; scripts/install.sh package installs it"
done
[ -x /usr/share/tomcat10/bin/catalina.sh ] || skip "no tomcat10 here; scripts/install.sh servers installs it"
[ -e "$build/collector/zov-collector.jar" ] || skip "the collector was not built (it needs default-jdk-headless)"
! getent passwd zovagent >/dev/null || skip "the package is installed on this host"

(cd "$build" && cpack -G DEB -B "$work" >/dev/null 2>&1 && rm -r "$work/_CPack_Packages")
if lintian --allow-root "$work"/*.deb | grep '^E:'; then fail "lintian finds errors"; fi
systemd-analyze security --offline=true --threshold=20 --no-pager \
  "$(dirname "$0")/../../packaging/zovagent.service" >"$work/security" || fail "$(tail -1 "$work/security")"
tail -1 "$work/security"

unshare --mount --net --pid --fork --kill-child bash -euc '
  mkdir "$1/copy" && mount -t tmpfs tmpfs "$1/copy" && mkdir "$1"/copy/{upper,work,root}
  mount -t overlay overlay -o "lowerdir=/,upperdir=$1/copy/upper,workdir=$1/copy/work" "$1/copy/root"
  mount -t proc proc "$1/copy/root/proc"
  mount --rbind /dev "$1/copy/root/dev"
  mkdir -p "$1/copy/root/run/package_test/tests"
  cp "$1"/*.deb "$1/copy/root/run/package_test"
  cp "$2"/*.sh "$1/copy/root/run/package_test/tests"
  exec chroot "$1/copy/root" /run/package_test/tests/package_test.sh / inside
' - "$work" "$(dirname "$0")"
