#include "vector_forms.h"

#ifdef OXEL_VECTOR128

#ifdef __SSE2__
#include <emmintrin.h>
#elif defined(__wasm_simd128__)
#include "wasm_pixels.h"
#else
#include <arm_neon.h>
#endif

#include "../exact_double.h"

#include "vector_adjustment.h"
#include "vector_diffusion.h"
#include "vector_measure.h"

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

struct Vector128 {
    static constexpr int pixels = 2;
    static constexpr int doubles = 2;
    static constexpr int wavefront_registers = 4;
    static constexpr int least_pixels_a_step = 2; // measured: with fewer, narrower() is faster
    static constexpr int segment_registers = 4;
    static constexpr int groups_adjusted = 8; // at once: measured
    static const Form &narrower() { return portable_form; }

    static Words<Vector128> high_product(Words<Vector128> words, int factor) {
#ifdef __SSE2__
        return (Words<Vector128>)_mm_mulhi_epi16((__m128i)words,
                                                 _mm_set1_epi16(static_cast<short>(factor)));
#elif defined(__wasm_simd128__)
        return (Words<Vector128>)upper_halves((v128_t)words, static_cast<std::int16_t>(factor));
#else
        return (Words<Vector128>)vqdmulhq_n_s16((int16x8_t)words,
                                                static_cast<std::int16_t>(factor / 2));
#endif
    }

#ifdef __SSE2__
    static Words<Vector128> widen(const std::uint32_t *first) {
        return (Words<Vector128>)_mm_unpacklo_epi8(
            _mm_loadl_epi64(reinterpret_cast<const __m128i *>(first)), _mm_setzero_si128());
    }
    static Words<Vector128> clamp(Words<Vector128> words, Words<Vector128> most) {
        return (Words<Vector128>)_mm_min_epi16(_mm_max_epi16((__m128i)words, _mm_setzero_si128()),
                                               (__m128i)most);
    }
#endif

    static bool any(LaneMask<Vector128> mask) { return (mask[0] | mask[1]) != 0; }

#ifdef __SSE2__
    static DoubleLanes<Vector128> lesser(DoubleLanes<Vector128> a, DoubleLanes<Vector128> b) {
        return _mm_min_pd(a, b);
    }
    static DoubleLanes<Vector128> greater(DoubleLanes<Vector128> a, DoubleLanes<Vector128> b) {
        return _mm_max_pd(a, b);
    }
    static FloatLanes<Vector128> lesser(FloatLanes<Vector128> a, FloatLanes<Vector128> b) {
        return _mm_min_ps(a, b);
    }
    static FloatLanes<Vector128> greater(FloatLanes<Vector128> a, FloatLanes<Vector128> b) {
        return _mm_max_ps(a, b);
    }
    template <int first>
    static DoubleLanes<Vector128> half_as_doubles(FloatLanes<Vector128> x) {
        return _mm_cvtps_pd(first > 0 ? _mm_movehl_ps(x, x) : x);
    }
    static IntLanes<Vector128> truncated(DoubleLanes<Vector128> low, DoubleLanes<Vector128> high) {
        return (IntLanes<Vector128>)_mm_unpacklo_epi64(_mm_cvttpd_epi32(low),
                                                       _mm_cvttpd_epi32(high));
    }
#else
#ifdef __wasm_simd128__
    static constexpr bool shifts_are_cheaper = true; // than the upper half of a product
    static constexpr bool code_is_loaded = true;     // by a page, so that there should be less

    static Quads<Vector128> cells_of(Words<Vector128> value) {
        return (Quads<Vector128>)cells_of_two((v128_t)value);
    }
    template <bool rgb>
    static v128_t gamut_places(const std::uint8_t *first) {
        return gamut_places_of_four<rgb>(first);
    }

    static IntLanes<Vector128> truncated(DoubleLanes<Vector128> low, DoubleLanes<Vector128> high) {
        return (IntLanes<Vector128>)wasm_i32x4_shuffle(
            wasm_i32x4_trunc_sat_f64x2_zero((v128_t)low),
            wasm_i32x4_trunc_sat_f64x2_zero((v128_t)high), 0, 1, 4, 5);
    }
#endif
    template <class Lanes>
    static Lanes lesser(Lanes a, Lanes b) {
        return a < b ? a : b;
    }
    template <class Lanes>
    static Lanes greater(Lanes a, Lanes b) {
        return a > b ? a : b;
    }
#endif
};

} // namespace

constinit const Form vector128_form = {.name = "128-bit vectors",
                                       .runs_here = [] { return true; },
                                       .diffusion_memory = diffusion_memory_in_lanes<Vector128>,
                                       .diffuse = diffuse_in_lanes<Vector128>,
#ifdef __wasm_simd128__
                                       .write_pixels = write_few_colours,
#endif
                                       .count_indices = count_in_lanes<Vector128>,
                                       .power = power_in_lanes<Vector128>,
                                       .adjust = adjust_in_lanes<Vector128>};

} // namespace oxel

#include "../exact_double_end.h"

#endif
