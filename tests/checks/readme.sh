#!/bin/sh
# The README's examples are those in examples/, and the one in C prints what the README says.
#
#   readme.sh EXAMPLE OXEL
#
# EXAMPLE is the compiled example, OXEL the command, both as absolute paths.
set -eu
cd "$(dirname "$0")/../.."
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

scripts/code-blocks.sh c README.md | diff examples/render.c -
scripts/code-blocks.sh python README.md | diff examples/render.py -
scripts/code-blocks.sh text README.md >"$folder/expected"
"$2" package build tools/panels/six-colour.json -o "$folder/panel.lut"
"$1" "$folder/panel.lut" | diff "$folder/expected" -
