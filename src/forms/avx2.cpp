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
    static constexpr int groups_adjusted = 1; // at once: measured
    static const Form &narrower() { return vector128_form; }

    static Words<Avx2> high_product(Words<Avx2> words, int factor) {
        return (Words<Avx2>)_mm256_mulhi_epi16((__m256i)words,
                                               _mm256_set1_epi16(static_cast<short>(factor)));
    }

    static Words<Avx2> widen(const std::uint32_t *first) {
        return (Words<Avx2>)_mm256_cvtepu8_epi16(
            _mm_loadu_si128(reinterpret_cast<const __m128i *>(first)));
    }
    static Words<Avx2> clamp(Words<Avx2> words, Words<Avx2> most) {
        return (Words<Avx2>)_mm256_min_epi16(
            _mm256_max_epi16((__m256i)words, _mm256_setzero_si256()), (__m256i)most);
    }

    static Quads<Avx2> cells_of_pair(Words<Avx2> first, Words<Avx2> second) {
        const __m256i bytes = _mm256_packus_epi16((__m256i)first, (__m256i)second);
        const __m256i channels =
            _mm256_and_si256(_mm256_srli_epi16(bytes, 2), _mm256_set1_epi8(63));
        return (Quads<Avx2>)_mm256_madd_epi16(
            _mm256_maddubs_epi16(channels, _mm256_set1_epi32(0x00010140)),
            _mm256_set1_epi32(0x00010040));
    }

    /// Where the mapped colours of eight pixels stand in the gamut table.
    template <bool rgb>
    static __m256i gamut_places(const std::uint8_t *first) {
        // The second half begins four bytes before its pixels, so that it ends with them.
        const __m256i loaded = _mm256_loadu2_m128i(reinterpret_cast<const __m128i *>(first + 8),
                                                   reinterpret_cast<const __m128i *>(first));
        const __m256i order =
            rgb ? _mm256_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1, //
                                   6, 5, 4, -1, 9, 8, 7, -1, 12, 11, 10, -1, 15, 14, 13, -1)
                : _mm256_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1, //
                                   4, 5, 6, -1, 7, 8, 9, -1, 10, 11, 12, -1, 13, 14, 15, -1);
        const __m256i blue_first = _mm256_shuffle_epi8(loaded, order);
        const __m256i channels =
            _mm256_and_si256(_mm256_srli_epi16(blue_first, 2), _mm256_set1_epi8(63));
        return _mm256_madd_epi16(_mm256_maddubs_epi16(channels, _mm256_set1_epi32(0x00014001)),
                                 _mm256_set1_epi32(3 * 4096 << 16 | 3));
    }

    static bool any(LaneMask<Avx2> mask) { return _mm256_movemask_pd((__m256d)mask) != 0; }
    static DoubleLanes<Avx2> lesser(DoubleLanes<Avx2> a, DoubleLanes<Avx2> b) {
        return _mm256_min_pd(a, b);
    }
    static DoubleLanes<Avx2> greater(DoubleLanes<Avx2> a, DoubleLanes<Avx2> b) {
        return _mm256_max_pd(a, b);
    }
    static FloatLanes<Avx2> lesser(FloatLanes<Avx2> a, FloatLanes<Avx2> b) {
        return _mm256_min_ps(a, b);
    }
    static FloatLanes<Avx2> greater(FloatLanes<Avx2> a, FloatLanes<Avx2> b) {
        return _mm256_max_ps(a, b);
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
