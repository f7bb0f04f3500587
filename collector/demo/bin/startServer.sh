#!/usr/bin/env bash
# Starts the example server of the directory above, and returns once it answers.  Usage: startServer.sh NAME
# What it is started with stands in server.conf of that directory: java, port and arguments.
set -euo pipefail

cd "$(dirname "$0")/.."
source ./server.conf
if pid=$(cat server.pid 2>/dev/null) && kill -0 "$pid" 2>/dev/null; then
  echo "$1 runs already, as process $pid" >&2
  exit 1
fi
"$java" "${arguments[@]}" </dev/null >>"$log" 2>&1 &
echo $! >server.pid
for _ in {1..600}; do
  (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && exit
  kill -0 $! 2>/dev/null || break
  sleep 0.1
done
echo "$1 has not opened its port $port; its log is $log" >&2
exit 1
