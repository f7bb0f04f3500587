#!/usr/bin/env bash
# The demo without a terminal: an example Tomcat's pages and the server itself come out as rows, and nothing
# stays behind.  Usage: demo_test.sh BUILD_DIRECTORY.  Status 77: skipped.
set -euo pipefail

build=$1
for part in collector/zov-collector.jar collector/zov-demo.jar collector/demo.classpath; do
  if [ ! -e "$build/$part" ]; then
    echo "SKIPPED: $part was not built (it needs default-jdk-headless, libtomcat10-java and libhsqldb-java)"
    exit 77
  fi
done

export TMPDIR
TMPDIR=$(mktemp -d)
trap 'rm -rf "$TMPDIR"' EXIT
fail() {
  echo "FAILED: $*"
  exit 1
}

"$(dirname "$0")/../../scripts/demo.sh" "$build" --once >"$TMPDIR/table" || fail "the rows have not come"
cat "$TMPDIR/table"

server='^ shop +connected +[1-9][0-9]* +10\.[^ ]* +[0-9.]+ +[1-9][0-9]*/[1-9][0-9]* +[1-9]'
page='^ %s +[1-9][0-9]* +[0-9.]+ +[0-9]+ +([0-9]+|-) +[0-9]+'
grep -Eq "$server" "$TMPDIR/table" || fail "no row of ZOVAPSRV"
for name in 'shop +order' 'shop +catalog' 'stock +level'; do
  # shellcheck disable=SC2059
  grep -Eq "$(printf "$page" "$name")" "$TMPDIR/table" || fail "no row of ZOVREQUEST for $name"
done

awk 'length > 80 { exit 1 }' "$TMPDIR/table" || fail "the table is wider than 80 columns"

rm "$TMPDIR/table"
[ -z "$(ls -A "$TMPDIR")" ] || fail "left behind: $(ls -A "$TMPDIR")"
! pgrep -f -- "$TMPDIR" >/dev/null || fail "still running: $(pgrep -fa -- "$TMPDIR")"
