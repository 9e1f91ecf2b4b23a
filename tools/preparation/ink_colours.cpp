#include "preparation/ink_colours.h"

#include "preparation/exact_colours.h"
#include "preparation/light.h"

#include <algorithm>

namespace oxel::tools {

namespace {

constexpr std::size_t most_inks = 256; // which renders can name

using Bytes3 = std::array<std::uint8_t, 3>;

/// Where the channels lie between the lowest and the highest, in hundredths; nothing of greys.
std::array<int, 3> places_of(std::span<const std::uint8_t> ink) {
    const auto [low, high] = std::minmax({ink[0], ink[1], ink[2]});
    const int range = high - low;
    const auto place = [low = int{low}, range](std::uint8_t channel) {
        return range < 24 ? 50 : 100 * (channel - low) / range;
    };
    return {place(ink[0]), place(ink[1]), place(ink[2])};
}

/// How clearly a coloured ink is the pure colour of these bits; 0 if it is not.
int clearness(std::span<const std::uint8_t> ink, int bits) {
    int clear = 100;
    const std::array<int, 3> places = places_of(ink);
    for (std::size_t c = 0; c < 3; ++c) {
        const int right = (bits >> c & 1) != 0 ? places[c] - 60 : 48 - places[c];
        clear = std::min(clear, right + 1);
    }
    return std::max(clear, 0);
}

bool is_orange(std::span<const std::uint8_t> ink) {
    const auto [red, green, blue] = places_of(ink);
    return red == 100 && blue == 0 && green >= 20 && green <= 70;
}

int luminance(std::span<const std::uint8_t> ink) {
    return 2126 * light_of_byte(ink[0]) / 100 + 7152 * light_of_byte(ink[1]) / 100 +
           722 * light_of_byte(ink[2]) / 100;
}

} // namespace

InkColours::InkColours(std::span<const std::uint8_t> palette, Inks inks) {
    if (palette.empty() || inks == Inks::off)
        return;
    reds_.resize(65536);
    palette = palette.first(std::min(palette.size(), 3 * most_inks));
    if (inks != Inks::measured)
        add_pure_colours(palette);
    if (inks != Inks::nominal)
        for (std::size_t i = 0; i < palette.size() / 3; ++i)
            add({palette[3 * i], palette[3 * i + 1], palette[3 * i + 2]}, i);
}

void InkColours::add_pure_colours(std::span<const std::uint8_t> palette) {
    const std::size_t count = palette.size() / 3;
    const auto ink = [&](std::size_t i) { return palette.subspan(3 * i, 3); };
    std::size_t black = 0;
    std::size_t white = 0;
    for (std::size_t i = 1; i < count; ++i) {
        if (luminance(ink(i)) < luminance(ink(black)))
            black = i;
        if (luminance(ink(i)) > luminance(ink(white)))
            white = i;
    }
    std::vector<bool> taken(count);
    const auto give = [&](const Bytes3 &colour, std::size_t i) {
        add(colour, i);
        taken[i] = true;
    };
    give({0, 0, 0}, black);
    give({255, 255, 255}, white);
    for (int bits = 1; bits < 7; ++bits) {
        int clearest = 0;
        std::size_t chosen = 0;
        for (std::size_t i = 0; i < count; ++i)
            if (const int clear = clearness(ink(i), bits);
                i != black && i != white && clear > clearest) {
                clearest = clear;
                chosen = i;
            }
        const auto channel = [&](int c) {
            return static_cast<std::uint8_t>((bits >> c & 1) != 0 ? 255 : 0);
        };
        if (clearest > 0)
            give({channel(0), channel(1), channel(2)}, chosen);
    }
    for (std::size_t i = 0; i < count; ++i)
        if (!taken[i] && is_orange(ink(i))) {
            give({255, 165, 0}, i); // as style sheets know it
            give({255, 128, 0}, i); // half way
        }
}

void InkColours::add(const Bytes3 &bytes, std::size_t ink) {
    Colour colour{bytes, {}, static_cast<int>(ink)};
    light_of_bytes(bytes, colour.light);
    for (int red = std::max(colour.light[0] - 8, 0); red <= std::min(colour.light[0] + 8, 65535);
         ++red)
        if (ExactColours::near(static_cast<std::uint16_t>(red), colour.light[0]))
            reds_[static_cast<std::size_t>(red)] = true;
    byte_greens_[bytes[1]] = true;
    colours_.push_back(colour);
}

int InkColours::known_ink_of(const std::uint16_t *light) const {
    for (const Colour &colour : colours_)
        if (ExactColours::near(light[0], colour.light[0]) &&
            ExactColours::near(light[1], colour.light[1]) &&
            ExactColours::near(light[2], colour.light[2]))
            return colour.ink;
    return -1;
}

int InkColours::known_ink_of(const std::uint8_t *bytes) const {
    for (const Colour &colour : colours_)
        if (std::equal(bytes, bytes + 3, colour.bytes.begin()))
            return colour.ink;
    return -1;
}

} // namespace oxel::tools
