#!/bin/sh
# Makes a binary PPM of 8 bits in sRGB of any picture: cut.sh PHOTO WIDTHxHEIGHT PPM. What does not
# fit the shape is cut off at both ends; transparent parts become white.
set -eu
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
picture=$folder/cut.v
{
    vips thumbnail "$1" "$picture" "${2%x*}" --height "${2#*x}" --crop centre \
        --export-profile srgb &&
        vips colourspace "$picture" "$folder/srgb.v" srgb &&
        picture=$folder/srgb.v &&
        if [ "$(vipsheader -f bands "$picture")" -gt 3 ]; then
            vips flatten "$picture" "$folder/opaque.v" --background 255 &&
                picture=$folder/opaque.v
        fi &&
        vips copy "$picture" "$3"
} >"$folder/messages" 2>&1 || {
    echo "${0##*/}: $1: $(tail -n 1 "$folder/messages")" >&2
    exit 2
}
