#include "vector_forms.h"

#ifdef OXEL_AVX

#include <immintrin.h>

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx512f,avx512bw,bmi2,pclmul"))),              \
                             apply_to = function)
#else
#pragma GCC target("avx512f,avx512bw,bmi2,pclmul,prefer-vector-width=512")
#endif

#include "../exact_double.h"

#include "carryless_crc.h"
#include "vector_diffusion.h"
#include "vector_measure.h"

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

struct Avx512 {
    static constexpr int pixels = 8;
    static constexpr int doubles = 8;
    static constexpr int wavefront_registers = 4;
    static constexpr int segment_registers = 2;

    static Words<Avx512> high_product(Words<Avx512> words, int factor) {
        return (Words<Avx512>)_mm512_mulhi_epi16((__m512i)words,
                                                 _mm512_set1_epi16(static_cast<short>(factor)));
    }

    /// Fast on all processors that have AVX-512.
    static std::uint32_t extract_bits(std::uint32_t bits, std::uint32_t mask) {
        return _pext_u32(bits, mask);
    }
};

bool runs_here() {
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("pclmul");
}

} // namespace

constinit const Form avx512_form = {"AVX-512",
                                    runs_here,
                                    diffusion_memory<Avx512>,
                                    diffuse<Avx512>,
                                    write_pixels,
                                    count_in_lanes<Avx512>,
                                    square_in_lanes<Avx512>,
                                    carryless_crc32};

} // namespace oxel

#if defined(__clang__)
#pragma clang attribute pop
#endif

#endif
