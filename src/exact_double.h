// Include after all other headers, in a source whose doubles must round operation by operation:
// from here on no multiply and add is contracted into one, no algebra is assumed, and 32-bit x86
// computes in SSE2 registers, not in the wider x87 ones. The build says the same; this holds for
// those who compile the sources with flags of their own. With Clang it has a limit: single flags of
// fast-math, and -ffp-contract=fast, can neither be seen nor undone from here.
#if defined(__FAST_MATH__) || __FINITE_MATH_ONLY__
#error "Fast-math cannot be undone wholly from here; compile this source without it"
#endif
#if defined(__clang__)
#pragma STDC FP_CONTRACT OFF
#if defined(__i386__)
#pragma clang attribute push(__attribute__((target("sse2"))), apply_to = function)
#endif
#elif defined(__GNUC__)
#pragma GCC optimize("fp-contract=off", "no-fast-math")
#if defined(__i386__)
#pragma GCC target("sse2", "fpmath=sse")
#endif
#endif
