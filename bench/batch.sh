#!/bin/sh
# Times a folder of photographs, the command beside vipsthumbnail, and writes
# docs/measurements/batch.md.
#
#   bench/batch.sh [--quick] [PHOTO ...]
#
# Without PHOTOs it makes twenty JPEGs of 5120x2880 pixels: the project's own scene with as much noise
# as a camera's. --quick takes three of them and one round, and prints the tables alone. BUILD_DIR
# chooses the build folder (build/bench).
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$here/build/bench}
count=20
rounds=3
record=$here/docs/measurements/batch.md
if [ "${1:-}" = --quick ]; then
    shift
    count=3
    rounds=1
    record=
fi
for photo in "$@"; do
    if [ ! -f "$photo" ]; then
        echo "$0: $photo: no such file" >&2
        exit 2
    fi
done
"$here/scripts/install-packages.sh" g++ cmake make pkg-config libvips-dev libvips-tools \
    libcli11-dev libseccomp-dev nlohmann-json3-dev zlib1g-dev \
    libmicrohttpd-dev libtomlplusplus-dev libgnutls28-dev fonts-dejavu-core python3
echo "Building in $build" >&2
cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=Release -DOXEL_BUILD_TOOLS=ON >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target oxel >/dev/null

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/photos"
if [ $# -gt 0 ]; then
    cp "$@" "$folder/photos"
else
    "$here/bench/cut.sh" "$here/examples/scene.svg" 5120x2880 "$folder/scene.ppm"
    for seed in $(seq "$count"); do
        vips gaussnoise "$folder/noise.v" 5120 2880 --sigma 8 --seed "$seed"
        vips add "$folder/scene.ppm" "$folder/noise.v" "$folder/noisy.v"
        vips cast "$folder/noisy.v" "$folder/bytes.v" uchar
        vips copy "$folder/bytes.v" "$folder/photos/$seed.jpg[Q=92]" --interpretation srgb
    done
    rm "$folder"/*.v
fi
{
    cat <<END
# A folder of photographs: the measurements

Written by bench/batch.sh on $(date +'%-d %B %Y'): $(lscpu | sed -n 's/^Model name: *//p'), $(nproc) processors, load
average $(cut -d ' ' -f 1 /proc/loadavg). $(find "$folder/photos" -type f | wc -l) pictures, $(du -sk "$folder/photos" | cut -f 1) KiB.

END
    python3 "$here/bench/batch.py" "$build/oxel" "$folder" "$rounds"
} >"$folder/batch.md"
[ -z "$record" ] || cp "$folder/batch.md" "$record"
cat "$folder/batch.md"
