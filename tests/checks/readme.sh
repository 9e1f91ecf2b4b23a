#!/bin/sh
# The README's examples are those in examples/; the one in C prints what the README says, the one in
# Python runs in a clone.
#
#   readme.sh EXAMPLE OXEL [PYTHON]
#
# EXAMPLE is the compiled example, OXEL the command, both as absolute paths; PYTHON runs the Python
# package, where that is built.
set -eu
cd "$(dirname "$0")/../.."
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

scripts/code-blocks.sh c README.md | diff examples/render.c -
scripts/code-blocks.sh python README.md | diff examples/render.py -
scripts/code-blocks.sh text README.md >"$folder/expected"
"$2" package build tools/panels/six-colour.json -o "$folder/panel.lut"
"$1" "$folder/panel.lut" | diff "$folder/expected" -
[ -n "${3-}" ] || exit 0
cp -R docs examples "$folder"
cd "$folder"
"$3" examples/render.py
"$2" view frame.bin --panel six-colour -o seen.png
"$3" -c 'from PIL import Image
assert Image.open("seen.png").convert("RGB").tobytes() == Image.open("preview.png").tobytes()'
