#!/bin/sh
# Prints the command that compiles for WebAssembly with what is installed here, or fails and says
# what is missing: Debian 12 has clang 14, Debian 13 clang 19.
for version in 19 14; do
    if command -v clang++-$version >/dev/null && command -v wasm-ld-$version >/dev/null &&
        [ -e /usr/include/wasm32-wasi/c++/v1/vector ] &&
        [ -n "$(find /usr/lib/llvm-$version/lib/clang -name 'libclang_rt.builtins-wasm32.a' 2>/dev/null)" ]; then
        # No fused multiply-add: the same numbers as on every other machine.
        echo "clang++-$version --target=wasm32-wasi -std=c++20 -ffp-contract=off -fno-rtti"
        exit
    fi
done
echo "$0: for WebAssembly it takes clang-N lld-N libc++-N-dev-wasm32 libclang-rt-N-dev-wasm32" \
    "and wasi-libc, where N is 14 or 19" >&2
exit 1
