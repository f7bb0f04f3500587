# Sourced by the scripts of this directory: a directory "$work" and a list of processes "pids", which end with the
# script, words for its outcome, and a wait.

work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill -TERM "$pid" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT

skip() {
  echo "SKIPPED: $*"
  exit 77
}

# built PART...: skips where the collector's or the demo's were not
built() {
  for part in "$@"; do
    [ -e "$build/collector/$part" ] || skip "$part was not built; scripts/install.sh demo installs what it needs"
  done
}

# With the last words of all logs.
fail() {
  echo "FAILED: $*" >&2
  find "$work" -name '*.log' -type f -exec tail -n 20 {} + >&2
  exit 1
}

# eventually COMMAND...: within 90 seconds
eventually() {
  for _ in {1..900}; do
    "$@" && return
    sleep 0.1
  done
  fail "has not come about: $*"
}

set -E
trap 'fail "line $LINENO: $BASH_COMMAND"' ERR
