#ifndef OXEL_TOOLS_LIGHT_H
#define OXEL_TOOLS_LIGHT_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace oxel::tools {

// Linear light in sRGB's primaries, 16 bits a channel in the machine's byte order: 0 is black and
// 65535 is white. Bytes are sRGB. The same numbers come out on every machine.

/// A picture, 3 channels a pixel.
using Light = std::vector<std::uint16_t>;

/// The light of a byte, rounded.
std::uint16_t light_of_byte(std::uint8_t byte);

/// 256 times the byte, with a fraction, that shows the light: exact for the light of a byte.
std::uint16_t fine_byte_of_light(std::uint16_t light);

/// The same for each light, at its place: for loops.
std::span<const std::uint16_t, 65536> fine_bytes_of_light();

/// As many channels each.
void light_of_bytes(std::span<const std::uint8_t> bytes, std::span<std::uint16_t> light);

/// Rounded to the nearest byte.
void bytes_of_light(std::span<const std::uint16_t> light, std::span<std::uint8_t> bytes);

std::vector<std::uint8_t> bytes_of(std::span<const std::uint16_t> light);

/// CIE 1976 lightness of a luminance: 65535 stands for 100.
std::uint16_t lightness_of_light(std::uint16_t luminance);

std::uint16_t light_of_lightness(std::uint16_t lightness);

} // namespace oxel::tools

#endif
