# Sourced by the scripts of this directory: a directory "$work" and a list of processes "pids", which end with the
# script, and words for its outcome.

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

# With the last words of all logs.
fail() {
  echo "FAILED: $*" >&2
  find "$work" -name '*.log' -type f -exec tail -n 20 {} + >&2
  exit 1
}

set -E
trap 'fail "line $LINENO: $BASH_COMMAND"' ERR
