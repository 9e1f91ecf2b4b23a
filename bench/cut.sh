#!/bin/sh
# Makes a binary PPM of 8 bits in sRGB of any picture: cut.sh PHOTO WIDTHxHEIGHT PPM. What does not
# fit the shape is cut off at both ends; transparent parts become white.
set -eu
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
{
    vips thumbnail "$1" "$folder/cut.v" "${2%x*}" --height "${2#*x}" --crop centre \
        --export-profile srgb &&
        vips colourspace "$folder/cut.v" "$folder/srgb.v" srgb &&
        vips flatten "$folder/srgb.v" "$folder/opaque.v" --background 255 &&
        vips copy "$folder/opaque.v" "$3"
} >"$folder/messages" 2>&1 || {
    echo "${0##*/}: $1: $(tail -n 1 "$folder/messages")" >&2
    exit 2
}
