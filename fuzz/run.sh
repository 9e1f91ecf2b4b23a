#!/bin/bash
# Fuzzes every target for some seconds each, beginning with its seeds:  run.sh [--record] SECONDS
#
# --record writes docs/measurements/fuzzing.md. BUILD_DIR chooses the build folder (build/fuzz), whose
# folder corpus/ keeps what was found for the next run.
set -euo pipefail
cd "$(dirname "$0")/.."
record=
[ "${1-}" != --record ] || { record=docs/measurements/fuzzing.md && shift; }
[[ $# -eq 1 && $1 =~ ^[0-9]+$ ]] || { echo "usage: $0 [--record] SECONDS" >&2 && exit 2; }
export build=${BUILD_DIR:-build/fuzz} seconds=$1
targets=(calls package transfer configuration panel picture request)
[ -f "$build/CMakeCache.txt" ] ||
    cmake -S . -B "$build" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
        -DOXEL_BUILD_FUZZERS=ON -DOXEL_BUILD_TESTS=ON -DOXEL_BUILD_TOOLS=ON >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target "${targets[@]/#/fuzz_}" >/dev/null

fuzz() { # TARGET
    local dictionary=() log=$build/$1.log runtime
    # Where the sanitizers' is shared, it must come before the library that the fuzzer's brings.
    runtime=$(ldd "$build/fuzz/fuzz_$1" | sed -n 's/.*libclang_rt.* => \([^ ]*\) .*/\1/p')
    [ ! -f "fuzz/$1.dict" ] || dictionary=("-dict=fuzz/$1.dict")
    mkdir -p "$build/corpus/$1"
    LD_PRELOAD=$runtime LSAN_OPTIONS=suppressions=tests/records/leaks.txt \
        "$build/fuzz/fuzz_$1" -max_total_time="$seconds" -max_len=1024 -timeout=60 \
        "${dictionary[@]}" "$build/corpus/$1" "$build/fuzz/seeds/$1" >"$log" 2>&1 ||
        { tail -n 60 "$log" && exit 1; }
    awk -v name="$1" '{ at = substr($1, 2) + 0 }
        / cov: / { sub(/.* cov: /, ""); edges = $1 + 0
                   if (!first) first = edges
                   if (edges > most) { most = edges; last = at } }
        END { printf "| %s | %d | %d, %d | %d |\n", name, at, first, most, last }' "$log"
}
export -f fuzz
table() {
    echo "| Target | Executions | Edges at the start, at the end | Last new edge at execution |"
    echo "|---|---|---|---|"
    printf '%s\n' "${targets[@]}" | xargs -I{} -P "$(nproc)" bash -euc 'fuzz {}'
}
[ -n "$record" ] || { table && exit; }
{
    printf '# Fuzzing: the measurements\n\nWritten by fuzz/run.sh on %s: %s s a target, %s.\n\n' \
        "$(date +'%-d %B %Y')" "$seconds" "$(clang++ --version | sed -n 's/.*\(clang version [0-9.]*\).*/\1/p')"
    table
} >"$build/fuzzing.md"
mv "$build/fuzzing.md" "$record"
cat "$record"
