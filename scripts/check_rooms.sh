#!/usr/bin/env bash
# Checks that no room of src/ includes one that it may not know (docs/architecture.md). Prints each breach.
set -euo pipefail
cd "$(dirname "$0")/.."

declare -A may=(
  [platform]="platform"
  [framework]="framework platform"
  [hub]="hub framework platform"
  [runtime]="runtime platform"
)
below="runtime platform"
for room in diag transport samples collectors; do
  below="$room $below"
  may[$room]=$below
done
may[config]="config server $below"
may[server]="server config $below"
may[remote]="remote ${may[server]}"
may[agent]="agent framework ${may[remote]}"

status=0
for folder in src/*/; do
  room=$(basename "$folder")
  while IFS=: read -r file line text; do
    included=$(sed -E 's/^#include "([a-z]+)\/.*/\1/' <<<"$text")
    case " ${may[$room]} " in
      *" $included "*) ;;
      *) echo "$file:$line: $room/ may not include $included/ (it may: ${may[$room]})"; status=1 ;;
    esac
  done < <(grep -rnE '^#include "[a-z]+/' "$folder" --include='*.h' --include='*.cpp' --include='*.inc')
done
exit $status
