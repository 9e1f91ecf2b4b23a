#!/bin/sh
# Makes the documents' pictures from the built-in scene.
set -eu
cd "$(dirname "$0")/.."
./demo.sh
scripts/install-packages.sh libvips-tools
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# The README's: the whole scene, beside its rendering in the panel's measured colours and in pure
# ones, and a detail of the first two. Renderings are reduced in linear light, as an eye at some
# distance mixes their pixels.
vips thumbnail examples/scene.svg "$folder/whole.v" 257
vips thumbnail demo-output/preview.png "$folder/whole_measured.v" 257 --linear
vips thumbnail demo-output/nominal.png "$folder/whole_pure.v" 257 --linear
vips thumbnail examples/scene.svg "$folder/original.v" 1600
vips crop "$folder/original.v" "$folder/detail.v" 384 708 390 230
vips crop demo-output/preview.png "$folder/detail_measured.v" 384 708 390 230

# Libvips' drawings have a fourth band, of opacity.
for drawing in whole detail; do
    vips extract_band "$folder/$drawing.v" "$folder/${drawing}_opaque.v" 0 --n 3
done
vips arrayjoin "$folder/whole_opaque.v $folder/whole_measured.v $folder/whole_pure.v" \
    "$folder/wholes.v" --across 3 --shim 8 --background 255
vips arrayjoin "$folder/detail_opaque.v $folder/detail_measured.v" "$folder/details.v" \
    --across 2 --shim 8 --background 255
vips join "$folder/wholes.v" "$folder/details.v" \
    "docs/pictures/scene.png[compression=9,filter=all,strip]" vertical \
    --shim 8 --background 255 --expand

save() {
    vips copy "$1" "docs/pictures/$2.png[compression=9,filter=all,strip]"
}

# Renderings have few colours, which makes their files small.
save_rendering() {
    vips copy "$1" "docs/pictures/$2.png[compression=9,strip,palette,dither=0]"
}

# A row of pictures, with white between them.
save_row() {
    name=$1
    shift
    vips arrayjoin "$*" "$folder/row.v" --across $# --shim 8 --background 255
    save_rendering "$folder/row.v" "$name"
}

# A dashboard, where there is a browser.
if command -v chromium >/dev/null; then
    for panel in six-colour bench/panels/two.json; do
        OXEL=$PWD/build/demo/oxel examples/dashboard/dashboard.sh "$folder/dashboard.bin" $panel 800x480 \
            --preview "$folder/$(basename $panel .json).png"
    done
    vips join "$folder/six-colour.png" "$folder/two.png" "$folder/dashboards.v" vertical \
        --shim 8 --background 255
    save_rendering "$folder/dashboards.v" tool-dashboard
fi

# The tool's page: what its own commands make.
cp examples/scene.svg tools/panels/six-colour.json "$folder"
scripts/code-blocks.sh sh docs/tool.md >"$folder/commands.sh"
(PATH=$PWD/build/demo:$PATH && cd "$folder" && sh -eu commands.sh >/dev/null)
save_row tool-render "$folder/preview.png" "$folder/nominal.png"
save_row tool-fit "$folder/cover.png" "$folder/contain.png" "$folder/stretch.png" "$folder/attention.png"
save_row tool-crop "$folder/cover.png" "$folder/focus.png" "$folder/crop.png"
vips arrayjoin "$folder/plain.png $folder/clarity.png $folder/sharpen.png $folder/shadows.png \
    $folder/highlights.png $folder/levels.png $folder/balance.png $folder/monochrome.png" \
    "$folder/develop.v" --across 4 --shim 8 --background 255
save_rendering "$folder/develop.v" tool-develop
save_row tool-adjust "$folder/preview.png" "$folder/bold.png"
save "$folder/sheet.png" tool-compare
vips join "$folder/view.png" "$folder/wire.png" "$folder/view.v" vertical --shim 8 --background 255 --expand
save_rendering "$folder/view.v" tool-view
save "$folder/plot.png" tool-guard

# The gallery: a detail and the grey ramp.
vips extract_band "$folder/detail.v" "$folder/original-detail.v" 0 --n 3
save "$folder/original-detail.v" gallery-original
for mode in floyd floyd-serpentine jjn jjn-serpentine stucki stucki-serpentine; do
    build/demo/oxel render examples/scene.svg --panel six-colour --dither $mode \
        -o "$folder/frame.bin" --preview "$folder/$mode.png" --quiet
    vips crop "$folder/$mode.png" "$folder/detail.png" 384 708 390 230
    save_rendering "$folder/detail.png" gallery-$mode
    vips crop "$folder/$mode.png" "$folder/ramp.png" 1190 940 390 120
    save_rendering "$folder/ramp.png" gallery-ramp-$mode
done
echo "Made docs/pictures/"
