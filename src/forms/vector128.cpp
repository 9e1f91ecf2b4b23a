#include "vector_forms.h"

#ifdef OXEL_VECTOR128

#ifdef __SSE2__
#include <emmintrin.h>
#elif defined(__wasm_simd128__)
#include <wasm_simd128.h>
#else
#include <arm_neon.h>
#endif

#include "../exact_double.h"

#ifdef __wasm_simd128__
#include "vector_adjustment.h"
#endif
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
    static const Form &narrower() { return portable_form; }

    static Words<Vector128> high_product(Words<Vector128> words, int factor) {
#ifdef __SSE2__
        return (Words<Vector128>)_mm_mulhi_epi16((__m128i)words,
                                                 _mm_set1_epi16(static_cast<short>(factor)));
#elif defined(__wasm_simd128__)
        const v128_t factors = wasm_i16x8_splat(static_cast<std::int16_t>(factor));
        const v128_t low = wasm_i32x4_extmul_low_i16x8((v128_t)words, factors);
        const v128_t high = wasm_i32x4_extmul_high_i16x8((v128_t)words, factors);
        return (Words<Vector128>)wasm_i16x8_shuffle(low, high, 1, 3, 5, 7, 9, 11, 13, 15);
#else
        return (Words<Vector128>)vqdmulhq_n_s16((int16x8_t)words,
                                                static_cast<std::int16_t>(factor / 2));
#endif
    }

    static bool any(LaneMask<Vector128> mask) { return (mask[0] | mask[1]) != 0; }

#ifdef __wasm_simd128__
    static constexpr bool shifts_are_cheaper = true; // than the upper half of a product

    static DoubleLanes<Vector128> lesser(DoubleLanes<Vector128> a, DoubleLanes<Vector128> b) {
        return (DoubleLanes<Vector128>)wasm_f64x2_pmin((v128_t)a, (v128_t)b);
    }
    static DoubleLanes<Vector128> greater(DoubleLanes<Vector128> a, DoubleLanes<Vector128> b) {
        return (DoubleLanes<Vector128>)wasm_f64x2_pmax((v128_t)a, (v128_t)b);
    }
    static DoubleLanes<Vector128> truncate(DoubleLanes<Vector128> x) {
        return (DoubleLanes<Vector128>)wasm_f64x2_trunc((v128_t)x);
    }
    static IntLanes<Vector128> to_ints(DoubleLanes<Vector128> x) {
        v128_t ints = wasm_i32x4_trunc_sat_f64x2_zero((v128_t)x);
        asm("" : "+r"(ints)); // Clang would take the lanes apart
        return __builtin_shufflevector(ints, ints, 0, 1);
    }
#endif
};

#ifdef __wasm_simd128__
constexpr auto adjust = adjust_in_lanes<Vector128>;
#else
constexpr auto adjust = portable::adjust;
#endif

} // namespace

constinit const Form vector128_form = {.name = "128-bit vectors",
                                       .runs_here = [] { return true; },
                                       .diffusion_memory = diffusion_memory_in_lanes<Vector128>,
                                       .diffuse = diffuse_in_lanes<Vector128>,
                                       .count_indices = count_in_lanes<Vector128>,
                                       .power = power_in_lanes<Vector128>,
                                       .adjust = adjust};

} // namespace oxel

#include "../exact_double_end.h"

#endif
