#ifndef OXEL_FORMS_WASM_PIXELS_H
#define OXEL_FORMS_WASM_PIXELS_H

#include "portable.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <wasm_simd128.h>

// What WebAssembly's SIMD does in fewer of a processor's instructions than engines make of the
// general text.
namespace [[gnu::visibility("hidden")]] oxel {

namespace {

/// The upper halves of the products of words: two dot products, each of every second word. No
/// other multiplication that has all of a product takes as few instructions on x86-64.
inline v128_t upper_halves(v128_t words, std::int16_t factor) {
    const v128_t even =
        wasm_i32x4_dot_i16x8(words, wasm_i16x8_make(factor, 0, factor, 0, factor, 0, factor, 0));
    const v128_t odd =
        wasm_i32x4_dot_i16x8(words, wasm_i16x8_make(0, factor, 0, factor, 0, factor, 0, factor));
    return wasm_i16x8_shuffle(wasm_u32x4_shr(even, 16), odd, 0, 9, 2, 11, 4, 13, 6, 15);
}

/// The numbers of the cells of two clamped values, in the lower halves of their lanes.
inline v128_t cells_of_two(v128_t values) {
    const v128_t parts = wasm_i32x4_dot_i16x8(wasm_u16x8_shr(values, 2),
                                              wasm_i16x8_make(4096, 64, 1, 0, 4096, 64, 1, 0));
    return wasm_i32x4_add(parts, wasm_u64x2_shr(parts, 32));
}

/// Where the mapped colours of four pixels stand in the gamut table.
template <bool rgb>
v128_t gamut_places_of_four(const std::uint8_t *first) {
    const v128_t loaded = wasm_v128_load32_lane(first + 8, wasm_v128_load64_zero(first), 2);
    const v128_t order =
        rgb ? wasm_i8x16_make(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1)
            : wasm_i8x16_make(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    // A pixel's lower word has six bits of B and, from bit 8 on, of G; the upper one has those of
    // R.
    const v128_t channels = wasm_u16x8_shr(wasm_i8x16_swizzle(loaded, order), 2);
    const v128_t blue_and_red = wasm_i32x4_dot_i16x8(wasm_v128_and(channels, wasm_i16x8_splat(63)),
                                                     wasm_i32x4_splat(3 * 4096 << 16 | 3));
    const v128_t green = wasm_i16x8_mul(wasm_u16x8_shr(channels, 8), wasm_i16x8_splat(3 * 64));
    return wasm_i32x4_add(blue_and_red, green);
}

/// Moves a channel of sixteen pixels to where it stands in register `third` of three that hold the
/// pixels, and 0 to all other places.
template <int channel, int third, int... byte>
v128_t spread_out(v128_t values, std::integer_sequence<int, byte...>) {
    return wasm_i8x16_swizzle(
        values,
        wasm_i8x16_make(((16 * third + byte) % 3 == channel ? (16 * third + byte) / 3 : -1)...));
}

template <int third>
void write_third(v128_t r, v128_t g, v128_t b, std::uint8_t *pixels) {
    constexpr std::make_integer_sequence<int, 16> bytes;
    wasm_v128_store(pixels + 16 * third, spread_out<0, third>(r, bytes) |
                                             spread_out<1, third>(g, bytes) |
                                             spread_out<2, third>(b, bytes));
}

/// As portable::write_pixels, sixteen pixels at once if there are no more colours.
inline void write_few_colours(const std::uint8_t *indices, std::size_t count,
                              const ColourTable &colours, std::uint8_t *pixels) {
    if (colours.count <= 16) {
        std::uint8_t channels[3][16];
        for (int colour = 0; colour < 16; ++colour)
            for (int channel = 0; channel < 3; ++channel)
                channels[channel][colour] = colours.bytes[colour][channel];
        const v128_t red = wasm_v128_load(channels[0]);
        const v128_t green = wasm_v128_load(channels[1]);
        const v128_t blue = wasm_v128_load(channels[2]);
        for (; count >= 16; count -= 16, indices += 16, pixels += 48) {
            const v128_t chosen = wasm_v128_load(indices);
            const v128_t r = wasm_i8x16_swizzle(red, chosen);
            const v128_t g = wasm_i8x16_swizzle(green, chosen);
            const v128_t b = wasm_i8x16_swizzle(blue, chosen);
            write_third<0>(r, g, b, pixels);
            write_third<1>(r, g, b, pixels);
            write_third<2>(r, g, b, pixels);
        }
    }
    portable::write_pixels(indices, count, colours, pixels);
}

} // namespace

} // namespace oxel

#endif
