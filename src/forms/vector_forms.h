#ifndef OXEL_FORMS_VECTOR_FORMS_H
#define OXEL_FORMS_VECTOR_FORMS_H

#include "forms.h"

// A build may leave forms out, for the library's size. AVX-512 leaves what is narrow to AVX2.
#if defined(__x86_64__) && !defined(OXEL_WITHOUT_AVX2)
#define OXEL_AVX2
#endif
#if defined(OXEL_AVX2) && !defined(OXEL_WITHOUT_AVX512)
#define OXEL_AVX512
#endif
#if (defined(__SSE2__) || (defined(__ARM_NEON) && !defined(__ARM_BIG_ENDIAN)) ||                   \
     defined(__wasm_simd128__)) &&                                                                 \
    !defined(OXEL_WITHOUT_VECTOR128)
#define OXEL_VECTOR128
#endif

namespace [[gnu::visibility("hidden")]] oxel {

extern const Form vector128_form; // SSE2, NEON or WebAssembly's SIMD128
extern const Form avx2_form;
extern const Form avx512_form; // AVX-512 F, BW, DQ, VL and VBMI

} // namespace oxel

#endif
