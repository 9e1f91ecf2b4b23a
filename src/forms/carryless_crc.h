#ifndef OXEL_FORMS_CARRYLESS_CRC_H
#define OXEL_FORMS_CARRYLESS_CRC_H

#include "portable.h"

#include <cstddef>
#include <cstdint>
#include <immintrin.h>

// CRC-32 by carry-less multiplication, after Gopal and others, "Fast CRC computation for generic
// polynomials using PCLMULQDQ instruction", 2009: 128 bits of the message are replaced by their
// remainder `distance` bits further on, which is added to what stands there.
namespace [[gnu::visibility("hidden")]] oxel {

namespace {

/// x to the power of `exponent`, modulo the polynomial, in the bit order of a reflected CRC: the
/// lowest bit is the highest power, and the product of two such numbers comes out one bit lower.
constexpr std::uint64_t power_of_x(int exponent) {
    std::uint32_t power = 0x80000000; // x^0
    for (int i = 0; i < exponent; ++i)
        power = power & 1 ? power >> 1 ^ 0xEDB88320 : power >> 1;
    return std::uint64_t{power} << 1;
}

template <int distance>
[[gnu::always_inline]] inline __m128i fold(__m128i bits, __m128i onto) {
    // As constants: Clang would work them out anew for each block.
    constexpr auto high_power = static_cast<long long>(power_of_x(distance - 32));
    constexpr auto low_power = static_cast<long long>(power_of_x(distance + 32));
    const __m128i powers = _mm_set_epi64x(high_power, low_power);
    const __m128i low = _mm_clmulepi64_si128(bits, powers, 0x00);
    const __m128i high = _mm_clmulepi64_si128(bits, powers, 0x11);
    return _mm_xor_si128(_mm_xor_si128(low, high), onto);
}

inline __m128i load_block(const std::uint8_t *bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
}

inline std::uint32_t carryless_crc32(std::uint32_t crc, const std::uint8_t *bytes,
                                     std::size_t count, const CrcTables &tables) {
    constexpr std::size_t block = 16, stride = 4 * block;
    if (count < stride)
        return portable::crc32(crc, bytes, count, tables);
    __m128i part[4];
    for (std::size_t i = 0; i < 4; ++i)
        part[i] = load_block(bytes + block * i);
    part[0] = _mm_xor_si128(part[0], _mm_cvtsi32_si128(static_cast<int>(crc)));
    bytes += stride;
    count -= stride;
    for (; count >= stride; bytes += stride, count -= stride)
        for (std::size_t i = 0; i < 4; ++i)
            part[i] = fold<512>(part[i], load_block(bytes + block * i));
    for (std::size_t i = 1; i < 4; ++i)
        part[i] = fold<128>(part[i - 1], part[i]);

    // What is left is a message of 16 bytes with the same remainder.
    std::uint8_t rest[block];
    _mm_storeu_si128(reinterpret_cast<__m128i *>(rest), part[3]);
    return portable::crc32(portable::crc32(0, rest, block, tables), bytes, count, tables);
}

} // namespace

} // namespace oxel

#endif
