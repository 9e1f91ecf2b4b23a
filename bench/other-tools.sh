#!/bin/sh
# Times the library beside general tools: the same picture in the same six colours, by
# Floyd-Steinberg, 1600x1200 pixels, one thread. Writes docs/measurements/other-tools.md.
#
#   bench/other-tools.sh PHOTO
#
# All but the library come from Debian's packages. BUILD_DIR chooses the build folder (build/bench).
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$here/build/bench}
if [ $# -ne 1 ]; then
    echo "usage: $0 PHOTO" >&2
    exit 2
fi
if [ ! -f "$1" ]; then
    echo "$0: $1: no such file" >&2
    exit 2
fi
"$here/scripts/install-packages.sh" g++ cmake make pkg-config libvips-dev libvips-tools \
    libcli11-dev libseccomp-dev nlohmann-json3-dev zlib1g-dev \
    libmicrohttpd-dev libtomlplusplus-dev libgnutls28-dev fonts-dejavu-core \
    python3-pil imagemagick graphicsmagick ffmpeg
echo "Building in $build"
cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=Release -DOXEL_BUILD_TOOLS=ON >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target oxel >/dev/null

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
"$here/bench/cut.sh" "$1" 1600x1200 "$folder/picture.ppm"
"$build/oxel" package build "$here/tools/panels/six-colour.json" -o "$folder/panel.lut" >/dev/null
{
    cat <<END
# Beside general tools: the measurements

Written by bench/other-tools.sh on $(date +'%-d %B %Y'): $(lscpu | sed -n 's/^Model name: *//p').
The picture $(basename "${1%.*}"), six colours, Floyd-Steinberg, 1600x1200, one thread.

END
    /usr/bin/python3 "$here/bench/other_tools.py" "$here/tools/panels/six-colour.json" "$folder" \
        "$build"/libOxel_Morvel6_render_*.so
} >"$folder/other-tools.md"
mv "$folder/other-tools.md" "$here/docs/measurements/other-tools.md"
cat "$here/docs/measurements/other-tools.md"
