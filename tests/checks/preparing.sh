#!/bin/sh
# A host in C prepares pictures as oxel render does, byte for byte, and its page shows its code.
#
#   preparing.sh EXAMPLE OXEL
set -eu
cd "$(dirname "$0")/../.."
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

scripts/code-blocks.sh c docs/preparing-pictures.md | while IFS= read -r line; do
    grep -qxF -- "$line" examples/prepare.c || { echo "not in the example: $line" >&2; exit 1; }
done
# A coarse cube of colours, and two inks.
{
    echo P6 64 80 255
    printf %b "$(awk 'BEGIN {
        for (i = 0; i < 4912; ++i)
            printf "\\0%03o\\0%03o\\0%03o", i % 17 * 15, int(i / 17) % 17 * 15, int(i / 289) * 15
        for (; i < 5120; ++i)
            printf i % 2 ? "\\0166\\0044\\0040" : "\\0070\\0142\\0076"
    }')"
} >"$folder/photo.ppm"
for intent in perceptual absolute; do
    "$2" package build tools/panels/six-colour.json -o "$folder/panel.lut" --intent $intent >"$folder/report"
    "$2" render "$folder/photo.ppm" --panel "$folder/panel.lut" -o "$folder/frame" --inks off \
        --quiet
    "$1" "$folder/panel.lut" "$folder/photo.ppm" | cmp - "$folder/frame"
done
