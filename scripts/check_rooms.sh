#!/usr/bin/env bash
# Checks src/ against src/rooms.txt, and prints each breach:
#   - a room includes only rooms that it may know;
#   - setjmp, sleeps and readings of a clock stand in their one file;
#   - the table of rooms in docs/architecture.md is the one of src/rooms.txt.
# Usage: scripts/check_rooms.sh            the check
#        scripts/check_rooms.sh --table    prints the table for docs/architecture.md
set -euo pipefail
cd "$(dirname "$0")/.."

declare -A uses may
rooms=()
while IFS='|' read -r room used what; do
  read -r room <<<"$room"
  rooms+=("$room")
  uses[$room]=$used
  may[$room]=$room
  for lower in $used; do
    [ -n "${may[$lower]:-}" ] || { echo "src/rooms.txt: $room may include $lower, which does not stand above it"; exit 1; }
    for known in ${may[$lower]}; do
      case " ${may[$room]} " in *" $known "*) ;; *) may[$room]+=" $known" ;; esac
    done
  done
done < <(grep -E '^[a-z]' src/rooms.txt)

table() {
  echo '| Room | What is there | May include, with what those may |'
  echo '|---|---|---|'
  grep -E '^[a-z]' src/rooms.txt | while IFS='|' read -r room used what; do
    read -r room <<<"$room"
    read -r what <<<"$what"
    read -r used <<<"$used"
    echo "| \`$room/\` | $what | ${used:+\`${used// /\`, \`}\`} |"
  done
}
[ "${1:-}" = --table ] && { table; exit; }

status=0
breach() { echo "$1"; status=1; }

# The room of a path below src/, which is its folder.
for folder in $(find src -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.inc' -o -name '*.def' \) -printf '%P\n' | xargs -n1 dirname | sort -u); do
  room=$folder
  while [ -z "${may[$room]:-}" ] && [ "$room" != "${room%/*}" ]; do room=${room%/*}; done
  [ -n "${may[$room]:-}" ] || { breach "src/$folder: is no room of src/rooms.txt, nor in one"; continue; }
  while IFS=: read -r file line text; do
    included=$(sed -E 's/^ *# *include "([a-z_\/]+)\/.*/\1/' <<<"$text")
    while [ -z "${may[$included]:-}" ] && [ "$included" != "${included%/*}" ]; do included=${included%/*}; done
    case " ${may[$room]} " in
      *" $included "*) ;;
      *) breach "$file:$line: $room/ may not include $included/ (it may: ${may[$room]})" ;;
    esac
  done < <(grep -nHE '^ *# *include "[a-z_]+/' "src/$folder"/*.h "src/$folder"/*.cpp "src/$folder"/*.inc "src/$folder"/*.def 2>/dev/null)
done

# only FILE PATTERN WHAT: the pattern stands in that file alone.
only() {
  while IFS= read -r found; do
    breach "$found: $3 belongs in $1"
  done < <(grep -rnE "$2" src --include='*.h' --include='*.cpp' --include='*.inc' | grep -vE "^$1:|^[^:]+:[0-9]+: *//" | cut -d: -f1,2)
}
only src/platform/frames.cpp '\b(sig)?setjmp\b' 'setjmp'
only src/platform/clock.cpp '(sleep_for|sleep_until|usleep|nanosleep|clock_nanosleep|[^:]sleep)\(' 'a sleep'
only src/platform/clock.cpp '_clock::now|= *std::chrono::[a-z_]+_clock;|\btime\((nullptr|NULL|0)\)|\b(clock_gettime|gettimeofday)\(' 'a reading of a clock'

if ! diff <(table) <(sed -n '/^| Room |/,/^$/p' docs/architecture.md | sed '/^$/d') >/dev/null; then
  breach "docs/architecture.md: its table of rooms is not that of src/rooms.txt (scripts/check_rooms.sh --table)"
fi
exit $status
