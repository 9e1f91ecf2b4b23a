#!/bin/sh
# Draws the dashboard for a panel, by headless Chromium and oxel:
#
#   dashboard.sh FRAME PANEL WIDTHxHEIGHT [OPTION ...]
#
# The options are those of oxel render. OXEL and CHROMIUM name other programs than oxel and chromium,
# PAGE another page than the one beside this script.
# shellcheck disable=SC2046 # no word is wanted where there is nothing to say
set -eu
frame=$1 panel=$2 size=$3
shift 3
page=${PAGE:-file://$(dirname "$(readlink -f "$0")")/dashboard.html}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# The page reads its data from a file; half a minute of its own time passes at once. Chromium draws
# web pages of strangers in a sandbox, which root has none of and this page needs none for.
"${CHROMIUM:-chromium}" --headless --disable-gpu --hide-scrollbars --allow-file-access-from-files \
    $([ "$(id -u)" -ne 0 ] || echo --no-sandbox) --user-data-dir="$folder/profile" \
    --virtual-time-budget=30000 --window-size="$(echo "$size" | tr x ,)" \
    --screenshot="$folder/page.png" "$page" >"$folder/log" 2>&1 || { cat "$folder/log" >&2 && exit 1; }
"${OXEL:-oxel}" render "$folder/page.png" --panel "$panel" --size "$size" -o "$frame" "$@"
