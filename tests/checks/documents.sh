#!/bin/sh
# The documents' commands work, their C compiles, and their links lead somewhere.
#
#   documents.sh OXEL
set -eu
cd "$(dirname "$0")/../.."
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

cp examples/scene.svg tools/panels/six-colour.json "$folder"
scripts/code-blocks.sh json docs/measuring-a-panel.md >"$folder/my-panel.json"
for page in tool measuring-a-panel; do
    scripts/code-blocks.sh sh "docs/$page.md"
done >"$folder/commands"
(PATH=$(dirname "$1"):$PATH && cd "$folder" && sh -eu commands)

dump=$(scripts/code-blocks.sh text docs/package-format.md | cut -c 11-49 | tr -d ' \n')
[ "$dump" = "$(od -An -v -tx1 -N64 "$folder/panel.lut" | tr -d ' \n')" ]
crc=$("$1" package info "$folder/panel.lut" | sed -n 's/^CRC-32 *\(.*\), computed.*/\1/p')
grep -q "CRC-32 0x$crc" docs/package-format.md

# The page's table of formats is the command's.
"$1" help render | sed -n '/--frame says how/,/^$/ s/^  \([a-z0-9]*\)  */\1 /p' >"$folder/formats"
# shellcheck disable=SC2016 # backticks of Markdown
sed -n 's/^| `\([a-z0-9]*\)` | [^|]* | \(.*\) |$/\1 \2/p' docs/tool.md | diff "$folder/formats" -

scripts/code-blocks.sh c docs/host.md >"$folder/host.c"
${CC:-cc} -std=c99 -Wall -Wextra -Werror -Iinclude -fsyntax-only "$folder/host.c"
for page in ./*.md docs/*.md docs/*/*.md; do
    grep -o '](\(\.\./\)*[A-Za-z][A-Za-z0-9_./-]*' "$page" | sed 's/.*(//' |
        while read -r link; do
            case $link in http*) ;; *) ls "${page%/*}/$link" >/dev/null ;; esac
        done
done
