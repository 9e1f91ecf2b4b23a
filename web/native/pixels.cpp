// Between pictures of 3 bytes a pixel and those of 4 that canvases have.
#include <cstddef>
#include <cstdint>
#ifdef __wasm_simd128__
#include <wasm_simd128.h>
#endif

extern "C" {

/// Transparent parts over white. May run in place.
void oxel_rgb_from_rgba(const std::uint8_t *rgba, std::uint8_t *rgb, std::size_t pixels) {
#ifdef __wasm_simd128__
    // Four bytes more are written than four pixels have: they belong to pixels that follow.
    for (; pixels >= 6; pixels -= 4, rgba += 16, rgb += 12) {
        const v128_t four = wasm_v128_load(rgba);
        if (!wasm_i32x4_all_true(wasm_u32x4_ge(four, wasm_i32x4_splat(0xFF << 24))))
            break;
        wasm_v128_store(rgb, wasm_i8x16_swizzle(four, wasm_i8x16_make(0, 1, 2, 4, 5, 6, 8, 9, 10,
                                                                      12, 13, 14, -1, -1, -1, -1)));
    }
#endif
    for (std::size_t i = 0; i < pixels; ++i, rgba += 4, rgb += 3) {
        const unsigned alpha = rgba[3];
        for (int channel = 0; channel < 3; ++channel)
            rgb[channel] = alpha == 255
                               ? rgba[channel]
                               : static_cast<std::uint8_t>(
                                     (rgba[channel] * alpha + 255 * (255 - alpha) + 127) / 255);
    }
}

void oxel_rgba_from_rgb(const std::uint8_t *rgb, std::uint8_t *rgba, std::size_t pixels) {
#ifdef __wasm_simd128__
    for (; pixels >= 6; pixels -= 4, rgba += 16, rgb += 12) // reads as much more
        wasm_v128_store(rgba,
                        wasm_v128_or(wasm_i8x16_swizzle(wasm_v128_load(rgb),
                                                        wasm_i8x16_make(0, 1, 2, -1, 3, 4, 5, -1, 6,
                                                                        7, 8, -1, 9, 10, 11, -1)),
                                     wasm_i32x4_splat(0xFF << 24)));
#endif
    for (std::size_t i = 0; i < pixels; ++i, rgba += 4, rgb += 3) {
        const std::uint8_t pixel[] = {rgb[0], rgb[1], rgb[2], 255};
        __builtin_memcpy(rgba, pixel, sizeof pixel);
    }
}
}
