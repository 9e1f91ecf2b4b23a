#!/bin/sh
# Compares what a shared library exports with the checked-in list.
set -eu
library=$1
nm --dynamic --defined-only "$library" | cut -d ' ' -f 2- | LC_ALL=C sort -k 2 |
    diff "$(dirname "$0")/../records/exports.txt" - && echo "exports as listed: $library"
