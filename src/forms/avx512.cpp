#include "vector_forms.h"

#ifdef OXEL_AVX512

#include <immintrin.h>

#if defined(__clang__)
// clang-format off
#pragma clang attribute push(__attribute__((target("avx512f,avx512bw,avx512dq,avx512vl,avx512vbmi,pclmul"))),              \
                             apply_to = function)
// clang-format on
#else
#pragma GCC target("avx512f,avx512bw,avx512dq,avx512vl,avx512vbmi,pclmul,prefer-vector-width=512")
#endif

#include "../exact_double.h"

#if !defined(__clang__) && __GNUC__ == 12
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized" // in its own header of intrinsics
#endif

#include "carryless_crc.h"
#include "vector_adjustment.h"
#include "vector_diffusion.h"
#include "vector_layout.h"
#include "vector_measure.h"

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

/// Where blue, green, red and nothing of 16 pixels in a register stand.
struct PixelBytes {
    alignas(64) std::uint8_t place[64];
};
template <bool rgb>
constexpr PixelBytes bytes_of_pixels = [] {
    PixelBytes bytes{};
    for (int i = 0; i < 64; ++i) {
        const int channel = i % 4 == 3 ? 1 : i % 4;
        bytes.place[i] = static_cast<std::uint8_t>(i / 4 * 3 + (rgb ? 2 - channel : channel));
    }
    return bytes;
}();

/// The first three bytes of each four.
constexpr PixelBytes three_of_four = [] {
    PixelBytes bytes{};
    for (int i = 0; i < 48; ++i)
        bytes.place[i] = static_cast<std::uint8_t>(i / 3 * 4 + i % 3);
    return bytes;
}();

struct Avx512 {
    static constexpr int pixels = 8;
    static constexpr int doubles = 8;
    static constexpr int wavefront_registers = 4;
    static constexpr int least_pixels_a_step = 16; // measured: with fewer, narrower() is faster
    static constexpr int segment_registers = 2;
    static constexpr int groups_adjusted = 8; // at once: measured
    static const Form &narrower() { return avx2_form; }

    static Words<Avx512> high_product(Words<Avx512> words, int factor) {
        return (Words<Avx512>)_mm512_mulhi_epi16((__m512i)words,
                                                 _mm512_set1_epi16(static_cast<short>(factor)));
    }

    static Words<Avx512> widen(const std::uint32_t *first) {
        return (Words<Avx512>)_mm512_cvtepu8_epi16(
            _mm256_loadu_si256(reinterpret_cast<const __m256i *>(first)));
    }
    static Words<Avx512> clamp(Words<Avx512> words, Words<Avx512> most) {
        return (Words<Avx512>)_mm512_min_epi16(
            _mm512_max_epi16((__m512i)words, _mm512_setzero_si512()), (__m512i)most);
    }

    static Quads<Avx512> cells_of_pair(Words<Avx512> first, Words<Avx512> second) {
        const __m512i bytes = _mm512_packus_epi16((__m512i)first, (__m512i)second);
        const __m512i channels =
            _mm512_and_si512(_mm512_srli_epi16(bytes, 2), _mm512_set1_epi8(63));
        return (Quads<Avx512>)_mm512_madd_epi16(
            _mm512_maddubs_epi16(channels, _mm512_set1_epi32(0x00010140)),
            _mm512_set1_epi32(0x00010040));
    }

    /// Where the mapped colours of 16 pixels stand in the gamut table.
    template <bool rgb>
    static __m512i gamut_places(const std::uint8_t *first) {
        const __m512i blue_first =
            _mm512_permutexvar_epi8(_mm512_load_si512(bytes_of_pixels<rgb>.place),
                                    _mm512_maskz_loadu_epi8(pixel_mask, first));
        const __m512i channels =
            _mm512_and_si512(_mm512_srli_epi16(blue_first, 2), _mm512_set1_epi8(63));
        return _mm512_madd_epi16(_mm512_maddubs_epi16(channels, _mm512_set1_epi32(0x00014001)),
                                 _mm512_set1_epi32(3 * 4096 << 16 | 3));
    }

    static bool any(LaneMask<Avx512> mask) { return _mm512_movepi64_mask((__m512i)mask) != 0; }

    struct Unfinished { // as UnfinishedLanes
        __mmask8 lanes = 0xFF;

        bool any() const { return lanes != 0; }
        DoubleLanes<Avx512> choose(DoubleLanes<Avx512> unfinished,
                                   DoubleLanes<Avx512> others) const {
            return _mm512_mask_mov_pd(others, lanes, unfinished);
        }
        void end_at_small(DoubleLanes<Avx512> x) {
            lanes = _mm512_mask_cmp_pd_mask(lanes, _mm512_abs_pd(x), _mm512_set1_pd(tolerance),
                                            _CMP_NLT_UQ);
        }
    };

    static DoubleLanes<Avx512> lesser(DoubleLanes<Avx512> a, DoubleLanes<Avx512> b) {
        return _mm512_min_pd(a, b);
    }
    static DoubleLanes<Avx512> greater(DoubleLanes<Avx512> a, DoubleLanes<Avx512> b) {
        return _mm512_max_pd(a, b);
    }
    static FloatLanes<Avx512> lesser(FloatLanes<Avx512> a, FloatLanes<Avx512> b) {
        return _mm512_min_ps(a, b);
    }
    static FloatLanes<Avx512> greater(FloatLanes<Avx512> a, FloatLanes<Avx512> b) {
        return _mm512_max_ps(a, b);
    }

    /// a * b + c, rounded once.
    static DoubleLanes<Avx512> fused(DoubleLanes<Avx512> a, double b, DoubleLanes<Avx512> c) {
        return _mm512_fmadd_pd(a, _mm512_set1_pd(b), c);
    }

    /// The first three numbers of rows of a table, each in a register of its own.
    static void gather_fours(const double (*table)[4], const std::uint32_t *rows,
                             DoubleLanes<Avx512> (&numbers)[3]) {
        const auto two = [&](int first, int second) {
            return _mm512_insertf64x4(_mm512_castpd256_pd512(_mm256_load_pd(table[rows[first]])),
                                      _mm256_load_pd(table[rows[second]]), 1);
        };
        const __m512d even[] = {two(0, 2), two(4, 6)}, odd[] = {two(1, 3), two(5, 7)};
        const __m512d outer[] = {_mm512_unpacklo_pd(even[0], odd[0]),
                                 _mm512_unpacklo_pd(even[1], odd[1])};
        const __m512d inner[] = {_mm512_unpackhi_pd(even[0], odd[0]),
                                 _mm512_unpackhi_pd(even[1], odd[1])};
        numbers[0] = _mm512_shuffle_f64x2(outer[0], outer[1], 0x88);
        numbers[1] = _mm512_shuffle_f64x2(inner[0], inner[1], 0x88);
        numbers[2] = _mm512_shuffle_f64x2(outer[0], outer[1], 0xDD);
    }

    static constexpr __mmask64 pixel_mask = (std::uint64_t{1} << 48) - 1;
    static IntLanes<Avx512> load_pixels(const std::uint8_t *bytes) {
        return (IntLanes<Avx512>)_mm512_permutexvar_epi8(
            _mm512_load_si512(bytes_of_pixels<false>.place),
            _mm512_maskz_loadu_epi8(pixel_mask, bytes));
    }
    static void store_pixels(IntLanes<Avx512> lanes, std::uint8_t *bytes) {
        _mm512_mask_storeu_epi8(
            bytes, pixel_mask,
            _mm512_permutexvar_epi8(_mm512_load_si512(three_of_four.place), (__m512i)lanes));
    }
};

/// 64 pixels become three registers. Byte k of these is channel k % 3 of pixel k / 3.
template <int channel_or_pixel>
constexpr auto byte_places() {
    struct {
        alignas(64) std::uint8_t bytes[3][64];
    } places{};
    for (int k = 0; k < 192; ++k)
        places.bytes[k / 64][k % 64] = static_cast<std::uint8_t>(channel_or_pixel ? k / 3 : k % 3);
    return places;
}
constexpr auto channel_of_byte = byte_places<0>();
constexpr auto pixel_of_byte = byte_places<1>();

/// Up to 16 colours, of four bytes each, are one register, from which a shuffle takes any byte.
void write_few_colours(const std::uint8_t *indices, std::size_t count, const ColourTable &colours,
                       std::uint8_t *pixels) {
    const __m512i table = _mm512_loadu_si512(colours.bytes);
    for (; colours.count <= 16 && count >= 64; indices += 64, pixels += 192, count -= 64) {
        __m512i starts = _mm512_loadu_si512(indices);
        starts = _mm512_add_epi8(starts, starts);
        starts = _mm512_add_epi8(starts, starts);
        for (int part = 0; part < 3; ++part) {
            const __m512i places = _mm512_add_epi8(
                _mm512_permutexvar_epi8(_mm512_load_si512(pixel_of_byte.bytes[part]), starts),
                _mm512_load_si512(channel_of_byte.bytes[part]));
            _mm512_storeu_si512(pixels + 64 * part, _mm512_permutexvar_epi8(places, table));
        }
    }
    portable::write_pixels(indices, count, colours, pixels);
}

void map_64_bytes(std::uint8_t *bytes, std::size_t count, const std::uint8_t (&curve)[256]) {
    __m512i quarters[4];
    for (int i = 0; i < 4; ++i)
        quarters[i] = _mm512_loadu_si512(curve + 64 * i);
    for (; count >= 64; bytes += 64, count -= 64) {
        const __m512i values = _mm512_loadu_si512(bytes);
        const __m512i low = _mm512_permutex2var_epi8(quarters[0], values, quarters[1]);
        const __m512i high = _mm512_permutex2var_epi8(quarters[2], values, quarters[3]);
        _mm512_storeu_si512(bytes, _mm512_mask_blend_epi8(_mm512_movepi8_mask(values), low, high));
    }
    portable::map_bytes(bytes, count, curve);
}

bool runs_here() {
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl") &&
           __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("pclmul");
}

} // namespace

constinit const Form avx512_form = {.name = "AVX-512",
                                    .runs_here = runs_here,
                                    .diffusion_memory = diffusion_memory_in_lanes<Avx512>,
                                    .diffuse = diffuse_in_lanes<Avx512>,
                                    .write_pixels = write_few_colours,
                                    .count_indices = count_in_lanes<Avx512>,
                                    .power = power_in_lanes<Avx512>,
                                    .adjust = adjust_in_lanes<Avx512>,
                                    .map_bytes = map_64_bytes,
                                    .merge_rows = merge_rows_by_four,
                                    .split_row = split_row_by_four,
                                    .crc32 = carryless_crc32};

} // namespace oxel

#if defined(__clang__)
#pragma clang attribute pop
#endif

#endif
