#!/bin/sh
# Checks that objects compiled for an instruction set define no function that the linker could put
# in the place of another object's, which would then run on processors without that set.
set -eu
checked=0
for object in "$@"; do
    case $object in
    *forms/forms.* | *forms/portable* | *forms/vector128.*) ;; # for every processor
    *forms/*)
        checked=$((checked + 1))
        if nm --defined-only "$object" | grep ' W '; then
            echo "$object: shares these functions"
            exit 1
        fi
        ;;
    esac
done
[ "$checked" -gt 0 ] || { echo "no such object among: $*"; exit 1; }
