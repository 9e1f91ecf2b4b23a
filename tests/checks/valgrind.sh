#!/bin/bash
# Runs the tests and all processes that they start under Valgrind:  valgrind.sh [CTEST_ARGUMENT ...]
#
# It takes an hour. Valgrind has no AVX-512, so that form does not run.
set -euo pipefail
cd "$(dirname "$0")/../.."
build=$PWD/build/valgrind
scripts/install-packages.sh valgrind
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOXEL_BUILD_TESTS=ON \
    -DOXEL_BUILD_TOOLS=ON -DOXEL_BUILD_PYTHON=ON >/dev/null
cmake --build "$build" --parallel "$(nproc)" >/dev/null
rm -f "$build"/report.*
result=0
PYTHONMALLOC=malloc valgrind --quiet --error-exitcode=99 --trace-children=yes \
    --trace-children-skip='*/cc,*/cp,*/mktemp,*/nm,*/sed,*/sort,*/tr' --leak-check=full --num-callers=40 \
    --show-leak-kinds=definite --errors-for-leak-kinds=definite \
    --suppressions="$PWD/tests/records/valgrind.supp" --log-file="$build/report.%p" \
    ctest --test-dir "$build" --output-on-failure --parallel "$(nproc)" "$@" || result=$?
# Not every test looks at how what it starts ends.
find "$build" -name 'report.*' -size +0 -exec cat {} + | tee "$build/reports"
exit $((result != 0 || $(wc -c <"$build/reports") > 0))
