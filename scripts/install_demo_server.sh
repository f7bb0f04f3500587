#!/usr/bin/env bash
# Lays out the directory of an example server, with the scripts that start and stop it in its bin/.
# Usage: scripts/install_demo_server.sh BUILD_DIRECTORY ROOT NAME COLLECTOR_PORT HTTP_PORT LOG_DIRECTORY
set -euo pipefail

build=$1 root=$2 name=$3 collector_port=$4 http_port=$5 logs=$6
umask 022 # the agent runs no script that others can write
mkdir -p "$root"
cp -R "$(dirname "$0")/../collector/demo/bin" "$root/bin"
chmod -R go-w "$root/bin"
options="agent=127.0.0.1:$collector_port,name=$name,root=$root,log=$logs/collector.log"
{
  printf 'java=%q port=%q log=%q\n' "$(command -v java)" "$http_port" "$logs/$name.log"
  printf 'arguments=('
  printf '%q ' "-javaagent:$build/collector/zov-collector.jar=$options" "@$build/collector/demo.classpath" \
    zov.demo.Shop "$http_port" "$root"
  printf ')\n'
} >"$root/server.conf"
