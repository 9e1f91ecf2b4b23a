#include "preparation/light.h"

#include <array>
#include <vector>

namespace oxel::tools {

namespace {

constexpr double white = 65535;

/// By Newton's method from above, for numbers from 0.001 to 1: libm's pow differs between machines.
double fifth_root(double x) {
    for (double y = 1;;) {
        const double next = (4 * y + x / (y * y * y * y)) / 5;
        if (next >= y)
            return y;
        y = next;
    }
}

/// sRGB's curve (IEC 61966-2-1).
double light_of(double v) {
    if (v <= 0.04045)
        return v / 12.92;
    const double base = (v + 0.055) / 1.055;
    return base * base * fifth_root(base * base); // base^2.4
}

const std::array<std::uint16_t, 256> &byte_lights() {
    static const auto table = [] {
        std::array<std::uint16_t, 256> lights{};
        for (std::size_t byte = 0; byte < 256; ++byte)
            lights[byte] = static_cast<std::uint16_t>(white * light_of(double(byte) / 255) + 0.5);
        return lights;
    }();
    return table;
}

/// Straight between the bytes, which is nowhere off by more than a hundredth of a byte.
const std::vector<std::uint16_t> &fine_bytes() {
    static const auto table = [] {
        const auto &lights = byte_lights();
        std::vector<std::uint16_t> bytes(65536);
        for (std::uint32_t byte = 0; byte < 255; ++byte) {
            const std::uint32_t low = lights[byte];
            const std::uint32_t step = lights[byte + 1] - low;
            for (std::uint32_t i = 0; i <= step; ++i)
                bytes[low + i] =
                    static_cast<std::uint16_t>(256 * byte + (256 * i + step / 2) / step);
        }
        return bytes;
    }();
    return table;
}

/// The linear piece of CIE lightness ends at 8.
double luminance_of(double lightness) {
    const double cube_root = (lightness + 16) / 116;
    return lightness > 8 ? cube_root * cube_root * cube_root : lightness * 27 / 24389;
}

const std::vector<std::uint16_t> &lights_of_lightness() {
    static const auto table = [] {
        std::vector<std::uint16_t> lights(65536);
        for (std::size_t i = 0; i < lights.size(); ++i)
            lights[i] =
                static_cast<std::uint16_t>(white * luminance_of(100 * double(i) / white) + 0.5);
        return lights;
    }();
    return table;
}

/// The inverse: the middle of the lightnesses that share a light, or those between two of them.
const std::vector<std::uint16_t> &lightnesses_of_light() {
    static const auto table = [] {
        const auto &lights = lights_of_lightness();
        std::vector<std::uint16_t> lightnesses(65536);
        std::size_t lightness = 0;
        for (std::size_t light = 0; light < lightnesses.size(); ++light) {
            while (lights[lightness] < light)
                ++lightness;
            std::size_t last = lightness;
            while (last < 65535 && lights[last + 1] == light)
                ++last;
            lightnesses[light] = static_cast<std::uint16_t>((lightness + last) / 2);
        }
        lightnesses[0] = 0;
        lightnesses[65535] = 65535;
        return lightnesses;
    }();
    return table;
}

} // namespace

std::uint16_t light_of_byte(std::uint8_t byte) {
    return byte_lights()[byte];
}

std::uint16_t fine_byte_of_light(std::uint16_t light) {
    return fine_bytes()[light];
}

std::span<const std::uint16_t, 65536> fine_bytes_of_light() {
    return std::span<const std::uint16_t, 65536>(fine_bytes().data(), 65536);
}

void light_of_bytes(std::span<const std::uint8_t> bytes, std::span<std::uint16_t> light) {
    const auto &lights = byte_lights();
    for (std::size_t i = 0; i < bytes.size(); ++i)
        light[i] = lights[bytes[i]];
}

void bytes_of_light(std::span<const std::uint16_t> light, std::span<std::uint8_t> bytes) {
    const auto &fine = fine_bytes();
    for (std::size_t i = 0; i < light.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>((fine[light[i]] + 128U) >> 8);
}

std::vector<std::uint8_t> bytes_of(std::span<const std::uint16_t> light) {
    std::vector<std::uint8_t> bytes(light.size());
    bytes_of_light(light, bytes);
    return bytes;
}

std::uint16_t lightness_of_light(std::uint16_t luminance) {
    return lightnesses_of_light()[luminance];
}

std::uint16_t light_of_lightness(std::uint16_t lightness) {
    return lights_of_lightness()[lightness];
}

} // namespace oxel::tools
