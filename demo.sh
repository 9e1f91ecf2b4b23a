#!/bin/sh
# Builds the oxel command and renders a picture for the built-in six-colour panel.
#
#   ./demo.sh [PHOTO]
#
# Without PHOTO the project's own scene is rendered. BUILD_DIR chooses the build folder
# (build/demo).
set -eu
here=$(dirname "$0")
photo=${1:-$here/examples/scene.svg}
build=${BUILD_DIR:-$here/build/demo}
output=$here/demo-output

if [ ! -f "$photo" ]; then
    echo "$0: $photo: no such file" >&2
    exit 2
fi
"$here/scripts/install-packages.sh" g++ cmake make pkg-config \
    libvips-dev libcli11-dev libseccomp-dev nlohmann-json3-dev libqhull-dev zlib1g-dev fonts-dejavu-core

echo "Building in $build"
cmake -S "$here" -B "$build" -DOXEL_BUILD_TOOLS=ON >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target oxel >/dev/null

mkdir -p "$output"
echo "Rendering $photo for the built-in panel six-colour"
"$build/oxel" render "$photo" --panel six-colour -o "$output/frame.bin" \
    --preview "$output/preview.png" --nominal "$output/nominal.png"
cat <<END
Made:
  $output/frame.bin    the panel's frame, one controller code a pixel
  $output/preview.png  what the panel will look like, in its measured colours
  $output/nominal.png  the same in pure colours
END
