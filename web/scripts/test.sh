#!/bin/sh
# Builds the npm package and the page, and tests them beside the command: test.sh COMMAND
#
# Where Node, Chromium or what compiles for WebAssembly are not installed it says so and tests nothing.
set -eu
OXEL=$(readlink -f "$1")
export OXEL
cd "$(dirname "$(readlink -f "$0")")/.."
for program in node npm chromium; do
    command -v $program >/dev/null || {
        echo "Not tested: the web page and the npm package, for want of $program"
        exit 0
    }
done
native/clang.sh >/dev/null 2>&1 || {
    echo "Not tested: the web page and the npm package. $(native/clang.sh 2>&1)"
    exit 0
}
npm ci --no-audit --no-fund --prefer-offline --loglevel error
scripts/build.sh
printf '%s\n' 'npx tsc -p page' 'npx tsc -p tests' 'node scripts/api.mjs --check' \
    'npx vite build --logLevel error && node scripts/single.mjs' | xargs -P "$(nproc)" -I @ sh -c @
npx vitest run
