#!/bin/sh
# A target's seeds are one file, seeds/TARGET.txt, of one input a line in base64.
#
#   seeds.sh unpack FILE FOLDER     makes a file of each line
#   seeds.sh pack FILE FOLDER...    makes a line of each file, such as libFuzzer's -merge=1 leaves
set -eu
task=$1
file=$2
shift 2
case $task in
unpack)
    rm -rf "$1"
    mkdir -p "$1"
    number=1000
    while read -r line; do
        printf %s "$line" | base64 -d >"$1/$number"
        number=$((number + 1))
    done <"$file"
    ;;
pack)
    find "$@" -type f -exec sh -c 'for input; do base64 -w 0 "$input" && echo; done' - {} + |
        LC_ALL=C sort -u >"$file.new"
    mv "$file.new" "$file"
    ;;
*)
    echo "$0: $task: unpack or pack" >&2
    exit 2
    ;;
esac
