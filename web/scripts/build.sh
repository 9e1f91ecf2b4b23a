#!/bin/sh
# Makes the npm package's files in dist/.
set -eu
cd "$(dirname "$0")/.."
native/build.sh dist
npx tsc
node scripts/panels.mjs
