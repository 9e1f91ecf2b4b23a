#!/bin/bash
# Prints which shares of the lines and branches of src/ the library's tests run, with every form
# that the processor has forced in turn:  coverage.sh [LINES BRANCHES]
#
# Fails if either share, in per cent of all, is below those given.
set -euo pipefail
cd "$(dirname "$0")/../.."
build=$PWD/build/coverage
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=g++ -DOXEL_BUILD_TESTS=ON \
    -DCMAKE_CXX_FLAGS="-O1 -fno-inline-small-functions --coverage" -DOXEL_HARDENING=OFF >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target library_tests digest >/dev/null
find "$build" -name '*.gcda' -delete
"$build/tests/library_tests" --gtest_brief
"$build/tests/digest" tests/records/digest.txt
for form in avx2 avx512; do # what this processor cannot run does not count
    grep -qw "${form/512/512_vbmi}" /proc/cpuinfo || find "$build" -name "$form.cpp.gcda" -delete
done
mkdir -p "$build/report"
cd "$build/report"
find "$build/src" -name '*.gcda' -print0 |
    xargs -0 gcov --branch-probabilities --relative-only --source-prefix "$OLDPWD" |
    awk -v lines="${1-0}" -v branches="${2-0}" -F "[:'% ]+" '
        function share(sums, name) { return counts[name] ? sums[name] / counts[name] : 100 }
        /^File/ { file = $2 }
        /^(Lines executed|Taken at least)/ && file ~ /^src/ {
            kind = /^Lines/ ? "lines" : "branches"
            covered[kind] += $(NF - 2) * $NF; all[kind] += $NF
            percent[file, kind] = $(NF - 2) "%"; number[file, kind] = $NF
        }
        /^(No branches|Creating|No exec)/ && file ~ /^src/ && file != last {
            printf "%-32s %8s of %5d lines %8s of %5d branches\n", last = file,
                percent[file, "lines"], number[file, "lines"],
                percent[file, "branches"], number[file, "branches"] }
        END {
            line = covered["lines"] / all["lines"]; branch = covered["branches"] / all["branches"]
            printf "All: %.1f%% of %d lines, %.1f%% of %d branches\n", line, all["lines"], branch,
                all["branches"]
            exit !(all["lines"] > 0 && line >= lines && branch >= branches)
        }'
