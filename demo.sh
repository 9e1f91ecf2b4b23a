#!/bin/sh
# Builds the oxel command and renders a picture for the built-in six-colour panel.
#
#   ./demo.sh [PHOTO]
#
# Without PHOTO it renders the project's own scene, into the folder demo-output beside this script.
# BUILD_DIR chooses the build folder (build/demo). It needs Debian 12 or 13. What is missing it installs
# from Debian's packages, as root or with sudo: on an empty system that is some 210 MB to fetch and 850
# MB on the disk. Then it compiles, which takes one to two minutes on two cores and 15 MB.
set -eu
here=$(dirname "$(readlink -f "$0")")
build=${BUILD_DIR:-$here/build/demo}
output=$here/demo-output

usage() { sed -n '2,/^set/ { /^set/d; s/^# \{0,1\}//; p; }' "$here/demo.sh"; }
fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 2
}
case ${1-} in
-h | --help) usage && exit ;;
-?*) fail "$1: no such option; --help tells what there is" ;;
esac
[ $# -le 1 ] || fail "one photo at a time, please"
photo=${1:-$here/examples/scene.svg}
[ ! -d "$photo" ] || fail "$photo: that is a folder; give one photo"
[ -f "$photo" ] || fail "$photo: no such file"

"$here/scripts/install-packages.sh" g++ cmake make pkg-config \
    libvips-dev libcli11-dev libseccomp-dev nlohmann-json3-dev zlib1g-dev \
    libmicrohttpd-dev libtomlplusplus-dev libgnutls28-dev fonts-dejavu-core

[ -x "$build/oxel" ] || echo "Compiling takes one to two minutes on two cores, and 15 MB in $build"
cmake -S "$here" -B "$build" -DOXEL_BUILD_TOOLS=ON >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target oxel

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
