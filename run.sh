#!/usr/bin/env bash
# Builds and starts; installs what is missing (as root).
#   ./run.sh          the agent and an example Tomcat with the collector inside it, with zovctl top
#   ./run.sh --once   the same, until the rows are there; prints them and ends
#   ./run.sh agent    the agent alone
set -euo pipefail
cd "$(dirname "$0")"
build=build/release

# build TARGET...
build() {
  [ -e "$build/bin/zovagent" ] || echo "Building (the first time takes some minutes) ..." >&2
  cmake --preset release >/dev/null
  cmake --build --preset release --target "$@"
}

case "${1:-}" in
  "" | --once)
    scripts/install.sh build demo
    build zovagent zovctl zov-collector zov-demo
    exec scripts/demo.sh "$build" "$@"
    ;;
  agent)
    scripts/install.sh build
    build zovagent zovctl
    export ZOV_CONFIG_DIR=${ZOV_CONFIG_DIR:-$PWD/build/agent}
    mkdir -p "$ZOV_CONFIG_DIR"
    echo "Configuration is in $ZOV_CONFIG_DIR. Look at the agent with $build/bin/zovctl top" >&2
    echo "Actions need the token in $ZOV_CONFIG_DIR/hub.token, which zovctl finds" >&2
    exec "$build/bin/zovagent"
    ;;
  *)
    sed -n '2,5s/^# *//p' "$0" >&2
    exit 2
    ;;
esac
