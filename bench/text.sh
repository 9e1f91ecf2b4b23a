#!/bin/sh
# Measures how well text and boxes of pure colours come out, beside plain diffusion and general tools.
# Writes docs/measurements/text.md.
#
#   bench/text.sh
#
# All but the command come from Debian's packages. BUILD_DIR chooses the build folder (build/bench).
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$here/build/bench}
"$here/scripts/install-packages.sh" g++ cmake make pkg-config libvips-dev libcli11-dev libseccomp-dev \
    nlohmann-json3-dev zlib1g-dev \
    libmicrohttpd-dev libtomlplusplus-dev libgnutls28-dev fonts-dejavu-core python3-numpy python3-pil imagemagick tesseract-ocr
echo "Building in $build"
cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=Release -DOXEL_BUILD_TOOLS=ON >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target oxel >/dev/null

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
{
    cat <<END
# Text and boxes: the measurements

Written by bench/text.sh on $(date +'%-d %B %Y'): the built-in panel of six colours, Floyd-Steinberg,
Debian's Pillow, ImageMagick and tesseract. Text is black on white, in DejaVu Sans and DejaVu Serif, smoothed.

END
    /usr/bin/python3 "$here/bench/text.py" "$build/oxel" "$here/tools/panels/six-colour.json" "$folder"
} >"$folder/text.md"
mv "$folder/text.md" "$here/docs/measurements/text.md"
cat "$here/docs/measurements/text.md"
