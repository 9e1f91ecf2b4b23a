#!/bin/sh
# Sources include other rooms only as docs/architecture.md says, which says no more than they do and
# lists a room below all that it includes.
set -eu
cd "$(dirname "$0")/../.."
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

scripts/code-blocks.sh rooms docs/architecture.md >"$folder/rooms"
room_of() { # PATH
    case $1 in
    tools/*/*) room=${1#tools/} ;;
    *) room=$1 ;;
    esac
    room=${room%%/*}
}
grep -ErHo --include='*.h' --include='*.c' --include='*.cpp' '^ *# *include ("[^"]*|<Oxel[^>]*)' \
    bench examples fuzz include python src tests tools web/native | sed 's/:.*["<]/ /' >"$folder/includes"
while read -r file header; do
    found=
    for base in "${file%/*}" tools src include tests/library; do
        for path in "$base/$header" "$base/command/$header.in" "$base/panels/$header.in"; do
            [ -n "$found" ] || [ ! -e "$path" ] || found=$(realpath --relative-to=. "$path")
        done
    done
    room_of "$file" && from=$room
    room_of "${found:-nowhere}"
    [ "$from" = "$room" ] || echo "$from $room $file"
done <"$folder/includes" >"$folder/arrows"

tr -d : <"$folder/rooms" | awk -v includes="$folder/arrows" '
    function fault(text) { print text; faults = 1 }
    { listed[$1] = 1
      for (i = 2; i <= NF; ++i) {
          if (!($i in listed)) fault($1 " stands above " $i ", which it includes")
          allowed[$1 " " $i] = 1 } }
    END {
        while ((getline line < includes) > 0) {
            split(line, word, " ")
            arrow = word[1] " " word[2]
            if (!(arrow in allowed)) fault(word[3] " must not include " word[2])
            used[arrow] = 1 }
        for (arrow in allowed)
            if (!(arrow in used)) fault("no longer needed: " arrow)
        if (!NR) fault("docs/architecture.md lists no rooms")
        exit faults }'
