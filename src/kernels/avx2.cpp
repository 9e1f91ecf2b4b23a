#include "vector_forms.h"

#ifdef OXEL_AVX

#include <immintrin.h>

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2,pclmul"))), apply_to = function)
#else
#pragma GCC target("avx2,pclmul")
#endif

#include "../exact_double.h"

#include "carryless_crc.h"
#include "vector_diffusion.h"
#include "vector_measure.h"

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

struct Avx2 {
    static constexpr int pixels = 4;
    static constexpr int doubles = 4;
    static constexpr int wavefront_registers = 4;
    static constexpr int segment_registers = 2;

    static Words<Avx2> high_product(Words<Avx2> words, int factor) {
        return (Words<Avx2>)_mm256_mulhi_epi16((__m256i)words,
                                               _mm256_set1_epi16(static_cast<short>(factor)));
    }
};

bool runs_here() {
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("pclmul");
}

} // namespace

constinit const Form avx2_form = {"AVX2",
                                  runs_here,
                                  diffusion_memory<Avx2>,
                                  diffuse<Avx2>,
                                  write_pixels,
                                  count_in_lanes<Avx2>,
                                  square_in_lanes<Avx2>,
                                  carryless_crc32};

} // namespace oxel

#if defined(__clang__)
#pragma clang attribute pop
#endif

#endif
