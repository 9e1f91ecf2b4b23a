#!/bin/sh
# Makes the README's picture from the built-in scene: the whole of it and a detail, each beside
# its rendering in the panel's measured colours.
set -eu
cd "$(dirname "$0")/.."
./demo.sh
scripts/install-packages.sh libvips-tools
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# The rendering is reduced in linear light, as an eye at some distance mixes its pixels.
vips thumbnail examples/scene.svg "$folder/whole.v" 390
vips thumbnail demo-output/preview.png "$folder/whole_rendered.v" 390 --linear
vips thumbnail examples/scene.svg "$folder/original.v" 1600
vips crop "$folder/original.v" "$folder/detail.v" 384 708 390 230
vips crop demo-output/preview.png "$folder/detail_rendered.v" 384 708 390 230

# Libvips' drawings have a fourth band, of opacity.
for drawing in whole detail; do
    vips extract_band "$folder/$drawing.v" "$folder/left.v" 0 --n 3
    vips arrayjoin "$folder/left.v $folder/${drawing}_rendered.v" "$folder/$drawing-pair.v" \
        --across 2 --shim 8 --background 255
done
vips join "$folder/whole-pair.v" "$folder/detail-pair.v" \
    "docs/pictures/scene.png[compression=9,filter=all,strip]" vertical \
    --shim 8 --background 255 --expand
echo "Made docs/pictures/scene.png"
