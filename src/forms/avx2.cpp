#include "vector_forms.h"

#ifdef OXEL_AVX2

#include <immintrin.h>

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2,pclmul"))), apply_to = function)
#else
#pragma GCC target("avx2,pclmul")
#endif

#include "../exact_double.h"

#include "carryless_crc.h"
#include "vector_adjustment.h"
#include "vector_diffusion.h"
#include "vector_layout.h"
#include "vector_measure.h"

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

struct Avx2 {
    static constexpr int pixels = 4;
    static constexpr int doubles = 4;
    static constexpr int wavefront_registers = 4;
    static constexpr int least_pixels_a_step = 6; // measured: with fewer, narrower() is faster
    static constexpr int segment_registers = 2;
    static const Form &narrower() { return vector128_form; }

    static Words<Avx2> high_product(Words<Avx2> words, int factor) {
        return (Words<Avx2>)_mm256_mulhi_epi16((__m256i)words,
                                               _mm256_set1_epi16(static_cast<short>(factor)));
    }

    static bool any(LaneMask<Avx2> mask) { return _mm256_movemask_pd((__m256d)mask) != 0; }
    static DoubleLanes<Avx2> lesser(DoubleLanes<Avx2> a, DoubleLanes<Avx2> b) {
        return _mm256_min_pd(a, b);
    }
    static DoubleLanes<Avx2> greater(DoubleLanes<Avx2> a, DoubleLanes<Avx2> b) {
        return _mm256_max_pd(a, b);
    }
    static DoubleLanes<Avx2> truncate(DoubleLanes<Avx2> x) {
        return _mm256_round_pd(x, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
    }
};

bool runs_here() {
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("pclmul");
}

} // namespace

constinit const Form avx2_form = {.name = "AVX2",
                                  .runs_here = runs_here,
                                  .diffusion_memory = diffusion_memory_in_lanes<Avx2>,
                                  .diffuse = diffuse_in_lanes<Avx2>,
                                  .count_indices = count_in_lanes<Avx2>,
                                  .power = power_in_lanes<Avx2>,
                                  .adjust = adjust_in_lanes<Avx2>,
                                  .merge_rows = merge_rows_by_four,
                                  .split_row = split_row_by_four,
                                  .crc32 = carryless_crc32};

} // namespace oxel

#if defined(__clang__)
#pragma clang attribute pop
#endif

#endif
